// SPDX-License-Identifier: Apache-2.0
//
// Other libraries that do the same work. Each has one file, which is compiled when CMake finds the
// library, and adds a contender for every way in which the library can do a piece of work.
//
// All run on one thread. What a library lets a program set up once and keep, such as a scaling
// context or a copy of the picture in the library's own format, is made outside the turns. A
// library that can write into a given result gets it from the host; the others allocate their own.
#ifndef DIBKIT_BENCH_PEERS_PEERS_H
#define DIBKIT_BENCH_PEERS_PEERS_H

#include <vector>

#include "picture.h"
#include "task.h"

namespace dibkit::bench {

enum class Work {
  kResize,         // to width x height in the same format
  kResizePalette,  // the same through true colour, and back to a palette of 256 colours
  kReduceColors,   // to a palette of 256 colours
  kDecodeRuns,     // a run-length stream
  kConvert,        // to another format
  kFlip,           // rows in reverse order
};

struct PeerJob {
  Work work;
  Picture source;
  int width;  // of the result
  int height;
  Pixels result;  // format of the result
  Bytes file;     // the source as a bitmap file
};

using Contenders = std::vector<Contender>;

void AddOpenCv(const PeerJob& job, Contenders& contenders);
void AddLibyuv(const PeerJob& job, Contenders& contenders);
void AddPixman(const PeerJob& job, Contenders& contenders);
void AddSwscale(const PeerJob& job, Contenders& contenders);
void AddLeptonica(const PeerJob& job, Contenders& contenders);
void AddFreeImage(const PeerJob& job, Contenders& contenders);
void AddStb(const PeerJob& job, Contenders& contenders);
void AddImagequant(const PeerJob& job, Contenders& contenders);
// Expanding the palette, OpenCV's resize, FreeImage's colour reduction.
void AddPaletteChain(const PeerJob& job, Contenders& contenders);

// All that were found.
void AddPeers(const PeerJob& job, Contenders& contenders);

// The peers' names; "no" stands before those that were not found.
std::string PeersFound();

// The picture with 4 bytes a pixel: blue, green, red, 255. From 24 bits only.
Buffer WithFourBytes(const Picture& picture);

// The 24-bit pixels of 8-bit indices; rows without padding.
void ExpandPalette(const Picture& picture, unsigned char* to);

// Names that goals refer to.
inline constexpr char kOpenCvLinear[] = "OpenCV linear";
inline constexpr char kLibyuvName[] = "libyuv";
inline constexpr char kFreeImageWu[] = "FreeImage Wu";
inline constexpr char kBilevelChain[] = "OpenCV expand + resize + threshold + pack";
inline constexpr char kPaletteChain[] = "expand + OpenCV linear + FreeImage Wu";

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_PEERS_PEERS_H
