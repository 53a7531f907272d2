// SPDX-License-Identifier: Apache-2.0
//
// scan: makes a typeset page look as if it came from a scanner, and writes it as a Windows bitmap.
//
//   scan KIND DPI SEED SLANT IN.ppm OUT.bmp
//
// KIND is bilevel, grey, palette or colour. IN.ppm (binary, 8 bits) was drawn at twice DPI. SLANT
// is how far the sheet lies askew, in 65,536ths of a pixel per pixel. The same arguments give the
// same bytes on every machine: there is no floating point here, and the noise comes from a hash.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

namespace {

using Color = std::array<int, 3>;  // red, green, blue

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<Color> pixels;

  const Color& at(int x, int y) const {
    const int column = std::clamp(x, 0, width - 1);
    const int row = std::clamp(y, 0, height - 1);
    return pixels[static_cast<size_t>(row) * static_cast<size_t>(width) +
                  static_cast<size_t>(column)];
  }
};

// What a scan of one kind looks like.
struct Look {
  const char* kind;
  Color paper;  // what white paper reads as
  int ink;      // what black ink reads as
  int grain;    // contrast of the paper's texture
  int noise;    // contrast of the sensor's noise
};

constexpr Look kLooks[] = {
    {"bilevel", {236, 236, 236}, 30, 26, 70},
    {"grey", {240, 240, 240}, 34, 12, 9},
    {"palette", {250, 250, 248}, 26, 8, 6},
    {"colour", {247, 243, 233}, 24, 10, 7},
};

[[noreturn]] void fail(const std::string& message) {
  std::cerr << "scan: " << message << '\n';
  std::exit(1);
}

// A hash of a place: the same number for the same place and seed, without order between places.
uint32_t hash(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = seed * 0x9E3779B1u + x * 0x85EBCA77u + y * 0xC2B2AE3Du;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return h ^ (h >> 15);
}

// 0 to 255, smooth between the points of a grid of 2^shift pixels.
int smooth(int x, int y, int shift, uint32_t seed) {
  const auto corner = [&](int dx, int dy) {
    return static_cast<int>(hash(static_cast<uint32_t>((x >> shift) + dx),
                                 static_cast<uint32_t>((y >> shift) + dy), seed) &
                            255u);
  };
  const int size = 1 << shift;
  const int fx = x & (size - 1);
  const int fy = y & (size - 1);
  const int top = corner(0, 0) * (size - fx) + corner(1, 0) * fx;
  const int bottom = corner(0, 1) * (size - fx) + corner(1, 1) * fx;
  return (top * (size - fy) + bottom * fy) >> (2 * shift);
}

// The sheet's own unevenness, -128 to 127: fibres, clouds, and the waves of the paper.
int grain(int x, int y, uint32_t seed) {
  return (smooth(x, y, 1, seed) * 2 + smooth(x, y, 3, seed + 1) + smooth(x, y, 6, seed + 2)) / 4 -
         128;
}

// The sensor's noise, -127 to 127, mostly small.
int noise(int x, int y, uint32_t seed) {
  const uint32_t h = hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), seed);
  return (static_cast<int>(h & 255u) + static_cast<int>((h >> 8) & 255u) -
          static_cast<int>((h >> 16) & 255u) - static_cast<int>(h >> 24)) /
         4;
}

// Dust on the glass: one grain in a few of the cells of 96 pixels.
bool isDust(int x, int y, uint32_t seed) {
  const uint32_t h = hash(static_cast<uint32_t>(x / 96), static_cast<uint32_t>(y / 96), seed);
  if (h % 7 != 0) {
    return false;
  }
  const int dx = x % 96 - static_cast<int>((h >> 8) % 90);
  const int dy = y % 96 - static_cast<int>((h >> 16) % 90);
  return dx >= 0 && dy >= 0 && dx < 2 && dy < 1 + static_cast<int>((h >> 24) & 1u);
}

// One channel of the drawing at a place given in 65,536ths of its pixels.
int between(const Picture& drawing, int64_t x, int64_t y, size_t channel) {
  const int column = static_cast<int>(x >> 16);
  const int row = static_cast<int>(y >> 16);
  const int64_t fx = x & 0xFFFF;
  const int64_t fy = y & 0xFFFF;
  const int64_t top =
      drawing.at(column, row)[channel] * (0x10000 - fx) + drawing.at(column + 1, row)[channel] * fx;
  const int64_t bottom = drawing.at(column, row + 1)[channel] * (0x10000 - fx) +
                         drawing.at(column + 1, row + 1)[channel] * fx;
  return static_cast<int>((top * (0x10000 - fy) + bottom * fy) >> 32);
}

