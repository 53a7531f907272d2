// SPDX-License-Identifier: Apache-2.0
//
// pages_of_a_file IN OUT.tif: every page of a file in grey, into one TIFF file, one page in memory
// at a time; Ctrl-C would be a hook that returns true. A page that cannot be read is told and left
// out.
#include <dibkit/host/document.h>

#include <cstdio>

namespace host = dibkit::host;

// False when the page was left out.
static bool AddPage(host::Document& in, host::DocumentWriter& out, uint32_t number) {
  try {
    host::Page page = in.Read(number);
    page.ToGrey({.rule = host::GreyRule::kEasy});
    out.Add(page);
    return true;
  } catch (const host::PageError& error) {
    std::fprintf(stderr, "page %u: %s\n", static_cast<unsigned>(number + 1), error.what());
    return false;
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: pages_of_a_file IN OUT.tif\n");
    return 2;
  }
  try {
    host::Document in = host::Document::Open(argv[1]);
    host::DocumentWriter out(argv[2]);
    bool complete = true;
    for (uint32_t number = 0; number < in.PageCount(); ++number) {
      complete = AddPage(in, out, number) && complete;
    }
    out.Commit();
    return complete ? 0 : 1;
  } catch (const host::PageError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
