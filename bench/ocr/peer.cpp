// SPDX-License-Identifier: Apache-2.0
//
// dibkit_ocr_peer METHOD DPI DIRECTORY IMAGE...
//
// Brings pages to another resolution as people do with other libraries, and writes them as TIFF
// files of the same names into DIRECTORY. Methods:
//
//   leptonica           pixScale on the page as it is
//   leptonica-grey      on 8 bits; a 1-bit page that shrinks by pixScaleToGray
//   opencv-linear       cv::resize with INTER_LINEAR on 8 bits
//   opencv-area         with INTER_AREA
//   opencv-linear-1bit  the same, then a threshold of 128
//   opencv-area-1bit
#include <leptonica/allheaders.h>

#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>

#include "ocr/recogniser.h"

namespace {

using dibkit::bench::ocr::OwnedPix;
using dibkit::bench::ocr::ReadImage;

constexpr int kThreshold = 128;

OwnedPix InGrey(Pix* page) { return OwnedPix(pixConvertTo8(page, 0)); }

OwnedPix LeptonicaScaled(Pix* page, float scale) { return OwnedPix(pixScale(page, scale, scale)); }

OwnedPix LeptonicaGrey(Pix* page, float scale) {
  if (pixGetDepth(page) == 1 && scale < 1) {
    return OwnedPix(pixScaleToGray(page, scale));
  }
  return LeptonicaScaled(InGrey(page).get(), scale);
}

// The pixels of an 8-bit page, shared with it. Leptonica keeps them as big-endian words.
cv::Mat Shared(Pix* page) {
  return {pixGetHeight(page), pixGetWidth(page), CV_8UC1, pixGetData(page),
          size_t{4} * static_cast<size_t>(pixGetWpl(page))};
}

OwnedPix OpenCvScaled(Pix* page, float scale, int interpolation) {
  const OwnedPix grey = InGrey(page);
  pixEndianByteSwap(grey.get());
  const int width = static_cast<int>(std::lround(scale * static_cast<float>(pixGetWidth(page))));
  const int height = static_cast<int>(std::lround(scale * static_cast<float>(pixGetHeight(page))));
  OwnedPix result(pixCreate(width, height, 8));
  if (!result) {
    throw std::runtime_error("no memory");
  }
  cv::Mat target = Shared(result.get());
  cv::resize(Shared(grey.get()), target, target.size(), 0, 0, interpolation);
  pixEndianByteSwap(result.get());
  return result;
}

OwnedPix InTwoLevels(OwnedPix grey) {
  return OwnedPix(pixThresholdToBinary(grey.get(), kThreshold));
}

using Method = std::function<OwnedPix(Pix*, float)>;

const std::map<std::string, Method> kMethods{
    {"leptonica", LeptonicaScaled},
    {"leptonica-grey", LeptonicaGrey},
    {"opencv-linear", [](Pix* p, float s) { return OpenCvScaled(p, s, cv::INTER_LINEAR); }},
    {"opencv-area", [](Pix* p, float s) { return OpenCvScaled(p, s, cv::INTER_AREA); }},
    {"opencv-linear-1bit",
     [](Pix* p, float s) { return InTwoLevels(OpenCvScaled(p, s, cv::INTER_LINEAR)); }},
    {"opencv-area-1bit",
     [](Pix* p, float s) { return InTwoLevels(OpenCvScaled(p, s, cv::INTER_AREA)); }},
};

void Convert(const Method& method, int dpi, const std::string& in, const std::string& out) {
  const OwnedPix page = ReadImage(in);
  if (pixGetXRes(page.get()) <= 0) {
    throw std::runtime_error(in + ": has no resolution");
  }
  const float scale = static_cast<float>(dpi) / static_cast<float>(pixGetXRes(page.get()));
  const OwnedPix result = method(page.get(), scale);
  if (!result) {
    throw std::runtime_error(in + ": cannot be scaled");
  }
  pixSetResolution(result.get(), dpi, dpi);
  if (pixWrite(out.c_str(), result.get(), IFF_TIFF_LZW) != 0) {
    throw std::runtime_error(out + ": cannot be written");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5 || !kMethods.contains(argv[1])) {
    std::cerr << "usage: dibkit_ocr_peer METHOD DPI DIRECTORY IMAGE...\n";
    return 2;
  }
  cv::setNumThreads(1);
  try {
    for (int i = 4; i < argc; ++i) {
      const auto name = std::filesystem::path(argv[i]).filename().replace_extension(".tif");
      Convert(kMethods.at(argv[1]), std::atoi(argv[2]), argv[i], argv[3] / name);
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
