// SPDX-License-Identifier: Apache-2.0
#include "reference/plain_rle.h"

#include <algorithm>
#include <cstring>

namespace dibtest {

using dibkit::RleTarget;

namespace {

// Second byte of a record whose first is 0; anything above is a number of literal pixels.
constexpr unsigned kEndOfLine = 0;
constexpr unsigned kEndOfBitmap = 1;
constexpr unsigned kDelta = 2;

class Stream {
 public:
  explicit Stream(std::span<const unsigned char> bytes) : m_bytes(bytes) {}

  bool Has(size_t count) const { return m_bytes.size() - m_next >= count; }
  unsigned Byte() { return m_bytes[m_next++]; }

  // The next `count` bytes, or those that are left.
  std::span<const unsigned char> Take(size_t count) {
    const size_t taken = std::min(count, m_bytes.size() - m_next);
    m_next += taken;
    return m_bytes.subspan(m_next - taken, taken);
  }

 private:
  std::span<const unsigned char> m_bytes;
  size_t m_next = 0;
};

// Reads records and has `Pen` place pixels and move, until the stream, the rows or the pixel area
// end. `Pen` counts the bytes of a literal block and holds the row number.
template <typename Pen>
void Decode(Stream stream, Pen pen, uint32_t rows) {
  while (stream.Has(2) && pen.Row() < rows) {
    const unsigned count = stream.Byte();
    const unsigned value = stream.Byte();
    if (count > 0) {
      if (!pen.Run(count, value)) return;
    } else if (value == kEndOfLine) {
      pen.EndLine();
    } else if (value == kEndOfBitmap) {
      return;
    } else if (value == kDelta) {
      if (!stream.Has(2)) return;
      const unsigned dx = stream.Byte();
      const unsigned dy = stream.Byte();
      pen.Move(dx, dy);
    } else {
      const size_t length = Pen::LiteralBytes(value);
      const std::span<const unsigned char> literals = stream.Take(length);
      if (!pen.Literals(value, literals) || literals.size() < length) return;
      stream.Take(length % 2);
    }
  }
}

class Pen8 {
 public:
  explicit Pen8(const RleTarget& target) : m_target(target) {}

  static constexpr size_t LiteralBytes(unsigned count) { return count; }

  uint64_t Row() const { return m_y; }

  bool Run(unsigned count, unsigned value) {
    return Pieces(count, [value](unsigned char* at, size_t length) {
      std::memset(at, static_cast<int>(value), length);
    });
  }

  bool Literals(unsigned, std::span<const unsigned char> literals) {
    const unsigned char* from = literals.data();
    return Pieces(literals.size(), [&from](unsigned char* at, size_t length) {
      std::memcpy(at, from, length);
      from += length;
    });
  }

  void EndLine() {
    m_x = 0;
    ++m_y;
  }

  void Move(unsigned dx, unsigned dy) {
    m_x += dx;
    m_y += dy;
  }

 private:
  // Hands out the next `count` pixels row by row; false when the rows end before the pixels.
  template <typename Fill>
  bool Pieces(size_t count, Fill fill) {
    while (count > 0) {
      if (m_x >= m_target.width) EndLine();
      if (m_y >= m_target.rows) return false;
      const size_t x = static_cast<size_t>(m_x);
      const size_t length = std::min(count, m_target.width - x);
      fill(m_target.bits + static_cast<size_t>(m_y) * m_target.stride + x, length);
      m_x += length;
      count -= length;
    }
    return true;
  }

  RleTarget m_target;
  uint64_t m_x = 0;
  uint64_t m_y = 0;
};

class Pen4 {
 public:
  explicit Pen4(const RleTarget& target)
      : m_bits(target.bits),
        m_stride(static_cast<int64_t>(target.stride)),
        m_size(m_stride * target.rows) {}

  static constexpr size_t LiteralBytes(unsigned count) { return (count + 1) / 2; }

  uint64_t Row() const { return m_y; }

  bool Run(unsigned count, unsigned value) {
    const unsigned char pair = static_cast<unsigned char>(value);
    bool inside = true;
    for (unsigned i = 0; i < count; ++i) inside &= Place(NibbleOf(pair, i));
    return inside;
  }

  bool Literals(unsigned count, std::span<const unsigned char> literals) {
    const size_t present = std::min<size_t>(count, literals.size() * 2);
    bool inside = true;
    for (size_t i = 0; i < present; ++i) inside &= Place(NibbleOf(literals[i / 2], i));
    return inside;
  }

  void EndLine() {
    m_at += m_stride - m_x / 2;
    m_x = 0;
    ++m_y;
  }

  void Move(unsigned dx, unsigned dy) {
    m_at += m_stride * dy + dx / 2;
    m_x += dx;
    m_y += dy;
  }

 private:
  static unsigned NibbleOf(unsigned char pair, size_t i) {
    return i % 2 == 0 ? pair >> 4U : pair & 15U;
  }

  // False when the pixel lies outside; it then only takes its place.
  bool Place(unsigned nibble) {
    const bool inside = m_at >= 0 && m_at < m_size;
    const bool left = m_x % 2 == 0;
    if (inside) m_bits[m_at] |= static_cast<unsigned char>(left ? nibble << 4 : nibble);
    if (!left) ++m_at;
    ++m_x;
    return inside;
  }

  unsigned char* m_bits;
  int64_t m_stride;
  int64_t m_size;
  int64_t m_at = 0;  // byte to write; moves may leave it outside of the area
  int64_t m_x = 0;
  uint64_t m_y = 0;
};

}  // namespace

void DecodePlainRle8(std::span<const unsigned char> stream, const RleTarget& target) {
  Decode(Stream(stream), Pen8(target), target.rows);
}

void DecodePlainRle4(std::span<const unsigned char> stream, const RleTarget& target) {
  Decode(Stream(stream), Pen4(target), target.rows);
}

}  // namespace dibtest
