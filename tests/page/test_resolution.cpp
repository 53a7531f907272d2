// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "dibkit/host/resolution.h"

namespace dibkit::host {
namespace {

Resolution Inch(uint32_t numerator, uint32_t denominator) {
  return {ResolutionUnit::kInch, {numerator, denominator}, {numerator, denominator}};
}

Resolution Centimetre(uint32_t numerator, uint32_t denominator) {
  return {ResolutionUnit::kCentimetre, {numerator, denominator}, {numerator, denominator}};
}

TEST(Resolutions, WholeDotsPerInchAreWrittenAsTheConversionWritesThem) {
  for (unsigned dpi = 1; dpi <= 65535; ++dpi) {
    ASSERT_EQ(HeaderResolution(ResolutionOfDpi(dpi)).x, static_cast<int32_t>(dpi * 10000 / 254));
  }
}

TEST(Resolutions, WholeDotsPerInchComeBackFromAHeader) {
  for (unsigned dpi = 1; dpi <= 65535; ++dpi) {
    const PelsPerMetre pels = HeaderResolution(ResolutionOfDpi(dpi));
    ASSERT_EQ(ResolutionOfHeader(pels.x, pels.y), ResolutionOfDpi(dpi)) << dpi;
    ASSERT_EQ(DotsPerInch(pels.x), dpi);
  }
}

TEST(Resolutions, TheSameDotsRoundedUpMeanTheSame) {
  EXPECT_EQ(ResolutionOfHeader(3780, 3780), ResolutionOfDpi(96));  // 3779.5
  EXPECT_EQ(ResolutionOfHeader(2835, 2835), ResolutionOfDpi(72));  // 2834.6
}

TEST(Resolutions, OtherHeadersAreToldPerMetre) {
  EXPECT_EQ(ResolutionOfHeader(8000, 8000),
            (Resolution{ResolutionUnit::kMetre, {8000, 1}, {8000, 1}}));
  EXPECT_EQ(ResolutionOfHeader(11811, 8000),
            (Resolution{ResolutionUnit::kMetre, {11811, 1}, {8000, 1}}));
}

TEST(Resolutions, HeadersWithoutOneGiveNone) {
  for (const auto& [x, y] : {std::pair{0, 0}, {11811, 0}, {0, 11811}, {-11811, 11811}}) {
    EXPECT_EQ(ResolutionOfHeader(x, y).unit, ResolutionUnit::kNone);
  }
}

TEST(Resolutions, FractionsAreRoundedToNearest) {
  EXPECT_EQ(HeaderResolution(Inch(29999, 100)).x, 11811);  // 11810.6
  EXPECT_EQ(HeaderResolution(Inch(2032, 10)).x, 8000);     // exactly
  EXPECT_EQ(HeaderResolution(Centimetre(11811, 100)).x, 11811);
  EXPECT_EQ(HeaderResolution(Centimetre(118, 1)).x, 11800);
  EXPECT_EQ(HeaderResolution({ResolutionUnit::kMetre, {5, 2}, {7, 2}}).x, 3);
  EXPECT_EQ(HeaderResolution({ResolutionUnit::kMetre, {5, 2}, {7, 2}}).y, 4);
}

TEST(Resolutions, WhatIsNoNumberOrDoesNotFitIsNone) {
  EXPECT_EQ(HeaderResolution(Inch(300, 0)).x, 0);
  EXPECT_EQ(HeaderResolution(Inch(0, 1)).x, 0);
  EXPECT_EQ(HeaderResolution(Inch(0xFFFFFFFF, 1)).x, 0);
  EXPECT_EQ(HeaderResolution({ResolutionUnit::kInch, {300, 1}, {0, 1}}).x, 0);
  EXPECT_EQ(HeaderResolution({ResolutionUnit::kNone, {300, 1}, {300, 1}}).x, 0);
  EXPECT_EQ(HeaderResolution(Inch(65535, 1)).x, 2580118);
}

}  // namespace
}  // namespace dibkit::host
