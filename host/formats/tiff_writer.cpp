// SPDX-License-Identifier: Apache-2.0
//
// Pages as TIFF files.
#include <string>

#include "dibkit/host/encoded_page.h"
#include "formats/tiff.h"
#include "formats/tiff/metadata.h"
#include "formats/tiff/write/copy_page.h"
#include "formats/tiff/write/encode.h"
#include "formats/tiff/write/output.h"
#include "formats/tiff/write/stored_form.h"

namespace dibkit::host {
namespace {

// Of what goes into the file.
uint64_t DescribingBytes(const PageMetadata& metadata, ProfileSpace colours) {
  const bool hasProfile = SpaceOfProfile(metadata.iccProfile) == colours;
  uint64_t bytes = hasProfile ? metadata.iccProfile.size() : 0;
  for (const PageText& text : metadata.texts) {
    bytes += text.text.size() + 1;
  }
  return bytes;
}

class TiffWriter : public ImageWriter {
 public:
  TiffWriter(ByteSink& sink, uint64_t mostClassicBytes)
      : output_(sink), mostClassicBytes_(mostClassicBytes) {}

  void Add(const DibView& dib, const PageMetadata& metadata, const PageOptions& options) override {
    RequireHeld(ImageFormat::kTiff, options.compression, dib);
    const tiff::StoredForm form = tiff::StoredFormOf(dib);
    MakeRoom(tiff::MostPageBytes(form.RowBytes(dib.Width()), dib.Height(), options.compression,
                                 DescribingBytes(metadata, form.Colours())));
    tiff::SetForm(output_.Tiff(), dib, form, options);
    tiff::SetMetadata(output_.Tiff(), metadata, form.Colours());
    tiff::Encode(output_, dib, form, options.compression);
    output_.EndPage(tiff::FileResolutionOf(metadata.resolution));
  }

  void Append(const EncodedPage& page) override {
    RequireFormat(ImageFormat::kTiff, page);
    const tiff::PackedPage packed(page.Bytes());
    MakeRoom(packed.MostBytes());
    packed.CopyTo(output_);
  }

  void Finish() override { output_.Finish(); }

 private:
  void MakeRoom(uint64_t bytes) {
    if (!output_.IsBig() && output_.Size() + bytes > mostClassicBytes_) {
      output_.BecomeBig();
    }
  }

  tiff::Output output_;
  uint64_t mostClassicBytes_;
};

// "libtiff 4.5.0", from the first line of what the library says of itself.
std::string Version() {
  const std::string text = TIFFGetVersion();
  const std::string line = text.substr(0, text.find('\n'));
  return "libtiff " + line.substr(line.find_last_of(' ') + 1);
}

}  // namespace

std::unique_ptr<ImageWriter> MakeTiff(ByteSink& sink, uint64_t mostClassicBytes) {
  return std::make_unique<TiffWriter>(sink, mostClassicBytes);
}

const Codec kTiffCodec{ImageFormat::kTiff, Version, OpenTiff,
                       [](ByteSink& sink) { return MakeTiff(sink); }};

}  // namespace dibkit::host
