#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "geometry/mirror.h"
#include "geometry/rotate.h"
#include "geometry_test_util.h"
#include "support/dib_fixture.h"

using gtest_geo::GetIndex;
using gtest_geo::SetIndex;
using vtest::Make;
using vtest::Pair;

TEST(IsSpecialAngle, InclusiveOneDegreeBoundaries) {
    const double deg = 0.017453293005625408;
    EXPECT_EQ(ThIsSpecialAngle(0.0), 0);
    EXPECT_EQ(ThIsSpecialAngle(deg), 0);
    EXPECT_EQ(ThIsSpecialAngle(std::nextafter(deg, 1.0)), -1);
    EXPECT_EQ(ThIsSpecialAngle(6.265732189019521), 0);
    EXPECT_EQ(ThIsSpecialAngle(std::nextafter(6.265732189019521, 0.0)), -1);
    EXPECT_EQ(ThIsSpecialAngle(1.5533430775006611), 90);
    EXPECT_EQ(ThIsSpecialAngle(std::nextafter(1.5533430775006611, 0.0)), -1);
    EXPECT_EQ(ThIsSpecialAngle(1.588249663511912), 90);
    EXPECT_EQ(ThIsSpecialAngle(std::nextafter(1.588249663511912, 9.0)), -1);
    EXPECT_EQ(ThIsSpecialAngle(3.124139448006948), 180);
    EXPECT_EQ(ThIsSpecialAngle(3.1590460340181985), 180);
    EXPECT_EQ(ThIsSpecialAngle(4.694935818513234), 270);
    EXPECT_EQ(ThIsSpecialAngle(4.729842404524486), 270);
    EXPECT_EQ(ThIsSpecialAngle(std::nextafter(4.729842404524486, 9.0)), -1);
    // Negative angles and several turns, with the single-precision constants.
    EXPECT_EQ(ThIsSpecialAngle(-M_PI / 2), 270);
    EXPECT_EQ(ThIsSpecialAngle(5 * M_PI / 2), 90);
    EXPECT_EQ(ThIsSpecialAngle(-2 * M_PI), 0);
    EXPECT_EQ(ThIsSpecialAngle(0.5), -1);
    EXPECT_EQ(ThIsSpecialAngle(NAN), -1);
    EXPECT_EQ(ThIsSpecialAngle(INFINITY), -1);
}

TEST(RotateBmp90, QuarterTurnsPerDepth) {
    Pair p;
    // 3 x 2 memory rows: row 0 = 1 2 3, row 1 = 4 5 6.
    Make(p, 3, 2, 8);
    for (int x = 0; x < 3; ++x) {
        SetIndex(p, x, 0, x + 1);
        SetIndex(p, x, 1, x + 4);
    }
    ASSERT_EQ(ThRotateBmp90(p.bits, p.info, 1), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    EXPECT_EQ(p.h().biHeight, 3);
    EXPECT_EQ(p.h().biSizeImage, 12u);
    // (x, y) -> (y, 2 - x).
    EXPECT_EQ(gtest_geo::ByteRow(p, 0), (std::vector<int>{3, 6}));
    EXPECT_EQ(gtest_geo::ByteRow(p, 1), (std::vector<int>{2, 5}));
    EXPECT_EQ(gtest_geo::ByteRow(p, 2), (std::vector<int>{1, 4}));
    ASSERT_EQ(ThRotateBmp90(p.bits, p.info, -1), 1);
    EXPECT_EQ(gtest_geo::ByteRow(p, 0), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ThRotateBmp90(p.bits, p.info, 2), 0);

    // Four turns give the input back at 1, 8 and 24 bits, odd sizes.
    for (int depth : {1, 8, 24}) {
        for (int direction : {1, -1}) {
            Make(p, 7, 5, depth);
            gtest_geo::Fill(p, 17u + static_cast<unsigned>(depth));
            const std::vector<BYTE> original = p.bytes();
            for (int k = 0; k < 4; ++k) ASSERT_EQ(ThRotateBmp90(p.bits, p.info, direction), 1);
            EXPECT_EQ(p.bytes(), original) << depth << " " << direction;
        }
    }
    // 1 bit, one turn checked pixel by pixel against the rule.
    Make(p, 9, 3, 1);
    gtest_geo::Fill(p, 5);
    Pair q;
    Make(q, 9, 3, 1);
    std::memcpy(q.bits, p.bits, 12);
    ASSERT_EQ(ThRotateBmp90(p.bits, p.info, -1), 1);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 9; ++x) EXPECT_EQ(GetIndex(p, 2 - y, x), GetIndex(q, x, y));
    }
}

