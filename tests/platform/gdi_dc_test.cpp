// Device contexts, object lifetimes, handle validation, the virtual screen
// and host surfaces.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "platform/cdc.h"
#include "platform/gdi.h"
#include "platform/user.h"
#include "support/gdi_fixture.h"

using vtest::Canvas;

TEST(GdiHandles, BadHandlesGiveFailureValues) {
    const long before = VellumGdiObjectCount();
    HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3));
    HDC dc = CreateCompatibleDC(nullptr);
    ASSERT_TRUE(brush && dc);
    ASSERT_TRUE(DeleteObject(brush));
    HBITMAP notABitmap = reinterpret_cast<HBITMAP>(brush);  // now a stale handle
    HDC dead = CreateCompatibleDC(nullptr);
    ASSERT_TRUE(DeleteDC(dead));
    BITMAPINFO info{};
    info.bmiHeader.biSize = 40;
    info.bmiHeader.biWidth = 1;
    info.bmiHeader.biHeight = 1;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    BYTE bits[4] = {};
    const RECT r{0, 0, 1, 1};
    for (HDC bad : {static_cast<HDC>(nullptr), dead, reinterpret_cast<HDC>(brush)}) {
        EXPECT_EQ(SelectObject(bad, GetStockObject(BLACK_BRUSH)), nullptr);
        EXPECT_EQ(SetBkMode(bad, OPAQUE), 0);
        EXPECT_EQ(SetBkColor(bad, 0), CLR_INVALID);
        EXPECT_EQ(SetROP2(bad, R2_NOT), 0);
        EXPECT_EQ(SetStretchBltMode(bad, COLORONCOLOR), 0);
        EXPECT_EQ(GetPixel(bad, 0, 0), CLR_INVALID);
        EXPECT_FALSE(SetPixelV(bad, 0, 0, 0));
        EXPECT_FALSE(BitBlt(bad, 0, 0, 1, 1, dc, 0, 0, SRCCOPY));
        EXPECT_FALSE(BitBlt(dc, 0, 0, 1, 1, bad, 0, 0, SRCCOPY));
        EXPECT_EQ(FillRect(bad, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))), 0);
        EXPECT_EQ(StretchDIBits(bad, 0, 0, 1, 1, 0, 0, 1, 1, bits, &info, DIB_RGB_COLORS, SRCCOPY), 0);
        EXPECT_EQ(SetDIBitsToDevice(bad, 0, 0, 1, 1, 0, 0, 0, 1, bits, &info, DIB_RGB_COLORS), 0);
        EXPECT_EQ(CreateCompatibleBitmap(bad, 1, 1), nullptr);
        EXPECT_EQ(RealizePalette(bad), GDI_ERROR);
        EXPECT_FALSE(DeleteDC(bad));
        EXPECT_EQ(ReleaseDC(nullptr, bad), 0);
    }
    EXPECT_EQ(FillRect(dc, &r, reinterpret_cast<HBRUSH>(dc)), 0);  // wrong kind
    EXPECT_EQ(GetDIBits(dc, notABitmap, 0, 1, bits, &info, DIB_RGB_COLORS), 0);
    EXPECT_EQ(GetObject(notABitmap, sizeof(BITMAP), bits), 0);
    EXPECT_FALSE(DeleteObject(brush));
    EXPECT_FALSE(DeleteObject(nullptr));
    EXPECT_FALSE(DeleteObject(dc));  // device contexts go through DeleteDC
    EXPECT_EQ(CreatePatternBrush(nullptr), nullptr);
    EXPECT_EQ(GetNearestPaletteIndex(nullptr, 0), CLR_INVALID);
    EXPECT_EQ(SelectPalette(dc, nullptr, FALSE), nullptr);
    EXPECT_TRUE(DeleteDC(dc));
    EXPECT_EQ(VellumGdiObjectCount(), before);
}

TEST(GdiHandles, ObjectsDieInAnyOrder) {
    const long before = VellumGdiObjectCount();
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        HDC dc = CreateCompatibleDC(nullptr);
        HBITMAP bitmap = CreateCompatibleBitmap(dc, 3, 2);
        HBRUSH brush = CreateSolidBrush(RGB(9, 8, 7));
        HRGN region = CreateRectRgn(0, 0, 2, 2);
        ASSERT_NE(SelectObject(dc, bitmap), nullptr);
        ASSERT_NE(SelectObject(dc, brush), nullptr);
        // A selected bitmap cannot be deleted; a selected brush loses its
        // handle but keeps painting until the context lets go.
        EXPECT_FALSE(DeleteObject(bitmap));
        if (random() & 1) {
            EXPECT_TRUE(DeleteObject(brush));
            EXPECT_TRUE(PaintRgn(dc, region));
            EXPECT_EQ(GetPixel(dc, 1, 1), RGB(9, 8, 7));
            EXPECT_EQ(GetObjectType(brush), 0u);
            EXPECT_TRUE(DeleteObject(region));
            EXPECT_TRUE(DeleteDC(dc));
            EXPECT_TRUE(DeleteObject(bitmap));
        } else {
            EXPECT_TRUE(DeleteObject(region));
            EXPECT_TRUE(DeleteDC(dc));
            EXPECT_TRUE(DeleteObject(bitmap));
            EXPECT_TRUE(DeleteObject(brush));
        }
    }
    // Stock objects survive deletion.
    HGDIOBJ white = GetStockObject(WHITE_BRUSH);
    EXPECT_TRUE(DeleteObject(white));
    EXPECT_EQ(GetObjectType(white), static_cast<DWORD>(OBJ_BRUSH));
    EXPECT_EQ(GetStockObject(99), nullptr);
    EXPECT_EQ(VellumGdiObjectCount(), before);
}

