// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/kind.h"

#include <algorithm>
#include <limits>

#include "dibkit/host/errors.h"

namespace dibkit::host::tiff {
namespace {

constexpr uint16_t kMostBits = 32;
constexpr uint16_t kMostSamples = 32;

[[noreturn]] void Refuse(const std::string& what) {
  throw ImageError(ImageFault::kUnsupported, what + " are not read");
}

uint16_t ShortField(TIFF* tiff, uint32_t tag) {
  uint16_t value = 0;
  TIFFGetFieldDefaulted(tiff, tag, &value);
  return value;
}

uint32_t LongField(TIFF* tiff, uint32_t tag) {
  uint32_t value = 0;
  TIFFGetFieldDefaulted(tiff, tag, &value);
  return value;
}

bool IsFax(uint16_t compression) {
  return compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTRLEW ||
         compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4;
}

// Others that libtiff may have been built with take memory as their own headers claim it, or end
// the process when there is none.
bool IsTrusted(uint16_t compression) {
  switch (compression) {
    case COMPRESSION_NONE:
    case COMPRESSION_LZW:
    case COMPRESSION_JPEG:
    case COMPRESSION_OJPEG:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_PACKBITS:
      return true;
    default:
      return IsFax(compression);
  }
}

std::string NameOfCompression(uint16_t compression) {
  const TIFFCodec* codec = TIFFFindCODEC(compression);
  return codec == nullptr ? "compression " + std::to_string(compression)
                          : std::string(codec->name) + " compression";
}

uint16_t PhotometricOf(TIFF* tiff, const Kind& kind) {
  uint16_t photometric = 0;
  if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) == 1) {
    return photometric;
  }
  if (IsFax(kind.compression)) {
    return PHOTOMETRIC_MINISWHITE;
  }
  return kind.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
}

std::string NameOf(uint16_t photometric) {
  switch (photometric) {
    case PHOTOMETRIC_YCBCR:
      return "YCbCr";
    case PHOTOMETRIC_CIELAB:
      return "CIELab";
    case PHOTOMETRIC_ICCLAB:
      return "ICCLab";
    case PHOTOMETRIC_ITULAB:
      return "ITULab";
    case PHOTOMETRIC_LOGL:
      return "LogL";
    case PHOTOMETRIC_LOGLUV:
      return "LogLuv";
    case PHOTOMETRIC_CFA:
      return "colour filter array";
    default:
      return "photometric " + std::to_string(photometric);
  }
}

Colours ColoursOf(TIFF* tiff, const Kind& kind) {
  switch (kind.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MASK:
      return Colours::kGrey;
    case PHOTOMETRIC_PALETTE:
      return Colours::kPalette;
    case PHOTOMETRIC_RGB:
      return Colours::kRgb;
    case PHOTOMETRIC_SEPARATED:
      if (ShortField(tiff, TIFFTAG_INKSET) != INKSET_CMYK) {
        Refuse("images of inks other than CMYK");
      }
      return Colours::kCmyk;
    case PHOTOMETRIC_YCBCR:
    case PHOTOMETRIC_CIELAB:
      return Colours::kOther;
    default:
      Refuse(NameOf(kind.photometric) + " images");
  }
}

void SetAlpha(TIFF* tiff, Kind& kind) {
  kind.alpha = -1;
  kind.premultiplied = false;
  uint16_t count = 0;
  uint16_t* types = nullptr;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &types);
  for (unsigned i = 0; i < count && kind.alpha < 0; ++i) {
    if (types[i] == EXTRASAMPLE_ASSOCALPHA || types[i] == EXTRASAMPLE_UNASSALPHA) {
      kind.alpha = kind.samples - count + static_cast<int>(i);
      kind.premultiplied = types[i] == EXTRASAMPLE_ASSOCALPHA;
    }
  }
}

void SetSegments(TIFF* tiff, Kind& kind) {
  kind.tileWidth = 0;
  if (TIFFIsTiled(tiff) != 0) {
    kind.tileWidth = LongField(tiff, TIFFTAG_TILEWIDTH);
    kind.rows = LongField(tiff, TIFFTAG_TILELENGTH);
  } else {
    kind.rows = std::min(LongField(tiff, TIFFTAG_ROWSPERSTRIP), kind.height);
  }
}

void CheckSamples(TIFF* tiff, const Kind& kind) {
  const uint16_t format = ShortField(tiff, TIFFTAG_SAMPLEFORMAT);
  if (format == SAMPLEFORMAT_IEEEFP) {
    Refuse("floating-point samples");
  }
  if (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID) {
    Refuse("signed or complex samples");
  }
  if (kind.bits < 1 || kind.bits > kMostBits) {
    Refuse("samples of " + std::to_string(kind.bits) + " bits");
  }
  if (kind.colours == Colours::kPalette && kind.bits > 8) {
    Refuse("palettes of " + std::to_string(kind.bits) + " bits");
  }
  const int colourSamples = static_cast<int>(kind.ColourSamples());
  if (kind.samples < colourSamples || (kind.alpha >= 0 && kind.alpha < colourSamples)) {
    throw ImageError(ImageFault::kDamaged, "the page has fewer samples than its colours need");
  }
}

