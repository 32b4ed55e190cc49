#include "effects/distort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <limits>
#include <random>

#include "effects/effects_support.h"

using vtest::Make;
using vtest::MakePattern;
using vtest::Pair;
using vtest::Px;

TEST(Twist, AmplitudeZeroKeepsPixelsAndPhaseUsesTheSinglePrecisionFactor) {
    Pair p, q;
    MakePattern(p, 5, 3);
    MakePattern(q, 5, 3);
    ASSERT_EQ(ThTwist(p.bits, p.info, 40, 1.5, 0, 1, 9), 1);
    EXPECT_EQ(p.h().biWidth, 5);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) EXPECT_EQ(Px(p, x, y), Px(q, x, y));
        EXPECT_EQ(p.row(y)[15], 9);  // padding keeps the background byte
    }

    // 200 wide at 10 %: A = 20, 240 wide. Phase 90 with cycles 0: sin of 90 x
    // 0.017453292 is just below 1, so every row starts at 20 + 19, not 40.
    Make(p, 200, 2, 24);
    for (int x = 0; x < 200; ++x) {
        vtest::SetBgr(p, x, 0, 1, 2, 3);
        vtest::SetBgr(p, x, 1, 1, 2, 3);
    }
    ASSERT_EQ(ThTwist(p.bits, p.info, 90, 0.0, 10, 1, 200), 1);
    EXPECT_EQ(p.h().biWidth, 240);
    EXPECT_EQ(p.h().biSizeImage, 720u * 2);
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(Px(p, 38, y), (std::vector<int>{200, 200, 200}));
        EXPECT_EQ(Px(p, 39, y), (std::vector<int>{1, 2, 3}));
        EXPECT_EQ(Px(p, 238, y), (std::vector<int>{1, 2, 3}));
        EXPECT_EQ(Px(p, 239, y), (std::vector<int>{200, 200, 200}));
    }
    // Amplitude is clamped to 100: the picture at most triples.
    Make(p, 4, 1, 24);
    ASSERT_EQ(ThTwist(p.bits, p.info, 0, 1.0, 500, 1, 0), 1);
    EXPECT_EQ(p.h().biWidth, 12);
}

TEST(Twist, ColumnsMoveAlongTheWave) {
    // 4 x 4 at 50 %: A = 2, height 8; cycles 0.25 gives column offsets
    // 2 + trunc(sin(x x pi / 8) x 2) = 2, 2, 3, 3.
    Pair p, q;
    MakePattern(p, 4, 4);
    MakePattern(q, 4, 4);
    ASSERT_EQ(ThTwist(p.bits, p.info, 0, 0.25, 50, 0, 77), 1);
    ASSERT_EQ(p.h().biHeight, 8);
    const int shift[4] = {2, 2, 3, 3};
    for (int x = 0; x < 4; ++x) {
        for (int r = 0; r < 8; ++r) {
            const int src = r - shift[x];
            if (src >= 0 && src < 4) {
                EXPECT_EQ(Px(p, x, r), Px(q, x, src)) << x << "," << r;
            } else {
                EXPECT_EQ(Px(p, x, r), (std::vector<int>{77, 77, 77})) << x << "," << r;
            }
        }
    }
}

