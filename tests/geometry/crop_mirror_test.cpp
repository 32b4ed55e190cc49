#include <gtest/gtest.h>

#include <cstring>

#include "geometry/crop.h"
#include "geometry/mirror.h"
#include "geometry_test_util.h"
#include "support/dib_fixture.h"

using gtest_geo::BlueRow;
using gtest_geo::ByteRow;
using gtest_geo::GetIndex;
using gtest_geo::SetIndex;
using vtest::Make;
using vtest::Pair;

TEST(Crop, PerDepthFromTheTopDownRectangle) {
    Pair p;
    Make(p, 4, 3, 24);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) gtest_geo::SetGrey(p, x, y, static_cast<BYTE>(10 * y + x));
    }
    // Top-down rows 0-1 are memory rows 1-2; the first row taken is 3 - 2.
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(1, 0, 3, 2), 0), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    EXPECT_EQ(p.h().biHeight, 2);
    EXPECT_EQ(p.h().biSizeImage, 16u);
    EXPECT_EQ(BlueRow(p, 0), (std::vector<int>{11, 12}));
    EXPECT_EQ(BlueRow(p, 1), (std::vector<int>{21, 22}));
    EXPECT_EQ(p.row(0)[6] | p.row(0)[7], 0);

    Make(p, 5, 2, 8);
    for (int x = 0; x < 5; ++x) SetIndex(p, x, 0, x + 1);
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(2, 1, 9, 9), 0), 1);  // clipped to the image
    EXPECT_EQ(ByteRow(p, 0), (std::vector<int>{3, 4, 5}));

    Make(p, 5, 1, 4);
    for (int x = 0; x < 5; ++x) SetIndex(p, x, 0, x + 1);
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(1, 0, 4, 1), 0), 1);
    EXPECT_EQ(p.row(0)[0], 0x23);
    EXPECT_EQ(p.row(0)[1], 0x40);

    // 16 bits: zeros of the new size.
    Make(p, 3, 3, 16);
    std::memset(p.bits, 0x77, 24);
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(0, 0, 2, 2), 0), 1);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(8, 0));
}

TEST(Crop, OneBitShiftsInOnes) {
    Pair p;
    // 12 pixels (stride 4): left 4 shifts by a nibble; the byte after the
    // last byte of the stride counts as 255.
    Make(p, 12, 1, 1);
    std::memcpy(p.bits, "\xAB\xCD\x00\x00", 4);
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(4, 0, 12, 1), 0), 1);
    EXPECT_EQ(p.bytes(), (std::vector<BYTE>{0xBC, 0xD0, 0x00, 0x0F}));

    // Aligned left: whole destination strides from byte left / 8. With 64
    // pixels (stride 8) from pixel 24, 40 pixels need stride 8: bytes 3..10,
    // the last three from the next row in the block (0 past the block); they
    // land in the padding.
    Make(p, 64, 2, 1);
    p.row(0)[3] = 0x81;
    p.row(0)[7] = 0x42;
    p.row(1)[0] = 0x11;
    p.row(1)[1] = 0x22;
    p.row(1)[3] = 0x18;
    ASSERT_EQ(ThCrop(p.bits, p.info, CRect(24, 0, 64, 2), 0), 1);
    EXPECT_EQ(p.h().biSizeImage, 16u);
    EXPECT_EQ(std::vector<BYTE>(p.row(0), p.row(0) + 8),
              (std::vector<BYTE>{0x81, 0, 0, 0, 0x42, 0x11, 0x22, 0}));
    EXPECT_EQ(std::vector<BYTE>(p.row(1), p.row(1) + 8),
              (std::vector<BYTE>{0x18, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Crop, RefusalsAndWholeImage) {
    Pair p;
    Make(p, 4, 4, 8);
    void* before = p.bits;
    EXPECT_EQ(ThCrop(p.bits, p.info, CRect(0, 0, 4, 4), 0), 1);
    EXPECT_EQ(ThCrop(p.bits, p.info, CRect(-2, -2, 9, 9), 0), 1);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(ThCrop(p.bits, p.info, CRect(2, 2, 2, 3), 0), 0);
    EXPECT_EQ(ThCrop(p.bits, p.info, CRect(5, 0, 9, 4), 0), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(p.h().biWidth, 4);
}

TEST(Mirror, EachDepthBothWays) {
    Pair p;
    for (int depth : {1, 4, 8, 24}) {
        Make(p, 5, 2, depth);
        for (int x = 0; x < 5; ++x) {
            SetIndex(p, x, 0, depth == 1 ? x % 2 : x + 1);
            SetIndex(p, x, 1, depth == 1 ? x == 4 : 9);
        }
        if (depth == 24) std::memcpy(p.row(0), "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F", 15);
        const std::vector<BYTE> original = p.bytes();
        ASSERT_EQ(ThMirror(p.bits, p.info, 0), 1);
        if (depth == 24) {
            EXPECT_EQ(std::vector<BYTE>(p.row(0), p.row(0) + 6),
                      (std::vector<BYTE>{13, 14, 15, 10, 11, 12}));
        } else {
            for (int x = 0; x < 5; ++x) {
                EXPECT_EQ(GetIndex(p, x, 0), depth == 1 ? (4 - x) % 2 : 5 - x) << depth;
            }
            EXPECT_EQ(GetIndex(p, 0, 1), depth == 1 ? 1 : 9);
        }
        // Padding stays 0 after reversal.
        const auto stride = VellumDibStride(depth, 5);
        const auto used = (depth * 5 + 7) / 8;
        for (auto k = used; k < stride; ++k) EXPECT_EQ(p.row(0)[k], 0) << depth;
        ASSERT_EQ(ThMirror(p.bits, p.info, 0), 1);
        EXPECT_EQ(p.bytes(), original) << depth;
        ASSERT_EQ(ThMirror(p.bits, p.info, 1), 1);
        EXPECT_EQ(std::vector<BYTE>(p.row(1), p.row(1) + stride),
                  std::vector<BYTE>(original.begin(), original.begin() + stride));
    }
}

TEST(Mirror, ZeroImagesAndRefusals) {
    Pair p;
    Make(p, 3, 2, 8);
    std::memset(p.bits, 7, 8);
    ASSERT_EQ(ThMirror(p.bits, p.info, 2), 1);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(8, 0));
    Make(p, 3, 2, 16);
    std::memset(p.bits, 7, 16);
    ASSERT_EQ(ThMirror(p.bits, p.info, 1), 1);  // whole strides: any depth
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(16, 7));
    ASSERT_EQ(ThMirror(p.bits, p.info, 0), 1);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(16, 0));
    void* nobits = nullptr;
    EXPECT_EQ(ThMirror(nobits, p.info, 0), 0);
}

// The 24-bit row reversal works five pixels at a time between a first pixel
// and a last run done one by one; every width up to a few blocks, each
// against the pixel rule, with the row padding still 0.
TEST(Mirror, LeftRightAtEveryWidth) {
    Pair p;
    for (int width = 1; width <= 40; ++width) {
        Make(p, width, 3, 24);
        gtest_geo::Fill(p, 300u + static_cast<std::uint32_t>(width));
        const std::vector<BYTE> before = p.bytes();
        const auto stride = VellumDibStride(24, width);
        std::vector<BYTE> expected(before.size(), 0);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < width; ++x) {
                std::memcpy(&expected[stride * y + 3 * x],
                            &before[stride * y + 3 * (width - 1 - x)], 3);
            }
        }
        ASSERT_EQ(ThMirror(p.bits, p.info, 0), 1);
        EXPECT_EQ(p.bytes(), expected) << width;
    }
}
