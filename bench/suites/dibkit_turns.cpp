// SPDX-License-Identifier: Apache-2.0
#include "suites/dibkit_turns.h"

#include <cstring>
#include <memory>

#include "Cnv_res_mem.h"
#include "DIBHelp.h"
#include "NiGoRo2.h"
#include "resolution/geometry.h"

namespace dibkit::bench {
namespace {

// The rows of a packed DIB, as long as the block is.
Bytes RowsOf(tagHANDLE* image) {
  if (image == nullptr) return {};
  const size_t offset = static_cast<size_t>(DIBBits(image->data) - image->data);
  return {image->data + offset, image->bytes - offset};
}

}  // namespace

Size SizeAt(const Dib& source, unsigned dpi) {
  const auto output =
      resolution::Scale(resolution::ReadSourceGeometry(source.Data()), static_cast<uint16_t>(dpi));
  return {output.width, output.height};
}

Contender ConvertTurn(Dib& source, unsigned dpi) {
  return {kDibkitName,
          Standing::kDibkit,
          {source.File()},
          [&source, dpi]() -> Bytes {
            tagHANDLE* result = nullptr;
            const int status = ConvertResolution(source.Handle(), &result, nullptr,
                                                 static_cast<unsigned short>(dpi), kThreshold);
            return status == CNV_OK ? RowsOf(result) : Bytes{};
          },
          {}};
}

Contender QuantizeTurn(Dib& source) {
  return {kDibkitName,
          Standing::kDibkit,
          {source.File()},
          [&source]() -> Bytes {
            CNiGoRo2 quantizer(source.Data(), 256, 5, 0);
            return RowsOf(quantizer.QuantizeBitmap(1, 0));
          },
          {}};
}

Contender ImageTurn(Dib& source, tagHANDLE* (*entry)(unsigned char*)) {
  return {kDibkitName,
          Standing::kDibkit,
          {source.File()},
          [&source, entry] { return RowsOf(entry(source.Data())); },
          {}};
}

Contender FloorTurn(size_t sourceBytes, size_t resultBytes) {
  struct Copies {
    Buffer source, sourceCopy, result;
  };
  const auto copies = std::make_shared<Copies>(
      Copies{Buffer(sourceBytes), Buffer(sourceBytes), Buffer(resultBytes)});
  return {kFloorName,
          Standing::kFloor,
          {copies->source.View(), copies->sourceCopy.View(), copies->result.View()},
          [copies, sourceBytes, resultBytes]() -> Bytes {
            unsigned char* made = ResultBlock(resultBytes);
            std::memcpy(copies->sourceCopy.Data(), copies->source.Data(), sourceBytes);
            std::memcpy(made, copies->result.Data(), resultBytes);
            return {made, resultBytes};
          },
          {}};
}

}  // namespace dibkit::bench
