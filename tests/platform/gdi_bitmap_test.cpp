// DIB transfer: GetDIBits at each depth, SetDIBitsToDevice, StretchDIBits
// mappings and CreateDIBitmap.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <vector>

#include "platform/gdi.h"
#include "platform/user.h"
#include "support/gdi_fixture.h"

using vtest::Canvas;

namespace {

// A DIB header with room for any colour table, and its bits.
struct Dib {
    std::vector<BYTE> header = std::vector<BYTE>(40 + 4 * 256);
    std::vector<BYTE> bits;
    BITMAPINFO* info() { return reinterpret_cast<BITMAPINFO*>(header.data()); }
    BITMAPINFOHEADER& h() { return info()->bmiHeader; }
    RGBQUAD* table() { return reinterpret_cast<RGBQUAD*>(header.data() + 40); }
    int stride() const {
        const auto& hh = reinterpret_cast<const BITMAPINFOHEADER&>(header[0]);
        return (hh.biWidth * hh.biBitCount + 31) / 32 * 4;
    }
    Dib(int width, int height, int depth) {
        h().biSize = 40;
        h().biWidth = width;
        h().biHeight = height;
        h().biPlanes = 1;
        h().biBitCount = static_cast<WORD>(depth);
        bits.assign(static_cast<std::size_t>(stride()) * std::abs(height), 0);
    }
    BYTE* row(int y) { return bits.data() + stride() * y; }
};

// Luminance rule, 16 standard colours and 3-3-2 grid, written out again.
int Grey(COLORREF c) { return (30 * GetRValue(c) + 59 * GetGValue(c) + 11 * GetBValue(c)) / 100; }

}  // namespace

