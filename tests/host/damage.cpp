// SPDX-License-Identifier: Apache-2.0
#include "damage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "dibkit/host/global_memory.h"
#include "image_pages.h"

namespace dibkit::test {

std::string ReadAnyhow(const Bytes& file, uint64_t mostBytes) {
  constexpr uint64_t kMostPixels = 1'000'000;
  const uint64_t blocks = host::ReadMemoryCounters().liveBlocks;
  host::ResetPeakBytes();
  const uint64_t before = host::ReadMemoryCounters().peakBytes;
  std::string told;
  try {
    const auto reader = OpenBytes(file, {kMostPixels, nullptr, nullptr});
    static_cast<void>(reader->Describe(0));
    static_cast<void>(reader->Read(0));
  } catch (const host::ImageError& error) {
    told = error.what();
    EXPECT_NE(told, "");
    EXPECT_EQ(told.find('\n'), std::string::npos) << told;
    EXPECT_NE(told.back(), '.') << told;
  }
  EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, blocks);
  EXPECT_LE(host::ReadMemoryCounters().peakBytes - before, mostBytes);
  return told;
}

void ExpectEveryEndTold(const Bytes& file, size_t step) {
  constexpr size_t kStart = 1024;
  for (size_t end = 0; end < file.size(); end += end < kStart ? 1 : step) {
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(end));
    EXPECT_NE(ReadAnyhow(cut), "") << end << " of " << file.size() << " bytes";
  }
}

int ReadChangedFiles(const Bytes& file, int rounds, const std::function<Bytes(Bytes)>& repair) {
  constexpr size_t kMostChanges = 8;
  std::mt19937 random(static_cast<unsigned>(file.size()));
  int readable = 0;
  for (int round = 0; round < rounds; ++round) {
    Bytes changed = file;
    for (size_t i = 0; i < 1 + random() % kMostChanges; ++i) {
      // Ends of the range are what breaks things.
      const auto values = {0U, 0xFFU, 0x80U, 0x7FU, static_cast<unsigned>(random())};
      changed[random() % changed.size()] =
          static_cast<unsigned char>(values.begin()[random() % values.size()]);
    }
    if (repair) {
      changed = repair(changed);
    }
    readable += ReadAnyhow(changed).empty() ? 1 : 0;
  }
  return readable;
}

}  // namespace dibkit::test
