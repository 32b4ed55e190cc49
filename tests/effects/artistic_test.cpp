#include "effects/artistic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <random>

#include "effects/effects_support.h"

using vtest::Fill24;
using vtest::Make;
using vtest::MakePattern;
using vtest::Pair;
using vtest::Px;
using vtest::SetBgr;

TEST(Negate, GreyOnlyPaletteAndTwiceRestores) {
    Pair p, q;
    MakePattern(p, 5, 4);
    MakePattern(q, 5, 4);
    SetBgr(p, 1, 1, 40, 40, 40);
    SetBgr(q, 1, 1, 40, 40, 40);
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 1));
    EXPECT_EQ(Px(p, 1, 1), (std::vector<int>{215, 215, 215}));
    EXPECT_EQ(Px(p, 2, 1), Px(q, 2, 1));
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 0));
    EXPECT_EQ(Px(p, 2, 1)[0], 255 - Px(q, 2, 1)[0]);
    EXPECT_EQ(p.row(0)[15], 0);  // padding untouched
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 0));
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 1));
    EXPECT_EQ(p.bytes(), q.bytes());

    Make(p, 2, 1, 8);
    p.table()[5] = RGBQUAD{1, 2, 3, 0};
    p.row(0)[0] = 5;
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 1));
    EXPECT_EQ(p.table()[5].rgbRed, 3);    // not grey: kept
    EXPECT_EQ(p.table()[7].rgbRed, 248);  // grey entry 7
    ASSERT_TRUE(ThNegateImage(p.bits, p.info, 0));
    EXPECT_EQ(p.table()[5].rgbBlue, 254);
    EXPECT_EQ(p.row(0)[0], 5);
    Make(p, 2, 1, 32);
    EXPECT_FALSE(ThNegateImage(p.bits, p.info, 0));
}

TEST(Roll, OffsetsWrapAtEveryDepth) {
    Pair p, q;
    Make(p, 4, 1, 8);
    for (int x = 0; x < 4; ++x) p.row(0)[x] = static_cast<BYTE>(10 + x);
    ASSERT_TRUE(ThRollImage(p.bits, p.info, 25, 0));
    EXPECT_EQ((std::vector<int>{p.row(0)[0], p.row(0)[1], p.row(0)[2], p.row(0)[3]}),
              (std::vector<int>{13, 10, 11, 12}));
    ASSERT_TRUE(ThRollImage(p.bits, p.info, -25, 0));  // -1 becomes +3
    EXPECT_EQ(p.row(0)[0], 10);
    ASSERT_TRUE(ThRollImage(p.bits, p.info, 10, 0));  // 4 x 10 / 100 = 0
    EXPECT_EQ(p.row(0)[0], 10);

    MakePattern(p, 6, 4);
    MakePattern(q, 6, 4);
    ASSERT_TRUE(ThRollImage(p.bits, p.info, 100, 100));
    EXPECT_EQ(p.bytes(), q.bytes());
    ASSERT_TRUE(ThRollImage(p.bits, p.info, 50, 50));
    ASSERT_TRUE(ThRollImage(q.bits, q.info, -50, -50));
    EXPECT_EQ(p.bytes(), q.bytes());
    MakePattern(q, 6, 4);
    ASSERT_TRUE(ThRollImage(q.bits, q.info, 50, 25));  // dx 3, dy 1: row y moves to y + 1
    Pair r;
    MakePattern(r, 6, 4);
    EXPECT_EQ(Px(q, 3, 1), Px(r, 0, 0));
    EXPECT_EQ(Px(q, 0, 0), Px(r, 3, 3));

    // 1-bit: ten pixels, 30 % = 3 to the right.
    Make(p, 10, 2, 1);
    p.row(1)[0] = 0xA0;  // pixels 0 and 2
    p.row(1)[1] = 0x40;  // pixel 9
    ASSERT_TRUE(ThRollImage(p.bits, p.info, 30, 50));
    EXPECT_EQ(p.row(0)[0], 0x34);  // pixels 3, 5 and 2 (9 + 3 wraps)
    EXPECT_EQ(p.row(0)[1], 0x00);
    EXPECT_EQ(p.row(1)[0], 0x00);
    Make(p, 2, 2, 16);
    EXPECT_FALSE(ThRollImage(p.bits, p.info, 10, 10));
}

