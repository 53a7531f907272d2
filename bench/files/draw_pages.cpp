// SPDX-License-Identifier: Apache-2.0
//
// dibkit_bench_pages DIRECTORY
//
// Writes the pages of the file benchmarks as bitmap files, A4 at 300 dpi: colour.bmp (24 bits, a
// picture and text), grey.bmp (8 bits) and bilevel.bmp (1 bit, text).
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "picture.h"

namespace {

using namespace dibkit::bench;

constexpr int kWidth = 2480;
constexpr int kHeight = 3508;
constexpr unsigned kDpi = 300;

bool Write(const std::string& path, Content content, Pixels pixels) {
  const Dib dib(DrawPage(content, kWidth, kHeight), pixels, kDpi);
  const Bytes bytes = dib.File();
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(file.flush());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: dibkit_bench_pages DIRECTORY\n";
    return 2;
  }
  const std::string directory = argv[1];
  const bool written = Write(directory + "/colour.bmp", Content::kPhoto, Pixels::kBgr24) &&
                       Write(directory + "/grey.bmp", Content::kPhoto, Pixels::kGray8) &&
                       Write(directory + "/bilevel.bmp", Content::kText, Pixels::kBilevel);
  if (!written) {
    std::perror(argv[1]);
  }
  return written ? 0 : 1;
}
