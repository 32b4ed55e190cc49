#include <gtest/gtest.h>

#include <cstring>

#include "geometry/scale.h"
#include "geometry_test_util.h"
#include "support/dib_fixture.h"

using gtest_geo::BlueRow;
using gtest_geo::ByteRow;
using gtest_geo::GetIndex;
using gtest_geo::SetGrey;
using gtest_geo::SetIndex;
using vtest::Make;
using vtest::Pair;

namespace {

// A 24-bit w x h image whose pixel (x, y) is grey value(x, y).
template <typename F>
void MakeGrey(Pair& p, int w, int h, F value) {
    Make(p, w, h, 24);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) SetGrey(p, x, y, static_cast<BYTE>(value(x, y)));
    }
}

}  // namespace

TEST(Scale24, AxisRulesAtTheHalvingBoundary) {
    // Width 8 with values 0, 10, ..., 70 on both rows (height 2 -> 2 copies).
    auto ramp = [](int x, int) { return 10 * x; };
    Pair p;
    // New width 4 = 8 / 2: averaging, step 1792: columns 0-1, 2-3, 4-5, 6-7.
    MakeGrey(p, 8, 2, ramp);
    ASSERT_EQ(ThScale(p.bits, p.info, 4, 2, 0), 1);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{5, 25, 45, 65}));
    EXPECT_EQ(BlueRow(p, 1), BlueRow(p, 0));
    EXPECT_EQ(p.h().biSizeImage, 24u);
    // New width 3: step 2389 covers 0-2, 3-4, 5-6; column 7 is never read.
    MakeGrey(p, 8, 2, ramp);
    ASSERT_EQ(ThScale(p.bits, p.info, 3, 2, 0), 1);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{10, 35, 55}));
    // New width 5 = half + 1: interpolation, step 1792; 17.5 and 52.5 truncate.
    MakeGrey(p, 8, 2, ramp);
    ASSERT_EQ(ThScale(p.bits, p.info, 5, 2, 0), 1);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{0, 17, 35, 52, 70}));

    // The same along the vertical axis (memory rows).
    auto rows = [](int, int y) { return 10 * y; };
    for (auto [n, expected] : {std::pair{4, std::vector<int>{5, 25, 45, 65}},
                               std::pair{3, std::vector<int>{10, 35, 55}},
                               std::pair{5, std::vector<int>{0, 17, 35, 52, 70}}}) {
        MakeGrey(p, 2, 8, rows);
        ASSERT_EQ(ThScale(p.bits, p.info, 2, n, 0), 1);
        std::vector<int> column;
        for (int y = 0; y < n; ++y) column.push_back(gtest_geo::Blue(p, 1, y));
        EXPECT_EQ(column, expected) << n;
    }
}

TEST(Scale24, MixedRulesShiftEachLineBeforeAveraging) {
    Pair p;
    // 4 x 4 to 3 x 2: rows 0-1 averaged, column 1 of the output at source 1 +
    // 512/1024. Row 0 gives (1 + 2) / 2 -> 1, row 1 (2 + 3) / 2 -> 2: 3 / 2 = 1
    // (summing first would give 2).
    MakeGrey(p, 4, 4, [](int x, int y) { return y < 2 ? x + y : 0; });
    ASSERT_EQ(ThScale(p.bits, p.info, 3, 2, 0), 1);
    EXPECT_EQ(gtest_geo::Blue(p, 1, 0), 1);
    EXPECT_EQ(gtest_geo::Blue(p, 0, 0), 0);  // (0 + 1) / 2
    EXPECT_EQ(gtest_geo::Blue(p, 2, 0), 3);  // column 3 with itself: (3 + 4) / 2
    // Transposed: 4 x 2 to 2 x 3, interpolated rows, averaged columns.
    MakeGrey(p, 4, 2, [](int x, int y) { return x < 2 ? x + y + 1 : 0; });
    ASSERT_EQ(ThScale(p.bits, p.info, 2, 3, 0), 1);
    EXPECT_EQ(gtest_geo::Blue(p, 0, 1), 1);  // (1.5 -> 1) + (2.5 -> 2), / 2
    EXPECT_EQ(gtest_geo::Blue(p, 0, 2), 2);  // last row with itself: (2 + 3) / 2
}