TEST(RotateBmp90, FourBitLastColumnAndOtherDepths) {
    Pair p;
    Make(p, 3, 2, 4);
    for (int x = 0; x < 3; ++x) {
        SetIndex(p, x, 0, x + 1);
        SetIndex(p, x, 1, x + 4);
    }
    ASSERT_EQ(ThRotateBmp90(p.bits, p.info, 1), 1);
    EXPECT_EQ(GetIndex(p, 0, 2), 1);
    EXPECT_EQ(GetIndex(p, 1, 2), 4);
    EXPECT_EQ(GetIndex(p, 0, 1), 2);
    // The last source column (3, 6) is never moved: row 0 stays index 0.
    EXPECT_EQ(GetIndex(p, 0, 0), 0);
    EXPECT_EQ(GetIndex(p, 1, 0), 0);

    Make(p, 3, 2, 16);
    std::memset(p.bits, 9, 16);
    ASSERT_EQ(ThRotateBmp90(p.bits, p.info, 1), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(12, 0));

    // A failed allocation leaves the header rewritten.
    Make(p, 3, 2, 24);
    p.h().biWidth = 60000;
    p.h().biHeight = 60000;
    void* before = p.bits;
    EXPECT_EQ(ThRotateBmp90(p.bits, p.info, 1), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_NE(p.h().biSizeImage, 0u);
}

TEST(Rotate, SpecialAnglesTakeTheExactPaths) {
    Pair p, q;
    Make(p, 5, 3, 24);
    gtest_geo::Fill(p, 3);
    const std::vector<BYTE> original = p.bytes();
    void* before = p.bits;
    EXPECT_EQ(ThRotate(p.bits, p.info, 0.01, 0), 1);
    EXPECT_EQ(p.bits, before);

    ASSERT_EQ(ThRotate(p.bits, p.info, M_PI / 2 + 0.01, 0), 1);
    Make(q, 5, 3, 24);
    std::memcpy(q.bits, original.data(), original.size());
    ASSERT_EQ(ThRotateBmp90(q.bits, q.info, 1), 1);
    EXPECT_EQ(p.bytes(), q.bytes());

    for (int depth : {1, 4, 8, 24}) {
        Make(p, 5, 3, depth);
        gtest_geo::Fill(p, 11);
        Make(q, 5, 3, depth);
        std::memcpy(q.bits, p.bits, p.bytes().size());
        ASSERT_EQ(ThRotate(p.bits, p.info, M_PI, 0), 1);
        ThMirror(q.bits, q.info, 0);
        ThMirror(q.bits, q.info, 1);
        EXPECT_EQ(p.bytes(), q.bytes()) << depth;
    }
    Make(p, 5, 3, 8);
    ASSERT_EQ(ThRotate(p.bits, p.info, -M_PI / 2, 0), 1);  // 270: anticlockwise
    void* nobits = nullptr;
    EXPECT_EQ(ThRotate(nobits, p.info, 1.0, 0), 0);
}

TEST(RotateFreeAngle, BilinearWithSoftEdges) {
    Pair p;
    Make(p, 100, 100, 24);
    std::memset(p.bits, 200, 30000);
    ASSERT_EQ(ThRotateFreeAngle(p.bits, p.info, M_PI / 4, 0x1234), 1);
    // |S| = |C| = 724: (100 x 724 x 2) >> 10 = 141.
    EXPECT_EQ(p.h().biWidth, 141);
    EXPECT_EQ(p.h().biHeight, 141);
    EXPECT_EQ(p.h().biSizeImage, 424u * 141);
    EXPECT_EQ(p.row(0)[0], 0x34);        // corner: background grey
    EXPECT_EQ(p.row(140)[3 * 140], 0x34);
    EXPECT_EQ(p.row(70)[3 * 70], 200);  // centre: the picture
    // Along the middle row the edge blends from the background into 200.
    bool blended = false;
    for (int x = 0; x < 141; ++x) {
        const int v = p.row(70)[3 * x];
        if (v != 0x34 && v != 200) blended = true;
    }
    EXPECT_TRUE(blended);

    // A hand-checked pixel: 2 x 2 image turned 30 degrees.
    // S = 511, C = 886; new size (2 x 1397) >> 10 = 2; hw = hh = 1; cx = cy = 1.
    // Destination (0, 0): xd = yd = -1: X = 1024 - 886 + 511 = 649,
    // Y = 1024 - 511 - 886 = -373, so ix = 0, fx = 649, iy = -1, fy = 651:
    // the lower row is background (10), the upper is pixels (0, 0), (1, 0).
    Make(p, 2, 2, 24);
    gtest_geo::SetGrey(p, 0, 0, 100);
    gtest_geo::SetGrey(p, 1, 0, 200);
    ASSERT_EQ(ThRotateFreeAngle(p.bits, p.info, M_PI / 6, 10), 1);
    EXPECT_EQ(p.h().biWidth, 2);
    const int top = 100 * (1024 - 649) + 200 * 649;
    const int low = 10 * (1024 - 649) + 10 * 649;
    EXPECT_EQ(p.row(0)[0], (low * (1024 - 651) + top * 651) >> 20);
}

TEST(RotateFreeAngle, NearestNeighbourForPalettes) {
    Pair p;
    for (int depth : {1, 4, 8}) {
        Make(p, 4, 4, depth);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x) SetIndex(p, x, y, depth == 1 ? 0 : 1 + (x + y) % 3);
        }
        ASSERT_EQ(ThRotateFreeAngle(p.bits, p.info, 0.3, 0x2A), 1) << depth;
        // S = 302, C = 978: 4 x 1280 >> 10 = 5.
        EXPECT_EQ(p.h().biWidth, 5);
        // Corner (0, 0): xd = yd = -2: ((-1956 + 604) >> 10) + 2 = 0,
        // ((-604 - 1956) >> 10) + 2 = -1: outside.
        const int outside = depth == 1 ? 1 : depth == 4 ? 15 : 0x2A;
        EXPECT_EQ(GetIndex(p, 0, 0), outside) << depth;
        // Centre (2, 2): xd = yd = 0 reads (2, 2).
        EXPECT_EQ(GetIndex(p, 2, 2), depth == 1 ? 0 : 1 + 4 % 3) << depth;
        // Only indices the image or the fill holds appear.
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 5; ++x) {
                const int v = GetIndex(p, x, y);
                EXPECT_TRUE(v == outside || (depth == 1 ? v == 0 : v >= 1 && v <= 3));
            }
        }
    }
    // Other depths: zeros of the new size; special 0: unchanged.
    Make(p, 4, 4, 16);
    std::memset(p.bits, 3, 32);
    ASSERT_EQ(ThRotateFreeAngle(p.bits, p.info, 0.3, 0), 1);
    EXPECT_EQ(p.bytes(), std::vector<BYTE>(p.bytes().size(), 0));
    void* before = p.bits;
    EXPECT_EQ(ThRotateFreeAngle(p.bits, p.info, 0.001, 0), 1);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(ThRotateFreeAngle(p.bits, p.info, NAN, 0), 0);
}

