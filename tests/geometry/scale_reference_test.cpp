// The resamplers against slow references written pixel by pixel from the
// rules, over many sizes around the rule boundaries and random pixels: the
// fast paths (column sums, cached interpolated rows, planned columns) must
// give the same bytes.
#include <gtest/gtest.h>

#include <cstring>

#include "geometry/scale.h"
#include "geometry/scale_crop.h"
#include "geometry_test_util.h"
#include "support/dib_fixture.h"

using vtest::Make;
using vtest::Pair;

namespace {

struct Span {
    int first, last, frac;  // averaging: first..last; interpolating: i, i+1 (clamped), fraction
};

// One axis of the 10-bit resamplers, as the rules state it.
std::vector<Span> Plan(int size, int newSize, bool average) {
    std::vector<Span> out;
    if (average) {
        const int step = ((size << 10) - 1024) / newSize;
        int acc = 0;
        for (int k = 0; k < newSize; ++k) {
            const int first = (acc >> 10) + ((acc & 1023) ? 1 : 0);
            acc += step;
            out.push_back({first, acc >> 10, 0});
        }
    } else {
        const int step = newSize > 1 ? ((size << 10) - 1024) / (newSize - 1) : 0;
        int acc = 0;
        for (int k = 0; k < newSize; ++k) {
            const int i = acc >> 10;
            out.push_back({i, i == size - 1 ? i : i + 1, acc & 1023});
            acc += step;
        }
    }
    return out;
}

std::vector<BYTE> Reference24(Pair& src, int nw, int nh) {
    const int w = src.h().biWidth, h = src.h().biHeight;
    const bool avgX = nw <= w / 2, avgY = nh <= h / 2;
    const auto ax = Plan(w, nw, avgX), ay = Plan(h, nh, avgY);
    const int stride = (3 * nw + 3) & ~3;
    std::vector<BYTE> out(static_cast<std::size_t>(stride) * nh, 0);
    auto px = [&](int x, int y, int c) { return int{src.row(y)[3 * x + c]}; };
    for (int y = 0; y < nh; ++y) {
        for (int x = 0; x < nw; ++x) {
            for (int c = 0; c < 3; ++c) {
                const Span sx = ax[x], sy = ay[y];
                int v = 0;
                if (avgX && avgY) {
                    int s = 0;
                    for (int r = sy.first; r <= sy.last; ++r) {
                        for (int i = sx.first; i <= sx.last; ++i) s += px(i, r, c);
                    }
                    v = s / ((sx.last - sx.first + 1) * (sy.last - sy.first + 1));
                } else if (avgY) {
                    int s = 0;
                    for (int r = sy.first; r <= sy.last; ++r) {
                        s += (px(sx.first, r, c) * (1024 - sx.frac) + px(sx.last, r, c) * sx.frac) >> 10;
                    }
                    v = s / (sy.last - sy.first + 1);
                } else if (avgX) {
                    int s = 0;
                    for (int i = sx.first; i <= sx.last; ++i) {
                        s += (px(i, sy.first, c) * (1024 - sy.frac) + px(i, sy.last, c) * sy.frac) >> 10;
                    }
                    v = s / (sx.last - sx.first + 1);
                } else {
                    const int fx = sx.frac, fy = sy.frac;
                    const int q = px(sx.first, sy.last, c) * (1024 - fx) + px(sx.last, sy.last, c) * fx;
                    const int p = px(sx.first, sy.first, c) * (1024 - fx) + px(sx.last, sy.first, c) * fx;
                    v = (q * fy + p * (1024 - fy)) >> 20;
                }
                out[static_cast<std::size_t>(stride) * y + 3 * x + c] = static_cast<BYTE>(v);
            }
        }
    }
    return out;
}

std::vector<BYTE> ReferenceRamp(Pair& src, int nw, int nh) {
    const int w = src.h().biWidth, h = src.h().biHeight;
    const bool wideX = nw > w / 2, wideY = nh > h / 2;
    const int stride = (nw + 3) & ~3;
    std::vector<BYTE> out(static_cast<std::size_t>(stride) * nh, 0);
    auto v = [&](int x, int y) { return gtest_geo::GetIndex(src, x, y) ? 255 : 0; };
    const auto ix = Plan(w, nw, false), iy = Plan(h, nh, false);
    for (int y = 0; y < nh; ++y) {
        const int r0 = h * y / nh, r1 = (h * y + h) / nh;
        for (int x = 0; x < nw; ++x) {
            const int c0 = w * x / nw, c1 = (w * x + w) / nw;
            int value = 0;
            if (wideX && wideY) {
                const int fx = ix[x].frac, fy = iy[y].frac;
                const int q = v(ix[x].first, iy[y].last) * (1024 - fx) + v(ix[x].last, iy[y].last) * fx;
                const int p = v(ix[x].first, iy[y].first) * (1024 - fx) + v(ix[x].last, iy[y].first) * fx;
                value = (q * fy + p * (1024 - fy)) >> 20;
            } else if (wideX) {
                int a = 0, b = 0;
                for (int r = r0; r < r1; ++r) {
                    a += v(ix[x].first, r);
                    b += v(ix[x].last, r);  // fraction 0 wherever i + 1 would leave the row
                }
                value = ((a * (1024 - ix[x].frac) + b * ix[x].frac) / (r1 - r0)) >> 10;
            } else if (wideY) {
                int a = 0, b = 0;
                for (int i = c0; i < c1; ++i) {
                    a += v(i, iy[y].first);
                    b += v(i, iy[y].last);
                }
                value = ((a * (1024 - iy[y].frac) + b * iy[y].frac) / (c1 - c0)) >> 10;
            } else {
                int s = 0;
                for (int r = r0; r < r1; ++r) {
                    for (int i = c0; i < c1; ++i) s += v(i, r);
                }
                value = s / ((c1 - c0) * (r1 - r0));
            }
            out[static_cast<std::size_t>(stride) * y + x] = static_cast<BYTE>(value);
        }
    }
    return out;
}

// Sizes around the halving boundary of `n`, and far from it.
std::vector<int> Targets(int n) {
    std::vector<int> t = {1, 2, n / 2 - 1, n / 2, n / 2 + 1, n - 1, n + 1, 2 * n + 3};
    std::vector<int> out;
    for (int v : t) {
        if (v >= 1) out.push_back(v);
    }
    return out;
}

}  // namespace

