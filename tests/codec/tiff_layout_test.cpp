// TIFF pages written by libtiff in every layout the decoder must place
// itself: strips and tiles, both planar configurations, the eight
// orientations, 1- to 16-bit samples. Bilevel, grey and palette pages must
// come back as palette images; every pixel is checked against the stored
// value at the position its orientation shows it.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstring>
#include <functional>
#include <vector>

#include "codec/ximage.h"
#include "platform/temp_dir.h"

namespace {

struct Layout {
    int bits = 8;
    int spp = 1;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int orientation = ORIENTATION_TOPLEFT;
    bool tiled = false;
    bool separate = false;
    int compression = COMPRESSION_NONE;
    std::vector<std::uint16_t> extra;  // extra-sample kinds
};

constexpr std::uint32_t kW = 37, kH = 21;  // not a multiple of the 16 x 16 tiles

// Stored sample s of pixel (x, y), within `bits` bits.
unsigned Stored(std::uint32_t x, std::uint32_t y, int s, int bits) {
    return (x * 7 + y * 13 + static_cast<unsigned>(s) * 101 + x * y) & ((1u << bits) - 1);
}

// Packs `count` samples of `bits` bits, most significant first (TIFF order;
// 16-bit samples in host order, as libtiff takes them).
std::vector<std::uint8_t> Pack(const std::vector<unsigned>& samples, int bits) {
    if (bits == 16) {
        std::vector<std::uint8_t> out(samples.size() * 2);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto v = static_cast<std::uint16_t>(samples[i]);
            std::memcpy(out.data() + 2 * i, &v, 2);
        }
        return out;
    }
    std::vector<std::uint8_t> out((samples.size() * bits + 7) / 8, 0);
    for (std::size_t i = 0; i < samples.size(); ++i)
        for (int b = 0; b < bits; ++b)
            if (samples[i] >> (bits - 1 - b) & 1) {
                const std::size_t bit = i * bits + b;
                out[bit / 8] |= static_cast<std::uint8_t>(0x80 >> (bit % 8));
            }
    return out;
}

std::vector<BYTE> Write(const Layout& l, const platform_test::TempDir& dir) {
    const std::string path = dir.File("page.tif");
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    EXPECT_NE(tif, nullptr);
    if (!tif) return {};
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kW);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kH);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, l.bits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, l.spp);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, l.photometric);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, l.orientation);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG,
                 l.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    if (l.photometric == PHOTOMETRIC_SEPARATED) TIFFSetField(tif, TIFFTAG_INKSET, INKSET_CMYK);
    if (!l.extra.empty())
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(l.extra.size()),
                     l.extra.data());
    std::vector<std::uint16_t> map[3];
    if (l.photometric == PHOTOMETRIC_PALETTE) {
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < (1 << l.bits); ++i)
                map[c].push_back(static_cast<std::uint16_t>(((i * (c + 3) * 37) % 256) * 257));
        TIFFSetField(tif, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
    }
    const int planes = l.separate ? l.spp : 1, per = l.separate ? 1 : l.spp;
    if (l.tiled) {
        TIFFSetField(tif, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(tif, TIFFTAG_TILELENGTH, 16);
        for (int p = 0; p < planes; ++p)
            for (std::uint32_t ty = 0; ty < kH; ty += 16)
                for (std::uint32_t tx = 0; tx < kW; tx += 16) {
                    std::vector<std::uint8_t> tile;
                    for (std::uint32_t y = ty; y < ty + 16; ++y) {
                        std::vector<unsigned> row;
                        for (std::uint32_t x = tx; x < tx + 16; ++x)
                            for (int s = 0; s < per; ++s)
                                row.push_back(x < kW && y < kH
                                                  ? Stored(x, y, l.separate ? p : s, l.bits)
                                                  : 0);
                        const auto packed = Pack(row, l.bits);
                        tile.insert(tile.end(), packed.begin(), packed.end());
                    }
                    EXPECT_GE(
                        TIFFWriteTile(tif, tile.data(), tx, ty, 0, static_cast<std::uint16_t>(p)),
                        0);
                }
    } else {
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 5);
        for (int p = 0; p < planes; ++p)
            for (std::uint32_t y = 0; y < kH; ++y) {
                std::vector<unsigned> row;
                for (std::uint32_t x = 0; x < kW; ++x)
                    for (int s = 0; s < per; ++s)
                        row.push_back(Stored(x, y, l.separate ? p : s, l.bits));
                auto packed = Pack(row, l.bits);
                EXPECT_GE(TIFFWriteScanline(tif, packed.data(), y, static_cast<std::uint16_t>(p)),
                          0);
            }
    }
    TIFFClose(tif);
    return platform_test::ReadAll(path);
}

