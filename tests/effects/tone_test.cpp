// Tone tables, ThCurve, colour masks, ThMask with ThGetMaskRect, grey and
// black-and-white conversion.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "dib/bmp.h"
#include "effects/tone.h"
#include "effects/tone_tables.h"
#include "support/dib_fixture.h"

namespace {

using vtest::Make;
using vtest::Pair;
using vtest::SetBgr;

struct Tables {
    BYTE r[256], g[256], b[256];
};

TEST(ToneTables, Contrast) {
    Tables t;
    EXPECT_FALSE(vellum::ContrastTables(1.0005, 1.0, 0.9995, t.r, t.g, t.b));
    EXPECT_FALSE(vellum::ContrastTables(-2.0, 2.0, 2.0, t.r, t.g, t.b));
    // |f - 1| = 0.001 exactly is not "within": the tables are built.
    EXPECT_TRUE(vellum::ContrastTables(1.0, 1.0, 1.002, t.r, t.g, t.b));
    ASSERT_TRUE(vellum::ContrastTables(2.0, 0.0, 0.0005, t.r, t.g, t.b));
    for (const BYTE* table : {t.r, t.g, t.b}) {
        EXPECT_EQ(table[100], 72);
        EXPECT_EQ(table[200], 255);
        EXPECT_EQ(table[0], 0);
        EXPECT_EQ(table[128], 128);
        EXPECT_EQ(table[191], 254);
        EXPECT_EQ(table[192], 255);
    }
    // Truncation, not rounding: (129 - 128) x 0.5 + 128 = 128.5.
    ASSERT_TRUE(vellum::ContrastTables(0.5, 0.5, 3.0, t.r, t.g, t.b));
    EXPECT_EQ(t.r[129], 128);
    EXPECT_EQ(t.r[1], 64);
    EXPECT_EQ(t.b[86], 2);
    EXPECT_EQ(t.b[85], 0);
}

TEST(ToneTables, BalanceAndGamma) {
    Tables t;
    ASSERT_TRUE(vellum::BalanceTables(10, -10, 2147483647, t.r, t.g, t.b));
    EXPECT_EQ(t.r[0], 10);
    EXPECT_EQ(t.r[245], 255);
    EXPECT_EQ(t.r[246], 255);
    EXPECT_EQ(t.g[9], 0);
    EXPECT_EQ(t.g[10], 0);
    EXPECT_EQ(t.g[11], 1);
    EXPECT_EQ(t.b[0], 255);

    EXPECT_FALSE(vellum::GammaTables(50, 50, 50, t.r, t.g, t.b));
    EXPECT_FALSE(vellum::GammaTables(0, 30, 30, t.r, t.g, t.b));
    EXPECT_FALSE(vellum::GammaTables(101, 30, 30, t.r, t.g, t.b));
    // Position 50 is exponent 1, but i x 0.00392156862745098 x 255.0 falls
    // just short of i for some i, and the truncation keeps that.
    ASSERT_TRUE(vellum::GammaTables(50, 0, 101, t.r, t.g, t.b));
    for (const BYTE* table : {t.r, t.g, t.b}) {
        EXPECT_EQ(table[0], 0);
        EXPECT_EQ(table[32], 32);
        EXPECT_EQ(table[33], 32);
        EXPECT_EQ(table[34], 34);
        EXPECT_EQ(table[255], 255);
    }
    ASSERT_TRUE(vellum::GammaTables(100, 1, 75, t.r, t.g, t.b));
    EXPECT_EQ(t.r[1], 146);  // e = 0.1
    EXPECT_EQ(t.r[128], 238);
    EXPECT_EQ(t.r[254], 254);
    EXPECT_EQ(t.g[128], 0);  // e = 9.55
    EXPECT_EQ(t.g[252], 227);
    EXPECT_EQ(t.g[0], 0);
    EXPECT_EQ(t.b[1], 44);
    EXPECT_EQ(t.b[100], 189);
}

TEST(ToneTables, ColorMask) {
    Tables t;
    const unsigned long colour = 0x00326420;  // R 0x20, G 0x64 (100), B 0x32 (50)
    ASSERT_TRUE(vellum::ColorMaskTables(colour, 30, 0, t.r, t.g, t.b));
    EXPECT_EQ(t.r[200], (0x20 * 70 + 200 * 30) / 100);
    EXPECT_EQ(t.g[0], 70);
    ASSERT_TRUE(vellum::ColorMaskTables(colour, 150, 0, t.r, t.g, t.b));
    EXPECT_EQ(t.r[255], BYTE((0x20 * -50 + 255 * 150) / 100));  // 366 stored as a byte
    ASSERT_TRUE(vellum::ColorMaskTables(colour, 0, 1, t.r, t.g, t.b));
    EXPECT_EQ(t.r[10], 0);
    EXPECT_EQ(t.r[40], 8);
    EXPECT_EQ(t.g[150], 50);
    EXPECT_EQ(t.b[50], 0);     // i - B = 0
    EXPECT_EQ(t.b[60], 216);   // i - G = -40 as a byte
    EXPECT_EQ(t.b[150], 50);   // i - G, not i - B
    ASSERT_TRUE(vellum::ColorMaskTables(0x00FFFFFF, 0, 2, t.r, t.g, t.b));
    for (int i = 0; i < 256; ++i) ASSERT_EQ(t.b[i], i);
    ASSERT_TRUE(vellum::ColorMaskTables(colour, 0, 2, t.r, t.g, t.b));
    EXPECT_EQ(t.g[255], 100);
    EXPECT_EQ(t.g[254], 254 * 100 / 255);
    ASSERT_TRUE(vellum::ColorMaskTables(colour, 0, 3, t.r, t.g, t.b));
    EXPECT_EQ(t.g[40], 60);
    EXPECT_EQ(t.g[140], 40);
    EXPECT_FALSE(vellum::ColorMaskTables(colour, 0, 6, t.r, t.g, t.b));
}

TEST(ThCurve, PixelsOrTableNeverDepth) {
    Tables t;
    for (int i = 0; i < 256; ++i) {
        t.r[i] = BYTE(255 - i);
        t.g[i] = BYTE(i / 2);
        t.b[i] = BYTE(i ^ 1);
    }
    Pair p;
    Make(p, 3, 2, 24);
    SetBgr(p, 2, 1, 10, 20, 30);
    p.row(1)[10] = 99;  // padding
    ASSERT_EQ(ThCurve(p.bits, p.info, t.r, t.g, t.b), 1);
    EXPECT_EQ(p.row(1)[6], 11);
    EXPECT_EQ(p.row(1)[7], 10);
    EXPECT_EQ(p.row(1)[8], 225);
    EXPECT_EQ(p.row(0)[0], 1);
    EXPECT_EQ(p.row(1)[10], 99);

    Make(p, 3, 2, 8);
    p.row(0)[0] = 5;
    p.h().biClrUsed = 4;
    ASSERT_EQ(ThCurve(p.bits, p.info, t.r, t.g, t.b), 1);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.row(0)[0], 5);
    EXPECT_EQ(p.table()[3].rgbRed, 255 - 3);
    EXPECT_EQ(p.table()[3].rgbBlue, 2);
    EXPECT_EQ(p.table()[4].rgbRed, 4);  // past biClrUsed: untouched
    void* none = nullptr;
    EXPECT_EQ(ThCurve(none, p.info, t.r, t.g, t.b), 0);
}

