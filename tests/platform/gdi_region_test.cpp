// Regions: polygon coverage against a brute-force point test, combination
// against pixel masks, result codes, and filling.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/gdi.h"
#include "support/gdi_fixture.h"

using vtest::Canvas;

namespace {

constexpr int kSpan = 24;  // masks cover -4 .. 19 in both directions
constexpr int kOrigin = -4;

using Mask = std::vector<bool>;

Mask MaskOf(HRGN region) {
    Mask m(kSpan * kSpan);
    for (int y = 0; y < kSpan; ++y)
        for (int x = 0; x < kSpan; ++x)
            m[y * kSpan + x] = PtInRegion(region, x + kOrigin, y + kOrigin) != 0;
    return m;
}

// The coverage rule stated independently: count the edges that cross the
// horizontal line through the pixel centre (x + 1/2, y + 1/2) at or left of
// the centre (a centre on an edge counts the edge as left of it, which puts
// left edges inside and right edges outside).
bool Covered(const std::vector<POINT>& p, int mode, int x, int y) {
    int crossings = 0, winding = 0;
    const long long cy2 = 2LL * y + 1, cx2 = 2LL * x + 1;
    for (std::size_t i = 0; i < p.size(); ++i) {
        POINT a = p[i], b = p[(i + 1) % p.size()];
        int dir = 1;
        if (a.y == b.y) continue;
        if (a.y > b.y) std::swap(a, b), dir = -1;
        if (!(2LL * a.y <= cy2 && cy2 < 2LL * b.y)) continue;
        // Edge x at the centre line, times 2 (b.y - a.y): compare with cx2.
        const long long dy = b.y - a.y;
        const long long ex = 2LL * a.x * dy + (cy2 - 2LL * a.y) * (b.x - a.x);
        if (ex <= cx2 * dy) ++crossings, winding += dir;
    }
    return mode == ALTERNATE ? (crossings & 1) : winding != 0;
}

Mask Reference(const std::vector<POINT>& p, int mode) {
    Mask m(kSpan * kSpan);
    for (int y = 0; y < kSpan; ++y)
        for (int x = 0; x < kSpan; ++x) m[y * kSpan + x] = Covered(p, mode, x + kOrigin, y + kOrigin);
    return m;
}

std::string Show(const Mask& m) {
    std::string s;
    for (int y = 0; y < kSpan; ++y) {
        for (int x = 0; x < kSpan; ++x) s += m[y * kSpan + x] ? '#' : '.';
        s += '\n';
    }
    return s;
}

}  // namespace

TEST(PolygonRgn, NamedShapesInBothModes) {
    const std::vector<std::vector<POINT>> shapes = {
        {{0, 0}, {10, 0}, {10, 10}, {0, 10}},               // rectangle as four corners
        {{2, 1}, {12, 6}, {3, 14}},                         // triangle
        {{0, 0}, {8, 8}, {16, 0}, {16, 16}, {0, 16}},       // concave
        {{8, 0}, {13, 16}, {0, 6}, {16, 6}, {3, 16}},       // pentagram: self-intersecting
        {{0, 0}, {12, 12}, {12, 0}, {0, 12}},               // bow tie
        {{0, 0}, {4, 4}},                                   // degenerate
        {{1, 1}, {15, 1}, {15, 15}, {1, 15}, {1, 1}, {5, 5}, {5, 11}, {11, 11}, {11, 5}, {5, 5}},
    };
    for (std::size_t s = 0; s < shapes.size(); ++s) {
        for (const int mode : {ALTERNATE, WINDING}) {
            HRGN region = CreatePolygonRgn(shapes[s].data(), static_cast<int>(shapes[s].size()), mode);
            ASSERT_NE(region, nullptr);
            const Mask got = MaskOf(region), want = Reference(shapes[s], mode);
            EXPECT_EQ(got, want) << "shape " << s << " mode " << mode << "\n"
                                 << Show(got) << "\n" << Show(want);
            DeleteObject(region);
        }
    }
    // The pentagram's centre is a hole only under ALTERNATE.
    const auto& star = shapes[3];
    HRGN alternate = CreatePolygonRgn(star.data(), 5, ALTERNATE);
    HRGN winding = CreatePolygonRgn(star.data(), 5, WINDING);
    EXPECT_FALSE(PtInRegion(alternate, 8, 8));
    EXPECT_TRUE(PtInRegion(winding, 8, 8));
    // A rectangle as four corners is the rectangle region.
    HRGN rect = CreateRectRgn(0, 0, 10, 10);
    HRGN corners = CreatePolygonRgn(shapes[0].data(), 4, ALTERNATE);
    EXPECT_TRUE(EqualRgn(rect, corners));
    for (HRGN r : {alternate, winding, rect, corners}) DeleteObject(r);
    // Refusals.
    EXPECT_EQ(CreatePolygonRgn(shapes[0].data(), 1, ALTERNATE), nullptr);
    EXPECT_EQ(CreatePolygonRgn(shapes[0].data(), 4, 3), nullptr);
    EXPECT_EQ(CreatePolygonRgn(nullptr, 4, ALTERNATE), nullptr);
    const POINT far[3] = {{0, 0}, {1 << 28, 0}, {0, 5}};
    EXPECT_EQ(CreatePolygonRgn(far, 3, ALTERNATE), nullptr);
}