namespace {

// The free rotation written pixel by pixel from its rule, without the
// incremental positions or the inner fast path.
std::vector<BYTE> ReferenceRotation(Pair& src, double angle, int background) {
    const int w = src.h().biWidth, h = src.h().biHeight, bits = src.h().biBitCount;
    const int S = static_cast<int>(std::sin(angle) * 1024.0);
    const int C = static_cast<int>(std::cos(angle) * 1024.0);
    const int aS = std::abs(S), aC = std::abs(C);
    const int nw = (w * aC + h * aS) >> 10, nh = (h * aC + w * aS) >> 10;
    const int hw = (w * aC + h * aS) >> 11, hh = (h * aC + w * aS) >> 11;
    const int cx = w >> 1, cy = h >> 1, b = background & 0xFF;
    Pair out;
    Make(out, nw, nh, bits);
    if (bits == 8 || bits == 24) std::memset(out.bits, b, out.bytes().size());
    for (int yd = -hh; yd < nh - hh; ++yd) {
        for (int xd = -hw; xd < nw - hw; ++xd) {
            const int dx = xd + hw, dy = yd + hh;
            if (bits == 24) {
                const int X = cx * 1024 + xd * C - yd * S, Y = cy * 1024 + xd * S + yd * C;
                if (!(X > -1024 && X < w * 1024 && Y > -1024 && Y < h * 1024)) continue;
                const int ix = X < 0 ? -1 : X >> 10, iy = Y < 0 ? -1 : Y >> 10;
                const int fx = X - ix * 1024, fy = Y - iy * 1024;
                auto at = [&](int x, int y, int c) {
                    return x < 0 || y < 0 || x >= w || y >= h ? b : src.row(y)[3 * x + c];
                };
                for (int c = 0; c < 3; ++c) {
                    const int v = ((at(ix + 1, iy, c) * fx + at(ix, iy, c) * (1024 - fx)) * (1024 - fy) +
                                   (at(ix, iy + 1, c) * (1024 - fx) + at(ix + 1, iy + 1, c) * fx) * fy) >>
                                  20;
                    out.row(dy)[3 * dx + c] = static_cast<BYTE>(v);
                }
            } else {
                const int sx = ((xd * C - yd * S) >> 10) + cx, sy = ((xd * S + yd * C) >> 10) + cy;
                if (sx >= 0 && sx < w && sy >= 0 && sy < h) {
                    SetIndex(out, dx, dy, GetIndex(src, sx, sy));
                } else if (bits != 8) {
                    SetIndex(out, dx, dy, bits == 1 ? 1 : 15);
                }
            }
        }
    }
    return out.bytes();
}

}  // namespace

