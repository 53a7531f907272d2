// SPDX-License-Identifier: Apache-2.0
//
// The one exception of the page classes.
#ifndef DIBKIT_HOST_PAGE_ERROR_H
#define DIBKIT_HOST_PAGE_ERROR_H

#include <stdexcept>
#include <string>

namespace dibkit::host {

enum class PageFault {
  kFile,           // a system call failed; ErrorNumber() is its errno
  kNotAnImage,     // of no format that is built in
  kDamaged,        // the file is not sound
  kNoSuchPage,     // a page number beyond the last
  kUnsupported,    // sound, but of a kind that is not read
  kTooManyPixels,  // more than the caller allows
  kTooLarge,       // more than a block or the conversion can take
  kNoResolution,   // none, or none that can be believed
  kNotHeld,        // the format to write has no place for the image
  kBadArgument,    // an option is out of its range
  kNoImage,        // the page was moved from, or the handle holds no sound image
  kNoMemory,
  kCancelled,
  kNotPlain  // the page was opened raw and is not plain rows yet
};

// what() is one sentence for people, without the name of the file, without a full stop.
class PageError : public std::runtime_error {
 public:
  PageError(PageFault fault, const std::string& message, int errorNumber = 0)
      : std::runtime_error(message), fault_(fault), errorNumber_(errorNumber) {}
  PageFault Fault() const { return fault_; }
  // The errno of kFile, otherwise 0.
  int ErrorNumber() const { return errorNumber_; }

 private:
  PageFault fault_;
  int errorNumber_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_ERROR_H