TEST(Scale24, BilinearCentreAndClampedEdges) {
    Pair p;
    Make(p, 2, 2, 24);
    vtest::SetBgr(p, 0, 0, 0, 1, 2);
    vtest::SetBgr(p, 1, 0, 100, 3, 4);
    vtest::SetBgr(p, 0, 1, 200, 5, 6);
    vtest::SetBgr(p, 1, 1, 255, 7, 9);
    ASSERT_EQ(ThScale(p.bits, p.info, 3, 3, 0), 1);
    // Centre: (0 + 100 + 200 + 255) / 4 = 138.75 -> 138; green 4; red 5.25 -> 5.
    EXPECT_EQ(p.row(1)[3], 138);
    EXPECT_EQ(p.row(1)[4], 4);
    EXPECT_EQ(p.row(1)[5], 5);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{0, 50, 100}));
    EXPECT_EQ(BlueRow(p, 2), (std::vector<int>{200, 227, 255}));
    // Row padding of the 3-pixel rows (9 bytes in 12) is left 0.
    for (int y = 0; y < 3; ++y) EXPECT_EQ(p.row(y)[9] | p.row(y)[10] | p.row(y)[11], 0);
}

TEST(Scale24, SameSizeClampAndRefusals) {
    Pair p;
    Make(p, 3, 2, 24);
    p.h().biSizeImage = 0;
    void* before = p.bits;
    EXPECT_EQ(ThScale(p.bits, p.info, 3, 2, 0), 1);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(p.h().biSizeImage, 0u);  // not even biSizeImage
    // 1 x 1 asked, 2 x 2 made.
    SetGrey(p, 0, 0, 40);
    ASSERT_EQ(ThScale(p.bits, p.info, 1, 1, 0), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    EXPECT_EQ(p.h().biHeight, 2);
    EXPECT_EQ(p.h().biSizeImage, 16u);
    // A 1 x 1 image grows by replicating its pixel.
    Make(p, 1, 1, 24);
    SetGrey(p, 0, 0, 77);
    ASSERT_EQ(ThScale(p.bits, p.info, 3, 2, 0), 1);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{77, 77, 77}));
    EXPECT_EQ(BlueRow(p, 1), (std::vector<int>{77, 77, 77}));

    // 32 bits are refused, as are null pointers and empty images.
    Make(p, 2, 2, 32);
    before = p.bits;
    EXPECT_EQ(ThScale(p.bits, p.info, 4, 4, 0), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(p.h().biWidth, 2);
    void* nobits = nullptr;
    EXPECT_EQ(ThScale(nobits, p.info, 4, 4, 0), 0);
    Make(p, 2, 2, 24);
    p.h().biHeight = 0;
    EXPECT_EQ(ThScale(p.bits, p.info, 4, 4, 0), 0);
}

TEST(Scale1Bit, NearestNeighbourKeepsOneBit) {
    Pair p;
    Make(p, 3, 2, 1);
    p.table()[1] = RGBQUAD{9, 8, 7, 0};
    SetIndex(p, 0, 0, 1);
    SetIndex(p, 2, 1, 1);
    BITMAPINFO* oldHeader = p.info;
    // Growing both ways: rows 2 y / 3, columns 3 x / 5, bits stay bits.
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 5, 3, 1), 1);
    EXPECT_NE(p.info, oldHeader);  // always a new header block
    EXPECT_EQ(p.h().biBitCount, 1);
    EXPECT_EQ(p.table()[1].rgbBlue, 9);
    EXPECT_EQ(p.h().biSizeImage, 12u);
    const int expected[3][5] = {{1, 1, 0, 0, 0}, {1, 1, 0, 0, 0}, {0, 0, 0, 0, 1}};
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) EXPECT_EQ(GetIndex(p, x, y), expected[y][x]) << x << "," << y;
    }
    // toGrey 0 shrinks bit for bit as well.
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 2, 1, 0), 1);
    EXPECT_EQ(p.h().biBitCount, 1);
    EXPECT_EQ(GetIndex(p, 0, 0), 1);  // source column 0 of row 0
    EXPECT_EQ(GetIndex(p, 1, 0), 0);  // source column 2 of row 0
}

