// SPDX-License-Identifier: Apache-2.0
#include "image_pages.h"

#include <cmath>
#include <random>
#include <stdexcept>

#include "dibkit/DIBHelp.h"
#include "dibkit/host/byte_sink.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::test {
namespace {

using host::DibView;
using host::LockedBlock;
using host::OwnedBlock;

uint32_t EntryOf(const DibView& view, unsigned index) {
  const auto entry = view.Table().subspan(4 * size_t{index}, 4);
  return uint32_t{entry[2]} << 16 | uint32_t{entry[1]} << 8 | entry[0];
}

uint32_t ColourOf(const DibView& view, std::span<const unsigned char> row, uint32_t x) {
  const unsigned bits = view.BitCount();
  if (bits >= 24) {
    const auto pixel = row.subspan(size_t{x} * bits / 8, 3);
    return uint32_t{pixel[2]} << 16 | uint32_t{pixel[1]} << 8 | pixel[0];
  }
  const unsigned shift = 8 - bits - x * bits % 8;
  const unsigned byte = row[size_t{x} * bits / 8];
  return EntryOf(view, byte >> shift & ((1U << bits) - 1));
}

OwnedBlock NewBlock(uint32_t width, uint32_t height, uint16_t bitCount) {
  OwnedBlock dib(CreateDIB(width, height, bitCount));
  if (!dib) {
    throw std::bad_alloc();
  }
  return dib;
}

unsigned char* RowsOf(const LockedBlock& lock) {
  return lock.Bytes().data() + DibView(lock.Bytes()).Layout().rowsOffset;
}

}  // namespace

std::vector<uint32_t> Colours(const OwnedBlock& dib) {
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  std::vector<uint32_t> colours;
  for (uint32_t y = view.Height(); y-- > 0;) {
    for (uint32_t x = 0; x < view.Width(); ++x) {
      colours.push_back(ColourOf(view, view.Row(y), x));
    }
  }
  return colours;
}

unsigned BitCountOf(const OwnedBlock& dib) {
  const LockedBlock lock(dib.get());
  return DibView(lock.Bytes()).BitCount();
}

bool HasGreyTable(const OwnedBlock& dib) {
  const LockedBlock lock(dib.get());
  return DibView(lock.Bytes()).HasGreyTable();
}

std::unique_ptr<host::ImageReader> OpenBytes(const Bytes& file, const host::ReadOptions& options) {
  return host::OpenImage(std::make_unique<host::MemorySource>(file), options);
}

host::PageImage ReadPage(const Bytes& file, uint32_t page) { return OpenBytes(file)->Read(page); }

OwnedBlock SomeDib(uint32_t width, uint32_t height, uint16_t bitCount, bool greyTable) {
  OwnedBlock dib = NewBlock(width, height, bitCount);
  std::mt19937 random(width * 31 + height * 7 + bitCount);
  {
    const LockedBlock lock(dib.get());
    const DibView view(lock.Bytes());
    unsigned char* rows = RowsOf(lock);
    for (uint32_t y = 0; y < height; ++y) {
      // Padding stays zero.
      for (size_t i = 0; i < size_t{width} * bitCount / 8; ++i) {
        rows[size_t{y} * view.Layout().stride + i] = static_cast<unsigned char>(random());
      }
    }
  }
  std::vector<uint32_t> colours;
  for (unsigned i = 0; bitCount <= 8 && i < 1U << bitCount; ++i) {
    const auto level = static_cast<uint32_t>(random() & 0xFF);
    colours.push_back(greyTable ? level * 0x010101 : static_cast<uint32_t>(random() & 0xFFFFFF));
  }
  SetTable(dib, colours);
  return dib;
}

OwnedBlock SmoothDib(uint32_t width, uint32_t height, uint16_t bitCount) {
  OwnedBlock dib = NewBlock(width, height, bitCount);
  {
    const LockedBlock lock(dib.get());
    const DibView view(lock.Bytes());
    unsigned char* rows = RowsOf(lock);
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t i = 0; i < width * bitCount / 8; ++i) {
        const uint32_t x = i / (bitCount / 8U);
        rows[size_t{y} * view.Layout().stride + i] =
            static_cast<unsigned char>(128 + 90 * std::sin(x * 0.03 + y * 0.02 + i % 3));
      }
    }
  }
  std::vector<uint32_t> greys;
  for (uint32_t i = 0; bitCount == 8 && i < 256; ++i) {
    greys.push_back(i * 0x010101);
  }
  SetTable(dib, greys);
  return dib;
}

void SetTable(const OwnedBlock& dib, const std::vector<uint32_t>& colours) {
  const LockedBlock lock(dib.get());
  unsigned char* entry = lock.Bytes().data() + host::kInfoHeaderBytes;
  for (const uint32_t colour : colours) {
    *entry++ = static_cast<unsigned char>(colour);
    *entry++ = static_cast<unsigned char>(colour >> 8);
    *entry++ = static_cast<unsigned char>(colour >> 16);
    *entry++ = 0;
  }
}

Bytes WritePage(host::ImageFormat format, const OwnedBlock& dib, const host::PageMetadata& metadata,
                const host::PageOptions& options) {
  host::MemorySink sink;
  const auto writer = host::MakeWriter(format, sink);
  const LockedBlock lock(dib.get());
  writer->Add(DibView(lock.Bytes()), metadata, options);
  writer->Finish();
  return sink.Bytes();
}

double Psnr(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b) {
  if (a.size() != b.size()) {
    throw std::invalid_argument("pictures of two sizes");
  }
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    for (unsigned shift = 0; shift < 24; shift += 8) {
      const double difference =
          static_cast<double>(a[i] >> shift & 0xFF) - static_cast<double>(b[i] >> shift & 0xFF);
      sum += difference * difference;
    }
  }
  const double mean = sum / (3.0 * static_cast<double>(a.size()));
  return mean == 0 ? 100 : 10 * std::log10(255.0 * 255.0 / mean);
}

}  // namespace dibkit::test
