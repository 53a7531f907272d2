// SPDX-License-Identifier: Apache-2.0
#include "convert/conversion_options.h"

#include "batch/jobs/machine.h"
#include "batch/jobs/size_text.h"
#include "batch/terminal/escaped_name.h"
#include "command_line/choice.h"
#include "command_line/numbers.h"

namespace dibkit::tool {
namespace {

using host::Compression;
using host::ImageFormat;

constexpr uint64_t kMostPixels = uint64_t{1} << 62;  // any image has fewer
constexpr uint64_t kMostJobs = 1024;
constexpr uint64_t kMostShards = 1'000'000'000;

const Choices<ImageFormat>& Formats() {
  static const Choices<ImageFormat> formats{{"bmp", ImageFormat::kBmp},
                                            {"tiff", ImageFormat::kTiff},
                                            {"png", ImageFormat::kPng},
                                            {"jpeg", ImageFormat::kJpeg}};
  return formats;
}

// Other names that people know them by.
const Choices<ImageFormat>& FormatAliases() {
  static const Choices<ImageFormat> aliases{{"tif", ImageFormat::kTiff},
                                            {"jpg", ImageFormat::kJpeg}};
  return aliases;
}

const Choices<Compression>& Compressions() {
  static const Choices<Compression> compressions{
      {"none", Compression::kNone},       {"lzw", Compression::kLzw},
      {"deflate", Compression::kDeflate}, {"packbits", Compression::kPackBits},
      {"g3", Compression::kG3},           {"g4", Compression::kG4},
      {"jpeg", Compression::kJpeg}};
  return compressions;
}

void ReadShard(const std::string& value, InputOptions& inputs) {
  const size_t slash = value.find('/');
  const auto index = NumberOf(value.substr(0, slash));
  const auto count = slash == std::string::npos ? std::nullopt : NumberOf(value.substr(slash + 1));
  if (!index || !count || *count > kMostShards || *index >= *count) {
    throw UsageError("--shard takes K/N, as 0/4 to 3/4 for four machines, not '" +
                     EscapedName(value) + "'");
  }
  inputs.shardIndex = static_cast<unsigned>(*index);
  inputs.shardCount = static_cast<unsigned>(*count);
}

OptionGroup ResultGroup(ConversionOptions& options) {
  OutputOptions& outputs = options.outputs;
  return {
      "Result",
      {Text("--output", 'o', "FILE",
            "The result of one input; a hyphen is standard output. With %03d in the name, each "
            "page gets a file with its number there.",
            outputs.output),
       Text("--output-dir", 0, "DIR",
            "Writes a file for each input into DIR, under its name, and mirrors the folders that "
            "are walked. Pages that the format cannot keep in one file become name-001.png and so "
            "on.",
            outputs.outputDir),
       Choice("--format", "The format of the result. By default the suffix of the result tells it.",
              Formats(), outputs.format, FormatAliases()),
       Choice("--compression",
              "How a result is packed. By default as the input was, from TIFF to TIFF where the "
              "depth allows it; otherwise g4 at 1 bit and deflate at other depths in TIFF, deflate "
              "in PNG, jpeg in JPEG, none in BMP.",
              Compressions(), options.compression),
       Counted("--quality",
               "Quality of JPEG pixels, 1 to 100. The default 90 shows no loss on scanned pages.",
               1, 100, options.quality),
       Flag("--raw", 0,
            "Writes what the library's exported functions make of an input as it stands, every "
            "quirk kept, to check a host against them. By default the right picture.",
            options.raw),
       Flag("--force", 'f', "Replaces files that are there. By default that is refused.",
            outputs.force),
       Flag("--skip-existing", 0,
            "Leaves files that are there, and passes their inputs over: takes a run up again that "
            "was interrupted.",
            outputs.skipExisting)}};
}

OptionGroup WorkGroup(ConversionOptions& options) {
  return {"Work",
          {MaxPixelsOption(options.maxPixels, "A page and its result"),
           Counted("--jobs",
                   "Pages that are worked on at once, of one file or of several; the results are "
                   "the same for any number. By default as many as the CPUs that this process may "
                   "use, which keeps them all busy.",
                   1, kMostJobs, options.jobs),
           {"--memory", 0, "LIMIT",
            "Most bytes for the images of all jobs together, with K, M, G or T behind the number "
            "if need be; a page waits until there is room. By default three quarters of what the "
            "machine or its control group has, which leaves the rest to others.",
            [&options](const std::string& value) { options.memory = ParseSize(value); }},
           Flag("--dry-run", 0,
                "Makes nothing, but tells for each file, and for all, what would be made and the "
                "memory that it takes.",
                options.dryRun),
           Flag("--fail-fast", 0,
                "Stops at the first failure and leaves nothing of the file that failed. By default "
                "the other pages and files are made.",
                options.failFast),
           Flag("--no-sync", 0,
                "Does not wait until the disk has a result before it gets its name. By default it "
                "does, so that what is there is complete even after the power has failed; without "
                "it, batches that can be run again are faster.",
                options.noSync),
           Text("--report", 0, "FILE",
                "Appends a JSON object for each page, one a line, as soon as its file is "
                "complete. See dibkit help report.",
                options.report)}};
}

}  // namespace

unsigned JobsOf(const ConversionOptions& options) {
  return options.jobs != 0 ? options.jobs : UsableCpus();
}

uint64_t MemoryOf(const ConversionOptions& options) {
  return options.memory != 0 ? options.memory : DefaultMemoryLimit();
}

OptionGroup InputGroup(InputOptions& inputs) {
  return {
      "Input",
      {Flag("--recursive", 0, "Takes the image files in folders that are named, and below them.",
            inputs.recursive),
       Text("--files-from", 0, "LIST",
            "Takes the inputs that the file LIST names, one a line; a hyphen is standard input.",
            inputs.filesFrom),
       Flag("--null", 0,
            "The names in LIST end in a zero byte instead, so that they may hold line feeds.",
            inputs.nullSeparated),
       {"--shard", 0, "K/N",
        "Takes every N-th of the sorted inputs, beginning with number K, from 0 to N - 1, so that "
        "N machines share a list without talking to each other.",
        [&inputs](const std::string& value) { ReadShard(value, inputs); }}}};
}

Option MaxPixelsOption(uint64_t& maxPixels, const std::string& what) {
  return Counted("--max-pixels",
                 what +
                     " may have so many pixels; larger ones are refused before anything is "
                     "read. The default is 250000000, enough for A4 at 1200 dpi, since a small "
                     "file may claim to be a huge image.",
                 1, kMostPixels, maxPixels);
}

std::vector<OptionGroup> ConversionGroups(ConversionOptions& options) {
  OptionGroup input = InputGroup(options.inputs);
  input.options.push_back(
      {"--pages", 0, "LIST",
       "Takes these pages of each input, as 1,3-5, counted from 1; an input without one of them "
       "fails. By default all pages.",
       [&options](const std::string& value) {
         options.pages = PageSelection::Parse("--pages", value);
       }});
  return {ResultGroup(options), std::move(input), WorkGroup(options)};
}

void CheckCompression(std::optional<ImageFormat> format, std::optional<Compression> compression) {
  if (!format || !compression) {
    return;
  }
  for (const unsigned bits : {1U, 8U, 24U}) {
    if (host::Holds(*format, *compression, bits, true)) {
      return;
    }
  }
  throw UsageError(std::string(host::FormatName(*format)) + " files cannot have " +
                   host::CompressionName(*compression) + " compression");
}

}  // namespace dibkit::tool
