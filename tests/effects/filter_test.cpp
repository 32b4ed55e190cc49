// ThDoFilter: exact bytes of each kind, the byte and row ranges, the border
// initialisation, the directional pairs and the reads of kinds 15 and 16.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "effects/filter.h"
#include "support/dib_fixture.h"

namespace {

using vtest::Make;
using vtest::Pair;

// Fills a 24-bit pair's bytes (padding included) with random values.
void Randomise(Pair& p, std::mt19937& rng) {
    auto* b = static_cast<BYTE*>(p.bits);
    for (std::int64_t i = 0; i < VellumDibImageSize(p.h()); ++i) b[i] = BYTE(rng() & 0xFF);
}

int Clamp(std::int64_t v) { return v < 0 ? 0 : v > 255 ? 255 : int(v); }

// A plain transcription of the filter rules, byte by byte over the flat block.
std::vector<BYTE> Reference(const std::vector<BYTE>& src, std::int64_t stride, std::int64_t h,
                            int kind, int strength) {
    static const int blur[5][10] = {{1, 3, 1, 3, 20, 3, 1, 3, 1, 36}, {1, 3, 1, 3, 10, 3, 1, 3, 1, 26},
                                    {1, 3, 1, 3, 5, 3, 1, 3, 1, 21},  {1, 2, 1, 2, 1, 2, 1, 2, 1, 13},
                                    {3, 3, 3, 3, 1, 3, 3, 3, 3, 25}};
    static const int sharp[5][10] = {{0, -1, 0, -1, 5, -1, 0, -1, 0, 1},
                                     {-1, 0, -1, 0, 5, 0, -1, 0, -1, 1},
                                     {-1, -1, -1, -1, 9, -1, -1, -1, -1, 1},
                                     {-1, -2, -1, -2, 13, -2, -1, -2, -1, 1},
                                     {-2, -2, -2, -2, 17, -2, -2, -2, -2, 1}};
    const std::int64_t size = stride * h;
    std::vector<BYTE> out = kind >= 7 ? std::vector<BYTE>(size_t(size), 128) : src;
    auto at = [&](std::int64_t row, std::int64_t byte) -> int {
        std::int64_t off = row * stride + byte;
        if (off < 0) off += stride;  // the documented choice for reads outside the block
        if (off >= size) off -= stride;
        return src[size_t(off)];
    };
    const bool allRows = kind >= 4 && kind <= 6;
    for (std::int64_t r = allRows ? 0 : 1; r <= (allRows ? h - 1 : h - 2); ++r) {
        for (std::int64_t x = 3; x <= stride - 4; ++x) {
            std::int64_t v = 0;
            if (kind <= 3) {
                std::int64_t sum = 0, ring = 0;
                for (int n = 0; n < 9; ++n) {
                    const int p = at(r - 1 + n / 3, x + 3 * (n % 3 - 1));
                    if (kind == 1) sum += blur[strength][n] * p;
                    if (kind == 2) sum += sharp[strength][n] * p;
                    if (n != 4) ring += p;
                }
                if (kind == 1) v = sum / blur[strength][9];
                if (kind == 2) v = sum;
                if (kind == 3) v = (3 * ring + 4 * at(r, x)) / 20;
            } else if (kind == 4) {
                v = 2 * (at(r, x - 3) + at(r, x + 3)) - 3 * at(r, x);
            } else if (kind == 5) {
                v = 26 * at(r, x) - 24 * at(r, x + 3) - at(r, x - 3);
            } else if (kind == 6) {
                v = 5 * at(r, x) - at(r, x + 3) - at(r, x - 3);
            } else {
                int d = kind - 7;
                if (d >= 4) ++d;
                const int e = 8 - d;
                v = std::int64_t(at(r - 1 + d / 3, x + 3 * (d % 3 - 1)) -
                                 at(r - 1 + e / 3, x + 3 * (e % 3 - 1))) *
                        strength +
                    128;
            }
            out[size_t(r * stride + x)] = BYTE(Clamp(v));
        }
    }
    return out;
}

TEST(ThDoFilter, RefusalsLeaveThePairUntouched) {
    Pair p;
    Make(p, 5, 4, 8);
    static_cast<BYTE*>(p.bits)[0] = 7;
    const auto before = p.bytes();
    void* nullBits = nullptr;
    EXPECT_EQ(ThDoFilter(nullBits, p.info, 1, 0), 0);
    for (auto [kind, strength] : {std::pair{0, 0}, {17, 0}, {1, 5}, {1, -1}, {2, 5}, {2, -1}}) {
        EXPECT_EQ(ThDoFilter(p.bits, p.info, kind, strength), 0) << kind << " " << strength;
        EXPECT_EQ(p.h().biBitCount, 8);
        EXPECT_EQ(p.bytes(), before);
    }
    // Strength is a gain for the other kinds: any value is accepted.
    EXPECT_EQ(ThDoFilter(p.bits, p.info, 9, -40), 1);
    EXPECT_EQ(p.h().biBitCount, 24);
}

TEST(ThDoFilter, HandComputedKernels) {
    // 3 x 3 pixels; the centre byte of channel 0 alone is set.
    auto run = [](int kind, int strength, BYTE centre, BYTE rest) {
        Pair p;
        Make(p, 3, 3, 24);
        for (int y = 0; y < 3; ++y) {
            for (int i = 0; i < 12; ++i) p.row(y)[i] = i < 9 ? rest : 0;
        }
        p.row(1)[3] = centre;
        EXPECT_EQ(ThDoFilter(p.bits, p.info, kind, strength), 1);
        return std::vector<BYTE>(p.row(1), p.row(1) + 12);
    };
    // Blur row 0: 20 x 1 / 36 truncates to 0 (rounding would give 1).
    EXPECT_EQ(run(1, 0, 1, 0)[3], 0);
    EXPECT_EQ(run(1, 0, 36, 0)[3], 20);
    // Row 4: centre weight 1, ring 3; 8 x 3 x 10 / 25 = 9 (9.6 truncated).
    EXPECT_EQ(run(1, 4, 0, 10)[3], 9);
    EXPECT_EQ(run(1, 3, 13, 0)[3], 1);
    // Sharpen clamps at both ends.
    EXPECT_EQ(run(2, 0, 100, 0)[3], 255);
    EXPECT_EQ(run(2, 2, 0, 100)[3], 0);
    EXPECT_EQ(run(2, 4, 50, 10)[4], 10 * 17 - 16 * 10);
    // Kind 3 on uniform 100 gains 28 / 20; 200 caps at 255.
    EXPECT_EQ(run(3, 0, 100, 100)[4], 140);
    EXPECT_EQ(run(3, 0, 200, 200)[4], 255);
    // The last pixel is filtered too when the row has padding: byte 6 reads
    // the padding byte 9 as its right neighbour.
    EXPECT_EQ(run(3, 0, 100, 100)[6], (3 * (100 * 5) + 4 * 100) / 20);
    // ... and the padding bytes 9..11 stay copies (0).
    EXPECT_EQ(run(3, 0, 100, 100)[9], 0);
}

TEST(ThDoFilter, HorizontalKindsFilterEveryRow) {
    Pair p;
    Make(p, 4, 1, 24);
    const BYTE row[12] = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    for (int kind = 4; kind <= 6; ++kind) {
        std::copy(row, row + 12, p.row(0));
        ASSERT_EQ(ThDoFilter(p.bits, p.info, kind, 0), 1);
        const BYTE* o = p.row(0);
        EXPECT_EQ(o[0], 10);
        EXPECT_EQ(o[11], 120);
        const int l = 10, c = 40, r = 70;  // byte 3 and its neighbours
        const int expect = kind == 4 ? 2 * (l + r) - 3 * c : kind == 5 ? 26 * c - 24 * r - l : 5 * c - r - l;
        EXPECT_EQ(o[3], Clamp(expect)) << kind;
    }
}

TEST(ThDoFilter, DirectionalPairs) {
    // Horizontal ramp (+10 per pixel) and vertical ramp (+10 per row).
    Pair p;
    for (int vertical = 0; vertical < 2; ++vertical) {
        for (int kind = 7; kind <= 14; ++kind) {
            Make(p, 4, 3, 24);
            for (int y = 0; y < 3; ++y) {
                for (int x = 0; x < 4; ++x) {
                    const BYTE v = BYTE(100 + 10 * (vertical ? y : x));
                    vtest::SetBgr(p, x, y, v, v, v);
                }
            }
            ASSERT_EQ(ThDoFilter(p.bits, p.info, kind, 2), 1);
            // Offsets of A minus B in (row, pixel) for kinds 7..14.
            static const int dA[8][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, -1}, {0, 1}, {1, -1}, {1, 0}, {1, 1}};
            const int* a = dA[kind - 7];
            const int diff = 10 * (vertical ? 2 * a[0] : 2 * a[1]);
            EXPECT_EQ(p.row(1)[3], Clamp(diff * 2 + 128)) << kind << " " << vertical;
            EXPECT_EQ(p.row(0)[3], 128);
            EXPECT_EQ(p.row(1)[0], 128);
        }
    }
}

