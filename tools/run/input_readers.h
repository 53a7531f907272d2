// SPDX-License-Identifier: Apache-2.0
//
// One input for several threads.
#ifndef DIBKIT_TOOLS_RUN_INPUT_READERS_H
#define DIBKIT_TOOLS_RUN_INPUT_READERS_H

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "dibkit/host/document.h"

namespace dibkit::tool {

// A document, and what it says while pages are read. For one thread at a time.
class InputReader {
 public:
  // The hook for warnings is not looked at. Throws PageError.
  InputReader(const std::string& path, const host::OpenOptions& options);
  // Of the same input; none where `other` can be read only once.
  static std::unique_ptr<InputReader> Another(const InputReader& other);

  host::Document& Document() { return *document_; }
  // Asked from now on.
  void SetCancelled(host::CancelHook cancelled) { cancelled_ = std::move(cancelled); }
  // What was said since the last call.
  std::vector<std::string> TakeWarnings();

 private:
  explicit InputReader(const host::OpenOptions& options);

  host::CancelHook cancelled_;
  const host::OpenOptions options_;  // with hooks that come to this object
  std::vector<std::string> warnings_;
  std::optional<host::Document> document_;
};

// The readers of one input, no more than are used at once: one of a pipe.
class InputReaders {
 public:
  explicit InputReaders(std::unique_ptr<InputReader> first);

  // Several threads can read at once; where not, Borrow must not be called while a reader is lent.
  bool AreMany() const { return areMany_; }
  // Any thread, like GiveBack. Throws PageError, std::bad_alloc.
  InputReader& Borrow();
  void GiveBack(InputReader& reader) noexcept;

 private:
  const bool areMany_;
  std::mutex mutex_;  // for all below
  std::vector<std::unique_ptr<InputReader>> all_;
  std::vector<InputReader*> idle_;  // with room for all
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_INPUT_READERS_H
