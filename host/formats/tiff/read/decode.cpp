// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/decode.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "formats/tiff/read/pixels.h"
#include "formats/tiff/read/rows.h"

namespace dibkit::host::tiff {
namespace {

using Bytes = std::vector<unsigned char>;

uint64_t RowBytes(TIFF* tiff) { return static_cast<uint64_t>(TIFFScanlineSize(tiff)); }

uint64_t TileBytes(TIFF* tiff, const Kind& kind) {
  const uint64_t planes = kind.separate ? UsedSamples(kind).size() : 1;
  return static_cast<uint64_t>(TIFFTileSize(tiff)) * planes;
}

// A strip or a row of tiles as libtiff's own conversion gives it, and what it decodes for it.
uint64_t RasterBytes(TIFF* tiff, const Kind& kind) {
  const auto segment =
      static_cast<uint64_t>(kind.tileWidth != 0 ? TIFFTileSize(tiff) : TIFFStripSize(tiff));
  return uint64_t{kind.width} * kind.rows * sizeof(uint32_t) + segment;
}

uint64_t ScratchBytes(TIFF* tiff, const Kind& kind) {
  if (kind.colours == Colours::kOther) {
    return RasterBytes(tiff, kind);
  }
  if (kind.tileWidth != 0) {
    return TileBytes(tiff, kind);
  }
  return kind.IsDirect() ? 0 : RowBytes(tiff);
}

uint64_t SegmentBytes(TIFF* tiff, const Kind& kind, uint32_t segment) {
  if (kind.tileWidth != 0) {
    return TIFFTileSize64(tiff);
  }
  const uint32_t perPlane = TIFFNumberOfStrips(tiff) / (kind.separate ? kind.samples : 1U);
  const uint32_t above = segment % perPlane * kind.rows;
  return TIFFVStripSize64(tiff, std::min(kind.rows, kind.height - above));
}

uint32_t SegmentCount(TIFF* tiff) {
  return TIFFIsTiled(tiff) != 0 ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
}

// Strips of separate planes are read side by side, each through a handle of its own.
class StripPlanes {
 public:
  StripPlanes(Handle& handle, uint64_t directoryOffset, const Kind& kind) {
    if (!kind.separate) {
      readers_.push_back(MakeRowReader(handle, kind, 0));
      return;
    }
    for (const uint16_t sample : UsedSamples(kind)) {
      if (sample == 0) {
        readers_.push_back(MakeRowReader(handle, kind, 0));
        continue;
      }
      handles_.push_back(std::make_unique<Handle>(handle.Source(), directoryOffset));
      readers_.push_back(MakeRowReader(*handles_.back(), kind, sample));
    }
  }

  RowReader& operator[](size_t plane) { return *readers_[plane]; }
  size_t Count() const { return readers_.size(); }

