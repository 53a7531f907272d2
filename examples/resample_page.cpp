// SPDX-License-Identifier: Apache-2.0
//
// resample_page IN OUT DPI: the shortest program over the page class.
#include <dibkit/host/page.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: resample_page IN OUT DPI\n");
    return 2;
  }
  try {
    dibkit::host::Page page = dibkit::host::Page::Open(argv[1]);
    page.Resample({.dpi = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10))});
    page.Save(argv[2]);
  } catch (const dibkit::host::PageError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
