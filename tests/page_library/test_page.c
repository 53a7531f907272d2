/* SPDX-License-Identifier: Apache-2.0
 *
 * The page library from C11: test_page DIRECTORY runs everything and leaves its files there.
 */
#define _POSIX_C_SOURCE 200809L
#include <dibkit/page.h>
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

static const char* directory;
static unsigned failures;

#define EXPECT(condition)                                             \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

/* The call gives this status, and an error that says the same. */
#define EXPECT_STATUS(wanted, call)                                    \
  do {                                                                 \
    const dibkit_status given = (call);                                \
    EXPECT(given == (wanted));                                         \
    EXPECT(error.status == given);                                     \
    EXPECT((error.message[0] == '\0') == (given == DIBKIT_OK));        \
    EXPECT(error.system_error == 0 || given == DIBKIT_FILE);           \
    if (given != (wanted)) {                                           \
      fprintf(stderr, "  status %d: %s\n", (int)given, error.message); \
    }                                                                  \
  } while (0)
#define EXPECT_OK(call) EXPECT_STATUS(DIBKIT_OK, call)

static dibkit_error error = {.size = sizeof error};

static const char* path_of(const char* name) {
  static char path[4096];
  snprintf(path, sizeof path, "%s/%s", directory, name);
  return path;
}

enum { WIDTH = 37, HEIGHT = 23 };

/* A page of a pattern; `kind` is grey, mask or RGB. */
static dibkit_page* page_of(dibkit_pixel_kind kind, uint32_t dpi) {
  static unsigned char bytes[WIDTH * HEIGHT * 3];
  for (size_t i = 0; i < sizeof bytes; ++i) {
    bytes[i] = (unsigned char)(kind == DIBKIT_PIXELS_MASK ? i * i % 7 > 3 : i * 29);
  }
  const dibkit_pixels pixels = {
      .size = sizeof pixels, .kind = kind, .width = WIDTH, .height = HEIGHT, .top = bytes};
  dibkit_page* page = NULL;
  EXPECT_OK(dibkit_page_from_pixels(&pixels, dpi, &page, &error));
  return page;
}

/* The bytes of a file in memory. */
typedef struct file_bytes {
  unsigned char* bytes;
  size_t count;
} file_bytes;

static int append(void* user, const void* bytes, size_t count) {
  file_bytes* file = user;
  file->bytes = realloc(file->bytes, file->count + count);
  memcpy(file->bytes + file->count, bytes, count);
  file->count += count;
  return 0;
}

static file_bytes file_of(const dibkit_page* page, dibkit_format format) {
  const dibkit_save_options options = {.size = sizeof options, .format = format};
  file_bytes file = {NULL, 0};
  EXPECT_OK(dibkit_page_write(page, append, &file, &options, &error));
  return file;
}

static void tell_what_is_built_in(void) {
  EXPECT(strlen(dibkit_version()) >= 5);
  EXPECT(dibkit_format_is_built_in(DIBKIT_BMP) == 1);
  EXPECT(dibkit_format_is_built_in(DIBKIT_FORMAT_USUAL) == 0);
  EXPECT(dibkit_format_is_built_in(5) == 0);
  EXPECT(strcmp(dibkit_format_name(DIBKIT_TIFF), "TIFF") == 0);
  EXPECT(dibkit_format_name(0) == NULL);
  EXPECT(strcmp(dibkit_codec_version(DIBKIT_BMP), "") == 0);
  for (dibkit_format format = DIBKIT_TIFF; format <= DIBKIT_JPEG; ++format) {
    EXPECT((dibkit_codec_version(format)[0] != '\0') == dibkit_format_is_built_in(format));
  }
}

