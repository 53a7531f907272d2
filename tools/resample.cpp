// SPDX-License-Identifier: Apache-2.0
//
// dibkit resample: another resolution for a bitmap file.
#include <CLI/CLI.hpp>
#include <memory>

#include "conversion.h"
#include "conversion_limits.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/conversion.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/left_behind.h"
#include "dibkit/host/locked_block.h"
#include "failure.h"
#include "progress.h"
#include "resolution.h"
#include "signals.h"
#include "status_text.h"

namespace dibkit::tool {
namespace {

struct ResampleOptions {
  unsigned dpi = 0;
  unsigned fromDpi = 0;  // 0: the file's own
  int threshold = 128;
};

void SetResolution(tagHANDLE* dib, int32_t x, int32_t y) {
  const host::LockedBlock lock(dib);
  host::DibView(lock.Bytes()).SetPelsPerMeter(x, y);
}

// The image at a depth that the conversion takes.
host::OwnedBlock ReadConvertible(host::BitmapFile& file) {
  const uint16_t bits = file.Description().bitCount;
  return bits == 16 || bits == 32 ? host::To24Bits(file.ReadDib())
                                  : host::Normalized(file.ReadDib());
}

// The image with the resolution that it is to be converted from, found fit for the conversion.
host::OwnedBlock Load(host::BitmapFile& file, const ResampleOptions& options, uint64_t maxPixels) {
  const Resolution from = SourceResolution(file.Description(), options.fromDpi);
  CheckSides(file.Description(), from, options.dpi);
  host::OwnedBlock dib = ReadConvertible(file);
  if (options.fromDpi != 0) {
    const int32_t pels = PelsPerMeter(options.fromDpi);
    SetResolution(dib.get(), pels, pels);
  }
  CheckConversion(dib.get(), options.dpi, maxPixels);
  return dib;
}

// The conversion leaves its widened copy of a palette image behind; the scope takes it back.
host::OwnedBlock Convert(tagHANDLE* source, const ResampleOptions& options, bool quiet) {
  host::LeftBehind scope;
  tagHANDLE* result = nullptr;
  BeginProgress(quiet);
  const int status = ConvertResolution(source, &result, ReportProgress,
                                       static_cast<unsigned short>(options.dpi), options.threshold);
  EndProgress();
  if (Interrupted()) {
    throw host::Cancelled();
  }
  if (status != CNV_OK) {
    throw Failure(StatusText(status), status == CNV_NO_MEMORY ? EXIT_CODE_RETRY : EXIT_CODE_FAILED);
  }
  if (result == nullptr) {
    throw Failure("there is not enough memory for the colour reduction", EXIT_CODE_RETRY);
  }
  scope.Keep(result);
  host::OwnedBlock owned(result);
  // The colour reduction makes its image anew, without a resolution.
  const int32_t pels = PelsPerMeter(options.dpi);
  SetResolution(owned.get(), pels, pels);
  return owned;
}

}  // namespace

void AddResample(CLI::App& app, const CommonOptions& common, Work& work) {
  constexpr unsigned kMostDpi = 65535;
  constexpr int kMostThreshold = 256;
  auto options = std::make_shared<ResampleOptions>();
  CLI::App* command =
      AddConversion(app, work, "resample",
                    "Convert a bitmap file to another resolution; its physical size stays the same",
                    [options, &common](host::BitmapFile& file, const ConversionOptions& shared) {
                      const host::OwnedBlock source = Load(file, *options, shared.maxPixels);
                      return Convert(source.get(), *options, common.quiet);
                    });
  command->footer("Images of 16 and 32 bits are converted at 24 bits.");
  command->add_option("--dpi", options->dpi, "Dots per inch of the result")
      ->required()
      ->check(CLI::Range(1U, kMostDpi));
  command
      ->add_option("--from-dpi", options->fromDpi, "Dots per inch of the input, whatever it says")
      ->check(CLI::Range(1U, kMostDpi));
  command
      ->add_option("--threshold", options->threshold,
                   "1-bit images: darkness, 0 to 256, from which on a pixel is black")
      ->check(CLI::Range(0, kMostThreshold))
      ->capture_default_str();
}

}  // namespace dibkit::tool
