// SPDX-License-Identifier: Apache-2.0
#include "formats/jpeg/decoder.h"

#include <string>

#include "dibkit/host/pixel_limit.h"

namespace dibkit::host::jpeg {
namespace {

// Encoders make some ten; a small file of thousands would take minutes.
constexpr int kMostScans = 100;

// The longest code of a coefficient and its bits, stuffed, in all scans that refine it.
constexpr uint64_t kMostBytesPerSample = 16;

}  // namespace

Decoder::Decoder(ByteSource& source, const ReadOptions& options)
    : options_(options), guard_(options.warning), source_(source) {
  guard_.Watch(object_);
  guard_.Run([this] {
    jpeg_create_decompress(&object_);
    source_.AttachTo(&object_);
    jpeg_read_header(&object_, TRUE);
  });
  progress_.progress_monitor = Watch;
  progress_.decoder = this;
  object_.progress = &progress_;
  CheckPixels(object_.image_width, object_.image_height, options.maxPixels);
  ChooseColour();
  source_.ExpectPixels(kMostBytesPerSample * Samples());
}

void Decoder::ChooseColour() {
  switch (object_.num_components) {
    case 1:
      colour_ = ColourSpace::kGrey;
      object_.out_color_space = JCS_GRAYSCALE;
      break;
    case 3:
      colour_ = ColourSpace::kBgr;
      object_.out_color_space = JCS_EXT_BGR;
      break;
    case 4:
      colour_ = ColourSpace::kCmyk;
      object_.out_color_space = JCS_CMYK;
      break;
    default:
      throw ImageError(
          ImageFault::kUnsupported,
          "JPEG files of " + std::to_string(object_.num_components) + " channels are not read");
  }
}

uint64_t Decoder::Samples() const {
  uint64_t samples = 0;
  for (int i = 0; i < object_.num_components; ++i) {
    const jpeg_component_info& component = object_.comp_info[i];
    samples += uint64_t{component.width_in_blocks} * component.height_in_blocks * DCTSIZE2;
  }
  return samples;
}

uint64_t Decoder::WorkBytes() const {
  // Rows of blocks, and of samples before and after they are put together.
  constexpr uint64_t kRowsHeld = 64;
  constexpr uint64_t kOwnBytes = uint64_t{128} << 10;
  const uint64_t rows =
      uint64_t{object_.image_width} * static_cast<unsigned>(object_.num_components) * kRowsHeld;
  // Asking changes nothing.
  auto* const object = const_cast<Decompressor*>(&object_);
  const bool whole = jpeg_has_multiple_scans(object) != 0;
  return kOwnBytes + rows + (whole ? Samples() * sizeof(JCOEF) : 0);
}

// Called by libjpeg between rows of blocks.
void Decoder::Watch(j_common_ptr object) {
  Guard& guard = Guard::Of(object);
  auto* const progress = static_cast<Progress*>(object->progress);
  if (!guard.Caught([progress] { progress->decoder->CheckProgress(); })) {
    guard.Leave();
  }
}

void Decoder::CheckProgress() {
  StopIf(options_.cancelled);
  if (object_.input_scan_number > kMostScans) {
    throw ImageError(ImageFault::kDamaged, "the file is damaged: it has more than " +
                                               std::to_string(kMostScans) + " scans");
  }
  for (int i = 0; i < object_.comps_in_scan; ++i) {
    seenComponents_ |= 1U << object_.cur_comp_info[i]->component_index;
  }
}

void Decoder::BeginRows() {
  guard_.Run([this] { jpeg_start_decompress(&object_); });
  const bool whole = jpeg_has_multiple_scans(&object_) != 0;
  if (whole && seenComponents_ + 1 != 1U << object_.num_components) {
    throw ImageError(ImageFault::kDamaged, "the file is damaged: a part of the image is missing");
  }
}

uint32_t Decoder::ReadRows(std::span<unsigned char* const> rows) {
  JDIMENSION count = 0;
  guard_.Run([&] {
    // The array of rows is only read.
    count = jpeg_read_scanlines(&object_, const_cast<JSAMPARRAY>(rows.data()),
                                static_cast<JDIMENSION>(rows.size()));
  });
  return count;
}

void Decoder::ReadRest() {
  guard_.Run([this] { jpeg_finish_decompress(&object_); });
}

}  // namespace dibkit::host::jpeg
