// SPDX-License-Identifier: Apache-2.0
#include "suites/plain_form.h"

#include <cstring>
#include <vector>

#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/lines.h"
#include "resolution/positions.h"
#include "suites/dibkit_turns.h"

namespace dibkit::bench {
namespace {

using namespace dibkit::resolution;

// Makes one row of a conversion after the other.
class PlainRows {
 public:
  PlainRows(const Picture& source, const OutputGeometry& output)
      : source_(source),
        output_(output),
        line_{output.scaleX, static_cast<uint16_t>(source.width), output.width} {
    if (source.colors != nullptr) {
      std::memcpy(table_, source.colors, sizeof(tagRGBQUAD) << BitsOf(source.pixels));
    }
    if (source.pixels == Pixels::kBilevel) {
      FillColumns(output.scaleX, line_.sourceWidth, output.width, columns_);
    }
  }

  void Make(unsigned y, unsigned char* out) {
    const Place place = Locate(y, output_.scaleY);
    const RowPair pair = PairRows({place.index, static_cast<double>(place.fraction)},
                                  static_cast<uint16_t>(source_.height));
    const SourceRows rows{pair.fraction, source_.rows + pair.first * source_.stride,
                          source_.rows + pair.second * source_.stride};
    if (source_.pixels == Pixels::kBilevel) {
      MakeBilevelLine(columns_.data(), columns_.size(), table_[0].rgbBlue == 255, kThreshold, rows,
                      out);
    } else if (source_.pixels == Pixels::kGray8) {
      MakeGray8Line(line_, table_, rows, histogram_, out);
    } else {
      MakeTrueColorLine(line_, rows, out);
    }
  }

 private:
  const Picture& source_;
  const OutputGeometry& output_;
  LineGeometry line_;
  tagRGBQUAD table_[256] = {};
  unsigned long histogram_[256] = {};
  std::vector<CPosition> columns_;
};

}  // namespace

Bytes ConvertPlainly(const Dib& source, unsigned dpi) {
  const Picture picture = source.View();
  const OutputGeometry output =
      Scale(ReadSourceGeometry(source.Data()), static_cast<uint16_t>(dpi));
  const auto bitCount = static_cast<uint16_t>(BitsOf(picture.pixels));
  const size_t stride = resolution::RowBytes(bitCount, output.width);
  const size_t headBytes = static_cast<size_t>(picture.rows - source.Data());
  const size_t bytes = ResultSize(output, bitCount);
  unsigned char* made = ResultBlock(bytes);
  std::memcpy(made, source.Data(), headBytes);
  Store32(made + kBiWidth, output.width);
  Store32(made + kBiHeight, output.height);
  PlainRows rows(picture, output);
  for (unsigned y = 0; y < output.height; ++y) {
    rows.Make(y, made + headBytes + y * stride);
  }
  return {made, bytes};
}

}  // namespace dibkit::bench
