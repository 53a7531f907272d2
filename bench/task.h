// SPDX-License-Identifier: Apache-2.0
//
// What is measured: tasks, and the contenders that do them in turns.
#ifndef DIBKIT_BENCH_TASK_H
#define DIBKIT_BENCH_TASK_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "buffer.h"

namespace dibkit::bench {

// What a contender's time says about ours.
enum class Standing {
  kDibkit,
  kFloor,        // memcpy of the source and of the result
  kPeer,         // does the same work on the same pixel format
  kOtherFormat,  // the same work on other pixels, such as 32 bits for 24: shown, not compared
  kOtherWork,    // other work that serves the same end, such as nearest pixels: shown, not compared
};

struct Contender {
  std::string name;
  Standing standing;
  // What a turn reads and is to find in no cache. Blocks of the host and the heap are evicted
  // anyway.
  std::vector<Bytes> cold;
  // One whole call. Answers the rows that it made; none when it failed.
  std::function<Bytes()> turn;
  // Takes down what the turn left behind, blocks of the host excepted. May be empty.
  std::function<void()> after;
};

// A ratio to reach: ours to that of the contender `against`, or to the best peer's.
struct Goal {
  std::string row;      // the line of the summary that it belongs to
  std::string against;  // a contender's name, kBestPeer or kFloorName
  double withAvx512;
  double withAvx2;
};

inline constexpr char kDibkitName[] = "dibkit";
inline constexpr char kPlainName[] = "plain form";
inline constexpr char kBestPeer[] = "best peer";
inline constexpr char kFloorName[] = "floor";

inline constexpr double kNearlyEqual = 8;
// A threshold makes much of where exactly a pixel was sampled.
inline constexpr double kSameKind = 64;
// The result is of the contender's own making, such as indices into a palette of its choice.
inline constexpr double kNotCompared = 255;

struct Task {
  std::string name;
  std::string page;
  std::vector<Contender> contenders;
  std::vector<Goal> goals;
  // Results of the same work look alike: before anything is measured, a peer's mean byte may differ
  // from ours by so much.
  double meanTolerance = kNearlyEqual;
  // The sources, which the contenders refer to.
  std::vector<std::shared_ptr<void>> sources;
};

// A task that is made when its turn comes, because its pictures are large.
struct Plan {
  std::string name;
  std::function<Task()> make;
};

using Plans = std::vector<Plan>;

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_TASK_H
