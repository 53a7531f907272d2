// SPDX-License-Identifier: Apache-2.0
//
// A page in memory, for programs that do not want to know about handles:
//
//   dibkit::host::Page page = dibkit::host::Page::Open("scan.tif");
//   page.Resample({.dpi = 300});
//   page.Save("scan-300.png");
//
// Pages of several files may be worked on by several threads, one page by one thread at a time. All
// members throw PageError and nothing else, bar what a caller's own hook throws; a page on which a
// member failed is as it was before. Files may be hostile: nothing is read or allocated for a page
// that is larger than OpenOptions allow. Beside its pixels a page keeps its resolution, its ICC
// profile and the texts that describe it, and they are saved where the format has a place for them.
//
// A page has the right pixels, whatever its file is like. A page that was opened raw shows instead
// what the library's exported functions make of the file as it stands, every quirk kept, for those
// who check a host against them.
#ifndef DIBKIT_HOST_PAGE_H
#define DIBKIT_HOST_PAGE_H

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>

#include "dibkit/host/conversion.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/global_memory.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/image_reader.h"
#include "dibkit/host/image_writer.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/page_error.h"
#include "dibkit/host/page_metadata.h"
#include "dibkit/host/preparation.h"
#include "dibkit/host/resample.h"

namespace dibkit::host {

struct OpenOptions {
  uint32_t page = 0;  // of a file with several, from 0
  uint64_t maxPixels = kUsualMaxPixels;
  CancelHook cancelled = nullptr;
  WarningHook warning = nullptr;  // a file that is read all the same
  // BMP files: the page holds the DIB as the file stores it, behind a 40-byte header and a full
  // colour table: run-length stream, channel masks, top row first. All conversions then call the
  // library's functions on that, and other files too go through them unaided. Until the page is
  // plain rows, Rows and Save throw kNotPlain. What the library has no form for (2 bits, and the
  // kinds that only dibkit reads) is in the nearest that it has.
  bool raw = false;
};

struct SaveOptions {
  // By the suffix of the path unless told; a stream wants to be told.
  std::optional<ImageFormat> format{};
  // Unless told, the page's own where it came from a TIFF file, goes into one and its depth allows
  // it, otherwise UsualCompression.
  std::optional<Compression> compression{};
  int jpegQuality = 90;  // 1 to 100
  bool replace = false;  // a file that is there is otherwise refused (kFile, EEXIST)
  bool sync = true;      // the disk has the file before it gets its name; false is faster
  CancelHook cancelled = nullptr;
};

struct ResampleOptions {
  unsigned dpi = 300;    // of the result, 1 to 65535
  unsigned fromDpi = 0;  // of the page, whatever it says; 0: what it says
  // 1-bit pages: darkness, 0 to 256, from which on a pixel is black. By default UsualThreshold.
  std::optional<int> threshold{};
  bool grey = false;  // 8-bit grey, whatever the page is; colours by their luminance
  // What ConvertResolution makes of the page as it stands, every quirk kept; threshold 128 unless
  // told. For those who check a host.
  bool raw = false;
  uint64_t maxPixels = kUsualMaxPixels;  // of the result
};

struct PrepareOptions {
  unsigned dpi = 300;                    // that the recogniser reads best, 1 to 65535
  unsigned fromDpi = 0;                  // of the page, whatever it says; 0: what it says
  uint64_t maxPixels = kUsualMaxPixels;  // of the result
};

struct QuantizeOptions {
  unsigned colors = 256;  // at most so many, 1 to 256
  bool raw = false;       // the library's reduction, however few colours there are
};

struct GreyOptions {
  GreyRule rule = GreyRule::kLuminance;
  GreyLevels levels = GreyLevels::k256;
};

// A read-only look at the rows of a page, valid as long as it lives and the page is not changed.
class PageRows {
 public:
  explicit PageRows(tagHANDLE* dib) : lock_(dib), view_(lock_.Bytes()) {}

  uint32_t Width() const { return view_.Width(); }
  uint32_t Height() const { return view_.Height(); }
  unsigned BitCount() const { return view_.BitCount(); }
  // Row `y` from the top, 0 to Height() - 1, padded to a multiple of 4 bytes. 1 bit: the leftmost
  // pixel in the highest bit; 4 bits: in the high nibble; 16 bits: 5-5-5, blue lowest,
  // little-endian; 24 bits: blue, green, red; 32 bits: and a byte without meaning.
  std::span<const unsigned char> Row(uint32_t y) const { return view_.Row(Height() - 1 - y); }
  // 4 bytes an entry: blue, green, red, 0; at 1, 4 and 8 bits, otherwise empty.
  std::span<const unsigned char> Table() const { return view_.Table(); }
  bool HasGreyTable() const { return view_.HasGreyTable(); }

