// SPDX-License-Identifier: Apache-2.0
//
// CNiGoRo2: reduces a 16-, 24- or 32-bit packed DIB to 8 bits with an octree palette of at most 256
// colours, and maps every pixel to its nearest palette colour.
#ifndef DIBKIT_NI_GO_RO_2_H
#define DIBKIT_NI_GO_RO_2_H

#include <cstdint>

#include "AutoClass.h"
#include "Export.h"
#include "GlobalMemory.h"
#include "WinTypes.h"

// One octree node. The tree is one array, breadth first: the children of node n are nodes
// 8n + 1 + i, where i is 1 for red, plus 2 for green, plus 4 for blue, each when the component has
// the level's bit (0x80 at the root).
struct CCube2 {
  uint32_t lSumRed;  // sum of the red values that ended here; later the palette index
  uint32_t lSumGreen;
  uint32_t lSumBlue;
  uint32_t lColorCount;  // pixels in the sums; non-zero makes the node a palette colour
  uint32_t lPassCount;   // pixels that passed through or ended here: the weight for pruning
  uint8_t byChildren;    // bit i: child i exists
  int32_t iFixed;        // non-zero: a colour that must appear unchanged
};

// One palette entry.
struct CColorTrans2 {
  tagRGBQUAD rgb;   // the colour; rgbReserved stays 0
  uint32_t lDenom;  // pixels averaged into it
  uint32_t lIndex;  // its place in the output colour table; only the low byte is used
};
static_assert(sizeof(CColorTrans2) == 12);

// One cell of a search cube: the palette entries that can be nearest to a colour of the cell. The
// list grows in steps of 32; its capacity is the count rounded up to a multiple of 32.
struct CSearchCell {
  int32_t lCount;
  CColorTrans2* pList;  // owned, array new
};

// The quantiser. An object belongs to one thread. The source DIB must be sound and stay locked
// until quantisation ends; it is neither changed nor freed. No member throws.
class DIBKIT_API CNiGoRo2 {
 public:
  using Search = unsigned char (CNiGoRo2::*)(unsigned char, unsigned char, unsigned char);

  // `dib`: the locked source with an info header. `maxColors`: palette size, 1 to 256. `depth`:
  // tree levels below the root, 1 to 8; 5 tells colours apart by the top 5 bits of each component.
  // A tree takes 28 bytes for each of its (8^(depth + 1) - 1) / 7 nodes. With a depth of 0 no tree
  // is built and the image is all index 0. The last argument is ignored.
  CNiGoRo2(unsigned char* dib, unsigned short maxColors, unsigned short depth, int);
  CNiGoRo2(const CNiGoRo2&) = delete;
  CNiGoRo2& operator=(const CNiGoRo2&) = delete;
  ~CNiGoRo2();

  // Builds the tree (on the first call), the palette and the 8-bit image. Both arguments are
  // ignored. Returns a new unlocked image that the caller frees with GlobalFree; null for a source
  // of 8 bits or less, a width or height of 0 or less, and when there is no memory. A source whose
  // format is not known (32 bits without bit-fields, other depths) gives an image of index 0.
  tagHANDLE* QuantizeBitmap(int, int);

  // Allocates the tree, all zero; an older tree is freed. 1; 0 for a source of 8 bits or less and
  // when there is no memory. The members below, down to CreateColorTableRec, need this 1 first.
  int InitOctree();

  // Inserts the first m_lDefaultColorNum entries of m_pDefaultColors as fixed colours.
  void InsertDefaultColors();

  // Inserts every pixel of the source: 16 bits (5-5-5), 24 bits, and 16 or 32 bits with bit-fields;
  // nothing for other formats or a width or height of 0 or less. The masks of a bit-field source
  // are not the source's own: they are the three words that follow m_bih in this object, and hosts
  // rely on the outcome.
  void FillTree();

  // Inserts one colour. `fixed` non-zero makes it a colour that pruning keeps and that later pixels
  // do not change.
  void InsertColor(unsigned char red, unsigned char green, unsigned char blue, int fixed);

  // Merges, round by round, every node of the smallest weight into its parent until the palette is
  // small enough. Sets m_lColorNum; returns the number of colours that are not fixed.
  unsigned long ReduceColors();

  // Colours in the tree below `node`, fixed ones only when `withFixed` is non-zero; lowers
  // `minPass` to the smallest non-zero weight met.
  unsigned long CountColors(unsigned long node, unsigned long& minPass, int withFixed);

  // Merges every topmost node of weight `minPass` below `node` into its parent. 1 when `node`
  // itself was merged. The root is never merged: it has no parent.
  unsigned long CutBranches(unsigned long node, unsigned long minPass);

  // Adds the subtree of `node` to `into`. A fixed `into` stays as it is.
  void Cut(unsigned long node, CCube2* into);

  // Lists the colours below `node` in pre-order as palette entries from `index` on, which it
  // raises.
  void CreateColorTableRec(unsigned long node, unsigned long& index);

  // Makes the 8-bit image from the palette in m_ColorTrans: the linear search serves up to 16,384
  // pixels or 64 colours, the cube search everything above. Null for a width or height of 0 or less
  // and when there is no memory.
  tagHANDLE* Quantize();

  // Orders the palette by use and writes it to `table` (m_lColorNum entries), then orders
  // m_ColorTrans by blue for the linear search.
  void BuildPalette(tagRGBQUAD* table);

  // Writes the palette to `table` in tree order and fills the search cells; each gets at least one
  // entry, m_ColorTrans[0] when there are no colours. m_ColorTrans is left in the order of the last
  // cell. Cells are appended to, never cleared. A cell for which there is no
  // memory keeps the shorter list.
  void BuildSearchCube(tagRGBQUAD* table);