TEST(ThColorMask, ModesThroughTheCurve) {
    Pair p;
    Make(p, 2, 1, 24);
    SetBgr(p, 0, 0, 10, 100, 200);
    SetBgr(p, 1, 0, 255, 0, 128);
    const auto before = p.bytes();
    ThColorMask(p.bits, p.info, 0x00FFFFFF, 0, 2);
    EXPECT_EQ(p.bytes(), before);
    ThColorMask(p.bits, p.info, 0, 0, 3);
    EXPECT_EQ(p.bytes(), before);
    ThColorMask(p.bits, p.info, 0x00123456, 40, 9);
    EXPECT_EQ(p.bytes(), before);
    ThColorMask(p.bits, p.info, 0x00000000, 50, 0);  // tint toward black, half kept
    EXPECT_EQ(p.row(0)[0], 5);
    EXPECT_EQ(p.row(0)[2], 100);
    // Mode 4 is ThLightMask side 0: level 50, grey 100 replaces darker pixels.
    Make(p, 2, 1, 24);
    SetBgr(p, 0, 0, 99, 99, 99);
    SetBgr(p, 1, 0, 100, 100, 100);
    ThColorMask(p.bits, p.info, 0x00646464, 50, 4);
    EXPECT_EQ(p.row(0)[0], 100);
    EXPECT_EQ(p.row(0)[1], 100);
    ThColorMask(p.bits, p.info, 0x000000FF, 50, 5);  // L100 7650: both brighter
    EXPECT_EQ(p.row(0)[2], 255);
    EXPECT_EQ(p.row(0)[0], 0);
}

