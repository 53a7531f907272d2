// SPDX-License-Identifier: Apache-2.0
//
// Files with several pages, one in memory at a time. For a file with one page, Page::Open and
// Page::Save are enough. All members throw PageError and nothing else.
#ifndef DIBKIT_HOST_DOCUMENT_H
#define DIBKIT_HOST_DOCUMENT_H

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>

#include "dibkit/host/page.h"

namespace dibkit::host {

// A file that is open for reading.
class Document {
 public:
  // OpenOptions::page is not looked at.
  static Document Open(const std::string& path, const OpenOptions& options = {});
  // `file` must outlive the document.
  static Document FromBytes(std::span<const unsigned char> file, const OpenOptions& options = {});
  // `stream` must outlive the document and is read as far as the pages that are asked for need.
  static Document FromStream(std::istream& stream, const OpenOptions& options = {});

  ImageFormat Format() const;
  uint32_t PageCount();
  // Nothing but headers is read. Pages count from 0.
  PageDescription Describe(uint32_t page);
  Page Read(uint32_t page);

 private:
  Document(std::unique_ptr<ByteSource> source, const OpenOptions& options);

  std::unique_ptr<ImageReader> reader_;
  bool raw_;
};

// A file that is being written and appears whole with Commit, or not at all.
class DocumentWriter {
 public:
  // The format is told by options.format or the path; "-" is standard output.
  explicit DocumentWriter(const std::string& path, const SaveOptions& options = {});
  DocumentWriter(DocumentWriter&&) noexcept;
  DocumentWriter& operator=(DocumentWriter&&) noexcept;
  ~DocumentWriter();

  void Add(const Page& page);
  // Completes the file without letting it appear. Returns the name under which it can be looked at
  // until Commit, empty where there is none (standard output, devices). Add must not follow.
  std::string Finish();
  // Finish, unless that was called, and the file is there.
  void Commit();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_DOCUMENT_H
