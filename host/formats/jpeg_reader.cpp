// SPDX-License-Identifier: Apache-2.0
//
// JPEG files as pages, row by row.
#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "bitmap/grey_table.h"
#include "dibkit/host/dib_layout.h"
#include "formats/channels.h"
#include "formats/jpeg.h"
#include "formats/jpeg/decoder.h"
#include "formats/jpeg/metadata.h"
#include "formats/one_page_reader.h"
#include "formats/row_placer.h"

namespace dibkit::host {
namespace {

// Rows that are asked for at once; as many as one row of blocks has, or half of them.
constexpr uint32_t kRowsAtOnce = 16;

// A file up to its image.
struct OpenFile {
  OpenFile(ByteSource& source, const ReadOptions& options)
      : decoder(source, options),
        metadata(jpeg::ReadMetadata(decoder.Object(), decoder.Markers())) {}

  uint32_t Width() const { return decoder.Object().image_width; }
  uint32_t Height() const { return decoder.Object().image_height; }
  uint16_t BitCount() const { return decoder.Colour() == jpeg::ColourSpace::kGrey ? 8 : 24; }
  Resolution Upright() const {
    return UprightResolution(metadata.page.resolution, metadata.orientation);
  }

  jpeg::Decoder decoder;
  jpeg::Metadata metadata;
};

const char* ColourOf(const jpeg_decompress_struct& object) {
  switch (object.jpeg_color_space) {
    case JCS_GRAYSCALE:
      return "grey";
    case JCS_RGB:
      return "RGB";
    case JCS_YCbCr:
      return "YCbCr";
    case JCS_CMYK:
      return "CMYK";
    case JCS_YCCK:
      return "YCCK";
    default:
      return "other";
  }
}

std::string PackingOf(const jpeg_decompress_struct& object) {
  std::string text = "JPEG";
  if (object.progressive_mode != 0) {
    text += ", progressive";
  }
  return object.arith_code != 0 ? text + ", arithmetic" : text;
}

PageDescription DescriptionOf(const OpenFile& file) {
  constexpr uint64_t kMostBandBytes = uint64_t{4} << 20;
  const jpeg_decompress_struct& object = file.decoder.Object();
  const bool transposed = TurnOf(file.metadata.orientation).transposed;
  PageDescription description;
  description.width = transposed ? file.Height() : file.Width();
  description.height = transposed ? file.Width() : file.Height();
  description.storedBits = 8 * static_cast<unsigned>(object.num_components);
  description.bitCount = file.BitCount();
  description.colour = ColourOf(object);
  description.compression = Compression::kJpeg;
  description.compressionText = PackingOf(object);
  description.orientation = file.metadata.orientation;
  description.hasProfile = !file.metadata.page.iccProfile.empty();
  description.resolution = file.Upright();
  description.workBytes = file.decoder.WorkBytes() + (transposed ? kMostBandBytes : 0) +
                          2 * file.metadata.page.iccProfile.size();
  return description;
}

// Inks as the file holds them; many writers, and they say so, store what is left white.
void MakeBgrOfInks(const unsigned char* inks, unsigned char* to, uint32_t width, bool inverted) {
  const unsigned flip = inverted ? 255 : 0;
  for (uint32_t x = 0; x < width; ++x, inks += 4, to += 3) {
    const unsigned black = inks[3] ^ flip;
    to[0] = LeftByInks(inks[2] ^ flip, black);
    to[1] = LeftByInks(inks[1] ^ flip, black);
    to[2] = LeftByInks(inks[0] ^ flip, black);
  }
}

// The rows of one file on their way into a DIB.
class RowReader {
 public:
  RowReader(OpenFile& file, const CancelHook& cancelled)
      : file_(file),
        cancelled_(cancelled),
        placer_({file.Width(), file.Height(), file.BitCount(), file.metadata.orientation},
                HeaderResolution(file.Upright()), kRowsAtOnce) {
    if (file.BitCount() == 8) {
      FillGreyTable(placer_.Table());
    }
  }

  OwnedBlock Read() {
    file_.decoder.BeginRows();
    if (file_.decoder.Colour() == jpeg::ColourSpace::kCmyk) {
      ReadInks();
    } else {
      ReadInPlace();
    }
    file_.decoder.ReadRest();
    return placer_.Take();
  }

 private:
  void ReadInPlace() {
    std::array<unsigned char*, kRowsAtOnce> rows{};
    while (placer_.DoneRows() < file_.Height()) {
      StopIf(cancelled_);
      const uint32_t done = placer_.DoneRows();
      const uint32_t count = std::min(kRowsAtOnce - done % kRowsAtOnce, file_.Height() - done);
      for (uint32_t i = 0; i < count; ++i) {
        rows[i] = placer_.Row(done + i);
      }
      placer_.Done(file_.decoder.ReadRows(std::span(rows).first(count)));
    }
  }

  void ReadInks() {
    const bool inverted = file_.decoder.Object().saw_Adobe_marker != 0;
    std::vector<unsigned char> inks(size_t{file_.Width()} * 4);
    const std::array<unsigned char*, 1> rows{inks.data()};
    while (placer_.DoneRows() < file_.Height()) {
      StopIf(cancelled_);
      file_.decoder.ReadRows(rows);
      MakeBgrOfInks(inks.data(), placer_.Row(placer_.DoneRows()), file_.Width(), inverted);
      placer_.Done();
    }
  }

  OpenFile& file_;
  const CancelHook& cancelled_;
  RowPlacer placer_;
};

PageImage TakeImage(OpenFile& file, const CancelHook& cancelled) {
  PageImage image{RowReader(file, cancelled).Read(), {}};
  const Resolution resolution = file.Upright();
  image.metadata = std::move(file.metadata.page);
  image.metadata.resolution = resolution;
  return image;
}

}  // namespace

std::unique_ptr<ImageReader> OpenJpeg(std::unique_ptr<ByteSource> source,
                                      const ReadOptions& options) {
  return std::make_unique<OnePageReader<OpenFile>>(ImageFormat::kJpeg, std::move(source), options,
                                                   DescriptionOf, TakeImage);
}

}  // namespace dibkit::host