  // Appends `entry` to cell [r][g][b] (0 to 7 each); does nothing when there is no memory.
  void AddList(int r, int g, int b, CColorTrans2 entry);

  // Empties every cell without freeing; frees every list and empties its cell.
  void InitSearchCube();
  void DeleteSearchCube();

  // The palette index nearest to a colour: through the search cube, or linearly over m_ColorTrans
  // in blue order. An empty cell gives 0. A tie goes to the entry met first.
  unsigned char GetNearestColorIndexC(unsigned char r, unsigned char g, unsigned char b);
  unsigned char GetNearestColorIndexL(unsigned char r, unsigned char g, unsigned char b);

  // Map h rows of w pixels from `src` to indices at `dst`, by the search that m_wLinearSearch
  // names; `search` is ignored. Rows are padded to 4 bytes, but for QuantizeBF32, whose source has
  // no padding and holds 32-bit pixels whatever the size of `unsigned long`.
  void QuantizeBM16(unsigned short* src, int w, int h, unsigned char* dst, Search search);
  void QuantizeBM24(unsigned char* src, int w, int h, unsigned char* dst, Search search);
  void QuantizeBF16(unsigned short* src, int w, int h, unsigned char* dst, Search search);
  void QuantizeBF32(unsigned long* src, int w, int h, unsigned char* dst, Search search);

  // The fixed palette of 256 colours and its search cube, for a host that maps colours without
  // building a quantiser; the library itself never reads them. They are kept in the globals at the
  // end of this header, which no lock guards: the host serialises building, use and freeing.

  // Builds the fixed palette in STATIC_COLOR and sets m_iStcColorNum to 256. The block is left
  // locked; a second call rewrites it. Without memory, or when the block does not lock, the palette
  // is not made and nothing is reported.
  static void SetStaticColors();

  // Empties STATIC_CUBE, builds the palette and lists every cell's candidates, nearest to the
  // cell's centre first. Candidate lists of an earlier build are lost, not freed: call
  // DeleteStaticSearchCube in between. Without memory for the palette the cube stays empty; a cell
  // for which there is no memory keeps a shorter list.
  static void CreateStaticSearchCube();

  // Appends `entry` to cell [r][g][b] (0 to 15 each) of STATIC_CUBE; does nothing when there is no
  // memory.
  static void AddStaticList(int r, int g, int b, CColorTrans2 entry);

  // Empties every cell of STATIC_CUBE without freeing; frees every list and empties its cell.
  static void InitStaticSearchCube();
  static void DeleteStaticSearchCube();

  static int m_iStcColorNum;  // colours in STATIC_COLOR; 0 until SetStaticColors

  CCube2* m_pTree;                    // the octree, owned (array new); null until built
  uint16_t m_wDepth;                  // levels below the root
  unsigned char* m_pBits;             // the source rows; not owned
  BITMAPINFOHEADER m_bih;             // the first 40 bytes of the source
  uint16_t m_wMaxColors;              // largest palette to make
  CColorTrans2 m_ColorTrans[256];     // the palette
  CSearchCell m_SearchCube[8][8][8];  // [red / 32][green / 32][blue / 32]
  tagRGBQUAD* m_pDefaultColors;  // colours to keep, owned (array new); null unless the host sets it
  uint32_t m_lColorNum;          // palette entries
  uint32_t m_lDefaultColorNum;   // entries in m_pDefaultColors, fewer than m_wMaxColors
  int32_t m_iPaletteMode;        // 666, 884 and 775 skip the palette preparation of Quantize
  uint16_t m_wLinearSearch;      // 1 linear search, 0 cube search
};

// The fixed palette: CNiGoRo2::m_iStcColorNum colours of 3 bytes, red, green, blue; a colour's
// index is its place. Empty until SetStaticColors. The block is freed when the library is unloaded.
extern DIBKIT_API CHandle STATIC_COLOR;

// The search cube over the fixed palette, empty until CreateStaticSearchCube. The lists are not
// freed at unload.
//
// To map a colour to the fixed palette, take cell [red / 16][green / 16][blue / 16] and search its
// lCount candidates, in order, for the smallest squared distance (red, green and blue differences
// squared and summed); the first of equal ones wins. The low byte of its lIndex is the palette
// index. The nearest colour of the whole palette is always among the candidates. A cell that had no
// memory when the cube was built may hold none.
extern DIBKIT_API CSearchCell STATIC_CUBE[16][16][16];

// Sorts n entries in place. Not stable: hosts rely on the order in which equal entries end, because
// it decides ties in the nearest-colour searches. `cmp` is negative when its first entry comes
// first.
DIBKIT_API void Qsort(CColorTrans2* a, tagRGBQUAD key, long n,
                      int (*cmp)(CColorTrans2, CColorTrans2, tagRGBQUAD));
DIBKIT_API void Qsort(CColorTrans2* a, long n, int (*cmp)(CColorTrans2, CColorTrans2));

// Squared distance of x to key minus that of y to key; all components weigh the same.
DIBKIT_API int CompareColor(CColorTrans2 x, CColorTrans2 y, tagRGBQUAD key);
// Blue of x minus blue of y.
DIBKIT_API int CompareBlue(CColorTrans2 x, CColorTrans2 y);
// Pixel count of x minus that of y.
DIBKIT_API int CompareDenom(CColorTrans2 x, CColorTrans2 y);

#endif  // DIBKIT_NI_GO_RO_2_H
