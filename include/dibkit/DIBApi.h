// SPDX-License-Identifier: Apache-2.0
//
// Normalisation and depth conversion: run-length images are expanded, top-down images turned bottom
// row first, and images of any depth widened or narrowed to 24 or 16 bits.
//
// Every function takes the address of a packed DIB (see DIBHelp.h) that the caller holds locked; it
// is neither changed nor freed. A result is a new image, unlocked, that the caller owns and frees
// with GlobalFree. Null stands for every failure; nothing is left behind then. All state is on the
// stack: calls may run on any threads.
//
// A DIB must be sound: a block as large as its header, its colour table and its rows say. Where a
// header cannot tell, these functions check for themselves: a run-length stream is read up to
// biSizeImage bytes (none when the field is negative as a signed number) and never writes outside
// the image; a colour-table index at or above DIBNumColors is black; a copy ends with the new
// block. A negative biWidth gives null.
//
// Results have the header that CreateDIB writes: resolutions, biSizeImage and the two colour counts
// are 0.
#ifndef DIBKIT_DIB_API_H
#define DIBKIT_DIB_API_H

#include "Export.h"
#include "GlobalMemory.h"

// Expands an image of 4 or 8 bits whose biCompression is BI_RLE4 or BI_RLE8; null for any other
// depth or compression. The result has the same size and depth, a full table of 16 or 256 entries
// that begins with the source's (CopyColorTable), and index 0 wherever the stream places no pixel.
// The decoding ends at the end of the stream, at an end-of-bitmap record, when the rows are full,
// at a record that is cut short, and behind a record that would write outside the image, of which
// only what lies inside is written; all of these are successes. The header is read with the layout
// of the info header.
//
// With 8 bits a run that reaches the end of its row goes on in the next row. With 4 bits it goes on
// in the bytes that follow, row padding included, without counting a row; pixels are ORed into the
// bytes; and a move by an odd number of columns from an odd column puts what follows one byte
// early.
DIBKIT_API tagHANDLE* RestoreRLE8(unsigned char* dib);
DIBKIT_API tagHANDLE* RestoreRLE4(unsigned char* dib);

// RestoreRLE8 for an image of 8 bits with an info header; null for every other image. Images of 4
// bits are refused too: they are expanded with RestoreRLE4 only, and hosts rely on it.
DIBKIT_API tagHANDLE* RestoreRLE(unsigned char* dib);

// A top-down image (negative biHeight) with its rows in reverse order and a positive height; null
// when the height is 0 or more. The colour table is not carried over: every entry of the result is
// black, and a host that needs the colours calls CopyColorTable. Bit-field masks are not carried
// either; since the rows of such an image are taken to begin at its masks, these become the first
// pixels of the top row. At depths that CreateDIB changes the rows are copied with the source's row
// length, and what would fall behind the result's pixel area is left out. Null for a run-length
// image: the format knows no top-down ones.
DIBKIT_API tagHANDLE* TopDownToBottomUp(unsigned char* dib);

// Expands a run-length image (RestoreRLE, so 4-bit ones are refused) and turns a top-down one. Null
// when the image needs neither, when a step fails, and when the header is not an info header; a
// host that must tell these apart looks at the header itself.
DIBKIT_API tagHANDLE* NormalizeDIB(unsigned char* dib);

// The image at 16 bits (5-5-5, blue in the low bits) or 24 bits (blue, green, red), after
// NormalizeDIB; an image that NormalizeDIB answers null for is converted as it stands. Takes 1, 4,
// 8, 16, 24 and 32 bits; null for other depths, for a size field other than 40 and 12, for a width
// or height of 0 or less (a flip that failed leaves a negative height), and without memory.
//
// An image that has the asked depth is not converted: the first DIBSize bytes are copied, header
// included, as far as the new block goes. The block has room for a 40-byte header and the rows
// only, so masks and colour tables push the end of the rows out.
//
// A flipped image of 1, 4 or 8 bits is all black, because its table is.
//
// The rows of a bit-field image (info header, 16 or 32 bits) are taken to begin at its masks. A
// biClrUsed of 3 in the host's own copy of the header makes them begin behind.
//
// To 24 bits, a 5-5-5 channel c becomes 8c + 7, but 0 stays 0; a bit-field channel is moved to the
// top of its byte and its low bits stay 0.
//
// To 16 bits, channels are cut to their top 5 bits. From 32-bit bit-fields the blue field gets the
// red channel and the blue mask is not used; such images go to 16 bits by way of 24.
//
// A run-length stream that could not be expanded is read as rows; it ends at biSizeImage, and what
// lies beyond reads as 0.
DIBKIT_API tagHANDLE* ConvertTo16BPPDIB(unsigned char* dib);
DIBKIT_API tagHANDLE* ConvertTo24BPPDIB(unsigned char* dib);

#endif  // DIBKIT_DIB_API_H