TEST(HslTransform, WorkedValuesAndRoundTrip) {
    unsigned char r = 0, g = 0, b = 0;
    ThHSLTransform(0.0, 1.0, 0.5, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{255, 0, 0}));
    ThHSLTransform(1.0, 1.0, 0.5, &r, &g, &b);  // hue 1.0 counts as 0
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{255, 0, 0}));
    // v = 0.375, y = 0.125, sextant 3: (y, v, v) = 32.375 and 96.125.
    ThHSLTransform(0.5, 0.5, 0.25, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{32, 96, 96}));
    ThHSLTransform(0.3, 0.0, 0.0, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{0, 0, 0}));

    double h = 0, s = 0, l = 0;
    ThTransformHSL(90, 90, 90, &h, &s, &l);
    EXPECT_EQ(h, 1.0);
    EXPECT_EQ(s, 0.0);
    EXPECT_DOUBLE_EQ(l, 90 * 0.00392156862745098);
    ThTransformHSL(255, 255, 0, &h, &s, &l);
    EXPECT_NEAR(h, 1.0 / 6, 1e-12);
    EXPECT_NEAR(s, 1.0, 1e-12);

    for (int red = 0; red < 256; red += 15) {
        for (int green = 0; green < 256; green += 17) {
            for (int blue = 0; blue < 256; blue += 5) {
                ThTransformHSL(red, green, blue, &h, &s, &l);
                ThHSLTransform(h, s, l, &r, &g, &b);
                ASSERT_LE(std::abs(r - red), 1) << red << " " << green << " " << blue;
                ASSERT_LE(std::abs(g - green), 1) << red << " " << green << " " << blue;
                ASSERT_LE(std::abs(b - blue), 1) << red << " " << green << " " << blue;
            }
        }
    }
}

