// SPDX-License-Identifier: Apache-2.0
#include "call.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>

#include "sized.h"

namespace dibkit::page_library {
namespace {

using host::PageFault;

dibkit_status StatusOf(PageFault fault) {
  switch (fault) {
    case PageFault::kFile:
      return DIBKIT_FILE;
    case PageFault::kNotAnImage:
      return DIBKIT_NOT_AN_IMAGE;
    case PageFault::kDamaged:
      return DIBKIT_DAMAGED;
    case PageFault::kNoSuchPage:
      return DIBKIT_NO_SUCH_PAGE;
    case PageFault::kUnsupported:
      return DIBKIT_UNSUPPORTED;
    case PageFault::kTooManyPixels:
      return DIBKIT_TOO_MANY_PIXELS;
    case PageFault::kTooLarge:
      return DIBKIT_TOO_LARGE;
    case PageFault::kNoResolution:
      return DIBKIT_NO_RESOLUTION;
    case PageFault::kNotHeld:
      return DIBKIT_NOT_HELD;
    case PageFault::kBadArgument:
      return DIBKIT_BAD_ARGUMENT;
    case PageFault::kNoImage:
      return DIBKIT_NO_IMAGE;
    case PageFault::kNotPlain:
      return DIBKIT_NOT_PLAIN;
    case PageFault::kNoMemory:
      return DIBKIT_NO_MEMORY;
    case PageFault::kCancelled:
      return DIBKIT_CANCELLED;
  }
  return DIBKIT_UNEXPECTED;
}

// Never ends inside a character of several bytes.
size_t LengthThatFits(std::string_view text, size_t room) {
  if (text.size() <= room) {
    return text.size();
  }
  const auto isInside = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  while (room != 0 && isInside(text[room])) {
    --room;
  }
  return room;
}

// Bytes of text, without the zero behind it, that the caller's struct has room for.
size_t RoomIn(const dibkit_error& error) {
  constexpr size_t kBefore = offsetof(dibkit_error, message) + 1;
  return error.size < kBefore ? 0 : std::min(error.size, sizeof(dibkit_error)) - kBefore;
}

dibkit_status Tell(dibkit_error* error, dibkit_status status, std::string_view message,
                   int systemError = 0) noexcept {
  if (error != nullptr) {
    dibkit_error told{};
    told.status = status;
    told.system_error = systemError;
    std::memcpy(told.message, message.data(), LengthThatFits(message, RoomIn(*error)));
    WriteSized(told, error);
  }
  return status;
}

}  // namespace

dibkit_status FailureInHand(dibkit_error* error) noexcept {
  try {
    throw;
  } catch (const host::PageError& fault) {
    return Tell(error, StatusOf(fault.Fault()), fault.what(), fault.ErrorNumber());
  } catch (const std::bad_alloc&) {
    return Tell(error, DIBKIT_NO_MEMORY, "no memory");
  } catch (const std::exception& fault) {
    return Tell(error, DIBKIT_UNEXPECTED, fault.what());
  } catch (...) {
    return Tell(error, DIBKIT_UNEXPECTED, "an exception of another language left a callback");
  }
}

dibkit_status Done(dibkit_error* error) noexcept { return Tell(error, DIBKIT_OK, ""); }

void RequireArgument(bool sound, const char* message) {
  if (!sound) {
    throw host::PageError(PageFault::kBadArgument, message);
  }
}

}  // namespace dibkit::page_library
