// SPDX-License-Identifier: Apache-2.0
//
// PNG files as pages, row by row.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "dibkit/host/dib_layout.h"
#include "formats/one_page_reader.h"
#include "formats/png.h"
#include "formats/png/decoder.h"
#include "formats/png/metadata.h"
#include "formats/png/rows.h"
#include "formats/row_placer.h"

namespace dibkit::host {
namespace {

bool IsInterlaced(const spng_ihdr& header) {
  return header.interlace_method != SPNG_INTERLACE_NONE;
}

// A chunk that was read; null when there is none.
template <typename Chunk>
const Chunk* PointerTo(const std::optional<Chunk>& chunk) {
  return chunk ? &*chunk : nullptr;
}

template <typename Chunk>
std::optional<Chunk> ChunkOf(const png::Context& context, int (*get)(spng_ctx*, Chunk*)) {
  Chunk chunk{};
  return context.Has(get, chunk) ? std::optional(chunk) : std::nullopt;
}

// A file up to its image.
struct OpenFile {
  OpenFile(ByteSource& source, const ReadOptions& options)
      : decoder(source, options.maxPixels),
        metadata(png::ReadMetadata(decoder.Spng())),
        palette(ChunkOf(decoder.Spng(), spng_get_plte)),
        transparency(ChunkOf(decoder.Spng(), spng_get_trns)),
        rows(decoder.Header(), PointerTo(transparency)) {}

  png::Decoder decoder;
  png::Metadata metadata;
  std::optional<spng_plte> palette;
  std::optional<spng_trns> transparency;
  png::Rows rows;
};

std::string ColourOf(const spng_ihdr& header, bool hasTransparency) {
  std::string colour = "RGB";
  if (header.color_type == SPNG_COLOR_TYPE_INDEXED) {
    colour = "palette";
  } else if (header.color_type == SPNG_COLOR_TYPE_GRAYSCALE ||
             header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA) {
    colour = header.bit_depth == 1 ? "bilevel" : "grey";
  }
  const bool hasAlpha = (header.color_type & 4) != 0 || hasTransparency;
  return hasAlpha ? colour + " + alpha" : colour;
}

// Rows of the file as libspng and the conversion hold them, its window, and the turning.
uint64_t WorkBytes(const OpenFile& file) {
  constexpr uint64_t kDecoderBytes = uint64_t{128} << 10;
  const spng_ihdr& header = file.decoder.Header();
  const uint64_t stride = RowStride(header.width, file.rows.BitCount());
  const uint64_t rows = 4 * png::StoredRowBytes(header, header.width) + stride;
  uint64_t turning = 0;
  if (TurnOf(file.metadata.orientation).transposed) {
    turning = IsInterlaced(header) ? stride * header.height : uint64_t{4} << 20;
  }
  return kDecoderBytes + rows + turning + file.metadata.page.iccProfile.size();
}

PageDescription DescriptionOf(const OpenFile& file) {
  const spng_ihdr& header = file.decoder.Header();
  const bool transposed = TurnOf(file.metadata.orientation).transposed;
  PageDescription description;
  description.width = transposed ? header.height : header.width;
  description.height = transposed ? header.width : header.height;
  description.storedBits = header.bit_depth * png::Channels(header);
  description.bitCount = file.rows.BitCount();
  description.colour = ColourOf(header, file.transparency.has_value());
  description.compression = Compression::kDeflate;
  description.compressionText = IsInterlaced(header) ? "Deflate, interlaced" : "Deflate";
  description.orientation = file.metadata.orientation;
  description.hasProfile = !file.metadata.page.iccProfile.empty();
  description.resolution =
      UprightResolution(file.metadata.page.resolution, file.metadata.orientation);
  description.workBytes = WorkBytes(file);
  return description;
}

// The rows of one file on their way into a DIB.
class RowReader {
 public:
  RowReader(OpenFile& file, const CancelHook& cancelled)
      : file_(file),
        header_(file.decoder.Header()),
        cancelled_(cancelled),
        placer_({header_.width, header_.height, file.rows.BitCount(), file.metadata.orientation},
                HeaderResolution(
                    UprightResolution(file.metadata.page.resolution, file.metadata.orientation)),
                IsInterlaced(header_) ? header_.height : 1) {
    png::FillTable(placer_.Table(), header_, PointerTo(file.palette), PointerTo(file.transparency));
  }

  OwnedBlock Read() {
    file_.decoder.BeginRows();
    if (IsInterlaced(header_)) {
      ReadPasses();
    } else if (file_.rows.InPlace()) {
      ReadInPlace();
    } else {
      ReadThroughBuffer();
    }
    return placer_.Take();
  }

 private:
  size_t StoredBytes() const {
    return static_cast<size_t>(png::StoredRowBytes(header_, header_.width));
  }

  void ReadInPlace() {
    while (file_.decoder.HasRows()) {
      StopIf(cancelled_);
      unsigned char* row = placer_.Row(placer_.DoneRows());
      file_.decoder.ReadRow({row, placer_.RowBytes()});
      file_.rows.Make(row, row, header_.width);
      placer_.Done();
    }
  }

  void ReadThroughBuffer() {
    std::vector<unsigned char> stored(StoredBytes());
    while (file_.decoder.HasRows()) {
      StopIf(cancelled_);
      file_.decoder.ReadRow(stored);
      file_.rows.Make(stored.data(), placer_.Row(placer_.DoneRows()), header_.width);
      placer_.Done();
    }
  }

  void ReadPasses() {
    std::vector<unsigned char> stored(StoredBytes());
    std::vector<unsigned char> made(placer_.RowBytes());
    while (file_.decoder.HasRows()) {
      StopIf(cancelled_);
      const png::Row row = file_.decoder.ReadRow(stored);
      file_.rows.Make(stored.data(), made.data(), row.count);
      png::SpreadPixels(made.data(), placer_.Row(row.y), file_.rows.BitCount(), row.first, row.step,
                        row.count);
    }
    placer_.Done(header_.height);
  }

  OpenFile& file_;
  const spng_ihdr& header_;
  const CancelHook& cancelled_;
  RowPlacer placer_;
};

// Some writers put texts and even the orientation behind the image.
void AddRest(const OpenFile& file, PageImage& image) {
  png::Metadata all = png::ReadMetadata(file.decoder.Spng());
  if (file.metadata.orientation == 1) {
    image.dib = Upright(std::move(image.dib), all.orientation);
  }
  image.metadata = std::move(all.page);
  image.metadata.resolution = UprightResolution(image.metadata.resolution, all.orientation);
}

PageImage TakeImage(OpenFile& file, const CancelHook& cancelled) {
  PageImage image{RowReader(file, cancelled).Read(), {}};
  file.decoder.ReadRest();
  AddRest(file, image);
  return image;
}

}  // namespace

std::unique_ptr<ImageReader> OpenPng(std::unique_ptr<ByteSource> source,
                                     const ReadOptions& options) {
  return std::make_unique<OnePageReader<OpenFile>>(ImageFormat::kPng, std::move(source), options,
                                                   DescriptionOf, TakeImage);
}

}  // namespace dibkit::host
