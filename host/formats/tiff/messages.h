// SPDX-License-Identifier: Apache-2.0
//
// What libtiff says about one open file, kept from standard error.
#ifndef DIBKIT_HOST_FORMATS_TIFF_MESSAGES_H
#define DIBKIT_HOST_FORMATS_TIFF_MESSAGES_H

#include <tiffio.h>

#include <cstdarg>
#include <string>
#include <vector>

#include "dibkit/host/image_reader.h"

namespace dibkit::host::tiff {

// What libtiff is told as the name of every file, and what it puts before some of its sentences.
inline constexpr const char* kTiffName = "TIFF";

// For one thread. libtiff calls the handlers inside its own frames, through which nothing may be
// thrown; so they only take notes.
class Messages {
 public:
  // Handlers for TIFFOpenOptions, whose user data is the Messages.
  static int OnError(TIFF* tiff, void* messages, const char* module, const char* format,
                     va_list arguments) noexcept;
  static int OnWarning(TIFF* tiff, void* messages, const char* module, const char* format,
                       va_list arguments) noexcept;

  // An error, or a warning that means lost pixels, has come since the last call of Forgive.
  bool HasError() const { return !error_.empty(); }
  // `what`, and the last error in brackets where there is one.
  std::string Complaint(const std::string& what) const;
  // The error becomes a warning: what it tells of is not worth giving up the page.
  void Forgive();
  // Hands the warnings to the hook, a few at most however many there were.
  void Deliver(const WarningHook& hook);

 private:
  void AddWarning(const std::string& text);

  std::string error_;
  std::vector<std::string> warnings_;
  unsigned heard_ = 0;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_MESSAGES_H
