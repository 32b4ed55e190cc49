// Points, sizes and rectangles: the USER rectangle helpers and the class
// library's CPoint, CSize and CRect over POINT, SIZE and RECT.
//
// Contract of the helpers (the platform's results):
//  - RECT is half-open: a point is inside when left <= x < right and
//    top <= y < bottom. A rectangle is empty when right <= left or
//    bottom <= top; a null rectangle pointer counts as empty.
//  - IntersectRect stores the common part and returns TRUE; when the inputs
//    do not overlap, or either is empty, it stores (0, 0, 0, 0) and returns
//    FALSE.
//  - UnionRect stores the smallest rectangle holding both, ignoring an empty
//    input; when both are empty it stores (0, 0, 0, 0) and returns FALSE.
//  - SubtractRect stores src1 minus src2 when the difference is a rectangle
//    (src2 covers a whole side of src1), src1 otherwise; (0, 0, 0, 0) and
//    FALSE when nothing is left.
//  - Null pointers make every helper return FALSE and write nothing.
//  - The destination may be one of the sources.
//  - Coordinates are 32-bit and wrap on overflow, as on the platform, instead
//    of overflowing. CenterPoint is computed in 64 bits and so is exact.
//
// CRect::TopLeft and BottomRight return copies (the class library returns
// references into the rectangle); they are const so that assigning to them
// does not compile instead of doing nothing. Set corners through the fields,
// SetRect or the constructors.
#pragma once

#include "platform/windows_types.h"

class CPoint;
class CSize;
class CRect;

namespace vellum::detail {

constexpr LONG wrapAdd(LONG a, LONG b) {
    return static_cast<LONG>(static_cast<DWORD>(a) + static_cast<DWORD>(b));
}
constexpr LONG wrapSub(LONG a, LONG b) {
    return static_cast<LONG>(static_cast<DWORD>(a) - static_cast<DWORD>(b));
}

}  // namespace vellum::detail

VELLUM_API BOOL SetRect(LPRECT rect, int left, int top, int right, int bottom);
VELLUM_API BOOL SetRectEmpty(LPRECT rect);
VELLUM_API BOOL CopyRect(LPRECT dst, const RECT* src);
VELLUM_API BOOL IsRectEmpty(const RECT* rect);
VELLUM_API BOOL PtInRect(const RECT* rect, POINT pt);
VELLUM_API BOOL EqualRect(const RECT* a, const RECT* b);
VELLUM_API BOOL OffsetRect(LPRECT rect, int dx, int dy);
VELLUM_API BOOL InflateRect(LPRECT rect, int dx, int dy);
VELLUM_API BOOL IntersectRect(LPRECT dst, const RECT* src1, const RECT* src2);
VELLUM_API BOOL UnionRect(LPRECT dst, const RECT* src1, const RECT* src2);
VELLUM_API BOOL SubtractRect(LPRECT dst, const RECT* src1, const RECT* src2);

class VELLUM_API CSize : public SIZE {
public:
    CSize() : SIZE{0, 0} {}
    CSize(int initCX, int initCY) : SIZE{initCX, initCY} {}
    CSize(SIZE initSize) : SIZE(initSize) {}           // NOLINT(google-explicit-constructor)
    CSize(POINT initPt) : SIZE{initPt.x, initPt.y} {}  // NOLINT(google-explicit-constructor)

    void SetSize(int x, int y) {
        cx = x;
        cy = y;
    }

    // Friends taking the base on both sides, so that the reversed forms of
    // C++20 are never ambiguous.
    friend BOOL operator==(const SIZE& a, const SIZE& b) { return a.cx == b.cx && a.cy == b.cy; }
    friend BOOL operator!=(const SIZE& a, const SIZE& b) { return a.cx != b.cx || a.cy != b.cy; }
    void operator+=(SIZE size) {
        cx = vellum::detail::wrapAdd(cx, size.cx);
        cy = vellum::detail::wrapAdd(cy, size.cy);
    }
    void operator-=(SIZE size) {
        cx = vellum::detail::wrapSub(cx, size.cx);
        cy = vellum::detail::wrapSub(cy, size.cy);
    }

    CSize operator+(SIZE size) const {
        return CSize(vellum::detail::wrapAdd(cx, size.cx), vellum::detail::wrapAdd(cy, size.cy));
    }
    CSize operator-(SIZE size) const {
        return CSize(vellum::detail::wrapSub(cx, size.cx), vellum::detail::wrapSub(cy, size.cy));
    }
    CSize operator-() const {
        return CSize(vellum::detail::wrapSub(0, cx), vellum::detail::wrapSub(0, cy));
    }
    CPoint operator+(POINT point) const;
    CPoint operator-(POINT point) const;
    CRect operator+(const RECT* rect) const;
    CRect operator-(const RECT* rect) const;
};

