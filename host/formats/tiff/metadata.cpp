// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/metadata.h"

#include <cmath>
#include <limits>
#include <numeric>

#include "formats/page_texts.h"

namespace dibkit::host::tiff {
namespace {

// For the rare values that are stored as floating-point numbers.
std::optional<Rational> Approximated(TIFF* tiff, uint32_t tag) {
  constexpr uint32_t kDenominator = 10000;
  float value = 0;
  if (TIFFGetField(tiff, tag, &value) != 1 || !(value >= 0) ||
      value > static_cast<float>(std::numeric_limits<uint32_t>::max() / kDenominator - 1)) {
    return std::nullopt;
  }
  const auto numerator = static_cast<uint32_t>(std::lround(double{value} * kDenominator));
  const uint32_t common = std::gcd(numerator, kDenominator);
  return Rational{numerator / common, kDenominator / common};
}

std::optional<Rational> RationalOf(TIFF* tiff, const ReadBytes& read, const Form& form,
                                   const Directory& directory, uint16_t tag) {
  const Entry* entry = directory.Find(tag);
  if (entry == nullptr) {
    return std::nullopt;
  }
  const auto exact = ReadRational(read, form, entry);
  return exact ? exact : Approximated(tiff, tag);
}

ResolutionUnit UnitOf(TIFF* tiff) {
  uint16_t unit = RESUNIT_INCH;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  switch (unit) {
    case RESUNIT_INCH:
      return ResolutionUnit::kInch;
    case RESUNIT_CENTIMETER:
      return ResolutionUnit::kCentimetre;
    default:
      return ResolutionUnit::kNone;
  }
}

// A hundredth of the value, exactly where it can be said with 32 bits and to nearest elsewhere.
Rational Hundredth(Rational value) {
  constexpr uint32_t kHundred = 100;
  const uint32_t common = std::gcd(value.numerator, kHundred);
  value.numerator /= common;
  const uint32_t factor = kHundred / common;
  if (value.denominator <= std::numeric_limits<uint32_t>::max() / factor) {
    return {value.numerator, value.denominator * factor};
  }
  return {(value.numerator + factor / 2) / factor, value.denominator};
}

}  // namespace

Resolution ResolutionOf(TIFF* tiff, const ReadBytes& read, const Form& form,
                        const Directory& directory) {
  const auto x = RationalOf(tiff, read, form, directory, TIFFTAG_XRESOLUTION);
  const auto y = RationalOf(tiff, read, form, directory, TIFFTAG_YRESOLUTION);
  return x && y ? Resolution{UnitOf(tiff), *x, *y} : Resolution{};
}

bool HasProfile(TIFF* tiff) {
  uint32_t bytes = 0;
  void* profile = nullptr;
  return TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &bytes, &profile) == 1 && bytes != 0;
}

PageMetadata MetadataOf(TIFF* tiff) {
  PageMetadata metadata;
  uint32_t bytes = 0;
  unsigned char* profile = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &bytes, &profile) == 1) {
    metadata.iccProfile.assign(profile, profile + bytes);
  }
  for (const uint16_t tag : kTextTags) {
    const char* text = nullptr;
    const auto kind = TextKindOfTag(tag);
    if (kind && TIFFGetField(tiff, tag, &text) == 1 && text != nullptr) {
      AddText(metadata.texts, *kind, text);
    }
  }
  return metadata;
}

void SetMetadata(TIFF* tiff, const PageMetadata& metadata, ProfileSpace colours) {
  if (const auto resolution = FileResolutionOf(metadata.resolution)) {
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, resolution->unit);
    // Values of the right width; StoreResolution puts the exact ones in their place.
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 1.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 1.0);
  }
  if (!metadata.iccProfile.empty() && SpaceOfProfile(metadata.iccProfile) == colours) {
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<uint32_t>(metadata.iccProfile.size()),
                 metadata.iccProfile.data());
  }
  for (const PageText& text : metadata.texts) {
    TIFFSetField(tiff, TagOf(text.kind), text.text.c_str());
  }
}

std::optional<FileResolution> FileResolutionOf(const Resolution& resolution) {
  const auto [unit, x, y] = resolution;
  if (x.denominator == 0 || y.denominator == 0 || (x.numerator == 0 && y.numerator == 0)) {
    return std::nullopt;
  }
  switch (unit) {
    case ResolutionUnit::kInch:
      return FileResolution{RESUNIT_INCH, x, y};
    case ResolutionUnit::kCentimetre:
      return FileResolution{RESUNIT_CENTIMETER, x, y};
    case ResolutionUnit::kMetre:
      return FileResolution{RESUNIT_CENTIMETER, Hundredth(x), Hundredth(y)};
    default:
      return FileResolution{RESUNIT_NONE, x, y};
  }
}

}  // namespace dibkit::host::tiff
