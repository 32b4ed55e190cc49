// DIB pair <-> device bitmap exchange.
#include <gtest/gtest.h>

#include <random>

#include "dib/ddb.h"
#include "platform/gdi.h"
#include "platform/user.h"
#include "support/dib_fixture.h"

using vtest::Make;
using vtest::Pair;
using vtest::SetBgr;

TEST(DeviceBitmaps, RoundTripAtTwentyFourBits) {
    const long before = VellumGdiObjectCount();
    Pair p;
    Make(p, 5, 3, 24);
    std::mt19937 random(1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            SetBgr(p, x, y, BYTE(random()), BYTE(random()), BYTE(random()));
    const std::vector<BYTE> original = p.bytes();
    HBITMAP bitmap = ThDIBToBitmap(p.bits, p.info);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(p.bytes(), original);  // the pair is not touched
    // bitCount 0: a 32-bit device bitmap reads back at 24 bits.
    // The old bits are released before the new block is taken, so the
    // allocator may hand back the same address: only a block is required.
    ASSERT_EQ(ThBitmapToDIB(p.bits, p.info, bitmap, nullptr, 0), 1);
    ASSERT_NE(p.bits, nullptr);
    const BITMAPINFOHEADER& h = p.h();
    EXPECT_EQ(h.biSize, 40u);
    EXPECT_EQ(h.biWidth, 5);
    EXPECT_EQ(h.biHeight, 3);
    EXPECT_EQ(h.biPlanes, 1);
    EXPECT_EQ(h.biBitCount, 24);
    EXPECT_EQ(h.biCompression, 0u);
    EXPECT_EQ(h.biSizeImage, 48u);
    EXPECT_EQ(h.biXPelsPerMeter, 3780);
    EXPECT_EQ(h.biYPelsPerMeter, 3780);
    EXPECT_EQ(h.biClrUsed, 0u);
    EXPECT_EQ(p.bytes(), original);
    // At 8 bits: the driver's 3-3-2 table; at 16 bits 5-5-5 words.
    ASSERT_EQ(ThBitmapToDIB(p.bits, p.info, bitmap, nullptr, 8), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biSizeImage, 24u);
    EXPECT_EQ(p.table()[255].rgbBlue, 255);
    EXPECT_EQ(p.table()[36].rgbGreen, 36);
    ASSERT_EQ(ThBitmapToDIB(p.bits, p.info, bitmap, nullptr, 16), 1);
    const unsigned word = p.row(0)[0] | p.row(0)[1] << 8;
    EXPECT_EQ(word, unsigned((original[2] >> 3) << 10 | (original[1] >> 3) << 5 | original[0] >> 3));
    EXPECT_TRUE(DeleteObject(bitmap));
    EXPECT_EQ(VellumGdiObjectCount(), before);
}

TEST(DeviceBitmaps, RefusalsLeaveThePair) {
    Pair p;
    Make(p, 2, 2, 24);
    void* bits = p.bits;
    BITMAPINFO* info = p.info;
    EXPECT_EQ(ThBitmapToDIB(p.bits, p.info, nullptr, nullptr, 24), 0);
    HRGN notABitmap = CreateRectRgn(0, 0, 1, 1);
    EXPECT_EQ(ThBitmapToDIB(p.bits, p.info, reinterpret_cast<HBITMAP>(notABitmap), nullptr, 24), 0);
    DeleteObject(notABitmap);
    EXPECT_EQ(p.bits, bits);
    EXPECT_EQ(p.info, info);
    p.h().biBitCount = 12;
    EXPECT_EQ(ThDIBToBitmap(p.bits, p.info), nullptr);
    EXPECT_EQ(ThDIBToBitmap(p.bits, nullptr), nullptr);
}