TEST(GetDIBits, EachDepthWithItsTable) {
    // One row of test colours, read bottom-up and top-down.
    const COLORREF colours[] = {RGB(0, 0, 0),     RGB(255, 255, 255), RGB(250, 10, 10),
                                RGB(120, 130, 140), RGB(0, 200, 100), RGB(130, 130, 0),
                                RGB(64, 64, 200)};
    const int n = 7;
    Canvas c(n, 2, RGB(9, 9, 9));
    for (int x = 0; x < n; ++x) SetPixelV(c.dc, x, 0, colours[x]);  // top row
    SelectObject(c.dc, c.old);
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
        Dib bottomUp(n, 2, depth), topDown(n, -2, depth);
        ASSERT_EQ(GetDIBits(c.dc, c.bitmap, 0, 2, bottomUp.bits.data(), bottomUp.info(),
                            DIB_RGB_COLORS), 2);
        ASSERT_EQ(GetDIBits(c.dc, c.bitmap, 0, 2, topDown.bits.data(), topDown.info(),
                            DIB_RGB_COLORS), 2);
        // The top line is stored last bottom-up and first top-down.
        EXPECT_TRUE(std::equal(bottomUp.row(1), bottomUp.row(1) + bottomUp.stride(),
                               topDown.row(0)));
        const BYTE* row = bottomUp.row(1);
        for (int x = 0; x < n; ++x) {
            const COLORREF k = colours[x];
            const int r = GetRValue(k), g = GetGValue(k), b = GetBValue(k);
            switch (depth) {
                case 1:
                    EXPECT_EQ((row[x / 8] >> (7 - x % 8)) & 1, Grey(k) >= 128 ? 1 : 0) << x;
                    break;
                case 4: {
                    const int index = (x & 1) ? row[x / 2] & 15 : row[x / 2] >> 4;
                    const RGBQUAD q = bottomUp.table()[index];
                    // Check it is the nearest of the 16 by brute force.
                    const int d = (r - q.rgbRed) * (r - q.rgbRed) + (g - q.rgbGreen) * (g - q.rgbGreen) +
                                  (b - q.rgbBlue) * (b - q.rgbBlue);
                    for (int i = 0; i < 16; ++i) {
                        const RGBQUAD o = bottomUp.table()[i];
                        const int e = (r - o.rgbRed) * (r - o.rgbRed) +
                                      (g - o.rgbGreen) * (g - o.rgbGreen) +
                                      (b - o.rgbBlue) * (b - o.rgbBlue);
                        EXPECT_TRUE(e > d || (e == d && i >= index)) << x << " entry " << i;
                    }
                    break;
                }
                case 8: {
                    const RGBQUAD q = bottomUp.table()[row[x]];
                    EXPECT_LE(std::abs(r - q.rgbRed), 18) << x;
                    EXPECT_LE(std::abs(g - q.rgbGreen), 18) << x;
                    EXPECT_LE(std::abs(b - q.rgbBlue), 42) << x;
                    break;
                }
                case 16: {
                    const int w = row[2 * x] | row[2 * x + 1] << 8;
                    EXPECT_EQ(w, (r >> 3) << 10 | (g >> 3) << 5 | b >> 3) << x;
                    break;
                }
                case 24:
                    EXPECT_EQ(row[3 * x], b);
                    EXPECT_EQ(row[3 * x + 1], g);
                    EXPECT_EQ(row[3 * x + 2], r);
                    break;
                case 32:
                    EXPECT_EQ(row[4 * x], b);
                    EXPECT_EQ(row[4 * x + 2], r);
                    EXPECT_EQ(row[4 * x + 3], 0);
                    break;
            }
        }
    }
    // Known entries of the tables.
    Dib d8(1, 1, 8), d4(1, 1, 4), d1(1, 1, 1);
    ASSERT_EQ(GetDIBits(c.dc, c.bitmap, 0, 1, nullptr, d8.info(), DIB_RGB_COLORS), 1);
    EXPECT_EQ(d8.h().biSizeImage, 4u);
    EXPECT_EQ(d8.table()[197].rgbRed, 219);
    EXPECT_EQ(d8.table()[197].rgbGreen, 36);
    EXPECT_EQ(d8.table()[197].rgbBlue, 85);
    ASSERT_NE(GetDIBits(c.dc, c.bitmap, 0, 1, nullptr, d4.info(), DIB_RGB_COLORS), 0);
    EXPECT_EQ(d4.table()[9].rgbRed, 255);
    EXPECT_EQ(d4.table()[7].rgbGreen, 192);
    ASSERT_NE(GetDIBits(c.dc, c.bitmap, 0, 1, nullptr, d1.info(), DIB_RGB_COLORS), 0);
    EXPECT_EQ(d1.table()[1].rgbBlue, 255);
    EXPECT_EQ(d1.table()[0].rgbBlue, 0);
    // The header query.
    Dib q(0, 0, 0);
    ASSERT_EQ(GetDIBits(c.dc, c.bitmap, 0, 0, nullptr, q.info(), DIB_RGB_COLORS), 2);
    EXPECT_EQ(q.h().biWidth, n);
    EXPECT_EQ(q.h().biHeight, 2);
    EXPECT_EQ(q.h().biBitCount, 32);
}

TEST(GetDIBits, LinesRangeAndRefusals) {
    Canvas c(2, 3);
    for (int y = 0; y < 3; ++y) SetPixelV(c.dc, 0, y, RGB(y + 1, 0, 0));
    Dib d(2, 3, 24);
    std::fill(d.bits.begin(), d.bits.end(), 0xEE);
    // Lines 1 .. 2 from the bottom are bitmap rows 1 and 0.
    ASSERT_EQ(GetDIBits(c.dc, c.bitmap, 1, 5, d.bits.data(), d.info(), DIB_RGB_COLORS), 2);
    EXPECT_EQ(d.row(0)[2], 2);
    EXPECT_EQ(d.row(1)[2], 1);
    EXPECT_EQ(d.row(2)[0], 0xEE);  // beyond the lines written
    // Bad requests change nothing.
    const std::vector<BYTE> before = d.bits;
    for (const int depth : {0, 2, 48}) {
        d.h().biBitCount = static_cast<WORD>(depth);
        EXPECT_EQ(GetDIBits(c.dc, c.bitmap, 0, 3, d.bits.data(), d.info(), DIB_RGB_COLORS), 0);
    }
    d.h().biBitCount = 24;
    d.h().biCompression = BI_RLE8;
    EXPECT_EQ(GetDIBits(c.dc, c.bitmap, 0, 3, d.bits.data(), d.info(), DIB_RGB_COLORS), 0);
    d.h().biCompression = BI_RGB;
    EXPECT_EQ(GetDIBits(c.dc, c.bitmap, 0, 3, d.bits.data(), d.info(), DIB_PAL_COLORS), 0);
    EXPECT_EQ(GetDIBits(c.dc, c.bitmap, 0, 3, d.bits.data(), nullptr, DIB_RGB_COLORS), 0);
    EXPECT_EQ(d.bits, before);
}

