// Every writable format written and read back: palette images stay palette
// images, lossless formats give back the same pixels, transparency survives.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "codec/ximage.h"
#include "codec/memfile.h"

namespace {

// A picture with every index or a colour ramp, so that a swapped channel,
// a flipped row or a lost palette entry shows.
CxImage Sample(int bpp, DWORD w = 37, DWORD h = 19) {
    CxImage image;
    EXPECT_TRUE(image.Create(w, h, static_cast<WORD>(bpp)));
    if (bpp <= 8) {
        RGBQUAD* pal = image.GetPalette();
        const int n = 1 << bpp;
        for (int i = 0; i < n; ++i)
            pal[i] = RGBQUAD{BYTE(i * 37 % 256), BYTE(255 - i), BYTE(i * 91 % 256), 0};
        if (bpp == 1) pal[0] = RGBQUAD{0, 0, 0, 0}, pal[1] = RGBQUAD{255, 255, 255, 0};
    }
    for (DWORD y = 0; y < h; ++y)
        for (DWORD x = 0; x < w; ++x) {
            if (bpp <= 8) {
                image.SetPixelIndex(long(x), long(y), BYTE((x * 7 + y * 3) % (1u << bpp)));
            } else {
                BYTE* p = image.GetBits(y) + 3 * x;
                p[0] = BYTE(x * 6);
                p[1] = BYTE(y * 13);
                p[2] = BYTE((x * y) ^ 0x55);
            }
        }
    return image;
}

CxImage Through(const CxImage& image, DWORD type) {
    std::vector<BYTE> bytes;
    EXPECT_TRUE(image.Encode(bytes, type)) << "encode type " << type;
    CxImage back;
    EXPECT_TRUE(back.Decode(bytes.data(), bytes.size(), type)) << "decode type " << type;
    return back;
}

void ExpectSameColours(const CxImage& a, const CxImage& b) {
    ASSERT_TRUE(b.IsValid());
    ASSERT_EQ(a.GetWidth(), b.GetWidth());
    ASSERT_EQ(a.GetHeight(), b.GetHeight());
    for (long y = 0; y < long(a.GetHeight()); ++y)
        for (long x = 0; x < long(a.GetWidth()); ++x) {
            const RGBQUAD p = a.GetPixelColor(x, y), q = b.GetPixelColor(x, y);
            ASSERT_TRUE(p.rgbRed == q.rgbRed && p.rgbGreen == q.rgbGreen && p.rgbBlue == q.rgbBlue)
                << "pixel " << x << "," << y;
        }
}

void ExpectSameBits(const CxImage& a, const CxImage& b) {
    ASSERT_EQ(a.GetBpp(), b.GetBpp());
    ExpectSameColours(a, b);
    const std::size_t bytes = std::size_t{a.GetEffWidth()} * a.GetHeight();
    EXPECT_EQ(std::memcmp(a.GetBits(), b.GetBits(), bytes), 0);
    ASSERT_EQ(a.GetPaletteSize(), b.GetPaletteSize());
    if (a.GetPaletteSize()) {
        EXPECT_EQ(std::memcmp(a.GetPalette(), b.GetPalette(), 4 * a.GetPaletteSize()), 0);
    }
}

TEST(CodecRoundTrip, LosslessFormatsKeepDepthAndPixels) {
    struct Case {
        DWORD type;
        std::vector<int> depths;
    };
    const Case cases[] = {
        {CXIMAGE_FORMAT_BMP, {1, 4, 8, 24}}, {CXIMAGE_FORMAT_PNG, {1, 4, 8, 24}},
        {CXIMAGE_FORMAT_TIF, {1, 4, 8, 24}}, {CXIMAGE_FORMAT_ICO, {1, 4, 8, 24}},
        {CXIMAGE_FORMAT_PCX, {1, 4, 8, 24}}, {CXIMAGE_FORMAT_GIF, {1, 4, 8}},
        {CXIMAGE_FORMAT_TGA, {8, 24}},       {CXIMAGE_FORMAT_RAS, {1, 8, 24}},
        {CXIMAGE_FORMAT_PNM, {24}},
    };
    for (const Case& c : cases)
        for (int depth : c.depths) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " depth " << depth);
            const CxImage image = Sample(depth);
            ExpectSameBits(image, Through(image, c.type));
        }
    // Formats that keep colours but not the depth: palette images widen.
    for (int depth : {1, 4}) {
        const CxImage image = Sample(depth);
        const CxImage tga = Through(image, CXIMAGE_FORMAT_TGA);
        EXPECT_EQ(tga.GetBpp(), 8);
        ExpectSameColours(image, tga);
    }
    ExpectSameColours(Sample(4), Through(Sample(4), CXIMAGE_FORMAT_RAS));
    for (DWORD type : {CXIMAGE_FORMAT_JP2, CXIMAGE_FORMAT_JPC, CXIMAGE_FORMAT_PNG,
                       CXIMAGE_FORMAT_TIF, CXIMAGE_FORMAT_PNM}) {
        SCOPED_TRACE(type);
        ExpectSameColours(Sample(24), Through(Sample(24), type));
    }
}

