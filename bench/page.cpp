// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "picture.h"

namespace dibkit::bench {
namespace {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_;
  }

  int Below(int n) { return static_cast<int>((Next() >> 40) * static_cast<uint64_t>(n) >> 24); }

 private:
  uint64_t state_;
};

constexpr uint64_t kSeed = 0x9E3779B97F4A7C15u;
constexpr float kHue = 8;

struct Color {
  uint8_t blue;
  uint8_t green;
  uint8_t red;
};

class Canvas {
 public:
  explicit Canvas(Page& page) : page_(page) {}

  void Fill(int x, int y, int width, int height, Color color) {
    const int right = std::min(x + width, page_.width);
    for (int row = y; row < std::min(y + height, page_.height); ++row) {
      unsigned char* at = At(x, row);
      for (int column = x; column < right; ++column, at += 3) {
        at[0] = color.blue;
        at[1] = color.green;
        at[2] = color.red;
      }
    }
  }

  unsigned char* At(int x, int y) {
    return page_.pixels.Data() +
           (static_cast<size_t>(y) * static_cast<size_t>(page_.width) + static_cast<size_t>(x)) * 3;
  }

 private:
  Page& page_;
};

// A letter: strokes on a grid of 5 x 7 cells.
void DrawLetter(Canvas& canvas, Random& random, int x, int y, int cell, Color ink) {
  const uint64_t strokes = (random.Next() & random.Next()) | 0x42108421u;
  for (int i = 0; i < 35; ++i) {
    if ((strokes >> i & 1) != 0) {
      canvas.Fill(x + i % 5 * cell, y + i / 5 * cell, cell, cell, ink);
    }
  }
}

// Lines of words with margins; one line in eight is a coloured heading.
void DrawText(Page& page, int top, int bottom) {
  Canvas canvas(page);
  Random random(kSeed);
  const int cell = std::max(1, page.width / 500);
  const int margin = page.width / 12;
  for (int y = top, line = 0; y + 8 * cell < bottom; y += 12 * cell, ++line) {
    const Color ink = line % 8 == 0 ? Color{160, 40, 30} : Color{20, 20, 20};
    for (int x = margin; x + 6 * cell < page.width - margin; x += 6 * cell) {
      if (random.Below(6) != 0) {
        DrawLetter(canvas, random, x, y, cell, ink);
      }
    }
  }
}

// Each pixel becomes the mean of itself and its right and lower neighbours, as a lens does it.
void SoftenEdges(Page& page) {
  const size_t rowBytes = static_cast<size_t>(page.width) * 3;
  unsigned char* at = page.pixels.Data();
  for (size_t i = 0; i + rowBytes + 3 < page.pixels.Size(); ++i) {
    at[i] = static_cast<unsigned char>((2 * at[i] + at[i + 3] + at[i + rowBytes]) >> 2);
  }
}

// A sum of separable waves around 0.
class Waves {
 public:
  Waves(Random& random, int width, int height, float amplitude) : amplitude_(amplitude) {
    for (int i = 0; i < kCount; ++i) {
      across_.push_back(Wave(random, width, i));
      down_.push_back(Wave(random, height, i));
    }
  }

  float At(size_t x, size_t y) const {
    float sum = 0;
    for (size_t i = 0; i < kCount; ++i) {
      sum += across_[i][x] * down_[i][y];
    }
    return sum * amplitude_;
  }

 private:
  static constexpr int kCount = 4;

  static std::vector<float> Wave(Random& random, int length, int octave) {
    const double turns = (1.5 + random.Below(100) / 100.0) * (1 << octave);
    const double phase = random.Below(628) / 100.0;
    std::vector<float> wave(static_cast<size_t>(length));
    for (size_t i = 0; i < wave.size(); ++i) {
      const double angle = phase + turns * 6.283 * static_cast<double>(i) / length;
      wave[i] = static_cast<float>(std::sin(angle) / (1 + octave / 2.0));
    }
    return wave;
  }

  float amplitude_;
  std::vector<std::vector<float>> across_;
  std::vector<std::vector<float>> down_;
};

