#include "platform/rect.h"

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <utility>

namespace {

constexpr RECT kGarbage{7, 7, 7, 7};

void ExpectRect(const RECT& r, LONG left, LONG top, LONG right, LONG bottom) {
    EXPECT_EQ(r.left, left);
    EXPECT_EQ(r.top, top);
    EXPECT_EQ(r.right, right);
    EXPECT_EQ(r.bottom, bottom);
}

TEST(RectHelpers, PointsAndEmptinessAreHalfOpen) {
    const RECT r{10, 20, 30, 40};
    EXPECT_TRUE(PtInRect(&r, POINT{10, 20}));
    EXPECT_TRUE(PtInRect(&r, POINT{29, 39}));
    EXPECT_FALSE(PtInRect(&r, POINT{30, 20}));
    EXPECT_FALSE(PtInRect(&r, POINT{10, 40}));
    EXPECT_FALSE(PtInRect(&r, POINT{9, 25}));
    EXPECT_FALSE(PtInRect(nullptr, POINT{0, 0}));

    const RECT zeroWidth{5, 5, 5, 9};
    const RECT inverted{5, 5, 4, 9};
    const RECT flat{0, 3, 9, 3};
    EXPECT_TRUE(IsRectEmpty(&zeroWidth));
    EXPECT_TRUE(IsRectEmpty(&inverted));
    EXPECT_TRUE(IsRectEmpty(&flat));
    EXPECT_FALSE(IsRectEmpty(&r));
    EXPECT_TRUE(IsRectEmpty(nullptr));
    // Nothing is inside an empty rectangle, not even its corner.
    EXPECT_FALSE(PtInRect(&zeroWidth, POINT{5, 5}));
}

TEST(RectHelpers, IntersectRect) {
    const RECT a{0, 0, 10, 10};
    const RECT b{5, 5, 15, 15};
    RECT out = kGarbage;
    EXPECT_TRUE(IntersectRect(&out, &a, &b));
    ExpectRect(out, 5, 5, 10, 10);

    // Rectangles that only touch share no pixel.
    const RECT touching{10, 0, 20, 10};
    const RECT below{0, 10, 10, 20};
    for (const auto& [first, second] : {std::pair{&a, &touching}, std::pair{&touching, &a},
                                        std::pair{&a, &below}, std::pair{&below, &a}}) {
        out = kGarbage;
        EXPECT_FALSE(IntersectRect(&out, first, second));
        ExpectRect(out, 0, 0, 0, 0);
    }

    const RECT far{100, 100, 110, 110};
    out = kGarbage;
    EXPECT_FALSE(IntersectRect(&out, &a, &far));
    ExpectRect(out, 0, 0, 0, 0);

    // An empty input inside the other still gives nothing.
    const RECT emptyInside{2, 2, 2, 8};
    out = kGarbage;
    EXPECT_FALSE(IntersectRect(&out, &a, &emptyInside));
    ExpectRect(out, 0, 0, 0, 0);

    // The destination may be a source.
    RECT inPlace = a;
    EXPECT_TRUE(IntersectRect(&inPlace, &inPlace, &b));
    ExpectRect(inPlace, 5, 5, 10, 10);
    inPlace = b;
    EXPECT_TRUE(IntersectRect(&inPlace, &a, &inPlace));
    ExpectRect(inPlace, 5, 5, 10, 10);

    out = kGarbage;
    EXPECT_FALSE(IntersectRect(&out, nullptr, &b));
    ExpectRect(out, 7, 7, 7, 7);
    EXPECT_FALSE(IntersectRect(nullptr, &a, &b));
}

TEST(RectHelpers, UnionRectIgnoresEmptyInputs) {
    const RECT a{0, 0, 10, 10};
    const RECT b{20, -5, 30, 5};
    RECT out = kGarbage;
    EXPECT_TRUE(UnionRect(&out, &a, &b));
    ExpectRect(out, 0, -5, 30, 10);

    // An empty rectangle far away does not stretch the union.
    const RECT empty{-100, -100, -100, 50};
    EXPECT_TRUE(UnionRect(&out, &empty, &a));
    ExpectRect(out, 0, 0, 10, 10);
    EXPECT_TRUE(UnionRect(&out, &b, &empty));
    ExpectRect(out, 20, -5, 30, 5);

    out = kGarbage;
    EXPECT_FALSE(UnionRect(&out, &empty, &empty));
    ExpectRect(out, 0, 0, 0, 0);

    RECT inPlace = a;
    EXPECT_TRUE(UnionRect(&inPlace, &b, &inPlace));
    ExpectRect(inPlace, 0, -5, 30, 10);

    out = kGarbage;
    EXPECT_FALSE(UnionRect(&out, &a, nullptr));
    ExpectRect(out, 7, 7, 7, 7);
}

TEST(RectHelpers, SubtractRectCutsOnlyWholeBands) {
    const RECT r{0, 0, 10, 10};
    RECT out = kGarbage;

    const RECT leftBand{-5, -5, 4, 20};
    EXPECT_TRUE(SubtractRect(&out, &r, &leftBand));
    ExpectRect(out, 4, 0, 10, 10);
    const RECT rightBand{6, 0, 10, 10};
    EXPECT_TRUE(SubtractRect(&out, &r, &rightBand));
    ExpectRect(out, 0, 0, 6, 10);
    const RECT topBand{0, 0, 10, 3};
    EXPECT_TRUE(SubtractRect(&out, &r, &topBand));
    ExpectRect(out, 0, 3, 10, 10);
    const RECT bottomBand{-1, 8, 11, 12};
    EXPECT_TRUE(SubtractRect(&out, &r, &bottomBand));
    ExpectRect(out, 0, 0, 10, 8);

    // A hole, a notch in a corner or a disjoint rectangle leave src1 alone.
    const RECT hole{3, 3, 6, 6};
    EXPECT_TRUE(SubtractRect(&out, &r, &hole));
    ExpectRect(out, 0, 0, 10, 10);
    const RECT corner{5, 5, 15, 15};
    EXPECT_TRUE(SubtractRect(&out, &r, &corner));
    ExpectRect(out, 0, 0, 10, 10);

    const RECT cover{-1, -1, 11, 11};
    out = kGarbage;
    EXPECT_FALSE(SubtractRect(&out, &r, &cover));
    ExpectRect(out, 0, 0, 0, 0);

    RECT inPlace = r;
    EXPECT_TRUE(SubtractRect(&inPlace, &inPlace, &leftBand));
    ExpectRect(inPlace, 4, 0, 10, 10);
}

TEST(RectHelpers, SmallHelpersAndWrapAround) {
    RECT r = kGarbage;
    EXPECT_TRUE(SetRect(&r, 1, 2, 3, 4));
    ExpectRect(r, 1, 2, 3, 4);
    RECT copy = kGarbage;
    EXPECT_TRUE(CopyRect(&copy, &r));
    EXPECT_TRUE(EqualRect(&copy, &r));
    copy.bottom = 5;
    EXPECT_FALSE(EqualRect(&copy, &r));
    EXPECT_FALSE(EqualRect(&r, nullptr));
    EXPECT_TRUE(OffsetRect(&r, 10, -10));
    ExpectRect(r, 11, -8, 13, -6);
    EXPECT_TRUE(InflateRect(&r, 1, -1));
    ExpectRect(r, 10, -7, 14, -7);
    EXPECT_TRUE(SetRectEmpty(&r));
    ExpectRect(r, 0, 0, 0, 0);
    EXPECT_FALSE(SetRect(nullptr, 0, 0, 1, 1));
    EXPECT_FALSE(SetRectEmpty(nullptr));
    EXPECT_FALSE(CopyRect(&r, nullptr));
    EXPECT_FALSE(OffsetRect(nullptr, 1, 1));
    EXPECT_FALSE(InflateRect(nullptr, 1, 1));

    // 32-bit coordinates wrap as on the platform (and without undefined
    // behaviour, which the sanitizer build checks).
    RECT edge{INT_MAX - 1, 0, INT_MAX, 1};
    EXPECT_TRUE(OffsetRect(&edge, 2, 0));
    ExpectRect(edge, INT_MIN, 0, INT_MIN + 1, 1);
    EXPECT_TRUE(InflateRect(&edge, 1, 0));
    ExpectRect(edge, INT_MAX, 0, INT_MIN + 2, 1);
}

TEST(CRect, MembersAndOperators) {
    const CRect r(10, 20, 40, 60);
    EXPECT_EQ(r.Width(), 30);
    EXPECT_EQ(r.Height(), 40);
    EXPECT_TRUE(r.Size() == CSize(30, 40));
    EXPECT_TRUE(r.BottomRight() == CPoint(40, 60));
    // Halves truncate towards zero, and the sum does not overflow.
    EXPECT_TRUE(r.CenterPoint() == CPoint(25, 40));
    EXPECT_TRUE(CRect(-3, -3, 0, 0).CenterPoint() == CPoint(-1, -1));
    EXPECT_TRUE(CRect(INT_MAX - 2, 0, INT_MAX, 2).CenterPoint() == CPoint(INT_MAX - 1, 1));
    // Corners are copies; writing to one must not compile and do nothing.
    static_assert(!std::is_assignable_v<decltype(r.TopLeft()), CPoint>);
    EXPECT_TRUE(CRect(5, 5, 5, 5).IsRectEmpty());
    EXPECT_FALSE(CRect(5, 5, 5, 5).IsRectNull());
    EXPECT_TRUE(CRect(static_cast<LPCRECT>(nullptr)).IsRectNull());
    EXPECT_TRUE(CRect(CPoint(1, 2), CSize(3, 4)) == CRect(1, 2, 4, 6));

    // A RECT of amounts inflates each side outwards, deflates inwards.
    const RECT sides{1, 2, 3, 4};
    CRect m(0, 0, 10, 10);
    m.InflateRect(&sides);
    EXPECT_TRUE(m == CRect(-1, -2, 13, 14));
    m -= &sides;
    EXPECT_TRUE(m == CRect(0, 0, 10, 10));
    EXPECT_TRUE(m + &sides == CRect(-1, -2, 13, 14));
    m.InflateRect(1);
    m.DeflateRect(2, 1);
    EXPECT_TRUE(m == CRect(1, 0, 9, 10));
    m += CPoint(1, 2);
    m -= CSize(2, 1);
    EXPECT_TRUE(m == CRect(0, 1, 8, 11));

    CRect n(10, 10, 0, 0);
    EXPECT_TRUE(n.IsRectEmpty());
    n.NormalizeRect();
    EXPECT_TRUE(n == CRect(0, 0, 10, 10));

    const CRect a(0, 0, 10, 10);
    const CRect b(5, 5, 15, 15);
    EXPECT_TRUE((a & b) == CRect(5, 5, 10, 10));
    EXPECT_TRUE((a | b) == CRect(0, 0, 15, 15));
    EXPECT_TRUE((a & CRect(20, 20, 30, 30)).IsRectNull());
    CRect c = a;
    c &= b;
    c |= CRect(0, 0, 1, 1);
    EXPECT_TRUE(c == CRect(0, 0, 10, 10));
    // Comparisons work in both orders against the plain structure.
    const RECT plain{0, 0, 10, 10};
    EXPECT_TRUE(plain == c);
    EXPECT_FALSE(c != plain);

    // The pointer conversions let a CRect go straight to the helpers.
    EXPECT_TRUE(::OffsetRect(c, 1, 1));
    EXPECT_TRUE(c == CRect(1, 1, 11, 11));
    EXPECT_TRUE(::IsRectEmpty(CRect()));
}

TEST(CPointCSize, MixedArithmetic) {
    const CPoint p(3, 4);
    const CSize s(10, 20);
    // Point minus point is a size; size minus point and point plus size are points.
    const CSize diff = p - CPoint(1, 1);
    EXPECT_TRUE(diff == CSize(2, 3));
    const CPoint shifted = s - p;
    EXPECT_TRUE(shifted == CPoint(7, 16));
    EXPECT_TRUE(p + s == CPoint(13, 24));
    // Adding a point or size to a RECT pointer offsets the rectangle.
    const RECT r{0, 0, 1, 1};
    EXPECT_TRUE(p - &r == CRect(-3, -4, -2, -3));
    EXPECT_TRUE(s + &r == CRect(10, 20, 11, 21));
    EXPECT_TRUE((POINT{3, 4} == p));
    EXPECT_TRUE((SIZE{10, 20} == s));

    CPoint edge(INT_MAX, INT_MIN);
    edge.Offset(1, -1);
    EXPECT_TRUE(edge == CPoint(INT_MIN, INT_MAX));
    EXPECT_TRUE(-CPoint(INT_MIN, 0) == CPoint(INT_MIN, 0));
}

}  // namespace
