// SPDX-License-Identifier: Apache-2.0
//
// The directories of a TIFF file as they stand in it: what libtiff does not tell, or tells rounded.
#ifndef DIBKIT_HOST_FORMATS_TIFF_DIRECTORY_H
#define DIBKIT_HOST_FORMATS_TIFF_DIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "dibkit/host/resolution.h"

namespace dibkit::host::tiff {

// Reads at an offset; returns how many of the bytes are there.
using ReadBytes = std::function<size_t(uint64_t, std::span<unsigned char>)>;

// How numbers stand in the file.
struct Form {
  bool bigEndian;
  bool big;  // BigTIFF: counts and offsets of 8 bytes

  uint64_t CountBytes() const { return big ? 8 : 2; }  // of a directory's entries
  uint64_t EntryBytes() const { return big ? 20 : 12; }
  uint64_t OffsetBytes() const { return big ? 8 : 4; }
  uint64_t HeaderBytes() const { return big ? 16 : 8; }
  // Where the header keeps the offset of the first directory.
  uint64_t FirstAt() const { return big ? 8 : 4; }
};

struct Header {
  Form form;
  uint64_t first;  // offset of the first directory, as the file claims it
};

struct Entry {
  uint16_t tag;
  uint16_t type;
  uint64_t count;
  uint64_t valuesAt;  // in the entry itself or where it points, as the file claims it

  // All values together; 0 for a type of no known width.
  uint64_t Bytes() const;
};

struct Directory {
  std::vector<Entry> entries;
  uint64_t nextAt;  // where the offset of the next directory stands
  uint64_t next;    // 0 after the last

  // The first of that tag, or null.
  const Entry* Find(uint16_t tag) const;
};

// An unsigned number of `bytes` bytes, 1 to 8.
uint64_t LoadNumber(const unsigned char* at, size_t bytes, bool bigEndian);

// None when the file is no TIFF file or ends too early.
std::optional<Header> ReadHeader(const ReadBytes& read);
std::optional<Directory> ReadDirectory(const ReadBytes& read, const Form& form, uint64_t offset);
// The first value of an entry of whole numbers; none for other types, or when it is not there.
std::optional<uint64_t> ReadInteger(const ReadBytes& read, const Form& form, const Entry* entry);
// The first value of an entry of fractions or whole numbers, exactly.
std::optional<Rational> ReadRational(const ReadBytes& read, const Form& form, const Entry* entry);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_DIRECTORY_H
