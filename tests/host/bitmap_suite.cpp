// SPDX-License-Identifier: Apache-2.0
#include "bitmap_suite.h"

#include <cstdlib>
#include <string>

namespace dibkit::test {
namespace {

using host::ImageFault;

constexpr SuiteFile Shown(const char* name, uint32_t width, uint32_t height, uint64_t checksum,
                          const char* reason) {
  return {name, std::nullopt, width, height, checksum, reason};
}

constexpr SuiteFile Embedded(const char* name, uint32_t width, uint32_t height, uint64_t checksum,
                             host::ImageFormat format, const char* reason) {
  return {name, std::nullopt, width, height, checksum, reason, format};
}

constexpr SuiteFile Refused(const char* name, ImageFault fault, const char* reason) {
  return {name, fault, 0, 0, 0, reason};
}

// clang-format off
constexpr SuiteFile kSuite[] = {
    Shown("g/pal1", 127, 64, 0x93cb10c47d28db4d, "plain"),
    Shown("g/pal1bg", 127, 64, 0xb7b540345a58dd65, "blue and green"),
    Shown("g/pal1wb", 127, 64, 0x93cb10c47d28db4d, "white first in the table"),
    Shown("g/pal4", 127, 64, 0x7442826ad2154b09, "12 entries in the table"),
    Shown("g/pal4rle", 127, 64, 0x7442826ad2154b09, "run-length, 4 bits"),
    Shown("g/pal8-0", 127, 64, 0x4598e7515a0f7954, "no count of colours"),
    Shown("g/pal8", 127, 64, 0x4598e7515a0f7954, "252 entries in the table"),
    Shown("g/pal8nonsquare", 127, 32, 0xb937ea06db3c196c, "other resolution upwards"),
    Shown("g/pal8os2", 127, 64, 0x4598e7515a0f7954, "12-byte header"),
    Shown("g/pal8rle", 127, 64, 0x4598e7515a0f7954, "run-length, 8 bits"),
    Shown("g/pal8topdown", 127, 64, 0x4598e7515a0f7954, "top row first"),
    Shown("g/pal8v4", 127, 64, 0x4598e7515a0f7954, "108-byte header"),
    Shown("g/pal8v5", 127, 64, 0x4598e7515a0f7954, "124-byte header"),
    Shown("g/pal8w124", 124, 61, 0xb48c84d29e14ad3d, "plain"),
    Shown("g/pal8w125", 125, 62, 0xdc7be9a5fc79ab93, "plain"),
    Shown("g/pal8w126", 126, 63, 0x06c840bab970062d, "plain"),
    Shown("g/rgb16-565", 127, 64, 0x14bcfc94e43a21be, "masks"),
    Shown("g/rgb16-565pal", 127, 64, 0x14bcfc94e43a21be, "masks and a table without use"),
    Shown("g/rgb16", 127, 64, 0xabf46743046a3eb2, "5-5-5"),
    Shown("g/rgb24", 127, 64, 0x7cd8f819ae69b2af, "plain"),
    Shown("g/rgb24pal", 127, 64, 0x7cd8f819ae69b2af, "a table without use"),
    Shown("g/rgb32", 127, 64, 0x7cd8f819ae69b2af, "plain"),
    Shown("g/rgb32bf", 127, 64, 0x7cd8f819ae69b2af, "masks"),
    Shown("q/pal1p1", 127, 64, 0xeae45a26ec6206e5, "a table of one entry; index 1 is black"),
    Shown("q/pal2", 127, 64, 0x0ab2e98359003ba7, "2 bits"),
    Shown("q/pal4rletrns", 127, 64, 0x7cde5f81f2661d29, "moves, some of odd length from odd columns; skipped pixels are index 0"),
    Shown("q/pal8offs", 127, 64, 0x4598e7515a0f7954, "a gap before the rows"),
    Shown("q/pal8os2sp", 127, 64, 0x4598e7515a0f7954, "12-byte header, short table"),
    Shown("q/pal8os2v2-16", 127, 64, 0x4598e7515a0f7954, "16-byte header"),
    Shown("q/pal8os2v2", 127, 64, 0x4598e7515a0f7954, "64-byte header"),
    Shown("q/pal8oversizepal", 127, 64, 0x4598e7515a0f7954, "300 entries in the table"),
    Shown("q/pal8rletrns", 127, 64, 0xd03d8e3b58c52840, "moves; skipped pixels are index 0"),
    Shown("q/rgb16-231", 127, 64, 0xed7c0b0fd426e78a, "channels of 2, 3 and 1 bits"),
    Embedded("q/rgb24jpeg", 127, 64, 0x184d801b5d9e7184, host::ImageFormat::kJpeg, "an embedded JPEG file"),
    Shown("q/rgb24largepal", 127, 64, 0x7cd8f819ae69b2af, "300 entries in a table without use"),
    Shown("q/rgb24lprof", 127, 64, 0x7cd8f819ae69b2af, "a linked colour profile"),
    Embedded("q/rgb24png", 127, 64, 0x7cd8f819ae69b2af, host::ImageFormat::kPng, "an embedded PNG file"),
    Shown("q/rgb24prof", 127, 64, 0x7cd8f819ae69b2af, "an embedded colour profile"),
    Shown("q/rgb32-111110", 127, 64, 0x4275584197fb7217, "channels of 11, 11 and 10 bits"),
    Shown("q/rgb32bf-xbgr", 127, 64, 0x7cd8f819ae69b2af, "124-byte header, masks in the other order"),
    Shown("q/rgb32fakealpha", 127, 64, 0x7cd8f819ae69b2af, "the fourth byte is no alpha"),
    Shown("q/rgb32h52", 127, 64, 0x7cd8f819ae69b2af, "52-byte header"),
    Shown("q/rgba16-4444", 127, 64, 0x4041509589c56971, "channels of 4 bits; alpha is dropped"),
    Shown("q/rgba32", 127, 64, 0x6b079fe1d6ffeee9, "124-byte header; alpha is dropped"),
    Shown("q/rgba32abf", 127, 64, 0x6b079fe1d6ffeee9, "four masks behind 40 bytes; alpha is dropped"),
    Shown("q/rgba32h56", 127, 64, 0x6b079fe1d6ffeee9, "56-byte header; alpha is dropped"),
    Refused("b/badbitcount", ImageFault::kDepth, "30000 bits"),
    Shown("b/badbitssize", 127, 64, 0x93cb10c47d28db4d, "biSizeImage means nothing in front of rows"),
    Shown("b/baddens1", 127, 64, 0x93cb10c47d28db4d, "the resolution is odd, not the pixels"),
    Shown("b/baddens2", 127, 64, 0x93cb10c47d28db4d, "the resolution is odd, not the pixels"),
    Shown("b/badfilesize", 127, 64, 0x93cb10c47d28db4d, "the file size in the header means nothing"),
    Refused("b/badheadersize", ImageFault::kHeaderSize, "a header of 66 bytes"),
    Refused("b/badpalettesize", ImageFault::kTableSize, "305402420 entries in the table"),
    Refused("b/badplanes", ImageFault::kPlanes, "30000 planes"),
    Shown("b/badrle", 127, 64, 0x6abab707960212df, "runs leave their rows and the image: what is inside is shown"),
    Refused("b/badwidth", ImageFault::kWidth, "a width of -127"),
    Shown("b/pal8badindex", 127, 64, 0xb1b758a9b7f78a41, "indices above the table are black"),
    Refused("b/reallybig", ImageFault::kRowsTruncated, "18 terabytes of rows in 24 kilobytes"),
    Refused("b/rletopdown", ImageFault::kCompressedTopDown, "run-length streams have no top-down form"),
    Refused("b/shortfile", ImageFault::kRowsTruncated, "the rows end after 211 bytes"),
};
// clang-format on

}  // namespace

std::span<const SuiteFile> BitmapSuite() { return kSuite; }

std::filesystem::path SuiteDirectory() {
  const char* chosen = std::getenv("DIBKIT_SAMPLES_DIR");
  return std::filesystem::path(chosen != nullptr ? chosen : DIBKIT_SAMPLES_DIR) / "bmpsuite";
}

std::filesystem::path SuitePath(const SuiteFile& file) {
  return SuiteDirectory() / (std::string(file.name) + ".bmp");
}

}  // namespace dibkit::test