static void pixels_go_in_and_come_out(void) {
  unsigned char bits[] = {0xA0, 0x7F, 0x40, 0xFF};
  const dibkit_pixels pixels = {
      .size = sizeof pixels, .kind = DIBKIT_PIXELS_BITS, .width = 11, .height = 2, .top = bits};
  dibkit_page* page = NULL;
  EXPECT_OK(dibkit_page_from_pixels(&pixels, 200, &page, &error));
  dibkit_page_info info = {.size = sizeof info};
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.width == 11 && info.height == 2 && info.bit_count == 1);
  EXPECT(info.dpi_x == 200 && info.dpi_y == 200 && info.plain_kind == DIBKIT_PIXELS_MASK);
  unsigned char mask[22];
  memset(mask, 7, sizeof mask);
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_MASK, mask, 0, &error));
  const unsigned char wanted[22] = {1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 1,
                                    0, 1, 0, 0, 0, 0, 0, 0, 1, 1, 1};
  EXPECT(memcmp(mask, wanted, sizeof mask) == 0);
  unsigned char out[4] = {9, 9, 9, 9};
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_BITS, out + 2, -2, &error));
  EXPECT(out[2] == 0xA0 && out[3] == 0x60 && out[0] == 0x40 && out[1] == 0xE0);
  unsigned char colours[66];
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_RGB, colours, 0, &error));
  EXPECT(colours[0] == 255 && colours[3] == 0 && colours[65] == 255);
  dibkit_page_free(page);
}

static void rows_are_the_pages_own(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_RGB, 100);
  unsigned char rgb[WIDTH * HEIGHT * 3];
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_RGB, rgb, 0, &error));
  dibkit_rows rows = {.size = sizeof rows};
  EXPECT_OK(dibkit_page_rows(page, &rows, &error));
  EXPECT(rows.width == WIDTH && rows.height == HEIGHT && rows.bit_count == 24);
  EXPECT(rows.palette == NULL && rows.palette_entries == 0);
  EXPECT(rows.stride == -(WIDTH * 3 + 3) / 4 * 4);
  for (int y = 0; y < HEIGHT; ++y) {
    for (int x = 0; x < WIDTH; ++x) {
      const unsigned char* own = rows.top + y * rows.stride + 3 * x;
      const unsigned char* copied = rgb + 3 * (y * WIDTH + x);
      EXPECT(own[0] == copied[2] && own[1] == copied[1] && own[2] == copied[0]);
    }
  }
  EXPECT_OK(dibkit_page_quantize(page, NULL, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_rows(page, &rows, &error));
  EXPECT(rows.bit_count == 8 && rows.palette != NULL && rows.palette_entries == 256);
  dibkit_page_free(page);
}

static void palettes_are_kept(void) {
  const unsigned char indices[] = {2, 1, 0};
  const unsigned char palette[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  const dibkit_pixels pixels = {.size = sizeof pixels,
                                .kind = DIBKIT_PIXELS_INDEXED,
                                .width = 3,
                                .height = 1,
                                .top = indices,
                                .palette = palette,
                                .palette_entries = 3};
  dibkit_page* page = NULL;
  EXPECT_OK(dibkit_page_from_pixels(&pixels, 0, &page, &error));
  unsigned char out[9];
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_RGB, out, 0, &error));
  EXPECT(memcmp(out, (const unsigned char[]){7, 8, 9, 4, 5, 6, 1, 2, 3}, sizeof out) == 0);
  EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_INDEXED, out, 0, &error));
  EXPECT(memcmp(out, indices, sizeof indices) == 0);
  dibkit_page_free(page);
}

static void every_format_goes_there_and_back(void) {
  for (dibkit_format format = DIBKIT_BMP; format <= DIBKIT_PNG; ++format) {
    if (!dibkit_format_is_built_in(format)) {
      continue;
    }
    dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 150);
    file_bytes file = file_of(page, format);
    dibkit_page* again = NULL;
    EXPECT_OK(dibkit_page_open_bytes(file.bytes, file.count, NULL, &again, &error));
    unsigned char before[WIDTH * HEIGHT];
    unsigned char after[WIDTH * HEIGHT];
    EXPECT_OK(dibkit_page_copy_pixels(page, DIBKIT_PIXELS_GREY, before, 0, &error));
    EXPECT_OK(dibkit_page_copy_pixels(again, DIBKIT_PIXELS_GREY, after, 0, &error));
    EXPECT(memcmp(before, after, sizeof before) == 0);
    dibkit_page_free(again);
    dibkit_page_free(page);
    free(file.bytes);
  }
}

