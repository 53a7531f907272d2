// SPDX-License-Identifier: Apache-2.0
//
// A file that appears whole or not at all.
#ifndef DIBKIT_HOST_OUTPUT_FILE_H
#define DIBKIT_HOST_OUTPUT_FILE_H

#include <cstdint>
#include <span>
#include <string>

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/errors.h"

namespace dibkit::host {

enum class IfExists { kReplace, kRefuse };

// Whether a file that has its name is a complete one after the machine has failed, too.
enum class Durability { kSynced, kAsTheSystemLikes };

// Writes to a temporary name beside the target and renames it in Commit; without Commit the
// temporary file goes away and the target stays as it was. A symbolic link keeps its place, the
// file that it names is replaced, and an existing file hands its permissions on. "-" (standard
// output) and targets that are not regular files, such as devices and pipes, are written directly
// and are not seekable.
class OutputFile : public ByteSink {
 public:
  // Throws FileError: EEXIST for a regular file that is there and not to be replaced, EACCES for
  // one that nobody may write.
  explicit OutputFile(const std::string& path, CancelHook cancelled = nullptr,
                      IfExists ifExists = IfExists::kReplace,
                      Durability durability = Durability::kSynced);
  ~OutputFile() override;

  void Write(std::span<const unsigned char> bytes) override;
  bool IsSeekable() const override { return !temporary_.empty(); }
  void WriteAt(uint64_t offset, std::span<const unsigned char> bytes) override;
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into) override;

  // The temporary name, empty where there is none.
  const std::string& TemporaryPath() const { return temporary_; }

  // Has the disk keep what was written, where that was asked for, and closes the file, which does
  // not appear by that; nothing but Commit must follow. Throws FileError or Cancelled.
  void Close();

  // Close, unless that was called, and puts the file in place. Throws FileError (EEXIST when a file
  // that is not to be replaced has appeared meanwhile) or Cancelled.
  void Commit();

 private:
  void CreateBeside(const std::string& target, unsigned mode);
  void WriteStraight(std::span<const unsigned char> bytes);
  void Sync() const;
  void MoveIntoPlace();

  int descriptor_ = -1;
  uint64_t end_ = 0;  // bytes appended
  std::string target_;
  std::string temporary_;  // empty when written directly
  CancelHook cancelled_;
  IfExists ifExists_;
  Durability durability_;
};

// Takes away the temporary files of all OutputFile objects of the process that are open now, for a
// program that ends at once, and keeps any further one from being put in place. May be called on
// any thread.
void AbandonOutputFiles();

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_OUTPUT_FILE_H