 private:
  std::vector<std::unique_ptr<Handle>> handles_;
  std::vector<std::unique_ptr<RowReader>> readers_;
};

void DecodeStrips(StripPlanes& planes, const Kind& kind, size_t rowBytes, PixelRows& pixels,
                  RowPlacer& placer, const CancelHook& cancelled) {
  std::vector<Bytes> scratch(kind.IsDirect() ? 0 : planes.Count(), Bytes(rowBytes));
  std::vector<const unsigned char*> rows(planes.Count());
  for (uint32_t y = 0; y < kind.height; ++y) {
    StopIf(cancelled);
    unsigned char* to = placer.Row(y);
    for (size_t i = 0; i < planes.Count(); ++i) {
      rows[i] = planes[i].Row(y, kind.IsDirect() ? to : scratch[i].data());
    }
    pixels.Convert(rows, kind.width, to);
    placer.Done();
  }
}

// Where a tile stands, and how much of it lies in the page.
struct TilePlace {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
};

void ReadTile(Handle& handle, const Kind& kind, const TilePlace& place, std::vector<Bytes>& tiles) {
  const std::vector<uint16_t> used = UsedSamples(kind);
  for (size_t i = 0; i < tiles.size(); ++i) {
    const uint16_t sample = kind.separate ? used[i] : uint16_t{0};
    const auto size = static_cast<tmsize_t>(tiles[i].size());
    const tmsize_t got = TIFFReadEncodedTile(
        handle.Tiff(), TIFFComputeTile(handle.Tiff(), place.x, place.y, 0, sample), tiles[i].data(),
        size);
    handle.Require(got == size, "the tiles of the page are damaged");
  }
}

void PlaceTile(const std::vector<Bytes>& tiles, size_t tileRowBytes, const TilePlace& place,
               uint16_t dibBits, PixelRows& pixels, RowPlacer& placer) {
  std::vector<const unsigned char*> rows(tiles.size());
  const auto left = static_cast<size_t>(uint64_t{place.x} * dibBits / 8);
  for (uint32_t y = 0; y < place.height; ++y) {
    for (size_t i = 0; i < tiles.size(); ++i) {
      rows[i] = tiles[i].data() + y * tileRowBytes;
    }
    pixels.Convert(rows, place.width, placer.Row(place.y + y) + left);
  }
}

void DecodeTiles(Handle& handle, const Kind& kind, PixelRows& pixels, RowPlacer& placer,
                 const CancelHook& cancelled) {
  std::vector<Bytes> tiles(kind.separate ? UsedSamples(kind).size() : 1,
                           Bytes(static_cast<size_t>(TIFFTileSize(handle.Tiff()))));
  const auto tileRowBytes = static_cast<size_t>(TIFFTileRowSize(handle.Tiff()));
  for (uint32_t y = 0; y < kind.height;) {
    const uint32_t height = std::min(kind.rows, kind.height - y);
    for (uint32_t x = 0; x < kind.width;) {
      StopIf(cancelled);
      const uint32_t width = std::min(kind.tileWidth, kind.width - x);
      const TilePlace place{x, y, width, height};
      ReadTile(handle, kind, place, tiles);
      PlaceTile(tiles, tileRowBytes, place, kind.DibBits(), pixels, placer);
      x += width;
    }
    placer.Done(height);
    y += height;
  }
}

// libtiff's conversion of a page to RGB.
class LibtiffConversion {
 public:
  LibtiffConversion(Handle& handle, const Kind& kind) : handle_(handle) {
    if (kind.photometric == PHOTOMETRIC_CIELAB) {
      // White is to be the white of RGB; libtiff takes it for that of print otherwise, a yellow.
      constexpr std::array kDaylight{0.3127F, 0.3290F};
      TIFFSetField(handle.Tiff(), TIFFTAG_WHITEPOINT, kDaylight.data());
    }
    std::array<char, 1024> why{};
    if (TIFFRGBAImageBegin(&image_, handle.Tiff(), 1, why.data()) != 1) {
      handle.Said().Forgive();
      throw ImageError(ImageFault::kUnsupported, kind.ColourText() + " images of " +
                                                     std::to_string(kind.bits) +
                                                     " bits a sample are not read");
    }
    // Rows as they are stored: turning them is the placer's.
    image_.req_orientation = image_.orientation;
  }
  LibtiffConversion(const LibtiffConversion&) = delete;
  LibtiffConversion& operator=(const LibtiffConversion&) = delete;
  ~LibtiffConversion() { TIFFRGBAImageEnd(&image_); }

  void Get(uint32_t y, uint32_t width, uint32_t rows, uint32_t* raster) {
    image_.row_offset = static_cast<int>(y);
    const int done = TIFFRGBAImageGet(&image_, raster, width, rows);
    handle_.Require(done == 1, "the pixels of the page are damaged");
  }