TEST(PolygonRgn, RandomPolygonsMatchThePointTest) {
    std::mt19937 random(12345);
    for (int round = 0; round < 400; ++round) {
        const int n = 3 + static_cast<int>(random() % 6);
        std::vector<POINT> p(n);
        for (auto& q : p) {
            // Biased to the edges of the box and to repeated coordinates.
            q.x = static_cast<LONG>(random() % 19) - 1;
            q.y = static_cast<LONG>(random() % 19) - 1;
            if (random() % 5 == 0) q.x = p[0].x;
        }
        const int mode = (round & 1) ? WINDING : ALTERNATE;
        HRGN region = CreatePolygonRgn(p.data(), n, mode);
        ASSERT_NE(region, nullptr);
        const Mask got = MaskOf(region), want = Reference(p, mode);
        ASSERT_EQ(got, want) << "case " << round << "\n" << Show(got) << "\n" << Show(want);
        DeleteObject(region);
    }
}

TEST(CombineRgn, ModesAgainstMasksAndResultCodes) {
    std::mt19937 random(99);
    const auto rect = [&] {
        const int l = static_cast<int>(random() % 16) - 2, t = static_cast<int>(random() % 16) - 2;
        return CreateRectRgn(l, t, l + static_cast<int>(random() % 8), t + static_cast<int>(random() % 8));
    };
    for (int round = 0; round < 200; ++round) {
        HRGN a = rect(), b = rect(), extra = rect();
        CombineRgn(a, a, extra, RGN_OR);  // make some of them complex
        const Mask ma = MaskOf(a), mb = MaskOf(b);
        for (int mode = RGN_AND; mode <= RGN_COPY; ++mode) {
            HRGN d = CreateRectRgn(0, 0, 0, 0);
            const int kind = CombineRgn(d, a, b, mode);
            const Mask md = MaskOf(d);
            int count = 0;
            for (std::size_t i = 0; i < md.size(); ++i) {
                bool want = false;
                switch (mode) {
                    case RGN_AND: want = ma[i] && mb[i]; break;
                    case RGN_OR: want = ma[i] || mb[i]; break;
                    case RGN_XOR: want = ma[i] != mb[i]; break;
                    case RGN_DIFF: want = ma[i] && !mb[i]; break;
                    case RGN_COPY: want = ma[i]; break;
                }
                ASSERT_EQ(md[i], want) << round << " mode " << mode << " pixel " << i;
                count += want;
            }
            RECT box;
            EXPECT_EQ(GetRgnBox(d, &box), kind);
            const int rects = VellumRegionRects(d, nullptr, 0);
            EXPECT_EQ(kind, count == 0 ? NULLREGION : rects == 1 ? SIMPLEREGION : COMPLEXREGION);
            if (count == 0) {
                EXPECT_TRUE(box.left == 0 && box.top == 0 && box.right == 0 && box.bottom == 0);
            }
            DeleteObject(d);
        }
        // The destination may be a source.
        HRGN copy = CreateRectRgn(0, 0, 0, 0);
        CombineRgn(copy, a, nullptr, RGN_COPY);
        CombineRgn(a, a, b, RGN_XOR);
        CombineRgn(copy, copy, b, RGN_XOR);
        EXPECT_TRUE(EqualRgn(a, copy));
        for (HRGN r : {a, b, extra, copy}) DeleteObject(r);
    }
}

