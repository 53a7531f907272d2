// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/stored_form.h"

#include <tiff.h>

#include <algorithm>
#include <span>

#include "formats/swap_channels.h"

namespace dibkit::host::tiff {
namespace {

using Table = std::span<const unsigned char>;

unsigned Grey(Table table, size_t entry) { return table[4 * entry]; }

// Levels that 4 bits can say.
bool AreCoarse(Table table) {
  for (size_t i = 0; i < table.size() / 4; ++i) {
    if (Grey(table, i) % 17 != 0) {
      return false;
    }
  }
  return true;
}

bool IsEntry(Table table, size_t entry, unsigned char grey) {
  const Table channels = table.subspan(4 * entry, 3);
  return std::all_of(channels.begin(), channels.end(),
                     [grey](unsigned char channel) { return channel == grey; });
}

StoredForm Bilevel(Table table) {
  StoredForm form{PHOTOMETRIC_PALETTE, 1, 1, false, {}};
  if (IsEntry(table, 0, 255) && IsEntry(table, 1, 0)) {
    form.photometric = PHOTOMETRIC_MINISWHITE;
  } else if (IsEntry(table, 0, 0) && IsEntry(table, 1, 255)) {
    form.photometric = PHOTOMETRIC_MINISBLACK;
  }
  return form;
}

StoredForm Greys(Table table, uint16_t bits) {
  StoredForm form{PHOTOMETRIC_MINISBLACK, bits, 1, false, {}};
  for (size_t i = 0; i < form.map.size(); ++i) {
    const unsigned level =
        bits == 8 ? Grey(table, i) : Grey(table, i >> 4) / 17 << 4 | Grey(table, i & 15) / 17;
    form.map[i] = static_cast<unsigned char>(level);
    form.mapped = form.mapped || level != i;
  }
  return form;
}

}  // namespace

bool StoredForm::HasColourMap() const { return photometric == PHOTOMETRIC_PALETTE; }

ProfileSpace StoredForm::Colours() const {
  return samples == 3 || HasColourMap() ? ProfileSpace::kRgb : ProfileSpace::kGrey;
}

StoredForm StoredFormOf(const DibView& dib) {
  const uint16_t bits = dib.BitCount();
  if (bits > 8) {
    return {PHOTOMETRIC_RGB, 8, 3, false, {}};
  }
  if (bits == 1) {
    return Bilevel(dib.Table());
  }
  if (dib.HasGreyTable() && (bits == 8 || AreCoarse(dib.Table()))) {
    return Greys(dib.Table(), bits);
  }
  return {PHOTOMETRIC_PALETTE, bits, 1, false, {}};
}

void StoreRow(const StoredForm& form, uint16_t dibBits, const unsigned char* from, uint32_t width,
              unsigned char* to) {
  if (dibBits == 24) {
    SwapChannels(from, to, width);
  } else if (dibBits == 32) {
    SwapChannelsOf32(from, to, width);
  } else if (form.mapped) {
    std::transform(from, from + form.RowBytes(width), to,
                   [&form](unsigned char byte) { return form.map[byte]; });
  } else {
    std::copy_n(from, form.RowBytes(width), to);
  }
}

}  // namespace dibkit::host::tiff
