#include "effects/noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>

#include "effects/effects_support.h"

using vtest::Fill24;
using vtest::Make;
using vtest::Pair;
using vtest::Px;
using vtest::Stats;

namespace {

// Share of channel bytes equal to v.
double Share(Pair& p, int v) {
    double n = 0, all = 0;
    for (int y = 0; y < p.h().biHeight; ++y) {
        for (int b = 0; b < 3 * p.h().biWidth; ++b) {
            n += p.row(y)[b] == v;
            ++all;
        }
    }
    return n / all;
}

}  // namespace

TEST(AddNoise, KindsHaveTheirStatistics) {
    Pair p;
    double mean = 0, sd = 0;

    // Impulse: 1638 and 1639 of the 32768 draws give 0 and 255.
    Fill24(p, 256, 256, 128, 128, 128);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 3));
    EXPECT_NEAR(Share(p, 0), 1638.0 / 32768, 0.004);
    EXPECT_NEAR(Share(p, 255), 1639.0 / 32768, 0.004);
    EXPECT_NEAR(Share(p, 128), 1.0 - 3277.0 / 32768, 0.006);

    // Uniform: p + 4 (alpha - 0.5), truncated: 98..102 with mean near 99.5.
    Fill24(p, 256, 256, 100, 100, 100);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 0));
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 99.5, 0.1);
    EXPECT_NEAR(Share(p, 98) + Share(p, 99) + Share(p, 100) + Share(p, 101) + Share(p, 102), 1.0, 1e-9);

    // Gaussian: standard deviations 4 sqrt(p) = 40 and 20 combine to 44.7.
    Fill24(p, 256, 256, 100, 100, 100);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 1));
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 100.0, 2.0);
    EXPECT_NEAR(sd, 44.7, 2.5);

    // Laplacian of scale 10: standard deviation 10 sqrt(2).
    Fill24(p, 256, 256, 128, 128, 128);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 4));
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 127.5, 0.6);
    EXPECT_NEAR(sd, 14.14, 1.0);

    // Poisson replaces the value by 20 x a count of mean 0.05 p.
    Fill24(p, 256, 256, 20, 20, 20);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 5));
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 20.0, 1.0);
    EXPECT_NEAR(sd, 20.0, 1.5);
    for (int y = 0; y < 256; ++y) {
        for (int b = 0; b < 3 * 256; ++b) ASSERT_EQ(p.row(y)[b] % 20 == 0 || p.row(y)[b] == 255, true);
    }
    Fill24(p, 64, 64, 0, 0, 0);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 5));
    EXPECT_EQ(Share(p, 0), 1.0);  // limit exp(0) = 1: no draws, value 0
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 2));
    EXPECT_EQ(Share(p, 0), 1.0);  // multiplicative noise keeps black

    // Palette input is converted to 24 bits; null pointers are refused.
    Make(p, 4, 4, 8);
    ASSERT_TRUE(ThAddNoise(p.bits, p.info, 3));
    EXPECT_EQ(p.h().biBitCount, 24);
    void* none = nullptr;
    EXPECT_FALSE(ThAddNoise(none, p.info, 1));
}

TEST(GenerateNoise, GrainReachAndMonochrome) {
    Pair p;
    double mean = 0, sd = 0;
    Fill24(p, 200, 200, 100, 100, 100);
    ASSERT_EQ(ThGenerateNoise(p.bits, p.info, 0, 0), 1);
    EXPECT_EQ(Share(p, 100), 1.0);

    ASSERT_EQ(ThGenerateNoise(p.bits, p.info, 0, 10), 1);
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 100.0, 0.3);
    EXPECT_NEAR(sd, 20.0 / std::sqrt(12.0), 0.3);
    for (int v = 0; v < 256; ++v) {
        if (v < 90 || v > 110) {
            EXPECT_EQ(Share(p, v), 0.0) << v;
        }
    }

    Fill24(p, 200, 200, 60, 60, 60);
    ASSERT_EQ(ThGenerateNoise(p.bits, p.info, 3, 20), 1);  // Gaussian, monochrome
    Stats(p, mean, sd);
    EXPECT_NEAR(mean, 60.0, 0.5);
    EXPECT_NEAR(sd, 10.0, 0.5);
    bool varied = false;
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 200; ++x) {
            const auto px = Px(p, x, y);
            ASSERT_TRUE(px[0] == px[1] && px[1] == px[2]);
            varied |= px[0] != 60;
        }
    }
    EXPECT_TRUE(varied);
}

