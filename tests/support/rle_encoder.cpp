// SPDX-License-Identifier: Apache-2.0
#include "support/rle_encoder.h"

#include <algorithm>

namespace dibtest {
namespace {

class Encoder {
 public:
  Encoder(Random& random, const RleStyle& style) : m_random(random), m_style(style) {}

  std::vector<uint8_t> Finish() {
    if (m_style.endOfBitmap) Mark(1);
    return m_stream;
  }

  void Mark(uint8_t mark) {
    m_stream.push_back(0);
    m_stream.push_back(mark);
  }

  void Pixels(const uint8_t* pixels, size_t count) {
    size_t x = 0;
    while (x < count) {
      const size_t left = count - x;
      const size_t zeros = Zeros(pixels + x, left);
      if (m_style.moves && zeros == left) return;
      if (m_style.moves && MayMove(x, zeros)) {
        x += Move(zeros);
      } else if (left >= 3 && m_random.Below(2) == 0) {
        x += Literals(pixels + x, left);
      } else {
        x += Run(pixels + x, left);
      }
    }
  }

 private:
  static size_t Zeros(const uint8_t* pixels, size_t count) {
    return static_cast<size_t>(
        std::find_if(pixels, pixels + count, [](uint8_t p) { return p != 0; }) - pixels);
  }

  // With 4 bits a move by an odd number of columns from an odd column loses its place.
  bool MayMove(size_t x, size_t zeros) const {
    return zeros > 0 && (m_style.bits == 8 || x % 2 == 0 || std::min<size_t>(zeros, 255) % 2 == 0);
  }

  size_t Move(size_t zeros) {
    const size_t dx = std::min<size_t>(zeros, 255);
    Mark(2);
    m_stream.push_back(static_cast<uint8_t>(dx));
    m_stream.push_back(0);
    return dx;
  }

  size_t Literals(const uint8_t* pixels, size_t left) {
    const size_t most = std::min<size_t>(left, 255);
    const size_t count = 3 + m_random.Below(static_cast<uint32_t>(most - 2));
    Mark(static_cast<uint8_t>(count));
    const size_t before = m_stream.size();
    if (m_style.bits == 8) {
      m_stream.insert(m_stream.end(), pixels, pixels + count);
    } else {
      for (size_t i = 0; i < count; i += 2) {
        m_stream.push_back(Pair(pixels[i], i + 1 < count ? pixels[i + 1] : m_random.Below(16)));
      }
    }
    // Any byte will do: no decoder looks at it.
    if ((m_stream.size() - before) % 2 == 1) m_stream.push_back(m_random.Byte());
    return count;
  }

  // A run of one value, or with 4 bits of two that take turns.
  size_t Run(const uint8_t* pixels, size_t left) {
    const size_t period = m_style.bits == 8 ? 1 : 2;
    size_t count = std::min(left, period);
    while (count < std::min<size_t>(left, 255) && pixels[count] == pixels[count - period]) ++count;
    m_stream.push_back(static_cast<uint8_t>(count));
    m_stream.push_back(period == 1 ? pixels[0] : Pair(pixels[0], count > 1 ? pixels[1] : 0));
    return count;
  }

  static uint8_t Pair(unsigned high, unsigned low) { return static_cast<uint8_t>(high << 4 | low); }

  Random& m_random;
  RleStyle m_style;
  std::vector<uint8_t> m_stream;
};

}  // namespace

std::vector<uint8_t> EncodeRle(const std::vector<uint8_t>& pixels, size_t width, Random& random,
                               const RleStyle& style) {
  Encoder encoder(random, style);
  if (style.wrapRuns) {
    encoder.Pixels(pixels.data(), pixels.size());
    return encoder.Finish();
  }
  for (size_t at = 0; at < pixels.size(); at += width) {
    encoder.Pixels(pixels.data() + at, width);
    encoder.Mark(0);
  }
  return encoder.Finish();
}

}  // namespace dibtest