TEST(Solarize, ThresholdBoundariesAndRows) {
    Pair p, q;
    Make(p, 1, 3, 24);
    const BYTE values[3][3] = {{0, 1, 127}, {128, 129, 200}, {255, 254, 2}};
    for (int y = 0; y < 3; ++y) SetBgr(p, 0, y, values[y][0], values[y][1], values[y][2]);
    ASSERT_EQ(ThSolarize(p.bits, p.info, 50.0f), 1);  // threshold 128
    EXPECT_EQ(Px(p, 0, 0), (std::vector<int>{0, 1, 127}));
    EXPECT_EQ(Px(p, 0, 1), (std::vector<int>{128, 126, 55}));
    EXPECT_EQ(Px(p, 0, 2), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(p.row(0)[3], 0);

    MakePattern(p, 5, 5);
    MakePattern(q, 5, 5);
    ASSERT_EQ(ThSolarize(p.bits, p.info, 100.0f), 1);
    EXPECT_EQ(p.bytes(), q.bytes());
    ASSERT_EQ(ThSolarize(p.bits, p.info, 0.0f), 1);
    for (int b = 0; b < 15; ++b) {
        const int c = q.row(3)[b];
        EXPECT_EQ(p.row(3)[b], c == 0 ? 0 : 255 - c);
    }

    // A negative percent gives a negative threshold: every byte, 0 included.
    MakePattern(p, 5, 5);
    ASSERT_EQ(ThSolarize(p.bits, p.info, -1.0f), 1);
    for (int b = 0; b < 15; ++b) EXPECT_EQ(p.row(0)[b], 255 - q.row(0)[b]);

    Make(p, 2, 2, 8);
    p.row(0)[0] = 200;
    ASSERT_EQ(ThSolarize(p.bits, p.info, 50.0f), 1);
    EXPECT_EQ(p.table()[200].rgbGreen, 55);
    EXPECT_EQ(p.table()[100].rgbGreen, 100);
    EXPECT_EQ(p.row(0)[0], 200);
    void* none = nullptr;
    EXPECT_EQ(ThSolarize(none, p.info, 50.0f), -1);
}

TEST(OilPaint, FirstToLeadWinsWithSwappedWeights) {
    // Radius 1 is the plus-shaped disc walked (2,1), (1,2), (2,2), (3,2),
    // (2,3). With the 24-bit weights (77 B + 150 G + 29 R) >> 8, (1,2) blue 30
    // and (3,2) red 80 share intensity 9, and (3,2) brings it to two first;
    // with the palette weights they would differ and (2,3) would win.
    Pair p, q;
    Fill24(p, 5, 5, 0, 250, 0);
    SetBgr(p, 2, 1, 0, 100, 0);
    SetBgr(p, 1, 2, 30, 0, 0);
    SetBgr(p, 2, 2, 200, 200, 200);
    SetBgr(p, 3, 2, 0, 0, 80);
    SetBgr(p, 2, 3, 0, 100, 0);
    ASSERT_EQ(ThOilPaintImage(p.bits, p.info, 1), 1);
    EXPECT_EQ(Px(p, 2, 2), (std::vector<int>{0, 0, 80}));
    EXPECT_EQ(Px(p, 0, 2), (std::vector<int>{0, 250, 0}));  // edge: copied

    MakePattern(p, 6, 5);
    MakePattern(q, 6, 5);
    ASSERT_EQ(ThOilPaintImage(p.bits, p.info, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());
    ASSERT_EQ(ThOilPaintImage(p.bits, p.info, 9), 1);
    EXPECT_EQ(p.bytes(), q.bytes());

    // 4-bit: the majority index of the disc is copied.
    Make(p, 4, 4, 4);
    for (int y = 0; y < 4; ++y) p.row(y)[0] = p.row(y)[1] = 0x77;
    p.row(1)[0] = 0x7A;  // pixel (1, 1) is 10
    ASSERT_EQ(ThOilPaintImage(p.bits, p.info, 1), 1);
    EXPECT_EQ(p.row(1)[0], 0x77);
    EXPECT_EQ(ThIntensity(p.info, 7), (256 * 119) >> 8);
}

TEST(Plasma, PixelRuleAndACloud) {
    EXPECT_EQ(ThPlasmaPixel(100, 0.0), 100);
    EXPECT_EQ(ThPlasmaPixel(100, 1.0), 101);  // rand() mod 1 = 0, 100.5 rounds up
    EXPECT_EQ(ThPlasmaPixel(250, 30.0) >= 236, true);
    EXPECT_EQ(ThPlasmaPixel(0, -8.0), 0);
    for (int i = 0; i < 200; ++i) {
        const int v = ThPlasmaPixel(100, 10.0);  // 100 + 5 - (0..9)
        ASSERT_GE(v, 96);
        ASSERT_LE(v, 105);
    }

    Pair p;
    Make(p, 65, 40, 8);
    ASSERT_EQ(ThPlasma(p.bits, p.info, 200, 50), 1);
    ASSERT_EQ(p.h().biBitCount, 24);
    long jumps = 0, distinct = 0;
    std::vector<bool> seen(256);
    for (int y = 0; y < 40; ++y) {
        for (int x = 1; x < 65; ++x) {
            jumps += std::abs(Px(p, x, y)[1] - Px(p, x - 1, y)[1]);
            if (!seen[Px(p, x, y)[1]]) ++distinct, seen[Px(p, x, y)[1]] = true;
        }
    }
    EXPECT_LT(jumps / (40.0 * 64), 16.0);  // smooth from pixel to pixel
    EXPECT_GT(distinct, 16);
}

TEST(ArtisticDesigned, CharcoalShadeAndImplode) {
    Pair p, q;
    Fill24(p, 6, 6, 80, 90, 100);
    ASSERT_EQ(ThCharCoal(p.bits, p.info), 1);
    EXPECT_EQ(Px(p, 3, 3), (std::vector<int>{255, 255, 255}));
    Fill24(p, 8, 4, 0, 0, 0);
    for (int y = 0; y < 4; ++y) {
        for (int x = 4; x < 8; ++x) SetBgr(p, x, y, 255, 255, 255);
    }
    ASSERT_EQ(ThCharCoal(p.bits, p.info), 1);
    EXPECT_EQ(Px(p, 0, 1)[0], 255);
    EXPECT_LT(Px(p, 4, 1)[0], 64);

    Fill24(p, 5, 5, 50, 60, 70);
    ASSERT_EQ(ThShade(p.bits, p.info, 1, 135.0, 90.0), 1);
    EXPECT_EQ(Px(p, 2, 2), (std::vector<int>{255, 255, 255}));
    Fill24(p, 5, 5, 50, 60, 70);
    ASSERT_EQ(ThShade(p.bits, p.info, 0, 135.0, 90.0), 1);
    EXPECT_EQ(Px(p, 2, 2), (std::vector<int>{50, 60, 70}));
    // A bright ridge across the middle lit from the top: its upper slope
    // (higher memory rows) faces the light, its lower slope faces away.
    Fill24(p, 5, 9, 0, 0, 0);
    for (int x = 0; x < 5; ++x) {
        for (int y = 3; y < 6; ++y) SetBgr(p, x, y, 200, 200, 200);
    }
    ASSERT_EQ(ThShade(p.bits, p.info, 1, 90.0, 30.0), 1);
    EXPECT_GT(Px(p, 2, 6)[0], Px(p, 2, 2)[0]);

    MakePattern(p, 4, 4);
    MakePattern(q, 4, 4);
    EXPECT_EQ(ThImplodeImage(p.bits, p.info, 0.5, 1, 2, 3), 0);
    EXPECT_EQ(p.bytes(), q.bytes());
}

namespace {

// Oil paint written straight from its rule, pixel by pixel, for 24-bit and
// 8-bit pictures: the neighbourhood is the disc of rows dy = -r .. r with
// half-widths w = the largest with w^2 + dy^2 <= r^2, walked row by row in
// memory order, left to right, with a fresh count table per pixel.
std::vector<BYTE> OilLiteral(Pair& src, int r) {
    const int w = src.h().biWidth, h = src.h().biHeight, depth = src.h().biBitCount;
    const std::int64_t stride = VellumDibStride(depth, w);
    auto intensity = [&](int x, int y) {
        const BYTE* p = src.row(y);
        if (depth == 24) return (77 * p[3 * x] + 150 * p[3 * x + 1] + 29 * p[3 * x + 2]) >> 8;
        const RGBQUAD q = src.table()[p[x]];
        return (29 * q.rgbBlue + 150 * q.rgbGreen + 77 * q.rgbRed) >> 8;
    };
    std::vector<BYTE> out(static_cast<std::size_t>(stride * h), 0);
    const int bpp = depth == 24 ? 3 : 1;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            int sx = x, sy = y;
            if (y >= r && y < h - r && x >= r && x < w - r) {
                unsigned count[256] = {}, best = 0;
                for (int dy = -r; dy <= r; ++dy) {
                    int half = 0;
                    while ((half + 1) * (half + 1) + dy * dy <= r * r) ++half;
                    for (int cx = x - half; cx <= x + half; ++cx) {
                        if (++count[intensity(cx, y + dy)] > best) {
                            best = count[intensity(cx, y + dy)];
                            sx = cx;
                            sy = y + dy;
                        }
                    }
                }
            }
            std::memcpy(&out[y * stride + bpp * x], src.row(sy) + bpp * sx, bpp);
        }
    }
    return out;
}

}  // namespace

