// ThDoShadowBlur against a direct window sum, and ThFuzzy's shapes and blend.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "effects/blur.h"
#include "support/dib_fixture.h"

namespace {

using vtest::Make;
using vtest::Pair;

std::vector<BYTE> DirectBlur(Pair& p, int radius) {
    const int w = p.h().biWidth, h = p.h().biHeight;
    const std::int64_t stride = VellumDibStride(24, w);
    std::vector<BYTE> out(size_t(stride * h), 0);
    const std::int64_t area = std::int64_t(2 * radius + 1) * (2 * radius + 1);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                std::int64_t sum = 0;
                for (int yy = std::max(y - radius, 0); yy <= std::min(y + radius, h - 1); ++yy) {
                    for (int xx = std::max(x - radius, 0); xx <= std::min(x + radius, w - 1); ++xx) {
                        sum += p.row(yy)[3 * xx + c];
                    }
                }
                out[size_t(y * stride + 3 * x + c)] = BYTE(sum / area);
            }
        }
    }
    return out;
}

TEST(ThDoShadowBlur, RefusalsAndCorners) {
    Pair p;
    Make(p, 5, 4, 24);
    for (int y = 0; y < 4; ++y) std::fill(p.row(y), p.row(y) + 15, BYTE(255));
    const auto before = p.bytes();
    EXPECT_EQ(ThDoShadowBlur(p.bits, p.info, 0), 0);
    EXPECT_EQ(ThDoShadowBlur(p.bits, p.info, -3), 0);
    EXPECT_EQ(p.bytes(), before);
    ASSERT_EQ(ThDoShadowBlur(p.bits, p.info, 1), 1);
    EXPECT_EQ(p.row(0)[0], 4 * 255 / 9);      // corner: 113
    EXPECT_EQ(p.row(3)[14], 113);
    EXPECT_EQ(p.row(0)[3], 6 * 255 / 9);      // edge: 170
    EXPECT_EQ(p.row(1)[4], 255);              // interior stays white
    EXPECT_EQ(p.row(1)[15], 0);               // padding is 0
}

TEST(ThDoShadowBlur, RunningSumsEqualTheDirectWindowSum) {
    std::mt19937 rng(7);
    Pair p;
    for (int n = 0; n < 120; ++n) {
        const int w = 1 + int(rng() % 23), h = 1 + int(rng() % 19);
        const int radius = n % 5 == 0 ? 1 + int(rng() % 40) : 1 + int(rng() % 6);
        Make(p, w, h, 24);
        for (int y = 0; y < h; ++y) {
            for (int i = 0; i < 3 * w; ++i) p.row(y)[i] = BYTE(n % 3 == 0 ? 200 + rng() % 56 : rng());
        }
        const auto want = DirectBlur(p, radius);
        ASSERT_EQ(ThDoShadowBlur(p.bits, p.info, radius), 1);
        ASSERT_EQ(p.bytes(), want) << "case " << n << ": " << w << "x" << h << " r " << radius;
    }
    // A radius far beyond the image: every window sum is below the divisor.
    Make(p, 3, 2, 24);
    std::fill(p.row(0), p.row(0) + 9, BYTE(255));
    ASSERT_EQ(ThDoShadowBlur(p.bits, p.info, 2147483647), 1);
    for (BYTE b : p.bytes()) EXPECT_EQ(b, 0);
}

TEST(ThDoShadowBlur, LargeWindowSumsTakeTheWidePath) {
    // Window sums reaching 2^30 leave the 32-bit path; checked against a
    // summed-area table.
    const int w = 2100, h = 2048, radius = 1100;
    Pair p;
    Make(p, w, h, 24);
    std::mt19937 rng(9);
    for (int y = 0; y < h; ++y) {
        for (int i = 0; i < 3 * w; ++i) p.row(y)[i] = BYTE(128 + rng() % 128);
    }
    const std::int64_t stride = VellumDibStride(24, w);
    std::vector<std::int64_t> sat(size_t(w + 1) * (h + 1) * 3, 0);
    auto at = [&](int x, int y, int c) -> std::int64_t& { return sat[(size_t(y) * (w + 1) + x) * 3 + c]; };
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                at(x + 1, y + 1, c) = p.row(y)[3 * x + c] + at(x, y + 1, c) + at(x + 1, y, c) - at(x, y, c);
            }
        }
    }
    const std::int64_t area = std::int64_t(2 * radius + 1) * (2 * radius + 1);
    ASSERT_EQ(ThDoShadowBlur(p.bits, p.info, radius), 1);
    for (int y = 0; y < h; y += 7) {
        for (int x = 0; x < w; x += 5) {
            const int x0 = std::max(x - radius, 0), x1 = std::min(x + radius, w - 1) + 1;
            const int y0 = std::max(y - radius, 0), y1 = std::min(y + radius, h - 1) + 1;
            for (int c = 0; c < 3; ++c) {
                const std::int64_t sum = at(x1, y1, c) - at(x0, y1, c) - at(x1, y0, c) + at(x0, y0, c);
                ASSERT_EQ(static_cast<BYTE*>(p.bits)[y * stride + 3 * x + c], sum / area) << x << "," << y;
            }
        }
    }
}