// Where stored pixel (x, y) shows, top-down: orientations 5 to 8 transpose
// first; then 2, 3, 6, 7 mirror left to right and 3, 4, 7, 8 top to bottom.
void Shown(int orientation, std::uint32_t x, std::uint32_t y, std::uint32_t& dx,
           std::uint32_t& dy) {
    const bool turn = orientation >= 5;
    const std::uint32_t w = turn ? kH : kW, h = turn ? kW : kH;
    dx = turn ? y : x;
    dy = turn ? x : y;
    if (orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7)
        dx = w - 1 - dx;
    if (orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8)
        dy = h - 1 - dy;
}

BYTE To8(unsigned v, int bits) {
    const unsigned max = (1u << bits) - 1;
    return static_cast<BYTE>((v * 255 + max / 2) / max);
}

// Decodes and checks the size, then calls `check(image, x, y, dx, dyFromBottom)`
// for every stored pixel.
void Decode(
    const Layout& l, int bpp,
    const std::function<void(const CxImage&, std::uint32_t, std::uint32_t, long, long)>& check) {
    platform_test::TempDir dir;
    const std::vector<BYTE> bytes = Write(l, dir);
    CxImage image;
    ASSERT_TRUE(image.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_TIF));
    const bool turn = l.orientation >= 5;
    ASSERT_EQ(image.GetWidth(), turn ? kH : kW);
    ASSERT_EQ(image.GetHeight(), turn ? kW : kH);
    ASSERT_EQ(image.GetBpp(), bpp);
    for (std::uint32_t y = 0; y < kH; ++y)
        for (std::uint32_t x = 0; x < kW; ++x) {
            std::uint32_t dx, dy;
            Shown(l.orientation, x, y, dx, dy);
            check(image, x, y, static_cast<long>(dx),
                  static_cast<long>(image.GetHeight() - 1 - dy));
            if (::testing::Test::HasFailure()) {
                ADD_FAILURE() << "at stored pixel " << x << "," << y;
                return;
            }
        }
}

