// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <iostream>
#include <nlohmann/json.hpp>

namespace ocr {
namespace {

using Json = nlohmann::ordered_json;

// File names need not be UTF-8.
void PrintLine(const Json& object) {
  std::cout << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

Json Subject(const std::string& file, uint32_t number) {
  Json object = Json::object();
  if (!file.empty()) {
    object["file"] = file;
  }
  if (number != 0) {
    object["page"] = number;
  }
  return object;
}

Json JsonOf(const Word& word) {
  return {{"text", word.text},
          {"confidence", word.confidence},
          {"box",
           {{"left", word.box.left},
            {"top", word.box.top},
            {"right", word.box.right},
            {"bottom", word.box.bottom}}}};
}

}  // namespace

void PrintText(const std::string& file, uint32_t number, const RecognisedPage& page) {
  std::cout << page.text;
  std::cerr << file << ": page " << number << ": mean confidence " << page.confidence << " %\n";
}

void PrintJson(const std::string& file, uint32_t number, const dibkit::host::PixelSize& original,
               const RecognisedPage& page) {
  Json object = Subject(file, number);
  object["width"] = original.width;
  object["height"] = original.height;
  object["confidence"] = page.confidence;
  object["text"] = page.text;
  object["words"] = Json::array();
  for (const Word& word : page.words) {
    object["words"].push_back(JsonOf(word));
  }
  PrintLine(object);
}

void PrintFailure(const std::string& file, uint32_t number, const std::string& message, bool json) {
  std::cerr << "ocr: " << file << (file.empty() ? "" : ": ");
  if (number != 0) {
    std::cerr << "page " << number << ": ";
  }
  std::cerr << message << '\n';
  if (json) {
    Json object = Subject(file, number);
    object["error"] = message;
    PrintLine(object);
  }
}

}  // namespace ocr
