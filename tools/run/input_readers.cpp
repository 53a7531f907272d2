// SPDX-License-Identifier: Apache-2.0
#include "run/input_readers.h"

#include <utility>

namespace dibkit::tool {

InputReader::InputReader(const host::OpenOptions& options)
    : cancelled_(options.cancelled),
      options_{options.page, options.maxPixels, [this] { return cancelled_ && cancelled_(); },
               [this](const std::string& text) { warnings_.push_back(text); }, options.raw} {}

InputReader::InputReader(const std::string& path, const host::OpenOptions& options)
    : InputReader(options) {
  document_.emplace(host::Document::Open(path, options_));
}

std::unique_ptr<InputReader> InputReader::Another(const InputReader& other) {
  host::OpenOptions options = other.options_;
  options.cancelled = nullptr;
  std::unique_ptr<InputReader> reader(new InputReader(options));
  auto document = other.document_->Another(reader->options_);
  if (!document) {
    return nullptr;
  }
  reader->document_.emplace(std::move(*document));
  return reader;
}

std::vector<std::string> InputReader::TakeWarnings() { return std::exchange(warnings_, {}); }

InputReaders::InputReaders(std::unique_ptr<InputReader> first)
    : areMany_(first->Document().HasAnother()) {
  idle_.push_back(first.get());
  all_.push_back(std::move(first));
}

InputReader& InputReaders::Borrow() {
  const std::lock_guard guard(mutex_);
  if (idle_.empty()) {
    idle_.reserve(all_.size() + 1);
    all_.push_back(InputReader::Another(*all_.front()));
    return *all_.back();
  }
  InputReader& reader = *idle_.back();
  idle_.pop_back();
  return reader;
}

void InputReaders::GiveBack(InputReader& reader) noexcept {
  const std::lock_guard guard(mutex_);
  idle_.push_back(&reader);
}

}  // namespace dibkit::tool