TEST(Hull, StepsKeepTheirAsymmetryAndWrap) {
    // One inner pixel: planes of 3 x 3, neighbour to the right. Returns the
    // first pass (g) and the second (f) as g x 1000 + f.
    auto one = [](int v, int right, int polarity) {
        BYTE f[9] = {}, g[9] = {};
        f[4] = static_cast<BYTE>(v);
        f[5] = static_cast<BYTE>(right);
        ThHull(1, 0, polarity, 1, 1, f, g);
        return g[4] * 1000 + f[4];
    };
    EXPECT_EQ(one(5, 6, 1), 6006);    // raised towards a brighter neighbour
    EXPECT_EQ(one(6, 5, -1), 6005);   // lowered only past a margin of one
    EXPECT_EQ(one(7, 5, -1), 6005);   // second pass: 1 < 6 and 0 < 6
    EXPECT_EQ(one(5, 255, -1), 4003);  // 255 + 1 wraps to 0, so 5 > 0 lowers it
    EXPECT_EQ(one(5, 255, 1), 6006);

    // Second pass wrap: row 255, 10, 20 with offset (1, 0). The middle pixel
    // would rise to 12 if g[p - 1] + 1 did not wrap to 0.
    BYTE f[15] = {}, g[15] = {};
    f[6] = 255;
    f[7] = 10;
    f[8] = 20;
    ThHull(1, 0, 1, 3, 1, f, g);
    EXPECT_EQ(f[6], 255);
    EXPECT_EQ(f[7], 11);
    EXPECT_EQ(f[8], 20);

    // Offsets past one pixel read 0 outside the planes; nulls do nothing.
    ThHull(7, -9, 1, 3, 1, f, g);
    ThHull(1, 0, 1, 3, 1, nullptr, g);
}

TEST(Despeckle, OnePixelAndIsolatedSpeck) {
    Pair p;
    Make(p, 1, 1, 8);
    p.row(0)[0] = 200;
    ASSERT_EQ(ThDespeckleImage(p.bits, p.info), 1);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_LT(Px(p, 0, 0)[0], 200);  // pulled towards the zero border

    Fill24(p, 9, 9, 100, 100, 100);
    vtest::SetBgr(p, 4, 4, 250, 100, 0);
    ASSERT_EQ(ThDespeckleImage(p.bits, p.info), 1);
    const auto c = Px(p, 4, 4);
    EXPECT_LT(c[0], 250);
    EXPECT_GT(c[2], 0);
}

TEST(ReduceNoise, IsAMedianOfNineWithEdgesReplicated) {
    Pair p, q;
    Make(p, 7, 5, 24);
    Make(q, 7, 5, 24);
    std::mt19937 rng(7);
    for (int y = 0; y < 5; ++y) {
        for (int b = 0; b < 21; ++b) p.row(y)[b] = q.row(y)[b] = static_cast<BYTE>(rng());
    }
    ASSERT_TRUE(ThReduceNoiseImage(p.bits, p.info));
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 7; ++x) {
            for (int k = 0; k < 3; ++k) {
                std::vector<int> v;
                for (int j = -1; j <= 1; ++j) {
                    for (int i = -1; i <= 1; ++i) {
                        const int sx = std::clamp(x + i, 0, 6), sy = std::clamp(y + j, 0, 4);
                        v.push_back(q.row(sy)[3 * sx + k]);
                    }
                }
                std::nth_element(v.begin(), v.begin() + 4, v.end());
                ASSERT_EQ(p.row(y)[3 * x + k], v[4]) << x << "," << y << "," << k;
            }
        }
    }
}

TEST(Spread, OffsetsAreBitMasksAndRefusals) {
    // min(40, 40) x 10 % = 4: rand() & 4 is 0 or 4, so offsets are -2 or +2.
    Pair p;
    Make(p, 40, 40, 24);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) vtest::SetBgr(p, x, y, static_cast<BYTE>(x), static_cast<BYTE>(y), 0);
    }
    ASSERT_EQ(ThSpreadImage(p.bits, p.info, 10), 1);
    std::set<int> dxs, dys;
    for (int y = 2; y < 38; ++y) {
        for (int x = 2; x < 38; ++x) {
            dxs.insert(Px(p, x, y)[0] - x);
            dys.insert(Px(p, x, y)[1] - y);
        }
    }
    EXPECT_EQ(dxs, (std::set<int>{-2, 2}));
    EXPECT_EQ(dys, (std::set<int>{-2, 2}));

    // Amount 0 keeps everything; refusals leave the picture alone.
    Pair q;
    vtest::MakePattern(p, 5, 5);
    vtest::MakePattern(q, 5, 5);
    ASSERT_EQ(ThSpreadImage(p.bits, p.info, 0), 1);
    EXPECT_EQ(p.bytes(), q.bytes());
    vtest::MakePattern(p, 2, 5);
    EXPECT_EQ(ThSpreadImage(p.bits, p.info, 50), 0);
    Make(p, 5, 5, 4);
    EXPECT_EQ(ThSpreadImage(p.bits, p.info, 50), 0);
    Make(p, 5, 5, 8);
    EXPECT_EQ(ThSpreadImage(p.bits, p.info, 50), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
}

