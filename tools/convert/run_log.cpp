// SPDX-License-Identifier: Apache-2.0
#include "convert/run_log.h"

namespace dibkit::tool {

RunLog::RunLog(size_t files, const std::string& report) : files_(files) {
  if (!report.empty()) {
    report_.emplace(report);
  }
}

void RunLog::Begin(const std::string& input) {
  const std::lock_guard guard(mutex_);
  inWork_.insert(input);
}

void RunLog::End(const std::string& input, FileEnd end, int code) {
  const std::lock_guard guard(mutex_);
  const auto place = inWork_.find(input);
  if (place != inWork_.end()) {
    inWork_.erase(place);
  }
  done_ += end == FileEnd::kDone ? 1 : 0;
  skipped_ += end == FileEnd::kSkipped ? 1 : 0;
  codes_.Add(code);
}

void RunLog::Add(const PageRecord& record) {
  if (!report_) {
    return;
  }
  try {
    report_->Add(record);
  } catch (...) {
    const std::lock_guard guard(mutex_);
    failure_ = failure_ ? failure_ : std::current_exception();
    broken_ = true;
  }
}

void RunLog::Close() {
  {
    const std::lock_guard guard(mutex_);
    if (failure_) {
      std::rethrow_exception(failure_);
    }
  }
  if (report_) {
    report_->Close();
  }
}

std::string RunLog::Summary() const {
  const std::lock_guard guard(mutex_);
  std::string text = std::to_string(done_) + (done_ == 1 ? " file done" : " files done");
  const auto add = [&text](size_t count, const char* what) {
    if (count != 0) {
      text += ", " + std::to_string(count) + what;
    }
  };
  add(codes_.Failed(), " failed");
  add(skipped_, " skipped");
  add(files_ - done_ - codes_.Failed() - skipped_, " not done");
  return text;
}

int RunLog::Code() const {
  const std::lock_guard guard(mutex_);
  return codes_.Code();
}

void RunLog::Abandon() {
  std::multiset<std::string> inWork;
  {
    const std::lock_guard guard(mutex_);
    inWork = inWork_;
  }
  for (const std::string& input : inWork) {
    PageRecord record;
    record.input.path = input;
    record.status = PageStatus::kInterrupted;
    Add(record);
  }
}

}  // namespace dibkit::tool
