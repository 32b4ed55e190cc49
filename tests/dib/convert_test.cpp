#include <gtest/gtest.h>

#include "dib/convert.h"
#include "dib/flat.h"
#include "support/dib_fixture.h"

using vtest::Make;
using vtest::Pair;
using vtest::SetBgr;

TEST(PrepareTrueImg, SixteenAndThirtyTwoBitsBecomeTwentyFour) {
    Pair p;
    Make(p, 3, 1, 16);
    const BYTE words[] = {0xFF, 0x7F, 0x00, 0x80, 0x1F, 0x7C};  // 0x7FFF, 0x8000, 0x7C1F
    std::memcpy(p.bits, words, sizeof words);
    p.h().biClrUsed = 7;
    BITMAPINFO* header = p.info;
    ASSERT_EQ(ThPrepareTrueImg(p.bits, p.info), 1);
    EXPECT_EQ(p.info, header);  // the header block is kept
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biSizeImage, 12u);
    EXPECT_EQ(p.h().biClrUsed, 7u);
    const std::vector<BYTE> expected = {248, 248, 248, 0, 0, 0, 248, 0, 248, 0, 0, 0};
    EXPECT_EQ(p.bytes(), expected);

    Make(p, 2, 2, 32);
    const BYTE quads[] = {1, 2, 3, 255, 4, 5, 6, 0, 7, 8, 9, 10, 11, 12, 13, 14};
    std::memcpy(p.bits, quads, sizeof quads);
    ASSERT_EQ(ThPrepareTrueImg(p.bits, p.info), 1);
    EXPECT_EQ(p.h().biSizeImage, 16u);
    const std::vector<BYTE> bgr = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 11, 12, 13, 0, 0};
    EXPECT_EQ(p.bytes(), bgr);
}

TEST(PrepareTrueImg, RefusesWhatItCannotRead) {
    Pair p;
    for (int depth : {1, 4, 8, 24}) {
        Make(p, 2, 2, depth);
        void* before = p.bits;
        EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 1);
        EXPECT_EQ(p.bits, before);
    }
    Make(p, 2, 2, 32);
    p.h().biCompression = BI_BITFIELDS;
    EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 0);
    Make(p, 2, 2, 32);
    p.h().biPlanes = 2;
    EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 0);
    Make(p, 2, 2, 2);
    EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 0);
    Make(p, 2, 2, 16);
    p.h().biHeight = -2;
    EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 0);
    void* none = nullptr;
    EXPECT_EQ(ThPrepareTrueImg(none, p.info), 0);

    // The header already says 24 bits when the allocation fails.
    Make(p, 1, 1, 32);
    p.h().biWidth = 50000;
    p.h().biHeight = 50000;
    void* before = p.bits;
    EXPECT_EQ(ThPrepareTrueImg(p.bits, p.info), 0);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.bits, before);
}

TEST(ConvertTo24, PaletteImagesExpandThroughTheirTable) {
    Pair p;
    Make(p, 3, 2, 4);
    p.table()[1] = RGBQUAD{10, 20, 30, 0};
    p.table()[15] = RGBQUAD{1, 2, 3, 0};
    p.row(0)[0] = 0x1F;
    p.row(0)[1] = 0x10;
    p.row(1)[1] = 0xF1;  // second nibble unused (width 3)
    p.h().biClrUsed = 16;
    ASSERT_EQ(ThConvertTo24Bit(p.bits, p.info), 1);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_EQ(p.h().biSizeImage, 24u);
    const std::vector<BYTE> expected = {10, 20, 30, 1,  2, 3, 10, 20, 30, 0, 0, 0,
                                        0,  0,  0,  0, 0, 0, 1, 2,  3,  0, 0, 0};
    EXPECT_EQ(p.bytes(), expected);

    Make(p, 10, 1, 1);
    p.row(0)[0] = 0xA5;
    p.row(0)[1] = 0x40;
    ASSERT_EQ(ThConvertTo24Bit(p.bits, p.info), 1);
    const BYTE bitsOn[10] = {1, 0, 1, 0, 0, 1, 0, 1, 0, 1};
    for (int x = 0; x < 10; ++x) EXPECT_EQ(p.row(0)[3 * x + 1], bitsOn[x] ? 255 : 0) << x;

    Make(p, 2, 1, 8);
    p.row(0)[0] = 255;
    p.row(0)[1] = 7;
    ASSERT_EQ(ThConvertTo24Bit(p.bits, p.info), 1);
    const std::vector<BYTE> grey = {255, 255, 255, 7, 7, 7, 0, 0};
    EXPECT_EQ(p.bytes(), grey);
}

TEST(ConvertToNumBit, TargetsAndSameDepth) {
    Pair p;
    Make(p, 2, 2, 24);
    EXPECT_EQ(ThConvertToNumBit(p.bits, p.info, 24), 0);
    EXPECT_EQ(ThConvertToNumBit(p.bits, p.info, 2), 0);
    Make(p, 2, 2, 8);
    void* before = p.bits;
    BITMAPINFO* header = p.info;
    EXPECT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(p.info, header);
}

