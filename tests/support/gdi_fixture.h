// Helpers for tests of the software GDI: a memory device context over a
// fresh bitmap, and pixel access.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "platform/gdi.h"

namespace vtest {

// A memory device context with a width x height bitmap selected; both are
// released on destruction.
struct Canvas {
    HDC dc = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    int width = 0, height = 0;

    Canvas(int w, int h, COLORREF fill = 0) : width(w), height(h) {
        dc = CreateCompatibleDC(nullptr);
        bitmap = CreateCompatibleBitmap(dc, w, h);
        old = SelectObject(dc, bitmap);
        Fill(fill);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() {
        SelectObject(dc, old);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }
    void Fill(COLORREF colour) {
        HBRUSH brush = CreateSolidBrush(colour);
        const RECT all{0, 0, width, height};
        FillRect(dc, &all, brush);
        DeleteObject(brush);
    }
    COLORREF At(int x, int y) const { return GetPixel(dc, x, y); }
    std::vector<COLORREF> Pixels() const {
        std::vector<COLORREF> v;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) v.push_back(GetPixel(dc, x, y));
        return v;
    }
};

}  // namespace vtest