unsigned char ToByte(float value) {
  return static_cast<unsigned char>(std::clamp(value, 0.0f, 255.0f));
}

// Brightness varies much, hue little: so it is in most pictures.
void DrawPhoto(Page& page, int top, int bottom) {
  Canvas canvas(page);
  Random random(kSeed + 1);
  const int margin = page.width / 12;
  const int width = page.width - 2 * margin;
  const int height = bottom - top;
  const Waves brightness(random, width, height, 70);
  const Waves blueness(random, width, height, kHue);
  const Waves redness(random, width, height, kHue);
  for (int row = 0; row < height; ++row) {
    unsigned char* at = canvas.At(margin, top + row);
    for (int column = 0; column < width; ++column, at += 3) {
      const auto x = static_cast<size_t>(column);
      const auto y = static_cast<size_t>(row);
      const float gray = 128 + brightness.At(x, y);
      const float blue = blueness.At(x, y);
      const float red = redness.At(x, y);
      at[0] = ToByte(gray + blue);
      at[1] = ToByte(gray - (blue + red) / 2);
      at[2] = ToByte(gray + red);
    }
  }
}

// Up to 6 levels either way for the whole pixel, small ones more often; now and then one more for a
// single channel.
void AddNoise(Page& page) {
  Random random(kSeed + 2);
  unsigned char* at = page.pixels.Data();
  for (size_t i = 0; i + 2 < page.pixels.Size(); i += 3) {
    const uint64_t word = random.Next();
    const int noise =
        static_cast<int>((word >> 32 & 7) % 7) - static_cast<int>((word >> 40 & 7) % 7);
    const size_t lifted = i + (word >> 48 & 7);
    for (size_t k = i; k < i + 3; ++k) {
      const int level = at[k] + noise + (k == lifted ? 1 : 0);
      at[k] = static_cast<unsigned char>(std::clamp(level, 0, 255));
    }
  }
}

void FillRandom(Page& page) {
  Random random(kSeed + 3);
  for (size_t i = 0; i < page.pixels.Size(); i += 8) {
    const uint64_t word = random.Next();
    std::memcpy(page.pixels.Data() + i, &word, std::min<size_t>(8, page.pixels.Size() - i));
  }
}

void Draw(Page& page, Content content) {
  if (content == Content::kRandom) {
    FillRandom(page);
    return;
  }
  std::memset(page.pixels.Data(), 255, page.pixels.Size());
  const int margin = page.height / 14;
  const int pictureEnd = content == Content::kText ? margin : page.height / 2;
  DrawText(page, pictureEnd + page.height / 100, page.height - margin);
  SoftenEdges(page);
  SoftenEdges(page);
  if (content != Content::kText) {
    DrawPhoto(page, margin, pictureEnd);
  }
  if (content == Content::kNoise) {
    AddNoise(page);
  }
}

struct KeptPage {
  Content content;
  Page page;
};

}  // namespace

std::string NameOf(Content content) {
  switch (content) {
    case Content::kText:
      return "text";
    case Content::kPhoto:
      return "photo";
    case Content::kNoise:
      return "noise";
    case Content::kRandom:
      return "random";
  }
  return {};
}

const Page& DrawPage(Content content, int width, int height) {
  static std::optional<KeptPage> kept;
  if (!kept || kept->content != content || kept->page.width != width ||
      kept->page.height != height) {
    kept.reset();
    kept.emplace(
        content,
        Page{width, height, Buffer(static_cast<size_t>(width) * static_cast<size_t>(height) * 3)});
    Draw(kept->page, content);
  }
  return kept->page;
}

size_t CountColors(const Page& page) {
  std::vector<bool> seen(size_t{1} << 24);
  size_t count = 0;
  const unsigned char* at = page.pixels.Data();
  for (size_t i = 0; i + 2 < page.pixels.Size(); i += 3) {
    const size_t color = size_t{at[i]} | size_t{at[i + 1]} << 8 | size_t{at[i + 2]} << 16;
    count += seen[color] ? 0u : 1u;
    seen[color] = true;
  }
  return count;
}

}  // namespace dibkit::bench
