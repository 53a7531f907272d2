// SPDX-License-Identifier: Apache-2.0
#include "run/file_job.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/image_writer.h"
#include "run/page_sides.h"

namespace dibkit::tool {
namespace {

using Clock = std::chrono::steady_clock;

uint64_t MillisecondsSince(Clock::time_point begin) {
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  return static_cast<uint64_t>(passed.count());
}

}  // namespace

FileJob::FileJob(const PlannedFile& plan, const JobContext& context, JobHooks hooks)
    : plan_(plan),
      context_(context),
      hooks_(std::move(hooks)),
      warnings_(plan.input.path, context.options.quiet) {}

int FileJob::Run() {
  try {
    Open();
    for (const uint32_t number : pages_) {
      DoPage(number);
      ++begun_;
    }
    Complete();
    return code_;
  } catch (...) {
    const Problem problem = ProblemInHand();
    EndWith(problem);
    if (problem.cancelled) {
      throw host::Cancelled();
    }
    return problem.code;
  }
}

void FileJob::Open() {
  const ConversionOptions& options = context_.options;
  const auto warning = [this](const std::string& text) { warnings_.Tell(text); };
  document_.emplace(host::Document::Open(
      plan_.input.path, {0, options.maxPixels, hooks_.cancelled, warning, options.raw}));
  pageCount_ = document_->PageCount();
  pages_ = options.pages.Of(pageCount_);
  format_ = plan_.format.value_or(context_.conversion.usualFormat.value_or(document_->Format()));
  RequireOneFile();
  host::SaveOptions save{format_,         options.compression,
                         options.quality, options.outputs.force,
                         !options.noSync, hooks_.cancelled};
  outputs_.emplace(plan_, std::move(save), !options.outputs.outputDir.empty());
}

// Pages that go into one file need a format that has room for them.
void FileJob::RequireOneFile() const {
  if (plan_.IsNumbered() || pages_.size() == 1 || host::HoldsPages(format_)) {
    return;
  }
  throw Failure("the file has " + std::to_string(pages_.size()) + " pages, and a " +
                host::FormatName(format_) +
                " file holds one: name the results with a number in it, as -o page-%03d" +
                host::UsualSuffix(format_) + ", or pick a page with --pages");
}

void FileJob::DoPage(uint32_t number) {
  number_ = number;
  writing_ = false;
  if (std::binary_search(plan_.skippedPages.begin(), plan_.skippedPages.end(), number)) {
    context_.log.Add(Record(PageStatus::kSkipped));
    return;
  }
  try {
    MakePage();
  } catch (...) {
    const Problem problem = ProblemInHand();
    if (EndsFile(problem)) {
      throw;
    }
    outputs_->PassOver();
    Tell(problem);
    Enter(Record(PageStatus::kFailed, problem.message));
    code_ = problem.code;
  }
}

void FileJob::MakePage() {
  const auto begin = Clock::now();
  const host::ThreadMemory memory;
  const ConversionOptions& options = context_.options;
  const host::PageDescription description = document_->Describe(number_ - 1);
  const PagePlan plan =
      InFormat(PlanOf(context_.conversion, description, options.maxPixels), format_);
  host::RequireHeld(format_,
                    options.compression.value_or(host::UsualCompression(format_, plan.bits)),
                    plan.bits, true);
  const MemoryGate::Share share = context_.gate.Acquire(plan.bytes, hooks_.cancelled);
  Writing([this] { outputs_->Open(number_); });
  host::Page page = document_->Read(number_ - 1);
  Convert(page);
  Writing([&] { outputs_->Add(page); });
  PageRecord record = Record(PageStatus::kDone);
  record.sha256 = plan_.IsNumbered() ? CompleteOutput() : std::string();
  DescribeBefore(record.input, document_->Format(), description, plan);
  DescribeAfter(record.output, format_, page);
  record.milliseconds = MillisecondsSince(begin);
  record.peakBytes = memory.PeakBytes();
  Enter(std::move(record));
  hooks_.pageDone();
}

void FileJob::Convert(host::Page& page) {
  const auto count = static_cast<double>(pages_.size());
  context_.conversion.convert(page, [&](unsigned percent) {
    hooks_.progress((static_cast<double>(begun_) + percent / 100.0) / count);
    return !hooks_.cancelled();
  });
}

// The file that all pages go into.
void FileJob::Complete() {
  number_ = pages_.size() == 1 ? number_ : 0;
  const std::string sha256 = CompleteOutput();
  for (PageRecord& record : kept_) {
    if (record.status == PageStatus::kDone) {
      record.sha256 = sha256;
    }
    context_.log.Add(record);
  }
}

std::string FileJob::CompleteOutput() {
  std::string sha256;
  Writing([&] { sha256 = outputs_->Complete(context_.log.HasReport()); });
  return sha256;
}

// A page that fails takes the whole file along where nothing can be kept, where the next page would
// fail like it, and where it is wished so.
bool FileJob::EndsFile(const Problem& problem) const {
  return problem.cancelled || problem.code == EXIT_CODE_RETRY || context_.options.failFast ||
         pages_.size() == 1 || (writing_ && !plan_.IsNumbered());
}

void FileJob::EndWith(const Problem& problem) {
  const bool withdrawn = context_.options.failFast && !problem.cancelled;
  if (outputs_ && withdrawn) {
    outputs_->Withdraw();
  }
  if (!problem.cancelled || context_.single) {
    Tell(problem);
  }
  std::string message = problem.message;
  if (pages_.size() != 1 && (withdrawn || !plan_.IsNumbered())) {
    // None of the pages is there now.
    message = WithPage(message);
    number_ = 0;
  }
  context_.log.Add(
      Record(problem.cancelled ? PageStatus::kInterrupted : PageStatus::kFailed, message));
}

void FileJob::Tell(const Problem& problem) const {
  TellProblem(writing_ ? outputs_->Path() : plan_.input.path,
              {WithPage(problem.message), problem.code, problem.cancelled});
}

std::string FileJob::WithPage(const std::string& message) const {
  return number_ == 0 || pageCount_ == 1
             ? message
             : std::string("page ") + std::to_string(number_) + ": " + message;
}

// A page whose file is there is entered at once; the others wait for their file.
void FileJob::Enter(PageRecord record) {
  if (plan_.IsNumbered()) {
    context_.log.Add(record);
  } else {
    kept_.push_back(std::move(record));
  }
}

// Of the page in work, or of the whole file.
PageRecord FileJob::Record(PageStatus status, const std::string& message) const {
  PageRecord record;
  record.input.path = plan_.input.path;
  record.output.path = plan_.IsNumbered() && number_ == 0 ? "" : plan_.OutputOf(number_);
  record.page = number_;
  record.pages = static_cast<uint32_t>(pages_.size());
  record.status = status;
  record.message = message;
  return record;
}

// What fails in `work` is told of the output, not of the input.
void FileJob::Writing(const std::function<void()>& work) {
  writing_ = true;
  work();
  writing_ = false;
}

}  // namespace dibkit::tool
