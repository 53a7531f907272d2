// SPDX-License-Identifier: Apache-2.0
#include "reference/rle_model.h"

namespace dibtest {
namespace {

class Machine {
 public:
  Machine(unsigned bits, const std::vector<uint8_t>& stream, size_t width, size_t rows)
      : m_bits(bits),
        m_stream(stream),
        m_width(static_cast<int64_t>(width)),
        m_rows(static_cast<int64_t>(rows)),
        m_stride(static_cast<int64_t>((bits * width + 31) / 32 * 4)) {
    m_outcome.area.assign(static_cast<size_t>(m_stride) * rows, 0);
  }

  RleOutcome Run() {
    while (m_outcome.sound && !m_ended && m_read < m_stream.size() && m_y < m_rows) Record();
    return m_outcome;
  }

 private:
  uint8_t Next() {
    if (m_read < m_stream.size()) return m_stream[m_read++];
    m_outcome.sound = false;
    return 0;
  }

  void Put(int64_t at, uint8_t value) {
    if (at < 0 || at >= static_cast<int64_t>(m_outcome.area.size())) {
      m_outcome.sound = false;
    } else if (m_bits == 8) {
      m_outcome.area[static_cast<size_t>(at)] = value;
    } else {
      m_outcome.area[static_cast<size_t>(at)] |= value;
    }
  }

  void Pixel(uint8_t value) {
    if (m_bits == 8) {
      if (m_x >= m_width) EndLine();
      Put(m_write++, value);
    } else if (m_x % 2 == 0) {
      Put(m_write, static_cast<uint8_t>(value << 4));
    } else {
      Put(m_write++, value);
    }
    ++m_x;
  }

  void EndLine() {
    m_write += m_stride - (m_bits == 8 ? m_x : m_x / 2);
    ++m_y;
    m_x = 0;
  }

  void Delta() {
    const int64_t dx = Next();
    const int64_t dy = Next();
    m_write += m_stride * dy + (m_bits == 8 ? dx : dx / 2);
    m_x += dx;
    m_y += dy;
  }

  static uint8_t Half(uint8_t pair, int i) {
    return i % 2 == 0 ? static_cast<uint8_t>(pair / 16) : static_cast<uint8_t>(pair % 16);
  }

  void Encoded(int count, uint8_t value) {
    for (int i = 0; i < count; ++i) Pixel(m_bits == 8 ? value : Half(value, i));
  }

  void Literal(int count) {
    uint8_t byte = 0;
    int bytes = 0;
    for (int i = 0; i < count; ++i) {
      if (m_bits == 8 || i % 2 == 0) {
        // A literal that the stream does not hold is not a pixel.
        if (m_read == m_stream.size()) {
          m_outcome.sound = false;
          return;
        }
        byte = Next();
        ++bytes;
      }
      Pixel(m_bits == 8 ? byte : Half(byte, i));
    }
    if (bytes % 2 == 1 && m_read < m_stream.size()) Next();
  }

  void Record() {
    const uint8_t count = Next();
    const uint8_t value = Next();
    if (!m_outcome.sound) return;
    if (count > 0) {
      Encoded(count, value);
    } else if (value == 0) {
      EndLine();
    } else if (value == 1) {
      m_ended = true;
    } else if (value == 2) {
      Delta();
    } else {
      Literal(value);
    }
  }

  unsigned m_bits;
  const std::vector<uint8_t>& m_stream;
  int64_t m_width;
  int64_t m_rows;
  int64_t m_stride;
  size_t m_read = 0;
  int64_t m_write = 0;
  int64_t m_x = 0;
  int64_t m_y = 0;
  bool m_ended = false;
  RleOutcome m_outcome;
};

}  // namespace

RleOutcome DecodeRleSlowly(unsigned bits, const std::vector<uint8_t>& stream, size_t width,
                           size_t rows) {
  return Machine(bits, stream, width, rows).Run();
}

}  // namespace dibtest