TEST(Scale1Bit, RampTableAndFailures) {
    Pair p;
    Make(p, 4, 4, 1);
    p.table()[0] = RGBQUAD{10, 20, 30, 0};
    p.table()[1] = RGBQUAD{250, 0, 128, 0};
    p.h().biClrUsed = 2;
    p.h().biClrImportant = 2;
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 2, 2, 1), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_EQ(p.h().biClrImportant, 0u);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    // Signed division truncates toward zero: green 20 - 20 / 255 stays 20.
    EXPECT_EQ(p.table()[1].rgbGreen, 20);
    EXPECT_EQ(p.table()[128].rgbBlue, 130);
    EXPECT_EQ(p.table()[128].rgbGreen, 10);
    EXPECT_EQ(p.table()[128].rgbRed, 79);
    EXPECT_EQ(p.table()[255].rgbRed, 128);

    // A failed call has still replaced the header block, with equal contents.
    Make(p, 4, 4, 1);
    BITMAPINFO* oldHeader = p.info;
    BITMAPINFOHEADER copy = p.h();
    void* before = p.bits;
    EXPECT_EQ(ThScale1Bit(p.bits, p.info, 0, 3, 1), 0);
    EXPECT_NE(p.info, oldHeader);
    EXPECT_EQ(std::memcmp(&p.h(), &copy, sizeof copy), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(ThScale1Bit(p.bits, p.info, 4, 4, 1), 1);
    EXPECT_EQ(p.bits, before);
    // Other depths are refused rather than read as bits.
    Make(p, 4, 4, 32);
    before = p.bits;
    EXPECT_EQ(ThScale1Bit(p.bits, p.info, 2, 2, 0), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(p.h().biBitCount, 32);
}

TEST(Scale1Bit, FourRampRules) {
    Pair p;
    // Both at most half: 4 x 4 to 2 x 2, boxes of 2 x 2; 3 set bits -> 765 / 4.
    Make(p, 4, 4, 1);
    SetIndex(p, 0, 0, 1);
    SetIndex(p, 1, 0, 1);
    SetIndex(p, 0, 1, 1);
    SetIndex(p, 3, 3, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 2, 2, 1), 1);
    EXPECT_EQ(ByteRow(p, 0), (std::vector<int>{191, 0}));
    EXPECT_EQ(ByteRow(p, 1), (std::vector<int>{0, 63}));

    // Width over half, height at most half: 4 x 4 to 3 x 2. Column step 1536;
    // output column 1 mixes source columns 1 and 2 at 512: column 1 has one
    // set bit in rows 0-1 (255), column 2 two (510): (255*512 + 510*512) / 2
    // >> 10 = 191. Output column 2 is source column 3 (fraction 0).
    Make(p, 4, 4, 1);
    SetIndex(p, 1, 0, 1);
    SetIndex(p, 2, 0, 1);
    SetIndex(p, 2, 1, 1);
    SetIndex(p, 3, 1, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 3, 2, 1), 1);
    EXPECT_EQ(ByteRow(p, 0), (std::vector<int>{0, 191, 127}));
    EXPECT_EQ(ByteRow(p, 1), (std::vector<int>{0, 0, 0}));

    // Width at most half, height over half: the transpose.
    Make(p, 4, 4, 1);
    SetIndex(p, 0, 1, 1);
    SetIndex(p, 0, 2, 1);
    SetIndex(p, 1, 2, 1);
    SetIndex(p, 1, 3, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 2, 3, 1), 1);
    std::vector<int> column;
    for (int y = 0; y < 3; ++y) column.push_back(p.row(y)[0]);
    EXPECT_EQ(column, (std::vector<int>{0, 191, 127}));

    // Both over half: bilinear, 2 x 2 to 3 x 3, centre = 255 x 3/4 -> 191.
    Make(p, 2, 2, 1);
    SetIndex(p, 0, 0, 1);
    SetIndex(p, 1, 0, 1);
    SetIndex(p, 0, 1, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 3, 1, 1), 1);  // width grows, height shrinks
    EXPECT_EQ(p.h().biBitCount, 8);
    Make(p, 4, 4, 1);
    SetIndex(p, 1, 1, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 3, 3, 1), 1);
    // step 1536 both ways: output (1, 1) at source 1.5, 1.5: 255 / 4 -> 63.
    EXPECT_EQ(p.row(1)[1], 63);
    EXPECT_EQ(p.row(0)[0], 0);

    // A side of 1 that stays 1 replicates: 1 x 8 to 1 x 3 (rows [0,2) [2,5) [5,8)).
    Make(p, 1, 8, 1);
    SetIndex(p, 0, 0, 1);
    SetIndex(p, 0, 2, 1);
    SetIndex(p, 0, 3, 1);
    for (int y = 5; y < 8; ++y) SetIndex(p, 0, y, 1);
    ASSERT_EQ(ThScale1Bit(p.bits, p.info, 1, 3, 1), 1);
    EXPECT_EQ(p.row(0)[0], 127);
    EXPECT_EQ(p.row(1)[0], 170);
    EXPECT_EQ(p.row(2)[0], 255);
}

