// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/document.h"

#include <optional>
#include <utility>

#include "dibkit/host/output_file.h"
#include "page/page_error.h"
#include "page/source_of.h"

namespace dibkit::host {
namespace {

ReadOptions ReadOptionsOf(const OpenOptions& options) {
  return {options.maxPixels, options.cancelled, options.warning, options.raw};
}

ImageFormat FormatFor(const std::string& path, const SaveOptions& options) {
  if (options.format) {
    return *options.format;
  }
  const auto format = FormatOfName(path);
  if (!format) {
    throw PageError(PageFault::kBadArgument,
                    "the name does not tell the format; it should end in .tif, .png, .jpg or .bmp");
  }
  return *format;
}

}  // namespace

Document::Document(std::unique_ptr<ByteSource> source, const OpenOptions& options)
    : again_(source->Another(nullptr)),
      reader_(OpenImage(std::move(source), ReadOptionsOf(options))),
      raw_(options.raw) {}

Document Document::Open(const std::string& path, const OpenOptions& options) {
  return WithPageErrors([&] { return Document(OpenSource(path, options.cancelled), options); });
}

Document Document::FromBytes(std::span<const unsigned char> file, const OpenOptions& options) {
  return WithPageErrors([&] { return Document(std::make_unique<MemorySource>(file), options); });
}

Document Document::FromStream(std::istream& stream, const OpenOptions& options) {
  return WithPageErrors(
      [&] { return Document(SourceOfStream(stream, options.cancelled), options); });
}

std::optional<Document> Document::Another(const OpenOptions& options) const {
  return WithPageErrors([&]() -> std::optional<Document> {
    if (!again_) {
      return std::nullopt;
    }
    return Document(again_->Another(options.cancelled), options);
  });
}

ImageFormat Document::Format() const { return reader_->Format(); }

uint32_t Document::PageCount() {
  return WithPageErrors([&] { return reader_->PageCount(); });
}

PageDescription Document::Describe(uint32_t page) {
  return WithPageErrors([&] { return reader_->Describe(page); });
}

Page Document::Read(uint32_t page) {
  return WithPageErrors([&] {
    const Compression compression = reader_->Describe(page).compression;
    return Page(reader_->Read(page), reader_->Format(), compression, raw_);
  });
}

struct DocumentWriter::Parts {
  Parts(const std::string& path, ImageFormat fileFormat, SaveOptions save)
      : options(std::move(save)),
        format(fileFormat),
        file(path, options.cancelled, options.replace ? IfExists::kReplace : IfExists::kRefuse,
             options.sync ? Durability::kSynced : Durability::kAsTheSystemLikes),
        writer(MakeWriter(format, file)) {}

  SaveOptions options;
  ImageFormat format;
  OutputFile file;
  std::unique_ptr<ImageWriter> writer;  // null when the file is complete
};

DocumentWriter::DocumentWriter(const std::string& path, const SaveOptions& options) {
  WithPageErrors(
      [&] { parts_ = std::make_unique<Parts>(path, FormatFor(path, options), options); });
}

DocumentWriter::DocumentWriter(DocumentWriter&&) noexcept = default;
DocumentWriter& DocumentWriter::operator=(DocumentWriter&&) noexcept = default;
DocumentWriter::~DocumentWriter() = default;

void DocumentWriter::Add(const Page& page) {
  WithPageErrors([&] { page.AddTo(*parts_->writer, parts_->format, parts_->options); });
}

void DocumentWriter::Add(const EncodedPage& page) {
  WithPageErrors([&] { parts_->writer->Append(page); });
}

EncodedPage DocumentWriter::Encode(const Page& page) const {
  return WithPageErrors([&] {
    const SaveOptions& options = parts_->options;
    const auto add = [&](ImageWriter& writer) { page.AddTo(writer, parts_->format, options); };
    return EncodePage(parts_->format, add, options.cancelled);
  });
}

std::string DocumentWriter::Finish() {
  return WithPageErrors([&] {
    if (parts_->writer) {
      parts_->writer->Finish();
      parts_->writer.reset();
      parts_->file.Close();
    }
    return parts_->file.TemporaryPath();
  });
}

void DocumentWriter::Commit() {
  Finish();
  WithPageErrors([&] { parts_->file.Commit(); });
}

}  // namespace dibkit::host
