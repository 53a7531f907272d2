/* SPDX-License-Identifier: Apache-2.0
 *
 * Pages for programs in C, and in every language that can call C: one library, libdibkit-page,
 * with everything inside, global memory and file formats too.
 *
 *   dibkit_page* page = NULL;
 *   dibkit_error error = {.size = sizeof error};
 *   dibkit_resample_options at300 = {.size = sizeof at300, .dpi = 300};
 *   if (dibkit_page_open("scan.tif", NULL, &page, &error) != DIBKIT_OK ||
 *       dibkit_page_resample(page, &at300, NULL, NULL, &error) != DIBKIT_OK ||
 *       dibkit_page_save(page, "scan-300.png", NULL, &error) != DIBKIT_OK) {
 *     fprintf(stderr, "scan.tif: %s\n", error.message);
 *   }
 *   dibkit_page_free(page);
 *
 * Failure. Every function that can fail returns a dibkit_status, DIBKIT_OK (0) or what went wrong,
 * and fills the dibkit_error that the caller may give: its own, for this call, with nothing to free
 * and nothing that another thread could change. A null pointer asks for the status alone. What a
 * failing call would have made is then null, and a page on which it failed is as it was before.
 *
 * Structs. Those with a field `size` belong to the caller, who sets it to sizeof and everything
 * else to zero: zero is the usual value of every field, and a null pointer means zeros throughout.
 * Later versions add fields at the end. A shorter struct of an earlier version is taken as if the
 * rest were zero; a longer one of a later version is taken as long as what is behind the end that
 * this library knows is zero, and is refused (DIBKIT_BAD_ARGUMENT) otherwise.
 *
 * Ownership. What the library makes (pages, documents, writers) is given back to it with the
 * function that frees it; a null pointer does nothing there. What the caller hands in is the
 * caller's and is not used after the call, unless a function says so. Texts that are returned
 * belong to the library and stay for its life.
 *
 * Threads. All functions may run on any thread, each object on one thread at a time. Callbacks run
 * on the thread of the call that they were given to, from inside it; they must not touch the
 * object of that call, and must not leave by an exception or a longjmp.
 *
 * Files may be hostile: nothing is read or allocated for a page that is larger than the options
 * allow. Paths are bytes that end in a zero, as the system takes them.
 */
#ifndef DIBKIT_PAGE_H
#define DIBKIT_PAGE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DIBKIT_PAGE_API __attribute__((visibility("default")))

/* ---- Failure ---- */

typedef int32_t dibkit_status;
enum {
  DIBKIT_OK = 0,
  DIBKIT_FILE = 1,            /* a system call failed; dibkit_error.system_error is its errno */
  DIBKIT_NOT_AN_IMAGE = 2,    /* of no format that is built in */
  DIBKIT_DAMAGED = 3,         /* the file is not sound */
  DIBKIT_NO_SUCH_PAGE = 4,    /* a page number beyond the last */
  DIBKIT_UNSUPPORTED = 5,     /* sound, but of a kind that is not read */
  DIBKIT_TOO_MANY_PIXELS = 6, /* more than the options allow */
  DIBKIT_TOO_LARGE = 7,       /* more than a block or the conversion can take */
  DIBKIT_NO_RESOLUTION = 8,   /* none, or none that can be believed */
  DIBKIT_NOT_HELD = 9,        /* the format, or the kind of pixels, has no place for the image */
  DIBKIT_BAD_ARGUMENT = 10,   /* an argument or an option is out of its range, or null */
  DIBKIT_NO_IMAGE = 11,       /* the page holds no sound image */
  DIBKIT_NOT_PLAIN = 12,      /* a page that was opened raw wants dibkit_page_normalize first */
  DIBKIT_NO_MEMORY = 13,
  DIBKIT_CANCELLED = 14, /* a callback said so */
  DIBKIT_UNEXPECTED = 15 /* a fault of the library */
};

typedef struct dibkit_error {
  size_t size;
  dibkit_status status;
  int32_t system_error; /* the errno of DIBKIT_FILE, otherwise 0 */
  char message[496];    /* one sentence in UTF-8 that names no file; "" when all is well */
} dibkit_error;

/* ---- What is built in ---- */

typedef uint32_t dibkit_format;
enum {
  DIBKIT_FORMAT_USUAL = 0, /* as the name of the file says */
  DIBKIT_BMP = 1,
  DIBKIT_TIFF = 2,
  DIBKIT_PNG = 3,
  DIBKIT_JPEG = 4
};

