// SPDX-License-Identifier: Apache-2.0
//
// The options of dibkit/page.h as those of the page class: zero becomes the usual value. All throw
// PageError (kBadArgument) for what no option can be; ranges are the page class's to test.
#ifndef DIBKIT_PAGE_LIBRARY_OPTIONS_H
#define DIBKIT_PAGE_LIBRARY_OPTIONS_H

#include <optional>

#include "dibkit/host/page.h"
#include "dibkit/host/pixels.h"
#include "dibkit/page.h"

namespace dibkit::page_library {

host::OpenOptions OptionsOf(const dibkit_open_options* given);
host::SaveOptions OptionsOf(const dibkit_save_options* given);
host::ResampleOptions OptionsOf(const dibkit_resample_options* given);
host::QuantizeOptions OptionsOf(const dibkit_quantize_options* given);
host::GreyOptions OptionsOf(const dibkit_grey_options* given);
host::PrepareOptions OptionsOf(const dibkit_prepare_options* given);

// Empty for null.
host::ProgressHook HookOf(dibkit_progress_fn progress, void* user);

// None for a number that is no format.
std::optional<host::ImageFormat> FormatOf(dibkit_format format);

dibkit_format NumberOf(host::ImageFormat format);

host::PixelKind KindOf(dibkit_pixel_kind kind);
dibkit_pixel_kind NumberOf(host::PixelKind kind);

}  // namespace dibkit::page_library

#endif  // DIBKIT_PAGE_LIBRARY_OPTIONS_H
