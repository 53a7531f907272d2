// SPDX-License-Identifier: Apache-2.0
//
// The library as hosts load it, with the six functions supplied by this executable.
#include "AutoClass.h"
#include "Cnv_res_mem.h"
#include "DIBHelp.h"
#include "NiGoRo2.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

class SharedLibrary : public HostTest {};

TEST_F(SharedLibrary, UsesTheHostsGlobalMemory) {
  tagHANDLE* handle = CreateDIB(10, 10, 3);
  EXPECT_EQ(ReadHost().allocCalls, 1u);
  EXPECT_TRUE(IsLive(handle));
  { CHandle wrapper(handle); }
  EXPECT_FALSE(IsLive(handle));
}

TEST_F(SharedLibrary, ConvertsAndReduces) {
  Random random(1);
  Dib image({.width = 30, .height = 20, .bits = 8});
  image.SetRandomTable(random);
  image.FillRandom(random);
  tagHANDLE* source = image.ToHandle();
  tagHANDLE* result = nullptr;
  ASSERT_EQ(ConvertResolution(source, &result, nullptr, 150, 128), CNV_OK);
  EXPECT_EQ(Dib::FromHandle(result).Width(), 15);
  EXPECT_EQ(Dib::FromHandle(result).Bits(), 8);
  EXPECT_EQ(TakeLeaked({source, result}), 1u) << "the widened copy";
  GlobalFree(source);
  GlobalFree(result);
}

TEST_F(SharedLibrary, ClassesServeOnAHostsStack) {
  Dib image({.width = 4, .height = 4, .bits = 24});
  CNiGoRo2 quantizer(image.Data(), 256, 5, 0);
  tagHANDLE* result = quantizer.QuantizeBitmap(1, 0);
  ASSERT_NE(result, nullptr);
  GlobalFree(result);
  CLinearTransformMem engine;
  EXPECT_EQ(engine.IsGrayImage(), 1);
  CBufTransfer sink;
  char byte = 0;
  EXPECT_EQ(sink.SetData(0, 1, &byte, 0), 0);
}

TEST_F(SharedLibrary, TheSortAndItsComparisonsAreReachable) {
  CColorTrans2 entries[2] = {};
  entries[0].rgb.rgbBlue = 9;
  entries[0].lDenom = 1;
  Qsort(entries, 2, CompareBlue);
  EXPECT_EQ(entries[1].rgb.rgbBlue, 9);
  Qsort(entries, 2, CompareDenom);
  EXPECT_EQ(entries[1].lDenom, 1u);
  Qsort(entries, {9, 0, 0, 0}, 2, CompareColor);
  EXPECT_EQ(entries[0].rgb.rgbBlue, 9);
}

}  // namespace
}  // namespace dibtest