static void conversions_give_what_they_say(void) {
  dibkit_page_info info = {.size = sizeof info};
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  const dibkit_resample_options twice = {.size = sizeof twice, .dpi = 200};
  EXPECT_OK(dibkit_page_resample(page, &twice, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.width == 2 * WIDTH && info.height == 2 * HEIGHT && info.dpi_x == 200);
  const dibkit_resample_options from = {.size = sizeof from, .dpi = 100, .from_dpi = 400};
  EXPECT_OK(dibkit_page_resample(page, &from, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.width <= WIDTH && info.dpi_x == 100);
  EXPECT_OK(dibkit_page_set_dpi(page, 75, &error));
  EXPECT_OK(dibkit_page_to_24(page, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.bit_count == 24 && info.dpi_x == 75 && info.plain_kind == DIBKIT_PIXELS_RGB);
  EXPECT_OK(dibkit_page_to_16(page, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_normalize(page, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.bit_count == 16);
  EXPECT_OK(dibkit_page_to_grey(page, NULL, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.bit_count == 8 && info.plain_kind == DIBKIT_PIXELS_GREY);
  EXPECT_OK(dibkit_page_prepare(page, NULL, NULL, NULL, &error));
  dibkit_page_free(page);
}

static void documents_hold_several_pages(void) {
  if (!dibkit_format_is_built_in(DIBKIT_TIFF)) {
    printf("documents_hold_several_pages: skipped, TIFF files are not built in\n");
    return;
  }
  dibkit_page* pages[] = {page_of(DIBKIT_PIXELS_GREY, 100), page_of(DIBKIT_PIXELS_MASK, 200)};
  const dibkit_save_options replace = {.size = sizeof replace, .replace = 1};
  dibkit_writer* writer = NULL;
  EXPECT_OK(dibkit_writer_open(path_of("two.tif"), &replace, &writer, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_writer_commit(writer, &error));
  EXPECT_OK(dibkit_writer_add(writer, pages[0], &error));
  EXPECT_OK(dibkit_writer_add(writer, pages[1], &error));
  EXPECT_OK(dibkit_writer_commit(writer, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_writer_add(writer, pages[1], &error));
  dibkit_writer_close(writer);
  dibkit_document* document = NULL;
  uint32_t count = 0;
  EXPECT_OK(dibkit_document_open(path_of("two.tif"), NULL, &document, &error));
  EXPECT(dibkit_document_format(document) == DIBKIT_TIFF);
  EXPECT_OK(dibkit_document_page_count(document, &count, &error));
  EXPECT(count == 2);
  for (uint32_t number = count; number-- > 0;) {
    dibkit_page* page = NULL;
    dibkit_page_info info = {.size = sizeof info};
    EXPECT_OK(dibkit_document_read(document, number, &page, &error));
    EXPECT_OK(dibkit_page_get_info(page, &info, &error));
    EXPECT(info.dpi_x == 100 * (number + 1) && info.bit_count == (number == 0 ? 8 : 1));
    dibkit_page_free(page);
    dibkit_page_free(pages[number]);
  }
  dibkit_document_close(document);
}

static void a_file_that_is_not_committed_leaves_nothing(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  dibkit_writer* writer = NULL;
  EXPECT_OK(dibkit_writer_open(path_of("never.bmp"), NULL, &writer, &error));
  EXPECT_OK(dibkit_writer_add(writer, page, &error));
  dibkit_writer_close(writer);
  EXPECT(access(path_of("never.bmp"), F_OK) != 0);
  dibkit_page_free(page);
}

static int stop(void* user) {
  ++*(unsigned*)user;
  return 1;
}

static int stop_half_way(void* user, unsigned percent) {
  *(unsigned*)user = percent;
  return percent >= 50;
}

static int stop_writing(void* user, const void* bytes, size_t count) {
  (void)bytes;
  *(size_t*)user += count;
  return 1;
}

static void callbacks_stop_the_work(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 10);
  const dibkit_resample_options large = {.size = sizeof large, .dpi = 200};
  unsigned percent = 0;
  EXPECT_STATUS(DIBKIT_CANCELLED,
                dibkit_page_resample(page, &large, stop_half_way, &percent, &error));
  EXPECT(percent >= 50 && percent < 100);
  dibkit_page_info info = {.size = sizeof info};
  EXPECT_OK(dibkit_page_get_info(page, &info, &error));
  EXPECT(info.width == WIDTH && info.dpi_x == 10);
  size_t bytes = 0;
  dibkit_save_options save = {.size = sizeof save, .format = DIBKIT_BMP};
  EXPECT_STATUS(DIBKIT_CANCELLED, dibkit_page_write(page, stop_writing, &bytes, &save, &error));
  EXPECT(bytes > WIDTH * HEIGHT);
  unsigned asked = 0;
  save.cancelled = stop;
  save.user = &asked;
  EXPECT_STATUS(DIBKIT_CANCELLED, dibkit_page_save(page, path_of("never.bmp"), &save, &error));
  EXPECT_STATUS(DIBKIT_CANCELLED, dibkit_page_write(page, stop_writing, &bytes, &save, &error));
  EXPECT(asked == 2 && access(path_of("never.bmp"), F_OK) != 0);
  dibkit_page_free(page);
}

static void remember(void* user, const char* text) { snprintf(user, 200, "%s", text); }

static void warnings_reach_the_caller(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  file_bytes file = file_of(page, DIBKIT_BMP);
  char text[200] = "";
  dibkit_open_options options = {.size = sizeof options, .warning = remember, .user = text};
  file.bytes[10] = file.bytes[11] = 0; /* where the pixels begin */
  dibkit_page* again = NULL;
  EXPECT_OK(dibkit_page_open_bytes(file.bytes, file.count, &options, &again, &error));
  EXPECT(text[0] != '\0');
  dibkit_page_free(again);
  dibkit_page_free(page);
  free(file.bytes);
}

/* ---- Every kind of failure ---- */

static void files_that_fail(void) {
  dibkit_page* page = (dibkit_page*)&page;
  EXPECT_STATUS(DIBKIT_FILE, dibkit_page_open(path_of("absent.bmp"), NULL, &page, &error));
  EXPECT(error.system_error == ENOENT && page == NULL);
  EXPECT_STATUS(DIBKIT_NOT_AN_IMAGE,
                dibkit_page_open_bytes("hello, page", 11, NULL, &page, &error));
  EXPECT_STATUS(DIBKIT_NOT_AN_IMAGE, dibkit_page_open_bytes(NULL, 0, NULL, &page, &error));
  dibkit_page* sound = page_of(DIBKIT_PIXELS_GREY, 100);
  file_bytes file = file_of(sound, DIBKIT_BMP);
  EXPECT_STATUS(DIBKIT_DAMAGED, dibkit_page_open_bytes(file.bytes, 100, NULL, &page, &error));
  dibkit_open_options options = {.size = sizeof options, .page = 1};
  EXPECT_STATUS(DIBKIT_NO_SUCH_PAGE,
                dibkit_page_open_bytes(file.bytes, file.count, &options, &page, &error));
  options.page = 0;
  options.max_pixels = WIDTH * HEIGHT - 1;
  EXPECT_STATUS(DIBKIT_TOO_MANY_PIXELS,
                dibkit_page_open_bytes(file.bytes, file.count, &options, &page, &error));
  EXPECT(page == NULL);
  const dibkit_save_options keep = {.size = sizeof keep};
  const dibkit_save_options replace = {.size = sizeof replace, .replace = 1};
  EXPECT_OK(dibkit_page_save(sound, path_of("there.bmp"), &replace, &error));
  EXPECT_STATUS(DIBKIT_FILE, dibkit_page_save(sound, path_of("there.bmp"), &keep, &error));
  EXPECT(error.system_error == EEXIST);
  dibkit_page_free(sound);
  free(file.bytes);
}

/* A TIFF file of one pixel of 64 bits, which nobody reads. */
static void kinds_that_are_not_read(void) {
  if (!dibkit_format_is_built_in(DIBKIT_TIFF)) {
    printf("kinds_that_are_not_read: skipped, TIFF files are not built in\n");
    return;
  }
  static const unsigned char file[] = {
      'I', 'I', 42, 0, 8, 0, 0, 0, 8,  0,                   /* */
      0,   1,   3,  0, 1, 0, 0, 0, 1,  0, 0, 0,             /* width */
      1,   1,   3,  0, 1, 0, 0, 0, 1,  0, 0, 0,             /* height */
      2,   1,   3,  0, 1, 0, 0, 0, 64, 0, 0, 0,             /* bits */
      3,   1,   3,  0, 1, 0, 0, 0, 1,  0, 0, 0,             /* compression */
      6,   1,   3,  0, 1, 0, 0, 0, 1,  0, 0, 0,             /* black is zero */
      17,  1,   4,  0, 1, 0, 0, 0, 8,  0, 0, 0,             /* strip */
      21,  1,   3,  0, 1, 0, 0, 0, 1,  0, 0, 0,             /* samples */
      23,  1,   4,  0, 1, 0, 0, 0, 8,  0, 0, 0, 0, 0, 0, 0, /* bytes */
  };
  dibkit_page* page = NULL;
  EXPECT_STATUS(DIBKIT_UNSUPPORTED, dibkit_page_open_bytes(file, sizeof file, NULL, &page, &error));
}

static void conversions_that_fail(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_RGB, 0);
  EXPECT_STATUS(DIBKIT_NO_RESOLUTION, dibkit_page_resample(page, NULL, NULL, NULL, &error));
  const dibkit_resample_options huge = {.size = sizeof huge, .dpi = 65535, .from_dpi = 1};
  EXPECT_STATUS(DIBKIT_TOO_LARGE, dibkit_page_resample(page, &huge, NULL, NULL, &error));
  const dibkit_resample_options above = {.size = sizeof above, .dpi = 65536};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(page, &above, NULL, NULL, &error));
  const dibkit_resample_options dark = {
      .size = sizeof dark, .from_dpi = 100, .use_threshold = 1, .threshold = 257};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(page, &dark, NULL, NULL, &error));
  const dibkit_resample_options limited = {
      .size = sizeof limited, .from_dpi = 100, .dpi = 200, .max_pixels = 4 * WIDTH * HEIGHT - 1};
  EXPECT_STATUS(DIBKIT_TOO_MANY_PIXELS, dibkit_page_resample(page, &limited, NULL, NULL, &error));
  const dibkit_quantize_options many = {.size = sizeof many, .colors = 257};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_quantize(page, &many, NULL, NULL, &error));
  const dibkit_grey_options rule = {.size = sizeof rule, .rule = 3};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_to_grey(page, &rule, NULL, NULL, &error));
  const dibkit_grey_options levels = {.size = sizeof levels, .levels = 17};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_to_grey(page, &levels, NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_set_dpi(page, 0, &error));
  unsigned char out[WIDTH * HEIGHT];
  EXPECT_STATUS(DIBKIT_NOT_HELD, dibkit_page_copy_pixels(page, DIBKIT_PIXELS_GREY, out, 0, &error));
  EXPECT_STATUS(DIBKIT_NOT_HELD, dibkit_page_copy_pixels(page, DIBKIT_PIXELS_MASK, out, 0, &error));
  EXPECT_STATUS(DIBKIT_NOT_HELD,
                dibkit_page_copy_pixels(page, DIBKIT_PIXELS_INDEXED, out, 0, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_copy_pixels(page, 6, out, 0, &error));
  dibkit_page_free(page);
}

static void saving_that_fails(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_RGB, 100);
  file_bytes file = {NULL, 0};
  dibkit_save_options options = {.size = sizeof options};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_write(page, append, &file, &options, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_save(page, path_of("nameless"), NULL, &error));
  options.format = DIBKIT_BMP;
  options.compression = DIBKIT_COMPRESSION_G4;
  EXPECT_STATUS(DIBKIT_NOT_HELD, dibkit_page_write(page, append, &file, &options, &error));
  options.compression = 8;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_write(page, append, &file, &options, &error));
  options.compression = DIBKIT_COMPRESSION_USUAL;
  options.quality = 101;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_write(page, append, &file, &options, &error));
  options.quality = 0;
  options.reserved = 1;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_write(page, append, &file, &options, &error));
  options.reserved = 0;
  options.format = 5;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_write(page, append, &file, &options, &error));
  EXPECT(file.count == 0);
  dibkit_page_free(page);
}

