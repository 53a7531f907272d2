// SPDX-License-Identifier: Apache-2.0
//
// A bitmap file is loaded and goes through every conversion of the host. Each pixel must be what a
// viewer shows, or the file must be refused with an ImageError.
#include <optional>

#include "Color.h"
#include "check.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/conversion.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "shown_pixels.h"

namespace {

namespace host = dibkit::host;

using dibfuzz::Check;
using dibfuzz::Shown;

constexpr uint64_t kMostPixels = 1 << 14;

// A file that is sound and quick to convert.
std::optional<host::BitmapFile> Open(std::span<const uint8_t> bytes) {
  try {
    host::BitmapFile file(std::make_unique<host::MemorySource>(bytes));
    file.CheckConvertible();
    const host::BitmapDescription& bitmap = file.Description();
    if (uint64_t{bitmap.width} * bitmap.height > kMostPixels) return std::nullopt;
    return file;
  } catch (const host::ImageError&) {
    return std::nullopt;
  }
}

struct Image {
  host::BitmapDescription bitmap;
  std::vector<Shown> pixels;
};

// Looks at the plain DIB of `bits`; `is(row, x, shown)` tells whether a pixel is right.
template <typename Is>
void Expect(const Image& image, host::OwnedBlock dib, uint16_t bits, Is is) {
  {
    const host::LockedBlock lock(dib.get());
    const host::DibView view(lock.Bytes());
    Check(view.BitCount() == bits, "the result has the depth that was asked for");
    Check(view.Width() == image.bitmap.width && view.Height() == image.bitmap.height,
          "the size is the file's");
    Check(view.XPelsPerMeter() == image.bitmap.xPelsPerMeter &&
              view.YPelsPerMeter() == image.bitmap.yPelsPerMeter,
          "the resolution is the file's");
    auto shown = image.pixels.begin();
    for (uint32_t y = 0; y < view.Height(); ++y) {
      for (uint32_t x = 0; x < view.Width(); ++x) {
        Check(is(view.Row(y).data(), x, *shown++), "the pixel is what a viewer shows");
      }
    }
  }
  dibfuzz::TakeResult(dib.release());
}

bool Is24(const uint8_t* row, uint32_t x, const Shown& shown) {
  return shown == Shown{row[3 * x + 2], row[3 * x + 1], row[3 * x]};
}

// The unused bit is copied from 16-bit files.
bool Is16(const uint8_t* row, uint32_t x, const Shown& shown) {
  const int word = (row[2 * x] | row[2 * x + 1] << 8) & 0x7FFF;
  return word == (shown.red >> 3 << 10 | shown.green >> 3 << 5 | shown.blue >> 3);
}

bool IsGrey(const uint8_t* row, uint32_t x, const Shown& shown) {
  const uint32_t color = shown.red | uint32_t{shown.green} << 8 | uint32_t{shown.blue} << 16;
  return row[x] == (ColorToMono16MinMax(color) & 0xFF);
}

bool IsAnything(const uint8_t*, uint32_t, const Shown&) { return true; }

// There is no model of what a damaged stream shows; it keeps to its rows, or is told.
void TryFax(host::BitmapFile& file) {
  try {
    const Image image{file.Description(), std::vector<Shown>(uint64_t{file.Description().width} *
                                                             file.Description().height)};
    Expect(image, host::To24Bits(file.ReadDib()), 24, IsAnything);
    Expect(image, host::Normalized(file.ReadDib()), 1, IsAnything);
  } catch (const host::ImageError& error) {
    Check(error.Fault() == host::ImageFault::kDamaged, "the stream is damaged");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::optional<host::BitmapFile> file = Open({data, size});
  if (!file) return 0;
  if (file->Description().compression == host::BitmapCompression::kHuffman) {
    TryFax(*file);
    return 0;
  }
  const Image image{file->Description(), dibfuzz::ShownPixels(file->Description(), {data, size})};
  Expect(image, host::To24Bits(file->ReadDib()), 24, Is24);
  Expect(image, host::To24Bits(host::Normalized(file->ReadDib())), 24, Is24);
  Expect(image, host::To16Bits(file->ReadDib()), 16, Is16);
  Expect(image, host::ToGrey(file->ReadDib(), host::GreyRule::kMinMax, host::GreyLevels::k16), 8,
         IsGrey);
  Expect(image, host::Quantized(file->ReadDib(), 16), 8, IsAnything);
  return 0;
}
