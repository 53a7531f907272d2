// SPDX-License-Identifier: Apache-2.0
//
// ocr [--json] [--dpi N] [--from-dpi N] [--language NAME] IN...
//
// A host that recognises documents: every page of every file, loaded into a DIB handle, brought to
// the resolution that the recogniser reads best, and handed to Tesseract without another copy. A
// page that cannot be read is told in one line and left out; the exit status is 1 then, 2 for wrong
// usage, 75 when memory was short.
//
// Tesseract has threads of its own. Where several of these processes share a machine, let each have
// one: OMP_THREAD_LIMIT=1.
#include <dibkit/host/document.h>
#include <dibkit/host/errors.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "output.h"
#include "prepared_page.h"
#include "recogniser.h"

namespace {

namespace host = dibkit::host;

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kRetry = 75 };

struct Arguments {
  std::vector<std::string> files;
  std::string language = "eng";
  unsigned dpi = 300;
  unsigned fromDpi = 0;
  bool json = false;
};

// Runs `work` and tells what it throws.
template <typename Work>
ExitCode Guard(const Arguments& arguments, const std::string& file, uint32_t number, Work work) {
  ExitCode code = kFailed;
  std::string message;
  try {
    work();
    return kDone;
  } catch (const host::PageError& error) {
    code = error.Fault() == host::PageFault::kNoMemory ? kRetry : kFailed;
    message = error.what();
  } catch (const std::bad_alloc&) {
    code = kRetry;
    message = "there is not enough memory";
  } catch (const std::exception& error) {
    message = error.what();
  }
  ocr::PrintFailure(file, number, message, arguments.json);
  return code;
}

void ReadPage(const Arguments& arguments, ocr::Recogniser& recogniser, const std::string& file,
              uint32_t number, host::Page page) {
  const ocr::PreparedPage prepared =
      ocr::Prepare(std::move(page), arguments.dpi, arguments.fromDpi);
  const ocr::RecognisedPage read = recogniser.Read(prepared);
  if (arguments.json) {
    ocr::PrintJson(file, number, prepared.original, read);
  } else {
    ocr::PrintText(file, number, read);
  }
}

ExitCode ReadFile(const Arguments& arguments, ocr::Recogniser& recogniser,
                  const std::string& file) {
  ExitCode worst = kDone;
  const ExitCode opened = Guard(arguments, file, 0, [&] {
    host::Document document = host::Document::Open(file);
    const uint32_t pages = document.PageCount();
    for (uint32_t page = 0; page < pages; ++page) {
      worst = std::max(worst, Guard(arguments, file, page + 1, [&] {
                         ReadPage(arguments, recogniser, file, page + 1, document.Read(page));
                       }));
    }
  });
  return std::max(worst, opened);
}

ExitCode ReadAll(const Arguments& arguments) {
  ExitCode worst = kDone;
  const ExitCode started = Guard(arguments, "", 0, [&] {
    ocr::Recogniser recogniser(arguments.language);
    for (const std::string& file : arguments.files) {
      worst = std::max(worst, ReadFile(arguments, recogniser, file));
    }
  });
  return std::max(worst, started);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr unsigned kMostDpi = 65535;
  Arguments arguments;
  CLI::App app("Recognises the text of scanned pages, in files of any format.", "ocr");
  app.add_option("IN", arguments.files, "image files; - is standard input")->required();
  app.add_flag("--json", arguments.json, "one object a page: text, words and their boxes");
  app.add_option("--dpi", arguments.dpi, "scans of fewer are brought to so many")
      ->check(CLI::Range(1U, kMostDpi))
      ->capture_default_str();
  app.add_option("--from-dpi", arguments.fromDpi, "resolution of the scans, whatever they say")
      ->check(CLI::Range(1U, kMostDpi));
  app.add_option("--language", arguments.language, "Tesseract's data")->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::cerr << "ocr: " << error.what() << '\n';
    return kUsage;
  }
  const ExitCode code = ReadAll(arguments);
  if (!std::cout.flush()) {
    std::cerr << "ocr: standard output cannot be written\n";
    return std::max(code, kFailed);
  }
  return code;
}
