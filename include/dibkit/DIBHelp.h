// SPDX-License-Identifier: Apache-2.0
//
// The packed DIB: layout, accessors and the one constructor.
//
// A packed DIB is one block: a 40-byte BITMAPINFOHEADER (the info header) or a 12-byte
// BITMAPCOREHEADER (the core header), the colour table, then the pixel rows, each padded to a
// multiple of 4 bytes. A size field of exactly 40 marks an info header; any other value makes every
// accessor read the block with the core layout (16-bit width and height at offsets 4 and 6, planes
// at 8, depth at 10, a table of 3-byte entries from offset 12), whatever the value is. The layouts
// are those of the published Windows bitmap format.
//
// Bit-field images (BI_BITFIELDS, 16 or 32 bits) carry three 32-bit masks at offsets 40, 44 and 48.
// No accessor counts or skips them: DIBBits of such an image is the address of the red mask. Hosts
// rely on that.
//
// A colour value is an `unsigned long` with red in bits 0 to 7, green in 8 to 15 and blue in 16 to
// 23. Only the low 32 bits of an `unsigned long` argument count.
//
// All functions but CreateDIB take the address of a packed DIB that the caller holds locked. They
// lock, allocate and free nothing, keep no state and may run on any thread for distinct DIBs; two
// threads that write one DIB need exclusion of their own. Nothing is compared with the block's real
// size: header fields and coordinates must be sound, the caller sees to it.
#ifndef DIBKIT_DIB_HELP_H
#define DIBKIT_DIB_HELP_H

#include <cstdint>

#include "Export.h"
#include "GlobalMemory.h"
#include "WinTypes.h"

// Pixels per row: biWidth, or bcWidth zero-extended.
DIBKIT_API int32_t DIBWidth(unsigned char* dib);

// Rows: biHeight with its sign (negative: top row stored first), or bcHeight zero-extended.
DIBKIT_API int32_t DIBHeight(unsigned char* dib);

// Bits per pixel.
DIBKIT_API uint16_t DIBBitCount(unsigned char* dib);

// Colour-table entries: the low 16 bits of a non-zero biClrUsed (info header only); otherwise 2, 16
// and 256 at 1, 4 and 8 bits, and 0 at every other depth.
DIBKIT_API uint16_t DIBNumColors(unsigned char* dib);

// Bytes of the colour table, 4 an entry after an info header and 3 otherwise, cut to 16 bits: 16384
// entries of 4 bytes read as 0.
DIBKIT_API uint16_t PaletteSize(unsigned char* dib);

// Address of the pixel rows: dib + the size field as stored + PaletteSize. For a bit-field image
// this is the address of its masks.
DIBKIT_API unsigned char* DIBBits(unsigned char* dib);

// Bytes of the whole DIB: size field + PaletteSize + row stride x DIBHeight, modulo 2^32. A
// negative height counts as such, so the answer serves for bottom-up DIBs only; masks and
// biSizeImage play no part.
DIBKIT_API uint32_t DIBSize(unsigned char* dib);

// The colour value of table entry `index`, or 0xFF000000 when the index is negative or not below
// DIBNumColors.
DIBKIT_API unsigned long GetIndexColor(unsigned char* dib, int index);

// Stores a colour value in table entry `index`; the reserved byte keeps its value. An index out of
// range does nothing.
DIBKIT_API void SetIndexColor(unsigned char* dib, int index, unsigned long color);

// The lowest index whose entry equals `color` in all 32 bits (an entry's top byte counts as 0), or
// -1.
DIBKIT_API int32_t GetColorIndex(unsigned char* dib, unsigned long color);

// Writes a 40-byte info header at `dib`: BI_RGB, the given width and height, every other field 0 or
// 1 plane. The depth becomes 1 for 0 and 1, 4 for 2 to 4, 8 for 5 to 8, 24 for 9 to 24 and 4 above;
// hosts rely on this rule, which is not CreateDIB's.
DIBKIT_API void SetDIB(unsigned char* dib, unsigned long width, unsigned long height,
                       unsigned short depth);

// The three channel masks of a bit-field image (biCompression 3 and 16 or 32 bits) from offsets 40,
// 44 and 48; returns 1. Of any other image three zeros; returns 0. The header size is not looked
// at, and there are no default masks.
DIBKIT_API int DIBMask(unsigned char* dib, unsigned long& red, unsigned long& green,
                       unsigned long& blue);

// The shifts that bring one channel to 8 bits: ((pixel & mask) >> right) << left, cut to 8 bits.
// Only the lowest run of set bits counts. A run of more than 8 bits keeps its top 8; a shorter one
// is moved to the top of the byte and its low bits stay 0. A mask of 0 gives left 8 and right 32:
// such a channel reads as 0 and must not be shifted.
DIBKIT_API void GetShifts(unsigned long mask, unsigned short& left, unsigned short& right);

// The pixel at column x of storage row y (row 0 is the first in memory) at 1, 4 or 8 bits; -1 at
// any other depth.
DIBKIT_API int32_t GetBitIndex(unsigned char* dib, int x, int y);

// Writes the pixel at column x of storage row y at 1, 4 or 8 bits; does nothing at other depths.
// Meant for a fresh image, filled from left to right: at 4 bits the nibble is ORed in without
// clearing the old one, and at 1 bit the value goes to pixel x and up to three pixels to its right
// in the same byte (mask 0xF0 >> (x mod 8)).
DIBKIT_API void SetBitIndex(unsigned char* dib, int x, int y, unsigned short value);

// Copies the first n table entries, n being the smaller of both DIBNumColors, and converts between
// the two entry sizes. Between equal entry sizes whole entries are copied; into 4-byte entries of a
// different layout the reserved byte is not written. Entries from n on keep what they held.
DIBKIT_API void CopyColorTable(unsigned char* source, unsigned char* destination);

// Makes a new packed DIB: an info header, a black table of 2, 16 or 256 entries at 1, 4 and 8 bits,
// and pixels of 0. `width` and `height` are stored as they are. `depth` becomes 1 for 0 and 1, 4
// for 2 to 4, 8 for 5 to 8, 16 for 9 to 16, 24 for 17 to 24 and above 32; 25 to 32 stay as they
// are. Returns an unlocked handle that the caller owns and frees with GlobalFree; null for a width
// or height of 0, for an image whose block would not fit in 32 bits, and when there is no memory.
// Callable from any thread.
DIBKIT_API tagHANDLE* CreateDIB(unsigned long width, unsigned long height, unsigned short depth);

// 1 when the entry's colour is the given one, otherwise 0; the reserved byte is not compared.
DIBKIT_API int CompareRGBQUAD(tagRGBQUAD entry, unsigned char red, unsigned char green,
                              unsigned char blue);
DIBKIT_API int CompareRGBTRIPLE(tagRGBTRIPLE entry, unsigned char red, unsigned char green,
                                unsigned char blue);

// The same with a colour value, whose top byte is ignored.
DIBKIT_API int CompareRGB(tagRGBQUAD entry, unsigned long color);
DIBKIT_API int CompareRGBT(tagRGBTRIPLE entry, unsigned long color);

// Stores a colour value's red, green and blue; the reserved byte keeps its value.
DIBKIT_API void CopyRGB(tagRGBQUAD* entry, unsigned long color);
DIBKIT_API void CopyRGBT(tagRGBTRIPLE* entry, unsigned long color);

#endif  // DIBKIT_DIB_HELP_H
