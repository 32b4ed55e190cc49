// Ternary raster operations, brushes, patterns and pixel transfer between
// device contexts.
#include <gtest/gtest.h>

#include <random>

#include "platform/gdi.h"
#include "support/gdi_fixture.h"

using vtest::Canvas;

TEST(GdiRop, EveryTernaryOperationFollowsItsTruthTable) {
    // With P = 0xF0, S = 0xCC and D = 0xAA in every channel, each result bit
    // position holds one (P, S, D) combination, so the result byte is the
    // operation's truth table.
    Canvas dst(2, 1), src(2, 1, RGB(0xCC, 0xCC, 0xCC));
    HBRUSH brush = CreateSolidBrush(RGB(0xF0, 0xF0, 0xF0));
    HGDIOBJ old = SelectObject(dst.dc, brush);
    for (DWORD code = 0; code < 256; ++code) {
        dst.Fill(RGB(0xAA, 0xAA, 0xAA));
        ASSERT_TRUE(BitBlt(dst.dc, 0, 0, 2, 1, src.dc, 0, 0, code << 16));
        EXPECT_EQ(dst.At(1, 0), RGB(code, code, code)) << "operation " << code;
    }
    // The named operations are the same rule.
    const struct {
        DWORD rop;
        BYTE expected;
    } named[] = {{SRCCOPY, 0xCC},   {SRCAND, 0x88},   {SRCPAINT, 0xEE},    {SRCINVERT, 0x66},
                 {PATCOPY, 0xF0},   {PATINVERT, 0x5A}, {DSTINVERT, 0x55},  {BLACKNESS, 0x00},
                 {WHITENESS, 0xFF}, {MERGECOPY, 0xC0}, {0x00AC0744, 0xAC}, {NOTSRCCOPY, 0x33}};
    for (const auto& n : named) {
        dst.Fill(RGB(0xAA, 0xAA, 0xAA));
        ASSERT_TRUE(BitBlt(dst.dc, 0, 0, 2, 1, src.dc, 0, 0, n.rop));
        EXPECT_EQ(dst.At(0, 0), RGB(n.expected, n.expected, n.expected)) << std::hex << n.rop;
    }
    // Operations without a source accept a null source context.
    EXPECT_TRUE(BitBlt(dst.dc, 0, 0, 2, 1, nullptr, 0, 0, PATCOPY));
    EXPECT_FALSE(BitBlt(dst.dc, 0, 0, 2, 1, nullptr, 0, 0, SRCCOPY));
    SelectObject(dst.dc, old);
    DeleteObject(brush);
}

TEST(GdiRop, PatternBrushAlignsToTheDeviceOrigin) {
    // Rows alternate 0x55 and 0xAA: a checkerboard; bit 1 takes the
    // background colour, bit 0 the text colour.
    const WORD rows[8] = {0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA};
    HBITMAP pattern = CreateBitmap(8, 8, 1, 1, rows);
    ASSERT_NE(pattern, nullptr);
    HBRUSH brush = CreatePatternBrush(pattern);
    ASSERT_NE(brush, nullptr);
    DeleteObject(pattern);  // the brush keeps its own copy
    Canvas c(11, 10, RGB(9, 9, 9));
    SetTextColor(c.dc, RGB(255, 0, 0));
    SetBkColor(c.dc, RGB(0, 0, 255));
    const RECT r{1, 1, 11, 10};
    ASSERT_EQ(FillRect(c.dc, &r, brush), 1);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 11; ++x) {
            COLORREF expected = RGB(9, 9, 9);
            if (x >= 1 && y >= 1) {
                const bool bit = (rows[y & 7] >> (7 - (x & 7))) & 1;
                expected = bit ? RGB(0, 0, 255) : RGB(255, 0, 0);
            }
            EXPECT_EQ(c.At(x, y), expected) << x << "," << y;
        }
    }
    // 0xAC0744 keeps the destination where the pattern is set (white
    // background) and copies the source elsewhere.
    SetTextColor(c.dc, 0);
    SetBkColor(c.dc, RGB(255, 255, 255));
    HGDIOBJ old = SelectObject(c.dc, brush);
    Canvas src(8, 8, RGB(200, 100, 50));
    c.Fill(RGB(1, 2, 3));
    ASSERT_TRUE(BitBlt(c.dc, 0, 0, 8, 8, src.dc, 0, 0, 0x00AC0744));
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool bit = (rows[y] >> (7 - x)) & 1;
            EXPECT_EQ(c.At(x, y), bit ? RGB(1, 2, 3) : RGB(200, 100, 50)) << x << "," << y;
        }
    }
    SelectObject(c.dc, old);
    DeleteObject(brush);
}