typedef uint32_t dibkit_compression;
enum {
  /* The one that the page's own TIFF file had, from TIFF to TIFF where its depth allows it;
   * otherwise G4 at 1 bit and Deflate at other depths in TIFF, Deflate in PNG, JPEG in JPEG, none
   * in BMP. */
  DIBKIT_COMPRESSION_USUAL = 0,
  DIBKIT_COMPRESSION_NONE = 1,
  DIBKIT_COMPRESSION_LZW = 2,
  DIBKIT_COMPRESSION_DEFLATE = 3,
  DIBKIT_COMPRESSION_PACKBITS = 4,
  DIBKIT_COMPRESSION_G3 = 5,
  DIBKIT_COMPRESSION_G4 = 6,
  DIBKIT_COMPRESSION_JPEG = 7
};

/* "1.0.0". */
DIBKIT_PAGE_API const char* dibkit_version(void);
/* "BMP", "TIFF", "PNG", "JPEG"; null for a number that is no format. */
DIBKIT_PAGE_API const char* dibkit_format_name(dibkit_format format);
/* 1 for a format that this library reads and writes, otherwise 0. BMP is always there. */
DIBKIT_PAGE_API int dibkit_format_is_built_in(dibkit_format format);
/* The codec of a format with its version, as "libtiff 4.5.0"; "" where it has none. */
DIBKIT_PAGE_API const char* dibkit_codec_version(dibkit_format format);

/* ---- Callbacks: a result other than 0 stops the work with DIBKIT_CANCELLED ---- */

/* Told how much of the work is done, 0 to 100. */
typedef int (*dibkit_progress_fn)(void* user, unsigned percent);
/* Asked between pieces of the work. */
typedef int (*dibkit_cancelled_fn)(void* user);
/* Takes the next `count` bytes of a file. */
typedef int (*dibkit_write_fn)(void* user, const void* bytes, size_t count);
/* A remark about a file that is read all the same: one line that names no file. */
typedef void (*dibkit_warning_fn)(void* user, const char* text);

/* ---- Pages ---- */

/* An image in memory with its resolution, colour profile and descriptive texts. */
typedef struct dibkit_page dibkit_page;

typedef struct dibkit_open_options {
  size_t size;
  uint64_t max_pixels; /* a page with more is refused; 0: 250 million */
  uint32_t page;       /* of a file with several, from 0; documents do not look at it */
  uint32_t raw;        /* not 0: the image as the file stores it, for those who check another
                          program against the exported functions; see dibkit_page_normalize */
  dibkit_cancelled_fn cancelled;
  dibkit_warning_fn warning;
  void* user; /* for both */
} dibkit_open_options;

/* A file of any format that is built in, told by its content; "-" is standard input. */
DIBKIT_PAGE_API dibkit_status dibkit_page_open(const char* path, const dibkit_open_options* options,
                                               dibkit_page** page, dibkit_error* error);

/* The same of the `count` bytes of a file. */
DIBKIT_PAGE_API dibkit_status dibkit_page_open_bytes(const void* bytes, size_t count,
                                                     const dibkit_open_options* options,
                                                     dibkit_page** page, dibkit_error* error);

typedef uint32_t dibkit_pixel_kind;
enum {
  DIBKIT_PIXELS_BITS = 1,    /* 8 a byte, the leftmost in the highest bit; 0 black, 1 white */
  DIBKIT_PIXELS_MASK = 2,    /* a byte each; 0 black, anything else white (1 when copied out) */
  DIBKIT_PIXELS_GREY = 3,    /* a byte each, from 0, black, to 255, white */
  DIBKIT_PIXELS_INDEXED = 4, /* a byte each, an entry of a palette */
  DIBKIT_PIXELS_RGB = 5      /* 3 bytes each: red, green, blue */
};

/* Pixels in the caller's memory. */
typedef struct dibkit_pixels {
  size_t size;
  dibkit_pixel_kind kind;
  uint32_t width;
  uint32_t height;
  uint32_t palette_entries; /* DIBKIT_PIXELS_INDEXED: 1 to 256 */
  const void* top;          /* the top row */
  ptrdiff_t stride;         /* bytes from a row to the one below it; may be negative; 0: no bytes
                               between the rows */
  const void* palette;      /* DIBKIT_PIXELS_INDEXED: 3 bytes an entry, red, green, blue */
} dibkit_pixels;

/* A page of 1 bit (bits, masks), 8 bits (grey, indexed) or 24 bits (RGB) with a copy of the pixels.
 * `dpi` is 1 to 65535, or 0 for none. The usual limit of 250 million pixels holds. */
DIBKIT_PAGE_API dibkit_status dibkit_page_from_pixels(const dibkit_pixels* pixels, uint32_t dpi,
                                                      dibkit_page** page, dibkit_error* error);

DIBKIT_PAGE_API void dibkit_page_free(dibkit_page* page);

