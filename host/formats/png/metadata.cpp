// SPDX-License-Identifier: Apache-2.0
#include "formats/png/metadata.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

#include "formats/exif.h"
#include "formats/page_texts.h"
#include "formats/png/latin1.h"
#include "formats/whole_resolution.h"

namespace dibkit::host::png {
namespace {

constexpr uint8_t kPerMetre = 1;

// Those that PNG registers, and ours for the rest, in the order of TextKind.
constexpr std::array<std::string_view, kTextTags.size()> kKeywords{
    "Title",    "Description",   "Make",   "Model", "Page",
    "Software", "Creation Time", "Author", "Host",  "Copyright"};

bool IsSameKeyword(std::string_view a, std::string_view b) {
  const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return small(x) == small(y); });
}

std::vector<spng_text> TextChunks(const Context& context) {
  uint32_t count = 0;
  const int result = spng_get_text(context.Spng(), nullptr, &count);
  if (result == SPNG_ECHUNKAVAIL) {
    return {};
  }
  context.Check(result);
  std::vector<spng_text> chunks(count);
  context.Check(spng_get_text(context.Spng(), chunks.data(), &count));
  return chunks;
}

// All in UTF-8. Many writers put that into chunks of Latin-1, so what can be UTF-8 is.
std::string ValueOf(const spng_text& chunk) {
  const std::string_view text(chunk.text, chunk.length);
  return chunk.type == SPNG_ITXT || IsUtf8(text) ? std::string(text) : Utf8OfLatin1(text);
}

void ReadTexts(const Context& context, std::vector<PageText>& texts) {
  const std::vector<spng_text> chunks = TextChunks(context);
  for (const spng_text& chunk : chunks) {
    const auto* const known = std::find_if(
        kKeywords.begin(), kKeywords.end(),
        [&](std::string_view keyword) { return IsSameKeyword(chunk.keyword, keyword); });
    if (known != kKeywords.end()) {
      AddText(texts, static_cast<TextKind>(known - kKeywords.begin()), ValueOf(chunk));
    }
  }
  for (const spng_text& chunk : chunks) {
    if (IsSameKeyword(chunk.keyword, "Comment")) {
      AddText(texts, TextKind::kDescription, ValueOf(chunk));
    }
  }
}

Resolution ReadResolution(const Context& context) {
  spng_phys phys{};
  if (!context.Has(spng_get_phys, phys) || phys.unit_specifier != kPerMetre || phys.ppu_x == 0 ||
      phys.ppu_y == 0) {
    return {};
  }
  return {ResolutionUnit::kMetre, {phys.ppu_x, 1}, {phys.ppu_y, 1}};
}

std::span<const unsigned char> BytesOf(const char* data, size_t length) {
  return {reinterpret_cast<const unsigned char*>(data), length};
}

std::optional<spng_phys> PhysOf(const Resolution& resolution) {
  const WholeResolution whole = WholeResolutionPer(ResolutionUnit::kMetre, resolution);
  constexpr uint64_t kMost = std::numeric_limits<int32_t>::max();
  if (whole.x == 0 || whole.x > kMost || whole.y > kMost) {
    return std::nullopt;
  }
  return spng_phys{static_cast<uint32_t>(whole.x), static_cast<uint32_t>(whole.y), kPerMetre};
}

// The text in Latin-1 where a reader gets the same one back; none where it takes UTF-8.
std::optional<std::string> PlainValueOf(const std::string& text) {
  if (!IsUtf8(text)) {
    return text;
  }
  std::optional<std::string> latin1 = Latin1OfUtf8(text);
  if (latin1 && *latin1 != text && IsUtf8(*latin1)) {
    return std::nullopt;
  }
  return latin1;
}

}  // namespace

Metadata ReadMetadata(const Context& context) {
  Metadata metadata;
  metadata.page.resolution = ReadResolution(context);
  ReadTexts(context, metadata.page.texts);
  spng_iccp profile{};
  if (context.Has(spng_get_iccp, profile)) {
    const auto bytes = BytesOf(profile.profile, profile.profile_len);
    metadata.page.iccProfile.assign(bytes.begin(), bytes.end());
  }
  spng_exif chunk{};
  if (context.Has(spng_get_exif, chunk)) {
    const ExifBlock exif = ReadExif(BytesOf(chunk.data, chunk.length));
    // Its resolution is left alone: tools that add a block put 72 into it, whatever the page has.
    metadata.orientation = exif.orientation;
    for (const PageText& text : exif.texts) {
      AddText(metadata.page.texts, text.kind, text.text);
    }
  }
  return metadata;
}

Chunks::Chunks(const PageMetadata& metadata, ProfileSpace space)
    : metadata_(metadata), hasProfile_(SpaceOfProfile(metadata.iccProfile) == space) {
  values_.reserve(metadata.texts.size());
  for (const PageText& text : metadata.texts) {
    if (!text.text.empty()) {
      AddText(text);
    }
  }
}

void Chunks::AddText(const PageText& text) {
  std::optional<std::string> plain = PlainValueOf(text.text);
  spng_text chunk{};
  const std::string_view keyword = kKeywords[static_cast<size_t>(text.kind)];
  std::copy(keyword.begin(), keyword.end(), std::begin(chunk.keyword));
  chunk.type = plain ? SPNG_TEXT : SPNG_ITXT;
  chunk.language_tag = empty_.data();
  chunk.translated_keyword = empty_.data();
  values_.push_back(plain ? std::move(*plain) : text.text);
  chunk.text = values_.back().data();
  chunk.length = values_.back().size();
  texts_.push_back(chunk);
}

void Chunks::SetIn(const Context& context) {
  if (auto phys = PhysOf(metadata_.resolution)) {
    context.Check(spng_set_phys(context.Spng(), &*phys));
  }
  if (hasProfile_) {
    spng_iccp profile{};
    constexpr std::string_view kName = "ICC profile";
    std::copy(kName.begin(), kName.end(), std::begin(profile.profile_name));
    profile.profile_len = metadata_.iccProfile.size();
    // libspng only reads it.
    profile.profile = const_cast<char*>(reinterpret_cast<const char*>(metadata_.iccProfile.data()));
    context.Check(spng_set_iccp(context.Spng(), &profile));
  }
  if (!texts_.empty()) {
    context.Check(
        spng_set_text(context.Spng(), texts_.data(), static_cast<uint32_t>(texts_.size())));
  }
}

}  // namespace dibkit::host::png