TEST(SetDIBitsToDevice, EverySourceDepth) {
    // A 3 x 2 picture, top row red, green, blue; bottom row grey (exact in
    // 5 bits with replication), white,
    // black, in each depth; drawn and read back.
    const COLORREF top[3] = {RGB(255, 0, 0), RGB(0, 255, 0), RGB(0, 0, 255)};
    const COLORREF bottom[3] = {RGB(132, 132, 132), RGB(255, 255, 255), RGB(0, 0, 0)};
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
        Dib d(3, 2, depth);
        const COLORREF* rows[2] = {bottom, top};  // bottom-up
        int next = 0;
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 3; ++x) {
                const COLORREF k = rows[y][x];
                const BYTE r = GetRValue(k), g = GetGValue(k), b = GetBValue(k);
                BYTE* p = d.row(y);
                if (depth <= 8) {
                    const int i = next++ % (1 << depth);
                    d.table()[i] = RGBQUAD{b, g, r, 0};
                    if (depth == 8) p[x] = static_cast<BYTE>(i);
                    if (depth == 4) p[x / 2] |= static_cast<BYTE>((x & 1) ? i : i << 4);
                    if (depth == 1) p[0] |= static_cast<BYTE>(i << (7 - x));
                } else if (depth == 16) {
                    const int w = (r >> 3) << 10 | (g >> 3) << 5 | b >> 3;
                    p[2 * x] = static_cast<BYTE>(w);
                    p[2 * x + 1] = static_cast<BYTE>(w >> 8);
                } else {
                    const int size = depth / 8;
                    p[size * x] = b;
                    p[size * x + 1] = g;
                    p[size * x + 2] = r;
                    if (size == 4) p[4 * x + 3] = 0x7F;  // ignored
                }
            }
        }
        if (depth == 1) {
            // Two colours only: the rows become index patterns 010 / 101 of a
            // black and white table.
            d.table()[0] = RGBQUAD{0, 0, 0, 0};
            d.table()[1] = RGBQUAD{255, 255, 255, 0};
            d.row(0)[0] = 0x40;
            d.row(1)[0] = 0xA0;
        }
        Canvas c(5, 4, RGB(1, 1, 1));
        ASSERT_EQ(SetDIBitsToDevice(c.dc, 1, 1, 3, 2, 0, 0, 0, 2, d.bits.data(), d.info(),
                                    DIB_RGB_COLORS), 2) << depth;
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 3; ++x) {
                COLORREF expected = (y == 0 ? top : bottom)[x];
                if (depth == 1) {
                    const bool white = y == 0 ? (x != 1) : (x == 1);
                    expected = white ? RGB(255, 255, 255) : 0;
                }
                EXPECT_EQ(c.At(x + 1, y + 1), expected) << depth << " " << x << "," << y;
            }
        }
        EXPECT_EQ(c.At(0, 0), RGB(1, 1, 1));
        EXPECT_EQ(c.At(4, 3), RGB(1, 1, 1));
    }
    // 16 bits widen 5 to 8 bits by replicating the top bits.
    Dib w(1, 1, 16);
    w.row(0)[0] = 0xFF;
    w.row(0)[1] = 0x7F;
    Canvas c(1, 1);
    SetDIBitsToDevice(c.dc, 0, 0, 1, 1, 0, 0, 0, 1, w.bits.data(), w.info(), DIB_RGB_COLORS);
    EXPECT_EQ(c.At(0, 0), RGB(255, 255, 255));
}

