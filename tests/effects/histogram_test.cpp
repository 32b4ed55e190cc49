#include "effects/histogram.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "effects/effects_support.h"

using vtest::Fill24;
using vtest::Make;
using vtest::Pair;
using vtest::Px;
using vtest::SetBgr;

TEST(FormHistogram, LuminanceOfPixelsAndTableEntries) {
    Pair p;
    Make(p, 3, 1, 24);
    SetBgr(p, 0, 0, 255, 0, 0);  // (29 x 255) >> 8 = 28
    SetBgr(p, 1, 0, 0, 0, 255);  // (77 x 255) >> 8 = 76
    SetBgr(p, 2, 0, 0, 255, 0);  // (150 x 255) >> 8 = 149
    unsigned h[256];
    std::fill(h, h + 256, 7u);
    ThFormHistogram(p.bits, p.info, h);
    EXPECT_EQ(h[28], 1u);
    EXPECT_EQ(h[76], 1u);
    EXPECT_EQ(h[149], 1u);
    EXPECT_EQ(h[0], 0u);

    Make(p, 5, 2, 4);
    p.table()[3] = RGBQUAD{255, 0, 0, 0};
    p.row(1)[0] = 0x30;  // pixels 0 and 1 of the top row: entries 3 and 0
    ThFormHistogram(p.bits, p.info, h);
    EXPECT_EQ(h[28], 1u);
    EXPECT_EQ(h[0], 9u);

    Make(p, 2, 2, 32);
    ThFormHistogram(p.bits, p.info, h);
    EXPECT_EQ(h[0], 0u);
}

TEST(Equalize, LevelsAndTheUntouchedTopRow) {
    // Greys 0 and 100 below, 200 and 50 on top: map = 1, 2, 3, 4 at 0, 50,
    // 100, 200; low 1, range 3; levels 0 -> 0, 50 -> 85, 100 -> 170.
    Pair p;
    Make(p, 2, 2, 24);
    SetBgr(p, 0, 0, 0, 0, 0);
    SetBgr(p, 1, 0, 100, 100, 100);
    SetBgr(p, 0, 1, 200, 200, 200);
    SetBgr(p, 1, 1, 50, 50, 50);
    ASSERT_TRUE(ThEqualizeImage(p.bits, p.info));
    EXPECT_EQ(Px(p, 0, 0), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(Px(p, 1, 0), (std::vector<int>{170, 170, 170}));
    EXPECT_EQ(Px(p, 0, 1), (std::vector<int>{200, 200, 200}));
    EXPECT_EQ(Px(p, 1, 1), (std::vector<int>{50, 50, 50}));

    // All black: range 1, every level 0; channel bytes map one by one.
    Fill24(p, 3, 3, 0, 0, 0);
    SetBgr(p, 1, 2, 9, 9, 9);  // top row keeps its value
    ASSERT_TRUE(ThEqualizeImage(p.bits, p.info));
    EXPECT_EQ(Px(p, 1, 2), (std::vector<int>{9, 9, 9}));

    // Palette: the table is mapped, pixels kept. Grey entries 0 and 100 with
    // one pixel each: low 1, range 1, so 100 becomes 255.
    Make(p, 2, 1, 8);
    p.row(0)[0] = 0;
    p.row(0)[1] = 100;
    ASSERT_TRUE(ThEqualizeImage(p.bits, p.info));
    EXPECT_EQ(p.table()[100].rgbRed, 255);
    EXPECT_EQ(p.table()[100].rgbBlue, 255);
    EXPECT_EQ(p.row(0)[1], 100);

    Make(p, 2, 2, 32);
    EXPECT_FALSE(ThEqualizeImage(p.bits, p.info));
}

TEST(Normalize, OnePercentPointsAnd254) {
    // 100 pixels, threshold 1: blue 50 and 150, fifty each: low 50, high 150.
    Pair p;
    Make(p, 10, 10, 24);
    for (int i = 0; i < 100; ++i) SetBgr(p, i % 10, i / 10, i < 50 ? 50 : 150, 100, 10);
    SetBgr(p, 0, 0, 50, 200, 10);
    ASSERT_EQ(ThNormalize(p.bits, p.info), 1);
    EXPECT_EQ(Px(p, 1, 0), (std::vector<int>{0, 127, 0}));     // 254 x 50 / 100
    EXPECT_EQ(Px(p, 0, 0), (std::vector<int>{0, 255, 0}));     // above high
    EXPECT_EQ(Px(p, 5, 9), (std::vector<int>{254, 127, 0}));   // high maps to 254
    EXPECT_EQ(p.row(0)[30], 0);                                // padding cleared

    // 99 black and one white: the 1 % search meets at 0, the second search
    // finds 0 and 255, and 255 becomes 254.
    Make(p, 10, 10, 24);
    SetBgr(p, 3, 3, 255, 255, 255);
    ASSERT_EQ(ThNormalize(p.bits, p.info), 1);
    EXPECT_EQ(Px(p, 3, 3), (std::vector<int>{254, 254, 254}));

    // A single level is refused and the pair is unchanged.
    Fill24(p, 4, 4, 70, 80, 90);
    void* before = p.bits;
    EXPECT_EQ(ThNormalize(p.bits, p.info), 0);
    EXPECT_EQ(p.bits, before);
    EXPECT_EQ(Px(p, 2, 2), (std::vector<int>{70, 80, 90}));
}

TEST(Normalize, PaletteCountsWithReversedWeights) {
    // Entry 0 (r 40, g 50, b 60) counts (77 x 60 + 150 x 50 + 29 x 40) >> 8
    // = 51, entry 1 (r 200, g 150, b 100) counts 140.
    Pair p;
    Make(p, 10, 10, 8);
    p.table()[0] = RGBQUAD{60, 50, 40, 0};
    p.table()[1] = RGBQUAD{100, 150, 200, 0};
    for (int i = 0; i < 50; ++i) p.row(i / 10)[i % 10] = 1;
    ASSERT_EQ(ThNormalize(p.bits, p.info), 1);
    EXPECT_EQ(p.table()[0].rgbRed, 0);
    EXPECT_EQ(p.table()[0].rgbGreen, 0);
    EXPECT_EQ(p.table()[0].rgbBlue, 25);  // 254 x 9 / 89
    EXPECT_EQ(p.table()[1].rgbRed, 255);
    EXPECT_EQ(p.table()[1].rgbGreen, 255);
    EXPECT_EQ(p.table()[1].rgbBlue, 139);  // 254 x 49 / 89
    EXPECT_EQ(p.row(0)[0], 1);
    EXPECT_EQ(p.row(9)[9], 0);
}

TEST(Equalize, MatchesTheRuleOnRandomPictures) {
    // Random pictures of every width class (row padding, tails shorter than
    // any block the mapping works in), with spread, narrow and single-level
    // content; padding bytes are random and must survive.
    std::mt19937 rng(7031);
    for (int round = 0; round < 120; ++round) {
        SCOPED_TRACE(round);
        const int w = 1 + static_cast<int>(rng() % (round % 4 == 0 ? 300 : 70));
        const int h = 1 + static_cast<int>(rng() % 9);
        Pair p;
        vtest::MakeRandom(p, w, h, rng);
        const int spread = std::array<int, 4>{256, 40, 3, 1}[round % 4];
        const int base = static_cast<int>(rng() % (257 - spread));
        for (int y = 0; y < h; ++y) {
            for (int b = 0; b < 3 * w; ++b) p.row(y)[b] = static_cast<BYTE>(base + rng() % spread);
        }

        std::vector<BYTE> expect = p.bytes();
        const std::int64_t stride = VellumDibStride(24, w);
        unsigned map[256] = {};
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const BYTE* q = &expect[y * stride + 3 * x];
                ++map[(29 * q[0] + 150 * q[1] + 77 * q[2]) >> 8];
            }
        }
        for (int i = 1; i < 256; ++i) map[i] += map[i - 1];
        const unsigned low = map[0];
        const unsigned range = map[255] - low < 2 ? 1 : map[255] - low;
        for (int y = 0; y + 1 < h; ++y) {
            for (int b = 0; b < 3 * w; ++b) {
                BYTE& c = expect[y * stride + b];
                c = static_cast<BYTE>(static_cast<int>((map[c] - low) * 255.0 / range));
            }
        }
        ASSERT_TRUE(ThEqualizeImage(p.bits, p.info));
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h;
    }
}