TEST(Wave, IdentityAtZeroAmplitudeAndTenBitBlendOfRows) {
    Pair p, q;
    MakePattern(p, 6, 5);
    MakePattern(q, 6, 5);
    ASSERT_EQ(ThWave(p.bits, p.info, 33, 2.5, 0, 0, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());
    ASSERT_EQ(ThWave(p.bits, p.info, 33, 2.5, 0, 1, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());

    // One column, four rows of grey 10, 50, 90, 130; amplitude 25 gives a
    // depth of one row: s = y - sin(y x pi / 8), so rows take
    // (0, f 0), (0, f 632), (1, f 299), (2, f 77).
    Make(p, 1, 4, 24);
    const int grey[4] = {10, 50, 90, 130};
    for (int y = 0; y < 4; ++y) vtest::SetBgr(p, 0, y, grey[y], grey[y], grey[y]);
    ASSERT_EQ(ThWave(p.bits, p.info, 0, 0.25, 25, 0, 0xEE), 1);
    const int expect[4] = {10, (10 * (1024 - 632) + 50 * 632) >> 10, (50 * (1024 - 299) + 90 * 299) >> 10,
                           (90 * (1024 - 77) + 130 * 77) >> 10};
    for (int y = 0; y < 4; ++y) {
        EXPECT_EQ(p.row(y)[0], expect[y]) << y;
        EXPECT_EQ(p.row(y)[3], 0xEE);  // padding is the background
    }

    // Amplitude 100 at phase -90: s = y + 4 lies past the last row for every
    // row, which is clamped to the last row.
    Make(p, 1, 4, 24);
    for (int y = 0; y < 4; ++y) vtest::SetBgr(p, 0, y, grey[y], grey[y], grey[y]);
    ASSERT_EQ(ThWave(p.bits, p.info, -90, 0.0, 100, 0, 0), 1);
    for (int y = 0; y < 4; ++y) EXPECT_EQ(p.row(y)[0], 130);
}

TEST(Drop, WorkedPixelsClampsAndBorder) {
    Pair p, q;
    MakePattern(p, 8, 8);
    MakePattern(q, 8, 8);
    ASSERT_EQ(ThDrop(p.bits, p.info, 0.25, 0.5, 30, 3, 40), 1);
    // Worked through the formula by hand (k = 3 x 3.1415927f / 8, A = 40):
    // (2, 2) falls at or below 2.0 in both directions (1.5, 1.5); (3, 5)
    // reaches the far clamp in y (5.5).
    EXPECT_EQ(Px(p, 2, 2), (std::vector<int>{49, 56, 63}));
    EXPECT_EQ(Px(p, 5, 3), (std::vector<int>{100, 107, 114}));
    EXPECT_EQ(Px(p, 3, 5), (std::vector<int>{125, 132, 139}));
    for (int i = 0; i < 8; ++i) {
        for (int j : {0, 1, 6, 7}) {
            EXPECT_EQ(Px(p, i, j), Px(q, i, j));
            EXPECT_EQ(Px(p, j, i), Px(q, j, i));
        }
    }

    // Amplitude 0 samples every pixel at its own place, except that a
    // position at or below 2.0 becomes 1.5 and one at or above size - 3
    // becomes size - 2.5: columns and rows 2 and size - 3 are half blends.
    MakePattern(p, 9, 7);
    MakePattern(q, 9, 7);
    ASSERT_EQ(ThDrop(p.bits, p.info, 0.5, 0.5, 10, 4, 0), 1);
    EXPECT_EQ(Px(p, 4, 3), Px(q, 4, 3));
    EXPECT_EQ(Px(p, 5, 3), Px(q, 5, 3));
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(Px(p, 2, 3)[k], (Px(q, 1, 3)[k] + Px(q, 2, 3)[k]) / 2);
        EXPECT_EQ(Px(p, 6, 3)[k], (Px(q, 6, 3)[k] + Px(q, 7, 3)[k]) / 2);
        EXPECT_EQ(Px(p, 4, 4)[k], (Px(q, 4, 4)[k] + Px(q, 4, 5)[k]) / 2);
    }

    // A centre outside 0..1 is refused before the depth conversion.
    Make(p, 8, 8, 8);
    EXPECT_EQ(ThDrop(p.bits, p.info, 1.5, 0.5, 0, 1, 10), 0);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(ThDrop(p.bits, p.info, 0.5, -0.1, 0, 1, 10), 0);
    void* none = nullptr;
    EXPECT_EQ(ThDrop(none, p.info, 0.5, 0.5, 0, 1, 10), 0);

    // Amplitudes whose product with the width leaves 64 bits still give a
    // picture (the sanitizer build catches an overflow here).
    Make(p, 9, 7, 24);
    EXPECT_EQ(ThDrop(p.bits, p.info, 0.5, 0.5, 0, 3, std::numeric_limits<long>::max()), 1);
    EXPECT_EQ(ThDrop(p.bits, p.info, 0.5, 0.5, 0, 3, std::numeric_limits<long>::min()), 1);
}

TEST(LensEffect, ChannelPositionsFactorsAndPalette) {
    Pair p;
    Make(p, 2, 1, 24);
    auto lens = [&](int tint, int strong) {
        vtest::SetBgr(p, 0, 0, 10, 200, 100);
        EXPECT_EQ(ThLensEffect(p.bits, p.info, tint, strong, 0), 1);
        return Px(p, 0, 0);
    };
    // Tint 1: min to green, max to red, middle to blue, factor 55/255.
    EXPECT_EQ(lens(1, 0), (std::vector<int>{51, 10, 200}));
    EXPECT_EQ(lens(4, 0), lens(1, 0));
    EXPECT_EQ(lens(-3, 0), lens(1, 0));
    // Tint 2 strong: min to red, max to green, factor 146/255: 10 + 190 x
    // 0.5725 + 0.5 = 119.28.
    EXPECT_EQ(lens(2, 1), (std::vector<int>{119, 200, 10}));
    EXPECT_EQ(lens(2, 0), (std::vector<int>{116, 200, 10}));
    // Tint 3: min red, max blue, middle green; tint 6 (and above): min green,
    // max blue, middle red; tint 5: min blue, max green, middle red.
    EXPECT_EQ(lens(3, 1), (std::vector<int>{200, 63, 10}));
    EXPECT_EQ(lens(9, 0), (std::vector<int>{200, 10, 51}));
    EXPECT_EQ(lens(5, 0), (std::vector<int>{10, 200, 116}));

    // Palette images change their table only.
    Make(p, 2, 1, 8);
    p.row(0)[0] = 3;
    p.table()[3] = RGBQUAD{10, 200, 100, 0};
    ASSERT_EQ(ThLensEffect(p.bits, p.info, 1, 0, 0), 1);
    EXPECT_EQ(p.table()[3].rgbBlue, 51);
    EXPECT_EQ(p.table()[3].rgbGreen, 10);
    EXPECT_EQ(p.table()[3].rgbRed, 200);
    EXPECT_EQ(p.row(0)[0], 3);
}

TEST(Spiral, WorkedPixelsAndZeroAngle) {
    Pair p;
    Make(p, 8, 8, 8);
    ASSERT_EQ(ThSpiral(p.bits, p.info, 0.0, 0), 1);
    EXPECT_EQ(p.h().biBitCount, 8);  // no conversion at angle 0

    MakePattern(p, 8, 8);
    Pair q;
    MakePattern(q, 8, 8);
    ASSERT_EQ(ThSpiral(p.bits, p.info, 120.0, 0x55), 1);
    EXPECT_EQ(Px(p, 4, 4), Px(q, 4, 4));  // the centre does not turn
    EXPECT_EQ(Px(p, 5, 4), (std::vector<int>{162, 169, 176}));
    EXPECT_EQ(Px(p, 6, 1), (std::vector<int>{158, 165, 172}));
    EXPECT_EQ(Px(p, 2, 6), (std::vector<int>{74, 81, 88}));
}

TEST(Spiral, TinyPicturesStayInside) {
    for (int w : {1, 2, 3, 4}) {
        for (int h : {1, 2, 5}) {
            Pair p;
            MakePattern(p, w, h);
            EXPECT_EQ(ThSpiral(p.bits, p.info, 270.0, 0), 1);
            EXPECT_EQ(ThDrop(p.bits, p.info, 0.5, 0.5, 0, 3, 50), 1);
            EXPECT_EQ(ThWave(p.bits, p.info, 0, 3.0, 100, 1, 0), 1);
            EXPECT_EQ(ThRotate3D(p.bits, p.info, 40.0, 150, w & 1, 0), 1);
        }
    }
}

TEST(Rotate3D, ZeroIsACopyAndTheCardNarrowsAndLeans) {
    Pair p, q;
    MakePattern(p, 10, 6);
    MakePattern(q, 10, 6);
    ASSERT_EQ(ThRotate3D(p.bits, p.info, 0.0, 200, 0, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());
    ASSERT_EQ(ThRotate3D(p.bits, p.info, 0.0, 0, 1, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());

    // Parallel projection: 60 degrees halves the width, 90 leaves a sliver.
    MakePattern(p, 10, 6);
    ASSERT_EQ(ThRotate3D(p.bits, p.info, 60.0, 0, 0, 0), 1);
    EXPECT_EQ(p.h().biWidth, 5);
    EXPECT_EQ(p.h().biHeight, 6);
    MakePattern(p, 10, 6);
    ASSERT_EQ(ThRotate3D(p.bits, p.info, 90.0, 0, 1, 0), 1);
    EXPECT_EQ(p.h().biWidth, 10);
    EXPECT_EQ(p.h().biHeight, 1);

    // Perspective: the right edge comes nearer and grows taller than the
    // left; the background shows above and below the far edge only.
    vtest::Fill24(p, 40, 20, 9, 9, 9);
    ASSERT_EQ(ThRotate3D(p.bits, p.info, 40.0, 150, 0, 255), 1);
    const int w = p.h().biWidth, h = p.h().biHeight;
    EXPECT_LT(w, 40);
    EXPECT_GT(h, 20);
    auto covered = [&](int x) {
        int n = 0;
        for (int y = 0; y < h; ++y) n += Px(p, x, y)[0] == 9;
        return n;
    };
    EXPECT_LT(covered(0), covered(w - 1));
    EXPECT_GE(covered(w - 1), h - 2);
}

namespace {

// The ripple and swirl rules written pixel by pixel straight from their
// formulas, with nothing shared or hoisted, for comparison on random
// pictures. Pictures are at least 5 x 5, where every clamped position has
// its neighbours inside the picture.
BYTE BlendLiteral(const Pair& src, int ix, int iy, int fx, int fy, int k) {
    Pair& s = const_cast<Pair&>(src);
    const int p00 = s.row(iy)[3 * ix + k], p10 = s.row(iy)[3 * (ix + 1) + k];
    const int p01 = s.row(iy + 1)[3 * ix + k], p11 = s.row(iy + 1)[3 * (ix + 1) + k];
    return static_cast<BYTE>(
        ((p01 * (1024 - fx) + p11 * fx) * fy + (p00 * (1024 - fx) + p10 * fx) * (1024 - fy)) >> 20);
}

std::vector<BYTE> DropLiteral(Pair& src, double centreX, double centreY, long phase, long waves,
                              long amplitude) {
    const int w = src.h().biWidth, h = src.h().biHeight;
    Pair out;
    Make(out, w, h, 24);
    std::memcpy(out.bits, src.bits, src.bytes().size());
    const long cx = static_cast<long>(w * centreX), cy = static_cast<long>(h * centreY);
    const double k = waves * static_cast<double>(3.1415927f) / w;
    const double a = static_cast<double>(w * amplitude / h);
    const double phi = phase * static_cast<double>(0.017453292f);
    for (int y = 2; y <= h - 3; ++y) {
        for (int x = 2; x <= w - 3; ++x) {
            const double dx = x - cx, dy = y - cy;
            const double d = std::sqrt(dx * dx + dy * dy);
            const double m = std::sin(d * k + phi) * a / (d + 50.0);
            double sy = y + dy * m, sx = x + dx * m;
            if (sy <= 2.0) sy = 1.5;
            if (sy >= h - 3) sy = h - 2.5;
            if (sx <= 2.0) sx = 1.5;
            if (sx >= w - 3) sx = w - 2.5;
            const int iy = static_cast<int>(sy), ix = static_cast<int>(sx);
            const int fy = static_cast<int>((sy - iy) * 1024),
                      fx = static_cast<int>((sx - ix) * 1024);
            for (int c = 0; c < 3; ++c)
                out.row(y)[3 * x + c] = BlendLiteral(src, ix, iy, fx, fy, c);
        }
    }
    return out.bytes();
}

std::vector<BYTE> SpiralLiteral(Pair& src, double angle, BYTE background) {
    const int w = src.h().biWidth, h = src.h().biHeight;
    Pair out;
    Make(out, w, h, 24);
    std::memset(out.bits, background, out.bytes().size());
    const double big = std::sqrt(static_cast<double>(w) * w + static_cast<double>(h) * h);
    const int cx = w >> 1, cy = h >> 1;
    for (int y = -(h >> 1); y <= h - (h >> 1) - 1; ++y) {
        for (int x = -(w >> 1); x <= w - (w >> 1) - 1; ++x) {
            const double r = std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y);
            const double theta = r * (angle * 0.017453293005625408 / big);
            const double s = std::sin(theta), c = std::cos(theta);
            double sx = cx + x * c - y * s, sy = cy + x * s + y * c;
            sx = sx >= 2.0 ? std::min(sx, w - 3.0) : 2.0;  // NaN becomes 2.0 too
            sy = sy >= 2.0 ? std::min(sy, h - 3.0) : 2.0;
            const int ix = static_cast<int>(sx), iy = static_cast<int>(sy);
            const int fx = static_cast<int>((sx - ix) * 1024),
                      fy = static_cast<int>((sy - iy) * 1024);
            for (int k = 0; k < 3; ++k)
                out.row(y + cy)[3 * (x + cx) + k] = BlendLiteral(src, ix, iy, fx, fy, k);
        }
    }
    return out.bytes();
}

}  // namespace

TEST(Distort, DropAndSpiralMatchTheirFormulasPixelByPixel) {
    std::mt19937 rng(20261122);
    auto pick = [&](std::initializer_list<double> edges, double lo, double hi) {
        if (rng() % 3 == 0) return *(edges.begin() + rng() % edges.size());
        return std::uniform_real_distribution<double>(lo, hi)(rng);
    };
    for (int round = 0; round < 160; ++round) {
        SCOPED_TRACE(round);
        // Widths grow over the rounds; the last ten are wider than one strip
        // of the drop's walk (4096 columns), so the work splits into several
        // strips, on both sides of the centre when it is near the middle.
        const int narrow = round < 100 ? 40 : (round < 140 ? 150 : 1200);
        const int w = round < 150 ? 5 + static_cast<int>(rng() % narrow)
                                  : 4100 + static_cast<int>(rng() % 5000);
        const int h = 5 + static_cast<int>(rng() % (round < 140 ? 40 : (round < 150 ? 8 : 3)));
        Pair p;
        vtest::MakeRandom(p, w, h, rng);

        const double centreX = pick({0.0, 1.0, 0.5}, 0.0, 1.0);
        const double centreY = pick({0.0, 1.0, 0.5}, 0.0, 1.0);
        const long phase = static_cast<long>(pick({0, 90, -450}, -720, 720));
        const long waves = static_cast<long>(pick({0, 1, 200}, -20, 60));
        const long amplitude = static_cast<long>(pick({0, 100, 5000, -300}, -100, 400));
        std::vector<BYTE> expect = DropLiteral(p, centreX, centreY, phase, waves, amplitude);
        ASSERT_EQ(ThDrop(p.bits, p.info, centreX, centreY, phase, waves, amplitude), 1);
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h << " drop " << centreX << " " << centreY
                                     << " " << phase << " " << waves << " " << amplitude;

        vtest::MakeRandom(p, w, h, rng);
        const double angle =
            pick({1e-9, -360.0, 3600.0, 1e7, std::numeric_limits<double>::infinity(),
                  std::numeric_limits<double>::quiet_NaN()},
                 -720.0, 720.0);
        const BYTE background = static_cast<BYTE>(rng());
        expect = SpiralLiteral(p, angle, background);
        ASSERT_EQ(ThSpiral(p.bits, p.info, angle, background), 1);
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h << " spiral " << angle;
    }
}

// The swirl works out the turn of (|x|, |y|) once for (|y|, |x|) too, in
// tiles of 128 offsets paired about the diagonal: pictures whose quarter
// spans several tiles each way, with partial tiles at the edges, wider or
// taller than square, and small ones inside one tile.
TEST(Spiral, ReusedTurnsMatchTheFormula) {
    std::mt19937 rng(7211);
    const int sizes[][2] = {{65, 65}, {66, 63}, {9, 9},     {7, 128},   {513, 512},
                            {514, 515}, {1201, 700}, {600, 1101}, {8200, 6}, {1030, 260}};
    for (const auto& size : sizes) {
        for (double angle : {180.0, -75.5, 1e5}) {
            SCOPED_TRACE(std::to_string(size[0]) + "x" + std::to_string(size[1]) + " " +
                         std::to_string(angle));
            Pair p;
            vtest::MakeRandom(p, size[0], size[1], rng);
            const BYTE background = static_cast<BYTE>(rng());
            const std::vector<BYTE> expect = SpiralLiteral(p, angle, background);
            ASSERT_EQ(ThSpiral(p.bits, p.info, angle, background), 1);
            ASSERT_EQ(p.bytes(), expect);
        }
    }
}

// The compiler turns a sine and a cosine of one argument into one sincos
// call; that is only sound because this libm's sincos returns exactly what
// sin and cos return. Called through opaque pointers so that neither side
// is merged or folded.
TEST(Spiral, SincosMatchesSinAndCosBitForBit) {
    double (*volatile sine)(double) = &::sin;
    double (*volatile cosine)(double) = &::cos;
    void (*volatile both)(double, double*, double*) = &::sincos;
    std::mt19937_64 rng(42);
    auto bitsOf = [](double v) {
        std::uint64_t u;
        std::memcpy(&u, &v, 8);
        return u;
    };
    std::uniform_real_distribution<double> turn(-8.0, 8.0), wide(-1e6, 1e6);
    for (int i = 0; i < 2'000'000; ++i) {
        double x;
        switch (i % 4) {
            case 0: x = turn(rng); break;
            case 1: x = wide(rng); break;
            case 2: {  // any finite bit pattern
                const std::uint64_t u = rng();
                std::memcpy(&x, &u, 8);
                if (!std::isfinite(x)) x = 0.5;
                break;
            }
            default: x = std::ldexp(turn(rng), -static_cast<int>(rng() % 60)); break;
        }
        double s = 0, c = 0;
        both(x, &s, &c);
        ASSERT_EQ(bitsOf(s), bitsOf(sine(x))) << x;
        ASSERT_EQ(bitsOf(c), bitsOf(cosine(x))) << x;
    }
}