TEST(SetDIBitsToDevice, PartialBlocksAndSourceOrigin) {
    // 1 x 4 DIB, lines 0..3 from the bottom hold reds 10, 20, 30, 40.
    Dib d(1, 4, 24);
    for (int y = 0; y < 4; ++y) d.row(y)[2] = static_cast<BYTE>(10 * (y + 1));
    Canvas c(1, 4);
    // Only lines 1 and 2 handed over (the block starts at line 1).
    ASSERT_EQ(SetDIBitsToDevice(c.dc, 0, 0, 1, 4, 0, 0, 1, 2, d.row(1), d.info(), DIB_RGB_COLORS), 2);
    EXPECT_EQ(c.At(0, 0), 0u);
    EXPECT_EQ(c.At(0, 1), RGB(30, 0, 0));
    EXPECT_EQ(c.At(0, 2), RGB(20, 0, 0));
    EXPECT_EQ(c.At(0, 3), 0u);
    // ySrc is the lower-left corner: a 2-high area from line 1 shows lines 2, 1.
    Canvas e(1, 2);
    SetDIBitsToDevice(e.dc, 0, 0, 1, 2, 0, 1, 0, 4, d.bits.data(), d.info(), DIB_RGB_COLORS);
    EXPECT_EQ(e.At(0, 0), RGB(30, 0, 0));
    EXPECT_EQ(e.At(0, 1), RGB(20, 0, 0));
}

namespace {

// The mapping written out once more: destination index i of n takes source
// index floor((i + 1/2) m / n), mirrored as m - 1 - that.
int Ref(int i, int n, int m, bool mirror) {
    const int k = static_cast<int>((2.0 * i + 1.0) * m / (2.0 * n));
    return mirror ? m - 1 - k : k;
}

}  // namespace

TEST(StretchDIBits, ShrinkGrowAndMirrorAgainstTheMapping) {
    // A 5 x 4 24-bit DIB whose pixel (x, line) is RGB(x, line, 77).
    Dib d(5, 4, 24);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            d.row(y)[3 * x + 2] = static_cast<BYTE>(x);
            d.row(y)[3 * x + 1] = static_cast<BYTE>(y);
            d.row(y)[3 * x] = 77;
        }
    const struct {
        int dw, dh, sw, sh;
    } cases[] = {{5, 4, 5, 4}, {2, 2, 5, 4}, {13, 9, 5, 4}, {-5, 4, 5, 4}, {5, -4, 5, 4},
                 {-7, -3, 5, 4}, {3, 4, -5, 4}, {1, 1, 5, 4}};
    for (const auto& k : cases) {
        const int aw = std::abs(k.dw), ah = std::abs(k.dh);
        Canvas c(aw + 2, ah + 2, RGB(200, 200, 200));
        // Start the destination so that it covers columns 1 .. aw, rows 1 .. ah.
        const int x0 = k.dw < 0 ? 1 + aw : 1, y0 = k.dh < 0 ? 1 + ah : 1;
        const int sx = k.sw < 0 ? 5 : 0;
        SetStretchBltMode(c.dc, COLORONCOLOR);
        ASSERT_EQ(StretchDIBits(c.dc, x0, y0, k.dw, k.dh, sx, 0, k.sw, k.sh, d.bits.data(),
                                d.info(), DIB_RGB_COLORS, SRCCOPY), ah);
        const bool mx = (k.dw < 0) != (k.sw < 0), my = (k.dh < 0) != (k.sh < 0);
        for (int j = 0; j < ah + 2; ++j) {
            for (int i = 0; i < aw + 2; ++i) {
                COLORREF expected = RGB(200, 200, 200);
                if (i >= 1 && i <= aw && j >= 1 && j <= ah) {
                    const int sxp = Ref(i - 1, aw, 5, mx);
                    const int line = 3 - Ref(j - 1, ah, 4, my);  // top row shows the top line
                    expected = RGB(sxp, line, 77);
                }
                ASSERT_EQ(c.At(i, j), expected) << k.dw << "x" << k.dh << " at " << i << "," << j;
            }
        }
    }
}