TEST(TiffLayout, PaletteAndGreyPagesStayPaletteImagesInEveryLayout) {
    for (int photometric : {PHOTOMETRIC_PALETTE, PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
        for (int bits : {1, 2, 4, 8})
            for (bool tiled : {false, true})
                for (int orientation = 1; orientation <= 8; ++orientation) {
                    Layout l;
                    l.bits = bits;
                    l.photometric = photometric;
                    l.tiled = tiled;
                    l.orientation = orientation;
                    l.compression = tiled ? COMPRESSION_LZW : COMPRESSION_NONE;
                    SCOPED_TRACE(::testing::Message() << "photometric " << photometric << " bits "
                                                      << bits << (tiled ? " tiles" : " strips")
                                                      << " orientation " << orientation);
                    const int bpp = bits == 1 ? 1 : bits <= 4 ? 4 : 8;
                    Decode(l, bpp,
                           [&](const CxImage& image, std::uint32_t x, std::uint32_t y, long dx,
                               long dy) {
                               const unsigned v = Stored(x, y, 0, bits);
                               ASSERT_EQ(image.GetPixelIndex(dx, dy), v);
                               const RGBQUAD c = image.GetPixelColor(dx, dy);
                               if (photometric == PHOTOMETRIC_PALETTE) {
                                   ASSERT_EQ(c.rgbRed, (v * 3 * 37) % 256);
                                   ASSERT_EQ(c.rgbBlue, (v * 5 * 37) % 256);
                               } else {
                                   const BYTE g = To8(v, bits);
                                   ASSERT_EQ(c.rgbRed,
                                             photometric == PHOTOMETRIC_MINISWHITE ? 255 - g : g);
                                   ASSERT_EQ(c.rgbGreen, c.rgbBlue);
                               }
                           });
                }
}

// 12- and 16-bit samples are reduced to 8 bits by rounding,
// (v x 255 + max / 2) / max, like 16-bit PNG samples.
TEST(TiffLayout, DeepSamplesAreRoundedToEightBits) {
    for (int bits : {12, 16})
        for (int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE})
            for (bool tiled : {false, true}) {
                SCOPED_TRACE(::testing::Message() << bits << " bits, compression " << compression
                                                  << (tiled ? " tiles" : " strips"));
                Layout grey;
                grey.bits = bits;
                grey.tiled = tiled;
                grey.compression = compression;
                grey.orientation = tiled ? ORIENTATION_RIGHTTOP : ORIENTATION_TOPLEFT;
                Decode(
                    grey, 8,
                    [&](const CxImage& image, std::uint32_t x, std::uint32_t y, long dx, long dy) {
                        ASSERT_TRUE(image.IsGrayScale());
                        ASSERT_EQ(image.GetPixelColor(dx, dy).rgbRed,
                                  To8(Stored(x, y, 0, bits), bits));
                    });
                for (bool separate : {false, true}) {
                    Layout rgb = grey;
                    rgb.photometric = PHOTOMETRIC_RGB;
                    rgb.spp = 3;
                    rgb.separate = separate;
                    Decode(rgb, 24,
                           [&](const CxImage& image, std::uint32_t x, std::uint32_t y, long dx,
                               long dy) {
                               const RGBQUAD c = image.GetPixelColor(dx, dy);
                               ASSERT_EQ(c.rgbRed, To8(Stored(x, y, 0, bits), bits));
                               ASSERT_EQ(c.rgbGreen, To8(Stored(x, y, 1, bits), bits));
                               ASSERT_EQ(c.rgbBlue, To8(Stored(x, y, 2, bits), bits));
                           });
                }
            }
}

TEST(TiffLayout, ColourPagesInEveryOrientation) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(::testing::Message() << "orientation " << orientation);
        // RGB with unassociated alpha, in tiles, read as stored.
        Layout rgba;
        rgba.photometric = PHOTOMETRIC_RGB;
        rgba.spp = 4;
        rgba.extra = {EXTRASAMPLE_UNASSALPHA};
        rgba.tiled = true;
        rgba.orientation = orientation;
        Decode(rgba, 24,
               [&](const CxImage& image, std::uint32_t x, std::uint32_t y, long dx, long dy) {
                   ASSERT_TRUE(image.AlphaIsValid());
                   ASSERT_EQ(image.GetPixelColor(dx, dy).rgbGreen, Stored(x, y, 1, 8));
                   ASSERT_EQ(image.GetAlpha(dx, dy), Stored(x, y, 3, 8));
               });
        // CMYK goes through libtiff's RGBA reader; with no black, red is
        // 255 - cyan exactly.
        Layout cmyk;
        cmyk.photometric = PHOTOMETRIC_SEPARATED;
        cmyk.spp = 4;
        cmyk.orientation = orientation;
        Decode(cmyk, 24,
               [&](const CxImage& image, std::uint32_t x, std::uint32_t y, long dx, long dy) {
                   const unsigned black = Stored(x, y, 3, 8);
                   const RGBQUAD c = image.GetPixelColor(dx, dy);
                   ASSERT_EQ(c.rgbRed, (255 - black) * (255 - Stored(x, y, 0, 8)) / 255);
               });
    }
}

}  // namespace