TEST(ScaleAll, NearestNeighbourPerDepth) {
    Pair p;
    Make(p, 3, 2, 8);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) SetIndex(p, x, y, 10 * y + x);
    }
    p.table()[5] = RGBQUAD{1, 2, 3, 0};
    ASSERT_EQ(ThScaleAll(p.bits, p.info, 5, 3, 0), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biSizeImage, 24u);
    EXPECT_EQ(p.table()[5].rgbRed, 3);  // table unchanged
    EXPECT_EQ(ByteRow(p, 0), (std::vector<int>{0, 0, 1, 1, 2}));
    EXPECT_EQ(ByteRow(p, 1), (std::vector<int>{0, 0, 1, 1, 2}));
    EXPECT_EQ(ByteRow(p, 2), (std::vector<int>{10, 10, 11, 11, 12}));

    // 4 bits, odd widths: 5 -> 3 takes columns 0, 1, 3 (nibbles move across).
    Make(p, 5, 1, 4);
    for (int x = 0; x < 5; ++x) SetIndex(p, x, 0, x + 1);
    ASSERT_EQ(ThScaleAll(p.bits, p.info, 3, 1, 0), 1);
    EXPECT_EQ(p.row(0)[0], 0x12);
    EXPECT_EQ(p.row(0)[1], 0x40);
    EXPECT_EQ(p.h().biSizeImage, 4u);

    // 16 bits: an all-zero block of the new size, result 1.
    Make(p, 2, 2, 16);
    std::memset(p.bits, 0x55, 8);
    ASSERT_EQ(ThScaleAll(p.bits, p.info, 3, 3, 0), 1);
    EXPECT_EQ(p.h().biSizeImage, 24u);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(24, 0));

    // Refusals leave the pair alone.
    Make(p, 2, 2, 8);
    void* before = p.bits;
    EXPECT_EQ(ThScaleAll(p.bits, p.info, 0, 3, 0), 0);
    EXPECT_EQ(ThScaleAll(p.bits, p.info, 2, 2, 0), 1);
    EXPECT_EQ(p.bits, before);
}

