// SPDX-License-Identifier: Apache-2.0
//
// What this process may use of the machine: memory and CPUs, as the machine and the control groups
// that the process is in have them.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_MACHINE_H
#define DIBKIT_TOOLS_BATCH_JOBS_MACHINE_H

#include <cstdint>
#include <string>

namespace dibkit::tool {

// Bytes of memory: the least of what the machine has, what any control group on the way up (v1 and
// v2) allows, what the limit of the address space allows and what a pointer can tell apart. `proc`
// is where the process file system is; the control groups lie where its mount table says.
uint64_t UsableMemory(const std::string& proc = "/proc");

// Three quarters of it: the rest is for codecs, the system's cache and others.
uint64_t DefaultMemoryLimit(const std::string& proc = "/proc");

// CPUs that this process may run on, or as many as the time that its control groups allow keeps
// busy (rounded up) where these are fewer; at least 1.
unsigned UsableCpus(const std::string& proc = "/proc");

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_MACHINE_H