TEST(StretchDIBits, SourceRectangleFromTheBottomAndRasterOperations) {
    // 1 x 4 DIB of greys 0x10, 0x30, 0x70, 0xF0 (line 0 at the bottom).
    Dib d(1, 4, 8);
    const BYTE greys[4] = {0x10, 0x30, 0x70, 0xF0};
    for (int y = 0; y < 4; ++y) {
        d.row(y)[0] = static_cast<BYTE>(y);
        d.table()[y] = RGBQUAD{greys[y], greys[y], greys[y], 0};
    }
    d.h().biClrUsed = 4;
    Canvas c(1, 2, RGB(0x3C, 0x3C, 0x3C));
    // Source lines 1 .. 2 (ySrc = 1 from the bottom), ANDed with the canvas.
    ASSERT_EQ(StretchDIBits(c.dc, 0, 0, 1, 2, 0, 1, 1, 2, d.bits.data(), d.info(),
                            DIB_RGB_COLORS, SRCAND), 2);
    EXPECT_EQ(c.At(0, 0), RGB(0x30, 0x30, 0x30));  // 0x70 & 0x3C
    EXPECT_EQ(c.At(0, 1), RGB(0x30, 0x30, 0x30));  // 0x30 & 0x3C
    // Source areas partly outside the DIB draw only what is inside.
    Canvas e(1, 4, RGB(5, 5, 5));
    StretchDIBits(e.dc, 0, 0, 1, 4, 0, 2, 1, 4, d.bits.data(), d.info(), DIB_RGB_COLORS, SRCCOPY);
    EXPECT_EQ(e.At(0, 0), RGB(5, 5, 5));  // lines 5 and 4 do not exist
    EXPECT_EQ(e.At(0, 1), RGB(5, 5, 5));
    EXPECT_EQ(e.At(0, 2), RGB(0xF0, 0xF0, 0xF0));
    EXPECT_EQ(e.At(0, 3), RGB(0x70, 0x70, 0x70));
    // Indices beyond biClrUsed read black rather than memory past the table.
    d.row(0)[0] = 200;
    StretchDIBits(e.dc, 0, 0, 1, 4, 0, 0, 1, 4, d.bits.data(), d.info(), DIB_RGB_COLORS, SRCCOPY);
    EXPECT_EQ(e.At(0, 3), 0u);
    // Refusals.
    EXPECT_EQ(StretchDIBits(e.dc, 0, 0, 0, 4, 0, 0, 1, 4, d.bits.data(), d.info(),
                            DIB_RGB_COLORS, SRCCOPY), 0);
    d.h().biWidth = 0;
    EXPECT_EQ(StretchDIBits(e.dc, 0, 0, 1, 4, 0, 0, 1, 4, d.bits.data(), d.info(),
                            DIB_RGB_COLORS, SRCCOPY), 0);
}

TEST(StretchDIBits, ExtremeRectanglesStaySafe) {
    Dib d(3, 2, 24);
    std::fill(d.bits.begin(), d.bits.end(), 0x80);
    Canvas c(4, 4, RGB(1, 1, 1));
    const int lo = INT32_MIN, hi = INT32_MAX;
    const int cases[][8] = {{lo, 0, hi, 4, 0, 0, 3, 2},   {hi, hi, lo + 1, lo + 1, 0, 0, 3, 2},
                            {0, 0, 4, 4, lo, lo, hi, hi}, {0, 0, 4, 4, hi, 0, lo, 2},
                            {-2, -2, lo, hi, 0, 0, 3, 2}, {0, 0, hi, hi, 0, 0, 3, 2}};
    for (const auto& k : cases) {
        StretchDIBits(c.dc, k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7], d.bits.data(), d.info(),
                      DIB_RGB_COLORS, SRCCOPY);
        StretchDIBits(c.dc, k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7], d.bits.data(), d.info(),
                      DIB_RGB_COLORS, PATINVERT);
        StretchBlt(c.dc, k[0], k[1], k[2], k[3], c.dc, k[4], k[5], k[6], k[7], SRCCOPY);
        BitBlt(c.dc, k[0], k[1], k[2], k[3], c.dc, k[4], k[5], SRCCOPY);
    }
    // A huge stretch still maps the visible corner to the DIB's first pixel.
    ASSERT_EQ(StretchDIBits(c.dc, 0, 0, hi, hi, 0, 0, 3, 2, d.bits.data(), d.info(),
                            DIB_RGB_COLORS, SRCCOPY), hi);
    EXPECT_EQ(c.At(0, 0), RGB(0x80, 0x80, 0x80));
}