TEST(ScaleAll, ModeOneGoesThroughTheEngine) {
    Pair p;
    Make(p, 4, 1, 8);  // grey table: 8-bit result with a grey ramp
    for (int x = 0; x < 4; ++x) SetIndex(p, x, 0, 60 * x);
    ASSERT_EQ(ThScaleAll(p.bits, p.info, 2, 1, 1), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biClrUsed, 256u);
    // Engine shrink: column 0 alone, then columns 1-2 (column 3 unused).
    EXPECT_EQ(ByteRow(p, 0), (std::vector<int>{0, 90}));
    // A coloured table gives 24 bits.
    Make(p, 2, 1, 8);
    p.table()[1] = RGBQUAD{1, 2, 3, 0};
    SetIndex(p, 1, 0, 1);
    ASSERT_EQ(ThScaleAll(p.bits, p.info, 4, 1, 1), 1);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.row(0)[9], 1);
    EXPECT_EQ(p.row(0)[11], 3);
}

TEST(ScaleCrop, KeepsPartOfTheScaledPictureOrLosesThePair) {
    Pair p;
    Make(p, 6, 1, 24);
    for (int x = 0; x < 6; ++x) SetGrey(p, x, 0, static_cast<BYTE>(10 * x));
    // Scaled to 3 x 1: columns {0}, {1,2}, {3,4}; keep columns 1..2.
    ASSERT_EQ(ThScaleCrop(p.bits, p.info, 3, 1, CRect(1, 0, 3, 1)), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    // The shrink starts at source column 6 x 1 / 3 = 2, which closes column 1
    // alone: 20, not the 15 of the full picture.
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{20, 35}));

    // An empty rectangle: 0, new header, bits gone.
    BITMAPINFO* oldHeader = p.info;
    EXPECT_EQ(ThScaleCrop(p.bits, p.info, 3, 1, CRect(2, 0, 2, 1)), 0);
    EXPECT_NE(p.info, oldHeader);
    EXPECT_EQ(p.bits, nullptr);
}

TEST(CreateThumbail, FitsNeverEnlargesAndRoundsOneRatio) {
    Pair p;
    Make(p, 100, 50, 24);
    CSize box(40, 40);
    ASSERT_EQ(ThCreateThumbail(box, p.bits, p.info), 1);
    EXPECT_EQ(box.cx, 40);
    EXPECT_EQ(box.cy, 20);
    EXPECT_EQ(p.h().biWidth, 40);
    EXPECT_EQ(p.h().biHeight, 20);

    // A box larger than the image: the image size, nothing changed.
    Make(p, 10, 8, 24);
    void* before = p.bits;
    box = CSize(30, 9);
    ASSERT_EQ(ThCreateThumbail(box, p.bits, p.info), 1);
    EXPECT_EQ(box, CSize(10, 8));
    EXPECT_EQ(p.bits, before);

    // 6 x 6 into 5 x 5: ry = 5/6 in single precision is below rx, so cx =
    // trunc(6 x ry) = 4 (both in double would keep 5 x 5).
    Make(p, 6, 6, 24);
    box = CSize(5, 5);
    ASSERT_EQ(ThCreateThumbail(box, p.bits, p.info), 1);
    EXPECT_EQ(box, CSize(4, 5));
    EXPECT_EQ(p.h().biWidth, 4);

    // Sides raised to 1; a 24-bit image is then made 2 x 2 by ThScale.
    Make(p, 1000, 2, 24);
    box = CSize(10, 10);
    ASSERT_EQ(ThCreateThumbail(box, p.bits, p.info), 1);
    EXPECT_EQ(box, CSize(10, 1));
    EXPECT_EQ(p.h().biHeight, 2);

    void* nobits = nullptr;
    EXPECT_EQ(ThCreateThumbail(box, nobits, p.info), 0);
}
