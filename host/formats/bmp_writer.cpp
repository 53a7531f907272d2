// SPDX-License-Identifier: Apache-2.0
//
// Pages as bitmap files.
#include "dibkit/host/bitmap_writer.h"

#include "formats/bmp.h"

namespace dibkit::host {
namespace {

class BmpWriter : public OnePageWriter {
 public:
  explicit BmpWriter(ByteSink& sink) : OnePageWriter(ImageFormat::kBmp, sink) {}

 private:
  void Write(ByteSink& sink, const DibView& dib, const PageMetadata& /*metadata*/,
             const PageOptions& /*options*/) override {
    WriteBitmap(sink, dib);
  }
};

}  // namespace

std::unique_ptr<ImageWriter> MakeBmp(ByteSink& sink) { return std::make_unique<BmpWriter>(sink); }

const Codec kBmpCodec{ImageFormat::kBmp, [] { return std::string(); }, OpenBmp, MakeBmp};

}  // namespace dibkit::host
