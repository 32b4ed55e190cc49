#include <gtest/gtest.h>

#include "dib/dib.h"
#include "support/dib_fixture.h"

using vtest::Make;
using vtest::Pair;

TEST(DibHeader, ColourCountFollowsClrUsedThenDepth) {
    Pair p;
    const struct {
        int depth;
        DWORD clrUsed;
        long expected;
    } cases[] = {{1, 0, 2}, {4, 0, 16}, {8, 0, 256}, {8, 5, 5},  {16, 0, 0},
                 {24, 0, 0}, {32, 0, 0}, {24, 3, 3}, {2, 0, 0}, {4, 300, 300}};
    for (const auto& c : cases) {
        Make(p, 1, 1, c.depth);
        p.h().biClrUsed = c.clrUsed;
        EXPECT_EQ(ThCalDibColorCount(p.info), c.expected) << c.depth << " bits, " << c.clrUsed;
    }
    EXPECT_EQ(ThCalDibColorCount(nullptr), 0);
}

TEST(DibHeader, SingleArgumentCopyKeepsASpareEntryForTrueColour) {
    Pair p;
    Make(p, 4, 4, 24);
    p.table()[0] = RGBQUAD{1, 2, 3, 4};
    BITMAPINFO* copy = ThCreateNewBitmapInfo(p.info);
    ASSERT_NE(copy, nullptr);
    // 44 bytes: the spare entry travels with the header.
    EXPECT_EQ(std::memcmp(copy, p.info, 44), 0);
    VellumDeleteHeader(copy);

    Make(p, 4, 4, 8);
    p.h().biClrUsed = 5;
    for (int i = 0; i < 8; ++i) p.table()[i] = RGBQUAD{BYTE(i + 1), 0, 0, 0};
    copy = ThCreateNewBitmapInfo(p.info);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::memcmp(copy, p.info, 60), 0);
    // Only five entries are copied; the rest of the block is zero.
    EXPECT_EQ(VellumColorTable(copy)[5].rgbBlue, 0);
    EXPECT_EQ(copy->bmiHeader.biClrUsed, 5u);
    VellumDeleteHeader(copy);

    Make(p, 4, 4, 4);
    p.table()[15] = RGBQUAD{9, 9, 9, 0};
    copy = ThCreateNewBitmapInfo(p.info);
    EXPECT_EQ(std::memcmp(copy, p.info, 40 + 64), 0);
    VellumDeleteHeader(copy);
    EXPECT_EQ(ThCreateNewBitmapInfo(nullptr), nullptr);
}

TEST(DibHeader, CountedCopySetsClrUsed) {
    Pair p;
    Make(p, 2, 2, 8);
    BITMAPINFO* copy = ThCreateNewBitmapInfo(p.info, 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->bmiHeader.biClrUsed, 3u);
    EXPECT_EQ(std::memcmp(VellumColorTable(copy), p.table(), 12), 0);
    EXPECT_EQ(VellumColorTable(copy)[3].rgbRed, 0);  // not copied
    EXPECT_EQ(p.h().biClrUsed, 0u);                  // the source is untouched
    VellumDeleteHeader(copy);
    EXPECT_EQ(ThCreateNewBitmapInfo(nullptr, 3), nullptr);
}

TEST(DibCopy, CopiesHeaderAndStrideSizedBits) {
    Pair src, dst;
    Make(src, 3, 2, 24);
    for (int i = 0; i < 24; ++i) static_cast<BYTE*>(src.bits)[i] = BYTE(i * 7);
    src.h().biSizeImage = 999;
    ASSERT_EQ(ThCopyDibData(dst.bits, dst.info, src.bits, src.info), 1);
    EXPECT_EQ(dst.h().biSizeImage, 24u);  // stride 12 x 2 rows
    EXPECT_EQ(GlobalSize(dst.bits), 24u);
    EXPECT_EQ(dst.bytes(), src.bytes());

    Make(src, 1, 1, 1);
    static_cast<BYTE*>(src.bits)[0] = 0x80;
    ASSERT_EQ(ThCopyDibData(dst.bits, dst.info, src.bits, src.info), 1);
    EXPECT_EQ(dst.h().biSizeImage, 4u);
    EXPECT_EQ(dst.h().biBitCount, 1);
    EXPECT_EQ(static_cast<BYTE*>(dst.bits)[0], 0x80);
    EXPECT_EQ(dst.table()[1].rgbGreen, 255);
}