TEST(ScaleReference, TwentyFourBitsAllRuleCombinations) {
    Pair p, q;
    std::uint32_t seed = 1;
    for (auto [w, h] : {std::pair{1, 1}, {2, 3}, {7, 5}, {13, 9}, {16, 16}, {33, 4}}) {
        for (int nw : Targets(w)) {
            for (int nh : Targets(h)) {
                Make(p, w, h, 24);
                gtest_geo::Fill(p, ++seed);
                Make(q, w, h, 24);
                std::memcpy(q.bits, p.bits, p.bytes().size());
                if (nw == w && nh == h) continue;
                const int ew = std::max(nw, 2), eh = std::max(nh, 2);
                if (ew == w && eh == h) continue;
                const std::vector<BYTE> expected = Reference24(q, ew, eh);
                ASSERT_EQ(ThScale(p.bits, p.info, nw, nh, 0), 1);
                ASSERT_EQ(p.h().biWidth, ew);
                EXPECT_EQ(p.bytes(), expected) << w << "x" << h << " -> " << nw << "x" << nh;
            }
        }
    }
}

// Random sizes wide and tall enough for the vector paths (shuffled rows,
// four-row column sums, masked boxes) and their ends: odd widths with row
// padding, targets at exactly half, one more and one less, boxes of 257 and
// 258 rows (the 16-bit column sums' limit) and of more than eight columns.
TEST(ScaleReference, TwentyFourBitsRandomSizes) {
    Pair p, q;
    gtest_geo::Lcg g{2024};
    auto below = [&](int n) { return static_cast<int>((g.next() << 8 | g.next()) % n); };
    // A target for a side of n: around the halving boundary, below it, between
    // half and the size, or an enlargement.
    auto target = [&](int n) {
        switch (below(7)) {
            case 0: return n / 2;
            case 1: return n / 2 + 1;
            case 2: return std::max(n / 2 - 1, 1);
            case 3: return 1 + below(std::max(n / 2, 1));
            case 4: return n / 2 + 1 + below(n - n / 2);
            case 5: return n + 1 + below(2 * n);
            default: return 2 + below(3);
        }
    };
    struct Case {
        int w, h, nw, nh;
    };
    std::vector<Case> cases = {{5, 514, 3, 2},   {7, 516, 3, 2},    {41, 600, 20, 2},
                               {12, 86, 2, 2},   {12, 84, 2, 2},    {64, 30, 4, 3},
                               {200, 40, 150, 7}, {9, 1000, 4, 1}};
    const std::size_t fixed = cases.size();
    for (int i = 0; i < 400; ++i) {
        const int w = 1 + below(i % 4 == 0 ? 300 : 90), h = 1 + below(i % 4 == 1 ? 120 : 40);
        cases.push_back({w, h, target(w), target(h)});
    }
    std::uint32_t seed = 7000;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto [w, h, nw, nh] = cases[i];
        const int ew = std::max(nw, 2), eh = std::max(nh, 2);
        if ((nw == w && nh == h) || (ew == w && eh == h)) continue;
        Make(p, w, h, 24);
        gtest_geo::Fill(p, ++seed);
        // Bright pictures put the sums at the top of their range.
        if (i < fixed || i % 3 == 0) {
            for (int y = 0; y < h; ++y) {
                for (int k = 0; k < 3 * w; ++k) p.row(y)[k] |= 0xFE;
            }
        }
        Make(q, w, h, 24);
        std::memcpy(q.bits, p.bits, p.bytes().size());
        const std::vector<BYTE> expected = Reference24(q, ew, eh);
        ASSERT_EQ(ThScale(p.bits, p.info, nw, nh, 0), 1) << "case " << i;
        ASSERT_EQ(p.bytes(), expected)
            << "case " << i << ": " << w << "x" << h << " -> " << nw << "x" << nh;
    }
}

