// SPDX-License-Identifier: Apache-2.0
#include "help.h"

#include "command_line/choice.h"
#include "command_line/help_text.h"
#include "dibkit/host/image_format.h"
#include "dibkit/version.h"

namespace dibkit::tool {
namespace {

constexpr size_t kExampleIndent = 2;

std::string Paragraph(const std::string& text) {
  return std::string("\n") + Wrapped(text, 0) + "\n";
}

std::string Examples(const std::vector<std::string>& examples) {
  std::string text = examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
  for (const std::string& example : examples) {
    text += std::string(kExampleIndent, ' ');
    text += example;
    text += '\n';
  }
  return text;
}

}  // namespace

std::string HelpText(const std::vector<Subcommand>& subcommands, const OptionGroup& common) {
  std::vector<HelpEntry> entries;
  for (const Subcommand& subcommand : subcommands) {
    entries.push_back({subcommand.name, subcommand.summary});
  }
  entries.push_back({"help SUBCOMMAND", "Tells the help of a subcommand."});
  return "Usage: dibkit SUBCOMMAND OPTIONS INPUT...\n" +
         Paragraph(
             "Changes the resolution of scanned pages and reduces their colours, exact to the bit. "
             "Takes image files, and whole folders of them, and tells their format by their "
             "content.") +
         "\n" + EntryList("Subcommands", entries) + "\n" + OptionList(common) +
         Paragraph(
             "All names are inputs. The result is named by -o FILE, or by --output-dir DIR where "
             "there are several; a hyphen stands for standard input or output. A file that is "
             "there already is replaced with --force only.") +
         Paragraph(
             "Results go to standard output, messages and progress to standard error. The exit "
             "status is 0 when all was done, 1 when an input failed, 2 for wrong usage, 75 for a "
             "failure that is worth another try, as a full disk is, and 128 plus its number after "
             "a signal.") +
         Examples({"dibkit resample --dpi 300 -o page-300.tif page.tif",
                   "dibkit resample --dpi 300 --output-dir out --recursive scans",
                   "dibkit help resample"});
}

std::string HelpText(const Subcommand& subcommand, const OptionGroup& common) {
  std::string text =
      Wrapped("Usage: dibkit " + subcommand.name + " OPTIONS " + subcommand.operands, 2) + "\n" +
      Paragraph(subcommand.summary);
  std::vector<OptionGroup> groups = subcommand.groups;
  groups.push_back(common);
  for (const OptionGroup& group : groups) {
    text += '\n';
    text += OptionList(group);
  }
  for (const std::string& note : subcommand.notes) {
    text += Paragraph(note);
  }
  return text + Examples(subcommand.examples);
}

std::string VersionText() {
  std::vector<std::string> formats;
  for (const host::ImageFormat format : host::BuiltInFormats()) {
    std::string name = host::FormatName(format);
    if (const std::string codec = host::CodecVersion(format); !codec.empty()) {
      name += " (" + codec + ")";
    }
    formats.push_back(std::move(name));
  }
  return "dibkit " DIBKIT_VERSION_STRING "\nFile formats: " + Joined(formats, ", ") + "\n";
}

}  // namespace dibkit::tool
