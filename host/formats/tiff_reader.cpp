// SPDX-License-Identifier: Apache-2.0
//
// TIFF files as pages.
#include <algorithm>
#include <memory>
#include <utility>

#include "formats/row_placer.h"
#include "formats/tiff.h"
#include "formats/tiff/directory.h"
#include "formats/tiff/metadata.h"
#include "formats/tiff/read/decode.h"
#include "formats/tiff/read/input.h"
#include "formats/tiff/read/kind.h"
#include "formats/tiff/read/page_list.h"
#include "formats/tiff/read/table.h"

namespace dibkit::host {
namespace {

// A page whose directory libtiff has taken.
struct LoadedPage {
  LoadedPage(tiff::Input& input, uint32_t page, uint64_t directoryOffset)
      : number(page), offset(directoryOffset), handle(input, directoryOffset) {}

  uint32_t number;
  uint64_t offset;
  tiff::Handle handle;
  tiff::Kind kind{};
  Resolution resolution{};  // of the upright page
};

class TiffReader : public ImageReader {
 public:
  TiffReader(std::unique_ptr<ByteSource> source, const ReadOptions& options)
      : options_(options),
        input_(std::move(source), options.maxPixels),
        read_([this](uint64_t offset, std::span<unsigned char> into) {
          return input_.ReadAt(offset, into);
        }),
        header_(HeaderOf(read_)),
        pages_(read_, header_) {}

  ImageFormat Format() const override { return ImageFormat::kTiff; }
  uint32_t PageCount() override { return pages_.Count(); }

  PageDescription Describe(uint32_t page) override {
    LoadedPage& loaded = Load(page);
    TIFF* tiff = loaded.handle.Tiff();
    const tiff::Kind& kind = loaded.kind;
    PageDescription description;
    const bool turned = TurnOf(kind.orientation).transposed;
    description.width = turned ? kind.height : kind.width;
    description.height = turned ? kind.width : kind.height;
    description.storedBits = static_cast<unsigned>(kind.StoredBits());
    description.bitCount = kind.DibBits();
    description.colour = kind.ColourText();
    description.compression = tiff::CompressionOf(kind);
    description.compressionText = tiff::CompressionTextOf(tiff, kind);
    description.orientation = kind.orientation;
    description.hasProfile = tiff::HasProfile(tiff);
    description.resolution = loaded.resolution;
    description.workBytes = tiff::WorkBytes(loaded.handle, kind);
    description.obstacle = tiff::Obstacle(tiff, kind);
    return description;
  }

  PageImage Read(uint32_t page) override {
    Load(page);
    // Whatever becomes of it, the next time begins anew.
    const std::unique_ptr<LoadedPage> loaded = std::move(loaded_);
    PageImage image = ReadLoaded(*loaded);
    loaded->handle.Said().Deliver(options_.warning);
    return image;
  }

 private:
  static tiff::Header HeaderOf(const tiff::ReadBytes& read) {
    const auto header = tiff::ReadHeader(read);
    if (!header) {
      throw ImageError(ImageFault::kDamaged, "the file ends inside its header");
    }
    return *header;
  }

  LoadedPage& Load(uint32_t page) {
    if (loaded_ && loaded_->number == page) {
      return *loaded_;
    }
    loaded_.reset();
    const auto listed = pages_.At(page);
    if (!listed) {
      const uint32_t count = pages_.Count();
      throw ImageError(
          ImageFault::kNoSuchPage,
          "the file has " + (count == 1 ? "one page" : std::to_string(count) + " pages") + " only");
    }
    if (listed->fault != nullptr) {
      throw ImageError(ImageFault::kDamaged, listed->fault);
    }
    auto loaded = std::make_unique<LoadedPage>(input_, page, listed->offset);
    Inspect(*loaded);
    loaded->handle.Said().Deliver(options_.warning);
    loaded_ = std::move(loaded);
    return *loaded_;
  }

  void Inspect(LoadedPage& page) const {
    TIFF* tiff = page.handle.Tiff();
    page.kind = tiff::KindOf(tiff);
    const auto directory = tiff::ReadDirectory(read_, header_.form, page.offset);
    if (!directory) {
      throw ImageError(ImageFault::kDamaged, "the directory of the page is damaged");
    }
    page.resolution = UprightResolution(tiff::ResolutionOf(tiff, read_, header_.form, *directory),
                                        page.kind.orientation);
    const tiff::Entry* photometric = directory->Find(TIFFTAG_PHOTOMETRIC);
    // libtiff takes a page whose palette cannot be read for greys.
    if (page.kind.colours == tiff::Colours::kGrey &&
        tiff::ReadInteger(read_, header_.form, photometric) == PHOTOMETRIC_PALETTE) {
      throw ImageError(ImageFault::kDamaged, "the palette of the page is missing or damaged");
    }
  }

  PageImage ReadLoaded(LoadedPage& loaded) {
    TIFF* tiff = loaded.handle.Tiff();
    const tiff::Kind& kind = loaded.kind;
    CheckPixels(kind.width, kind.height, options_.maxPixels, "the page");
    tiff::CheckStored(loaded.handle, kind);
    PageImage image{nullptr, tiff::MetadataOf(tiff)};
    image.metadata.resolution = loaded.resolution;
    const tiff::Table table = tiff::TableOf(tiff, kind);
    RowPlacer placer({kind.width, kind.height, kind.DibBits(), kind.orientation},
                     HeaderResolution(image.metadata.resolution), tiff::GroupRows(kind));
    std::copy_n(table.begin(), placer.Table().size(), placer.Table().begin());
    tiff::Decode(loaded.handle, loaded.offset, kind, table, placer, options_.cancelled);
    image.dib = placer.Take();
    return image;
  }

  ReadOptions options_;
  tiff::Input input_;
  tiff::ReadBytes read_;
  tiff::Header header_;
  tiff::PageList pages_;
  std::unique_ptr<LoadedPage> loaded_;
};

}  // namespace

std::unique_ptr<ImageReader> OpenTiff(std::unique_ptr<ByteSource> source,
                                      const ReadOptions& options) {
  return std::make_unique<TiffReader>(std::move(source), options);
}

}  // namespace dibkit::host
