// SPDX-License-Identifier: Apache-2.0
#include "run/page_job.h"

#include <chrono>
#include <utility>

#include "convert/cost.h"
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

// A reader for one page.
class Loan {
 public:
  Loan(InputReaders& readers, const host::CancelHook& cancelled)
      : readers_(readers), reader_(readers.Borrow()) {
    reader_.SetCancelled(cancelled);
  }
  Loan(const Loan&) = delete;
  Loan& operator=(const Loan&) = delete;
  ~Loan() { readers_.GiveBack(reader_); }

  host::Document& Document() { return reader_.Document(); }
  std::vector<std::string> TakeWarnings() { return reader_.TakeWarnings(); }

 private:
  InputReaders& readers_;
  InputReader& reader_;
};

class PageJob {
 public:
  PageJob(const PageSetting& setting, uint32_t number, const PageHooks& hooks, MadePage& made)
      : setting_(setting), number_(number), hooks_(hooks), made_(made) {}

  void Make() {
    const auto begin = Clock::now();
    const host::ThreadMemory memory;
    Pack(Converted());
    made_.share.ShrinkTo(made_.encoded ? made_.encoded->Bytes().size() : 0);
    made_.record.milliseconds = MillisecondsSince(begin);
    made_.record.peakBytes = memory.PeakBytes();
  }

 private:
  host::Page Converted() {
    host::Page page = Read();
    setting_.conversion.convert(page, [this](unsigned percent) {
      hooks_.progress(percent);
      return !hooks_.cancelled();
    });
    DescribeAfter(made_.record.output, setting_.format, page);
    return page;
  }

  host::Page Read() {
    Loan loan(setting_.readers, hooks_.cancelled);
    try {
      host::Page page = ReadBy(loan.Document());
      made_.warnings = loan.TakeWarnings();
      return page;
    } catch (...) {
      made_.warnings = loan.TakeWarnings();
      throw;
    }
  }

  host::Page ReadBy(host::Document& document) {
    host::StopIf(hooks_.cancelled);
    const host::PageDescription description = document.Describe(number_ - 1);
    const PagePlan plan = InFormat(
        PlanOf(setting_.conversion, description, setting_.options.maxPixels), setting_.format);
    DescribeBefore(made_.record.input, document.Format(), description, plan);
    RequireHeld(plan);
    made_.share = setting_.gate.Acquire(plan.bytes, hooks_.cancelled);
    Writing([this] { made_.file = setting_.outputs.For(number_); });
    if (setting_.readers.AreMany()) {
      hooks_.admitted();
    }
    return document.Read(number_ - 1);
  }

  void RequireHeld(const PagePlan& plan) const {
    const auto usual = host::UsualCompression(setting_.format, plan.bits);
    host::RequireHeld(setting_.format, setting_.options.compression.value_or(usual), plan.bits,
                      true);
  }

  // A page whose turn it is goes straight into the joint file; others are packed apart, where there
  // is memory for that, so that only the appending is left when their turn comes.
  void Pack(const host::Page& page) {
    hooks_.admitted();
    Writing([&] {
      ResultFile& file = *made_.file;
      if (setting_.plan.IsNumbered()) {
        file.Add(page);
        made_.record.sha256 = file.Finish(setting_.hashed);
      } else if (!hooks_.hasTurn() && HasMemoryToPackApart(page)) {
        made_.encoded = file.Encode(page);
      } else {
        hooks_.waitForTurn();
        file.Add(page);
      }
    });
  }

  // A packed page takes no more than one that is not, or little more; one of 16 bits is widened
  // first.
  bool HasMemoryToPackApart(const host::Page& page) {
    const host::PixelSize size{page.Width(), page.Height()};
    const unsigned bits = page.BitCount();
    const uint64_t packing = bits == 16 ? 2 * ImageBytes(size, 24) : ImageBytes(size, bits);
    return made_.share.TryGrowTo(ImageBytes(size, bits) + packing);
  }

  // What fails in `work` is told of the output, not of the input.
  void Writing(const std::function<void()>& work) {
    made_.writing = true;
    work();
    made_.writing = false;
  }

  const PageSetting& setting_;
  const uint32_t number_;
  const PageHooks& hooks_;
  MadePage& made_;
};

}  // namespace

MadePage MakePage(const PageSetting& setting, uint32_t number, const PageHooks& hooks) {
  MadePage made;
  try {
    PageJob(setting, number, hooks, made).Make();
  } catch (...) {
    made.problem = ProblemInHand();
    made.share.Release();
  }
  return made;
}

}  // namespace dibkit::tool