TEST(ThDoFilter, UniformImagesGive128AndSingleRowsKeepTheirInitialValue) {
    Pair p;
    for (int kind = 7; kind <= 16; ++kind) {
        Make(p, 8, 5, 24);
        for (int y = 0; y < 5; ++y) std::fill(p.row(y), p.row(y) + 24, BYTE(77));
        ASSERT_EQ(ThDoFilter(p.bits, p.info, kind, 3), 1);
        for (BYTE b : p.bytes()) ASSERT_EQ(b, 128) << kind;
    }
    std::mt19937 rng(5);
    for (int kind = 1; kind <= 16; ++kind) {
        if (kind >= 4 && kind <= 6) continue;
        Make(p, 7, 1, 24);
        Randomise(p, rng);
        const auto before = p.bytes();
        ASSERT_EQ(ThDoFilter(p.bits, p.info, kind, 1), 1);
        for (size_t i = 0; i < before.size(); ++i) ASSERT_EQ(p.bytes()[i], kind <= 3 ? before[i] : 128);
    }
}

TEST(ThDoFilter, OutsideWindowKindsReadThroughTheFlatBlock) {
    // Kind 16 at (r, x) is p(r + 2, x) - p(r - 1, x - 9 bytes); on row 2 byte 3
    // that is the tail of row 0 (byte stride - 6), inside the image.
    Pair p;
    Make(p, 5, 6, 24);  // stride 16
    std::mt19937 rng(16);
    Randomise(p, rng);
    const auto src = p.bytes();
    ASSERT_EQ(ThDoFilter(p.bits, p.info, 16, 1), 1);
    const std::int64_t s = 16;
    EXPECT_EQ(p.row(2)[3], Clamp(int(src[4 * s + 3]) - int(src[0 * s + (s - 6)]) + 128));
    // Top filtered row (4): row 6 does not exist, row 5 stands in.
    EXPECT_EQ(p.row(4)[8], Clamp(int(src[5 * s + 8]) - int(src[2 * s + (8 - 9)]) + 128));
    // Row 1 byte 3: B lies before the block; row 0 at the same byte stands in.
    EXPECT_EQ(p.row(1)[3], Clamp(int(src[3 * s + 3]) - int(src[s - 6]) + 128));
}

