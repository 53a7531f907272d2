// SPDX-License-Identifier: Apache-2.0
//
// What the host's reading and writing of files throws: one value for each cause, and a message for
// people that is one line and names no file.
#ifndef DIBKIT_HOST_ERRORS_H
#define DIBKIT_HOST_ERRORS_H

#include <stdexcept>
#include <string>

namespace dibkit::host {

enum class BitmapFault {
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
  // The image is sound, but cannot become a DIB.
  kCompressionNotConvertible,
  kTooLarge,  // more than a block can hold
  // A block does not hold what it should.
  kNoBlock,     // null or invalid handle
  kUnsoundDib,  // header and block do not fit together
  kNoMemory,
};

class BitmapError : public std::runtime_error {
 public:
  BitmapError(BitmapFault fault, const std::string& message)
      : std::runtime_error(message), fault_(fault) {}
  BitmapFault Fault() const { return fault_; }

 private:
  BitmapFault fault_;
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
// with Cancelled. Null never stops.
using CancelHook = bool (*)();

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_ERRORS_H
