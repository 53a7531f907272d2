// SPDX-License-Identifier: Apache-2.0
#include "outside_tools.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace dibkit::test {

bool CanRun(const std::string& command) {
  const std::string name = command.substr(0, command.find(' '));
  const bool found = std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
  if (!found) {
    std::cout << "no " << name << " here, left out: " << command << "\n";
  }
  return found;
}

bool RunIn(const TemporaryDirectory& directory, const std::string& command) {
  const std::string whole =
      "cd '" + directory.Path("") + "' && { " + command + "; } >/dev/null 2>&1";
  return std::system(whole.c_str()) == 0;
}

Bytes Ppm(const std::vector<uint32_t>& colours, uint32_t width) {
  const std::string header =
      "P6\n" + std::to_string(width) + " " + std::to_string(colours.size() / width) + "\n255\n";
  Bytes file(header.begin(), header.end());
  for (const uint32_t colour : colours) {
    for (const int shift : {16, 8, 0}) {
      file.push_back(static_cast<unsigned char>(colour >> shift));
    }
  }
  return file;
}

std::vector<uint32_t> ColoursOfPnm(const Bytes& file) {
  std::istringstream stream(std::string(file.begin(), file.end()));
  std::string magic;
  size_t width = 0;
  size_t height = 0;
  unsigned most = 1;
  stream >> magic >> width >> height;
  if (magic != "P4") {
    stream >> most;
  }
  if (!stream || (magic != "P4" && most != 255)) {
    throw std::invalid_argument("not a file of bytes");
  }
  size_t at = static_cast<size_t>(stream.tellg()) + 1;
  std::vector<uint32_t> colours;
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      if (magic == "P6") {
        colours.push_back(uint32_t{file.at(at)} << 16 | uint32_t{file.at(at + 1)} << 8 |
                          file.at(at + 2));
        at += 3;
      } else if (magic == "P5") {
        colours.push_back(file.at(at++) * 0x010101U);
      } else {
        const unsigned byte = file.at(at + y * ((width + 7) / 8) + x / 8);
        colours.push_back((byte >> (7 - x % 8) & 1) != 0 ? 0 : 0xFFFFFF);
      }
    }
  }
  return colours;
}

}  // namespace dibkit::test
