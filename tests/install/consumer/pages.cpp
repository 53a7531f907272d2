// SPDX-License-Identifier: Apache-2.0
//
// A program that knows of pages only: there and back through every format that is built in.
#include <dibkit/DIBHelp.h>
#include <dibkit/host/page.h>

#include <cstdio>
#include <sstream>

int main() {
  using dibkit::host::Page;
  Page page = Page::FromHandle(CreateDIB(2, 1, 24));
  page.SetDpi(100);
  page.Resample({.dpi = 200});
  for (const auto format : dibkit::host::BuiltInFormats()) {
    std::stringstream file;
    page.Save(file, {.format = format});
    page = Page::FromStream(file);
  }
  std::printf("%u x %u at %u dpi\n", page.Width(), page.Height(), page.DpiX());
  return 0;
}