TEST(ThLightMask, LevelsSidesAndPalettes) {
    Pair p;
    // Level 1: f = 0.118, T = trunc(10000 x 0.118) = 1180 (L100 of grey 11.8).
    Make(p, 3, 1, 24);
    SetBgr(p, 0, 0, 11, 11, 11);
    SetBgr(p, 1, 0, 12, 12, 12);
    SetBgr(p, 2, 0, 0, 0, 40);  // L100 1200
    ThLightMask(p.bits, p.info, 0x00646464, 0, -5);
    EXPECT_EQ(p.row(0)[0], 100);
    EXPECT_EQ(p.row(0)[3], 12);
    EXPECT_EQ(p.row(0)[8], 40);
    // Level 100 (500 clamps): f = 6.0, T = 6 x 2500 = 15000 for grey 25; side 1.
    Make(p, 2, 1, 24);
    SetBgr(p, 0, 0, 150, 150, 150);
    SetBgr(p, 1, 0, 151, 151, 151);
    ThLightMask(p.bits, p.info, 0x00191919, 1, 500);
    EXPECT_EQ(p.row(0)[0], 150);
    EXPECT_EQ(p.row(0)[3], 25);
    Make(p, 2, 1, 24);
    SetBgr(p, 0, 0, 200, 200, 200);
    const auto before = p.bytes();
    ThLightMask(p.bits, p.info, 0x00646464, 2, 50);
    EXPECT_EQ(p.bytes(), before);
    // Palette: entries change, pixels do not.
    Make(p, 2, 1, 8);
    p.row(0)[0] = 3;
    ThLightMask(p.bits, p.info, 0x00646464, 0, 50);
    EXPECT_EQ(p.table()[99].rgbRed, 100);
    EXPECT_EQ(p.table()[99].rgbReserved, 0);
    EXPECT_EQ(p.table()[100].rgbRed, 100);
    EXPECT_EQ(p.table()[101].rgbRed, 101);
    EXPECT_EQ(p.row(0)[0], 3);
}

TEST(ThGetMaskRect, Placements) {
    CRect ir, mr;
    auto check = [&](CPoint at, CRect part, CRect wantImage, CRect wantMask) {
        ASSERT_EQ(ThGetMaskRect(10, 8, 4, 3, at, part, ir, mr), 1);
        EXPECT_EQ(ir, wantImage);
        EXPECT_EQ(mr, wantMask);
    };
    check(CPoint(2, 3), CRect(), CRect(2, 3, 6, 6), CRect(0, 0, 4, 3));
    check(CPoint(8, 6), CRect(), CRect(8, 6, 10, 8), CRect(0, 0, 2, 2));
    check(CPoint(-1, -2), CRect(), CRect(0, 0, 3, 1), CRect(1, 2, 4, 3));
    check(CPoint(1, 1), CRect(1, 1, 3, 3), CRect(1, 1, 3, 3), CRect(1, 1, 3, 3));
    check(CPoint(5, 5), CRect(2, 1, 9, 9), CRect(5, 5, 7, 7), CRect(2, 1, 4, 3));
    check(CPoint(kVellumMaskCentred, kVellumMaskCentred), CRect(), CRect(3, 2, 7, 5),
          CRect(0, 0, 4, 3));
    // Mask larger than the image, at 0: the far ends are paired [quirk].
    ASSERT_EQ(ThGetMaskRect(3, 2, 5, 4, CPoint(0, 0), CRect(), ir, mr), 1);
    EXPECT_EQ(ir, CRect(0, 0, 3, 2));
    EXPECT_EQ(mr, CRect(2, 2, 5, 4));
    ASSERT_EQ(ThGetMaskRect(3, 2, 5, 4, CPoint(kVellumMaskCentred, 1), CRect(), ir, mr), 1);
    EXPECT_EQ(ir, CRect(0, 1, 3, 2));
    EXPECT_EQ(mr, CRect(1, 0, 4, 1));
    for (CPoint at : {CPoint(10, 0), CPoint(0, 8), CPoint(-4, 0), CPoint(2147483647, 0),
                      CPoint(-2147483647, -2147483647)}) {
        EXPECT_EQ(ThGetMaskRect(10, 8, 4, 3, at, CRect(), ir, mr), 0);
        EXPECT_TRUE(ir.IsRectEmpty());
    }
    EXPECT_EQ(ThGetMaskRect(10, 8, 4, 3, CPoint(0, 0), CRect(5, 5, 9, 9), ir, mr), 0);
    EXPECT_EQ(ThGetMaskRect(0, 8, 4, 3, CPoint(0, 0), CRect(), ir, mr), 0);
}