TEST(ThDoFilter, MatchesTheReferenceOnRandomImages) {
    std::mt19937 rng(42);
    Pair p;
    const int widths[] = {1, 2, 3, 4, 5, 7, 9, 13};
    const int heights[] = {1, 2, 3, 4, 7};
    for (int w : widths) {
        for (int h : heights) {
            for (int kind = 1; kind <= 16; ++kind) {
                const int strength = kind <= 2 ? int(rng() % 5) : int(rng() % 7) - 3;
                Make(p, w, h, 24);
                Randomise(p, rng);
                const auto want = Reference(p.bytes(), VellumDibStride(24, w), h, kind, strength);
                ASSERT_EQ(ThDoFilter(p.bits, p.info, kind, strength), 1);
                ASSERT_EQ(p.bytes(), want) << w << "x" << h << " kind " << kind << " s " << strength;
            }
        }
    }
    // Gains far outside the byte range saturate.
    Make(p, 6, 4, 24);
    Randomise(p, rng);
    const auto source = p.bytes();
    for (int gain : {1000, -1000, 2147483647, -2147483647}) {
        Pair q;
        Make(q, 6, 4, 24);
        std::copy(source.begin(), source.end(), static_cast<BYTE*>(q.bits));
        const auto want = Reference(q.bytes(), 20, 4, 11, gain);
        ASSERT_EQ(ThDoFilter(q.bits, q.info, 11, gain), 1);
        EXPECT_EQ(q.bytes(), want) << gain;
    }
}

TEST(ThDoFilter, PaletteInputIsConvertedFirst) {
    Pair p;
    Make(p, 4, 3, 8);
    for (int y = 0; y < 3; ++y) std::fill(p.row(y), p.row(y) + 4, BYTE(100));
    ASSERT_EQ(ThDoFilter(p.bits, p.info, 3, 0), 1);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.row(1)[4], 140);
    EXPECT_EQ(p.row(0)[4], 100);
}

}  // namespace