TEST(GdiRop, BlitClipsAndHandlesOverlap) {
    Canvas c(4, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) SetPixelV(c.dc, x, y, RGB(x, y, 0));
    // Scroll right by one within the same surface.
    ASSERT_TRUE(BitBlt(c.dc, 1, 0, 3, 3, c.dc, 0, 0, SRCCOPY));
    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(c.At(0, y), RGB(0, y, 0));
        for (int x = 1; x < 4; ++x) EXPECT_EQ(c.At(x, y), RGB(x - 1, y, 0));
    }
    // Areas reaching outside either surface draw only the common part.
    Canvas d(3, 3, RGB(7, 7, 7));
    ASSERT_TRUE(BitBlt(d.dc, -1, 1, 10, 10, c.dc, 2, 0, SRCCOPY));
    EXPECT_EQ(d.At(0, 0), RGB(7, 7, 7));
    EXPECT_EQ(d.At(0, 1), RGB(2, 0, 0));  // source (3, 0)
    EXPECT_EQ(d.At(1, 1), RGB(7, 7, 7));  // source (4, 0) is outside
    EXPECT_EQ(d.At(0, 2), RGB(2, 1, 0));
    EXPECT_FALSE(BitBlt(d.dc, 0, 0, -1, 1, c.dc, 0, 0, SRCCOPY));
    // Pixels outside the surface.
    EXPECT_EQ(GetPixel(c.dc, 4, 0), CLR_INVALID);
    EXPECT_EQ(GetPixel(c.dc, 0, -1), CLR_INVALID);
    EXPECT_FALSE(SetPixelV(c.dc, -1, 0, 0));
    EXPECT_EQ(SetPixel(c.dc, 0, 0, 0xFF123456u), 0x123456u);  // the top byte is not a colour
}

TEST(GdiRop, BinaryRasterModesPaintRegions) {
    Canvas c(3, 1, RGB(0x0F, 0xF0, 0x33));
    HBRUSH brush = CreateSolidBrush(RGB(0xFF, 0x00, 0x55));
    HGDIOBJ old = SelectObject(c.dc, brush);
    HRGN region = CreateRectRgn(0, 0, 1, 1);
    const struct {
        int mode;
        COLORREF expected;
    } cases[] = {{R2_COPYPEN, RGB(0xFF, 0x00, 0x55)}, {R2_NOT, RGB(0xF0, 0x0F, 0xCC)},
                 {R2_XORPEN, RGB(0xF0, 0xF0, 0x66)},  {R2_MASKPEN, RGB(0x0F, 0x00, 0x11)},
                 {R2_MERGEPEN, RGB(0xFF, 0xF0, 0x77)}, {R2_NOP, RGB(0x0F, 0xF0, 0x33)},
                 {R2_BLACK, 0},                        {R2_WHITE, RGB(255, 255, 255)},
                 {R2_NOTCOPYPEN, RGB(0x00, 0xFF, 0xAA)}};
    for (const auto& k : cases) {
        c.Fill(RGB(0x0F, 0xF0, 0x33));
        SetROP2(c.dc, k.mode);
        ASSERT_TRUE(PaintRgn(c.dc, region));
        EXPECT_EQ(c.At(0, 0), k.expected) << k.mode;
        EXPECT_EQ(c.At(1, 0), RGB(0x0F, 0xF0, 0x33));
    }
    // FillRgn and FillRect ignore the binary mode.
    SetROP2(c.dc, R2_NOT);
    ASSERT_TRUE(FillRgn(c.dc, region, brush));
    EXPECT_EQ(c.At(0, 0), RGB(0xFF, 0x00, 0x55));
    // The hollow brush paints nothing.
    SelectObject(c.dc, GetStockObject(NULL_BRUSH));
    SetROP2(c.dc, R2_COPYPEN);
    c.Fill(RGB(1, 1, 1));
    EXPECT_TRUE(PaintRgn(c.dc, region));
    EXPECT_EQ(c.At(0, 0), RGB(1, 1, 1));
    SelectObject(c.dc, old);
    DeleteObject(region);
    DeleteObject(brush);
}

TEST(GdiRop, StretchBltMirrorsAndScales) {
    Canvas src(4, 1);
    for (int x = 0; x < 4; ++x) SetPixelV(src.dc, x, 0, RGB(10 * x, 0, 0));
    Canvas dst(4, 2);
    ASSERT_TRUE(StretchBlt(dst.dc, 4, 0, -4, 1, src.dc, 0, 0, 4, 1, SRCCOPY));
    for (int x = 0; x < 4; ++x) EXPECT_EQ(dst.At(x, 0), RGB(10 * (3 - x), 0, 0));
    ASSERT_TRUE(StretchBlt(dst.dc, 0, 1, 2, 1, src.dc, 0, 0, 4, 1, SRCCOPY));
    EXPECT_EQ(dst.At(0, 1), RGB(10, 0, 0));  // column (2 x 0 + 1) x 4 / 4 = 1
    EXPECT_EQ(dst.At(1, 1), RGB(30, 0, 0));
}
