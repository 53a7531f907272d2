// SPDX-License-Identifier: Apache-2.0
#include "png_builder.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace dibkit::test {
namespace {

void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

// The value that a filter takes away, of the bytes left, above and above left.
int Predicted(unsigned filter, int left, int above, int corner) {
  const int estimate = left + above - corner;
  const int toLeft = std::abs(estimate - left);
  const int toAbove = std::abs(estimate - above);
  const int toCorner = std::abs(estimate - corner);
  switch (filter) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return (left + above) / 2;
    case 4:
      if (toLeft <= toAbove && toLeft <= toCorner) {
        return left;
      }
      return toAbove <= toCorner ? above : corner;
    default:
      return 0;
  }
}

Bytes Filtered(unsigned filter, const Bytes& row, const Bytes& above, size_t pixelBytes) {
  Bytes filtered(1, static_cast<unsigned char>(filter));
  for (size_t i = 0; i < row.size(); ++i) {
    const int left = i < pixelBytes ? 0 : row[i - pixelBytes];
    const int corner = i < pixelBytes ? 0 : above[i - pixelBytes];
    filtered.push_back(
        static_cast<unsigned char>(row[i] - Predicted(filter, left, above[i], corner)));
  }
  return filtered;
}

uint32_t Word(const Bytes& bytes, size_t at) { return uint32_t{bytes[at]} << 8 | bytes[at + 1]; }

}  // namespace

Bytes BigEndian32(uint32_t value) {
  return {static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
          static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

Bytes PngChunk(const std::string& type, const Bytes& content) {
  Bytes body = BytesOf(type);
  Append(body, content);
  Bytes chunk = BigEndian32(static_cast<uint32_t>(content.size()));
  Append(chunk, body);
  const auto sum = crc32(0, body.data(), static_cast<uInt>(body.size()));
  Append(chunk, BigEndian32(static_cast<uint32_t>(sum)));
  return chunk;
}

Bytes Deflated(const Bytes& bytes) {
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  Bytes stream(size);
  if (compress2(stream.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), 9) != Z_OK) {
    throw std::logic_error("zlib failed");
  }
  stream.resize(size);
  return stream;
}

unsigned PngBuilder::Channels() const {
  constexpr unsigned kChannels[] = {1, 0, 3, 1, 2, 0, 4};
  return kChannels[colourType];
}

uint32_t PngBuilder::Sample(uint32_t x, uint32_t y, unsigned channel) const {
  uint32_t value = (x + 1) * 2654435761U ^ (y + 1) * 2246822519U ^ (channel + 1) * 3266489917U;
  value ^= value >> 15;
  value *= 2246822519U;
  value ^= value >> 13;
  const uint32_t most = (uint32_t{1} << depth) - 1;
  // The ends of the range are as likely as all between.
  const uint32_t kind = value >> 28;
  if (colourType != 3 && kind < 4) {
    return kind < 2 ? 0 : most;
  }
  if (colourType == 3) {
    return value % std::min(most + 1, static_cast<uint32_t>(palette.size() / 3));
  }
  return value & most;
}

void PngBuilder::AppendPass(Bytes& rows, uint32_t x0, uint32_t y0, uint32_t dx, uint32_t dy) const {
  if (x0 >= width) {
    return;
  }
  const size_t pixelBytes = std::max<size_t>(1, size_t{depth} * Channels() / 8);
  const size_t pixels = (width - x0 + dx - 1) / dx;
  Bytes above((pixels * depth * Channels() + 7) / 8);
  for (uint32_t y = y0; y < height; y += dy) {
    Bytes row(above.size());
    size_t bit = 0;
    for (uint32_t x = x0; x < width; x += dx) {
      for (unsigned channel = 0; channel < Channels(); ++channel, bit += depth) {
        const uint32_t sample = Sample(x, y, channel);
        if (depth == 16) {
          row[bit / 8] = static_cast<unsigned char>(sample >> 8);
          row[bit / 8 + 1] = static_cast<unsigned char>(sample);
        } else {
          row[bit / 8] |= static_cast<unsigned char>(sample << (8 - depth - bit % 8));
        }
      }
    }
    Append(rows, Filtered(y / dy % 5, row, above, pixelBytes));
    above = row;
  }
}

Bytes PngBuilder::Build() const {
  Bytes rows;
  if (interlaced) {
    AppendPass(rows, 0, 0, 8, 8);
    AppendPass(rows, 4, 0, 8, 8);
    AppendPass(rows, 0, 4, 4, 8);
    AppendPass(rows, 2, 0, 4, 4);
    AppendPass(rows, 0, 2, 2, 4);
    AppendPass(rows, 1, 0, 2, 2);
    AppendPass(rows, 0, 1, 1, 2);
  } else {
    AppendPass(rows, 0, 0, 1, 1);
  }
  Bytes header = BigEndian32(width);
  Append(header, BigEndian32(height));
  Append(header, {depth, colourType, 0, 0, static_cast<unsigned char>(interlaced ? 1 : 0)});
  Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Append(file, PngChunk("IHDR", header));
  for (const PngChunkSpec& chunk : before) {
    Append(file, PngChunk(chunk.type, chunk.content));
  }
  if (!palette.empty()) {
    Append(file, PngChunk("PLTE", palette));
  }
  if (!transparency.empty()) {
    Append(file, PngChunk("tRNS", transparency));
  }
  const Bytes stream = Deflated(rows);
  for (size_t at = 0; at < stream.size(); at += pieceBytes) {
    const size_t count = std::min(pieceBytes, stream.size() - at);
    const auto from = stream.begin() + static_cast<std::ptrdiff_t>(at);
    Append(file, PngChunk("IDAT", Bytes(from, from + static_cast<std::ptrdiff_t>(count))));
  }
  for (const PngChunkSpec& chunk : behind) {
    Append(file, PngChunk(chunk.type, chunk.content));
  }
  Append(file, PngChunk("IEND", {}));
  return file;
}

bool PngBuilder::IsKey(uint32_t x, uint32_t y) const {
  if (transparency.empty() || colourType == 3) {
    return false;
  }
  for (unsigned channel = 0; channel < Channels(); ++channel) {
    if (Sample(x, y, channel) != Word(transparency, size_t{channel} * 2)) {
      return false;
    }
  }
  return true;
}

// In plain arithmetic, far from how the adapter does it.
uint32_t PngBuilder::ColourAt(uint32_t x, uint32_t y) const {
  const long double most = std::pow(2.0L, depth) - 1;
  long double alpha = IsKey(x, y) ? 0 : 1;
  if (colourType == 4 || colourType == 6) {
    alpha = Sample(x, y, Channels() - 1) / most;
  }
  uint32_t colour = 0;
  for (unsigned channel = 0; channel < 3; ++channel) {
    long double level;
    if (colourType == 3) {
      const uint32_t index = Sample(x, y, 0);
      level = palette[index * 3 + channel] / 255.0L;
      alpha = index < transparency.size() ? transparency[index] / 255.0L : 1;
    } else {
      level = Sample(x, y, (colourType & 2) != 0 ? channel : 0) / most;
    }
    const long double laid = level * alpha + (1 - alpha);
    colour = colour << 8 | static_cast<uint32_t>(std::floor(laid * 255 + 0.5L));
  }
  return colour;
}

std::vector<uint32_t> PngBuilder::Colours() const {
  std::vector<uint32_t> colours;
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      colours.push_back(ColourAt(x, y));
    }
  }
  return colours;
}

}  // namespace dibkit::test