// Image 4 x 2 and mask 2 x 2 placed at (3, 0): the overlap is the image's
// last column, mask column 0 (top-down rows 0 and 1 of both).
struct MaskCase {
    Pair image, mask;
    MaskCase() {
        Make(image, 4, 2, 24);
        Make(mask, 2, 2, 24);
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 4; ++x) SetBgr(image, x, y, 200, 100, 50);
            for (int x = 0; x < 2; ++x) SetBgr(mask, x, y, 60, 150, 20);
        }
        SetBgr(mask, 1, 0, 9, 9, 9);  // never in the overlap
    }
    int run(int mode, int amount) {
        return ThMask(image.bits, image.info, mask.bits, mask.info, mode, amount, CPoint(3, 0),
                      CRect());
    }
};

TEST(ThMask, BlendModesOverAPartialOverlap) {
    const BYTE d[3] = {200, 100, 50}, m[3] = {60, 150, 20};
    for (int mode = 0; mode <= 3; ++mode) {
        for (int amount : {0, 30, 100, 250}) {
            MaskCase c;
            ASSERT_EQ(c.run(mode, amount), 1);
            const int a = amount > 100 ? 100 : amount;
            for (int ch = 0; ch < 3; ++ch) {
                int want = 0;
                switch (mode) {
                    case 0: want = a == 0 ? m[ch] : (m[ch] * (100 - a) + d[ch] * a) / 100; break;
                    case 1: want = d[ch] > m[ch] ? d[ch] - m[ch] : 0; break;
                    case 2: want = m[ch] * d[ch] / 255; break;
                    default: want = std::abs(d[ch] - m[ch]); break;
                }
                for (int y = 0; y < 2; ++y) {
                    EXPECT_EQ(c.image.row(y)[9 + ch], want) << mode << " " << amount;
                    EXPECT_EQ(c.image.row(y)[6 + ch], d[ch]);
                }
            }
        }
    }
}

TEST(ThMask, LuminanceModesAndRefusals) {
    // L100 image 200,100,50 = 9600; mask 60,150,20 = 10110.
    MaskCase c;
    ASSERT_EQ(c.run(4, 50), 1);  // k = 100: 9600 < 10110
    EXPECT_EQ(c.image.row(0)[9], 60);
    MaskCase c2;
    ASSERT_EQ(c2.run(4, 47), 1);  // k = trunc((47 x 9 x 0.002 + 0.1) x 100) = 94: 9600 >= 9503
    EXPECT_EQ(c2.image.row(0)[9], 200);
    MaskCase c3;
    ASSERT_EQ(c3.run(5, 0), 1);  // k = 10: 9600 > 1011
    EXPECT_EQ(c3.image.row(1)[10], 150);
    MaskCase c4;
    ASSERT_EQ(c4.run(5, 100), 1);  // k = 600
    EXPECT_EQ(c4.image.row(1)[10], 100);

    MaskCase r;
    const auto before = r.image.bytes();
    EXPECT_EQ(r.run(0, -1), 0);
    EXPECT_EQ(r.run(6, 10), 0);
    EXPECT_EQ(ThMask(r.image.bits, r.image.info, r.mask.bits, r.mask.info, 0, 10, CPoint(4, 0),
                     CRect()),
              0);
    EXPECT_EQ(r.image.bytes(), before);
}

