// SPDX-License-Identifier: Apache-2.0
//
// Memory and CPUs as made-up process and control-group file systems tell them.
#include <gtest/gtest.h>

#include <thread>

#include "batch/jobs/control_groups.h"
#include "batch/jobs/machine.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

constexpr uint64_t kMebibyte = uint64_t{1} << 20;

// A machine with 1000 MiB whose control groups are mounted below groups/.
class Machine {
 public:
  Machine() { tree_.Write("proc/meminfo", "MemTotal:        1024000 kB\nMemFree: 5 kB\n"); }

  void Mount(const std::string& root, const std::string& point, const std::string& type,
             const std::string& options) {
    mounts_ += "36 25 0:31 " + root + " " + tree_.Path(point) + " rw,nosuid shared:9 - " + type +
               " none rw," + options + "\n";
    tree_.Write("proc/self/mountinfo", mounts_);
  }
  void BeIn(const std::string& groups) { tree_.Write("proc/self/cgroup", groups); }
  void Set(const std::string& file, const std::string& text) { tree_.Write(file, text); }
  uint64_t Mebibytes() const { return UsableMemory(tree_.Path("proc")) / kMebibyte; }
  unsigned Cpus() const { return UsableCpus(tree_.Path("proc")); }
  std::string Proc() const { return tree_.Path("proc"); }

 private:
  test::FileTree tree_;
  std::string mounts_ = "22 1 8:1 / / rw,relatime - ext4 /dev/sda1 rw\nnonsense\n";
};

TEST(ControlGroups, WithoutAnyTheMachineIsTheLimit) {
  const Machine machine;
  EXPECT_EQ(machine.Mebibytes(), 1000U);
  EXPECT_EQ(DefaultMemoryLimit(machine.Proc()), 750 * kMebibyte);
}

TEST(ControlGroups, OfTheSecondVersionLimitMemory) {
  Machine machine;
  machine.Mount("/", "groups", "cgroup2", "nsdelegate");
  machine.BeIn("0::/user/job\n");
  machine.Set("groups/user/job/memory.max", "max\n");
  EXPECT_EQ(machine.Mebibytes(), 1000U);
  machine.Set("groups/user/job/memory.max", "314572800\n");
  EXPECT_EQ(machine.Mebibytes(), 300U);
}

TEST(ControlGroups, TheTightestOnTheWayUpCounts) {
  Machine machine;
  machine.Mount("/", "groups", "cgroup2", "nsdelegate");
  machine.BeIn("0::/user/job/step\n");
  machine.Set("groups/user/job/step/memory.max", "max\n");
  machine.Set("groups/user/job/memory.max", "524288000\n");
  machine.Set("groups/user/memory.max", "209715200\n");
  EXPECT_EQ(machine.Mebibytes(), 200U);
}

TEST(ControlGroups, OfTheFirstVersionLimitMemory) {
  Machine machine;
  machine.Mount("/", "groups/cpu", "cgroup", "cpu,cpuacct");
  machine.Mount("/", "groups/memory", "cgroup", "memory");
  machine.BeIn("4:memory:/box\n3:cpu,cpuacct:/other\n0::/\n");
  machine.Set("groups/memory/memory.limit_in_bytes", "9223372036854771712\n");
  machine.Set("groups/memory/box/memory.limit_in_bytes", "104857600\n");
  machine.Set("groups/cpu/box/memory.limit_in_bytes", "1\n");
  EXPECT_EQ(machine.Mebibytes(), 100U);
}

TEST(ControlGroups, AContainerSeesItsOwnGroupAsTheRoot) {
  Machine machine;
  machine.Mount("/docker/abc", "groups/memory", "cgroup", "memory");
  machine.BeIn("4:memory:/docker/abc\n");
  machine.Set("groups/memory/memory.limit_in_bytes", "104857600\n");
  EXPECT_EQ(machine.Mebibytes(), 100U);
  machine.BeIn("4:memory:/docker/abc/inner\n");
  machine.Set("groups/memory/inner/memory.limit_in_bytes", "52428800\n");
  EXPECT_EQ(machine.Mebibytes(), 50U);
  // Another's group, and one that lies above what is mounted.
  machine.BeIn("4:memory:/docker/abcdef\n");
  EXPECT_EQ(machine.Mebibytes(), 100U);
  machine.BeIn("4:memory:/../up\n");
  EXPECT_EQ(machine.Mebibytes(), 100U);
}

TEST(ControlGroups, FoldersMayHaveBlanks) {
  Machine machine;
  machine.Mount("/", "a\\040b", "cgroup2", "x");
  machine.BeIn("0::/\n");
  machine.Set("a b/memory.max", "104857600\n");
  EXPECT_EQ(machine.Mebibytes(), 100U);
}

TEST(ControlGroups, QuotasOfTimeLimitCpus) {
  Machine machine;
  machine.Mount("/", "groups", "cgroup2", "x");
  machine.BeIn("0::/job\n");
  const unsigned allowed = UsableCpus("/nowhere");
  machine.Set("groups/job/cpu.max", "max 100000\n");
  EXPECT_EQ(machine.Cpus(), allowed);
  machine.Set("groups/job/cpu.max", "50000 100000\n");
  EXPECT_EQ(machine.Cpus(), 1U);
  machine.Set("groups/job/cpu.max", "150000 100000\n");
  EXPECT_EQ(machine.Cpus(), std::min(2U, allowed));
  machine.Set("groups/job/cpu.max", "100000000000 1\n");
  EXPECT_EQ(machine.Cpus(), allowed);
  machine.Set("groups/job/cpu.max", "0 0\n");
  EXPECT_EQ(machine.Cpus(), allowed);
}

TEST(ControlGroups, QuotasOfTheFirstVersionLimitCpusToo) {
  Machine machine;
  machine.Mount("/", "groups", "cgroup", "cpuacct,cpu");
  machine.BeIn("4:cpuacct,cpu:/job\n");
  const unsigned allowed = UsableCpus("/nowhere");
  machine.Set("groups/job/cpu.cfs_period_us", "100000\n");
  machine.Set("groups/job/cpu.cfs_quota_us", "-1\n");
  EXPECT_EQ(machine.Cpus(), allowed);
  machine.Set("groups/job/cpu.cfs_quota_us", "1000\n");
  EXPECT_EQ(machine.Cpus(), 1U);
}

TEST(ControlGroups, ThisMachineHasSomeMemoryAndCpus) {
  EXPECT_GE(UsableMemory(), 16 * kMebibyte);
  EXPECT_LE(UsableMemory(), SIZE_MAX);
  EXPECT_GE(UsableCpus(), 1U);
  EXPECT_LE(UsableCpus(), std::max(std::thread::hardware_concurrency(), 1U));
}

}  // namespace
}  // namespace dibkit::tool
