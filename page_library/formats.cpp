// SPDX-License-Identifier: Apache-2.0
//
// What is built in.
#include <array>
#include <string>

#include "dibkit/host/image_format.h"
#include "dibkit/version.h"
#include "options.h"

namespace host = dibkit::host;
using dibkit::page_library::FormatOf;

extern "C" {

const char* dibkit_version(void) { return DIBKIT_VERSION_STRING; }

const char* dibkit_format_name(dibkit_format format) {
  const auto known = FormatOf(format);
  return known ? host::FormatName(*known) : nullptr;
}

int dibkit_format_is_built_in(dibkit_format format) {
  const auto known = FormatOf(format);
  return known && host::IsBuiltIn(*known) ? 1 : 0;
}

const char* dibkit_codec_version(dibkit_format format) {
  // Never destroyed: the caller may ask while the process ends.
  static const auto* const kVersions = new std::array<std::string, 4>{
      host::CodecVersion(host::ImageFormat::kBmp), host::CodecVersion(host::ImageFormat::kTiff),
      host::CodecVersion(host::ImageFormat::kPng), host::CodecVersion(host::ImageFormat::kJpeg)};
  const auto known = FormatOf(format);
  return known ? (*kVersions)[static_cast<size_t>(*known)].c_str() : "";
}

}  // extern "C"
