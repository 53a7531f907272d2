// SPDX-License-Identifier: Apache-2.0
#include "convert/resampling.h"

#include <algorithm>
#include <array>

#include "convert/conversion_subcommand.h"
#include "convert/cost.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/pixel_limit.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

// No scanner has so few; files that say so were never told.
constexpr unsigned kFewDpi = 50;

// What the page is resampled from.
host::PelsPerMetre SourceResolution(const host::Resolution& resolution, unsigned fromDpi) {
  constexpr const char* kRemedy = "; say what it is with --from-dpi N";
  const host::PelsPerMetre pels =
      host::HeaderResolution(fromDpi != 0 ? host::ResolutionOfDpi(fromDpi) : resolution);
  if (host::DotsPerInch(pels.x) != 0 && host::DotsPerInch(pels.y) != 0) {
    return pels;
  }
  if (resolution.unit == host::ResolutionUnit::kNone) {
    throw Failure(std::string("the file gives no resolution") + kRemedy);
  }
  throw Failure("the file gives a resolution that cannot be, " + ExactText(resolution) + kRemedy);
}

host::ResampleRequest RequestOf(const host::ResampleOptions& options) {
  return {options.dpi, options.threshold, options.grey, options.raw, options.maxPixels};
}

// An impossible size comes most often of a resolution that was never meant.
host::PixelSize SizeOfResult(const host::PageDescription& page, host::PelsPerMetre from,
                             const host::ResampleOptions& options) {
  try {
    return host::ResampledSize({page.width, page.height}, from.x, from.y, RequestOf(options));
  } catch (const host::ImageError& error) {
    const unsigned dpi = std::min(host::DotsPerInch(from.x), host::DotsPerInch(from.y));
    const bool large = error.Fault() == host::ImageFault::kTooLarge ||
                       error.Fault() == host::ImageFault::kTooManyPixels;
    if (!large || options.fromDpi != 0 || dpi >= kFewDpi) {
      throw;
    }
    throw Failure(std::string(error.what()) + "; the file gives " + std::to_string(dpi) +
                  " dpi, if that is wrong say what it is with --from-dpi N");
  }
}

}  // namespace

PagePlan PlanResampling(const host::PageDescription& page, const host::ResampleOptions& options) {
  const host::PelsPerMetre from = SourceResolution(page.resolution, options.fromDpi);
  const host::PixelSize size = SizeOfResult(page, from, options);
  PagePlan plan;
  plan.width = size.width;
  plan.height = size.height;
  plan.bits = ResampledBits(page, RequestOf(options));
  plan.fromDpiX = host::DotsPerInch(from.x);
  plan.fromDpiY = host::DotsPerInch(from.y);
  plan.dpiX = plan.dpiY = options.dpi;
  plan.bytes = CostOfResampling(page, from, RequestOf(options));
  return plan;
}

PagePlan PlanPreparing(const host::PageDescription& page, const host::PrepareOptions& options) {
  const host::PelsPerMetre from = SourceResolution(page.resolution, options.fromDpi);
  const unsigned dpiX = host::DotsPerInch(from.x);
  const unsigned dpiY = host::DotsPerInch(from.y);
  const auto preparation = host::PreparationFor(page.bitCount, dpiX, dpiY, options.dpi);
  if (preparation.resamples) {
    return PlanResampling(page, {.dpi = options.dpi,
                                 .fromDpi = options.fromDpi,
                                 .grey = preparation.smooths,
                                 .maxPixels = options.maxPixels});
  }
  PagePlan plan = PlanAtDepth(page, page.bitCount);
  plan.keepsDepth = true;
  plan.fromDpiX = plan.dpiX = dpiX;
  plan.fromDpiY = plan.dpiY = dpiY;
  return plan;
}

std::string WhyNotResampled(const host::PageDescription& page, uint64_t maxPixels) {
  if (!page.obstacle.empty()) {
    return page.obstacle;
  }
  try {
    host::CheckPixels(page.width, page.height, maxPixels);
    host::ResampleOptions same;
    same.dpi = std::max(1U, host::DotsPerInch(host::HeaderResolution(page.resolution).x));
    same.maxPixels = maxPixels;
    PlanResampling(page, same);
    return "";
  } catch (const std::exception&) {
    return ProblemInHand().message;
  }
}

std::string ExactText(host::Rational value) {
  const std::string numerator = std::to_string(value.numerator);
  return value.denominator == 1 ? numerator : numerator + "/" + std::to_string(value.denominator);
}

std::string ExactText(const host::Resolution& resolution) {
  if (resolution.unit == host::ResolutionUnit::kNone) {
    return "none";
  }
  return ExactText(resolution.x) + " x " + ExactText(resolution.y) + " per " +
         UnitName(resolution.unit);
}

const char* UnitName(host::ResolutionUnit unit) {
  constexpr std::array kNames{"none", "inch", "centimetre", "metre"};
  return kNames[static_cast<size_t>(unit)];
}

}  // namespace dibkit::tool
