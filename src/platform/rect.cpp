#include "platform/rect.h"

#include <algorithm>

using vellum::detail::wrapAdd;
using vellum::detail::wrapSub;

BOOL SetRect(LPRECT rect, int left, int top, int right, int bottom) {
    if (!rect) return FALSE;
    *rect = RECT{left, top, right, bottom};
    return TRUE;
}

BOOL SetRectEmpty(LPRECT rect) { return SetRect(rect, 0, 0, 0, 0); }

BOOL CopyRect(LPRECT dst, const RECT* src) {
    if (!dst || !src) return FALSE;
    *dst = *src;
    return TRUE;
}

BOOL IsRectEmpty(const RECT* rect) {
    return !rect || rect->right <= rect->left || rect->bottom <= rect->top;
}

BOOL PtInRect(const RECT* rect, POINT pt) {
    return rect && pt.x >= rect->left && pt.x < rect->right && pt.y >= rect->top &&
           pt.y < rect->bottom;
}

BOOL EqualRect(const RECT* a, const RECT* b) {
    return a && b && a->left == b->left && a->top == b->top && a->right == b->right &&
           a->bottom == b->bottom;
}

BOOL OffsetRect(LPRECT rect, int dx, int dy) {
    if (!rect) return FALSE;
    rect->left = wrapAdd(rect->left, dx);
    rect->right = wrapAdd(rect->right, dx);
    rect->top = wrapAdd(rect->top, dy);
    rect->bottom = wrapAdd(rect->bottom, dy);
    return TRUE;
}

BOOL InflateRect(LPRECT rect, int dx, int dy) {
    if (!rect) return FALSE;
    rect->left = wrapSub(rect->left, dx);
    rect->right = wrapAdd(rect->right, dx);
    rect->top = wrapSub(rect->top, dy);
    rect->bottom = wrapAdd(rect->bottom, dy);
    return TRUE;
}

BOOL IntersectRect(LPRECT dst, const RECT* src1, const RECT* src2) {
    if (!dst || !src1 || !src2) return FALSE;
    const RECT a = *src1;
    const RECT b = *src2;
    if (IsRectEmpty(&a) || IsRectEmpty(&b) || a.left >= b.right || b.left >= a.right ||
        a.top >= b.bottom || b.top >= a.bottom) {
        SetRectEmpty(dst);
        return FALSE;
    }
    *dst = RECT{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                std::min(a.bottom, b.bottom)};
    return TRUE;
}

BOOL UnionRect(LPRECT dst, const RECT* src1, const RECT* src2) {
    if (!dst || !src1 || !src2) return FALSE;
    const RECT a = *src1;
    const RECT b = *src2;
    const bool aEmpty = IsRectEmpty(&a);
    const bool bEmpty = IsRectEmpty(&b);
    if (aEmpty && bEmpty) {
        SetRectEmpty(dst);
        return FALSE;
    }
    if (aEmpty) {
        *dst = b;
    } else if (bEmpty) {
        *dst = a;
    } else {
        *dst = RECT{std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
                    std::max(a.bottom, b.bottom)};
    }
    return TRUE;
}

BOOL SubtractRect(LPRECT dst, const RECT* src1, const RECT* src2) {
    if (!dst || !src1 || !src2) return FALSE;
    RECT result = *src1;
    const RECT b = *src2;
    if (IsRectEmpty(&result)) {
        SetRectEmpty(dst);
        return FALSE;
    }
    RECT common;
    if (IntersectRect(&common, &result, &b)) {
        if (EqualRect(&common, &result)) {
            SetRectEmpty(dst);
            return FALSE;
        }
        // Only a band spanning a whole side can be cut off and leave a
        // rectangle; a hole or a notch leaves src1 as it was.
        if (common.top == result.top && common.bottom == result.bottom) {
            if (common.left == result.left) {
                result.left = common.right;
            } else if (common.right == result.right) {
                result.right = common.left;
            }
        } else if (common.left == result.left && common.right == result.right) {
            if (common.top == result.top) {
                result.top = common.bottom;
            } else if (common.bottom == result.bottom) {
                result.bottom = common.top;
            }
        }
    }
    *dst = result;
    return TRUE;
}
