// SPDX-License-Identifier: Apache-2.0
#include "recogniser.h"

#include <tesseract/resultiterator.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "handed_rows.h"

namespace ocr {
namespace {

namespace host = dibkit::host;

// Maps from the pixels of the page that was read to those of the original.
class Scale {
 public:
  Scale(uint32_t read, uint32_t original) : read_(read), original_(original) {}

  // The pixel that a box begins in, and the first that lies behind its end.
  uint32_t Begin(int position) const {
    return static_cast<uint32_t>(Clamped(position) * original_ / read_);
  }
  uint32_t End(int position) const {
    return static_cast<uint32_t>((Clamped(position) * original_ + read_ - 1) / read_);
  }

 private:
  uint64_t Clamped(int position) const {
    return std::min(static_cast<uint64_t>(std::max(position, 0)), read_);
  }

  uint64_t read_;
  uint64_t original_;
};

std::string TextOf(std::unique_ptr<char[]> text) { return text ? text.get() : ""; }

std::vector<Word> WordsOf(tesseract::TessBaseAPI& engine, const Scale& x, const Scale& y) {
  std::vector<Word> words;
  const std::unique_ptr<tesseract::ResultIterator> word(engine.GetIterator());
  constexpr auto kLevel = tesseract::RIL_WORD;
  if (!word || word->Empty(kLevel)) {
    return words;
  }
  do {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    if (word->BoundingBox(kLevel, &left, &top, &right, &bottom)) {
      words.push_back({TextOf(std::unique_ptr<char[]>(word->GetUTF8Text(kLevel))),
                       static_cast<double>(word->Confidence(kLevel)),
                       {x.Begin(left), y.Begin(top), x.End(right), y.End(bottom)}});
    }
  } while (word->Next(kLevel));
  return words;
}

}  // namespace

Recogniser::Recogniser(const std::string& language) {
  // It would print its own words about what fails.
  engine_.SetVariable("debug_file", "/dev/null");
  if (engine_.Init(nullptr, language.c_str(), tesseract::OEM_LSTM_ONLY) != 0) {
    throw std::runtime_error("no data for the language " + language);
  }
  engine_.SetPageSegMode(tesseract::PSM_AUTO);
}

Recogniser::~Recogniser() { engine_.End(); }

RecognisedPage Recogniser::Read(const PreparedPage& prepared) {
  const host::PageRows rows = prepared.page.Rows();
  {
    const HandedRows handed(rows);
    engine_.SetImage(handed.TopRow(), static_cast<int>(rows.Width()),
                     static_cast<int>(rows.Height()), handed.BytesPerPixel(),
                     handed.BytesPerLine());
  }
  engine_.SetSourceResolution(static_cast<int>(prepared.page.DpiX()));
  if (engine_.Recognize(nullptr) != 0) {
    throw std::runtime_error("Tesseract cannot read the page");
  }
  RecognisedPage result{TextOf(std::unique_ptr<char[]>(engine_.GetUTF8Text())),
                        engine_.MeanTextConf(),
                        WordsOf(engine_, {rows.Width(), prepared.original.width},
                                {rows.Height(), prepared.original.height})};
  engine_.Clear();
  return result;
}

}  // namespace ocr
