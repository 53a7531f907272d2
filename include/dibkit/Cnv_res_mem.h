// SPDX-License-Identifier: Apache-2.0
//
// Resolution conversion: a packed DIB is resampled by bilinear interpolation to another number of
// dots per inch, so that it keeps its physical size.
//
// Sizes are 16-bit: width and height are the low 16 bits of biWidth and biHeight (a negative height
// has no meaning of its own here). The rows are taken to follow a full table of 2^bits entries at
// 1, 4 and 8 bits and no table at other depths; biClrUsed and biCompression are not read. A
// resolution in dots per inch is ((pixels per metre + 1) x 254) / 10000, pixels per metre are (dpi
// x 10000) / 254, both truncating, so 11811 pixels per metre read as 300 dpi and are written for
// it.
//
// All arithmetic between those integers has a 64-bit significand and rounds to nearest even; only
// the scale factors, a column's stored fraction and the vertical fraction handed to a line maker
// are rounded to double. Every conversion back to an integer truncates. Hosts rely on the outcome
// to the bit: 2550 columns at 300 dpi become 1699 at 200.
//
// Headers must be sound: a block must be as large as its header says. Only the low 32 bits of an
// `unsigned long` count. Nothing here keeps state: calls on distinct images may run on any threads.
#ifndef DIBKIT_CNV_RES_MEM_H
#define DIBKIT_CNV_RES_MEM_H

#include <vector>

#include "Export.h"
#include "GlobalMemory.h"
#include "WinTypes.h"

// What the conversion and the size queries answer.
enum ConversionStatus {
  CNV_OK = 0,
  CNV_CANCELLED = 1,           // the progress callback returned 0
  CNV_NO_MEMORY = 2,           // an allocation failed or the result cannot be that large
  CNV_SOURCE_UNREADABLE = 5,   // header, colour table or rows of the source could not be read
  CNV_HEADER_NOT_WRITTEN = 6,  // header or colour table of the result could not be written
  CNV_NO_SOURCE = 10,          // GetBufferSize only: null handle, or one that does not lock
  CNV_BAD_SOURCE = 11,         // the mode names no source, or its horizontal resolution is 0 dpi
};

// Bits of the mode word. The file bit wins over the memory bit of the same side.
enum TransformMode : unsigned short {
  TRANSFORM_SRC_FILE = 0x01,    // the source is the path of a bitmap file
  TRANSFORM_SRC_MEMORY = 0x02,  // the source points to a tagHANDLE* with a packed DIB
  TRANSFORM_DST_FILE = 0x10,    // the destination is the path of a file to create
  TRANSFORM_DST_MEMORY = 0x20,  // the destination points to a tagHANDLE* with a large enough block
};

// What a source is to the engine. A source of no kind keeps its depth and gets no pixels.
enum ImageKind : unsigned short {
  KIND_NONE = 0,          // 4 bits in colour, and every depth that is not listed below
  KIND_BILEVEL = 1,       // 1 bit
  KIND_GRAY_4BIT = 2,     // 4 bits with a grey table: gets a table but no line maker
  KIND_GRAY_8BIT = 3,     // 8 bits with a grey table
  KIND_PALETTE_8BIT = 5,  // 8 bits in colour
  KIND_TRUE_COLOR = 6,    // 24 bits
};

// A byte source or sink that keeps its position, over a locked block or a file descriptor. The
// driver fills the fields directly.
class DIBKIT_API CBufTransfer {
 public:
  // Releases the sink: unlocks a locked block, closes an open descriptor.
  ~CBufTransfer();

  // Writes `length` bytes of `buffer`. Into memory: at `offset` counted from the block's start, or
  // counted from the position when `append` is 1; the block must be large enough. Into a file: only
  // when the handle field is not null, at `offset` when `append` is 0 and at the file position when
  // it is 1. The position is moved behind what was written. Returns 1, or 0 when nothing or not all
  // was written.
  int SetData(unsigned long offset, unsigned long length, void* buffer, int append);

  tagHANDLE* m_hHandle = nullptr;    // the block; null for a file
  int m_iFile = -1;                  // the file descriptor; -1 when there is none
  unsigned char* m_pData = nullptr;  // the locked block; null when not locked
  unsigned short m_wKind = 0;        // 0 none, 1 memory, 2 file; 3 is known to the release only
  unsigned long m_dwPosition = 0;    // byte offset of the next transfer
};