TEST(Regions, QueriesOffsetsAndRefusals) {
    HRGN r = CreateRectRgn(5, 6, 1, 2);  // corners in any order
    RECT box;
    EXPECT_EQ(GetRgnBox(r, &box), SIMPLEREGION);
    EXPECT_EQ(box.left, 1);
    EXPECT_EQ(box.bottom, 6);
    EXPECT_TRUE(PtInRegion(r, 1, 2));
    EXPECT_FALSE(PtInRegion(r, 5, 2));  // right edge is outside
    EXPECT_EQ(OffsetRgn(r, -1, 10), SIMPLEREGION);
    EXPECT_TRUE(PtInRegion(r, 0, 12));
    const RECT probe{3, 15, 9, 30};
    EXPECT_TRUE(RectInRegion(r, &probe));
    EXPECT_EQ(OffsetRgn(r, 1 << 28, 0), ERROR);
    EXPECT_TRUE(PtInRegion(r, 0, 12));  // unchanged by the refused offset
    HRGN empty = CreateRectRgn(3, 3, 3, 9);
    EXPECT_EQ(GetRgnBox(empty, &box), NULLREGION);
    EXPECT_EQ(OffsetRgn(empty, 4, 4), NULLREGION);
    EXPECT_TRUE(SetRectRgn(empty, 0, 0, 2, 2));
    EXPECT_EQ(GetRgnBox(empty, &box), SIMPLEREGION);
    HRGN dead = CreateRectRgn(0, 0, 1, 1);
    DeleteObject(dead);
    EXPECT_EQ(CombineRgn(r, dead, empty, RGN_OR), ERROR);
    EXPECT_EQ(CombineRgn(r, empty, empty, 9), ERROR);
    EXPECT_TRUE(PtInRegion(r, 0, 12));  // a failed combine leaves the destination
    EXPECT_EQ(GetRgnBox(dead, &box), ERROR);
    EXPECT_EQ(OffsetRgn(dead, 1, 1), ERROR);
    EXPECT_FALSE(PtInRegion(dead, 0, 0));
    EXPECT_EQ(CreateRectRgn(0, 0, 1 << 28, 1), nullptr);
    DeleteObject(r);
    DeleteObject(empty);
}

TEST(Regions, FillAndPaintCoverExactlyTheRegion) {
    const POINT tri[3] = {{1, 0}, {9, 4}, {0, 8}};
    HRGN region = CreatePolygonRgn(tri, 3, ALTERNATE);
    Canvas c(12, 10, RGB(1, 2, 3));
    HBRUSH brush = CreateSolidBrush(RGB(200, 0, 0));
    ASSERT_TRUE(FillRgn(c.dc, region, brush));
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 12; ++x)
            EXPECT_EQ(c.At(x, y), PtInRegion(region, x, y) ? RGB(200, 0, 0) : RGB(1, 2, 3)) << x << "," << y;
    // Regions reaching beyond the surface are clipped.
    HRGN big = CreateRectRgn(-100, -100, 100, 100);
    HGDIOBJ old = SelectObject(c.dc, brush);
    ASSERT_TRUE(PaintRgn(c.dc, big));
    EXPECT_EQ(c.At(11, 9), RGB(200, 0, 0));
    EXPECT_FALSE(FillRgn(c.dc, region, nullptr));
    SelectObject(c.dc, old);
    for (HGDIOBJ o : {static_cast<HGDIOBJ>(region), static_cast<HGDIOBJ>(big),
                      static_cast<HGDIOBJ>(brush)})
        DeleteObject(o);
}