TEST(GdiBitmaps, GetObjectAndSelection) {
    HDC dc = CreateCompatibleDC(nullptr);
    HDC other = CreateCompatibleDC(nullptr);
    HBITMAP bitmap = CreateCompatibleBitmap(dc, 5, 3);
    BITMAP bm{};
    ASSERT_EQ(GetObject(bitmap, sizeof bm, &bm), static_cast<int>(sizeof(BITMAP)));
    EXPECT_EQ(bm.bmWidth, 5);
    EXPECT_EQ(bm.bmHeight, 3);
    EXPECT_EQ(bm.bmWidthBytes, 20);
    EXPECT_EQ(bm.bmPlanes, 1);
    EXPECT_EQ(bm.bmBitsPixel, 32);
    EXPECT_EQ(bm.bmBits, nullptr);
    EXPECT_EQ(GetObject(bitmap, sizeof bm - 1, &bm), 0);
    EXPECT_EQ(GetObject(bitmap, 0, nullptr), static_cast<int>(sizeof(BITMAP)));
    // A fresh context holds the 1 x 1 stock bitmap; a bitmap goes into one
    // context at a time.
    HGDIOBJ stock = SelectObject(dc, bitmap);
    ASSERT_NE(stock, nullptr);
    ASSERT_EQ(GetObject(stock, sizeof bm, &bm), static_cast<int>(sizeof(BITMAP)));
    EXPECT_EQ(bm.bmWidth, 1);
    EXPECT_EQ(SelectObject(other, bitmap), nullptr);
    EXPECT_EQ(SelectObject(dc, stock), bitmap);
    EXPECT_NE(SelectObject(other, bitmap), nullptr);
    // Zero sizes give a 1 x 1 monochrome bitmap; negative sizes fail.
    HBITMAP empty = CreateCompatibleBitmap(dc, 0, 4);
    ASSERT_EQ(GetObject(empty, sizeof bm, &bm), static_cast<int>(sizeof(BITMAP)));
    EXPECT_EQ(bm.bmWidth * 10 + bm.bmBitsPixel, 11);
    EXPECT_EQ(CreateCompatibleBitmap(dc, -1, 4), nullptr);
    EXPECT_EQ(CreateCompatibleBitmap(dc, 1 << 20, 1 << 20), nullptr);  // beyond 2^31 bytes
    HRGN region = CreateRectRgn(0, 0, 1, 1);
    EXPECT_EQ(SelectObject(dc, region), HGDI_ERROR);
    DeleteObject(region);
    DeleteObject(empty);
    DeleteDC(other);
    EXPECT_TRUE(DeleteObject(bitmap));
    DeleteDC(dc);
}

TEST(GdiAttributes, PreviousValuesAndRanges) {
    Canvas c(2, 2);
    EXPECT_EQ(SetBkMode(c.dc, TRANSPARENT), OPAQUE);
    EXPECT_EQ(SetBkMode(c.dc, 7), 0);
    EXPECT_EQ(GetBkMode(c.dc), TRANSPARENT);
    EXPECT_EQ(SetROP2(c.dc, R2_NOT), R2_COPYPEN);
    EXPECT_EQ(SetROP2(c.dc, 17), 0);
    EXPECT_EQ(SetStretchBltMode(c.dc, COLORONCOLOR), BLACKONWHITE);
    EXPECT_EQ(GetStretchBltMode(c.dc), COLORONCOLOR);
    EXPECT_EQ(SetBkColor(c.dc, RGB(1, 2, 3)), RGB(255, 255, 255));
    EXPECT_EQ(SetTextColor(c.dc, RGB(4, 5, 6)), 0u);
    EXPECT_EQ(GetDeviceCaps(c.dc, BITSPIXEL), 32);
    EXPECT_EQ(GetDeviceCaps(c.dc, HORZRES), 2);
}