TEST(RotateFreeAngle, MatchesThePixelByPixelRule) {
    Pair p, q;
    std::uint32_t seed = 900;
    for (int depth : {1, 4, 8, 24}) {
        // The larger sizes have inner runs long enough for eight at a time.
        for (auto [w, h] : {std::pair{1, 1}, {2, 5}, {9, 4}, {17, 13}, {61, 37}, {23, 90}}) {
            // The last two leave one of sine and cosine 0 after truncation.
            for (double angle : {0.3, -0.3, 1.0, 2.0, 2.8, -2.2, 4.0, 5.5, 1.5707963, 3.1415926}) {
                // Near a quarter turn a 1 x 1 image truncates to nothing and is refused.
                if (w == 1 && (angle == 1.5707963 || angle == 3.1415926)) continue;
                Make(p, w, h, depth);
                gtest_geo::Fill(p, ++seed);
                Make(q, w, h, depth);
                std::memcpy(q.bits, p.bits, p.bytes().size());
                const std::vector<BYTE> expected = ReferenceRotation(q, angle, 0x5A);
                ASSERT_EQ(ThRotateFreeAngle(p.bits, p.info, angle, 0x125A), 1);
                EXPECT_EQ(p.bytes(), expected) << depth << " " << w << "x" << h << " " << angle;
            }
        }
    }
}

// Quarter turns go tile by tile; sizes across tile edges in both directions,
// against the pixel rule (direction 1: source column x becomes row
// width - 1 - x; -1: row x, read from the right), padding 0.
TEST(RotateBmp90, MatchesThePixelRuleAcrossTiles) {
    Pair p;
    for (auto [w, h] : {std::pair{1, 1}, {3, 70}, {530, 5}, {517, 19}, {6, 1030}, {1, 17}}) {
        for (int depth : {8, 24}) {
            for (int direction : {1, -1}) {
                Make(p, w, h, depth);
                gtest_geo::Fill(p, static_cast<std::uint32_t>(w * 31 + h + depth + direction));
                const std::vector<BYTE> before = p.bytes();
                const int b = depth / 8;
                const auto srcStride = VellumDibStride(depth, w);
                const auto dstStride = VellumDibStride(depth, h);
                std::vector<BYTE> expected(static_cast<std::size_t>(dstStride * w), 0);
                for (int y = 0; y < h; ++y) {
                    for (int x = 0; x < w; ++x) {
                        const auto to = direction == 1 ? dstStride * (w - 1 - x) + b * y
                                                       : dstStride * x + b * (h - 1 - y);
                        std::memcpy(&expected[to], &before[srcStride * y + b * x], b);
                    }
                }
                ASSERT_EQ(ThRotateBmp90(p.bits, p.info, direction), 1);
                EXPECT_EQ(p.bytes(), expected) << w << "x" << h << " " << depth << " " << direction;
            }
        }
    }
}
