// SPDX-License-Identifier: Apache-2.0
//
// What libjpeg reads from, and the markers that are kept for us.
#ifndef DIBKIT_HOST_FORMATS_JPEG_SOURCE_H
#define DIBKIT_HOST_FORMATS_JPEG_SOURCE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/jpeg/guard.h"
#include "formats/sequential_reader.h"

namespace dibkit::host::jpeg {

// The texts and blocks that stand in markers of their own. What there is more than one of is kept
// once, so that no file fills the memory with them.
class KeptMarkers {
 public:
  // A marker and what it holds.
  void Take(int marker, std::span<const unsigned char> bytes);

  const std::vector<unsigned char>& Comment() const { return comment_; }
  // From the byte order mark on.
  const std::vector<unsigned char>& Exif() const { return exif_; }
  // Put together; empty where a piece is missing.
  std::vector<unsigned char> Profile() const;

 private:
  void TakeProfilePiece(std::span<const unsigned char> bytes);

  std::vector<unsigned char> comment_;
  std::vector<unsigned char> exif_;
  std::array<std::vector<unsigned char>, 256> profilePieces_;  // numbered from 1
  size_t profilePieceCount_ = 0;                               // as the first piece has it
};

// A source manager over a file, which it reads in the pieces that come.
class Source : public jpeg_source_mgr {
 public:
  explicit Source(ByteSource& source);
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  // To be called, inside Guard::Run, when the object is created.
  void AttachTo(j_decompress_ptr object);

  const KeptMarkers& Markers() const { return markers_; }
  // See SequentialReader.
  void ExpectPixels(uint64_t bytes) { reader_.ExpectPixels(bytes); }

 private:
  static Source& Of(j_decompress_ptr object);
  static boolean Fill(j_decompress_ptr object);
  static void Skip(j_decompress_ptr object, long count);
  static void Nothing(j_decompress_ptr object);
  static boolean ReadMarker(j_decompress_ptr object);
  static void Read(j_decompress_ptr object, std::span<unsigned char> into);

  SequentialReader reader_;
  KeptMarkers markers_;
  std::vector<unsigned char> buffer_;
  std::vector<unsigned char> marker_;
};

}  // namespace dibkit::host::jpeg

#endif  // DIBKIT_HOST_FORMATS_JPEG_SOURCE_H
