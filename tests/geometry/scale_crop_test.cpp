#include <gtest/gtest.h>

#include <cstring>

#include "dib/flat.h"
#include "geometry/scale_crop.h"
#include "geometry_test_util.h"
#include "support/dib_fixture.h"

using gtest_geo::BlueRow;
using gtest_geo::ByteRow;
using gtest_geo::SetGrey;
using gtest_geo::SetIndex;
using vtest::Make;
using vtest::Pair;

namespace {

// Runs the engine into a fresh 1064-byte header; the output is held in `out`.
int Engine(Pair& src, Pair& out, SIZE size, RECT r, int mode, std::size_t* working = nullptr) {
    out.reset();
    out.info = VellumNewHeader(kFullHeaderBytes);
    return VellumScaleCropEngine(out.info, &out.bits, src.info, src.bits, &size, r.left, r.top,
                                 r.right, r.bottom, mode, working);
}

const RECT kWhole{-1, -1, -1, -1};

}  // namespace

TEST(ScaleCropEngine, ShrinkGroupingStartsAtTheFirstKeptColumnAndRow) {
    Pair src, out;
    Make(src, 6, 1, 24);
    for (int x = 0; x < 6; ++x) SetGrey(src, x, 0, static_cast<BYTE>(10 * x));
    ASSERT_EQ(Engine(src, out, {3, 1}, kWhole, 2), 1);
    // Column 0 alone, then {1, 2}, {3, 4}; column 5 is never read.
    EXPECT_EQ(BlueRow(out, 0), (std::vector<int>{0, 15, 35}));
    EXPECT_EQ(out.h().biSizeImage, 12u);

    // Rows: 1 x 6 to 1 x 3 gives memory rows {0}, {1, 2}, {3, 4}. Keeping only
    // the top row starts at source row 6 x 2 / 3 = 4, which closes it alone.
    Make(src, 1, 6, 24);
    for (int y = 0; y < 6; ++y) SetGrey(src, 0, y, static_cast<BYTE>(10 * y));
    ASSERT_EQ(Engine(src, out, {1, 3}, kWhole, 2), 1);
    EXPECT_EQ(gtest_geo::Blue(out, 0, 0), 0);
    EXPECT_EQ(gtest_geo::Blue(out, 0, 1), 15);
    EXPECT_EQ(gtest_geo::Blue(out, 0, 2), 35);
    ASSERT_EQ(Engine(src, out, {1, 3}, RECT{0, 0, 1, 1}, 2), 1);
    EXPECT_EQ(out.h().biHeight, 1);
    EXPECT_EQ(gtest_geo::Blue(out, 0, 0), 40);
}

TEST(ScaleCropEngine, EnlargementWeighsWithEightBits) {
    Pair src, out;
    Make(src, 2, 1, 24);
    SetGrey(src, 1, 0, 255);
    ASSERT_EQ(Engine(src, out, {4, 1}, kWhole, 2), 1);
    // f = 128 at odd columns; the last one is clamped to the last pixel.
    EXPECT_EQ(BlueRow(out, 0), (std::vector<int>{0, 127, 255, 255}));

    Make(src, 1, 2, 24);
    SetGrey(src, 0, 1, 200);
    ASSERT_EQ(Engine(src, out, {1, 3}, kWhole, 2), 1);
    // pos = y x 2 over 3: rows 0, (0 + 2/3 -> f 170), (1 + 1/3, clamped).
    EXPECT_EQ(gtest_geo::Blue(out, 0, 0), 0);
    EXPECT_EQ(gtest_geo::Blue(out, 0, 1), 132);  // 200 x 170 >> 8 = 132.8
    EXPECT_EQ(gtest_geo::Blue(out, 0, 2), 200);
}