 private:
  Handle& handle_;
  TIFFRGBAImage image_{};
};

void PlaceRaster(const uint32_t* from, uint32_t width, unsigned char* to) {
  for (uint32_t x = 0; x < width; ++x, to += 3) {
    to[0] = static_cast<unsigned char>(TIFFGetB(from[x]));
    to[1] = static_cast<unsigned char>(TIFFGetG(from[x]));
    to[2] = static_cast<unsigned char>(TIFFGetR(from[x]));
  }
}

void DecodeByLibtiff(Handle& handle, const Kind& kind, RowPlacer& placer,
                     const CancelHook& cancelled) {
  LibtiffConversion conversion(handle, kind);
  std::vector<uint32_t> raster(size_t{kind.width} * kind.rows);
  for (uint32_t y = 0; y < kind.height;) {
    StopIf(cancelled);
    const uint32_t rows = std::min(kind.rows, kind.height - y);
    conversion.Get(y, kind.width, rows, raster.data());
    for (uint32_t i = 0; i < rows; ++i) {
      PlaceRaster(raster.data() + size_t{i} * kind.width, kind.width, placer.Row(y + i));
      placer.Done();
    }
    y += rows;
  }
}

// Whether so many bytes can be all of a tile. Fax codes alone know no bound: a bit can be a row.
bool CanBecome(TIFF* tiff, const Kind& kind, uint64_t stored) {
  constexpr uint64_t kMostGrowth = 2048;
  constexpr uint64_t kNoWorry = uint64_t{64} << 10;
  const auto tile = static_cast<uint64_t>(TIFFTileSize(tiff));
  return kind.bits == 1 || (tile - std::min(tile, kNoWorry)) / kMostGrowth <= stored;
}

}  // namespace

std::string Obstacle(TIFF* tiff, const Kind& kind) {
  if (ScratchBytes(tiff, kind) <= kMostScratchBytes) {
    return {};
  }
  const bool tiled = kind.tileWidth != 0;
  return (tiled ? "tiles of " : "strips of ") +
         std::to_string(tiled ? kind.tileWidth : kind.width) + " x " + std::to_string(kind.rows) +
         " pixels are too large to be read";
}

void CheckStored(Handle& handle, const Kind& kind) {
  TIFF* tiff = handle.Tiff();
  const std::string obstacle = Obstacle(tiff, kind);
  if (!obstacle.empty()) {
    throw ImageError(ImageFault::kUnsupported, obstacle);
  }
  const bool isPlain = kind.compression == COMPRESSION_NONE;
  uint64_t mostStored = 0;
  for (uint32_t i = 0; i < SegmentCount(tiff); ++i) {
    const uint64_t offset = TIFFGetStrileOffset(tiff, i);
    // Old JPEG pages may name the place of their pixels elsewhere.
    if (offset == 0 && kind.compression != COMPRESSION_OJPEG) {
      throw ImageError(ImageFault::kDamaged, "a part of the page was never written");
    }
    if (!handle.Source().Holds(offset, isPlain ? SegmentBytes(tiff, kind, i) : 1)) {
      throw ImageError(ImageFault::kDamaged, "the file ends before the last row of the page");
    }
    mostStored = std::max(mostStored, TIFFGetStrileByteCount(tiff, i));
  }
  mostStored = std::min(mostStored, handle.Source().Size());
  if (kind.tileWidth != 0 && !CanBecome(tiff, kind, mostStored)) {
    throw ImageError(ImageFault::kDamaged, "the tiles of the page hold too little");
  }
}

uint32_t GroupRows(const Kind& kind) {
  return kind.tileWidth != 0 && kind.colours != Colours::kOther ? kind.rows : 1;
}

uint64_t WorkBytes(Handle& handle, const Kind& kind) {
  TIFF* tiff = handle.Tiff();
  const uint64_t scratch = ScratchBytes(tiff, kind);
  const bool inStrips = kind.tileWidth == 0 && kind.colours != Colours::kOther;
  return scratch + (inStrips ? RowReaderBytes(handle, kind) : scratch);
}

void Decode(Handle& handle, uint64_t directoryOffset, const Kind& kind, const Table& table,
            RowPlacer& placer, const CancelHook& cancelled) {
  if (kind.colours == Colours::kOther) {
    DecodeByLibtiff(handle, kind, placer, cancelled);
    return;
  }
  const bool tiled = kind.tileWidth != 0;
  PixelRows pixels(kind, table, tiled ? std::min(kind.tileWidth, kind.width) : kind.width);
  if (tiled) {
    DecodeTiles(handle, kind, pixels, placer, cancelled);
    return;
  }
  StripPlanes planes(handle, directoryOffset, kind);
  DecodeStrips(planes, kind, static_cast<size_t>(RowBytes(handle.Tiff())), pixels, placer,
               cancelled);
}

}  // namespace dibkit::host::tiff