namespace {

// The hull step and the despeckle written straight from their rules, pass by
// pass over whole planes, for comparison on random pictures.
void HullLiteral(int xOffset, int yOffset, int polarity, int columns, int rows, BYTE* f, BYTE* g) {
    const int span = columns + 2;
    const int offset = yOffset * span + xOffset;
    for (int y = 1; y <= rows; ++y) {
        for (int x = 1; x <= columns; ++x) {
            const int p = y * span + x;
            int v = f[p];
            const int r = f[p + offset];
            if (polarity >= 1) {
                if (r > v) v = v + 1;
            } else if (v > static_cast<BYTE>(r + 1)) {
                v = v - 1;
            }
            g[p] = static_cast<BYTE>(v);
        }
    }
    for (int y = 1; y <= rows; ++y) {
        for (int x = 1; x <= columns; ++x) {
            const int p = y * span + x;
            int v = g[p];
            const int r = g[p + offset];
            const int s1 = static_cast<BYTE>(g[p - offset] + 1);
            if (polarity >= 1) {
                if (s1 > v && r > v) v = v + 1;
            } else if (s1 < v && r < v) {
                v = v - 1;
            }
            f[p] = static_cast<BYTE>(v);
        }
    }
}

std::vector<BYTE> DespeckleLiteral(Pair& src) {
    const int w = src.h().biWidth, h = src.h().biHeight, span = w + 2;
    std::vector<BYTE> planes[4];
    for (auto& plane : planes) plane.assign(static_cast<std::size_t>(span * (h + 2)), 0);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c)
                planes[c][(y + 1) * span + x + 1] = src.row(y)[3 * x + 2 - c];
        }
    }
    const int kx[4] = {0, 1, 1, -1}, ky[4] = {1, 0, 1, 1};
    for (int c = 0; c < 3; ++c) {
        std::fill(planes[3].begin(), planes[3].end(), 0);
        for (int k = 0; k < 4; ++k) {
            HullLiteral(kx[k], ky[k], 1, w, h, planes[c].data(), planes[3].data());
            HullLiteral(-kx[k], -ky[k], 1, w, h, planes[c].data(), planes[3].data());
            HullLiteral(-kx[k], -ky[k], -1, w, h, planes[c].data(), planes[3].data());
            HullLiteral(kx[k], ky[k], -1, w, h, planes[c].data(), planes[3].data());
        }
    }
    std::vector<BYTE> out = src.bytes();
    const std::int64_t stride = VellumDibStride(24, w);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c)
                out[y * stride + 3 * x + 2 - c] = planes[c][(y + 1) * span + x + 1];
        }
    }
    return out;
}

}  // namespace

TEST(Despeckle, MatchesItsRuleOnRandomPictures) {
    // Random and low-contrast content (where the margin-of-one and the
    // wrap of 255 + 1 matter), widths past any block the steps work in.
    std::mt19937 rng(4242);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const int w = 1 + static_cast<int>(rng() % (round < 40 ? 40 : 300));
        const int h = 1 + static_cast<int>(rng() % (round < 50 ? 25 : 90));
        Pair p;
        vtest::MakeRandom(p, w, h, rng);
        if (round % 3 == 1) {
            for (int y = 0; y < h; ++y) {
                for (int b = 0; b < 3 * w; ++b) p.row(y)[b] = static_cast<BYTE>(250 + rng() % 6);
            }
        } else if (round % 3 == 2) {
            for (int y = 0; y < h; ++y) {
                for (int b = 0; b < 3 * w; ++b) p.row(y)[b] = static_cast<BYTE>(rng() % 4);
            }
        }
        const std::vector<BYTE> expect = DespeckleLiteral(p);
        ASSERT_EQ(ThDespeckleImage(p.bits, p.info), 1);
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h;
    }
}

TEST(Hull, MatchesItsRuleForEveryNearOffset) {
    std::mt19937 rng(515);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        const int columns = 1 + static_cast<int>(rng() % 70),
                  rows = 1 + static_cast<int>(rng() % 12);
        const int xOffset = static_cast<int>(rng() % 3) - 1,
                  yOffset = static_cast<int>(rng() % 3) - 1;
        const int polarity = std::array<int, 4>{1, 0, -1, 5}[rng() % 4];
        const std::size_t size = static_cast<std::size_t>((columns + 2) * (rows + 2));
        std::vector<BYTE> f(size), g(size);
        const int low = round % 2 ? 250 : 0, spread = round % 4 < 2 ? 6 : 256;
        for (BYTE& b : f) b = static_cast<BYTE>(low + rng() % spread);
        for (BYTE& b : g) b = static_cast<BYTE>(rng());
        std::vector<BYTE> ef = f, eg = g;
        HullLiteral(xOffset, yOffset, polarity, columns, rows, ef.data(), eg.data());
        ThHull(xOffset, yOffset, polarity, static_cast<unsigned>(columns),
               static_cast<unsigned>(rows), f.data(), g.data());
        ASSERT_EQ(f, ef) << columns << "x" << rows << " " << xOffset << "," << yOffset << " "
                         << polarity;
        ASSERT_EQ(g, eg);
    }
}
