// SPDX-License-Identifier: Apache-2.0
#include "batch/files/plan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <span>

#include "batch/files/output_checks.h"
#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"

namespace dibkit::tool {
namespace {

using host::ImageFormat;
using Format = std::optional<ImageFormat>;

const char* const kStandardOutput = "-";

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// By its content. None for a pipe too, which can be read only once.
Format FormatOfInput(const std::string& path) {
  std::array<unsigned char, host::kFormatBytes> start{};
  if (!IsRegularFile(path)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  file.read(reinterpret_cast<char*>(start.data()), start.size());
  return host::FormatOfContent(std::span(start).first(static_cast<size_t>(file.gcount())));
}

struct SplitName {
  std::string stem;
  std::string suffix;  // that of a format, or empty
};

SplitName SplitAtSuffix(const std::string& name) {
  if (!host::FormatOfName(name)) {
    return {name, ""};
  }
  const size_t dot = name.rfind('.');
  return {name.substr(0, dot), name.substr(dot)};
}

void CheckBuiltIn(Format format, const OutputOptions& options) {
  if (format && !options.isBuiltIn(*format)) {
    throw UsageError(std::string(host::FormatName(*format)) + " files are not built in here");
  }
}

// What the command line gets wrong whatever the files are.
void CheckOptions(const InputList& inputs, const OutputOptions& options) {
  if (options.output.empty() && options.outputDir.empty()) {
    const std::string example = inputs.own.size() == 2 ? EscapedName(inputs.own[0].path) + " -o " +
                                                             EscapedName(inputs.own[1].path)
                                                       : "-o FILE";
    throw UsageError("nothing says where the result goes: " + example + ", or --output-dir DIR");
  }
  if (!options.output.empty() && !options.outputDir.empty()) {
    throw UsageError("-o and --output-dir cannot go together");
  }
  if (options.force && options.skipExisting) {
    throw UsageError("--force and --skip-existing cannot go together");
  }
  CheckBuiltIn(options.format, options);
}

// ---- -o FILE -----------------------------------------------------------------------------------

Format FormatOfOutput(const PagePattern& output, const OutputOptions& options) {
  const std::string name = output.Name(1);
  if (options.format || name == kStandardOutput) {
    return options.format;
  }
  const Format format = host::FormatOfName(name);
  std::error_code error;
  const bool isDevice =
      std::filesystem::exists(name, error) && !std::filesystem::is_regular_file(name, error);
  if (!format && !isDevice) {
    throw UsageError(EscapedName(name) + ": its suffix is that of no format, and there is no " +
                     "--format");
  }
  CheckBuiltIn(format, options);
  return format;
}

void CheckNamedOutput(const PagePattern& output, const InputList& inputs) {
  const std::string name = output.Name(1);
  const size_t count = inputs.own.size() + inputs.others.size();
  std::error_code error;
  if (count > 1 && !output.HasNumber()) {
    throw UsageError("-o " + EscapedName(name) + " is one file for " + std::to_string(count) +
                     " inputs: use --output-dir, or a pattern such as -o page-%03d.png");
  }
  if (output.HasNumber() && !inputs.others.empty()) {
    throw UsageError("a shard cannot know the numbers of its pages: use --output-dir");
  }
  if (std::filesystem::is_directory(name, error)) {
    throw UsageError(EscapedName(name) + " is a folder: use --output-dir");
  }
  if (name == kStandardOutput && isatty(STDOUT_FILENO) == 1) {
    throw UsageError("standard output is a terminal, which is no place for an image");
  }
}

std::vector<PlannedFile> PlanNamed(const InputList& inputs, const OutputOptions& options) {
  const PagePattern output = PagePattern::Parse(options.output);
  CheckNamedOutput(output, inputs);
  const Format format = FormatOfOutput(output, options);
  std::vector<PlannedFile> plan;
  for (const Input& input : inputs.own) {
    plan.push_back({input, output, format});
  }
  return plan;
}

// ---- --output-dir DIR --------------------------------------------------------------------------

// The name below the folder. `content` is the format of the content: it counts where neither the
// option nor the name tells one.
PlannedFile PlanMirrored(const Input& input, const OutputOptions& options, Format content) {
  auto [stem, suffix] = SplitAtSuffix(input.relative);
  Format format = host::FormatOfName(input.relative);
  if (options.format ? format != options.format : !format) {
    format = options.format ? options.format : content;
    suffix = format ? host::UsualSuffix(*format) : "";
  }
  const std::string slash = options.outputDir.ends_with('/') ? "" : "/";
  return {input, PagePattern::Plain(options.outputDir + slash + stem + suffix), format};
}

PlannedFile PlanOwn(const Input& input, const OutputOptions& options) {
  if (input.path == "-") {
    throw UsageError("standard input has no name that --output-dir could use: name it with -o");
  }
  const bool named = options.format || host::FormatOfName(input.relative);
  return PlanMirrored(input, options, named ? std::nullopt : FormatOfInput(input.path));
}

std::vector<PlannedFile> PlanFolder(const InputList& inputs, const OutputOptions& options) {
  std::error_code error;
  if (std::filesystem::exists(options.outputDir, error) &&
      !std::filesystem::is_directory(options.outputDir, error)) {
    throw Failure(EscapedName(options.outputDir) + " is not a folder");
  }
  std::vector<PlannedFile> plan;
  for (const Input& input : inputs.own) {
    plan.push_back(PlanOwn(input, options));
  }
  return plan;
}

// ---- pages -------------------------------------------------------------------------------------

// One page where nobody can tell.
InputPages PagesOf(const PlannedFile& file, const TellPages& tellPages) {
  const Format format = FormatOfInput(file.input.path);
  if (!tellPages || !format || (!file.IsNumbered() && !host::HoldsPages(*format))) {
    return {1, {1}};
  }
  InputPages pages = tellPages(file.input.path);
  pages.count = std::max(pages.count, 1U);
  return pages;
}

// Gives the pages of a file that its format cannot hold together a file each.
void SpreadPages(PlannedFile& file, const InputPages& pages, const OutputOptions& options) {
  if (file.IsNumbered() || pages.chosen.size() < 2) {
    return;
  }
  const std::string name = file.OutputOf(1);
  if (options.outputDir.empty()) {
    throw Failure(EscapedName(file.input.path) + " has " + std::to_string(pages.chosen.size()) +
                  " pages to make, and a " + host::FormatName(*file.format) +
                  " file holds one: use a pattern such as -o page-%03d, or --pages");
  }
  const auto [stem, suffix] = SplitAtSuffix(name);
  file.output = PagePattern::Beside(stem, suffix);
}

// The pages whose outputs are known only by counting them; for other files none.
std::vector<uint32_t> SettlePages(PlannedFile& file, uint64_t& nextNumber,
                                  const OutputOptions& options, const TellPages& tellPages) {
  const bool onePageOnly = file.format && !host::HoldsPages(*file.format);
  if (!file.IsNumbered() && !onePageOnly) {
    return {};
  }
  const bool continued = file.IsNumbered();
  InputPages pages = PagesOf(file, tellPages);
  if (continued) {
    file.firstNumber = nextNumber;
    nextNumber += pages.count;
  }
  SpreadPages(file, pages, options);
  return file.IsNumbered() ? std::move(pages.chosen) : std::vector<uint32_t>{};
}

// ---- all ---------------------------------------------------------------------------------------

void ReserveOthers(const InputList& inputs, const OutputOptions& options, OutputChecks& checks) {
  if (options.outputDir.empty()) {
    return;  // one input in all
  }
  for (const Input& other : inputs.others) {
    checks.Reserve(other.path, PlanMirrored(other, options, std::nullopt).OutputOf(1));
  }
}

void CheckFile(PlannedFile& file, const std::vector<uint32_t>& pages, OutputChecks& checks) {
  if (!file.IsNumbered()) {
    file.skipped = checks.IsLeft(file.input.path, file.OutputOf(1));
    return;
  }
  for (const uint32_t page : pages) {
    if (checks.IsLeft(file.input.path, file.OutputOf(page))) {
      file.skippedPages.push_back(page);
    }
  }
  file.skipped = !pages.empty() && file.skippedPages.size() == pages.size();
}

}  // namespace

std::vector<PlannedFile> PlanOutputs(const InputList& inputs, const OutputOptions& options,
                                     const TellPages& tellPages) {
  CheckOptions(inputs, options);
  std::vector<PlannedFile> plan =
      options.outputDir.empty() ? PlanNamed(inputs, options) : PlanFolder(inputs, options);
  OutputChecks checks(inputs, options.force, options.skipExisting);
  ReserveOthers(inputs, options, checks);
  uint64_t nextNumber = 1;
  for (PlannedFile& file : plan) {
    CheckFile(file, SettlePages(file, nextNumber, options, tellPages), checks);
  }
  checks.Finish();
  return plan;
}

}  // namespace dibkit::tool
