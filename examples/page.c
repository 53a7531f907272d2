/* SPDX-License-Identifier: Apache-2.0
 *
 * page IN OUT DPI: brings every page of a file to a resolution, in C over libdibkit-page.
 */
#include <dibkit/page.h>
#include <stdio.h>
#include <stdlib.h>

static dibkit_error error = {.size = sizeof error};

static dibkit_status convert_page(dibkit_document* document, uint32_t number, uint32_t dpi,
                                  dibkit_writer* writer) {
  const dibkit_resample_options options = {.size = sizeof options, .dpi = dpi};
  dibkit_page* page = NULL;
  dibkit_status status = dibkit_document_read(document, number, &page, &error);
  if (status == DIBKIT_OK) {
    status = dibkit_page_resample(page, &options, NULL, NULL, &error);
  }
  if (status == DIBKIT_OK) {
    status = dibkit_writer_add(writer, page, &error);
  }
  dibkit_page_free(page);
  return status;
}

static dibkit_status convert_pages(dibkit_document* document, uint32_t dpi, const char* out) {
  const dibkit_save_options options = {.size = sizeof options, .replace = 1};
  dibkit_writer* writer = NULL;
  uint32_t count = 0;
  dibkit_status status = dibkit_writer_open(out, &options, &writer, &error);
  if (status == DIBKIT_OK) {
    status = dibkit_document_page_count(document, &count, &error);
  }
  for (uint32_t number = 0; status == DIBKIT_OK && number < count; ++number) {
    status = convert_page(document, number, dpi, writer);
  }
  if (status == DIBKIT_OK) {
    status = dibkit_writer_commit(writer, &error);
  }
  dibkit_writer_close(writer);
  return status;
}

int main(int argc, char** argv) {
  dibkit_document* document = NULL;
  if (argc != 4) {
    fprintf(stderr, "usage: page IN OUT DPI\n");
    return 2;
  }
  dibkit_status status = dibkit_document_open(argv[1], NULL, &document, &error);
  if (status == DIBKIT_OK) {
    status = convert_pages(document, (uint32_t)strtoul(argv[3], NULL, 10), argv[2]);
  }
  dibkit_document_close(document);
  if (status != DIBKIT_OK) {
    fprintf(stderr, "%s\n", error.message);
    return 1;
  }
  return 0;
}