void CheckLayout(TIFF* tiff, const Kind& kind) {
  if (kind.width > std::numeric_limits<int32_t>::max() ||
      kind.height > std::numeric_limits<int32_t>::max()) {
    throw ImageError(ImageFault::kTooLarge, "the page is wider or higher than an image can be");
  }
  if (!IsTrusted(kind.compression) || TIFFIsCODECConfigured(kind.compression) == 0) {
    Refuse("pages with " + NameOfCompression(kind.compression));
  }
  if (kind.samples < 1 || kind.samples > kMostSamples) {
    Refuse("pixels of " + std::to_string(kind.samples) + " samples");
  }
  if (LongField(tiff, TIFFTAG_IMAGEDEPTH) > 1) {
    Refuse("volumes");
  }
  if (kind.tileWidth != 0 && uint64_t{kind.tileWidth} * kind.bits % 8 != 0) {
    Refuse("tiles of " + std::to_string(kind.tileWidth) + " columns");
  }
}

bool IsJpegYcbcr(const Kind& kind) {
  return kind.compression == COMPRESSION_JPEG && kind.photometric == PHOTOMETRIC_YCBCR &&
         !kind.separate;
}

}  // namespace

unsigned Kind::ColourSamples() const {
  switch (colours) {
    case Colours::kGrey:
    case Colours::kPalette:
      return 1;
    case Colours::kCmyk:
      return 4;
    default:
      return 3;
  }
}

bool Kind::IsDirect() const {
  if (alpha >= 0) {
    return false;
  }
  if (colours == Colours::kRgb) {
    return bits == 8 && samples == 3 && !separate;
  }
  return ColourSamples() == 1 && colours != Colours::kOther && (samples == 1 || separate) &&
         (bits == 1 || bits == 4 || bits == 8);
}

uint16_t Kind::DibBits() const {
  if (ColourSamples() != 1 || colours == Colours::kOther ||
      (colours == Colours::kPalette && alpha >= 0)) {
    return 24;
  }
  const bool alone = alpha < 0 && (samples == 1 || separate);
  if (!alone || bits == 3 || bits > 4) {
    return 8;
  }
  return bits == 1 ? 1 : 4;
}

std::string Kind::ColourText() const {
  const std::string behind = alpha >= 0 ? " + alpha" : "";
  switch (colours) {
    case Colours::kGrey:
      return (bits == 1 ? "bilevel" : "grey") + behind;
    case Colours::kPalette:
      return "palette" + behind;
    case Colours::kRgb:
      return (photometric == PHOTOMETRIC_YCBCR ? "YCbCr" : "RGB") + behind;
    case Colours::kCmyk:
      return "CMYK" + behind;
    default:
      return NameOf(photometric) + behind;
  }
}

Kind KindOf(TIFF* tiff) {
  Kind kind{};
  kind.width = LongField(tiff, TIFFTAG_IMAGEWIDTH);
  kind.height = LongField(tiff, TIFFTAG_IMAGELENGTH);
  kind.orientation = ShortField(tiff, TIFFTAG_ORIENTATION);
  kind.compression = ShortField(tiff, TIFFTAG_COMPRESSION);
  kind.bits = ShortField(tiff, TIFFTAG_BITSPERSAMPLE);
  kind.samples = ShortField(tiff, TIFFTAG_SAMPLESPERPIXEL);
  kind.separate = ShortField(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
  kind.photometric = PhotometricOf(tiff, kind);
  SetSegments(tiff, kind);
  CheckLayout(tiff, kind);
  SetAlpha(tiff, kind);
  kind.whiteIsZero = kind.photometric == PHOTOMETRIC_MINISWHITE;
  if (IsJpegYcbcr(kind)) {
    TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    kind.colours = Colours::kRgb;
  } else {
    kind.colours = ColoursOf(tiff, kind);
  }
  if (kind.colours != Colours::kOther) {
    CheckSamples(tiff, kind);
  }
  return kind;
}

Compression CompressionOf(const Kind& kind) {
  switch (kind.compression) {
    case COMPRESSION_NONE:
      return Compression::kNone;
    case COMPRESSION_LZW:
      return Compression::kLzw;
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
      return Compression::kDeflate;
    case COMPRESSION_PACKBITS:
      return Compression::kPackBits;
    case COMPRESSION_CCITTFAX3:
      return Compression::kG3;
    case COMPRESSION_CCITTFAX4:
      return Compression::kG4;
    case COMPRESSION_JPEG:
    case COMPRESSION_OJPEG:
      return Compression::kJpeg;
    default:
      return Compression::kOther;
  }
}

std::string CompressionTextOf(TIFF* tiff, const Kind& kind) {
  const Compression compression = CompressionOf(kind);
  if (compression == Compression::kOther || kind.compression == COMPRESSION_OJPEG) {
    const TIFFCodec* codec = TIFFFindCODEC(kind.compression);
    return codec == nullptr ? CompressionName(compression) : codec->name;
  }
  std::string text = CompressionName(compression);
  if (compression == Compression::kG3) {
    const bool isTwoDimensional =
        (LongField(tiff, TIFFTAG_GROUP3OPTIONS) & GROUP3OPT_2DENCODING) != 0;
    text += isTwoDimensional ? " two-dimensional" : " one-dimensional";
  }
  if ((compression == Compression::kLzw || compression == Compression::kDeflate) &&
      ShortField(tiff, TIFFTAG_PREDICTOR) != PREDICTOR_NONE) {
    text += " with predictor";
  }
  return text;
}

}  // namespace dibkit::host::tiff
