// SPDX-License-Identifier: Apache-2.0
#include "conversion.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "dibkit/host/bitmap_writer.h"
#include "dibkit/host/locked_block.h"
#include "failure.h"
#include "signals.h"

namespace dibkit::tool {
namespace {

void StopIfInterrupted() {
  if (Interrupted()) {
    throw host::Cancelled();
  }
}

host::OwnedBlock Convert(const ConversionOptions& options, const Conversion& convert) {
  auto file = host::BitmapFile::Open(options.input, Interrupted);
  file.CheckConvertible();
  CheckPixels("the image", file.Description().width, file.Description().height, options.maxPixels);
  host::OwnedBlock result = convert(file, options);
  StopIfInterrupted();
  return result;
}

void Save(tagHANDLE* dib, const std::string& path) {
  const host::LockedBlock lock(dib);
  host::OutputFile file(path, Interrupted);
  host::WriteBitmap(file, host::DibView(lock.Bytes()));
  file.Commit();
}

int RunConversion(const ConversionOptions& options, const Conversion& convert) {
  host::OwnedBlock result;
  const int code = Guard(options.input, [&] {
    result = Convert(options, convert);
    return EXIT_CODE_DONE;
  });
  if (code != EXIT_CODE_DONE) {
    return code;
  }
  return Guard(options.output, [&] {
    Save(result.get(), options.output);
    return EXIT_CODE_DONE;
  });
}

}  // namespace

CLI::App* AddConversion(CLI::App& app, Work& work, const std::string& name,
                        const std::string& description, const Conversion& convert) {
  // Any image fits; a negative number, which would be read modulo 2^64, does not.
  constexpr uint64_t kMostPixels = uint64_t{1} << 62;
  auto options = std::make_shared<ConversionOptions>();
  CLI::App* command = app.add_subcommand(name, description);
  command
      ->add_option("--max-pixels", options->maxPixels, "Largest input and result that is accepted")
      ->check(CLI::Range(uint64_t{1}, kMostPixels))
      ->capture_default_str();
  command->add_option("IN.bmp", options->input, "Bitmap file; - is standard input")->required();
  command->add_option("OUT.bmp", options->output, "File to write; - is standard output")
      ->required();
  command->callback([&work, options, convert] {
    work = [options, convert] { return RunConversion(*options, convert); };
  });
  return command;
}

void CheckPixels(const char* what, uint64_t width, uint64_t height, uint64_t maxPixels) {
  if (width * height > maxPixels) {
    throw Failure(std::string(what) + " has " + std::to_string(width) + " x " +
                  std::to_string(height) + " pixels, more than the " + std::to_string(maxPixels) +
                  " that --max-pixels allows");
  }
}

}  // namespace dibkit::tool
