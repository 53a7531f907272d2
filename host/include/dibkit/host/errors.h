// SPDX-License-Identifier: Apache-2.0
//
// What reading, converting and writing images throws: one value for each cause, and a message for
// people that is one line and names no file.
#ifndef DIBKIT_HOST_ERRORS_H
#define DIBKIT_HOST_ERRORS_H

#include <functional>
#include <stdexcept>
#include <string>

namespace dibkit::host {

enum class ImageFault {
  // The file is not a sound bitmap file.
  kNotABitmap,         // it does not begin with "BM"
  kHeaderTruncated,    // it ends inside its headers
  kHeaderSize,         // no header has that size
  kPlanes,             // planes other than 1
  kDepth,              // no bitmap has that depth
  kWidth,              // width 0 or negative
  kHeight,             // height 0
  kCompression,        // no compression of that number, or not at this depth
  kCompressedTopDown,  // run-length streams have no top-down form
  kTableSize,          // the colour table claims more entries than there is room for
  kPixelOffset,        // the rows would begin inside the headers or behind the end
  kRowsTruncated,      // the file ends before its last row
  kStreamTruncated,    // the file ends before its compressed stream
  // The file is not a sound image file of another format.
  kUnknownFormat,  // its first bytes are those of no format that is built in
  kDamaged,        // its codec says so
  kNoSuchPage,
  // The image is sound, but cannot become a DIB, or not what was asked for.
  kTooManyPixels,  // more than the caller allows
  kUnsupported,    // a colour space, depth or compression that is not read
  kNoResolution,   // none, or none that can be believed
  kNotHeld,        // the format to write has no place for such an image
  kCompressionNotConvertible,
  kTooLarge,  // more than a block can hold
  // A block does not hold what it should.
  kNoBlock,     // null or invalid handle
  kUnsoundDib,  // header and block do not fit together
  kNoMemory,
};

class ImageError : public std::runtime_error {
 public:
  ImageError(ImageFault fault, const std::string& message)
      : std::runtime_error(message), fault_(fault) {}
  ImageFault Fault() const { return fault_; }

 private:
  ImageFault fault_;
};

// A system call failed; ErrorNumber() is its errno.
class FileError : public std::runtime_error {
 public:
  // `action`: what could not be done, as "cannot open".
  FileError(const std::string& action, int errorNumber);
  int ErrorNumber() const { return errorNumber_; }

 private:
  int errorNumber_;
};

// The cancel hook said so.
class Cancelled : public std::runtime_error {
 public:
  Cancelled() : std::runtime_error("cancelled") {}
};

// Asked between pieces of work and whenever a signal interrupts a system call; true stops the work
// with Cancelled. An empty one never stops. Called on the thread that does the work.
using CancelHook = std::function<bool()>;

// Throws Cancelled when the hook says so.
inline void StopIf(const CancelHook& cancelled) {
  if (cancelled && cancelled()) {
    throw Cancelled();
  }
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_ERRORS_H
