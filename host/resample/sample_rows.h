// SPDX-License-Identifier: Apache-2.0
//
// The rows of a plain DIB as levels of 8 bits, whatever its depth.
#ifndef DIBKIT_HOST_RESAMPLE_SAMPLE_ROWS_H
#define DIBKIT_HOST_RESAMPLE_SAMPLE_ROWS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "convert/unpack.h"
#include "dibkit/host/dib_view.h"

namespace dibkit::host {

enum class SampleKind {
  kOwn,   // two colours as black and white, greys in grey, others in colour
  kGrey,  // grey, colours by their luminance
};

// Of images of 1, 4, 8 and 24 bits.
class SampleRows {
 public:
  // `image` must live as long.
  SampleRows(const DibView& image, SampleKind kind);

  // 1, or 3: blue, green, red.
  unsigned Channels() const { return channels_; }
  // Row `stored` counted from the first in memory; valid until the next call.
  const unsigned char* Row(uint32_t stored);

 private:
  void LookUpColours();

  const DibView& image_;
  unsigned channels_;
  bool isStored_;                     // the rows are wanted as they stand
  std::optional<Unpacker> unpacker_;  // of tables: to greys, or to indices
  std::vector<unsigned char> indices_;
  std::vector<unsigned char> row_;
};

// Which of the two colours of a page of 1 bit is the dark one, 0 or 1: that of less luminance; 0
// where both have the same.
unsigned DarkIndex(const DibView& bilevel);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_SAMPLE_ROWS_H
