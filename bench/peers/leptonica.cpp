// SPDX-License-Identifier: Apache-2.0
#include <leptonica/allheaders.h>

#include <memory>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

using SharedPix = std::shared_ptr<PIX>;

SharedPix Share(PIX* pix) {
  return SharedPix(pix, [](PIX* last) { pixDestroy(&last); });
}

Bytes RowsOf(PIX* pix) {
  if (pix == nullptr) return {};
  const void* data = pixGetData(pix);
  return {static_cast<const unsigned char*>(data),
          size_t{4} * static_cast<size_t>(pixGetWpl(pix)) * static_cast<size_t>(pixGetHeight(pix))};
}

// The picture as Leptonica holds it: 32 bits for colour, big-endian words.
SharedPix CopyOf(const Picture& picture) {
  const int depth =
      picture.pixels == Pixels::kBgr24 ? 32 : static_cast<int>(BitsOf(picture.pixels));
  PIX* pix = pixCreate(picture.width, picture.height, depth);
  for (int y = 0; y < picture.height; ++y) {
    const unsigned char* from = picture.rows + static_cast<size_t>(y) * picture.stride;
    l_uint32* line = pixGetData(pix) + static_cast<size_t>(y) * static_cast<size_t>(pixGetWpl(pix));
    for (int x = 0; x < picture.width; ++x) {
      if (depth == 32) {
        composeRGBPixel(from[3 * x + 2], from[3 * x + 1], from[3 * x], line + x);
      } else if (depth == 8) {
        SET_DATA_BYTE(line, x, from[x]);
      } else if ((from[x / 8] << x % 8 & 0x80) != 0) {
        SET_DATA_BIT(line, x);
      }
    }
  }
  return Share(pix);
}

template <typename Call>
void Add(const char* name, Standing standing, const SharedPix& source, Call call,
         Contenders& contenders) {
  const auto made = std::make_shared<PIX*>(nullptr);
  contenders.push_back({name,
                        standing,
                        {RowsOf(source.get())},
                        [source, made, call] {
                          *made = call(source.get());
                          return RowsOf(*made);
                        },
                        [made] { pixDestroy(made.get()); }});
}

void AddResize(const PeerJob& job, Contenders& contenders) {
  const float scaleX = static_cast<float>(job.width) / static_cast<float>(job.source.width);
  const float scaleY = static_cast<float>(job.height) / static_cast<float>(job.source.height);
  if (job.source.pixels == Pixels::kBilevel) {
    Add(
        "Leptonica, nearest", Standing::kOtherWork, CopyOf(job.source),
        [=](PIX* source) { return pixScaleBinary(source, scaleX, scaleY); }, contenders);
    return;
  }
  // Below a scale of 0.7 it averages areas instead of interpolating.
  const bool averages = scaleX < 0.7f;
  const bool isGray = job.source.pixels == Pixels::kGray8;
  const Standing standing = averages ? Standing::kOtherWork
                            : isGray ? Standing::kPeer
                                     : Standing::kOtherFormat;
  const char* name = averages ? "Leptonica, areas" : isGray ? "Leptonica" : "Leptonica, 32 bits";
  Add(
      name, standing, CopyOf(job.source),
      [=](PIX* source) { return pixScaleGeneral(source, scaleX, scaleY, 0, 0); }, contenders);
}

void AddReductions(const PeerJob& job, Contenders& contenders) {
  const SharedPix source = CopyOf(job.source);
  Add(
      "Leptonica octree, 240 colours", Standing::kOtherFormat, source,
      [](PIX* pix) { return pixOctreeColorQuant(pix, 240, 0); }, contenders);
  Add(
      "Leptonica fixed octcube", Standing::kOtherWork, source,
      [](PIX* pix) { return pixFixedOctcubeQuant256(pix, 0); }, contenders);
}

void AddConversions(const PeerJob& job, Contenders& contenders) {
  if (job.result != Pixels::kBgr24 || job.source.pixels != Pixels::kBilevel) return;
  Add(
      "Leptonica, to 32 bits", Standing::kOtherFormat, CopyOf(job.source),
      [](PIX* pix) { return pixConvert1To32(nullptr, pix, 0, 0xFFFFFF00u); }, contenders);
}

void AddFlip(const PeerJob& job, Contenders& contenders) {
  const SharedPix source = CopyOf(job.source);
  Add(
      "Leptonica, 32 bits", Standing::kOtherFormat, source,
      [](PIX* pix) { return pixFlipTB(nullptr, pix); }, contenders);
}

}  // namespace

void AddLeptonica(const PeerJob& job, Contenders& contenders) {
  setMsgSeverity(L_SEVERITY_NONE);
  switch (job.work) {
    case Work::kResize:
      AddResize(job, contenders);
      break;
    case Work::kReduceColors:
      AddReductions(job, contenders);
      break;
    case Work::kConvert:
      AddConversions(job, contenders);
      break;
    case Work::kFlip:
      AddFlip(job, contenders);
      break;
    default:
      break;
  }
}

}  // namespace dibkit::bench
