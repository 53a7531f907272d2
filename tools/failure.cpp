// SPDX-License-Identifier: Apache-2.0
#include "failure.h"

#include <cerrno>
#include <new>

#include "batch/jobs/interruption.h"
#include "batch/terminal/messages.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/page_error.h"

namespace dibkit::tool {
namespace {

constexpr const char* kNoMemory = "there is not enough memory";

bool MayPass(int errorNumber) {
  return errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == ENOMEM ||
         errorNumber == EAGAIN || errorNumber == ENFILE || errorNumber == EMFILE;
}

int CodeOfErrno(int errorNumber) {
  return MayPass(errorNumber) ? EXIT_CODE_RETRY : EXIT_CODE_FAILED;
}

Problem Stopped() {
  const int signal = CaughtSignal();
  return {"interrupted", signal == 0 ? EXIT_CODE_FAILED : EXIT_CODE_SIGNAL + signal, true};
}

std::string AllowingMore(const std::string& message) {
  return message + "; --max-pixels N allows more";
}

Problem OfImageError(const host::ImageError& error) {
  switch (error.Fault()) {
    case host::ImageFault::kNoMemory:
      return {error.what(), EXIT_CODE_RETRY};
    case host::ImageFault::kTooManyPixels:
      return {AllowingMore(error.what())};
    default:
      return {error.what()};
  }
}

Problem OfPageError(const host::PageError& error) {
  switch (error.Fault()) {
    case host::PageFault::kCancelled:
      return Stopped();
    case host::PageFault::kFile:
      return {error.what(), CodeOfErrno(error.ErrorNumber())};
    case host::PageFault::kNoMemory:
      return {error.what(), EXIT_CODE_RETRY};
    case host::PageFault::kTooManyPixels:
      return {AllowingMore(error.what())};
    default:
      return {error.what()};
  }
}

}  // namespace

Problem ProblemInHand() {
  // Whatever fails now, such as a write to a pipe that nobody reads any more, fails because of it.
  if (CaughtSignal() != 0) {
    return Stopped();
  }
  try {
    throw;
  } catch (const host::Cancelled&) {
    return Stopped();
  } catch (const Failure& failure) {
    return {failure.what(), failure.Code()};
  } catch (const host::PageError& error) {
    return OfPageError(error);
  } catch (const host::ImageError& error) {
    return OfImageError(error);
  } catch (const host::FileError& error) {
    return {error.what(), CodeOfErrno(error.ErrorNumber())};
  } catch (const std::bad_alloc&) {
    return {kNoMemory, EXIT_CODE_RETRY};
  } catch (const std::exception& error) {
    return {error.what()};
  }
}

void TellProblem(const std::string& subject, const Problem& problem) {
  if (problem.cancelled && CaughtSignal() != 0) {
    TellInterrupted(subject);
    return;
  }
  Message("dibkit: " + subject + (subject.empty() ? "" : ": ") + problem.message);
}

int Guard(const std::string& subject, const std::function<int()>& work) {
  try {
    return work();
  } catch (...) {
    const Problem problem = ProblemInHand();
    TellProblem(subject, problem);
    return problem.code;
  }
}

}  // namespace dibkit::tool
