// SPDX-License-Identifier: Apache-2.0
//
// dibkit info: what image files hold.
#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "batch/files/inputs.h"
#include "batch/jobs/interruption.h"
#include "convert/conversion_options.h"
#include "convert/resampling.h"
#include "failure.h"
#include "info/page_info.h"
#include "standard_output.h"
#include "subcommand.h"
#include "warnings.h"

namespace dibkit::tool {
namespace {

struct InfoOptions {
  InputOptions inputs{};
  uint64_t maxPixels = host::kUsualMaxPixels;
  bool json = false;
  bool quiet = false;
};

// One file, page by page.
class FileInfo {
 public:
  FileInfo(const std::string& path, const InfoOptions& options)
      : options_(options), warnings_(path, options.quiet) {
    info_.file = path;
    Open();
  }

  uint32_t Pages() const { return info_.pages; }

  // From 1.
  const PageInfo& Page(uint32_t number) {
    info_.page = number;
    info_.description = {};
    try {
      info_.description = reader_->Describe(number - 1);
      info_.obstacle = WhyNotResampled(info_.description, options_.maxPixels);
    } catch (const host::ImageError& error) {
      if (error.Fault() != host::ImageFault::kUnsupported) {
        throw;
      }
      info_.obstacle = error.what();
    }
    return info_;
  }

 private:
  // The headers of a file on the disk can be told whatever its size. For those of a stream its
  // pixels may have to be read, so that there the limit holds.
  void Open() {
    auto source = host::OpenSource(info_.file, Interrupted);
    const uint64_t limit =
        source->IsInPlace() ? std::numeric_limits<uint64_t>::max() : options_.maxPixels;
    std::array<unsigned char, host::kFormatBytes> start{};
    const auto there = static_cast<size_t>(source->SizeUpTo(start.size()));
    source->Read(0, std::span(start).first(there));
    if (host::FormatOfContent(std::span(start).first(there)) == host::ImageFormat::kBmp) {
      info_.bitmap = host::DescribeBitmap(*source, limit);
    }
    reader_ =
        host::OpenImage(std::move(source),
                        {limit, Interrupted, [this](const auto& text) { warnings_.Tell(text); }});
    info_.format = reader_->Format();
    info_.pages = reader_->PageCount();
  }

  const InfoOptions& options_;
  Warnings warnings_;
  std::unique_ptr<host::ImageReader> reader_;
  PageInfo info_;
};

// Calls `work` and tells what goes wrong, on standard output too where objects are wanted. `page` 0
// is the whole file.
int Guarded(const std::string& file, uint32_t page, const InfoOptions& options,
            const std::function<void()>& work) {
  const std::string prefix = page == 0 ? std::string() : "page " + std::to_string(page) + ": ";
  return Guard(file, [&] {
    try {
      work();
    } catch (...) {
      Problem problem = ProblemInHand();
      if (problem.cancelled) {
        throw;
      }
      if (options.json) {
        Print(JsonOfFailure(file, page, problem.message));
      }
      TellProblem(file, {prefix + problem.message, problem.code});
      return problem.code;
    }
    return static_cast<int>(EXIT_CODE_DONE);
  });
}

int TellFile(const std::string& path, const InfoOptions& options) {
  CodeTally codes;
  std::optional<FileInfo> file;
  codes.Add(Guarded(path, 0, options, [&] { file.emplace(path, options); }));
  for (uint32_t number = 1; file && number <= file->Pages() && !Interrupted(); ++number) {
    std::string text;
    codes.Add(Guarded(path, file->Pages() == 1 ? 0 : number, options, [&] {
      const PageInfo& page = file->Page(number);
      text = options.json ? JsonOf(page) : TextOf(page);
    }));
    Print(text);
  }
  return codes.Code();
}

// Every input gets its turn, unless a signal ends it all.
int RunInfo(const InfoOptions& options) {
  CodeTally codes;
  for (const Input& input : ListInputs(options.inputs).own) {
    codes.Add(TellFile(input.path, options));
    if (Interrupted()) {
      TellInterrupted("");
      return EXIT_CODE_SIGNAL + CaughtSignal();
    }
  }
  return codes.Code();
}

}  // namespace

Subcommand MakeInfo(const CommonOptions& common) {
  auto options = std::make_shared<InfoOptions>();
  Subcommand subcommand;
  subcommand.name = "info";
  subcommand.summary = "Tells what image files hold, page by page.";
  subcommand.operands = "INPUT...";
  subcommand.groups = {
      {"Form",
       {Flag("--json", 0, "Prints a JSON object for each page, one a line.", options->json)}},
      InputGroup(options->inputs),
      {"Limits",
       {MaxPixelsOption(options->maxPixels,
                        "A page that resample takes, or that comes by a pipe,")}}};
  subcommand.notes = {
      "Only headers are read. The last line says whether resample would take the page, or why not.",
      "The members of an object: file, format, page and pages (of the file), width and height (of "
      "the upright page), bits (a pixel's in the file), colour, compression, dpi_x and dpi_y (0 "
      "where there are none), resolution_unit, resolution_x and resolution_y (as the file says "
      "them), orientation (1 to 8), profile, resample, and obstacle where that is false. BMP files "
      "also have pixels_per_metre_x, pixels_per_metre_y, header_bytes, top_down, table_entries, "
      "pixel_offset and pixel_bytes. A file that cannot be read is an object with file and error, "
      "a page of several with page too."};
  subcommand.examples = {"dibkit info page.tif", "dibkit info --json --recursive scans"};
  subcommand.run = [options, &common](const Arguments& arguments) {
    options->inputs.paths = arguments.operands;
    options->quiet = common.quiet;
    return RunInfo(*options);
  };
  return subcommand;
}

}  // namespace dibkit::tool