TEST(CodecRoundTrip, GreyAndBilevelFormats) {
    CxImage grey = Sample(8);
    grey.SetGrayPalette();
    for (DWORD type : {CXIMAGE_FORMAT_PNM, CXIMAGE_FORMAT_PGX, CXIMAGE_FORMAT_JP2,
                       CXIMAGE_FORMAT_JPC, CXIMAGE_FORMAT_BMP, CXIMAGE_FORMAT_PNG}) {
        SCOPED_TRACE(type);
        const CxImage back = Through(grey, type);
        EXPECT_EQ(back.GetBpp(), 8);
        EXPECT_TRUE(back.IsGrayScale());
        ExpectSameColours(grey, back);
    }
    const CxImage bw = Sample(1);
    for (DWORD type : {CXIMAGE_FORMAT_WBMP, CXIMAGE_FORMAT_PNM}) {
        SCOPED_TRACE(type);
        const CxImage back = Through(bw, type);
        EXPECT_EQ(back.GetBpp(), 1);
        ExpectSameColours(bw, back);
    }
}

TEST(CodecRoundTrip, JpegIsCloseAndKeepsGrey) {
    CxImage image = Sample(24, 64, 48);
    // Smooth content so that quality 95 stays within a few levels.
    for (DWORD y = 0; y < 48; ++y)
        for (DWORD x = 0; x < 64; ++x) {
            BYTE* p = image.GetBits(y) + 3 * x;
            p[0] = BYTE(x * 2), p[1] = BYTE(y * 3), p[2] = BYTE(128 + x - y);
        }
    image.SetJpegQuality(95);
    const CxImage back = Through(image, CXIMAGE_FORMAT_JPG);
    ASSERT_EQ(back.GetBpp(), 24);
    int worst = 0;
    for (long y = 0; y < 48; ++y)
        for (long x = 0; x < 64; ++x) {
            const RGBQUAD a = image.GetPixelColor(x, y), b = back.GetPixelColor(x, y);
            worst = std::max({worst, std::abs(a.rgbRed - b.rgbRed), std::abs(a.rgbGreen - b.rgbGreen),
                              std::abs(a.rgbBlue - b.rgbBlue)});
        }
    EXPECT_LE(worst, 8);
    // Lower quality gives a smaller file.
    std::vector<BYTE> q95, q20;
    image.Encode(q95, CXIMAGE_FORMAT_JPG);
    image.SetJpegQuality(20);
    image.Encode(q20, CXIMAGE_FORMAT_JPG);
    EXPECT_LT(q20.size(), q95.size());
    CxImage grey = Sample(8);
    grey.SetGrayPalette();
    const CxImage greyBack = Through(grey, CXIMAGE_FORMAT_JPG);
    EXPECT_EQ(greyBack.GetBpp(), 8);
    EXPECT_TRUE(greyBack.IsGrayScale());
}

TEST(CodecRoundTrip, TransparentIndex) {
    for (DWORD type : {CXIMAGE_FORMAT_PNG, CXIMAGE_FORMAT_GIF, CXIMAGE_FORMAT_TGA, CXIMAGE_FORMAT_ICO}) {
        SCOPED_TRACE(type);
        CxImage image = Sample(8);
        // Index 200 is used only where x == 0; make it the transparent one.
        for (long y = 0; y < 19; ++y) image.SetPixelIndex(0, y, 200);
        for (long y = 0; y < 19; ++y)
            for (long x = 1; x < 37; ++x)
                if (image.GetPixelIndex(x, y) == 200) image.SetPixelIndex(x, y, 1);
        image.SetTransIndex(200);
        const CxImage back = Through(image, type);
        ExpectSameBits(image, back);
        EXPECT_EQ(back.GetTransIndex(), 200);
        EXPECT_FALSE(back.AlphaIsValid());
    }
}