TEST(ConvertToNumBit, ErrorDiffusionOntoTheFixedPalette) {
    // Worked by hand: a quarter of the error goes down, half to the right;
    // blue is rounded to its level, red and green truncated.
    Pair p;
    Make(p, 2, 2, 24);
    SetBgr(p, 0, 0, 100, 50, 200);
    SetBgr(p, 1, 0, 10, 250, 30);
    SetBgr(p, 0, 1, 128, 128, 128);
    SetBgr(p, 1, 1, 255, 255, 255);
    p.h().biClrUsed = 0;
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    // Padding bytes carry what was left in the working row [kept as is].
    const std::vector<BYTE> expected = {197, 28, 200, 16, 114, 255, 123, 235};
    EXPECT_EQ(p.bytes(), expected);
    EXPECT_EQ(p.table()[197].rgbRed, 219);
    EXPECT_EQ(p.table()[197].rgbGreen, 36);
    EXPECT_EQ(p.table()[197].rgbBlue, 85);
    EXPECT_EQ(p.table()[255].rgbBlue, 255);
    const BYTE* fixed = VellumFixedPalette332();
    EXPECT_EQ(fixed[3 * 114], 109);
    EXPECT_EQ(fixed[3 * 114 + 1], 146);
    EXPECT_EQ(fixed[3 * 114 + 2], 170);
}

TEST(ConvertToNumBit, BlueLevelsRoundAndWhiteIsTheLastEntry) {
    // The first row is mapped before any error reaches it.
    const struct {
        BYTE b, g, r;
        int index;
    } cases[] = {{255, 255, 255, 255}, {212, 0, 0, 2}, {214, 0, 0, 3},
                 {0, 31, 31, 0},       {0, 32, 32, 36}, {128, 0, 0, 1}, {129, 0, 0, 2}};
    for (const auto& c : cases) {
        Pair p;
        Make(p, 1, 2, 24);
        SetBgr(p, 0, 0, c.b, c.g, c.r);
        ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
        EXPECT_EQ(p.row(0)[0], c.index) << int(c.b) << "," << int(c.g) << "," << int(c.r);
    }
}

TEST(ConvertToNumBit, OneRowImageDiffusesIntoACopyOfItself) {
    Pair p;
    Make(p, 1, 1, 24);
    SetBgr(p, 0, 0, 212, 0, 0);
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
    // 212 leaves +42 >> 2 = 10 in the copy, whose 222 rounds to level 3.
    EXPECT_EQ(p.row(0)[0], 3);
    EXPECT_EQ(p.h().biHeight, 1);
}

TEST(ConvertToNumBit, FourBitsExpandToOneBytePerNibble) {
    Pair p;
    Make(p, 3, 2, 4);
    p.h().biClrUsed = 0;
    p.row(0)[0] = 0x12;
    p.row(0)[1] = 0x3F;
    p.row(1)[0] = 0xAB;
    p.row(1)[1] = 0xC0;
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biClrUsed, 256u);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    const std::vector<BYTE> expected = {1, 2, 3, 0, 10, 11, 12, 0};
    EXPECT_EQ(p.bytes(), expected);
    EXPECT_EQ(p.table()[15].rgbRed, 255);
    EXPECT_EQ(p.table()[16].rgbRed, 0);  // the other 240 entries are not set
}

TEST(ConvertToNumBit, DisplayReductionToOneAndFourBits) {
    Pair p;
    Make(p, 3, 1, 24);
    SetBgr(p, 0, 0, 255, 255, 255);
    SetBgr(p, 1, 0, 0, 200, 100);  // luminance (3000 + 11800) / 100 = 148
    SetBgr(p, 2, 0, 255, 100, 40);  // (1200 + 5900 + 2805) / 100 = 99
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 1), 1);
    EXPECT_EQ(p.h().biBitCount, 1);
    EXPECT_EQ(p.row(0)[0], 0xC0);
    EXPECT_EQ(p.table()[1].rgbGreen, 255);

    Make(p, 2, 1, 24);
    SetBgr(p, 0, 0, 0, 0, 250);      // red
    SetBgr(p, 1, 0, 190, 190, 200);  // light grey
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 4), 1);
    EXPECT_EQ(p.row(0)[0], 0x97);

    // 1-bit to 8 goes through the same reduction: black and white entries.
    Make(p, 2, 1, 1);
    p.row(0)[0] = 0x40;
    ASSERT_EQ(ThConvertToNumBit(p.bits, p.info, 8), 1);
    EXPECT_EQ(p.row(0)[0], 0);
    EXPECT_EQ(p.row(0)[1], 255);
}