// What the lens sees at pixel x, y of the scan: the askew drawing, a little out of focus.
Color look(const Picture& drawing, int x, int y, int slant) {
  const int64_t cx = (int64_t{x} * 2 << 16) + int64_t{slant} * (y * 2 - drawing.height / 2);
  const int64_t cy = (int64_t{y} * 2 << 16) - int64_t{slant} * (x * 2 - drawing.width / 2);
  constexpr int64_t kReach = 0xC000;
  Color sum{};
  for (size_t channel = 0; channel < sum.size(); ++channel) {
    for (const int64_t dx : {-kReach, kReach}) {
      for (const int64_t dy : {-kReach, kReach}) {
        sum[channel] += between(drawing, cx + 0x8000 + dx, cy + 0x8000 + dy, channel);
      }
    }
    sum[channel] /= 4;
  }
  return sum;
}

Picture scanned(const Picture& drawing, const Look& style, uint32_t seed, int slant) {
  Picture scan{drawing.width / 2, drawing.height / 2, {}};
  scan.pixels.reserve(static_cast<size_t>(scan.width) * static_cast<size_t>(scan.height));
  for (int y = 0; y < scan.height; ++y) {
    for (int x = 0; x < scan.width; ++x) {
      Color color = look(drawing, x, y, slant);
      // The lamp is weaker towards the right edge and in the fold at the left.
      const int fold = std::max(0, scan.width / 24 - x) * 24 * 40 / scan.width;
      const int light = -fold - 10 * x / scan.width + grain(x, y, seed) * style.grain / 128;
      const int shot = noise(x, y, seed + 9) * style.noise / 128;
      for (size_t channel = 0; channel < color.size(); ++channel) {
        const int range = style.paper[channel] + light - style.ink;
        color[channel] = style.ink + color[channel] * range / 255 + shot;
        if (isDust(x, y, seed + 17)) {
          color[channel] -= 130;
        }
        color[channel] = std::clamp(color[channel], 0, 255);
      }
      scan.pixels.push_back(color);
    }
  }
  return scan;
}

int luminance(const Color& color) { return (color[0] * 77 + color[1] * 151 + color[2] * 28) >> 8; }

// A palette of 256 colours by halving, again and again, the box with the longest side.
struct Box {
  size_t begin;
  size_t end;
  size_t axis = 0;
  int length = 0;
};

Box measured(const std::vector<Color>& colors, size_t begin, size_t end) {
  Box box{begin, end};
  for (size_t axis = 0; axis < 3; ++axis) {
    int low = 255;
    int high = 0;
    for (size_t i = begin; i < end; ++i) {
      low = std::min(low, colors[i][axis]);
      high = std::max(high, colors[i][axis]);
    }
    if (high - low > box.length) {
      box.axis = axis;
      box.length = high - low;
    }
  }
  return box;
}

std::vector<Color> paletteOf(const Picture& picture) {
  std::vector<Color> colors = picture.pixels;
  std::sort(colors.begin(), colors.end());
  std::vector<Box> boxes{measured(colors, 0, colors.size())};
  while (boxes.size() < 256) {
    const auto longest = std::max_element(
        boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.length < b.length; });
    const Box box = *longest;
    if (box.length == 0) {
      break;
    }
    const auto first = colors.begin() + static_cast<std::ptrdiff_t>(box.begin);
    const auto last = colors.begin() + static_cast<std::ptrdiff_t>(box.end);
    std::stable_sort(first, last,
                     [&](const Color& a, const Color& b) { return a[box.axis] < b[box.axis]; });
    const size_t middle = box.begin + (box.end - box.begin) / 2;
    *longest = measured(colors, box.begin, middle);
    boxes.push_back(measured(colors, middle, box.end));
  }
  std::vector<Color> palette;
  for (const Box& box : boxes) {
    std::array<int64_t, 3> sum{};
    for (size_t i = box.begin; i < box.end; ++i) {
      for (size_t axis = 0; axis < 3; ++axis) {
        sum[axis] += colors[i][axis];
      }
    }
    const auto count = static_cast<int64_t>(box.end - box.begin);
    palette.push_back({static_cast<int>(sum[0] / count), static_cast<int>(sum[1] / count),
                       static_cast<int>(sum[2] / count)});
  }
  return palette;
}

size_t nearest(const std::vector<Color>& palette, const Color& color) {
  const auto distance = [&](const Color& entry) {
    int sum = 0;
    for (size_t axis = 0; axis < 3; ++axis) {
      sum += (entry[axis] - color[axis]) * (entry[axis] - color[axis]);
    }
    return sum;
  };
  const auto closest =
      std::min_element(palette.begin(), palette.end(),
                       [&](const Color& a, const Color& b) { return distance(a) < distance(b); });
  return static_cast<size_t>(closest - palette.begin());
}

void put(std::string& out, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out.push_back(static_cast<char>((value >> (8 * i)) & 255u));
  }
}

void putColor(std::string& out, const Color& color) {
  for (size_t channel = 3; channel-- > 0;) {
    put(out, static_cast<uint32_t>(color[channel]), 1);
  }
}

