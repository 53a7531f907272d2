// SPDX-License-Identifier: Apache-2.0
#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <new>

#include "dibkit/host/errors.h"
#include "progress.h"
#include "signals.h"

namespace dibkit::tool {
namespace {

bool MayPass(int errorNumber) {
  return errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == ENOMEM ||
         errorNumber == EAGAIN || errorNumber == ENFILE;
}

int Report(const std::string& subject, const char* message, int code) {
  EndProgress();
  std::fprintf(stderr, "dibkit: %s%s%s\n", subject.c_str(), subject.empty() ? "" : ": ", message);
  return code;
}

}  // namespace

int Guard(const std::string& subject, const std::function<int()>& work) {
  using host::ImageFault;
  try {
    return work();
  } catch (const host::Cancelled&) {
    return Report(subject, "interrupted", EXIT_CODE_SIGNAL + CaughtSignal());
  } catch (const Failure& failure) {
    return Report(subject, failure.what(), failure.Code());
  } catch (const host::ImageError& error) {
    return Report(subject, error.what(),
                  error.Fault() == ImageFault::kNoMemory ? EXIT_CODE_RETRY : EXIT_CODE_FAILED);
  } catch (const host::FileError& error) {
    return Report(subject, error.what(),
                  MayPass(error.ErrorNumber()) ? EXIT_CODE_RETRY : EXIT_CODE_FAILED);
  } catch (const std::bad_alloc&) {
    return Report(subject, "no memory", EXIT_CODE_RETRY);
  } catch (const std::exception& error) {
    return Report(subject, error.what(), EXIT_CODE_FAILED);
  }
}

}  // namespace dibkit::tool