// Where one output column lies between two source columns.
struct CPosition {
  double fraction;             // distance from the left column, as stored in 53 bits
  unsigned short leftColumn;   // left source column
  unsigned short rightColumn;  // left + 1, or equal to left at the right edge
  unsigned short leftByte;     // leftColumn / 8: the byte of its bit in a 1-bit row
  unsigned short rightByte;    // rightColumn / 8
};

// The engine: one object for one conversion, on the driver's stack or a host's. Every member may be
// called on an object whose fields were set by hand; the fields are then taken as they are.
class DIBKIT_API CLinearTransformMem {
 public:
  // Runs the whole conversion between the two sinks, which the caller has opened: reads the source
  // header and table, computes the result's geometry, writes its header and table, makes its rows.
  // `dpi`: resolution of the result for both axes. Returns a ConversionStatus.
  int LinearTransform(unsigned short mode, int (*progress)(unsigned short), unsigned short dpi,
                      int threshold);

  // Reads header and colour table of the source and fills the source fields. 0 or 5.
  int GetSourceImageInfo();

  // 1 when blue, green and red are equal in all 256 entries of the colour table, else 0.
  int IsGrayImage();

  // Writes header and colour table of the result. 0 or 6. The colour cube of KIND_PALETTE_8BIT has
  // 254 entries although the header declares 256, so the rows begin 8 bytes early.
  int CreateOutputData();

  // Fills 54 bytes at `buffer` (file header and info header) when `withFileHeader` is 1, otherwise
  // the 40 bytes of the info header. The file size in the file header adds the number of colours,
  // not the bytes of the table, and the low 16 bits of the size of the rows; hosts rely on it.
  void SetOutputBitmapInfoHeader(void* buffer, int withFileHeader);

  // Allocates and locks the work buffers: two source rows, one output row. 0 or 2; after a 2,
  // CloseImage releases what there is. `mode` is not looked at.
  int OpenImage(unsigned short mode);
  void CloseImage(unsigned short mode);

  // Makes all output rows, bottom row first. Reports progress after a row whenever the percentage
  // (row x 100) / height, at most 99, has changed; a callback that returns 0 cancels. Returns 0; 1
  // when cancelled; 2 when work buffers or the column table have no memory; 5 when the source is
  // not locked memory; 6 when the destination is not.
  int CreateImage(unsigned short mode, int threshold);

  // The line makers: one output row from two neighbouring source rows. `fy`: vertical fraction, 0
  // to below 1, the weight of `rowB`; `rowA` weighs 1 - fy. The rows are as long as the source's
  // and the output's fields say. An output pixel of MakeBWImageLine is only ever set, so the row
  // must be zero beforehand; a threshold of 0 or less makes it black, one above 255 white.
  // MakeBWImageLine reads the column table; the others compute the positions themselves.
  // Make8bitGrayImageLine counts every value it writes into m_Histogram.
  void MakeBWImageLine(double fy, unsigned char* rowA, unsigned char* rowB, unsigned char* out);
  void Make8bitGrayImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                             unsigned char* out);
  void Make8bitPaletteColorImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                                     unsigned char* out);
  void MakeRGBColorImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                             unsigned char* out);

  // Not used by CreateImage. The left sample is the low nibble of its byte for an even column and
  // the high one for an odd column, the right sample always the low nibble; an even output column
  // stores its whole 8-bit value in byte x / 2, an odd one ORs its upper four bits into that byte.
  void Make4bitGrayImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                             unsigned char* out);

  // Not used by CreateImage. Copies source row `line` (in stored order) into `buffer`, which holds
  // a whole row. 1, or 0 on failure. From a file only the row at file offset 0 can be had, because
  // the offset that the seek returns is compared with 0.
  int GetImageLine(unsigned short line, unsigned char* buffer);

  unsigned short m_wMode = 0;           // mode word
  int m_iThreshold = 0;                 // bilevel threshold
  tagRGBQUAD m_ColorTable[256] = {};    // source colours; rgbReserved stays 0
  unsigned long m_Histogram[256] = {};  // counts of output values; nothing reads it
  double m_dScaleX = 0;                 // target dpi / source dpi
  double m_dScaleY = 0;
  int (*m_pProgress)(unsigned short) = nullptr;  // takes 0 to 99; a return of 0 cancels
  tagHANDLE* m_hSourceRows = nullptr;            // work buffer of two source rows
  tagHANDLE* m_hOutputRow = nullptr;             // work buffer of one output row
  unsigned char* m_pSourceRowA = nullptr;        // first row in m_hSourceRows
  unsigned char* m_pSourceRowB = nullptr;        // second row in m_hSourceRows
  unsigned char* m_pOutputRow = nullptr;         // the row in m_hOutputRow
  std::vector<CPosition> m_Columns;              // one record per output column
  CBufTransfer* m_pSource = nullptr;             // not owned
  unsigned short m_wSourceBitsOffset = 0;        // bytes from the block's start to the rows
  unsigned short m_wSourceResolutionX = 0;       // dots per inch
  unsigned short m_wSourceResolutionY = 0;
  unsigned long m_dwSourceRowBytes = 0;  // length of a row with its padding
  unsigned short m_wSourceWidth = 0;     // pixels
  unsigned short m_wSourceHeight = 0;
  unsigned short m_wSourceBitCount = 0;
  unsigned short m_wKind = 0;              // an ImageKind
  CBufTransfer* m_pDestination = nullptr;  // not owned
  unsigned short m_wOutputBitsOffset = 0;
  unsigned short m_wOutputResolutionX = 0;
  unsigned short m_wOutputResolutionY = 0;
  unsigned long m_dwOutputRowBytes = 0;
  unsigned short m_wOutputWidth = 0;
  unsigned short m_wOutputHeight = 0;
  unsigned short m_wOutputBitCount = 0;
  unsigned short m_wOutputKind = 0;
};