 private:
  LockedBlock lock_;
  DibView view_;
};

class Page {
 public:
  // A file of any format, told by its content; "-" is standard input.
  static Page Open(const std::string& path, const OpenOptions& options = {});
  // The bytes of a file; they are not used after the call.
  static Page FromBytes(std::span<const unsigned char> file, const OpenOptions& options = {});
  // Reads the stream from where it stands, no further than the image can need.
  static Page FromStream(std::istream& stream, const OpenOptions& options = {});
  // Takes over a handle that holds a packed DIB: any that a bitmap file could hold behind its file
  // header, checked as such a file is. A plain one is kept as it is, without a copy. When this
  // throws, the handle is still the caller's. `raw`: as OpenOptions::raw.
  static Page FromHandle(tagHANDLE* dib, uint64_t maxPixels = kUsualMaxPixels, bool raw = false);
  // `raw`: the image was read so, and is converted so.
  explicit Page(PageImage image, ImageFormat format = ImageFormat::kBmp,
                Compression compression = Compression::kNone, bool raw = false);

  Page(Page&&) noexcept = default;
  Page& operator=(Page&&) noexcept = default;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;
  ~Page() = default;

  uint32_t Width() const;
  uint32_t Height() const;
  unsigned BitCount() const;  // 1, 4, 8, 16, 24, 32
  // Whole dots per inch of both axes as the conversion takes them; 0 where there are none.
  unsigned DpiX() const;
  unsigned DpiY() const;
  const Resolution& ExactResolution() const { return metadata_.resolution; }
  const PageMetadata& Metadata() const { return metadata_; }
  void SetDpi(unsigned dpi);  // 1 to 65535; changes no pixel
  // False only for a page that was opened raw and has not been made plain since.
  bool IsPlain() const;
  PageRows Rows() const;

  // To another resolution, as Resampled of resample.h tells; the physical size stays, and so does
  // the depth, but 16 and 32 bits become 24, 4 bits become 8.
  void Resample(const ResampleOptions& options, const ProgressHook& progress = nullptr);
  // As a recogniser of text reads it best, by PreparationFor; a page that is better left alone is.
  void Prepare(const PrepareOptions& options = {}, const ProgressHook& progress = nullptr);
  // To 8 bits with a palette of its own. A page with no more colours than asked for keeps them all,
  // sorted by red, green and blue; the colours of others are reduced by an octree, whose cells are
  // 8 levels wide.
  void Quantize(const QuantizeOptions& options = {}, const ProgressHook& progress = nullptr);
  // To 8 bits with a grey table.
  void ToGrey(const GreyOptions& options = {}, const ProgressHook& progress = nullptr);
  void To24(const ProgressHook& progress = nullptr);
  // To 5-5-5.
  void To16(const ProgressHook& progress = nullptr);
  // Nothing to do but for raw pages: a page is plain rows from the start. Here so that programs can
  // say what they want.
  void Normalize(const ProgressHook& progress = nullptr);

  // A page of 16 bits goes at 24 into a format that has no place for it, which is any but BMP.
  void Save(const std::string& path, const SaveOptions& options = {}) const;
  void Save(std::ostream& stream, const SaveOptions& options) const;

  // A packed DIB, unlocked, still the page's; plain when IsPlain() says so.
  tagHANDLE* Handle() const { return dib_.get(); }
  // The same, handed over; the page is empty then.
  OwnedBlock TakeHandle() { return std::move(dib_); }

  // What a file of the page is packed in with these options.
  PageOptions PackingFor(ImageFormat format, const SaveOptions& options) const;

 private:
  friend class DocumentWriter;

  void AddTo(ImageWriter& writer, ImageFormat format, const SaveOptions& options) const;
  void RequirePlain() const;
  void ResampleFrom(const OwnedBlock& other, const ResampleOptions& options,
                    const ProgressHook& progress);
  template <typename Convert>
  void Replace(const ProgressHook& progress, Convert convert);

  OwnedBlock dib_;
  PageMetadata metadata_;
  ImageFormat format_;       // that it came from
  Compression compression_;  // likewise
  bool raw_;                 // its conversions are the library's own
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_H