TEST(ScaleReference, OneBitRampAllRules) {
    Pair p, q;
    std::uint32_t seed = 100;
    for (auto [w, h] : {std::pair{1, 8}, {8, 1}, {5, 7}, {9, 12}, {32, 3}, {33, 17}}) {
        for (int nw : Targets(w)) {
            for (int nh : Targets(h)) {
                if (nw >= w && nh >= h) continue;  // that stays 1-bit
                Make(p, w, h, 1);
                gtest_geo::Fill(p, ++seed);
                Make(q, w, h, 1);
                std::memcpy(q.bits, p.bits, p.bytes().size());
                const std::vector<BYTE> expected = ReferenceRamp(q, nw, nh);
                ASSERT_EQ(ThScale1Bit(p.bits, p.info, nw, nh, 1), 1);
                ASSERT_EQ(p.h().biBitCount, 8);
                EXPECT_EQ(p.bytes(), expected) << w << "x" << h << " -> " << nw << "x" << nh;
            }
        }
    }
}

namespace {

// The engine in mode 2 on a 24-bit source, from its rules: columns and rows
// are grouped (shrink) or interpolated with 8-bit fractions (enlargement).
std::vector<BYTE> ReferenceEngine(Pair& src, int W, int H, RECT keep) {
    const int w = src.h().biWidth, h = src.h().biHeight;
    const int l = std::max<int>(keep.left, 0), r = std::min<int>(keep.right, W);
    const int t = H - std::min<int>(keep.bottom, H), b = H - std::max<int>(keep.top, 0);
    const int ow = r - l, oh = b - t;
    // Horizontal resampling of source row y into the kept columns.
    auto row = [&](int y) {
        std::vector<int> out(static_cast<std::size_t>(3 * ow));
        if (w >= W) {
            int d = l, n = 0, s[3] = {0, 0, 0};
            for (int i = w * l / W; d < r; ++i) {
                for (int c = 0; c < 3; ++c) s[c] += src.row(y)[3 * i + c];
                ++n;
                if (i * W / w >= d) {
                    for (int c = 0; c < 3; ++c) {
                        out[3 * (d - l) + c] = s[c] / n;
                        s[c] = 0;
                    }
                    n = 0;
                    ++d;
                }
            }
        } else {
            for (int d = 0; d < ow; ++d) {
                const int pos = w * (l + d), i = pos / W, f = ((pos % W) << 8) / W;
                const int j = std::min(i + 1, w - 1);
                for (int c = 0; c < 3; ++c) {
                    out[3 * d + c] =
                        (src.row(y)[3 * i + c] * (256 - f) + src.row(y)[3 * j + c] * f) >> 8;
                }
            }
        }
        return out;
    };
    const int stride = (3 * ow + 3) & ~3;
    std::vector<BYTE> out(static_cast<std::size_t>(stride) * oh, 0);
    if (h >= H) {
        int y = t, n = 0;
        std::vector<int> sum(static_cast<std::size_t>(3 * ow), 0);
        for (int sr = h * t / H; y < b; ++sr) {
            const auto line = row(sr);
            for (int k = 0; k < 3 * ow; ++k) sum[k] += line[k];
            ++n;
            if (sr * H / h >= y) {
                for (int k = 0; k < 3 * ow; ++k) {
                    out[static_cast<std::size_t>(stride) * (y - t) + k] = static_cast<BYTE>(sum[k] / n);
                    sum[k] = 0;
                }
                n = 0;
                ++y;
            }
        }
    } else {
        for (int y = t; y < b; ++y) {
            const int pos = y * h, i = pos / H, f = ((pos % H) << 8) / H;
            const auto a = row(i), c = row(std::min(i + 1, h - 1));
            for (int k = 0; k < 3 * ow; ++k) {
                out[static_cast<std::size_t>(stride) * (y - t) + k] =
                    static_cast<BYTE>((a[k] * (256 - f) + c[k] * f) >> 8);
            }
        }
    }
    return out;
}

}  // namespace

