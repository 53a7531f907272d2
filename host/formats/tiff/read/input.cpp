// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/input.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>

#include "dibkit/host/errors.h"

namespace dibkit::host::tiff {
namespace {

constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();

uint64_t SaturatedSum(uint64_t a, uint64_t b) { return a > kMost - b ? kMost : a + b; }

// Four channels of 16 bits each, and what else a file holds.
uint64_t MostOfPipe(uint64_t maxPixels) {
  constexpr uint64_t kPixelBytes = 8;
  return SaturatedSum(maxPixels > kMost / kPixelBytes ? kMost : maxPixels * kPixelBytes,
                      kMostScratchBytes);
}

}  // namespace

Input::Input(std::unique_ptr<ByteSource> source, uint64_t maxPixels)
    : source_(std::move(source)), most_(source_->IsInPlace() ? kMost : MostOfPipe(maxPixels)) {}

// How far the file goes, as far as the end of these bytes.
uint64_t Input::Reach(uint64_t offset, uint64_t bytes) {
  const uint64_t end = SaturatedSum(offset, bytes);
  if (end > most_) {
    throw ImageError(ImageFault::kTooManyPixels,
                     "the file goes on behind its first " + std::to_string(most_) +
                         " bytes, more than is kept of a pipe for pages of the size allowed");
  }
  return source_->SizeUpTo(end);
}

size_t Input::ReadAt(uint64_t offset, std::span<unsigned char> into) {
  const uint64_t reach = Reach(offset, into.size());
  if (reach <= offset) {
    return 0;
  }
  const auto count = static_cast<size_t>(std::min<uint64_t>(into.size(), reach - offset));
  source_->Read(offset, into.first(count));
  return count;
}

bool Input::Holds(uint64_t offset, uint64_t bytes) {
  return offset <= kMost - bytes && Reach(offset, bytes) == offset + bytes;
}

uint64_t Input::Size() const { return most_ == kMost ? source_->SizeUpTo(kMost) : most_; }

Handle::Handle(Input& input, uint64_t directoryOffset) : input_(input) {
  const OpenOptions options =
      MakeOpenOptions(messages_, SaturatedSum(input.Size(), kMostScratchBytes));
  // Header only, no mapping, no strips but those of the file.
  tiff_.reset(TIFFClientOpenExt(kTiffName, "rhmc", this, OnRead, OnWrite, OnSeek, OnClose, OnSize,
                                nullptr, nullptr, options.get()));
  RequireAtLeast(tiff_ != nullptr, "the header is damaged");
  RequireAtLeast(TIFFSetSubDirectory(Tiff(), directoryOffset) == 1,
                 "the directory of the page is damaged");
}

void Handle::Require(bool success, const char* what) {
  if (failure_) {
    std::rethrow_exception(std::exchange(failure_, nullptr));
  }
  if (!success || messages_.HasError()) {
    throw ImageError(ImageFault::kDamaged, messages_.Complaint(what));
  }
}

void Handle::RequireAtLeast(bool success, const char* what) {
  if (success && !failure_) {
    messages_.Forgive();
  }
  Require(success, what);
}

tmsize_t Handle::OnRead(thandle_t handle, void* into, tmsize_t bytes) noexcept {
  auto& self = *static_cast<Handle*>(handle);
  try {
    const size_t got = self.input_.ReadAt(
        self.at_, std::span(static_cast<unsigned char*>(into), static_cast<size_t>(bytes)));
    self.at_ += got;
    return static_cast<tmsize_t>(got);
  } catch (...) {
    self.failure_ = std::current_exception();
    return 0;
  }
}

tmsize_t Handle::OnWrite(thandle_t /*handle*/, void* /*from*/, tmsize_t /*bytes*/) noexcept {
  return 0;
}

toff_t Handle::OnSeek(thandle_t handle, toff_t offset, int from) noexcept {
  auto& self = *static_cast<Handle*>(handle);
  switch (from) {
    case SEEK_SET:
      self.at_ = offset;
      break;
    case SEEK_CUR:
      self.at_ += offset;
      break;
    default:
      self.at_ = OnSize(handle) + offset;
  }
  return self.at_;
}

int Handle::OnClose(thandle_t /*handle*/) noexcept { return 0; }

toff_t Handle::OnSize(thandle_t handle) noexcept {
  auto& self = *static_cast<Handle*>(handle);
  try {
    return self.input_.Size();
  } catch (...) {
    self.failure_ = std::current_exception();
    return 0;
  }
}

}  // namespace dibkit::host::tiff
