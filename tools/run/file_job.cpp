// SPDX-License-Identifier: Apache-2.0
#include "run/file_job.h"

#include <algorithm>
#include <utility>

namespace dibkit::tool {
namespace {

// How far the fastest may run ahead of the slowest: so many pages for each job.
constexpr size_t kAheadOfEach = 2;
constexpr unsigned kWholePage = 100;  // percents

}  // namespace

FileJob::FileJob(const PlannedFile& plan, const JobContext& context, JobHooks hooks)
    : plan_(plan),
      context_(context),
      hooks_(std::move(hooks)),
      mostAhead_(kAheadOfEach * JobsOf(context.options)),
      warnings_(plan.input.path, context.options.quiet) {}

// ---- pieces of work
// --------------------------------------------------------------------------------

FileTask::Offer FileJob::Take() {
  const std::lock_guard guard(mutex_);
  if (stage_ == Stage::kNew) {
    stage_ = Stage::kOpening;
    ++atWork_;
    return {[this] { Do([this] { Open(); }); }};
  }
  if (stage_ != Stage::kOpen || !HasMore()) {
    return {};
  }
  if (admitting_) {
    return {nullptr, readers_->AreMany()};
  }
  if (taken_ >= order_.Next() + mostAhead_) {
    return {};
  }
  admitting_ = true;
  ++atWork_;
  return {[this, index = taken_++] { Do([this, index] { DoPage(index); }); }};
}

bool FileJob::IsOver() const {
  const std::lock_guard guard(mutex_);
  return stage_ == Stage::kOver;
}

// Pages that nobody has begun. With the lock held.
bool FileJob::HasMore() const { return !ending_ && last_ >= taken_ && taken_ < pages_.size(); }

void FileJob::Do(const std::function<void()>& piece) noexcept {
  try {
    piece();
  } catch (...) {
    EndWith({ProblemInHand()});
  }
  {
    const std::lock_guard guard(mutex_);
    --atWork_;
    if (atWork_ != 0 || HasMore()) {
      return;
    }
  }
  End();
}

void FileJob::Open() {
  const ConversionOptions& options = context_.options;
  auto reader = std::make_unique<InputReader>(
      plan_.input.path,
      host::OpenOptions{0, options.maxPixels, hooks_.task.cancelled, nullptr, options.raw});
  pageCount_ = reader->Document().PageCount();
  for (const std::string& warning : reader->TakeWarnings()) {
    warnings_.Tell(warning);
  }
  pages_ = options.pages.Of(pageCount_);
  const host::ImageFormat format =
      plan_.format.value_or(context_.conversion.usualFormat.value_or(reader->Document().Format()));
  readers_.emplace(std::move(reader));
  host::SaveOptions save{format,          options.compression,
                         options.quality, options.outputs.force,
                         !options.noSync, hooks_.task.cancelled};
  outputs_.emplace(plan_, std::move(save), !options.outputs.outputDir.empty());
  setting_.emplace(PageSetting{plan_, context_.conversion, options, context_.gate, *readers_,
                               *outputs_, format, context_.log.HasReport()});
  RequireOneFile();
  const std::lock_guard guard(mutex_);
  stage_ = Stage::kOpen;
}

// Pages that go into one file need a format that has room for them.
void FileJob::RequireOneFile() const {
  const host::ImageFormat format = setting_->format;
  if (plan_.IsNumbered() || pages_.size() == 1 || host::HoldsPages(format)) {
    return;
  }
  throw Failure("the file has " + std::to_string(pages_.size()) + " pages, and a " +
                host::FormatName(format) +
                " file holds one: name the results with a number in it, as -o page-%03d" +
                host::UsualSuffix(format) + ", or pick a page with --pages");
}

// ---- a page
// ----------------------------------------------------------------------------------------

void FileJob::DoPage(size_t index) {
  bool isAdmitted = false;
  const auto admitted = [&] {
    if (std::exchange(isAdmitted, true)) {
      return;
    }
    {
      const std::lock_guard guard(mutex_);
      admitting_ = false;
    }
    hooks_.task.changed();
  };
  MadePage page = MakeOrSkip(index, admitted);
  admitted();
  if (page.problem && EndsFile(page)) {
    StopBehind(index);
  }
  order_.Put(index, std::move(page), [this](size_t turn, MadePage& made) { Settle(turn, made); });
}

MadePage FileJob::MakeOrSkip(size_t index, const std::function<void()>& admitted) {
  const uint32_t number = pages_[index];
  if (std::binary_search(plan_.skippedPages.begin(), plan_.skippedPages.end(), number)) {
    MadePage skipped;
    skipped.record.status = PageStatus::kSkipped;
    ShowProgress(kWholePage);
    return skipped;
  }
  unsigned shown = 0;
  const auto show = [this, &shown](unsigned percent) {
    const unsigned more = std::max(percent, shown) - shown;
    shown += more;
    ShowProgress(more);
  };
  const auto cancelled = [this, index] { return hooks_.task.cancelled() || last_ < index; };
  MadePage page = MakePage(*setting_, number,
                           {cancelled, show, admitted, [&] { return order_.Next() == index; },
                            [&] { order_.WaitFor(index, cancelled); }});
  show(kWholePage);
  return page;
}

// The turn of the page has come.
void FileJob::Settle(size_t index, MadePage& page) {
  {
    const std::lock_guard guard(mutex_);
    if (ending_) {
      return;
    }
  }
  for (const std::string& warning : page.warnings) {
    warnings_.Tell(warning);
  }
  Accept(page);
  const uint32_t number = pages_[index];
  if (!page.problem) {
    Enter(number, page);
  } else if (EndsFile(page)) {
    StopBehind(index);
    EndWith({*page.problem, number, page.writing});
  } else {
    Tell({*page.problem, number, page.writing});
    Enter(number, page);
    code_ = page.problem->code;
  }
}

void FileJob::Accept(MadePage& page) {
  if (page.problem || !page.file) {
    return;
  }
  try {
    if (page.encoded) {
      page.file->Add(*page.encoded);
    }
    if (plan_.IsNumbered()) {
      outputs_->Commit(*page.file);
    }
  } catch (...) {
    page.problem = ProblemInHand();
    page.writing = true;
  }
}

// A page whose file is there is entered at once; the others wait for their file.
void FileJob::Enter(uint32_t number, MadePage& page) {
  PageRecord record = page.record;
  if (page.problem) {
    record = {};
    record.status = PageStatus::kFailed;
    record.message = page.problem->message;
  }
  record = Named(std::move(record), number);
  const bool done = record.status == PageStatus::kDone;
  if (plan_.IsNumbered()) {
    context_.log.Add(record);
  } else {
    kept_.push_back(std::move(record));
  }
  if (done) {
    hooks_.pageDone();
  }
}

void FileJob::ShowProgress(unsigned percents) {
  const uint64_t all = percents_ += percents;
  hooks_.progress(static_cast<double>(all) /
                  (double{kWholePage} * static_cast<double>(pages_.size())));
}

// ---- the end
// ---------------------------------------------------------------------------------------

// A page that fails takes the whole file along where nothing can be kept, where the next page would
// fail like it, and where it is wished so.
bool FileJob::EndsFile(const MadePage& page) const {
  return page.problem->cancelled || page.problem->code == EXIT_CODE_RETRY ||
         context_.options.failFast || pages_.size() == 1 || (page.writing && !plan_.IsNumbered());
}

void FileJob::StopBehind(size_t index) {
  size_t last = last_;
  while (index < last && !last_.compare_exchange_weak(last, index)) {
  }
}

void FileJob::EndWith(const Ending& ending) {
  const std::lock_guard guard(mutex_);
  if (!ending_) {
    ending_ = ending;
    StopBehind(0);
  }
}

// The last piece is done.
void FileJob::End() noexcept {
  FileEnd end = FileEnd::kFailed;
  try {
    if (!ending_) {
      Complete();
    }
    if (ending_) {
      TellEnding(*ending_);
      code_ = ending_->problem.code;
    }
    end = ending_ && ending_->problem.cancelled ? FileEnd::kStopped
          : code_ == EXIT_CODE_DONE             ? FileEnd::kDone
                                                : FileEnd::kFailed;
  } catch (...) {
    // All that is known is told above; what comes here is a lack of memory for doing so.
    const Problem problem = ProblemInHand();
    TellProblem(plan_.input.path, problem);
    code_ = problem.code;
  }
  setting_.reset();
  outputs_.reset();
  readers_.reset();
  hooks_.ended(end, end == FileEnd::kStopped ? EXIT_CODE_DONE : code_);
  const std::lock_guard guard(mutex_);
  stage_ = Stage::kOver;
}

// The file that all pages go into.
void FileJob::Complete() {
  std::string sha256;
  const std::shared_ptr<ResultFile>& file = outputs_->Joined();
  try {
    if (file && file->HasPages()) {
      sha256 = file->Finish(context_.log.HasReport());
      outputs_->Commit(*file);
    }
  } catch (...) {
    EndWith({ProblemInHand(), pages_.size() == 1 ? pages_.front() : 0, true});
    return;
  }
  for (PageRecord& record : kept_) {
    if (record.status == PageStatus::kDone) {
      record.sha256 = sha256;
    }
    context_.log.Add(record);
  }
}

void FileJob::TellEnding(Ending ending) {
  const Problem& problem = ending.problem;
  const bool withdrawn = context_.options.failFast && !problem.cancelled;
  if (outputs_ && withdrawn) {
    outputs_->Withdraw();
  }
  if (!problem.cancelled || context_.single) {
    Tell(ending);
  }
  PageRecord record;
  record.status = problem.cancelled ? PageStatus::kInterrupted : PageStatus::kFailed;
  record.message = problem.message;
  if (pages_.size() != 1 && (withdrawn || !plan_.IsNumbered())) {
    // None of the pages is there now.
    record.message = WithPage(ending.number, problem.message);
    ending.number = 0;
  }
  context_.log.Add(Named(std::move(record), ending.number));
}

void FileJob::Tell(const Ending& ending) const {
  const Problem& problem = ending.problem;
  TellProblem(ending.writing ? plan_.OutputOf(ending.number) : plan_.input.path,
              {WithPage(ending.number, problem.message), problem.code, problem.cancelled});
}

std::string FileJob::WithPage(uint32_t number, const std::string& message) const {
  return number == 0 || pageCount_ == 1
             ? message
             : std::string("page ") + std::to_string(number) + ": " + message;
}

// Of a page, or of the whole file.
PageRecord FileJob::Named(PageRecord record, uint32_t number) const {
  record.input.path = plan_.input.path;
  record.output.path = plan_.IsNumbered() && number == 0 ? "" : plan_.OutputOf(number);
  record.page = number;
  record.pages = static_cast<uint32_t>(pages_.size());
  return record;
}

}  // namespace dibkit::tool