TEST(ThMask, PaletteMaskIsConvertedPrivately) {
    Pair image, mask;
    Make(image, 3, 3, 8);
    Make(mask, 2, 2, 8);
    std::fill(mask.row(0), mask.row(0) + 2, BYTE(40));
    std::fill(mask.row(1), mask.row(1) + 2, BYTE(40));
    const auto maskBefore = mask.bytes();
    ASSERT_EQ(ThMask(image.bits, image.info, mask.bits, mask.info, 0, 0, CPoint(1, 1), CRect()), 1);
    EXPECT_EQ(mask.h().biBitCount, 8);
    EXPECT_EQ(mask.bytes(), maskBefore);
    EXPECT_EQ(image.h().biBitCount, 24);
    EXPECT_EQ(image.row(0)[3], 40);  // top-down row 2 is memory row 0
    EXPECT_EQ(image.row(2)[3], 0);
}

BYTE Grey(int b, int g, int r) { return BYTE((11 * b + 59 * g + 30 * r) / 100); }

TEST(ThConvertToGray, TrueColourAndPalettes) {
    Pair p;
    Make(p, 3, 2, 24);
    SetBgr(p, 0, 0, 255, 0, 0);
    SetBgr(p, 2, 1, 10, 200, 90);
    ThConvertToGray(p.bits, p.info);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    EXPECT_EQ(p.row(0)[0], 28);
    EXPECT_EQ(p.row(1)[2], Grey(10, 200, 90));
    EXPECT_EQ(p.row(1)[3], 0);
    EXPECT_EQ(p.table()[77].rgbGreen, 77);

    Make(p, 2, 1, 8, false);
    p.h().biClrUsed = 3;
    p.table()[2] = RGBQUAD{10, 200, 90, 7};
    ThConvertToGray(p.bits, p.info);
    EXPECT_EQ(p.table()[2].rgbRed, Grey(10, 200, 90));
    EXPECT_EQ(p.table()[2].rgbBlue, Grey(10, 200, 90));
    EXPECT_EQ(p.table()[2].rgbReserved, 7);

    for (auto [e0, e1, black] : {std::tuple{RGBQUAD{0, 0, 200, 0}, RGBQUAD{0, 110, 0, 0}, 0},
                                 std::tuple{RGBQUAD{0, 200, 0, 0}, RGBQUAD{0, 0, 200, 0}, 1},
                                 std::tuple{RGBQUAD{1, 1, 1, 0}, RGBQUAD{1, 1, 1, 0}, 0}}) {
        Make(p, 2, 1, 1, false);
        p.table()[0] = e0;
        p.table()[1] = e1;
        ThConvertToGray(p.bits, p.info);
        EXPECT_EQ(p.table()[black].rgbGreen, 0);
        EXPECT_EQ(p.table()[1 - black].rgbGreen, 255);
    }
}

TEST(ThConvertTo8BitGray, EveryDepth) {
    Pair p;
    Make(p, 5, 1, 24);
    SetBgr(p, 4, 0, 30, 60, 90);
    ThConvertTo8BitGray(p.bits, p.info);
    EXPECT_EQ(p.h().biBitCount, 8);
    EXPECT_EQ(p.h().biClrUsed, 256u);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    EXPECT_EQ(p.row(0)[4], Grey(30, 60, 90));

    Make(p, 2, 1, 8, false);
    p.table()[9] = RGBQUAD{30, 60, 90, 0};
    p.row(0)[1] = 9;
    ThConvertTo8BitGray(p.bits, p.info);
    EXPECT_EQ(p.row(0)[1], Grey(30, 60, 90));

    // 4 bits: even columns take the whole byte as the index, odd columns the
    // high nibble; indices past the 16 entries read as black.
    Make(p, 4, 1, 4);
    p.row(0)[0] = 0x3F;
    p.row(0)[1] = 0x02;
    ThConvertTo8BitGray(p.bits, p.info);
    EXPECT_EQ(p.row(0)[0], 0);     // index 0x3F
    EXPECT_EQ(p.row(0)[1], 3 * 17);
    EXPECT_EQ(p.row(0)[2], 2 * 17);  // index 0x02
    EXPECT_EQ(p.row(0)[3], 0);

    for (bool whiteFirst : {false, true}) {
        Make(p, 3, 1, 1, false);
        p.table()[0] = whiteFirst ? RGBQUAD{255, 255, 255, 0} : RGBQUAD{0, 0, 128, 0};
        p.row(0)[0] = 0xA0;  // 1, 0, 1
        ThConvertTo8BitGray(p.bits, p.info);
        EXPECT_EQ(p.row(0)[0], whiteFirst ? 0 : 255);
        EXPECT_EQ(p.row(0)[1], whiteFirst ? 255 : 0);
    }

    Make(p, 2, 2, 16);
    ThConvertTo8BitGray(p.bits, p.info);
    EXPECT_EQ(p.h().biBitCount, 8);
    for (BYTE b : p.bytes()) EXPECT_EQ(b, 0);
}

