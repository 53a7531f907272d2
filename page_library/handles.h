// SPDX-License-Identifier: Apache-2.0
//
// What is behind the opaque pointers of dibkit/page.h.
#ifndef DIBKIT_PAGE_LIBRARY_HANDLES_H
#define DIBKIT_PAGE_LIBRARY_HANDLES_H

#include <memory>
#include <utility>

#include "dibkit/host/document.h"
#include "dibkit/host/page.h"
#include "dibkit/page.h"

struct dibkit_page {
  explicit dibkit_page(dibkit::host::Page&& made) : page(std::move(made)) {}

  // For whoever changes the page: rows that were handed out are void then.
  dibkit::host::Page& ToChange() {
    rows.reset();
    return page;
  }

  dibkit::host::Page page;
  // Keeps the rows in their place as long as somebody may look at them.
  mutable std::unique_ptr<const dibkit::host::PageRows> rows{};
};

struct dibkit_document {
  dibkit::host::Document document;
};

struct dibkit_writer {
  dibkit::host::DocumentWriter writer;
  bool hasPages = false;
  bool takesMore = true;  // neither complete nor failed
};

#endif  // DIBKIT_PAGE_LIBRARY_HANDLES_H
