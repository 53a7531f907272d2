// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/output.h"

#include <array>
#include <cstdio>
#include <limits>
#include <utility>

#include "dibkit/host/errors.h"
#include "formats/tiff/write/big_file.h"
#include "formats/tiff/write/little_endian.h"

namespace dibkit::host::tiff {

Output::Output(ByteSink& sink)
    : sink_(sink.IsSeekable() ? sink : spool_.emplace(sink)),
      read_(
          [this](uint64_t offset, std::span<unsigned char> into) { return ReadAt(offset, into); }),
      linkAt_(form_.FirstAt()) {
  Open("wl");
  const std::array<unsigned char, 8> room{};
  WriteAt(form_.HeaderBytes(), room);
}

Output::~Output() { Close(); }

void Output::Open(const char* mode) {
  const OpenOptions options = MakeOpenOptions(messages_, std::numeric_limits<uint64_t>::max());
  at_ = 0;
  tiff_.reset(TIFFClientOpenExt(kTiffName, mode, this, OnRead, OnWrite, OnSeek, OnClose, OnSize,
                                nullptr, nullptr, options.get()));
  Require(tiff_ != nullptr);
}

void Output::Close() {
  closing_ = true;
  tiff_.reset();
  closing_ = false;
}

void Output::Require(bool success) {
  if (failure_) {
    std::rethrow_exception(std::exchange(failure_, nullptr));
  }
  if (!success) {
    throw ImageError(ImageFault::kTooLarge, messages_.Complaint("the page cannot be written"));
  }
}

void Output::EndPage(const std::optional<FileResolution>& resolution) {
  Require(TIFFWriteDirectory(Tiff()) == 1);
  std::array<unsigned char, 8> link{};
  const auto linkBytes = static_cast<size_t>(form_.OffsetBytes());
  ReadAt(linkAt_, std::span(link).first(linkBytes));
  const auto directory = ReadDirectory(read_, form_, LoadNumber(link.data(), linkBytes, false));
  Require(directory.has_value());
  linkAt_ = directory->nextAt;
  if (resolution) {
    StoreRational(*directory, TIFFTAG_XRESOLUTION, resolution->x);
    StoreRational(*directory, TIFFTAG_YRESOLUTION, resolution->y);
  }
}

void Output::StoreRational(const Directory& directory, uint16_t tag, Rational value) {
  const Entry* entry = directory.Find(tag);
  Require(entry != nullptr && entry->type == TIFF_RATIONAL);
  std::array<unsigned char, 8> bytes{};
  StoreNumber(bytes.data(), value.numerator, 4);
  StoreNumber(bytes.data() + 4, value.denominator, 4);
  WriteAt(entry->valuesAt, bytes);
}

void Output::BecomeBig() {
  Close();
  linkAt_ = MakeBigFile(
      read_, size_,
      [this](uint64_t offset, std::span<const unsigned char> bytes) { WriteAt(offset, bytes); });
  form_.big = true;
  // Appending: libtiff reads the header, and puts new directories behind the last.
  Open("a");
}

void Output::Finish() {
  Close();
  if (spool_) {
    spool_->Flush();
  }
}

size_t Output::ReadAt(uint64_t offset, std::span<unsigned char> into) {
  return sink_.ReadAt(offset, into);
}

void Output::WriteAt(uint64_t offset, std::span<const unsigned char> bytes) {
  if (offset == size_) {
    sink_.Write(bytes);
  } else {
    sink_.WriteAt(offset, bytes);
  }
  size_ = std::max(size_, offset + bytes.size());
}

tmsize_t Output::OnRead(thandle_t handle, void* into, tmsize_t bytes) noexcept {
  auto& self = *static_cast<Output*>(handle);
  try {
    const size_t got = self.ReadAt(
        self.at_, std::span(static_cast<unsigned char*>(into), static_cast<size_t>(bytes)));
    self.at_ += got;
    return static_cast<tmsize_t>(got);
  } catch (...) {
    self.failure_ = std::current_exception();
    return 0;
  }
}

tmsize_t Output::OnWrite(thandle_t handle, void* from, tmsize_t bytes) noexcept {
  auto& self = *static_cast<Output*>(handle);
  if (self.closing_ || self.failure_) {
    return 0;
  }
  try {
    self.WriteAt(self.at_,
                 std::span(static_cast<const unsigned char*>(from), static_cast<size_t>(bytes)));
    self.at_ += static_cast<uint64_t>(bytes);
    return bytes;
  } catch (...) {
    self.failure_ = std::current_exception();
    return 0;
  }
}

toff_t Output::OnSeek(thandle_t handle, toff_t offset, int from) noexcept {
  auto& self = *static_cast<Output*>(handle);
  switch (from) {
    case SEEK_SET:
      self.at_ = offset;
      break;
    case SEEK_CUR:
      self.at_ += offset;
      break;
    default:
      self.at_ = self.size_ + offset;
  }
  return self.at_;
}

int Output::OnClose(thandle_t /*handle*/) noexcept { return 0; }

toff_t Output::OnSize(thandle_t handle) noexcept { return static_cast<Output*>(handle)->size_; }

}  // namespace dibkit::host::tiff
