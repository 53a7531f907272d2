// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/resample.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "convert/library_call.h"
#include "convert/plain.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/resolution.h"
#include "resample/conversion_limits.h"
#include "resample/exact.h"
#include "resample/route.h"
#include "resample/sampled.h"

namespace dibkit::host {
namespace {

constexpr int kRawThreshold = 128;
constexpr int kNoThreshold = 0;  // of images that have more than 1 bit
constexpr uint16_t kMostColors = 256;

void Report(const ProgressHook& progress, unsigned percent) {
  if (progress && !progress(percent)) {
    throw Cancelled();
  }
}

// The part from `begin` to `end` percent of what `progress` is told.
ProgressHook PartOf(const ProgressHook& progress, unsigned begin, unsigned end) {
  if (!progress) {
    return nullptr;
  }
  return [&progress, begin, end](unsigned percent) {
    return progress(begin + (end - begin) * percent / 100);
  };
}

Dpi SourceDpi(PelsPerMetre pels) {
  const Dpi dpi{DotsPerInch(pels.x), DotsPerInch(pels.y)};
  if (dpi.x == 0 || dpi.y == 0) {
    throw ImageError(ImageFault::kNoResolution, "the image has no usable resolution (" +
                                                    std::to_string(pels.x) + " x " +
                                                    std::to_string(pels.y) + " pixels per metre)");
  }
  return dpi;
}

void SetResolution(tagHANDLE* dib, Dpi dpi) {
  const LockedBlock lock(dib);
  DibView(lock.Bytes()).SetPelsPerMeter(PelsPerMeter(dpi.x), PelsPerMeter(dpi.y));
}

// The colour reduction makes its image anew, without a resolution.
OwnedBlock WithResolution(OwnedBlock dib, unsigned dpi) {
  SetResolution(dib.get(), {dpi, dpi});
  return dib;
}

// Of the block as it stands: a run-length stream and channel masks are taken for rows.
OwnedBlock RawResampled(const OwnedBlock& dib, const ResampleRequest& request,
                        const ProgressHook& progress) {
  if (FieldsOf(dib.get()).height < 0) {
    throw ImageError(ImageFault::kUnsupported,
                     "the library resamples no image that has its top row first; normalize it "
                     "before");
  }
  CheckConversion(dib.get(), request.dpi, request.maxPixels);
  return ConvertedExactly(dib.get(), request.dpi, request.threshold.value_or(kRawThreshold),
                          progress);
}

// The conversion takes a set bit for the dark one where the first colour has the highest blue.
bool SeesDarkRight(const DibView& bilevel) {
  return (bilevel.Table()[0] == 255) == (DarkIndex(bilevel) == 1);
}

// Interpolation between a line and paper: bits to bits.
OwnedBlock BilevelResampled(tagHANDLE* dib, const DibView& view, unsigned dpi, int threshold,
                            const ProgressHook& progress) {
  const OwnedBlock turned = SeesDarkRight(view) ? OwnedBlock() : BlackOnWhite(view);
  OwnedBlock result = ConvertedExactly(turned ? turned.get() : dib, dpi, threshold, progress);
  SetColours(result.get(), ColoursOf(view));
  return result;
}

// Levels of grey and of colours: block means where there are blocks, and the conversion between
// them where anything is left for it.
OwnedBlock LevelsResampled(tagHANDLE* dib, const DibView& view, const Route& route,
                           const ResampleRequest& request, const ProgressHook& progress) {
  if (!route.samples) {
    CheckConversion(dib, request.dpi, request.maxPixels);
    return ConvertedExactly(dib, request.dpi, kNoThreshold, progress);
  }
  const Reduction& plan = route.reduction;
  const unsigned half = plan.IsWhole() ? 100 : 50;
  OwnedBlock means =
      BlockMeans(view, route.kind, plan.block, plan.blocks, PartOf(progress, 0, half));
  if (plan.IsWhole()) {
    return means;
  }
  SetResolution(means.get(), plan.from);
  CheckConversion(means.get(), plan.dpi, request.maxPixels);
  return ConvertedExactly(means.get(), plan.dpi, kNoThreshold, PartOf(progress, half, 100));
}

OwnedBlock RightlyResampled(const OwnedBlock& dib, const ResampleRequest& request,
                            const ProgressHook& progress) {
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  const PelsPerMetre from{view.XPelsPerMeter(), view.YPelsPerMeter()};
  const Route route =
      RouteOf({view.Width(), view.Height()}, view.BitCount(), view.HasGreyTable(), from, request);
  const int threshold = request.threshold.value_or(
      UsualThreshold(DotsPerInch(from.x), DotsPerInch(from.y), request.dpi));
  if (route.levelBits == 1) {
    CheckConversion(dib.get(), request.dpi, request.maxPixels);
    return BilevelResampled(dib.get(), view, request.dpi, threshold, progress);
  }
  OwnedBlock levels = LevelsResampled(dib.get(), view, route, request, progress);
  if (route.thresholds) {
    return Thresholded(DibView(LockedBlock(levels.get()).Bytes()), threshold, ColoursOf(view));
  }
  return route.picksPalette ? PlainQuantized(levels, kMostColors) : std::move(levels);
}

// Raw blocks need not be plain, but have room for rows of their size.
void RequireSound(tagHANDLE* dib, bool raw) {
  const LockedBlock lock(dib);
  if (!raw) {
    static_cast<void>(DibView(lock.Bytes()));
    return;
  }
  const bool hasHeader = lock.Bytes().size() >= kInfoHeaderBytes;
  const DibFields image = hasHeader ? FieldsOf(dib) : DibFields{};
  const auto rows = static_cast<uint32_t>(std::abs(int64_t{image.height}));
  const bool isDepth = image.bitCount >= 1 && image.bitCount <= 32;
  if (!isDepth || LayoutOf(image.width, rows, image.bitCount).blockBytes > lock.Bytes().size()) {
    throw ImageError(ImageFault::kUnsoundDib, "the image block is smaller than its header says");
  }
}

}  // namespace

OwnedBlock Resampled(const OwnedBlock& dib, const ResampleRequest& request,
                     const ProgressHook& progress) {
  Report(progress, 0);
  RequireSound(dib.get(), request.raw);
  const DibFields image = FieldsOf(dib.get());
  CheckSides(image.width, static_cast<uint32_t>(std::abs(int64_t{image.height})),
             SourceDpi(image.resolution), request.dpi);
  const bool widens = !request.raw && (image.bitCount == 16 || image.bitCount == 32);
  const OwnedBlock widened = widens ? PlainTo24(dib) : OwnedBlock();
  const auto resampled = request.raw ? RawResampled : RightlyResampled;
  OwnedBlock result =
      WithResolution(resampled(widened ? widened : dib, request, progress), request.dpi);
  Report(progress, 100);
  return result;
}

PixelSize ResampledSize(PixelSize size, int32_t xPelsPerMeter, int32_t yPelsPerMeter,
                        const ResampleRequest& request) {
  const PelsPerMetre from{xPelsPerMeter, yPelsPerMeter};
  CheckSides(size.width, size.height, SourceDpi(from), request.dpi);
  return SizeOfConversion(size, from, request.dpi, request.maxPixels);
}

}  // namespace dibkit::host
