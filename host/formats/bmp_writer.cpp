// SPDX-License-Identifier: Apache-2.0
//
// Pages as bitmap files.
#include "dibkit/host/bitmap_writer.h"

#include "formats/bmp.h"

namespace dibkit::host {
namespace {

class BmpWriter : public ImageWriter {
 public:
  explicit BmpWriter(ByteSink& sink) : sink_(sink) {}

  void Add(const DibView& dib, const PageMetadata& /*metadata*/,
           const PageOptions& options) override {
    if (written_) {
      RefuseSecondPage(ImageFormat::kBmp);
    }
    RequireHeld(ImageFormat::kBmp, options.compression, dib);
    written_ = true;
    WriteBitmap(sink_, dib);
  }

  void Finish() override {}

 private:
  ByteSink& sink_;
  bool written_ = false;
};

}  // namespace

std::unique_ptr<ImageWriter> MakeBmp(ByteSink& sink) { return std::make_unique<BmpWriter>(sink); }

const Codec kBmpCodec{ImageFormat::kBmp, [] { return std::string(); }, OpenBmp, MakeBmp};

}  // namespace dibkit::host