TEST(GdiScreen, SharedVirtualScreen) {
    HDC a = GetDC(nullptr);
    HDC b = GetDC(nullptr);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(GetDeviceCaps(a, HORZRES), kVirtualScreenWidth);
    EXPECT_EQ(GetDeviceCaps(a, VERTRES), kVirtualScreenHeight);
    const COLORREF saved = GetPixel(a, 10, 20);
    ASSERT_TRUE(SetPixelV(a, 10, 20, RGB(10, 20, 30)));
    EXPECT_EQ(GetPixel(b, 10, 20), RGB(10, 20, 30));
    SetPixelV(a, 10, 20, saved);
    // The screen's surface is not a bitmap a context can swap out.
    HBITMAP bitmap = CreateCompatibleBitmap(a, 1, 1);
    EXPECT_EQ(SelectObject(a, bitmap), nullptr);
    DeleteObject(bitmap);
    EXPECT_EQ(ReleaseDC(nullptr, a), 1);
    EXPECT_EQ(ReleaseDC(nullptr, a), 0);
    EXPECT_EQ(ReleaseDC(nullptr, b), 1);
}

TEST(GdiHost, DrawingLandsInTheHostBuffer) {
    // 3 x 2 pixels with one pixel of padding per row the host owns.
    std::vector<std::uint32_t> buffer(8, 0x12345678u);
    EXPECT_EQ(VellumCreateHostDC(buffer.data(), 3, 2, 11), nullptr);  // not a multiple of 4
    EXPECT_EQ(VellumCreateHostDC(buffer.data(), 3, 2, 8), nullptr);   // shorter than a row
    EXPECT_EQ(VellumCreateHostDC(nullptr, 3, 2, 16), nullptr);
    HDC dc = VellumCreateHostDC(buffer.data(), 3, 2, 16);
    ASSERT_NE(dc, nullptr);
    HBRUSH brush = CreateSolidBrush(RGB(0x11, 0x22, 0x33));
    const RECT r{1, 0, 3, 2};
    ASSERT_EQ(FillRect(dc, &r, brush), 1);
    ASSERT_TRUE(SetPixelV(dc, 0, 1, RGB(0xAA, 0xBB, 0xCC)));
    const std::vector<std::uint32_t> expected = {
        0x12345678u, 0xFF112233u, 0xFF112233u, 0x12345678u,
        0xFFAABBCCu, 0xFF112233u, 0xFF112233u, 0x12345678u,
    };
    EXPECT_EQ(buffer, expected);
    EXPECT_EQ(GetPixel(dc, 0, 0), 0x785634u);  // the host's own pixel, as COLORREF
    // Blit from a memory context into the host buffer.
    Canvas c(2, 1, RGB(1, 2, 3));
    ASSERT_TRUE(BitBlt(dc, 2, 1, 2, 1, c.dc, 0, 0, SRCCOPY));
    EXPECT_EQ(buffer[6], 0xFF010203u);
    EXPECT_EQ(buffer[7], 0x12345678u);  // clipped at the row end
    HBITMAP bitmap = CreateCompatibleBitmap(dc, 1, 1);
    EXPECT_EQ(SelectObject(dc, bitmap), nullptr);
    DeleteObject(bitmap);
    DeleteObject(brush);
    EXPECT_TRUE(DeleteDC(dc));
}

TEST(GdiClassLibrary, WrappersOwnTheirHandles) {
    const long before = VellumGdiObjectCount();
    {
        CDC dc;
        ASSERT_TRUE(dc.CreateCompatibleDC(nullptr));
        CBitmap bitmap;
        ASSERT_TRUE(bitmap.CreateCompatibleBitmap(&dc, 4, 4));
        CBitmap* old = dc.SelectObject(&bitmap);
        ASSERT_NE(old, nullptr);
        dc.FillSolidRect(1, 1, 2, 2, RGB(50, 60, 70));
        EXPECT_EQ(dc.GetBkColor(), RGB(50, 60, 70));  // the class library leaves it changed
        EXPECT_EQ(dc.GetPixel(1, 1), RGB(50, 60, 70));
        EXPECT_EQ(dc.GetPixel(3, 3), 0u);
        CBrush brush(RGB(1, 1, 1));
        CBrush* oldBrush = dc.SelectObject(&brush);
        CRgn region;
        ASSERT_TRUE(region.CreateRectRgn(0, 0, 1, 1));
        EXPECT_TRUE(dc.PaintRgn(&region));
        EXPECT_EQ(dc.GetPixel(0, 0), RGB(1, 1, 1));
        dc.SelectObject(oldBrush);
        dc.SelectObject(old);
        BITMAP bm{};
        EXPECT_EQ(bitmap.GetBitmap(&bm), static_cast<int>(sizeof bm));
        EXPECT_EQ(bm.bmWidth, 4);
        CClientDC screen(nullptr);
        EXPECT_EQ(screen.GetDeviceCaps(HORZRES), kVirtualScreenWidth);
    }
    EXPECT_EQ(VellumGdiObjectCount(), before);
}
