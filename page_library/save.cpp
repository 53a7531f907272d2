// SPDX-License-Identifier: Apache-2.0
//
// Files of pages: one at a time, into memory, and several in one.
#include <span>
#include <utility>

#include "call.h"
#include "dibkit/host/byte_sink.h"
#include "handles.h"
#include "options.h"
#include "page/page_error.h"

namespace dibkit::page_library {
namespace {

// Whole before any of it is handed on, since a TIFF file is changed where it begins.
class EncodedFile : public host::MemorySink {
 public:
  explicit EncodedFile(host::CancelHook cancelled) : cancelled_(std::move(cancelled)) {}
  void Write(std::span<const unsigned char> bytes) override {
    host::StopIf(cancelled_);
    host::MemorySink::Write(bytes);
  }

 private:
  host::CancelHook cancelled_;
};

void EncodeTo(host::ByteSink& sink, const host::Page& page, const host::SaveOptions& options) {
  RequireArgument(options.format.has_value(), "a file in memory does not tell its format");
  host::WithPageErrors([&] {
    const host::LockedBlock lock(page.Handle());
    const auto writer = host::MakeWriter(*options.format, sink);
    writer->Add(host::DibView(lock.Bytes()), page.Metadata(),
                page.PackingFor(*options.format, options));
    writer->Finish();
  });
}

// A file in which something failed is of no further use.
template <typename Work>
void UseOnce(dibkit_writer& writer, Work work) {
  RequireArgument(writer.takesMore, "the file is complete, or something failed in it");
  writer.takesMore = false;
  work();
}

}  // namespace
}  // namespace dibkit::page_library

using namespace dibkit::page_library;
namespace host = dibkit::host;

extern "C" {

dibkit_status dibkit_page_save(const dibkit_page* page, const char* path,
                               const dibkit_save_options* options, dibkit_error* error) {
  return Call(error, [&] { Required(page).page.Save(&Required(path), OptionsOf(options)); });
}

dibkit_status dibkit_page_write(const dibkit_page* page, dibkit_write_fn write, void* user,
                                const dibkit_save_options* options, dibkit_error* error) {
  return Call(error, [&] {
    RequireArgument(write != nullptr, "a pointer is null that must not be");
    const host::SaveOptions save = OptionsOf(options);
    EncodedFile file(save.cancelled);
    EncodeTo(file, Required(page).page, save);
    if (write(user, file.Bytes().data(), file.Bytes().size()) != 0) {
      throw host::PageError(host::PageFault::kCancelled, "cancelled");
    }
  });
}

dibkit_status dibkit_writer_open(const char* path, const dibkit_save_options* options,
                                 dibkit_writer** writer, dibkit_error* error) {
  return CallToMake(writer, error,
                    [&] { return host::DocumentWriter(&Required(path), OptionsOf(options)); });
}

dibkit_status dibkit_writer_add(dibkit_writer* writer, const dibkit_page* page,
                                dibkit_error* error) {
  return Call(error, [&] {
    UseOnce(Required(writer), [&] { writer->writer.Add(Required(page).page); });
    writer->hasPages = writer->takesMore = true;
  });
}

dibkit_status dibkit_writer_commit(dibkit_writer* writer, dibkit_error* error) {
  return Call(error, [&] {
    RequireArgument(Required(writer).hasPages, "the file has no page yet");
    UseOnce(*writer, [&] { writer->writer.Commit(); });
  });
}

void dibkit_writer_close(dibkit_writer* writer) { delete writer; }

}  // extern "C"