TEST(OilPaint, MatchesItsRuleOnRandomPictures) {
    // Few intensity levels make ties for the most frequent level common,
    // which is where the first to lead must win.
    std::mt19937 rng(1234);
    for (int round = 0; round < 80; ++round) {
        SCOPED_TRACE(round);
        const int w = 1 + static_cast<int>(rng() % 60), h = 1 + static_cast<int>(rng() % 30);
        const int radius = std::array<int, 8>{0, 1, 2, 3, 3, 4, 6, 40}[round % 8];
        const int levels = std::array<int, 4>{2, 3, 8, 256}[(round / 8) % 4];
        Pair p;
        if (round % 5 == 4) {
            Make(p, w, h, 8, false);
            for (int i = 0; i < 256; ++i) {
                p.table()[i] = RGBQUAD{BYTE(rng()), BYTE(rng()), BYTE(rng()), 0};
            }
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) p.row(y)[x] = static_cast<BYTE>(rng() % levels);
            }
        } else {
            Make(p, w, h, 24);
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    const int v =
                        static_cast<int>(rng() % levels) * (255 / std::max(1, levels - 1));
                    SetBgr(p, x, y, static_cast<BYTE>(v), static_cast<BYTE>(rng() % 2),
                           static_cast<BYTE>(v));
                }
            }
        }
        const std::vector<BYTE> expect = OilLiteral(p, radius);
        ASSERT_EQ(ThOilPaintImage(p.bits, p.info, static_cast<unsigned>(radius)), 1);
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h << " radius " << radius;
    }
}
