// SPDX-License-Identifier: Apache-2.0
//
// dibkit grey: a bitmap file without its colours.
#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "conversion.h"
#include "dibkit/host/conversion.h"

namespace dibkit::tool {
namespace {

struct GreyOptions {
  std::string rule;
  int levels = 0;
};

const std::map<std::string, host::GreyRule>& Rules() {
  static const std::map<std::string, host::GreyRule> rules{
      {"easy", host::GreyRule::kEasy},
      {"minmax", host::GreyRule::kMinMax},
      {"luminance", host::GreyRule::kLuminance}};
  return rules;
}

}  // namespace

void AddGrey(CLI::App& app, Work& work) {
  auto options = std::make_shared<GreyOptions>();
  CLI::App* command = AddConversion(
      app, work, "grey", "Convert a bitmap file to 8 bits with a grey table",
      [options](host::BitmapFile& file, const ConversionOptions&) {
        const auto levels = options->levels == 16 ? host::GreyLevels::k16 : host::GreyLevels::k256;
        return host::ToGrey(file.ReadDib(), Rules().at(options->rule), levels);
      });
  command->add_option("--rule", options->rule, "How a colour becomes grey")
      ->required()
      ->check(CLI::IsMember({"easy", "minmax", "luminance"}));
  command->add_option("--levels", options->levels, "How many greys there are")
      ->required()
      ->check(CLI::IsMember({16, 256}));
  command->footer(
      "The rules: easy is the mean of red, green and blue; minmax the mean of the largest and the\n"
      "smallest of them; luminance weighs them, by 30, 59 and 11 percent at 16 levels and by 16, "
      "38\n"
      "and 8 parts of 64 at 256 levels, which maps white to 247. 16 levels are 0, 17, 34 to 255,\n"
      "rounded down.");
}

}  // namespace dibkit::tool
