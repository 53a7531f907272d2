// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/big_file.h"

#include <tiff.h>

#include <array>
#include <cstddef>
#include <vector>

#include "dibkit/host/errors.h"
#include "formats/tiff/write/little_endian.h"

namespace dibkit::host::tiff {
namespace {

constexpr Form kClassic{false, false};
constexpr Form kBig{false, true};

using Bytes = std::vector<unsigned char>;

void Append(Bytes& bytes, uint64_t number, size_t width) {
  bytes.resize(bytes.size() + width);
  StoreNumber(bytes.data() + bytes.size() - width, number, width);
}

// Values of up to 8 bytes stand in the entry itself, up to 4 have done so before.
void AppendEntry(Bytes& bytes, const ReadBytes& read, const Entry& entry) {
  Append(bytes, entry.tag, 2);
  Append(bytes, entry.type, 2);
  Append(bytes, entry.count, 8);
  if (entry.Bytes() > 8) {
    Append(bytes, entry.valuesAt, 8);
    return;
  }
  std::array<unsigned char, 8> values{};
  read(entry.valuesAt, std::span(values).first(static_cast<size_t>(entry.Bytes())));
  bytes.insert(bytes.end(), values.begin(), values.end());
}

// As the last one: the offset of the next is 0.
Bytes BigDirectory(const ReadBytes& read, const Directory& directory) {
  Bytes bytes;
  Append(bytes, directory.entries.size(), 8);
  for (const Entry& entry : directory.entries) {
    AppendEntry(bytes, read, entry);
  }
  Append(bytes, 0, 8);
  return bytes;
}

void WriteNumber(const WriteBytes& write, uint64_t offset, uint64_t number) {
  std::array<unsigned char, 8> bytes{};
  StoreNumber(bytes.data(), number, bytes.size());
  write(offset, bytes);
}

void WriteHeader(const WriteBytes& write) {
  constexpr std::array<unsigned char, 16> kHeader{'I', 'I', TIFF_VERSION_BIG, 0, 8};
  write(0, kHeader);
}

}  // namespace

uint64_t MakeBigFile(const ReadBytes& read, uint64_t size, const WriteBytes& write) {
  const auto header = ReadHeader(read);
  uint64_t next = header ? header->first : 0;
  uint64_t linkAt = kBig.FirstAt();
  WriteHeader(write);
  while (next != 0) {
    const auto directory = ReadDirectory(read, kClassic, next);
    if (!directory) {
      throw ImageError(ImageFault::kDamaged, "the file changed while it was written");
    }
    const Bytes bytes = BigDirectory(read, *directory);
    const uint64_t offset = (size + 7) / 8 * 8;
    write(offset, bytes);
    WriteNumber(write, linkAt, offset);
    size = offset + bytes.size();
    linkAt = size - kBig.OffsetBytes();
    next = directory->next;
  }
  return linkAt;
}

}  // namespace dibkit::host::tiff
