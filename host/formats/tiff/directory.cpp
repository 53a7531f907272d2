// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/directory.h"

#include <tiff.h>

#include <algorithm>
#include <array>
#include <limits>

namespace dibkit::host::tiff {
namespace {

// As many as libtiff takes for a directory.
constexpr uint64_t kMostEntries = 4096;

uint64_t WidthOf(uint16_t type) {
  switch (type) {
    case TIFF_BYTE:
    case TIFF_ASCII:
    case TIFF_SBYTE:
    case TIFF_UNDEFINED:
      return 1;
    case TIFF_SHORT:
    case TIFF_SSHORT:
      return 2;
    case TIFF_LONG:
    case TIFF_SLONG:
    case TIFF_FLOAT:
    case TIFF_IFD:
      return 4;
    case TIFF_RATIONAL:
    case TIFF_SRATIONAL:
    case TIFF_DOUBLE:
    case TIFF_LONG8:
    case TIFF_SLONG8:
    case TIFF_IFD8:
      return 8;
    default:
      return 0;
  }
}

bool ReadAll(const ReadBytes& read, uint64_t offset, std::span<unsigned char> into) {
  return offset <= std::numeric_limits<uint64_t>::max() - into.size() &&
         read(offset, into) == into.size();
}

std::optional<uint64_t> ReadNumber(const ReadBytes& read, uint64_t offset, uint64_t bytes,
                                   bool bigEndian) {
  std::array<unsigned char, 8> number{};
  const auto size = static_cast<size_t>(bytes);
  if (!ReadAll(read, offset, std::span(number).first(size))) {
    return std::nullopt;
  }
  return LoadNumber(number.data(), size, bigEndian);
}

Entry EntryAt(const unsigned char* bytes, uint64_t at, const Form& form) {
  const auto offsetBytes = static_cast<size_t>(form.OffsetBytes());
  Entry entry{static_cast<uint16_t>(LoadNumber(bytes, 2, form.bigEndian)),
              static_cast<uint16_t>(LoadNumber(bytes + 2, 2, form.bigEndian)),
              LoadNumber(bytes + 4, offsetBytes, form.bigEndian), at + 4 + offsetBytes};
  if (entry.Bytes() > offsetBytes) {
    entry.valuesAt = LoadNumber(bytes + 4 + offsetBytes, offsetBytes, form.bigEndian);
  }
  return entry;
}

}  // namespace

uint64_t Entry::Bytes() const {
  const uint64_t width = WidthOf(type);
  const uint64_t most = std::numeric_limits<uint64_t>::max();
  return width != 0 && count > most / width ? most : count * width;
}

const Entry* Directory::Find(uint16_t tag) const {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [tag](const Entry& entry) { return entry.tag == tag; });
  return found == entries.end() ? nullptr : &*found;
}

uint64_t LoadNumber(const unsigned char* at, size_t bytes, bool bigEndian) {
  uint64_t number = 0;
  for (size_t i = 0; i < bytes; ++i) {
    number = number << 8 | at[bigEndian ? i : bytes - 1 - i];
  }
  return number;
}

std::optional<Header> ReadHeader(const ReadBytes& read) {
  std::array<unsigned char, 4> start{};
  if (!ReadAll(read, 0, start)) {
    return std::nullopt;
  }
  const bool bigEndian = start[0] == 'M';
  const uint64_t version = LoadNumber(start.data() + 2, 2, bigEndian);
  const Form form{bigEndian, version == TIFF_VERSION_BIG};
  const auto first = ReadNumber(read, form.FirstAt(), form.OffsetBytes(), bigEndian);
  if (!first) {
    return std::nullopt;
  }
  return Header{form, *first};
}

std::optional<Directory> ReadDirectory(const ReadBytes& read, const Form& form, uint64_t offset) {
  const auto count = ReadNumber(read, offset, form.CountBytes(), form.bigEndian);
  if (!count || *count == 0 || *count > kMostEntries) {
    return std::nullopt;
  }
  const uint64_t entriesAt = offset + form.CountBytes();
  std::vector<unsigned char> bytes(
      static_cast<size_t>(*count * form.EntryBytes() + form.OffsetBytes()));
  if (!ReadAll(read, entriesAt, bytes)) {
    return std::nullopt;
  }
  Directory directory{{}, entriesAt + *count * form.EntryBytes(), 0};
  for (uint64_t i = 0; i < *count; ++i) {
    const uint64_t at = i * form.EntryBytes();
    directory.entries.push_back(EntryAt(bytes.data() + at, entriesAt + at, form));
  }
  const unsigned char* next = bytes.data() + *count * form.EntryBytes();
  directory.next = LoadNumber(next, static_cast<size_t>(form.OffsetBytes()), form.bigEndian);
  return directory;
}

std::optional<uint64_t> ReadInteger(const ReadBytes& read, const Form& form, const Entry* entry) {
  if (entry == nullptr || entry->count == 0 ||
      (entry->type != TIFF_BYTE && entry->type != TIFF_SHORT && entry->type != TIFF_LONG &&
       entry->type != TIFF_LONG8)) {
    return std::nullopt;
  }
  return ReadNumber(read, entry->valuesAt, WidthOf(entry->type), form.bigEndian);
}

std::optional<Rational> ReadRational(const ReadBytes& read, const Form& form, const Entry* entry) {
  if (entry == nullptr || entry->count == 0) {
    return std::nullopt;
  }
  if (entry->type != TIFF_RATIONAL && entry->type != TIFF_SRATIONAL) {
    const auto whole = ReadInteger(read, form, entry);
    if (!whole || *whole > std::numeric_limits<uint32_t>::max()) {
      return std::nullopt;
    }
    return Rational{static_cast<uint32_t>(*whole), 1};
  }
  const auto numerator = ReadNumber(read, entry->valuesAt, 4, form.bigEndian);
  const auto denominator = ReadNumber(read, entry->valuesAt + 4, 4, form.bigEndian);
  const uint64_t most = entry->type == TIFF_RATIONAL ? std::numeric_limits<uint32_t>::max()
                                                     : std::numeric_limits<int32_t>::max();
  if (!numerator || !denominator || *numerator > most || *denominator > most) {
    return std::nullopt;
  }
  return Rational{static_cast<uint32_t>(*numerator), static_cast<uint32_t>(*denominator)};
}

}  // namespace dibkit::host::tiff
