// SPDX-License-Identifier: Apache-2.0
//
// Files with several pages, one in memory at a time. For a file with one page, Page::Open and
// Page::Save are enough. All members throw PageError and nothing else.
#ifndef DIBKIT_HOST_DOCUMENT_H
#define DIBKIT_HOST_DOCUMENT_H

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "dibkit/host/byte_source.h"
#include "dibkit/host/encoded_page.h"
#include "dibkit/host/page.h"

namespace dibkit::host {

// A file that is open for reading. For one thread at a time; see Another.
class Document {
 public:
  // OpenOptions::page is not looked at.
  static Document Open(const std::string& path, const OpenOptions& options = {});
  // `file` must outlive the document.
  static Document FromBytes(std::span<const unsigned char> file, const OpenOptions& options = {});
  // `stream` must outlive the document and is read as far as the pages that are asked for need.
  static Document FromStream(std::istream& stream, const OpenOptions& options = {});
  // The same file, as it was opened, for another thread and with options of its own; none where it
  // can be read only once, as a pipe or a stream. May be called while another thread uses this
  // document, and outlive it.
  std::optional<Document> Another(const OpenOptions& options = {}) const;
  // True where Another gives one.
  bool HasAnother() const { return again_ != nullptr; }

  ImageFormat Format() const;
  uint32_t PageCount();
  // Nothing but headers is read. Pages count from 0.
  PageDescription Describe(uint32_t page);
  Page Read(uint32_t page);

 private:
  Document(std::unique_ptr<ByteSource> source, const OpenOptions& options);

  std::unique_ptr<const ByteSource> again_;  // for Another; null where there is none
  std::unique_ptr<ImageReader> reader_;
  bool raw_;
};

// A file that is being written and appears whole with Commit, or not at all. For one thread at a
// time, but for Encode. So several threads can make the pages of one file: each reads its pages
// from a document of its own, converts them and packs them by Encode, and one after the other they
// are added in their order, which takes next to no time.
class DocumentWriter {
 public:
  // The format is told by options.format or the path; "-" is standard output.
  explicit DocumentWriter(const std::string& path, const SaveOptions& options = {});
  DocumentWriter(DocumentWriter&&) noexcept;
  DocumentWriter& operator=(DocumentWriter&&) noexcept;
  ~DocumentWriter();

  void Add(const Page& page);
  // The same for a page that Encode has packed.
  void Add(const EncodedPage& page);
  // Packs a page for this file without touching the file: Add of the result gives the same bytes as
  // Add of the page. Any number of threads at once, also while one is in another member.
  EncodedPage Encode(const Page& page) const;
  // Completes the file without letting it appear, and has the disk keep it where SaveOptions ask
  // for that. Returns the name under which it can be looked at
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
