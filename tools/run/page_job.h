// SPDX-License-Identifier: Apache-2.0
//
// One page of an input and what becomes of it.
#ifndef DIBKIT_TOOLS_RUN_PAGE_JOB_H
#define DIBKIT_TOOLS_RUN_PAGE_JOB_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "batch/files/plan.h"
#include "batch/jobs/memory_gate.h"
#include "batch/report/page_record.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"
#include "failure.h"
#include "run/file_outputs.h"
#include "run/input_readers.h"

namespace dibkit::tool {

// What the pages of a file share; all of it outlives them.
struct PageSetting {
  const PlannedFile& plan;
  const Conversion& conversion;
  const ConversionOptions& options;
  MemoryGate& gate;
  InputReaders& readers;
  FileOutputs& outputs;
  host::ImageFormat format;  // of the outputs
  bool hashed;               // the report wants the sums of the outputs
};

// Called on the thread that makes the page.
struct PageHooks {
  host::CancelHook cancelled;
  std::function<void(unsigned percent)> progress;
  // The page has its memory and its output, and the input is free: another may begin. May be called
  // more than once.
  std::function<void()> admitted;
  // All pages before are in the file.
  std::function<bool()> hasTurn;
  // Waits until it is so. Throws Cancelled.
  std::function<void()> waitForTurn;
};

// A page that waits for its turn, made or not.
struct MadePage {
  PageRecord record{};                  // but for paths and number, and the sum of a joint file
  std::optional<Problem> problem{};     // why it was not made
  bool writing = false;                 // it is the output that made trouble
  std::vector<std::string> warnings{};  // of the codec
  MemoryGate::Share share{};            // what is still in memory
  std::shared_ptr<ResultFile> file{};   // that the page is in; for a file of its own, finished
  std::optional<host::EncodedPage> encoded{};  // not in the file yet
};

// Makes page `number`, from 1. To be called for one page of a file at a time until `admitted`, in
// the order of the pages, so that the first in turn has its memory first: no page waits for memory
// of one that waits for its turn.
MadePage MakePage(const PageSetting& setting, uint32_t number, const PageHooks& hooks);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_PAGE_JOB_H
