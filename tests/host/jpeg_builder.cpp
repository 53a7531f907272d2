// SPDX-License-Identifier: Apache-2.0
#include "jpeg_builder.h"

#include <cmath>
#include <cstdlib>

namespace dibkit::test {

int JpegBuilder::Channels() const {
  switch (given) {
    case JCS_GRAYSCALE:
      return 1;
    case JCS_UNKNOWN:
      return 2;
    case JCS_RGB:
      return 3;
    default:
      return 4;
  }
}

unsigned char JpegBuilder::Sample(uint32_t x, uint32_t y, int channel) const {
  const double wave = std::sin(x * 0.05 + channel) + std::cos(y * 0.07 - 0.5 * channel);
  return static_cast<unsigned char>(128 + 60 * wave);
}

Bytes JpegBuilder::Build() const {
  jpeg_error_mgr errors{};
  jpeg_compress_struct object{};
  object.err = jpeg_std_error(&errors);
  jpeg_create_compress(&object);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&object, &buffer, &size);
  object.image_width = width;
  object.image_height = height;
  object.in_color_space = given;
  object.input_components = Channels();
  jpeg_set_defaults(&object);
  jpeg_set_colorspace(&object, given == JCS_UNKNOWN ? JCS_UNKNOWN : stored);
  jpeg_set_quality(&object, 97, TRUE);
  object.write_Adobe_marker = object.write_Adobe_marker != 0 && adobe ? TRUE : FALSE;
  object.write_JFIF_header = object.write_JFIF_header != 0 && jfif ? TRUE : FALSE;
  object.density_unit = static_cast<UINT8>(densityUnit);
  object.X_density = static_cast<UINT16>(xDensity);
  object.Y_density = static_cast<UINT16>(yDensity);
  object.restart_in_rows = restartRows;
  object.arith_code = arithmetic ? TRUE : FALSE;
  std::vector<jpeg_scan_info> scans;
  for (int i = 0; separate && i < object.num_components; ++i) {
    scans.push_back({1, {i, 0, 0, 0}, 0, 63, 0, 0});
  }
  if (separate) {
    object.scan_info = scans.data();
    object.num_scans = static_cast<int>(scans.size());
  }
  if (progressive) {
    jpeg_simple_progression(&object);
  }
  jpeg_start_compress(&object, TRUE);
  for (const JpegMarkerSpec& marker : markers) {
    jpeg_write_marker(&object, marker.marker, marker.content.data(),
                      static_cast<unsigned>(marker.content.size()));
  }
  for (uint32_t y = 0; y < height; ++y) {
    Bytes row;
    for (uint32_t x = 0; x < width; ++x) {
      for (int channel = 0; channel < Channels(); ++channel) {
        row.push_back(Sample(x, y, channel));
      }
    }
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&object, rows, 1);
  }
  jpeg_finish_compress(&object);
  jpeg_destroy_compress(&object);
  Bytes file(buffer, buffer + size);
  std::free(buffer);
  return file;
}

}  // namespace dibkit::test
