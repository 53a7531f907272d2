// SPDX-License-Identifier: Apache-2.0
#include "formats/jpeg/metadata.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "formats/exif.h"
#include "formats/page_texts.h"
#include "formats/whole_resolution.h"

namespace dibkit::host::jpeg {
namespace {

// As JFIF numbers them.
constexpr UINT8 kPerInch = 1;
constexpr UINT8 kPerCentimetre = 2;
constexpr uint64_t kMostDensity = 65535;

constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr std::array<unsigned char, 6> kExifName{'E', 'x', 'i', 'f', 0, 0};
constexpr size_t kMostMarkerBytes = 65533;
// A profile is cut into pieces, 255 at most, with 14 bytes before each.
constexpr size_t kMostProfileBytes = 255 * (kMostMarkerBytes - 14);

Resolution DensityOf(const jpeg_decompress_struct& object) {
  const bool known = object.density_unit == kPerInch || object.density_unit == kPerCentimetre;
  if (object.saw_JFIF_marker == 0 || !known || object.X_density == 0 || object.Y_density == 0) {
    return {};
  }
  return {object.density_unit == kPerInch ? ResolutionUnit::kInch : ResolutionUnit::kCentimetre,
          {object.X_density, 1},
          {object.Y_density, 1}};
}

bool Fits(const WholeResolution& density) {
  return density.x != 0 && density.x <= kMostDensity && density.y <= kMostDensity;
}

}  // namespace

Metadata ReadMetadata(const jpeg_decompress_struct& object, const KeptMarkers& markers) {
  const ExifBlock exif = ReadExif(markers.Exif());
  const Resolution density = DensityOf(object);
  Metadata metadata;
  metadata.orientation = exif.orientation;
  metadata.page.resolution = density.unit == ResolutionUnit::kNone ? exif.resolution : density;
  metadata.page.iccProfile = markers.Profile();
  metadata.page.texts = exif.texts;
  const auto& comment = markers.Comment();
  AddText(metadata.page.texts, TextKind::kDescription,
          {reinterpret_cast<const char*>(comment.data()), comment.size()});
  return metadata;
}

void SetDensity(jpeg_compress_struct& object, const Resolution& resolution) {
  const WholeResolution inch = WholeResolutionPer(ResolutionUnit::kInch, resolution);
  const WholeResolution centimetre = WholeResolutionPer(ResolutionUnit::kCentimetre, resolution);
  const bool metric = Fits(centimetre) && centimetre.exact && !(Fits(inch) && inch.exact);
  const WholeResolution& density = metric ? centimetre : inch;
  if (Fits(density)) {
    object.density_unit = metric ? kPerCentimetre : kPerInch;
    object.X_density = static_cast<UINT16>(density.x);
    object.Y_density = static_cast<UINT16>(density.y);
  }
}

Blocks::Blocks(const PageMetadata& metadata, ProfileSpace space) {
  exif = ExifOfTexts(metadata.texts, kMostMarkerBytes - kExifName.size());
  if (!exif.empty()) {
    exif.insert(exif.begin(), kExifName.begin(), kExifName.end());
  }
  if (SpaceOfProfile(metadata.iccProfile) == space &&
      metadata.iccProfile.size() <= kMostProfileBytes) {
    profile = &metadata.iccProfile;
  }
}

void Blocks::WriteTo(jpeg_compress_struct& object) const {
  if (!exif.empty()) {
    jpeg_write_marker(&object, kExifMarker, exif.data(), static_cast<unsigned>(exif.size()));
  }
  if (profile != nullptr) {
    jpeg_write_icc_profile(&object, profile->data(), static_cast<unsigned>(profile->size()));
  }
}

}  // namespace dibkit::host::jpeg
