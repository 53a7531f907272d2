// SPDX-License-Identifier: Apache-2.0
//
// Rows that are written past the caches arrive like any others.
#include "common/output_rows.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "common/streaming.h"

namespace dibkit {
namespace {

constexpr uint8_t kGuard = 0xA5;
constexpr size_t kGuardBytes = 256;
constexpr CpuLevel kLevels[] = {CpuLevel::kPortable, CpuLevel::kAvx2, CpuLevel::kAvx512};

uint8_t ByteAt(size_t row, size_t at) { return static_cast<uint8_t>(row * 7 + at * 13 + at / 251); }

// A result between guards, `into` bytes behind the start of a cache line.
struct Result {
  std::vector<uint8_t> memory;
  size_t first;
  size_t bytes;

  Result(size_t into, size_t resultBytes)
      : memory(kGuardBytes * 2 + kCacheLine + resultBytes, kGuard), bytes(resultBytes) {
    first = kGuardBytes;
    while (BytesIntoLine(memory.data() + first) != into) ++first;
    std::memset(memory.data() + first, 0, bytes);
  }

  bool GuardsHold() const {
    for (size_t i = 0; i < memory.size(); ++i) {
      if ((i < first || i >= first + bytes) && memory[i] != kGuard) return false;
    }
    return true;
  }
};

// Makes rows 1 to `together` at a time, in turns. `carries`: as a maker that streams waiting lines
// itself, now and then.
void Fill(const RowRun& run, size_t together, bool carries, CpuLevel level) {
  OutputRows rows(run, together, level);
  size_t turn = 0;
  for (size_t y = 0; y < run.rows; ++turn) {
    const size_t count = std::min(1 + turn % together, run.rows - y);
    for (size_t i = 0; i < count; ++i) {
      for (size_t at = 0; at < run.rowBytes; ++at) {
        rows.Row()[i * run.stride + at] = ByteAt(y + i, at);
      }
    }
    if (carries && turn % 3 != 0) {
      const LineRun lines = rows.TakeLines();
      if (lines.lines != 0) std::memcpy(lines.to, lines.from, lines.lines * kCacheLine);
    }
    rows.Next(count);
    y += count;
  }
}

// The place of the first wrong byte, or the number of bytes.
size_t FirstWrong(const Result& result, const RowRun& run) {
  for (size_t i = 0; i < run.bytes(); ++i) {
    const size_t y = i / run.stride, at = i % run.stride;
    if (run.first[i] != (at < run.rowBytes ? ByteAt(y, at) : 0)) return i;
  }
  return result.bytes;
}

struct RowSize {
  size_t rowBytes;
  size_t stride;
};

constexpr size_t kLarge = (size_t{2} << 20) + 5000;

// Rows shorter than a line, of whole lines, and with every kind of padding.
constexpr RowSize kSizes[] = {{1, 4},   {3, 4},     {20, 20},    {61, 64},     {64, 64},
                              {66, 68}, {127, 128}, {997, 1000}, {4959, 4960}, {7440, 7440}};

TEST(OutputRows, LargeResultsHoldEveryByteOfEveryRow) {
  for (const CpuLevel level : kLevels) {
    if (level > BestCpuLevel()) continue;
    for (const RowSize& size : kSizes) {
      for (const size_t into : {size_t{0}, size_t{40}, size_t{63}}) {
        const size_t count = kLarge / size.stride + 1;
        Result result(into, size.stride * count);
        const RowRun run{result.memory.data() + result.first, size.rowBytes, size.stride, count};
        Fill(run, 1 + into % 4, into == 40, level);
        EXPECT_EQ(FirstWrong(result, run), result.bytes) << size.rowBytes << " bytes, " << into;
        EXPECT_TRUE(result.GuardsHold()) << size.rowBytes << " bytes, " << into;
      }
    }
  }
}

TEST(OutputRows, SmallResultsHoldEveryByteOfEveryRow) {
  for (const RowSize& size : kSizes) {
    Result result(40, size.stride * 9);
    const RowRun run{result.memory.data() + result.first, size.rowBytes, size.stride, 9};
    Fill(run, 3, true, BestCpuLevel());
    EXPECT_EQ(FirstWrong(result, run), result.bytes) << size.rowBytes;
    EXPECT_TRUE(result.GuardsHold()) << size.rowBytes;
  }
}

TEST(OutputRows, RowsThatWereMadeArriveWhenTheRestIsNot) {
  constexpr size_t kStride = 1000, kRows = kLarge / kStride, kMade = 10;
  Result result(12, kStride * kRows);
  {
    OutputRows rows({result.memory.data() + result.first, kStride, kStride, kRows}, 1,
                    BestCpuLevel());
    for (size_t y = 0; y < kMade; ++y) {
      std::memset(rows.Row(), 0x11, kStride);
      rows.Next();
    }
  }
  for (size_t i = 0; i < kStride * kRows; ++i) {
    ASSERT_EQ(result.memory[result.first + i], i < kMade * kStride ? 0x11 : 0) << i;
  }
  EXPECT_TRUE(result.GuardsHold());
}

TEST(Streaming, IsForLargeResultsInMemoryThatIsMapped) {
  constexpr size_t kBytes = size_t{8} << 20;
  void* const mapped = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  auto* const result = static_cast<uint8_t*>(mapped);
  const bool streams = BestCpuLevel() != CpuLevel::kPortable;
  EXPECT_EQ(LineStreamInto(result, kBytes, BestCpuLevel()), nullptr);
  std::memset(result, 1, kBytes);
  EXPECT_EQ(LineStreamInto(result, kBytes, BestCpuLevel()) != nullptr, streams);
  EXPECT_EQ(LineStreamInto(result, size_t{1} << 20, BestCpuLevel()), nullptr);
  ::munmap(mapped, kBytes);
}

TEST(Streaming, CopiesBytesOfAnyLengthToAnyPlace) {
  for (const CpuLevel level : kLevels) {
    std::vector<uint8_t> mapped(size_t{3} << 20, 1);
    const LineStream* const stream = LineStreamInto(mapped.data(), mapped.size(), level);
    if (level > BestCpuLevel() || stream == nullptr) continue;
    for (size_t count = 0; count < 300; ++count) {
      Result result(count * 11 % kCacheLine, count);
      std::vector<uint8_t> source(count + 1);
      for (size_t i = 0; i < count; ++i) source[i] = ByteAt(3, i);
      StreamBytes(*stream, source.data(), result.memory.data() + result.first, count);
      stream->end();
      EXPECT_EQ(std::memcmp(result.memory.data() + result.first, source.data(), count), 0) << count;
      EXPECT_TRUE(result.GuardsHold()) << count;
    }
  }
}

}  // namespace
}  // namespace dibkit