namespace {

// Normalize of a 24-bit pair done literally: blue-byte histogram, the 1 %
// points (then the first non-empty levels), the 254 level table, every
// pixel byte through it and the padding cleared. Empty when refused.
std::vector<BYTE> NormalizeLiteral(Pair& p) {
    const int w = p.h().biWidth, h = p.h().biHeight;
    const int stride = static_cast<int>(p.bytes().size()) / h;
    const std::vector<BYTE> src = p.bytes();
    long hist[256] = {};
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) ++hist[src[y * stride + 3 * x]];
    }
    auto search = [&](long threshold, int& low, int& high) {
        long sum = 0;
        for (low = 0; low < 255 && sum + hist[low] <= threshold; ++low) sum += hist[low];
        sum = 0;
        for (high = 255; high > 0 && sum + hist[high] <= threshold; --high) sum += hist[high];
    };
    int low = 0, high = 0;
    search(static_cast<long>(w) * h / 100, low, high);
    if (low == high) search(0, low, high);
    if (low == high) return {};
    std::vector<BYTE> out(src.size(), 0);
    for (int y = 0; y < h; ++y) {
        for (int b = 0; b < 3 * w; ++b) {
            const int v = src[y * stride + b];
            out[y * stride + b] =
                static_cast<BYTE>(v < low ? 0 : (v > high ? 255 : 254 * (v - low) / (high - low)));
        }
    }
    return out;
}

}  // namespace

// Widths around the 64- and 16-byte steps of the level lookup, narrow and
// wide level ranges, rare outliers beyond the 1 % points, and pictures
// that only the second search can stretch.
TEST(Normalize, MatchesTheLevelRulePixelByPixel) {
    std::mt19937 rng(1171);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const int w = 1 + static_cast<int>(rng() % (round < 40 ? 70 : 400));
        const int h = 1 + static_cast<int>(rng() % 30);
        Pair p;
        Make(p, w, h, 24);
        const int lo = static_cast<int>(rng() % 256);
        const int span = static_cast<int>(rng() % (256 - lo));
        for (int y = 0; y < h; ++y) {
            for (int b = 0; b < 3 * w; ++b) {
                int v = lo + (span ? static_cast<int>(rng() % (span + 1)) : 0);
                if (rng() % 200 == 0) v = static_cast<int>(rng() % 256);
                p.row(y)[b] = static_cast<BYTE>(v);
            }
        }
        const std::vector<BYTE> expect = NormalizeLiteral(p);
        if (expect.empty()) {
            EXPECT_EQ(ThNormalize(p.bits, p.info), 0);
            continue;
        }
        ASSERT_EQ(ThNormalize(p.bits, p.info), 1);
        ASSERT_EQ(p.bytes(), expect) << w << "x" << h;
    }
}
