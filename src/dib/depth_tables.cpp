// SPDX-License-Identifier: Apache-2.0
#include "dib/depth_tables.h"

#include <algorithm>

#include "DIBHelp.h"

namespace dibkit {

namespace {

// biClrUsed may name more colours than the depth has indices.
size_t UsedColors(unsigned char* dib, size_t room) {
  return std::min<size_t>(DIBNumColors(dib), room);
}

void FillChannels(unsigned char* dib, size_t count, uint8_t* reds, uint8_t* greens,
                  uint8_t* blues) {
  for (size_t i = 0; i < count; ++i) {
    const unsigned long color = GetIndexColor(dib, static_cast<int>(i));
    reds[i] = RedOf(color);
    greens[i] = GreenOf(color);
    blues[i] = BlueOf(color);
  }
}

void FillWords(unsigned char* dib, size_t count, uint16_t* words) {
  for (size_t i = 0; i < count; ++i) {
    const unsigned long color = GetIndexColor(dib, static_cast<int>(i));
    words[i] = Word555(RedOf(color), GreenOf(color), BlueOf(color));
  }
}

void ReadColorTable(unsigned char* dib, PixelMeaning& meaning) {
  const bool info = HasInfoHeader(dib);
  meaning.colors = dib + (info ? kInfoHeaderSize : kCoreHeaderSize);
  meaning.entrySize = info ? sizeof(tagRGBQUAD) : sizeof(tagRGBTRIPLE);
  meaning.colorCount = DIBNumColors(dib);
}

BitField FieldOf(unsigned long mask) {
  unsigned short left = 0;
  unsigned short right = 0;
  GetShifts(mask, left, right);
  return {static_cast<uint32_t>(mask), left, right};
}

// A core header has no compression field, so it never means bit-fields.
bool ReadBitFields(unsigned char* dib, PixelMeaning& meaning) {
  unsigned long red = 0;
  unsigned long green = 0;
  unsigned long blue = 0;
  if (!HasInfoHeader(dib) || DIBMask(dib, red, green, blue) == 0) return false;
  meaning.red = FieldOf(red);
  meaning.green = FieldOf(green);
  meaning.blue = FieldOf(blue);
  return true;
}

RowForms Prepare1To24(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning) {
  FillChannels(dib, UsedColors(dib, tables.reds.size()), tables.reds.data(), tables.greens.data(),
               tables.blues.data());
  meaning.reds = tables.reds;
  meaning.greens = tables.greens;
  meaning.blues = tables.blues;
  return {ChannelTablesTo24<1>, &RowKernels::bits1To24};
}

// Without memory for the tables the colour table itself gives the same colours, only slower.
RowForms Prepare4To24(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning) {
  for (CHandle& block : tables.blocks) block.SetHandle(GlobalAlloc(GHND, DIBNumColors(dib)));
  uint8_t* reds = tables.blocks[0];
  uint8_t* greens = tables.blocks[1];
  uint8_t* blues = tables.blocks[2];
  if (reds == nullptr || greens == nullptr || blues == nullptr) {
    ReadColorTable(dib, meaning);
    return {ColorTableTo24<4>, &RowKernels::bits4To24};
  }
  const size_t count = UsedColors(dib, 16);
  FillChannels(dib, count, reds, greens, blues);
  meaning.reds = {reds, count};
  meaning.greens = {greens, count};
  meaning.blues = {blues, count};
  return {ChannelTablesTo24<4>, &RowKernels::bits4To24};
}

template <unsigned kBits>
RowForms PrepareFewTo16(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning,
                        RowKernel RowKernels::*kernel) {
  FillWords(dib, UsedColors(dib, size_t{1} << kBits), tables.words.data());
  meaning.words = tables.words;
  return {WordTableTo16<kBits>, kernel};
}

RowForms Prepare8To16(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning) {
  CHandle& block = tables.blocks[0];
  block.SetHandle(GlobalAlloc(GHND, DIBNumColors(dib) * 2U));
  uint16_t* words = block;
  if (words == nullptr) return {};
  const size_t count = UsedColors(dib, 256);
  FillWords(dib, count, words);
  meaning.words = {words, count};
  return {WordTableTo16<8>, &RowKernels::bits8To16};
}

}  // namespace

RowForms PrepareTo24(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning) {
  switch (DIBBitCount(dib)) {
    case 1:
      return Prepare1To24(dib, tables, meaning);
    case 4:
      return Prepare4To24(dib, tables, meaning);
    case 8:
      ReadColorTable(dib, meaning);
      return {ColorTableTo24<8>, &RowKernels::bits8To24};
    case 16:
      if (!ReadBitFields(dib, meaning)) return {WordsTo24, &RowKernels::rgb555To24};
      return {BitFieldsTo24<uint16_t>, &RowKernels::fields16To24};
    case 32:
      if (!ReadBitFields(dib, meaning)) return {QuadsTo24, &RowKernels::rgb32To24};
      return {BitFieldsTo24<uint32_t>, &RowKernels::fields32To24};
    default:
      return {};
  }
}

RowForms PrepareTo16(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning) {
  switch (DIBBitCount(dib)) {
    case 1:
      return PrepareFewTo16<1>(dib, tables, meaning, &RowKernels::bits1To16);
    case 4:
      return PrepareFewTo16<4>(dib, tables, meaning, &RowKernels::bits4To16);
    case 8:
      return Prepare8To16(dib, tables, meaning);
    case 24:
      return {BytesTo16<3>, &RowKernels::rgb24To16};
    case 32:
      if (!ReadBitFields(dib, meaning)) return {BytesTo16<4>, &RowKernels::rgb32To16};
      return {BitFieldsTo16, &RowKernels::fields32To16};
    default:
      return {};
  }
}

}  // namespace dibkit
