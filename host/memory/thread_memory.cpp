// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/global_memory.h"
#include "memory/block_registry.h"

namespace dibkit::host {

ThreadMemory::ThreadMemory() : tally_(std::make_unique<ThreadTally>()) {
  BlockRegistry::Instance().StartTally(*tally_);
}

ThreadMemory::~ThreadMemory() { BlockRegistry::Instance().StopTally(*tally_); }

uint64_t ThreadMemory::LiveBytes() const {
  return BlockRegistry::Instance().ReadTally(*tally_).liveBytes;
}

uint64_t ThreadMemory::PeakBytes() const {
  return BlockRegistry::Instance().ReadTally(*tally_).peakBytes;
}

void ThreadMemory::ResetPeak() { BlockRegistry::Instance().ResetPeak(*tally_); }

}  // namespace dibkit::host