typedef struct dibkit_page_info {
  size_t size;
  uint32_t width;
  uint32_t height;
  uint32_t bit_count; /* 1, 4, 8, 16, 24, 32 */
  uint32_t dpi_x;     /* whole dots per inch as the conversion takes them; 0 where there are none */
  uint32_t dpi_y;
  /* The kind that says all that the page does in the fewest bytes: masks at 1 bit in black and
   * white, grey where the palette is grey, otherwise RGB; 0 for a raw page that is not plain. */
  dibkit_pixel_kind plain_kind;
} dibkit_page_info;

/* Fills as much of `info` as its size has room for. */
DIBKIT_PAGE_API dibkit_status dibkit_page_get_info(const dibkit_page* page, dibkit_page_info* info,
                                                   dibkit_error* error);

/* Says another resolution, 1 to 65535; changes no pixel. */
DIBKIT_PAGE_API dibkit_status dibkit_page_set_dpi(dibkit_page* page, uint32_t dpi,
                                                  dibkit_error* error);

typedef struct dibkit_rows {
  size_t size;
  const unsigned char* top;     /* the top row */
  ptrdiff_t stride;             /* bytes from a row to the one below it; negative */
  const unsigned char* palette; /* 4 bytes an entry: blue, green, red, 0; null above 8 bits */
  uint32_t palette_entries;     /* 2, 16, 256; 0 above 8 bits */
  uint32_t width;
  uint32_t height;
  uint32_t bit_count;
} dibkit_rows;

/* The page's own rows, without a copy. They stay until the page is freed or any function is called
 * on it that takes a dibkit_page* without const, and must not be written to. 1 bit: the leftmost
 * pixel in the highest bit; 4 bits: in the high half of a byte; 16 bits: 5-5-5, blue lowest,
 * little-endian; 24 bits: blue, green, red; 32 bits: and a byte without meaning. */
DIBKIT_PAGE_API dibkit_status dibkit_page_rows(const dibkit_page* page, dibkit_rows* rows,
                                               dibkit_error* error);

/* Copies the pixels to the caller's rows of width x kind bytes (bits: (width + 7) / 8), the top one
 * at `top`, each `stride` bytes behind the one above (0: no bytes between them). DIBKIT_NOT_HELD
 * where the kind cannot say what the page does: bits and masks take pages of 1 bit in black and
 * white, grey those with a grey palette, indexed 1, 4 and 8 bits, RGB all. */
DIBKIT_PAGE_API dibkit_status dibkit_page_copy_pixels(const dibkit_page* page,
                                                      dibkit_pixel_kind kind, void* top,
                                                      ptrdiff_t stride, dibkit_error* error);

/* ---- Conversions. `progress` may be null, and then `user` is not looked at ---- */

typedef struct dibkit_resample_options {
  size_t size;
  uint32_t dpi;           /* of the result, 1 to 65535; 0: 300 */
  uint32_t from_dpi;      /* of the page, whatever it says; 0: what it says */
  uint32_t use_threshold; /* 0: the threshold follows from the two resolutions */
  uint32_t threshold;     /* pages of 1 bit: darkness, 0 to 256, from which on a pixel is black */
  uint32_t grey;          /* not 0: the result is grey */
  uint32_t raw;           /* not 0: the exported function's own bytes */
  uint64_t max_pixels;    /* of the result; 0: 250 million */
} dibkit_resample_options;

/* To another resolution; the physical size stays, and so does the depth, but 16 and 32 bits become
 * 24, 4 bits become 8. */
DIBKIT_PAGE_API dibkit_status dibkit_page_resample(dibkit_page* page,
                                                   const dibkit_resample_options* options,
                                                   dibkit_progress_fn progress, void* user,
                                                   dibkit_error* error);

typedef struct dibkit_prepare_options {
  size_t size;
  uint32_t dpi;        /* of the result, 1 to 65535; 0: 300 */
  uint32_t from_dpi;   /* of the page, whatever it says; 0: what it says */
  uint64_t max_pixels; /* of the result; 0: 250 million */
} dibkit_prepare_options;

/* Makes the page what recognisers read best. */
DIBKIT_PAGE_API dibkit_status dibkit_page_prepare(dibkit_page* page,
                                                  const dibkit_prepare_options* options,
                                                  dibkit_progress_fn progress, void* user,
                                                  dibkit_error* error);

typedef struct dibkit_quantize_options {
  size_t size;
  uint32_t colors; /* at most so many, 1 to 256; 0: 256 */
  uint32_t raw;    /* not 0: the library's own reduction as it is */
} dibkit_quantize_options;

/* To 8 bits with a palette of its own. */
DIBKIT_PAGE_API dibkit_status dibkit_page_quantize(dibkit_page* page,
                                                   const dibkit_quantize_options* options,
                                                   dibkit_progress_fn progress, void* user,
                                                   dibkit_error* error);

typedef uint32_t dibkit_grey_rule;
enum {
  DIBKIT_GREY_LUMINANCE = 0, /* weighs the channels as the eye does */
  DIBKIT_GREY_EASY = 1,      /* the mean of the channels */
  DIBKIT_GREY_MINMAX = 2     /* the mean of the largest and the smallest */
};