// Converts `src` (a packed DIB with an info header; neither changed nor freed) to `dpi` dots per
// inch on both axes. `*dst` receives the new image, unlocked, which the caller frees with
// GlobalFree. The depth stays, but for palette images: 4 and 8 bits in colour come back as 8 bits
// with at most 256 colours, 4 bits in grey as 8 bits in grey.
// `progress` may be null; it is called on this thread with 0 to 99 and cancels by returning 0. It
// must leave the source and the result alone.
// `threshold`: for 1-bit sources: a pixel is white when its darkness (0 to 255) is below it; 0 and
// less make all black, 256 and more all white.
// Returns 0; 1 cancelled; 2 no memory, or a palette image too wide to be widened; 5 source
// unreadable (`*dst` is then untouched); 6; 11 the source has no horizontal resolution. `*dst` is
// null after every other failure. It is also null after a 0 when the colour reduction of a palette
// image failed: without memory, and for a result of no columns or rows.
// When a palette image in colour was widened, the widened copy is never freed, and an early failure
// leaves a widened copy behind as well: a host that minds reclaims such blocks through its own
// GlobalAlloc.
DIBKIT_API int ConvertResolution(tagHANDLE* src, tagHANDLE** dst, int (*progress)(unsigned short),
                                 unsigned short dpi, int threshold);

// Bytes that a conversion to `dpi` needs, 1078 for headers and table included, modulo 2^32. `src`
// is a path or points to a tagHANDLE*, as `mode` says. `*size` is 0 on failure. Returns 0, 5 or 11.
DIBKIT_API int GetTransformImageMemorySize(unsigned short mode, void const* src, unsigned short dpi,
                                           unsigned long* size);

// The same for a packed DIB in memory, where a 4-bit source counts as 24 bits. `*size` is written
// on success only. Returns 0 or 10.
DIBKIT_API int GetBufferSize(tagHANDLE* src, unsigned short dpi, unsigned long* size);

// Opens source and destination as `mode` says, runs an engine over them and releases both; the
// blocks stay the caller's. Only memory to memory completes a conversion: a file destination ends
// with 6 after the file was created, a file source with 5 when its rows are asked for.
DIBKIT_API int LinearTransformMain(unsigned short mode, void const* src, void* dst,
                                   int (*progress)(unsigned short), unsigned short dpi,
                                   int threshold);

// Widens a 4- or 8-bit image whose table has an entry that is not grey to 24 bits. Returns 1 with
// the new image in `*out` (unlocked, the caller's). Returns 0 with a null `*out` when there is
// nothing to widen, when `src` is null or does not lock, when there is no memory, and when a row
// would be longer than 65,535 bytes.
DIBKIT_API int ConvertImage(tagHANDLE* src, tagHANDLE** out);

// The same for a 4-bit image whose 16 entries are all grey: to 8 bits with a table of 256 levels,
// whose biClrUsed and biClrImportant read 8.
DIBKIT_API int ConvertImage2(tagHANDLE* src, tagHANDLE** out);

#endif  // DIBKIT_CNV_RES_MEM_H
