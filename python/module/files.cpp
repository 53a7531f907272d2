// SPDX-License-Identifier: Apache-2.0
#include "files.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arrays.h"
#include "dibkit/host/document.h"
#include "dibkit/host/page_metadata.h"
#include "work.h"

namespace dibkit::python {
namespace {

using host::Page;
using host::TextKind;

constexpr std::array<std::pair<TextKind, const char*>, 10> kTextNames{
    {{TextKind::kDocumentName, "document_name"},
     {TextKind::kDescription, "description"},
     {TextKind::kMake, "make"},
     {TextKind::kModel, "model"},
     {TextKind::kPageName, "page_name"},
     {TextKind::kSoftware, "software"},
     {TextKind::kDateTime, "date_time"},
     {TextKind::kArtist, "artist"},
     {TextKind::kHostComputer, "host_computer"},
     {TextKind::kCopyright, "copyright"}}};

// Files say their encoding nowhere; what is not UTF-8 comes back as it was.
py::str TextOf(const std::string& bytes) {
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape"));
}

py::dict TextsOf(const host::PageMetadata& metadata) {
  py::dict texts;
  for (const host::PageText& text : metadata.texts) {
    const auto* const known =
        std::find_if(kTextNames.begin(), kTextNames.end(),
                     [&text](const auto& entry) { return entry.first == text.kind; });
    texts[known->second] = TextOf(text.text);
  }
  return texts;
}

// In the order of TextKind.
std::vector<host::PageText> TextsOf(const py::dict& given) {
  std::vector<host::PageText> texts;
  for (const auto& [kind, name] : kTextNames) {
    if (given.contains(name)) {
      texts.push_back({kind, given[name].cast<std::string>()});
    }
  }
  return texts;
}

// The first few of a file, as damaged files make codecs talk, and what they repeat once.
class Warnings {
 public:
  host::WarningHook Hook() {
    return [this](const std::string& text) {
      if (texts_.size() < kMost && (texts_.empty() || texts_.back() != text)) {
        texts_.push_back(text);
      }
    };
  }
  const std::vector<std::string>& Texts() const { return texts_; }

 private:
  static constexpr size_t kMost = 3;
  std::vector<std::string> texts_{};
};

py::tuple Read(const std::string& path, uint32_t number, uint64_t maxPixels) {
  Work work(path);
  Warnings warnings;
  host::OpenOptions options;
  options.maxPixels = maxPixels;
  options.cancelled = work.Cancelled();
  options.warning = warnings.Hook();
  host::Document document = work.Run([&] { return host::Document::Open(path, options); });
  const uint32_t pages = work.Run([&] { return document.PageCount(); });
  Page page = work.Run([&] { return document.Read(number); });
  const host::PageMetadata metadata = page.Metadata();
  const DpiPair dpi{page.DpiX(), page.DpiY()};
  const auto& profile = metadata.iccProfile;
  return py::make_tuple(ArrayOf(std::move(page), work), dpi, host::FormatName(document.Format()),
                        pages,
                        py::bytes(reinterpret_cast<const char*>(profile.data()), profile.size()),
                        TextsOf(metadata), warnings.Texts());
}

void Write(const std::string& path, const py::array& image, const DpiPair& dpi,
           const std::optional<py::array>& palette, std::optional<host::ImageFormat> format,
           std::optional<host::Compression> compression, int quality, bool replace,
           const std::string& profile, const py::dict& texts) {
  Work work(path);
  Page plain = PageOf(image, dpi, std::numeric_limits<uint64_t>::max(), work, palette);
  const Page page(host::PageImage{
      plain.TakeHandle(), {ResolutionOf(dpi), {profile.begin(), profile.end()}, TextsOf(texts)}});
  host::SaveOptions options;
  options.format = format;
  options.compression = compression;
  options.jpegQuality = quality;
  options.replace = replace;
  options.cancelled = work.Cancelled();
  work.Run([&] { page.Save(path, options); });
}

}  // namespace

void DefineFiles(py::module_& module) {
  py::enum_<host::ImageFormat>(module, "Format")
      .value("bmp", host::ImageFormat::kBmp)
      .value("tiff", host::ImageFormat::kTiff)
      .value("png", host::ImageFormat::kPng)
      .value("jpeg", host::ImageFormat::kJpeg);
  py::enum_<host::Compression>(module, "Compression")
      .value("none", host::Compression::kNone)
      .value("lzw", host::Compression::kLzw)
      .value("deflate", host::Compression::kDeflate)
      .value("packbits", host::Compression::kPackBits)
      .value("g3", host::Compression::kG3)
      .value("g4", host::Compression::kG4)
      .value("jpeg", host::Compression::kJpeg);
  py::list names;
  for (const auto& [kind, name] : kTextNames) {
    names.append(name);
  }
  module.attr("text_names") = names;
  module.def("read", Read);
  module.def("write", Write);
  module.def("formats", [] {
    py::list built;
    for (const host::ImageFormat format : host::BuiltInFormats()) {
      built.append(host::FormatName(format));
    }
    return built;
  });
}

}  // namespace dibkit::python