static void null_is_told(void) {
  dibkit_page* page = NULL;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_open(NULL, NULL, &page, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_open("x", NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_open_bytes(NULL, 1, NULL, &page, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(NULL, 0, &page, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(NULL, NULL, NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_save(NULL, "x.bmp", NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_rows(NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_document_open(NULL, NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_document_page_count(NULL, NULL, &error));
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_writer_commit(NULL, &error));
  EXPECT(dibkit_page_open(NULL, NULL, NULL, NULL) == DIBKIT_BAD_ARGUMENT);
  EXPECT(dibkit_document_format(NULL) == DIBKIT_FORMAT_USUAL);
  dibkit_page_free(NULL);
  dibkit_document_close(NULL);
  dibkit_writer_close(NULL);
}

static void pixels_that_are_none(void) {
  dibkit_page* page = NULL;
  unsigned char byte = 0;
  dibkit_pixels pixels = {.size = sizeof pixels, .kind = DIBKIT_PIXELS_GREY, .top = &byte};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(&pixels, 0, &page, &error));
  pixels.width = pixels.height = 1;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(&pixels, 65536, &page, &error));
  pixels.kind = DIBKIT_PIXELS_INDEXED;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(&pixels, 0, &page, &error));
  pixels.kind = 0;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(&pixels, 0, &page, &error));
  pixels.kind = DIBKIT_PIXELS_GREY;
  pixels.top = NULL;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_from_pixels(&pixels, 0, &page, &error));
  pixels.top = &byte;
  pixels.width = pixels.height = 0x7FFFFFFF;
  EXPECT_STATUS(DIBKIT_TOO_MANY_PIXELS, dibkit_page_from_pixels(&pixels, 0, &page, &error));
}

static void raw_pages_are_no_plain_rows(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  file_bytes file = file_of(page, DIBKIT_BMP);
  file.bytes[22] = (unsigned char)-HEIGHT; /* top row first */
  file.bytes[23] = file.bytes[24] = file.bytes[25] = 0xFF;
  const dibkit_open_options options = {.size = sizeof options, .raw = 1};
  dibkit_page* raw = NULL;
  EXPECT_OK(dibkit_page_open_bytes(file.bytes, file.count, &options, &raw, &error));
  dibkit_rows rows = {.size = sizeof rows};
  EXPECT_STATUS(DIBKIT_NOT_PLAIN, dibkit_page_rows(raw, &rows, &error));
  dibkit_page_info info = {.size = sizeof info, .plain_kind = 77};
  EXPECT_OK(dibkit_page_get_info(raw, &info, &error));
  EXPECT(info.width == WIDTH && info.height == HEIGHT && info.plain_kind == 0);
  EXPECT_OK(dibkit_page_normalize(raw, NULL, NULL, &error));
  EXPECT_OK(dibkit_page_rows(raw, &rows, &error));
  dibkit_page_free(raw);
  dibkit_page_free(page);
  free(file.bytes);
}

/* Rows that lie over each other stand for 225 million pixels. */
static void memory_that_is_not_there(void) {
#ifdef __SANITIZE_ADDRESS__
  printf("memory_that_is_not_there: skipped, the sanitizer needs all the address space\n");
#else
  enum { COLUMNS = 5000, ROWS = 45000, ADDRESS_SPACE = 256 << 20 };
  static unsigned char rows[3 * COLUMNS + ROWS];
  const dibkit_pixels pixels = {.size = sizeof pixels,
                                .kind = DIBKIT_PIXELS_RGB,
                                .width = COLUMNS,
                                .height = ROWS,
                                .top = rows,
                                .stride = 1};
  struct rlimit before;
  getrlimit(RLIMIT_AS, &before);
  const struct rlimit less = {ADDRESS_SPACE, before.rlim_max};
  dibkit_page* page = NULL;
  setrlimit(RLIMIT_AS, &less);
  const dibkit_status status = dibkit_page_from_pixels(&pixels, 0, &page, &error);
  setrlimit(RLIMIT_AS, &before);
  EXPECT_STATUS(DIBKIT_NO_MEMORY, status);
#endif
}

/* ---- Structs of other versions ---- */

static void earlier_structs_are_taken(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  const struct {
    size_t size;
    uint32_t dpi;
    uint32_t rubbish;
  } earlier = {offsetof(dibkit_resample_options, from_dpi), 200, 77};
  EXPECT_OK(dibkit_page_resample(page, (const dibkit_resample_options*)(const void*)&earlier, NULL,
                                 NULL, &error));
  struct {
    size_t size;
    uint32_t width;
    uint32_t height;
  } info = {offsetof(dibkit_page_info, height), 0, 77};
  EXPECT_OK(dibkit_page_get_info(page, (dibkit_page_info*)(void*)&info, &error));
  EXPECT(info.width == 2 * WIDTH && info.height == 77);
  dibkit_page_free(page);
}

static void later_structs_are_taken_if_they_ask_nothing_new(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  struct {
    dibkit_resample_options known;
    uint32_t more[2];
  } later = {{.size = sizeof later, .dpi = 200}, {0, 0}};
  EXPECT_OK(dibkit_page_resample(page, &later.known, NULL, NULL, &error));
  later.more[1] = 1;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(page, &later.known, NULL, NULL, &error));
  struct {
    dibkit_page_info known;
    uint32_t more;
  } info = {{.size = sizeof info}, 77};
  EXPECT_OK(dibkit_page_get_info(page, &info.known, &error));
  EXPECT(info.known.width == 2 * WIDTH && info.more == 77);
  dibkit_page_free(page);
}