TEST(CodecRoundTrip, AlphaPlane) {
    for (DWORD type : {CXIMAGE_FORMAT_PNG, CXIMAGE_FORMAT_TGA, CXIMAGE_FORMAT_ICO, CXIMAGE_FORMAT_TIF,
                       CXIMAGE_FORMAT_JP2}) {
        SCOPED_TRACE(type);
        CxImage image = Sample(24);
        ASSERT_TRUE(image.AlphaCreate());
        BYTE* a = image.AlphaGetPointer();
        for (std::size_t i = 0; i < 37 * 19; ++i) a[i] = BYTE(i * 7 % 256);
        const CxImage back = Through(image, type);
        ExpectSameColours(image, back);
        ASSERT_TRUE(back.AlphaIsValid());
        for (long y = 0; y < 19; ++y)
            for (long x = 0; x < 37; ++x)
                ASSERT_EQ(back.GetAlpha(x, y), image.GetAlpha(x, y)) << x << "," << y;
    }
}

// Icons beyond 256 x 256 are written as a PNG entry whose directory size
// bytes are 0, and read back at their real size.
TEST(CodecRoundTrip, LargeIconsAsPngEntries) {
    CxImage wide = Sample(24, 300, 40);
    ASSERT_TRUE(wide.AlphaCreate());
    for (std::size_t i = 0; i < 300 * 40; ++i) wide.AlphaGetPointer()[i] = BYTE(i * 5 % 256);
    std::vector<BYTE> bytes;
    ASSERT_TRUE(wide.Encode(bytes, CXIMAGE_FORMAT_ICO));
    ASSERT_GT(bytes.size(), 30u);
    EXPECT_EQ(bytes[6], 0);                     // width 300: 0
    EXPECT_EQ(bytes[7], 40);                    // height as it is
    EXPECT_EQ(bytes[12] | bytes[13] << 8, 32);  // alpha makes 32 bits
    EXPECT_EQ(std::memcmp(bytes.data() + 22, "\x89PNG", 4), 0);
    CxImage back;
    ASSERT_TRUE(back.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_ICO));
    ExpectSameColours(wide, back);
    ASSERT_TRUE(back.AlphaIsValid());
    EXPECT_EQ(std::memcmp(back.AlphaGetPointer(), wide.AlphaGetPointer(), 300 * 40), 0);

    // A palette image keeps its depth, table and transparent index.
    CxImage tall = Sample(8, 20, 257);
    for (long y = 0; y < 257; ++y)
        for (long x = 0; x < 20; ++x)
            if (tall.GetPixelIndex(x, y) == 9) tall.SetPixelIndex(x, y, 8);
    tall.SetPixelIndex(3, 3, 9);
    tall.SetTransIndex(9);
    const CxImage tallBack = Through(tall, CXIMAGE_FORMAT_ICO);
    ExpectSameBits(tall, tallBack);
    EXPECT_EQ(tallBack.GetTransIndex(), 9);

    // The entry chosen is the largest by its real size: a 300 x 300 PNG
    // entry, whose directory says 256 x 256 at 8 bits, wins over a 256 x 256
    // bitmap entry at 24 bits.
    std::vector<BYTE> png, bitmap;
    ASSERT_TRUE(Sample(8, 300, 300).Encode(png, CXIMAGE_FORMAT_ICO));
    ASSERT_TRUE(Sample(24, 256, 256).Encode(bitmap, CXIMAGE_FORMAT_ICO));
    std::vector<BYTE> icon = {0, 0, 1, 0, 2, 0};
    std::uint32_t offset = 6 + 2 * 16;
    for (const auto* e : {&bitmap, &png}) {
        icon.insert(icon.end(), e->begin() + 6, e->begin() + 18);  // its directory entry
        for (int k = 0; k < 4; ++k) icon.push_back(BYTE(offset >> (8 * k)));
        offset += static_cast<std::uint32_t>(e->size() - 22);
    }
    for (const auto* e : {&bitmap, &png}) icon.insert(icon.end(), e->begin() + 22, e->end());
    CxImage chosen;
    ASSERT_TRUE(chosen.Decode(icon.data(), icon.size(), CXIMAGE_FORMAT_ICO));
    EXPECT_EQ(chosen.GetWidth(), 300u);
    EXPECT_EQ(chosen.GetHeight(), 300u);
    EXPECT_EQ(chosen.GetBpp(), 8);
}

TEST(CodecRoundTrip, GifReductionKeepsColoursClose) {
    const CxImage image = Sample(24, 64, 64);
    const CxImage back = Through(image, CXIMAGE_FORMAT_GIF);
    EXPECT_EQ(back.GetBpp(), 8);
    long long error = 0;
    for (long y = 0; y < 64; ++y)
        for (long x = 0; x < 64; ++x) {
            const RGBQUAD a = image.GetPixelColor(x, y), b = back.GetPixelColor(x, y);
            error += std::abs(a.rgbRed - b.rgbRed) + std::abs(a.rgbGreen - b.rgbGreen) +
                     std::abs(a.rgbBlue - b.rgbBlue);
        }
    // Mean error per channel under 12 levels for a 256-colour palette.
    EXPECT_LT(error / (64 * 64 * 3), 12);
}