TEST(ScaleCropEngine, OutputDepthAndRamps) {
    Pair src, out;
    // A grey 8-bit table: 8-bit output, grey ramp, biClrUsed 256.
    Make(src, 2, 1, 8);
    SetIndex(src, 1, 0, 255);
    ASSERT_EQ(Engine(src, out, {4, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.h().biBitCount, 8);
    EXPECT_EQ(out.h().biClrUsed, 256u);
    EXPECT_EQ(out.table()[77].rgbRed, 77);
    EXPECT_EQ(ByteRow(out, 0), (std::vector<int>{0, 127, 255, 255}));

    // One coloured entry among the used ones: 24 bits, biClrUsed kept.
    Make(src, 2, 1, 8);
    src.table()[3] = RGBQUAD{1, 2, 3, 0};
    src.h().biClrUsed = 4;
    SetIndex(src, 0, 0, 3);
    ASSERT_EQ(Engine(src, out, {1, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.h().biBitCount, 24);
    EXPECT_EQ(out.h().biClrUsed, 4u);
    EXPECT_EQ(out.row(0)[0], 1);  // column 0 alone
    // The same entry past biClrUsed is not looked at: grey.
    src.h().biClrUsed = 3;
    ASSERT_EQ(Engine(src, out, {1, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.h().biBitCount, 8);
    EXPECT_EQ(out.row(0)[0], 1);  // the blue byte

    // 1 bit: 255 per set bit, ramp from entry 0 to entry 1 (signed division).
    Make(src, 4, 1, 1);
    src.table()[0] = RGBQUAD{10, 20, 30, 0};
    src.table()[1] = RGBQUAD{250, 0, 128, 0};
    SetIndex(src, 1, 0, 1);
    SetIndex(src, 2, 0, 1);
    ASSERT_EQ(Engine(src, out, {2, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.h().biBitCount, 8);
    EXPECT_EQ(ByteRow(out, 0), (std::vector<int>{0, 255}));
    EXPECT_EQ(out.table()[1].rgbGreen, 20);
    EXPECT_EQ(out.table()[128].rgbRed, 79);

    // 4-bit grey, high nibble first.
    Make(src, 2, 1, 4);
    SetIndex(src, 0, 0, 15);
    ASSERT_EQ(Engine(src, out, {1, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.row(0)[0], 255);

    // 16 bits (5-5-5) and 32 bits expand to 24.
    Make(src, 2, 1, 16);
    src.row(0)[0] = 0x1F;  // blue 31 -> 248
    src.row(0)[3] = 0x7C;  // red 31 -> 248
    ASSERT_EQ(Engine(src, out, {4, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.h().biBitCount, 24);
    EXPECT_EQ(out.row(0)[0], 248);
    EXPECT_EQ(out.row(0)[5], 124);  // red halfway
    Make(src, 2, 1, 32);
    std::memcpy(src.bits, "\x01\x02\x03\xFF\x05\x06\x07\xFF", 8);
    ASSERT_EQ(Engine(src, out, {1, 1}, kWhole, 2), 1);
    EXPECT_EQ(out.bytes(), (std::vector<BYTE>{1, 2, 3, 0}));
}

TEST(ScaleCropEngine, FitModeRatiosAndPixelAspect) {
    Pair src, out;
    Make(src, 40, 20, 24);
    SIZE size{10, 10};
    out.info = VellumNewHeader(kFullHeaderBytes);
    ASSERT_EQ(VellumScaleCropEngine(out.info, &out.bits, src.info, src.bits, &size, 5, 5, 6, 6, 0),
              1);
    EXPECT_EQ(size.cx, 10);
    EXPECT_EQ(size.cy, 5);  // written back
    EXPECT_EQ(out.h().biWidth, 10);
    EXPECT_EQ(out.h().biHeight, 5);

    // Single-precision ry: 6 x 6 into 5 x 5 gives 4 x 5.
    Make(src, 6, 6, 24);
    ASSERT_EQ(Engine(src, out, {5, 5}, kWhole, 0), 1);
    EXPECT_EQ(out.h().biWidth, 4);
    EXPECT_EQ(out.h().biHeight, 5);

    // Pixels twice as tall: 10 x 10 counts as 10 x 20; the copied header's
    // biYPelsPerMeter takes biXPelsPerMeter.
    Make(src, 10, 10, 24);
    src.h().biXPelsPerMeter = 2000;
    src.h().biYPelsPerMeter = 1000;
    ASSERT_EQ(Engine(src, out, {5, 5}, kWhole, 0), 1);
    EXPECT_EQ(out.h().biWidth, 2);
    EXPECT_EQ(out.h().biHeight, 5);
    EXPECT_EQ(out.h().biYPelsPerMeter, 2000);

    // Never enlarged: a copy of the bits under the source header.
    Make(src, 3, 2, 24);
    SetGrey(src, 2, 1, 9);
    src.h().biSizeImage = 0;
    ASSERT_EQ(Engine(src, out, {30, 30}, kWhole, 0), 1);
    EXPECT_NE(out.bits, src.bits);
    EXPECT_EQ(std::memcmp(&out.h(), &src.h(), 40), 0);
    EXPECT_EQ(std::memcmp(out.bits, src.bits, 16), 0);
}

TEST(ScaleCropEngine, SourceRectangleModeAndFailures) {
    Pair src, out;
    Make(src, 4, 4, 24);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) SetGrey(src, x, y, static_cast<BYTE>(10 * y + x));
    }
    // Mode 1, the top-right quarter at its own size: an exact crop.
    ASSERT_EQ(Engine(src, out, {2, 2}, RECT{2, 0, 4, 2}, 1), 1);
    EXPECT_EQ(BlueRow(out, 0), (std::vector<int>{22, 23}));
    EXPECT_EQ(BlueRow(out, 1), (std::vector<int>{32, 33}));
    // Mode 1 reaching outside keeps the intersection.
    ASSERT_EQ(Engine(src, out, {2, 2}, RECT{2, -5, 9, 2}, 1), 1);
    EXPECT_EQ(out.h().biWidth, 2);
    // Wholly outside, or empty: 0 and no bits.
    EXPECT_EQ(Engine(src, out, {2, 2}, RECT{5, 5, 9, 9}, 1), 0);
    EXPECT_EQ(out.bits, nullptr);
    EXPECT_EQ(Engine(src, out, {2, 2}, RECT{1, 1, 1, 3}, 2), 0);
    // Whole image at its own size: a copy.
    ASSERT_EQ(Engine(src, out, {4, 4}, kWhole, 2), 1);
    EXPECT_EQ(std::memcmp(out.bits, src.bits, 48), 0);
    // Unreadable sources.
    src.h().biBitCount = 2;
    EXPECT_EQ(Engine(src, out, {2, 2}, kWhole, 2), 0);
    src.h().biBitCount = 24;
    src.h().biWidth = 0;
    EXPECT_EQ(Engine(src, out, {2, 2}, kWhole, 2), 0);
}

TEST(ScaleCropEngine, WorkingMemoryStaysAFewRows) {
    Pair src, out;
    Make(src, 3000, 2000, 24);
    std::size_t working = 0;
    ASSERT_EQ(Engine(src, out, {160, 120}, kWhole, 2, &working), 1);
    EXPECT_GT(working, 0u);
    EXPECT_LT(working, 10u * 3000 * 3);  // well under ten source rows
}

TEST(MemScaleCrop, ArgumentsAndTopDownSources) {
    Pair src;
    Make(src, 4, 2, 24);
    SetGrey(src, 0, 0, 50);
    std::vector<BYTE> header(kFullHeaderBytes);
    auto* outInfo = reinterpret_cast<BITMAPINFO*>(header.data());
    HGLOBAL outBits = reinterpret_cast<HGLOBAL>(0x1);  // overwritten, not released
    SIZE size{0, 0};
    ASSERT_EQ(MemScaleCrop(outInfo, &outBits, src.info, src.bits, &size, RECT{-1, -1, -1, -1}, 2),
              1);
    EXPECT_EQ(size.cx, 1);
    EXPECT_EQ(size.cy, 1);
    EXPECT_EQ(outInfo->bmiHeader.biWidth, 1);
    EXPECT_EQ(outInfo->bmiHeader.biHeight, 1);
    EXPECT_EQ(static_cast<BYTE*>(outBits)[0], 50);
    FreeImgMemory(&outBits);
    EXPECT_EQ(outBits, nullptr);

    // Flag 0 fits and writes the size back; the rectangle is ignored.
    size = SIZE{2, 2};
    ASSERT_EQ(MemScaleCrop(outInfo, &outBits, src.info, src.bits, &size, RECT{0, 0, 0, 0}, 0), 1);
    EXPECT_EQ(size.cx, 2);
    EXPECT_EQ(size.cy, 1);
    FreeImgMemory(&outBits);

    // A top-down source is read with |height| rows in memory order.
    src.h().biHeight = -2;
    size = SIZE{4, 1};
    ASSERT_EQ(MemScaleCrop(outInfo, &outBits, src.info, src.bits, &size, RECT{0, 0, 4, 1}, 2), 1);
    EXPECT_EQ(outInfo->bmiHeader.biHeight, 1);
    EXPECT_EQ(static_cast<BYTE*>(outBits)[0], 50);  // memory row 0 closes the row alone
    FreeImgMemory(&outBits);

    EXPECT_EQ(MemScaleCrop(nullptr, &outBits, src.info, src.bits, &size, RECT{}, 0), 0);
    EXPECT_EQ(MemScaleCrop(outInfo, &outBits, src.info, nullptr, &size, RECT{}, 0), 0);
    EXPECT_EQ(MemScaleCrop(outInfo, &outBits, src.info, src.bits, &size, RECT{3, 3, 3, 3}, 2), 0);
    EXPECT_EQ(outBits, nullptr);
}
