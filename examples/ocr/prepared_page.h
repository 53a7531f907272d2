// SPDX-License-Identifier: Apache-2.0
//
// A scanned page as a recogniser wants it.
#ifndef DIBKIT_EXAMPLES_OCR_PREPARED_PAGE_H
#define DIBKIT_EXAMPLES_OCR_PREPARED_PAGE_H

#include <dibkit/host/page.h>
#include <dibkit/host/resample.h>

namespace ocr {

struct PreparedPage {
  dibkit::host::Page page;           // of 1, 8 (grey) or 24 bits
  dibkit::host::PixelSize original;  // the upright page before anything was done to it
};

// Takes colours and depths that recognisers do not know out of the page, and brings it to `dpi`
// where the scan has fewer; scans of as many or more are left alone. `fromDpi` is the resolution of
// the scan, whatever the file says; 0: what it says. Throws PageError and ImageError.
PreparedPage Prepare(dibkit::host::Page page, unsigned dpi, unsigned fromDpi);

}  // namespace ocr

#endif  // DIBKIT_EXAMPLES_OCR_PREPARED_PAGE_H
