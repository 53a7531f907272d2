// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/machine.h"

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <vector>

#include "batch/jobs/control_groups.h"

namespace dibkit::tool {
namespace {

constexpr uint64_t kUnlimited = std::numeric_limits<uint64_t>::max();

uint64_t MachineMemory(const std::string& proc) {
  std::ifstream file(proc + "/meminfo");
  std::string name;
  uint64_t kilobytes = 0;
  if (file >> name >> kilobytes && name == "MemTotal:" && kilobytes <= kUnlimited >> 10) {
    return kilobytes << 10;
  }
  return kUnlimited;
}

uint64_t AddressSpaceLimit() {
  rlimit limit{};
  const bool limited = getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return std::min<uint64_t>(limited ? limit.rlim_cur : kUnlimited,
                            std::numeric_limits<size_t>::max());
}

// CPUs that the scheduler may put this process on.
unsigned AllowedCpus() {
  constexpr size_t kMostCpus = 1U << 16;
  for (size_t cpus = CPU_SETSIZE; cpus <= kMostCpus; cpus *= 2) {
    // The size is a matter of the kernel; too small a set is refused.
    const size_t bytes = CPU_ALLOC_SIZE(cpus);
    std::vector<cpu_set_t> set(bytes / sizeof(cpu_set_t));
    if (sched_getaffinity(0, bytes, set.data()) == 0) {
      return static_cast<unsigned>(CPU_COUNT_S(bytes, set.data()));
    }
  }
  return 1;
}

// What a quota of time keeps busy, rounded up.
std::optional<unsigned> BusyCpus(std::optional<uint64_t> quota, std::optional<uint64_t> period) {
  if (!quota || !period || *quota == 0 || *period == 0) {
    return std::nullopt;
  }
  const uint64_t cpus = *quota / *period + (*quota % *period != 0 ? 1 : 0);
  return static_cast<unsigned>(std::min<uint64_t>(cpus, std::numeric_limits<unsigned>::max()));
}

std::optional<unsigned> CpuQuota(const ControlGroup& group) {
  if (group.version == 2) {
    return BusyCpus(group.Number("cpu.max", 0), group.Number("cpu.max", 1));
  }
  return BusyCpus(group.Number("cpu.cfs_quota_us"), group.Number("cpu.cfs_period_us"));
}

std::optional<uint64_t> MemoryQuota(const ControlGroup& group) {
  return group.Number(group.version == 2 ? "memory.max" : "memory.limit_in_bytes");
}

}  // namespace

uint64_t UsableMemory(const std::string& proc) {
  uint64_t least = std::min(MachineMemory(proc), AddressSpaceLimit());
  for (const ControlGroup& group : ControlGroups(proc, "memory")) {
    least = std::min(least, MemoryQuota(group).value_or(kUnlimited));
  }
  return least;
}

uint64_t DefaultMemoryLimit(const std::string& proc) {
  const uint64_t usable = UsableMemory(proc);
  return std::max<uint64_t>(usable - usable / 4, 1);
}

unsigned UsableCpus(const std::string& proc) {
  unsigned least = AllowedCpus();
  for (const ControlGroup& group : ControlGroups(proc, "cpu")) {
    least = std::min(least, CpuQuota(group).value_or(least));
  }
  return std::max(least, 1U);
}

}  // namespace dibkit::tool
