// SPDX-License-Identifier: Apache-2.0
#include "options.h"

#include <algorithm>
#include <array>
#include <string>

#include "call.h"
#include "sized.h"

namespace dibkit::page_library {
namespace {

// In the order of the header's numbers, which begin with 1.
constexpr std::array kFormats{host::ImageFormat::kBmp, host::ImageFormat::kTiff,
                              host::ImageFormat::kPng, host::ImageFormat::kJpeg};
constexpr std::array kKinds{host::PixelKind::kBits, host::PixelKind::kMask, host::PixelKind::kGrey,
                            host::PixelKind::kIndexed, host::PixelKind::kRgb};
constexpr std::array kCompressions{host::Compression::kNone,    host::Compression::kLzw,
                                   host::Compression::kDeflate, host::Compression::kPackBits,
                                   host::Compression::kG3,      host::Compression::kG4,
                                   host::Compression::kJpeg};
constexpr std::array kRules{host::GreyRule::kEasy, host::GreyRule::kMinMax};

template <typename Value, size_t count>
Value Chosen(const std::array<Value, count>& values, uint32_t number, const char* message) {
  RequireArgument(number >= 1 && number <= count, message);
  return values[number - 1];
}

template <typename Value, size_t count>
uint32_t NumberIn(const std::array<Value, count>& values, Value value) {
  const auto found = std::find(values.begin(), values.end(), value);
  return static_cast<uint32_t>(found - values.begin() + 1);
}

template <typename Number, typename Usual>
Number OrUsual(Number given, Usual usual) {
  return given != 0 ? given : static_cast<Number>(usual);
}

host::CancelHook HookOf(dibkit_cancelled_fn cancelled, void* user) {
  if (cancelled == nullptr) {
    return nullptr;
  }
  return [cancelled, user] { return cancelled(user) != 0; };
}

host::WarningHook HookOf(dibkit_warning_fn warning, void* user) {
  if (warning == nullptr) {
    return nullptr;
  }
  return [warning, user](const std::string& text) { warning(user, text.c_str()); };
}

std::optional<host::Compression> CompressionOf(dibkit_compression compression) {
  if (compression == DIBKIT_COMPRESSION_USUAL) {
    return std::nullopt;
  }
  return Chosen(kCompressions, compression, "there is no compression of that number");
}

host::GreyRule RuleOf(dibkit_grey_rule rule) {
  return rule == DIBKIT_GREY_LUMINANCE
             ? host::GreyRule::kLuminance
             : Chosen(kRules, rule, "there is no rule of that number for greys");
}

}  // namespace

std::optional<host::ImageFormat> FormatOf(dibkit_format format) {
  if (format < 1 || format > kFormats.size()) {
    return std::nullopt;
  }
  return kFormats[format - 1];
}

dibkit_format NumberOf(host::ImageFormat format) { return NumberIn(kFormats, format); }

host::PixelKind KindOf(dibkit_pixel_kind kind) {
  return Chosen(kKinds, kind, "there is no kind of pixels of that number");
}

dibkit_pixel_kind NumberOf(host::PixelKind kind) { return NumberIn(kKinds, kind); }

host::ProgressHook HookOf(dibkit_progress_fn progress, void* user) {
  if (progress == nullptr) {
    return nullptr;
  }
  return [progress, user](unsigned percent) { return progress(user, percent) == 0; };
}

host::OpenOptions OptionsOf(const dibkit_open_options* given) {
  const dibkit_open_options known = ReadSized(given);
  host::OpenOptions options;
  options.page = known.page;
  options.raw = known.raw != 0;
  options.maxPixels = OrUsual(known.max_pixels, options.maxPixels);
  options.cancelled = HookOf(known.cancelled, known.user);
  options.warning = HookOf(known.warning, known.user);
  return options;
}

host::SaveOptions OptionsOf(const dibkit_save_options* given) {
  const dibkit_save_options known = ReadSized(given);
  RequireArgument(known.reserved == 0, "a struct asks for what only a later version knows");
  host::SaveOptions options;
  options.format = FormatOf(known.format);
  RequireArgument(options.format.has_value() || known.format == DIBKIT_FORMAT_USUAL,
                  "there is no format of that number");
  options.compression = CompressionOf(known.compression);
  RequireArgument(known.quality <= 100, "the quality is not 1 to 100");
  options.jpegQuality = static_cast<int>(OrUsual(known.quality, options.jpegQuality));
  options.replace = known.replace != 0;
  options.sync = known.no_sync == 0;
  options.cancelled = HookOf(known.cancelled, known.user);
  return options;
}

host::ResampleOptions OptionsOf(const dibkit_resample_options* given) {
  const dibkit_resample_options known = ReadSized(given);
  host::ResampleOptions options;
  options.dpi = OrUsual(known.dpi, options.dpi);
  options.fromDpi = known.from_dpi;
  options.grey = known.grey != 0;
  options.raw = known.raw != 0;
  options.maxPixels = OrUsual(known.max_pixels, options.maxPixels);
  if (known.use_threshold != 0) {
    RequireArgument(known.threshold <= 256, "the threshold is not 0 to 256");
    options.threshold = static_cast<int>(known.threshold);
  }
  return options;
}

host::PrepareOptions OptionsOf(const dibkit_prepare_options* given) {
  const dibkit_prepare_options known = ReadSized(given);
  host::PrepareOptions options;
  options.dpi = OrUsual(known.dpi, options.dpi);
  options.fromDpi = known.from_dpi;
  options.maxPixels = OrUsual(known.max_pixels, options.maxPixels);
  return options;
}

host::QuantizeOptions OptionsOf(const dibkit_quantize_options* given) {
  const dibkit_quantize_options known = ReadSized(given);
  host::QuantizeOptions options;
  options.colors = OrUsual(known.colors, options.colors);
  options.raw = known.raw != 0;
  return options;
}

host::GreyOptions OptionsOf(const dibkit_grey_options* given) {
  constexpr uint32_t kFew = 16;
  constexpr uint32_t kAll = 256;
  const dibkit_grey_options known = ReadSized(given);
  const uint32_t levels = OrUsual(known.levels, kAll);
  RequireArgument(levels == kFew || levels == kAll, "the greys are not 16 or 256");
  return {RuleOf(known.rule), levels == kFew ? host::GreyLevels::k16 : host::GreyLevels::k256};
}

}  // namespace dibkit::page_library