TEST(ThConvertTo8BitGray, GreyLevelOfEveryPixelOfARandomPicture) {
    std::mt19937 rng(100);
    Pair p, q;
    Make(p, 257, 33, 24);
    Make(q, 257, 33, 24);
    for (int y = 0; y < 33; ++y) {
        for (int x = 0; x < 257; ++x) {
            const BYTE b = BYTE(rng()), g = BYTE(rng()), r = BYTE(rng());
            SetBgr(p, x, y, b, g, r);
            SetBgr(q, x, y, b, g, r);
        }
    }
    SetBgr(p, 0, 0, 255, 255, 255);
    SetBgr(q, 0, 0, 255, 255, 255);
    std::vector<BYTE> want;
    for (int y = 0; y < 33; ++y) {
        for (int x = 0; x < 257; ++x) want.push_back(Grey(p.row(y)[3 * x], p.row(y)[3 * x + 1], p.row(y)[3 * x + 2]));
    }
    ThConvertTo8BitGray(p.bits, p.info);
    ThConvertToBW(q.bits, q.info, 127);
    for (int y = 0; y < 33; ++y) {
        for (int x = 0; x < 257; ++x) {
            const BYTE g = want[size_t(y * 257 + x)];
            ASSERT_EQ(p.row(y)[x], g) << x << "," << y;
            ASSERT_EQ((q.row(y)[x >> 3] >> (7 - (x & 7))) & 1, g > 127 ? 1 : 0) << x << "," << y;
        }
        ASSERT_EQ(p.row(y)[257], 0);  // padding
    }
}

TEST(ThConvertTo8BitGray, FileToFile) {
    Pair p;
    Make(p, 3, 2, 24);
    SetBgr(p, 1, 1, 1, 2, 250);
    const std::string src = vtest::TempPath("grey-src.bmp"), dst = vtest::TempPath("grey-dst.bmp");
    ASSERT_EQ(ThSaveDibData(src.c_str(), p.bits, p.info), 1);
    EXPECT_EQ(ThConvertTo8BitGray(vtest::TempPath("missing.bmp").c_str(), dst.c_str()), 0);
    ASSERT_EQ(ThConvertTo8BitGray(src.c_str(), dst.c_str()), 1);
    Pair back;
    ASSERT_EQ(ThReadDibData(dst.c_str(), back.bits, back.info), 0);
    EXPECT_EQ(back.h().biBitCount, 8);
    EXPECT_EQ(back.row(1)[1], Grey(1, 2, 250));
}

TEST(ThConvertToBW, ThresholdAndDepths) {
    Pair p;
    Make(p, 9, 1, 24);
    for (int x = 0; x < 9; ++x) SetBgr(p, x, 0, BYTE(100 + x), BYTE(100 + x), BYTE(100 + x));
    ThConvertToBW(p.bits, p.info, 104);
    EXPECT_EQ(p.h().biBitCount, 1);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_EQ(p.h().biSizeImage, 4u);
    EXPECT_EQ(p.row(0)[0], 0x07);  // 105, 106, 107 are greater
    EXPECT_EQ(p.row(0)[1], 0x80);
    EXPECT_EQ(p.table()[1].rgbGreen, 255);
    const auto before = p.bytes();
    ThConvertToBW(p.bits, p.info, 0);  // already 1-bit
    EXPECT_EQ(p.bytes(), before);

    Make(p, 3, 2, 8);
    std::fill(p.row(0), p.row(0) + 3, BYTE(255));
    ThConvertToBW(p.bits, p.info, 255);
    for (BYTE b : p.bytes()) EXPECT_EQ(b, 0);

    Make(p, 3, 1, 4);
    p.row(0)[0] = 0x0F;  // 0 and 15 through the ramp: 0 and 255
    ThConvertToBW(p.bits, p.info, 254);
    EXPECT_EQ(p.row(0)[0], 0x40);
}

}  // namespace