class VELLUM_API CPoint : public POINT {
public:
    CPoint() : POINT{0, 0} {}
    CPoint(int initX, int initY) : POINT{initX, initY} {}
    // Implicit, as in the class library.
    CPoint(POINT initPt) : POINT(initPt) {}                     // NOLINT
    CPoint(SIZE initSize) : POINT{initSize.cx, initSize.cy} {}  // NOLINT

    void Offset(int xOffset, int yOffset) {
        x = vellum::detail::wrapAdd(x, xOffset);
        y = vellum::detail::wrapAdd(y, yOffset);
    }
    void Offset(POINT point) { Offset(point.x, point.y); }
    void Offset(SIZE size) { Offset(size.cx, size.cy); }
    void SetPoint(int initX, int initY) {
        x = initX;
        y = initY;
    }

    friend BOOL operator==(const POINT& a, const POINT& b) { return a.x == b.x && a.y == b.y; }
    friend BOOL operator!=(const POINT& a, const POINT& b) { return a.x != b.x || a.y != b.y; }
    void operator+=(SIZE size) { Offset(size); }
    void operator-=(SIZE size) {
        Offset(vellum::detail::wrapSub(0, size.cx), vellum::detail::wrapSub(0, size.cy));
    }
    void operator+=(POINT point) { Offset(point); }
    void operator-=(POINT point) {
        Offset(vellum::detail::wrapSub(0, point.x), vellum::detail::wrapSub(0, point.y));
    }

    CPoint operator+(SIZE size) const {
        return CPoint(vellum::detail::wrapAdd(x, size.cx), vellum::detail::wrapAdd(y, size.cy));
    }
    CPoint operator-(SIZE size) const {
        return CPoint(vellum::detail::wrapSub(x, size.cx), vellum::detail::wrapSub(y, size.cy));
    }
    CPoint operator-() const {
        return CPoint(vellum::detail::wrapSub(0, x), vellum::detail::wrapSub(0, y));
    }
    CPoint operator+(POINT point) const {
        return CPoint(vellum::detail::wrapAdd(x, point.x), vellum::detail::wrapAdd(y, point.y));
    }
    CSize operator-(POINT point) const {
        return CSize(vellum::detail::wrapSub(x, point.x), vellum::detail::wrapSub(y, point.y));
    }
    CRect operator+(const RECT* rect) const;
    CRect operator-(const RECT* rect) const;
};