TEST(ScaleReference, EngineGroupsAndInterpolatesAnyKeptRectangle) {
    Pair src, out;
    std::uint32_t seed = 500;
    for (auto [w, h] : {std::pair{1, 1}, {6, 5}, {11, 7}, {20, 13}}) {
        Make(src, w, h, 24);
        gtest_geo::Fill(src, ++seed);
        for (int W : {1, 3, w - 1, w + 1, 2 * w + 1}) {
            for (int H : {1, 2, h - 1, h + 1, 3 * h}) {
                if (W < 1 || H < 1) continue;
                for (RECT keep : {RECT{0, 0, W, H}, RECT{W / 3, H / 4, W, H - H / 3},
                                  RECT{W / 2, 0, W / 2 + 1, 1}, RECT{-3, -3, W + 5, H / 2 + 1}}) {
                    const int l = std::max<int>(keep.left, 0), r = std::min<int>(keep.right, W);
                    const int t = std::max<int>(keep.top, 0), b = std::min<int>(keep.bottom, H);
                    if (r - l < 1 || b - t < 1) continue;
                    if (W == w && H == h && l == 0 && t == 0 && r == w && b == h) continue;
                    SIZE size{W, H};
                    out.reset();
                    out.info = VellumNewHeader(kFullHeaderBytes);
                    ASSERT_EQ(VellumScaleCropEngine(out.info, &out.bits, src.info, src.bits, &size,
                                                    keep.left, keep.top, keep.right, keep.bottom, 2),
                              1);
                    EXPECT_EQ(out.bytes(), ReferenceEngine(src, W, H, keep))
                        << w << "x" << h << " -> " << W << "x" << H << " keep " << keep.left << ","
                        << keep.top << "," << keep.right << "," << keep.bottom;
                }
            }
        }
    }
}
