// SPDX-License-Identifier: Apache-2.0
#include "reference/resample_model.h"

#include <cfloat>
#include <cmath>

namespace dibtest {
namespace {

static_assert(LDBL_MANT_DIG == 64, "the model computes with 64 significant bits");

using Wide = long double;

enum class Kind { kNone, kBilevel, kGray4, kGray8, kPalette8, kTrueColor };

Kind KindOf(const Dib& source) {
  switch (source.Bits()) {
    case 1:
      return Kind::kBilevel;
    case 4:
      return ModelHasGrayTable(source) ? Kind::kGray4 : Kind::kNone;
    case 8:
      return ModelHasGrayTable(source) ? Kind::kGray8 : Kind::kPalette8;
    case 24:
      return Kind::kTrueColor;
    default:
      return Kind::kNone;
  }
}

unsigned Truncate16(Wide value) {
  if (std::isnan(value) || std::isinf(value)) return 0;
  const Wide whole = std::trunc(value);
  Wide low = std::fmod(whole, 65536.0L);
  if (low < 0) low += 65536.0L;
  return static_cast<unsigned>(low);
}

Wide Quotient(Wide a, Wide b) {
  if (b == 0) return a == 0 ? std::nanl("") : HUGE_VALL;
  return a / b;
}

double ScaleOf(unsigned dpi, unsigned sourceDpi) {
  return static_cast<double>(Quotient(dpi, sourceDpi));
}

struct Geometry {
  unsigned sourceWidth, sourceHeight;
  double scaleX, scaleY;
  unsigned width, height;
};

Geometry GeometryOf(const Dib& source, unsigned dpi) {
  const unsigned dpiX = ModelDpi(source.Get32(24));
  const unsigned dpiY = ModelDpi(source.Get32(28));
  const unsigned width = source.Get32(4) & 0xFFFF;
  const unsigned height = source.Get32(8) & 0xFFFF;
  return {width,
          height,
          ScaleOf(dpi, dpiX),
          ScaleOf(dpi, dpiY),
          ModelLength(width, dpiX, dpi),
          ModelLength(height, dpiY, dpi)};
}

void Put32(std::vector<uint8_t>& out, uint32_t value) {
  for (unsigned i = 0; i != 4; ++i) out.push_back(static_cast<uint8_t>(value >> 8 * i));
}

void PutColor(std::vector<uint8_t>& out, Rgb color) {
  Put32(out, color.blue | uint32_t{color.green} << 8 | uint32_t{color.red} << 16);
}

std::vector<Rgb> OutputTable(Kind kind) {
  std::vector<Rgb> table;
  const auto gray = [&](unsigned level) {
    const uint8_t byte = static_cast<uint8_t>(level);
    table.push_back({byte, byte, byte});
  };
  switch (kind) {
    case Kind::kBilevel:
      gray(0);
      gray(255);
      break;
    case Kind::kGray4:
      for (unsigned i = 0; i != 16; ++i) gray(16 * i);
      break;
    case Kind::kGray8:
      for (unsigned i = 0; i != 256; ++i) gray(i);
      break;
    case Kind::kPalette8:
      table = ModelColorCube();
      break;
    default:
      break;
  }
  return table;
}

std::vector<uint8_t> HeaderAndTable(const Geometry& g, unsigned bits, unsigned dpi, Kind kind) {
  std::vector<uint8_t> out;
  const uint32_t colors = bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : 0;
  const uint32_t pels = dpi * 10000u / 254u;
  Put32(out, 40);
  Put32(out, g.width);
  Put32(out, g.height);
  Put32(out, 1 | bits << 16);
  Put32(out, 0);
  Put32(out, 0);
  Put32(out, pels);
  Put32(out, pels);
  Put32(out, colors);
  Put32(out, colors);
  for (const Rgb color : OutputTable(kind)) PutColor(out, color);
  return out;
}

// One channel of an output pixel; `sample(column, row)` is a source value.
template <typename Sample>
unsigned Blend(const ModelPlace& x, const ModelPlace& y, Sample sample) {
  return ModelBlend(sample(x.first, y.first), sample(x.second, y.first), sample(x.first, y.second),
                    sample(x.second, y.second), x.fraction, static_cast<double>(y.fraction));
}

int Part(Rgb color, unsigned channel) {
  return channel == 0 ? color.blue : channel == 1 ? color.green : color.red;
}

}  // namespace

unsigned ModelDpi(uint32_t pelsPerMeter) {
  return static_cast<uint16_t>((pelsPerMeter + 1u) * 254u / 10000u);
}

unsigned ModelLength(unsigned sourceLength, unsigned sourceDpi, unsigned dpi) {
  return Truncate16(static_cast<Wide>(sourceLength) * ScaleOf(dpi, sourceDpi));
}

ModelPlace ModelLocate(unsigned index, double scale, unsigned sourceLength) {
  const Wide position = Quotient(index, scale);
  const unsigned first = Truncate16(position);
  const Wide fraction = position - first;
  if (first + 1 >= sourceLength) return {sourceLength - 1, sourceLength - 1, fraction};
  return {first, first + 1, fraction};
}

unsigned ModelBlend(int leftA, int rightA, int leftB, int rightB, long double fx, double fy) {
  const Wide top = static_cast<Wide>(leftA) + static_cast<Wide>(rightA - leftA) * fx;
  const Wide bottom = static_cast<Wide>(leftB) + static_cast<Wide>(rightB - leftB) * fx;
  const Wide value = top + (bottom - top) * static_cast<Wide>(fy);
  return Truncate16(value) & 0xFF;
}

std::vector<Rgb> ModelColorCube() {
  std::vector<Rgb> cube;
  for (int b = 0; b != 6; ++b) {
    for (int g = 0; g != 6; ++g) {
      for (int r = 0; r != 7; ++r) {
        cube.push_back({static_cast<uint8_t>(r == 6 ? 255 : 42 * r), static_cast<uint8_t>(51 * g),
                        static_cast<uint8_t>(51 * b)});
      }
    }
  }
  cube.push_back({0, 0, 0});
  cube.push_back({0, 0, 0});
  return cube;
}

unsigned ModelCubeIndex(Rgb color) {
  return (color.blue + 25u) / 51u * 42u + (color.green + 25u) / 51u * 7u + (color.red + 21u) / 42u;
}

uint64_t ModelSize(const Dib& source, unsigned dpi, unsigned bits) {
  const Geometry g = GeometryOf(source, dpi);
  return 1078 + uint64_t{g.height} * 4 * ((((uint64_t{bits} * g.width + 7) / 8) + 3) / 4);
}

std::vector<uint8_t> ModelTransform(const Dib& source, unsigned dpi, int threshold) {
  const Geometry g = GeometryOf(source, dpi);
  const Kind kind = KindOf(source);
  std::vector<uint8_t> out = HeaderAndTable(g, source.Bits(), dpi, kind);
  const size_t rowsOffset = out.size();
  out.resize(static_cast<size_t>(ModelSize(source, dpi, source.Bits())));
  const size_t stride = StrideOf(source.Bits(), g.width);

  for (unsigned y = 0; y != g.height; ++y) {
    const ModelPlace row = ModelLocate(y, g.scaleY, g.sourceHeight);
    uint8_t* line = out.data() + rowsOffset + y * stride;
    for (unsigned x = 0; x != g.width; ++x) {
      ModelPlace column = ModelLocate(x, g.scaleX, g.sourceWidth);
      switch (kind) {
        case Kind::kBilevel: {
          // The column table keeps the fraction as a double.
          column.fraction = static_cast<double>(column.fraction);
          const bool whiteFirst = source.Color(0).blue == 255;
          const unsigned darkness = Blend(column, row, [&](unsigned cx, unsigned cy) {
            return (source.Pixel(cx, cy) == 1) == whiteFirst ? 255 : 0;
          });
          if (static_cast<int>(darkness) < threshold) {
            line[x / 8] = static_cast<uint8_t>(line[x / 8] | 1u << (7 - x % 8));
          }
          break;
        }
        case Kind::kGray8:
          line[x] = static_cast<uint8_t>(Blend(column, row, [&](unsigned cx, unsigned cy) {
            return static_cast<int>(source.PixelColor(cx, cy).blue);
          }));
          break;
        case Kind::kPalette8:
        case Kind::kTrueColor: {
          uint8_t channels[3];
          for (unsigned c = 0; c != 3; ++c) {
            channels[c] = static_cast<uint8_t>(Blend(column, row, [&](unsigned cx, unsigned cy) {
              return Part(source.PixelColor(cx, cy), c);
            }));
          }
          const Rgb color{channels[2], channels[1], channels[0]};
          if (kind == Kind::kPalette8) {
            line[x] = static_cast<uint8_t>(ModelCubeIndex(color));
          } else {
            for (unsigned c = 0; c != 3; ++c) line[3 * x + c] = channels[c];
          }
          break;
        }
        default:
          break;
      }
    }
  }
  return out;
}

bool ModelHasGrayTable(const Dib& source) {
  for (size_t i = 0; i != size_t{1} << source.Bits(); ++i) {
    const Rgb color = source.Color(i);
    if (color.red != color.green || color.green != color.blue) return false;
  }
  return true;
}

namespace {

Dib Widened(const Dib& source, uint16_t bits, uint32_t declared, int entries) {
  const int32_t width = static_cast<int32_t>(source.Get32(4) & 0xFFFF);
  const int32_t height = static_cast<int32_t>(source.Get32(8) & 0xFFFF);
  Dib out({.width = width, .height = height, .bits = bits, .tableEntries = entries});
  for (size_t offset = 0; offset != 32; offset += 2) {
    if (offset != 14) out.Set16(offset, source.Get16(offset));
  }
  out.Set32(32, declared);
  out.Set32(36, declared);
  return out;
}

}  // namespace

Dib ModelWidenColor(const Dib& source) {
  Dib out = Widened(source, 24, 0, 0);
  const size_t rows = source.Get32(8) & 0xFFFF;
  const size_t columns = source.Get32(4) & 0xFFFF;
  for (size_t y = 0; y != rows; ++y) {
    for (size_t x = 0; x != columns; ++x) {
      const Rgb color = source.PixelColor(x, y);
      out.SetPixel(x, y, color.blue | uint32_t{color.green} << 8 | uint32_t{color.red} << 16);
    }
  }
  return out;
}

Dib ModelWidenGray(const Dib& source) {
  Dib out = Widened(source, 8, 8, 256);
  for (size_t i = 0; i != 256; ++i) {
    const uint8_t level = static_cast<uint8_t>(i);
    out.SetColor(i, {level, level, level});
  }
  const size_t rows = source.Get32(8) & 0xFFFF;
  const size_t columns = source.Get32(4) & 0xFFFF;
  for (size_t y = 0; y != rows; ++y) {
    for (size_t x = 0; x != columns; ++x) out.SetPixel(x, y, source.PixelColor(x, y).blue);
  }
  return out;
}

}  // namespace dibtest