void Fill(Pair& p, BYTE v) {
    for (int y = 0; y < p.h().biHeight; ++y) {
        std::fill(p.row(y), p.row(y) + 3 * p.h().biWidth, v);
    }
}

TEST(ThFuzzy, HardCircleAndColourOrder) {
    Pair p;
    Make(p, 21, 21, 24);  // centre (10, 10), a = b = 9
    Fill(p, 50);
    ThFuzzy(p.bits, p.info, 0x00302010, 0, 0);
    EXPECT_EQ(p.row(0)[0], 0x30);  // blue from bits 16..23
    EXPECT_EQ(p.row(0)[1], 0x20);
    EXPECT_EQ(p.row(0)[2], 0x10);
    EXPECT_EQ(p.row(10)[3 * 10], 50);
    EXPECT_EQ(p.row(10)[3 * 19], 50);  // d = 1: on the outline, kept
    EXPECT_EQ(p.row(10)[3 * 20], 0x30);
    EXPECT_EQ(p.row(19)[3 * 10], 50);
    EXPECT_EQ(p.row(20)[3 * 10], 0x30);
}

TEST(ThFuzzy, SoftBandBlend) {
    Pair p;
    Make(p, 20, 20, 24);  // ellipse a = b = 10
    Fill(p, 200);
    ThFuzzy(p.bits, p.info, 0x00646464, 100, 1);
    // (15, 10): d = 0.25, q = 0.5, t = 0.5: 200 x 0.5 + 100 x 0.5.
    EXPECT_EQ(p.row(10)[3 * 15], 150);
    EXPECT_EQ(p.row(10)[3 * 10], 200);  // centre: d = 0, not in the band
    // Softness 50: the band is 0.25 < d <= 1 and t = 2 (1 - q) reaches 1 halfway.
    Make(p, 20, 20, 24);
    Fill(p, 200);
    ThFuzzy(p.bits, p.info, 0, 50, 1);
    EXPECT_EQ(p.row(10)[3 * 16], 200);  // sqrt d = 0.6, q = 0.2, t = 1.6 -> 1
    // sqrt d = 0.9, q = 0.8, t = 0.4: trunc(200 x 0.4) = 79 (0.4 is not exact).
    EXPECT_EQ(p.row(10)[3 * 19], static_cast<int>(200 * ((1 - (0.9 - 0.5) / 0.5) * 100 / 50)));
}

TEST(ThFuzzy, OtherShapes) {
    Pair p;
    // Rectangle, softness 50: inner half sizes 5 and 4 on a 20 x 16 picture.
    Make(p, 20, 16, 24);
    Fill(p, 200);
    ThFuzzy(p.bits, p.info, 0, 50, 2);
    EXPECT_EQ(p.row(8)[3 * 10], 200);
    EXPECT_EQ(p.row(8)[3 * 0], 0);   // |dx| = 10 = a: outside
    EXPECT_EQ(p.row(8)[3 * 1], int(200 * ((1 - 4.0 / 5.0) * 100 / 50)));  // q = 0.8
    EXPECT_EQ(p.row(0)[3 * 10], 0);
    // Diamond: the corners of the picture are outside, the centre kept.
    Make(p, 20, 10, 24);
    Fill(p, 200);
    ThFuzzy(p.bits, p.info, 0, 0, 4);
    EXPECT_EQ(p.row(0)[0], 0);
    EXPECT_EQ(p.row(5)[3 * 10], 200);
    EXPECT_EQ(p.row(5)[3 * 1], 200);  // n = 0.9
    EXPECT_EQ(p.row(5)[3 * 0], 0);    // n = 1
    // Shape 5 on 52 x 45: height < 45 x 52 / 52 fails, s = 5 x 52 / 13 = 20.
    Make(p, 52, 45, 24);
    Fill(p, 200);
    ThFuzzy(p.bits, p.info, 0, 0, 5);
    EXPECT_EQ(p.row(22)[3 * 46], 200);  // distance 20
    EXPECT_EQ(p.row(22)[3 * 47], 0);    // distance 21
    // Shape 6: added glow, capped at 255 at the corners.
    Make(p, 20, 20, 24);
    Fill(p, 100);
    ThFuzzy(p.bits, p.info, 0x00FFFFFF, 100, 6);
    EXPECT_EQ(p.row(10)[3 * 10], 100);
    EXPECT_EQ(p.row(0)[0], 255);
    EXPECT_EQ(p.row(10)[3 * 15], int(100 + 255 * (25.0 / 200.0)));
    // Unknown shape: only the conversion. Tiny pictures: all outside.
    Fill(p, 100);
    ThFuzzy(p.bits, p.info, 0, 10, 7);
    EXPECT_EQ(p.row(0)[0], 100);
    Make(p, 2, 2, 24);
    Fill(p, 100);
    ThFuzzy(p.bits, p.info, 0x000000FF, 10, 0);
    EXPECT_EQ(p.row(1)[5], 255);
    void* none = nullptr;
    ThFuzzy(none, p.info, 0, 10, 0);
}

}  // namespace