TEST(NoFillBytes, PacksRowsOrExpandsOneBytePerPixel) {
    Pair p;
    Make(p, 3, 2, 24);
    for (int i = 0; i < 24; ++i) static_cast<BYTE*>(p.bits)[i] = BYTE(i);
    ASSERT_EQ(ThConvertDIBToNoFillBytes(p.bits, p.info, 1), 1);  // 24 bits: packing only
    const BYTE packed[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    EXPECT_EQ(std::memcmp(p.bits, packed, sizeof packed), 0);
    EXPECT_EQ(GlobalSize(p.bits), 24u);
    EXPECT_EQ(p.h().biBitCount, 24);

    Make(p, 10, 2, 1);
    p.row(0)[0] = 0xA5;
    p.row(0)[1] = 0xC0;
    p.row(1)[0] = 0xFF;
    ASSERT_EQ(ThConvertDIBToNoFillBytes(p.bits, p.info, 1), 1);
    const BYTE ones[] = {1, 0, 1, 0, 0, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
    EXPECT_EQ(std::memcmp(p.bits, ones, sizeof ones), 0);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biClrUsed, 256u);
}

TEST(NoFillBytes, OddFourBitWidthsWriteTwoExtraBytesPerRow) {
    Pair p;
    Make(p, 3, 2, 4);
    const BYTE rows[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
    std::memcpy(p.bits, rows, sizeof rows);
    ASSERT_EQ(ThConvertDIBToNoFillBytes(p.bits, p.info, 1), 1);
    // Pairs run to 4 pixels, then the high nibble of the byte after them.
    const std::vector<BYTE> expected = {1, 2, 3, 4, 5, 9, 10, 11, 12, 13};
    ASSERT_EQ(GlobalSize(p.bits), expected.size());
    EXPECT_EQ(std::memcmp(p.bits, expected.data(), expected.size()), 0);

    // At width 7 the byte after the pairs is the next row's first byte, and
    // past the last row there is nothing to read: 0.
    Make(p, 7, 2, 4);
    const BYTE wide[] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    std::memcpy(p.bits, wide, sizeof wide);
    ASSERT_EQ(ThConvertDIBToNoFillBytes(p.bits, p.info, 1), 1);
    const BYTE* out = static_cast<const BYTE*>(p.bits);
    EXPECT_EQ(out[8], 5);   // row 0's extra byte: high nibble of 0x55
    EXPECT_EQ(out[17], 0);  // row 1's extra byte lies past the block
}

TEST(CalColorIndex, BlueMajorDistanceAndTableSizes) {
    Pair p;
    Make(p, 1, 1, 1);
    p.table()[0] = RGBQUAD{0, 0, 0, 0};
    p.table()[1] = RGBQUAD{255, 255, 255, 0};
    EXPECT_EQ(ThCalColorIndex(p.info, 255, 255, 255), 255);
    EXPECT_EQ(ThCalColorIndex(p.info, 10, 10, 10), 0);

    Make(p, 1, 1, 4);
    EXPECT_EQ(ThCalColorIndex(p.info, 0x88, 0x88, 0x88), 8 * 17);

    // Blue dominates: pure red (blue 0) is nearer to black than to a red
    // entry with blue 1, because one step of blue outweighs all of red.
    Make(p, 1, 1, 8);
    p.h().biClrUsed = 3;
    p.table()[0] = RGBQUAD{0, 0, 0, 0};
    p.table()[1] = RGBQUAD{1, 0, 255, 0};
    p.table()[2] = RGBQUAD{0, 0, 0, 0};
    EXPECT_EQ(ThCalColorIndex(p.info, 255, 0, 0), 0);  // first of the equals
    EXPECT_EQ(ThCalColorIndex(p.info, 0x1FF, 0, 0x101), 1);  // only low bytes count

    Make(p, 1, 1, 24);
    EXPECT_EQ(ThCalColorIndex(p.info, 0, 0, 0), -1);
    EXPECT_EQ(ThCalColorIndex(nullptr, 0, 0, 0), -1);
}

TEST(FlatInterface, ConvertTo24BitKeepsATopDownHeight) {
    Pair p;
    Make(p, 2, 2, 8);
    p.row(0)[0] = 10;
    p.row(1)[1] = 200;
    p.h().biHeight = -2;
    HGLOBAL handle = p.bits;
    ASSERT_EQ(ConvertTo24Bit(p.info, &handle), 1);
    p.bits = handle;
    EXPECT_EQ(p.h().biHeight, -2);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biSizeImage, 16u);
    const BYTE* b = static_cast<const BYTE*>(p.bits);
    EXPECT_EQ(b[0], 10);
    EXPECT_EQ(b[8 + 3], 200);

    Make(p, 1, 1, 16);
    static_cast<BYTE*>(p.bits)[0] = 0x1F;
    p.h().biClrUsed = 4;
    handle = p.bits;
    ASSERT_EQ(ConvertTo24Bit(p.info, &handle), 1);
    p.bits = handle;
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biClrUsed, 4u);  // normalising alone keeps the count
    EXPECT_EQ(static_cast<BYTE*>(p.bits)[0], 248);

    Make(p, 1, 1, 2);
    handle = p.bits;
    EXPECT_EQ(ConvertTo24Bit(p.info, &handle), 0);
    EXPECT_EQ(ConvertTo24Bit(nullptr, &handle), 0);
    HGLOBAL none = nullptr;
    EXPECT_EQ(ConvertTo24Bit(p.info, &none), 0);

    HGLOBAL block = GlobalAlloc(GPTR, 8);
    FreeImgMemory(&block);
    EXPECT_EQ(block, nullptr);
    FreeImgMemory(&block);
    EXPECT_EQ(block, nullptr);
}
