/* SPDX-License-Identifier: Apache-2.0
 *
 * A program in C: pixels of its own at another resolution.
 */
#include <dibkit/page.h>
#include <stdio.h>

int main(void) {
  const unsigned char grey[] = {0, 255};
  const dibkit_pixels pixels = {
      .size = sizeof pixels, .kind = DIBKIT_PIXELS_GREY, .width = 2, .height = 1, .top = grey};
  const dibkit_resample_options twice = {.size = sizeof twice, .dpi = 200};
  dibkit_page_info info = {.size = sizeof info};
  dibkit_error error = {.size = sizeof error};
  dibkit_page* page = NULL;
  if (dibkit_page_from_pixels(&pixels, 100, &page, &error) != DIBKIT_OK ||
      dibkit_page_resample(page, &twice, NULL, NULL, &error) != DIBKIT_OK ||
      dibkit_page_get_info(page, &info, &error) != DIBKIT_OK) {
    fprintf(stderr, "%s\n", error.message);
    return 1;
  }
  dibkit_page_free(page);
  printf("%u x %u at %u dpi\n", info.width, info.height, info.dpi_x);
  return 0;
}