class VELLUM_API CRect : public RECT {
public:
    CRect() : RECT{0, 0, 0, 0} {}
    CRect(int l, int t, int r, int b) : RECT{l, t, r, b} {}
    // Implicit, as in the class library; a null pointer gives the null rectangle.
    CRect(const RECT& src) : RECT(src) {}                        // NOLINT
    CRect(LPCRECT src) : RECT(src ? *src : RECT{0, 0, 0, 0}) {}  // NOLINT
    CRect(POINT point, SIZE size)
        : RECT{point.x, point.y, vellum::detail::wrapAdd(point.x, size.cx),
               vellum::detail::wrapAdd(point.y, size.cy)} {}
    CRect(POINT topLeft, POINT bottomRight)
        : RECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}

    CRect& operator=(const RECT& src) {
        ::CopyRect(this, &src);
        return *this;
    }

    int Width() const { return vellum::detail::wrapSub(right, left); }
    int Height() const { return vellum::detail::wrapSub(bottom, top); }
    CSize Size() const { return CSize(Width(), Height()); }
    const CPoint TopLeft() const { return CPoint(left, top); }
    const CPoint BottomRight() const { return CPoint(right, bottom); }
    CPoint CenterPoint() const {
        return CPoint(static_cast<int>((static_cast<long long>(left) + right) / 2),
                      static_cast<int>((static_cast<long long>(top) + bottom) / 2));
    }

    BOOL IsRectEmpty() const { return ::IsRectEmpty(this); }
    BOOL IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    BOOL PtInRect(POINT point) const { return ::PtInRect(this, point); }
    BOOL EqualRect(LPCRECT rect) const { return ::EqualRect(this, rect); }

    void SetRect(int x1, int y1, int x2, int y2) { ::SetRect(this, x1, y1, x2, y2); }
    void SetRect(POINT topLeft, POINT bottomRight) {
        ::SetRect(this, topLeft.x, topLeft.y, bottomRight.x, bottomRight.y);
    }
    void SetRectEmpty() { ::SetRectEmpty(this); }
    void CopyRect(LPCRECT src) { ::CopyRect(this, src); }

    // InflateRect moves each side outwards, DeflateRect inwards. The
    // one-argument form applies the same amount to all four sides; a RECT
    // gives the amount for each side in its fields.
    void InflateRect(int d) { InflateRect(d, d, d, d); }
    void InflateRect(int x, int y) { ::InflateRect(this, x, y); }
    void InflateRect(SIZE size) { ::InflateRect(this, size.cx, size.cy); }
    void InflateRect(LPCRECT rect) {
        if (rect) InflateRect(rect->left, rect->top, rect->right, rect->bottom);
    }
    void InflateRect(int l, int t, int r, int b) {
        left = vellum::detail::wrapSub(left, l);
        top = vellum::detail::wrapSub(top, t);
        right = vellum::detail::wrapAdd(right, r);
        bottom = vellum::detail::wrapAdd(bottom, b);
    }
    void DeflateRect(int d) { DeflateRect(d, d, d, d); }
    void DeflateRect(int x, int y) { DeflateRect(x, y, x, y); }
    void DeflateRect(SIZE size) { DeflateRect(size.cx, size.cy, size.cx, size.cy); }
    void DeflateRect(LPCRECT rect) {
        if (rect) DeflateRect(rect->left, rect->top, rect->right, rect->bottom);
    }
    void DeflateRect(int l, int t, int r, int b) {
        left = vellum::detail::wrapAdd(left, l);
        top = vellum::detail::wrapAdd(top, t);
        right = vellum::detail::wrapSub(right, r);
        bottom = vellum::detail::wrapSub(bottom, b);
    }

    void OffsetRect(int x, int y) { ::OffsetRect(this, x, y); }
    void OffsetRect(POINT point) { ::OffsetRect(this, point.x, point.y); }
    void OffsetRect(SIZE size) { ::OffsetRect(this, size.cx, size.cy); }

    // Swaps the sides so that left <= right and top <= bottom.
    void NormalizeRect() {
        if (left > right) {
            const LONG t = left;
            left = right;
            right = t;
        }
        if (top > bottom) {
            const LONG t = top;
            top = bottom;
            bottom = t;
        }
    }

    BOOL IntersectRect(LPCRECT src1, LPCRECT src2) { return ::IntersectRect(this, src1, src2); }
    BOOL UnionRect(LPCRECT src1, LPCRECT src2) { return ::UnionRect(this, src1, src2); }
    BOOL SubtractRect(LPCRECT src1, LPCRECT src2) { return ::SubtractRect(this, src1, src2); }

    operator LPRECT() { return this; }         // NOLINT(google-explicit-constructor)
    operator LPCRECT() const { return this; }  // NOLINT(google-explicit-constructor)

    friend BOOL operator==(const RECT& a, const RECT& b) { return ::EqualRect(&a, &b); }
    friend BOOL operator!=(const RECT& a, const RECT& b) { return !::EqualRect(&a, &b); }

    void operator+=(POINT point) { OffsetRect(point); }
    void operator+=(SIZE size) { OffsetRect(size); }
    void operator+=(LPCRECT rect) { InflateRect(rect); }
    void operator-=(POINT point) {
        OffsetRect(vellum::detail::wrapSub(0, point.x), vellum::detail::wrapSub(0, point.y));
    }
    void operator-=(SIZE size) {
        OffsetRect(vellum::detail::wrapSub(0, size.cx), vellum::detail::wrapSub(0, size.cy));
    }
    void operator-=(LPCRECT rect) { DeflateRect(rect); }
    void operator&=(const RECT& rect) { ::IntersectRect(this, this, &rect); }
    void operator|=(const RECT& rect) { ::UnionRect(this, this, &rect); }

    CRect operator+(POINT point) const {
        CRect r(*this);
        r += point;
        return r;
    }
    CRect operator-(POINT point) const {
        CRect r(*this);
        r -= point;
        return r;
    }
    CRect operator+(SIZE size) const {
        CRect r(*this);
        r += size;
        return r;
    }
    CRect operator-(SIZE size) const {
        CRect r(*this);
        r -= size;
        return r;
    }
    CRect operator+(LPCRECT rect) const {
        CRect r(*this);
        r.InflateRect(rect);
        return r;
    }
    CRect operator-(LPCRECT rect) const {
        CRect r(*this);
        r.DeflateRect(rect);
        return r;
    }
    CRect operator&(const RECT& rect) const {
        CRect r;
        ::IntersectRect(&r, this, &rect);
        return r;
    }
    CRect operator|(const RECT& rect) const {
        CRect r;
        ::UnionRect(&r, this, &rect);
        return r;
    }
};

inline CPoint CSize::operator+(POINT point) const { return CPoint(point) + *this; }
inline CPoint CSize::operator-(POINT point) const {
    return CPoint(vellum::detail::wrapSub(cx, point.x), vellum::detail::wrapSub(cy, point.y));
}
inline CRect CSize::operator+(const RECT* rect) const { return CRect(rect) + *this; }
inline CRect CSize::operator-(const RECT* rect) const { return CRect(rect) - *this; }
inline CRect CPoint::operator+(const RECT* rect) const { return CRect(rect) + *this; }
inline CRect CPoint::operator-(const RECT* rect) const { return CRect(rect) - *this; }