// One row as the file holds it, without the padding.
std::string rowOf(const Picture& scan, int y, int bits, const std::vector<Color>& palette) {
  std::string row;
  uint32_t byte = 0;
  for (int x = 0; x < scan.width; ++x) {
    const Color& color = scan.at(x, y);
    if (bits == 24) {
      putColor(row, color);
    } else if (bits == 8) {
      put(row, static_cast<uint32_t>(nearest(palette, color)), 1);
    } else {
      byte |= luminance(color) >= 160 ? 0x80u >> (x % 8) : 0u;
      if (x % 8 == 7 || x == scan.width - 1) {
        put(row, byte, 1);
        byte = 0;
      }
    }
  }
  return row;
}

std::string bitmapOf(const Picture& scan, int bits, const std::vector<Color>& palette, int dpi) {
  const uint32_t entries = bits == 24 ? 0u : 1u << bits;
  const uint32_t offset = 54 + 4 * entries;
  const auto stride = static_cast<uint32_t>((scan.width * bits + 31) / 32 * 4);
  const uint32_t rows = stride * static_cast<uint32_t>(scan.height);
  const auto perMetre = static_cast<uint32_t>(dpi * 10000 / 254);
  std::string file = "BM";
  put(file, offset + rows, 4);
  put(file, 0, 4);
  put(file, offset, 4);
  put(file, 40, 4);
  put(file, static_cast<uint32_t>(scan.width), 4);
  put(file, static_cast<uint32_t>(scan.height), 4);
  put(file, 1, 2);
  put(file, static_cast<uint32_t>(bits), 2);
  put(file, 0, 4);
  put(file, rows, 4);
  put(file, perMetre, 4);
  put(file, perMetre, 4);
  put(file, 0, 4);
  put(file, 0, 4);
  for (uint32_t i = 0; i < entries; ++i) {
    const Color color = i < palette.size() ? palette[i] : Color{};
    putColor(file, color);
    put(file, 0, 1);
  }
  for (int y = scan.height - 1; y >= 0; --y) {
    std::string row = rowOf(scan, y, bits, palette);
    row.resize(stride);
    file += row;
  }
  return file;
}

// The next number of a PPM header; comments run from # to the end of their line.
int headerNumber(std::istream& in) {
  while (in >> std::ws && in.peek() == '#') {
    std::string comment;
    std::getline(in, comment);
  }
  int number = 0;
  in >> number;
  return number;
}

Picture readDrawing(const char* path) {
  std::ifstream in(path, std::ios::binary);
  std::string magic(2, '\0');
  in.read(magic.data(), 2);
  Picture picture;
  picture.width = headerNumber(in);
  picture.height = headerNumber(in);
  const int largest = headerNumber(in);
  in.get();
  if (!in || magic != "P6" || largest != 255 || picture.width < 2 || picture.height < 2) {
    fail(std::string(path) + " is no binary PPM of 8 bits");
  }
  const size_t count = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height);
  std::string bytes(count * 3, '\0');
  if (!in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    fail(std::string(path) + " ends early");
  }
  picture.pixels.resize(count);
  for (size_t i = 0; i < bytes.size(); ++i) {
    picture.pixels[i / 3][i % 3] = static_cast<unsigned char>(bytes[i]);
  }
  return picture;
}

std::vector<Color> tableFor(const std::string& kind, const Picture& scan) {
  if (kind == "bilevel") {
    return {{0, 0, 0}, {255, 255, 255}};
  }
  if (kind == "grey") {
    std::vector<Color> greys(256);
    for (size_t i = 0; i < greys.size(); ++i) {
      greys[i].fill(static_cast<int>(i));
    }
    return greys;
  }
  return kind == "palette" ? paletteOf(scan) : std::vector<Color>{};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    fail("usage: scan KIND DPI SEED SLANT IN.ppm OUT.bmp");
  }
  const std::string kind = argv[1];
  const auto style = std::find_if(std::begin(kLooks), std::end(kLooks),
                                  [&](const Look& entry) { return kind == entry.kind; });
  if (style == std::end(kLooks)) {
    fail("no kind " + kind);
  }
  Picture scan = scanned(readDrawing(argv[5]), *style, static_cast<uint32_t>(std::atoi(argv[3])),
                         std::atoi(argv[4]));
  if (kind == "grey") {
    for (Color& color : scan.pixels) {
      color.fill(luminance(color));
    }
  }
  const int bits = kind == "bilevel" ? 1 : kind == "colour" ? 24 : 8;
  std::ofstream out(argv[6], std::ios::binary);
  out << bitmapOf(scan, bits, tableFor(kind, scan), std::atoi(argv[2]));
  out.close();
  if (!out) {
    fail(std::string("cannot write ") + argv[6]);
  }
}
