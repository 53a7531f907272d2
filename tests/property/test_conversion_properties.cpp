// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>

#include "Cnv_res_mem.h"
#include "NiGoRo2.h"
#include "reference/resample_model.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

enum class Look { kBlackAndWhite, kGray8, kTrueColor };

// An image of 1 to 40 columns and rows, its content drawn by the generator.
Dib AnyImage(Look look, unsigned dpiX, unsigned dpiY) {
  const auto size = rc::gen::inRange<int32_t>(1, 41);
  DibShape shape{.width = *size, .height = *size};
  shape.bits = look == Look::kBlackAndWhite ? 1 : look == Look::kGray8 ? 8 : 24;
  shape.xPels = PelsPerMeter(dpiX);
  shape.yPels = PelsPerMeter(dpiY);
  Dib image(shape);
  if (look == Look::kBlackAndWhite) image.SetBlackWhite(*rc::gen::arbitrary<bool>());
  if (look == Look::kGray8) {
    if (*rc::gen::arbitrary<bool>()) {
      image.SetGrayRamp();
    } else {
      Random random(*rc::gen::arbitrary<uint32_t>());
      image.SetRandomGrayTable(random);
    }
  }
  Random random(*rc::gen::arbitrary<uint32_t>());
  if (*rc::gen::arbitrary<bool>()) {
    image.FillRandom(random);
  } else {
    image.FillSmooth(random);
  }
  return image;
}

Look AnyLook() { return *rc::gen::element(Look::kBlackAndWhite, Look::kGray8, Look::kTrueColor); }

// Converts a read-only block that lies against an inaccessible page at the side drawn.
Dib Converted(const Dib& image, unsigned dpi, int threshold) {
  PlaceBlocksAtStart(*rc::gen::arbitrary<bool>());
  tagHANDLE* source = image.ToHandle();
  MakeReadOnly(source);
  tagHANDLE* result = nullptr;
  const int status =
      ConvertResolution(source, &result, nullptr, static_cast<unsigned short>(dpi), threshold);
  GlobalFree(source);
  RC_ASSERT(status == CNV_OK);
  Dib out = Dib::FromHandle(result);
  GlobalFree(result);
  RC_ASSERT(ReadHost().liveBlocks == 0u);
  return out;
}

class ConversionProperties : public HostTest {};

RC_GTEST_FIXTURE_PROP(ConversionProperties, ScaleOneKeepsEveryPixelsColor, ()) {
  const unsigned dpi = *rc::gen::inRange(1u, 2400u);
  const Dib image = AnyImage(AnyLook(), dpi, dpi);
  const Dib result = Converted(image, dpi, *rc::gen::inRange(1, 256));
  RC_ASSERT(result.Width() == image.Width());
  RC_ASSERT(result.Height() == image.Height());
  for (size_t y = 0; y != image.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(image.Width()); ++x) {
      RC_ASSERT(result.PixelColor(x, y) == image.PixelColor(x, y));
    }
  }
}

RC_GTEST_FIXTURE_PROP(ConversionProperties, SwappedPolarityGivesTheSameResult, ()) {
  const unsigned dpiX = *rc::gen::inRange(30u, 700u);
  const unsigned dpiY = *rc::gen::inRange(30u, 700u);
  Dib image = AnyImage(Look::kBlackAndWhite, dpiX, dpiY);
  Dib swapped = image;
  swapped.SetBlackWhite(image.Color(0).blue != 255);
  for (size_t i = swapped.RowsOffset(); i != swapped.Bytes().size(); ++i) {
    swapped.Bytes()[i] = static_cast<uint8_t>(~swapped.Bytes()[i]);
  }
  const unsigned dpi = *rc::gen::inRange(1u, 1200u);
  const int threshold = *rc::gen::inRange(-1, 258);
  RC_ASSERT(Converted(image, dpi, threshold).Bytes() == Converted(swapped, dpi, threshold).Bytes());
}

RC_GTEST_FIXTURE_PROP(ConversionProperties, AnyResolutionsGiveWhatTheModelGives, ()) {
  const unsigned dpiX = *rc::gen::inRange(1u, 1300u);
  const unsigned dpiY = *rc::gen::inRange(1u, 1300u);
  const Dib image = AnyImage(AnyLook(), dpiX, dpiY);
  // At most twenty times larger, so that a run stays short.
  const unsigned dpi = *rc::gen::inRange(0u, 20 * std::min(dpiX, dpiY));
  const int threshold = *rc::gen::inRange(-1, 258);
  RC_ASSERT(Converted(image, dpi, threshold).Bytes() == ModelTransform(image, dpi, threshold));
}

RC_GTEST_FIXTURE_PROP(ConversionProperties, TheSizeQueriesAgree, ()) {
  Dib image({.width = *rc::gen::inRange<int32_t>(0, 65536),
             .height = *rc::gen::inRange<int32_t>(0, 65536),
             .bits = *rc::gen::element<uint16_t>(1, 4, 8, 16, 24, 32),
             .xPels = *rc::gen::inRange<int32_t>(0, 100000),
             .yPels = *rc::gen::inRange<int32_t>(0, 100000),
             .tableEntries = 0,
             .rowBytes = 0});
  const unsigned short dpi = *rc::gen::arbitrary<unsigned short>();
  tagHANDLE* handle = image.ToHandle();
  unsigned long general = 0;
  unsigned long memory = 0;
  RC_ASSERT(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &handle, dpi, &general) == CNV_OK);
  RC_ASSERT(GetBufferSize(handle, dpi, &memory) == CNV_OK);
  GlobalFree(handle);
  RC_ASSERT(general == static_cast<uint32_t>(ModelSize(image, dpi, image.Bits())));
  if (image.Bits() != 4) RC_ASSERT(general == memory);
}

RC_GTEST_FIXTURE_PROP(ConversionProperties, ReducedPixelsGetANearestColor, ()) {
  Dib image = AnyImage(Look::kTrueColor, 300, 300);
  const unsigned short colors = *rc::gen::inRange<unsigned short>(1, 257);
  const auto quantizer = std::make_unique<CNiGoRo2>(image.Data(), colors, 5, 0);
  tagHANDLE* handle = quantizer->QuantizeBitmap(1, 0);
  const Dib result = Dib::FromHandle(handle);
  GlobalFree(handle);
  RC_ASSERT(quantizer->m_lColorNum <= colors);
  const auto distance = [](Rgb a, Rgb b) {
    const int r = a.red - b.red, g = a.green - b.green, blue = a.blue - b.blue;
    return r * r + g * g + blue * blue;
  };
  for (size_t y = 0; y != image.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(image.Width()); ++x) {
      const Rgb wanted = image.PixelColor(x, y);
      const int chosen = distance(wanted, result.PixelColor(x, y));
      for (size_t i = 0; i != quantizer->m_lColorNum; ++i) {
        RC_ASSERT(chosen <= distance(wanted, result.Color(i)));
      }
    }
  }
}

}  // namespace
}  // namespace dibtest