TEST(CreateDIBitmap, RoundTripsThroughGetDIBits) {
    std::mt19937 random(3);
    Dib d(7, 5, 24);
    for (auto& b : d.bits) b = static_cast<BYTE>(random());
    for (int y = 0; y < 5; ++y) std::fill(d.row(y) + 21, d.row(y) + d.stride(), 0);  // padding
    HDC screen = GetDC(nullptr);
    HBITMAP bitmap = CreateDIBitmap(screen, &d.h(), CBM_INIT, d.bits.data(), d.info(), DIB_RGB_COLORS);
    ASSERT_NE(bitmap, nullptr);
    BITMAP bm{};
    GetObject(bitmap, sizeof bm, &bm);
    EXPECT_EQ(bm.bmWidth, 7);
    EXPECT_EQ(bm.bmHeight, 5);
    Dib back(7, 5, 24);
    ASSERT_EQ(GetDIBits(screen, bitmap, 0, 5, back.bits.data(), back.info(), DIB_RGB_COLORS), 5);
    EXPECT_EQ(back.bits, d.bits);
    DeleteObject(bitmap);
    // Without CBM_INIT the bitmap is black; bad headers give null.
    bitmap = CreateDIBitmap(screen, &d.h(), 0, nullptr, nullptr, DIB_RGB_COLORS);
    ASSERT_NE(bitmap, nullptr);
    DeleteObject(bitmap);
    d.h().biBitCount = 3;
    EXPECT_EQ(CreateDIBitmap(screen, &d.h(), CBM_INIT, d.bits.data(), d.info(), DIB_RGB_COLORS), nullptr);
    EXPECT_EQ(CreateDIBitmap(screen, nullptr, 0, nullptr, nullptr, DIB_RGB_COLORS), nullptr);
    ReleaseDC(nullptr, screen);
}

TEST(Palettes, NearestIndexAndTheDefaultPalette) {
    std::vector<BYTE> block(sizeof(LOGPALETTE) + 3 * sizeof(PALETTEENTRY));
    auto* log = reinterpret_cast<LOGPALETTE*>(block.data());
    log->palVersion = 0x300;
    log->palNumEntries = 4;
    log->palPalEntry[0] = PALETTEENTRY{0, 0, 0, 0};
    log->palPalEntry[1] = PALETTEENTRY{255, 0, 0, 0};
    log->palPalEntry[2] = PALETTEENTRY{0, 0, 255, 0};
    log->palPalEntry[3] = PALETTEENTRY{255, 0, 0, 0};  // a duplicate: the lower index wins
    HPALETTE palette = CreatePalette(log);
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(GetNearestPaletteIndex(palette, RGB(200, 0, 0)), 1u);
    EXPECT_EQ(GetNearestPaletteIndex(palette, RGB(0, 10, 140)), 2u);
    EXPECT_EQ(GetNearestPaletteIndex(palette, RGB(100, 0, 100)), 0u);  // 20000 against 34025
    WORD count = 0;
    EXPECT_EQ(GetObject(palette, sizeof count, &count), 2);
    EXPECT_EQ(count, 4);
    log->palVersion = 0x200;
    EXPECT_EQ(CreatePalette(log), nullptr);
    log->palVersion = 0x300;
    log->palNumEntries = 0;
    EXPECT_EQ(CreatePalette(log), nullptr);
    // Selection hands back the previous palette; realising maps nothing.
    Canvas c(1, 1);
    HPALETTE stock = static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE));
    EXPECT_EQ(SelectPalette(c.dc, palette, FALSE), stock);
    EXPECT_EQ(RealizePalette(c.dc), 0u);
    EXPECT_EQ(SelectPalette(c.dc, stock, TRUE), palette);
    EXPECT_TRUE(DeleteObject(palette));
    // The 20 static colours.
    PALETTEENTRY e[20];
    ASSERT_EQ(GetPaletteEntries(stock, 0, 20, e), 20u);
    EXPECT_EQ(e[8].peGreen, 220);
    EXPECT_EQ(e[9].peRed, 166);
    EXPECT_EQ(e[10].peBlue, 240);
    EXPECT_EQ(e[11].peBlue, 164);
    EXPECT_EQ(e[19].peRed, 255);
    EXPECT_EQ(GetNearestPaletteIndex(stock, RGB(190, 218, 190)), 8u);
    EXPECT_EQ(GetNearestPaletteIndex(stock, RGB(252, 251, 238)), 10u);
}