static void structs_without_a_size_are_refused(void) {
  dibkit_page* page = page_of(DIBKIT_PIXELS_GREY, 100);
  dibkit_resample_options options = {.dpi = 200};
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(page, &options, NULL, NULL, &error));
  options.size = SIZE_MAX;
  EXPECT_STATUS(DIBKIT_BAD_ARGUMENT, dibkit_page_resample(page, &options, NULL, NULL, &error));
  dibkit_page_free(page);
}

static void short_errors_take_what_fits(void) {
  dibkit_error told = {.size = offsetof(dibkit_error, message) + 10};
  memset(told.message, 'x', sizeof told.message);
  dibkit_page* page = NULL;
  EXPECT(dibkit_page_open_bytes("hello, page", 11, NULL, &page, &told) == DIBKIT_NOT_AN_IMAGE);
  EXPECT(told.status == DIBKIT_NOT_AN_IMAGE);
  EXPECT(memcmp(told.message, "not a BMP", 9) == 0 && told.message[9] == '\0');
  EXPECT(told.message[10] == 'x');
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: test_page DIRECTORY\n");
    return 2;
  }
  directory = argv[1];
  tell_what_is_built_in();
  pixels_go_in_and_come_out();
  rows_are_the_pages_own();
  palettes_are_kept();
  every_format_goes_there_and_back();
  conversions_give_what_they_say();
  documents_hold_several_pages();
  a_file_that_is_not_committed_leaves_nothing();
  callbacks_stop_the_work();
  warnings_reach_the_caller();
  files_that_fail();
  kinds_that_are_not_read();
  conversions_that_fail();
  saving_that_fails();
  null_is_told();
  pixels_that_are_none();
  raw_pages_are_no_plain_rows();
  memory_that_is_not_there();
  earlier_structs_are_taken();
  later_structs_are_taken_if_they_ask_nothing_new();
  structs_without_a_size_are_refused();
  short_errors_take_what_fits();
  printf("%u failures\n", failures);
  return failures == 0 ? 0 : 1;
}
