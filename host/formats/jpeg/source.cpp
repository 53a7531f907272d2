// SPDX-License-Identifier: Apache-2.0
#include "formats/jpeg/source.h"

#include <algorithm>
#include <string_view>
// Behind jpeglib.h.
#include <jerror.h>

namespace dibkit::host::jpeg {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr size_t kBufferBytes = size_t{16} << 10;
constexpr size_t kMostMarkerBytes = 65533;
constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr int kProfileMarker = JPEG_APP0 + 2;
constexpr std::string_view kExifName("Exif\0\0", 6);
constexpr std::string_view kProfileName("ICC_PROFILE\0", 12);

bool BeginsWith(Bytes bytes, std::string_view name) {
  return bytes.size() >= name.size() &&
         std::equal(name.begin(), name.end(), bytes.begin(),
                    [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

}  // namespace

void KeptMarkers::Take(int marker, Bytes bytes) {
  if (marker == JPEG_COM && comment_.empty()) {
    comment_.assign(bytes.begin(), bytes.end());
  } else if (marker == kExifMarker && exif_.empty() && BeginsWith(bytes, kExifName)) {
    bytes = bytes.subspan(kExifName.size());
    exif_.assign(bytes.begin(), bytes.end());
  } else if (marker == kProfileMarker && BeginsWith(bytes, kProfileName)) {
    TakeProfilePiece(bytes.subspan(kProfileName.size()));
  }
}

// Its number and how many there are, then its bytes.
void KeptMarkers::TakeProfilePiece(Bytes bytes) {
  if (bytes.size() <= 2) {
    return;
  }
  std::vector<unsigned char>& piece = profilePieces_[bytes[0]];
  if (piece.empty()) {
    piece.assign(bytes.begin() + 2, bytes.end());
  }
  if (profilePieceCount_ == 0) {
    profilePieceCount_ = bytes[1];
  }
}

std::vector<unsigned char> KeptMarkers::Profile() const {
  std::vector<unsigned char> profile;
  for (size_t i = 1; i <= profilePieceCount_; ++i) {
    const auto& piece = profilePieces_[i];
    if (piece.empty()) {
      return {};
    }
    profile.insert(profile.end(), piece.begin(), piece.end());
  }
  return profile;
}

Source::Source(ByteSource& source)
    : jpeg_source_mgr{}, reader_(source), buffer_(kBufferBytes), marker_(kMostMarkerBytes) {
  init_source = Nothing;
  fill_input_buffer = Fill;
  skip_input_data = Skip;
  resync_to_restart = jpeg_resync_to_restart;
  term_source = Nothing;
}

void Source::AttachTo(j_decompress_ptr object) {
  object->src = this;
  for (const int marker : {JPEG_COM, kExifMarker, kProfileMarker}) {
    jpeg_set_marker_processor(object, marker, ReadMarker);
  }
}

Source& Source::Of(j_decompress_ptr object) { return *static_cast<Source*>(object->src); }

void Source::Nothing(j_decompress_ptr /*object*/) {}

// The end of the file is an error, so that no picture is made up for what is missing.
boolean Source::Fill(j_decompress_ptr object) {
  Source& self = Of(object);
  Guard& guard = Guard::Of(reinterpret_cast<j_common_ptr>(object));
  size_t got = 0;
  if (!guard.Caught([&] { got = self.reader_.ReadSome(self.buffer_); })) {
    guard.Leave();
  }
  if (got == 0) {
    ERREXIT(object, JERR_INPUT_EOF);
  }
  self.next_input_byte = self.buffer_.data();
  self.bytes_in_buffer = got;
  return TRUE;
}

void Source::Skip(j_decompress_ptr object, long count) {
  Source& self = Of(object);
  while (count > 0) {
    if (self.bytes_in_buffer == 0) {
      Fill(object);
    }
    const size_t step = std::min(self.bytes_in_buffer, static_cast<size_t>(count));
    self.next_input_byte += step;
    self.bytes_in_buffer -= step;
    count -= static_cast<long>(step);
  }
}

void Source::Read(j_decompress_ptr object, std::span<unsigned char> into) {
  Source& self = Of(object);
  while (!into.empty()) {
    if (self.bytes_in_buffer == 0) {
      Fill(object);
    }
    const size_t step = std::min(self.bytes_in_buffer, into.size());
    std::copy_n(self.next_input_byte, step, into.begin());
    self.next_input_byte += step;
    self.bytes_in_buffer -= step;
    into = into.subspan(step);
  }
}

boolean Source::ReadMarker(j_decompress_ptr object) {
  Source& self = Of(object);
  std::array<unsigned char, 2> head{};
  Read(object, head);
  const size_t length = size_t{head[0]} << 8 | head[1];
  if (length < head.size()) {
    ERREXIT(object, JERR_BAD_LENGTH);
  }
  const auto bytes = std::span(self.marker_).first(length - head.size());
  Read(object, bytes);
  Guard& guard = Guard::Of(reinterpret_cast<j_common_ptr>(object));
  if (!guard.Caught([&] { self.markers_.Take(object->unread_marker, bytes); })) {
    guard.Leave();
  }
  return TRUE;
}

}  // namespace dibkit::host::jpeg
