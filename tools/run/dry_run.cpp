// SPDX-License-Identifier: Apache-2.0
#include "run/dry_run.h"

#include <algorithm>
#include <functional>
#include <string>

#include "batch/jobs/interruption.h"
#include "batch/jobs/memory_gate.h"
#include "batch/jobs/size_text.h"
#include "batch/terminal/escaped_name.h"
#include "dibkit/host/document.h"
#include "failure.h"
#include "standard_output.h"

namespace dibkit::tool {
namespace {

std::string Counted(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// What the pages of one file, or of all, come to.
struct Sum {
  size_t pages = 0;
  PagePlan largest{};  // each number the largest of all pages
};

void Add(Sum& sum, const PagePlan& page) {
  ++sum.pages;
  PagePlan& most = sum.largest;
  most.width = std::max(most.width, page.width);
  most.height = std::max(most.height, page.height);
  most.bits = std::max(most.bits, page.bits);
  most.dpiX = std::max(most.dpiX, page.dpiX);
  most.dpiY = std::max(most.dpiY, page.dpiY);
  most.bytes = std::max(most.bytes, page.bytes);
}

std::string ResolutionText(const PagePlan& page) {
  if (page.dpiX == 0 || page.dpiY == 0) {
    return "no resolution";
  }
  const std::string x = std::to_string(page.dpiX);
  return (page.dpiX == page.dpiY ? x : x + " x " + std::to_string(page.dpiY)) + " dpi";
}

std::string PagesText(const Sum& sum) {
  const PagePlan& page = sum.largest;
  return Counted(sum.pages, "page") + (sum.pages == 1 ? ", " : ", up to ") +
         std::to_string(page.width) + " x " + std::to_string(page.height) + " pixels, " +
         std::to_string(page.bits) + (page.bits == 1 ? " bit, " : " bits, ") +
         ResolutionText(page) + ", takes " + SizeText(page.bytes, true) + " of memory";
}

class DryRun {
 public:
  DryRun(const Conversion& conversion, const ConversionOptions& options)
      : conversion_(conversion), options_(options), gate_(MemoryOf(options), options.memory != 0) {}

  void AddFile(const PlannedFile& file) {
    if (file.skipped) {
      text_ += EscapedName(file.input.path) + ": skipped, its result exists\n";
      ++skipped_;
      return;
    }
    codes_.Add(Guard(file.input.path, [&] {
      Describe(file);
      return EXIT_CODE_DONE;
    }));
  }

  int Finish() {
    const size_t jobs = std::min<size_t>(JobsOf(options_), std::max<size_t>(costs_.size(), 1));
    std::sort(costs_.begin(), costs_.end(), std::greater<>());
    uint64_t bytes = 0;
    for (size_t i = 0; i < std::min(jobs, costs_.size()); ++i) {
      bytes += costs_[i];
    }
    text_ += Counted(files_, "file") + " with " + Counted(costs_.size(), "page") + " to make" +
             (skipped_ == 0 ? "" : ", " + std::to_string(skipped_) + " skipped") +
             (codes_.Failed() == 0 ? "" : ", " + std::to_string(codes_.Failed()) + " would fail") +
             "; " + Counted(jobs, "job") + ", " + SizeText(std::min(bytes, gate_.Limit()), true) +
             " of memory at most, " + SizeText(gate_.Limit()) + " allowed\n";
    Print(text_);
    return codes_.Code();
  }

 private:
  void Describe(const PlannedFile& file) {
    auto document = host::Document::Open(
        file.input.path, {0, options_.maxPixels, Interrupted, nullptr, options_.raw});
    const std::vector<uint32_t> numbers = options_.pages.Of(document.PageCount());
    const host::ImageFormat format =
        file.format.value_or(conversion_.usualFormat.value_or(document.Format()));
    Sum sum;
    for (const uint32_t number : numbers) {
      const PagePlan plan =
          InFormat(PlanOf(conversion_, document.Describe(number - 1), options_.maxPixels), format);
      gate_.Acquire(plan.bytes).Release();
      Add(sum, plan);
      costs_.push_back(plan.bytes);
    }
    ++files_;
    const std::string first = file.OutputOf(numbers.front());
    const std::string last = file.OutputOf(numbers.back());
    text_ += EscapedName(file.input.path) + " -> " + EscapedName(first) +
             (first == last ? "" : " to " + EscapedName(last)) + ": " + PagesText(sum) + "\n";
  }

  const Conversion& conversion_;
  const ConversionOptions& options_;
  MemoryGate gate_;
  std::string text_;
  std::vector<uint64_t> costs_;  // of each page that would be made
  size_t files_ = 0;             // that they are in
  size_t skipped_ = 0;
  CodeTally codes_;
};

}  // namespace

int TellPlan(const std::vector<PlannedFile>& plan, const Conversion& conversion,
             const ConversionOptions& options) {
  DryRun run(conversion, options);
  for (const PlannedFile& file : plan) {
    host::StopIf(Interrupted);
    run.AddFile(file);
  }
  return run.Finish();
}

}  // namespace dibkit::tool
