// SPDX-License-Identifier: Apache-2.0
#include "peers/peers.h"

#include <cstring>

namespace dibkit::bench {
namespace {

struct Peer {
  const char* name;
  void (*add)(const PeerJob&, Contenders&);  // null when the library was not found
};

constexpr Peer kPeers[] = {
#ifdef DIBKIT_BENCH_OPENCV
    {"OpenCV", AddOpenCv},
#else
    {"OpenCV", nullptr},
#endif
#ifdef DIBKIT_BENCH_LIBYUV
    {"libyuv", AddLibyuv},
#else
    {"libyuv", nullptr},
#endif
#ifdef DIBKIT_BENCH_PIXMAN
    {"pixman", AddPixman},
#else
    {"pixman", nullptr},
#endif
#ifdef DIBKIT_BENCH_SWSCALE
    {"swscale", AddSwscale},
#else
    {"swscale", nullptr},
#endif
#ifdef DIBKIT_BENCH_LEPTONICA
    {"Leptonica", AddLeptonica},
#else
    {"Leptonica", nullptr},
#endif
#ifdef DIBKIT_BENCH_FREEIMAGE
    {"FreeImage", AddFreeImage},
#else
    {"FreeImage", nullptr},
#endif
#if defined(DIBKIT_BENCH_OPENCV) && defined(DIBKIT_BENCH_FREEIMAGE)
    {"OpenCV with FreeImage", AddPaletteChain},
#else
    {"OpenCV with FreeImage", nullptr},
#endif
#ifdef DIBKIT_BENCH_STB
    {"stb", AddStb},
#else
    {"stb", nullptr},
#endif
#ifdef DIBKIT_BENCH_IMAGEQUANT
    {"libimagequant", AddImagequant},
#else
    {"libimagequant", nullptr},
#endif
};

}  // namespace

void AddPeers(const PeerJob& job, Contenders& contenders) {
  for (const Peer& peer : kPeers) {
    if (peer.add != nullptr) {
      peer.add(job, contenders);
    }
  }
}

std::string PeersFound() {
  std::string names;
  for (const Peer& peer : kPeers) {
    names.append(names.empty() ? "" : ", ");
    names.append(peer.add != nullptr ? "" : "no ").append(peer.name);
  }
  return names;
}

Buffer WithFourBytes(const Picture& picture) {
  const auto width = static_cast<size_t>(picture.width);
  const auto height = static_cast<size_t>(picture.height);
  Buffer wide(width * height * 4);
  unsigned char* to = wide.Data();
  for (size_t y = 0; y < height; ++y) {
    const unsigned char* from = picture.rows + y * picture.stride;
    for (size_t x = 0; x < width; ++x, from += 3, to += 4) {
      std::memcpy(to, from, 3);
      to[3] = 255;
    }
  }
  return wide;
}

void ExpandPalette(const Picture& picture, unsigned char* to) {
  const auto width = static_cast<size_t>(picture.width);
  const auto height = static_cast<size_t>(picture.height);
  for (size_t y = 0; y < height; ++y) {
    const unsigned char* from = picture.rows + y * picture.stride;
    for (size_t x = 0; x < width; ++x, to += 3) {
      std::memcpy(to, picture.colors + 4 * from[x], 3);
    }
  }
}

}  // namespace dibkit::bench