TEST(CodecImage, DepthChanges) {
    CxImage image = Sample(4);
    const CxImage original = image;
    ASSERT_TRUE(image.IncreaseBpp(8));
    ExpectSameColours(original, image);
    ASSERT_TRUE(image.IncreaseBpp(24));
    EXPECT_EQ(image.GetBpp(), 24);
    ExpectSameColours(original, image);
    EXPECT_FALSE(image.IncreaseBpp(8));
    // Back to 4 bits with the original table and no diffusion: exact.
    RGBQUAD table[16];
    std::memcpy(table, original.GetPalette(), sizeof table);
    ASSERT_TRUE(image.DecreaseBpp(4, false, table, 16));
    ExpectSameBits(original, image);
    // A picture with few colours keeps them all through median cut.
    CxImage few = Sample(24);
    for (DWORD y = 0; y < 19; ++y)
        for (DWORD x = 0; x < 37; ++x) {
            BYTE* p = few.GetBits(y) + 3 * x;
            p[0] = BYTE((x % 3) * 120), p[1] = BYTE((y % 2) * 200), p[2] = 16;
        }
    CxImage reduced = few;
    ASSERT_TRUE(reduced.DecreaseBpp(8, true));
    EXPECT_EQ(reduced.GetBpp(), 8);
    for (long y = 0; y < 19; ++y)
        for (long x = 0; x < 37; ++x) {
            const RGBQUAD a = few.GetPixelColor(x, y), b = reduced.GetPixelColor(x, y);
            EXPECT_LE(std::abs(a.rgbBlue - b.rgbBlue) + std::abs(a.rgbGreen - b.rgbGreen), 8);
        }
    EXPECT_TRUE(Sample(8).IsGrayScale() == false);
    CxImage grey = Sample(8);
    grey.SetGrayPalette();
    EXPECT_TRUE(grey.IsGrayScale());
}