TEST(DibCopy, NullSourceChangesNothingAndSelfCopySurvives) {
    Pair p;
    Make(p, 2, 2, 8);
    void* oldBits = p.bits;
    BITMAPINFO* oldInfo = p.info;
    EXPECT_EQ(ThCopyDibData(p.bits, p.info, nullptr, oldInfo), 0);
    EXPECT_EQ(ThCopyDibData(p.bits, p.info, oldBits, nullptr), 0);
    EXPECT_EQ(p.bits, oldBits);
    EXPECT_EQ(p.info, oldInfo);

    static_cast<BYTE*>(p.bits)[5] = 77;
    ASSERT_EQ(ThCopyDibData(p.bits, p.info, p.bits, p.info), 1);
    EXPECT_EQ(static_cast<BYTE*>(p.bits)[5], 77);
    EXPECT_EQ(p.table()[255].rgbRed, 255);
}

TEST(DibCopy, FailedAllocationLeavesBothPointersNull) {
    Pair src, dst;
    Make(src, 2, 2, 24);
    Make(dst, 1, 1, 8);
    // A header claiming more than the global heap will hand out; the bits are
    // never read because the allocation fails first.
    src.h().biWidth = 40000;
    src.h().biHeight = 40000;
    EXPECT_EQ(ThCopyDibData(dst.bits, dst.info, src.bits, src.info), 0);
    EXPECT_EQ(dst.bits, nullptr);
    EXPECT_EQ(dst.info, nullptr);
}

TEST(DibHeader, CoreHeaderConvertsWithItsThreeByteTable) {
    BITMAPINFO* block = VellumNewHeader(kFullHeaderBytes);
    auto* raw = reinterpret_cast<BYTE*>(block);
    const BYTE core[12] = {12, 0, 0, 0, 0x2C, 0x01, 0x03, 0x00, 1, 0, 8, 0};  // 300 x 3, 8 bits
    std::memcpy(raw, core, 12);
    for (int i = 0; i < 256; ++i) {
        raw[12 + 3 * i] = BYTE(i);
        raw[13 + 3 * i] = BYTE(255 - i);
        raw[14 + 3 * i] = 7;
    }
    ASSERT_EQ(ThConvertOSInfo(block), 256);
    const BITMAPINFOHEADER& h = block->bmiHeader;
    EXPECT_EQ(h.biSize, 40u);
    EXPECT_EQ(h.biWidth, 300);
    EXPECT_EQ(h.biHeight, 3);
    EXPECT_EQ(h.biBitCount, 8);
    EXPECT_EQ(h.biSizeImage, 900u);
    EXPECT_EQ(h.biClrUsed, 0u);
    for (int i : {0, 1, 100, 255}) {
        const RGBQUAD& q = VellumColorTable(block)[i];
        EXPECT_EQ(q.rgbBlue, i);
        EXPECT_EQ(q.rgbGreen, 255 - i);
        EXPECT_EQ(q.rgbRed, 7);
        EXPECT_EQ(q.rgbReserved, 0);
    }

    // 24 bits: no table is written.
    std::memset(raw, 0xAB, kFullHeaderBytes);
    const BYTE core24[12] = {12, 0, 0, 0, 0xFF, 0xFF, 2, 0, 1, 0, 24, 0};
    std::memcpy(raw, core24, 12);
    EXPECT_EQ(ThConvertOSInfo(block), 0);
    EXPECT_EQ(h.biWidth, 65535);  // widths are zero-extended
    EXPECT_EQ(h.biSizeImage, ((65535u * 24 + 7) / 8 + 3) / 4 * 4 * 2);
    EXPECT_EQ(raw[40], 0xAB);
    EXPECT_EQ(ThConvertOSInfo(nullptr), 0);
    VellumDeleteHeader(block);
}

TEST(DibHeader, StrideRule) {
    EXPECT_EQ(VellumDibStride(24, 3), 12);
    EXPECT_EQ(VellumDibStride(1, 1), 4);
    EXPECT_EQ(VellumDibStride(1, 33), 8);
    EXPECT_EQ(VellumDibStride(4, 9), 8);
    EXPECT_EQ(VellumDibStride(8, 5), 8);
    EXPECT_EQ(VellumDibStride(32, 0x7FFFFFFF), std::int64_t{0x7FFFFFFF} * 4);  // no overflow
}