typedef struct dibkit_grey_options {
  size_t size;
  dibkit_grey_rule rule;
  uint32_t levels; /* 16 or 256; 0: 256 */
} dibkit_grey_options;

/* To 8 bits with a grey palette. */
DIBKIT_PAGE_API dibkit_status dibkit_page_to_grey(dibkit_page* page,
                                                  const dibkit_grey_options* options,
                                                  dibkit_progress_fn progress, void* user,
                                                  dibkit_error* error);

/* To 24 bits, and to 16 bits of 5-5-5. */
DIBKIT_PAGE_API dibkit_status dibkit_page_to_24(dibkit_page* page, dibkit_progress_fn progress,
                                                void* user, dibkit_error* error);
DIBKIT_PAGE_API dibkit_status dibkit_page_to_16(dibkit_page* page, dibkit_progress_fn progress,
                                                void* user, dibkit_error* error);

/* To plain rows, which a page that was not opened raw is from the start. */
DIBKIT_PAGE_API dibkit_status dibkit_page_normalize(dibkit_page* page, dibkit_progress_fn progress,
                                                    void* user, dibkit_error* error);

/* ---- Files of a page ---- */

typedef struct dibkit_save_options {
  size_t size;
  dibkit_format format; /* usual: by the suffix of the path; memory wants to be told */
  dibkit_compression compression;
  uint32_t quality;  /* of JPEG pixels, 1 to 100; 0: 90 */
  uint32_t replace;  /* 0: a file that is there is refused (DIBKIT_FILE, EEXIST) */
  uint32_t no_sync;  /* not 0: does not wait until the disk has the file */
  uint32_t reserved; /* 0 */
  dibkit_cancelled_fn cancelled;
  void* user;
} dibkit_save_options;

/* The file appears whole or not at all; "-" is standard output. */
DIBKIT_PAGE_API dibkit_status dibkit_page_save(const dibkit_page* page, const char* path,
                                               const dibkit_save_options* options,
                                               dibkit_error* error);

/* The same file handed to `write`, in order, in one piece or several, with its own `user`; the
 * bytes are the library's and gone after the call. options.replace and no_sync say nothing here. */
DIBKIT_PAGE_API dibkit_status dibkit_page_write(const dibkit_page* page, dibkit_write_fn write,
                                                void* user, const dibkit_save_options* options,
                                                dibkit_error* error);

/* ---- Files of several pages, one in memory at a time ---- */

/* A file that is open for reading. */
typedef struct dibkit_document dibkit_document;

/* `options` hold for all pages that are read, and so must what their `user` points to. */
DIBKIT_PAGE_API dibkit_status dibkit_document_open(const char* path,
                                                   const dibkit_open_options* options,
                                                   dibkit_document** document, dibkit_error* error);
/* `bytes` must stay as they are until the document is closed. */
DIBKIT_PAGE_API dibkit_status dibkit_document_open_bytes(const void* bytes, size_t count,
                                                         const dibkit_open_options* options,
                                                         dibkit_document** document,
                                                         dibkit_error* error);
DIBKIT_PAGE_API dibkit_status dibkit_document_page_count(dibkit_document* document, uint32_t* count,
                                                         dibkit_error* error);
/* The format that the content has; DIBKIT_FORMAT_USUAL for null. */
DIBKIT_PAGE_API dibkit_format dibkit_document_format(const dibkit_document* document);
/* Pages count from 0. The page is a thing of its own and may outlive the document. */
DIBKIT_PAGE_API dibkit_status dibkit_document_read(dibkit_document* document, uint32_t number,
                                                   dibkit_page** page, dibkit_error* error);
DIBKIT_PAGE_API void dibkit_document_close(dibkit_document* document);

/* A file that is being written. */
typedef struct dibkit_writer dibkit_writer;

/* TIFF files take several pages, others one (DIBKIT_NOT_HELD for the next). */
DIBKIT_PAGE_API dibkit_status dibkit_writer_open(const char* path,
                                                 const dibkit_save_options* options,
                                                 dibkit_writer** writer, dibkit_error* error);
DIBKIT_PAGE_API dibkit_status dibkit_writer_add(dibkit_writer* writer, const dibkit_page* page,
                                                dibkit_error* error);
/* Completes the file and lets it appear; nothing can be added then. */
DIBKIT_PAGE_API dibkit_status dibkit_writer_commit(dibkit_writer* writer, dibkit_error* error);
/* A file that was not committed leaves nothing behind. */
DIBKIT_PAGE_API void dibkit_writer_close(dibkit_writer* writer);

#ifdef __cplusplus
}
#endif

#endif /* DIBKIT_PAGE_H */