TEST(CodecImage, FilterAndAlphaAccess) {
    CxImage grey;
    ASSERT_TRUE(grey.Create(5, 5, 8));
    grey.SetPixelIndex(2, 2, 100);
    long box[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    ASSERT_TRUE(grey.Filter(box, 3, 9, 0));
    EXPECT_EQ(grey.GetBpp(), 8);
    EXPECT_EQ(grey.GetPixelIndex(1, 1), 11);  // 100 / 9
    EXPECT_EQ(grey.GetPixelIndex(0, 0), 0);
    // Offset and clamping; edge pixels repeat.
    CxImage flat;
    ASSERT_TRUE(flat.Create(3, 2, 8));
    for (long y = 0; y < 2; ++y)
        for (long x = 0; x < 3; ++x) flat.SetPixelIndex(x, y, 200);
    ASSERT_TRUE(flat.Filter(box, 3, 9, 100));
    EXPECT_EQ(flat.GetPixelIndex(0, 0), 255);
    // An asymmetric kernel: row 0 of the kernel is the row above on screen.
    CxImage rows;
    ASSERT_TRUE(rows.Create(1, 3, 8));
    rows.SetPixelIndex(0, 2, 90);  // top row on screen
    long pickAbove[9] = {0, 1, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_TRUE(rows.Filter(pickAbove, 3, 1, 0));
    EXPECT_EQ(rows.GetPixelIndex(0, 1), 90);
    EXPECT_EQ(rows.GetPixelIndex(0, 0), 0);

    CxImage image = Sample(24, 4, 3);
    EXPECT_EQ(image.GetAlpha(1, 1), 255);  // no plane: opaque
    ASSERT_TRUE(image.AlphaCreate());
    image.AlphaGetPointer()[1 * 4 + 2] = 9;  // row 1 (from the bottom), x 2
    EXPECT_EQ(image.GetAlpha(2, 1), 9);
    EXPECT_EQ(image.GetAlpha(4, 0), 0);
    CxImage copy(image);
    EXPECT_EQ(copy.GetAlpha(2, 1), 9);
    image.Destroy();
    EXPECT_FALSE(image.IsValid());
    EXPECT_EQ(image.GetDIB(), nullptr);
    EXPECT_TRUE(copy.IsValid());
}

TEST(CodecImage, RefusesWhatItCannotRead) {
    CxImage image;
    const BYTE junk[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    for (DWORD type = 0; type < CMAX_IMAGE_FORMATS; ++type) {
        EXPECT_FALSE(image.Decode(junk, sizeof junk, type)) << type;
        EXPECT_FALSE(image.IsValid());
    }
    // A header that claims more pixels than the limit is refused.
    const std::string big = "P5\n200000 200000\n255\n";
    EXPECT_FALSE(image.Decode(reinterpret_cast<const BYTE*>(big.data()), big.size(), CXIMAGE_FORMAT_PNM));
    EXPECT_FALSE(image.Decode(nullptr, 0, CXIMAGE_FORMAT_PNG));
    // WMF never decodes and cannot be written.
    const CxImage sample = Sample(24);
    std::vector<BYTE> out;
    EXPECT_FALSE(sample.Encode(out, CXIMAGE_FORMAT_WMF));
    EXPECT_FALSE(sample.Encode(out, CXIMAGE_FORMAT_UNKNOWN));
}

TEST(CodecImage, TopDownBmpTurnedBottomUp) {
    const CxImage image = Sample(24, 5, 4);
    std::vector<BYTE> bytes;
    ASSERT_TRUE(image.Encode(bytes, CXIMAGE_FORMAT_BMP));
    // Rewrite as top-down: negative height, rows reversed.
    const std::size_t stride = image.GetEffWidth();
    const std::size_t off = bytes[10] | bytes[11] << 8;
    std::vector<BYTE> flipped = bytes;
    const std::int32_t negative = -4;
    std::memcpy(flipped.data() + 22, &negative, 4);
    for (std::size_t y = 0; y < 4; ++y)
        std::memcpy(flipped.data() + off + y * stride, bytes.data() + off + (3 - y) * stride, stride);
    CxImage back;
    ASSERT_TRUE(back.Decode(flipped.data(), flipped.size(), CXIMAGE_FORMAT_BMP));
    ExpectSameBits(image, back);
    EXPECT_EQ(back.GetHeader()->biHeight, 4);
}

}  // namespace

namespace {

// The thumbnail hint: JPEG decodes at the largest DCT reduction (1/2, 1/4,
// 1/8) that still covers the wanted size; the pixels stay close to the full
// decode averaged over the same blocks.
TEST(CodecImage, JpegDecodeSizeHint) {
    CxImage picture = Sample(24, 400, 300);
    for (DWORD y = 0; y < 300; ++y)  // smooth, so that block means are comparable
        for (DWORD x = 0; x < 400; ++x) {
            BYTE* p = picture.GetBits(y) + 3 * x;
            p[0] = BYTE(x * 255 / 399), p[1] = BYTE(y * 255 / 299), p[2] = BYTE((x + y) / 3);
        }
    picture.SetJpegQuality(95);
    std::vector<BYTE> bytes;
    ASSERT_TRUE(picture.Encode(bytes, CXIMAGE_FORMAT_JPG));
    CxImage full;
    ASSERT_TRUE(full.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_JPG));
    struct Case {
        DWORD wantW, wantH, gotW, gotH;
    };
    const Case cases[] = {
        {100, 70, 100, 75},   // 1/4: 100 x 75 covers it, 1/8 (50 x 38) does not
        {101, 70, 200, 150},  // one more column needs 1/2
        {160, 120, 200, 150}, {50, 38, 50, 38},
        {1, 1, 50, 38},       {201, 10, 400, 300},  // too wide for any reduction
        {0, 0, 400, 300},                           // no hint
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.wantW << " x " << c.wantH);
        CxImage image;
        image.SetDecodeSizeHint(c.wantW, c.wantH);
        ASSERT_TRUE(image.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_JPG));
        ASSERT_EQ(image.GetWidth(), c.gotW);
        ASSERT_EQ(image.GetHeight(), c.gotH);
        const DWORD f = 400 / c.gotW;
        long long error = 0;
        for (DWORD y = 0; y + 1 < c.gotH; ++y)
            for (DWORD x = 0; x + 1 < c.gotW; ++x) {
                const BYTE* p = image.GetBits(y) + 3 * x;
                for (int k = 0; k < 3; ++k) {
                    long sum = 0;
                    for (DWORD j = 0; j < f; ++j)
                        for (DWORD i = 0; i < f; ++i)
                            sum += full.GetBits(y * f + j)[3 * (x * f + i) + k];
                    error += std::abs(p[k] - sum / long(f * f));
                }
            }
        EXPECT_LT(error / ((c.gotW - 1) * (c.gotH - 1) * 3), 3);
    }
}

}  // namespace
