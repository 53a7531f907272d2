// SPDX-License-Identifier: Apache-2.0
//
// SHA-256 by libnettle.
#include <nettle/sha2.h>

#include <algorithm>
#include <vector>

#include "batch/report/sha256.h"
#include "dibkit/host/byte_source.h"

namespace dibkit::tool {
namespace {

using Bytes = std::span<const unsigned char>;

class Digest {
 public:
  Digest() { sha256_init(&state_); }
  void Add(Bytes bytes) { sha256_update(&state_, bytes.size(), bytes.data()); }

  std::string Text() {
    constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[SHA256_DIGEST_SIZE];
    sha256_digest(&state_, sizeof digest, digest);
    std::string text;
    for (const unsigned char byte : digest) {
      text += kDigits[byte >> 4];
      text += kDigits[byte & 15];
    }
    return text;
  }

 private:
  sha256_ctx state_{};
};

}  // namespace

bool HasSha256() { return true; }

std::string Sha256OfBytes(Bytes bytes) {
  Digest digest;
  digest.Add(bytes);
  return digest.Text();
}

std::string Sha256OfFile(const std::string& path, const host::CancelHook& cancelled) {
  constexpr uint64_t kPieceBytes = uint64_t{256} << 10;
  const auto source = host::OpenSource(path, cancelled);
  std::vector<unsigned char> piece(kPieceBytes);
  Digest digest;
  for (uint64_t at = 0;;) {
    const auto count = static_cast<size_t>(source->SizeUpTo(at + kPieceBytes) - at);
    const auto part = std::span(piece).first(count);
    source->Read(at, part);
    digest.Add(part);
    at += count;
    if (count < kPieceBytes) {
      return digest.Text();
    }
  }
}

}  // namespace dibkit::tool
