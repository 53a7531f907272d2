// SPDX-License-Identifier: Apache-2.0
#include "ocr/recogniser.h"

#include <stdexcept>

namespace dibkit::bench::ocr {

OwnedPix ReadImage(const std::string& path) {
  OwnedPix pix(pixRead(path.c_str()));
  if (!pix) {
    throw std::runtime_error(path + ": cannot be read as an image");
  }
  return pix;
}

Recogniser::Recogniser() {
  if (engine_.Init(nullptr, "eng", tesseract::OEM_LSTM_ONLY) != 0) {
    throw std::runtime_error("Tesseract has no data for English");
  }
  // As the command of Tesseract looks at a page.
  engine_.SetPageSegMode(tesseract::PSM_AUTO);
  engine_.SetVariable("debug_file", "/dev/null");
}

Recogniser::~Recogniser() { engine_.End(); }

std::string Recogniser::Text(Pix* page) {
  engine_.ClearAdaptiveClassifier();
  engine_.SetImage(page);
  if (pixGetXRes(page) > 0) {
    engine_.SetSourceResolution(pixGetXRes(page));
  }
  const std::unique_ptr<char[]> text(engine_.GetUTF8Text());
  engine_.Clear();
  return text ? text.get() : "";
}

}  // namespace dibkit::bench::ocr
