// SPDX-License-Identifier: Apache-2.0
#include "file/one_way_source.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace dibkit::host {
namespace {

// The largest image that fits a block, with room for headers and table.
constexpr uint64_t kMostKeptBytes = (uint64_t{1} << 32) + (uint64_t{1} << 20);

}  // namespace

uint64_t OneWaySource::SizeUpTo(uint64_t limit) {
  while (end_ < limit && FetchTowards(limit, std::numeric_limits<size_t>::max())) {
  }
  return std::min(end_, limit);
}

void OneWaySource::Read(uint64_t offset, std::span<unsigned char> into) {
  if (offset < forgotten_) {
    throw FileError("cannot go back", ESPIPE);
  }
  if (SizeUpTo(offset + into.size()) < offset + into.size()) {
    throw FileError("cannot read", EIO);
  }
  CopyKept(offset, into);
}

size_t OneWaySource::ReadSome(uint64_t offset, std::span<unsigned char> into) {
  if (into.empty() || SizeUpTo(offset) < offset ||
      (end_ == offset && !FetchTowards(offset + into.size(), 1))) {
    return 0;
  }
  const size_t count =
      end_ - offset < into.size() ? static_cast<size_t>(end_ - offset) : into.size();
  Read(offset, into.first(count));
  return count;
}

void OneWaySource::ForgetBefore(uint64_t offset) {
  forgotten_ = std::max(forgotten_, offset);
  DropForgotten();
}

bool OneWaySource::FetchTowards(uint64_t limit, size_t wanted) {
  const auto free = RoomAtEnd();
  const auto room =
      free.first(limit - end_ < free.size() ? static_cast<size_t>(limit - end_) : free.size());
  const size_t got = Fetch(room, std::min(wanted, room.size()));
  end_ += got;
  DropForgotten();
  return got != 0;
}

std::span<unsigned char> OneWaySource::RoomAtEnd() {
  if (end_ - begin_ == blocks_.size() * uint64_t{kBlockBytes}) {
    if (end_ - begin_ >= kMostKeptBytes) {
      throw FileError("cannot read so much from a pipe", EFBIG);
    }
    blocks_.push_back(std::make_unique_for_overwrite<Block>());
  }
  return std::span(*blocks_.back()).subspan(static_cast<size_t>(end_ % kBlockBytes));
}

void OneWaySource::DropForgotten() {
  while (!blocks_.empty() && begin_ + kBlockBytes <= std::min(forgotten_, end_)) {
    blocks_.pop_front();
    begin_ += kBlockBytes;
  }
}

void OneWaySource::CopyKept(uint64_t offset, std::span<unsigned char> into) const {
  while (!into.empty()) {
    const Block& block = *blocks_[static_cast<size_t>((offset - begin_) / kBlockBytes)];
    const auto kept = std::span(block).subspan(static_cast<size_t>(offset % kBlockBytes));
    const size_t count = std::min(kept.size(), into.size());
    std::copy_n(kept.begin(), count, into.begin());
    into = into.subspan(count);
    offset += count;
  }
}

}  // namespace dibkit::host
