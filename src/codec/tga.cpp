// TGA (our own): colour-mapped (1, 9), true-colour (2, 10) and grey (3, 11)
// images, uncompressed or run-length, 8, 15, 16, 24 and 32 bits per pixel,
// any origin (bottom-left, top-left, and right-to-left columns).
// Colour-mapped images with at most 256 entries become 8-bit palette images
// (indices counted from the map's first entry); grey images 8-bit grey;
// everything else 24 bits. 32-bit pixels, and 16-bit pixels when the
// descriptor declares one alpha bit, give an alpha plane. A 32-bit colour map
// whose alpha makes exactly one entry transparent (0) and the rest opaque
// gives the transparent index; other map alpha gives an alpha plane.
// Encoding: palette images as type 1 (a 32-bit map when there is a
// transparent index, else 24-bit), 24-bit images as type 2, with an alpha
// plane as 32 bits; uncompressed, bottom-left origin.
#include <algorithm>
#include <cstring>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {
namespace {

BYTE Five(int v) { return static_cast<BYTE>((v << 3) | (v >> 2)); }

struct Colour {
    BYTE b, g, r, a;
};

Colour ReadColour(const std::uint8_t* p, int bits) {
    switch (bits) {
        case 15:
        case 16: {
            const int v = p[0] | p[1] << 8;
            return Colour{Five(v & 31), Five(v >> 5 & 31), Five(v >> 10 & 31),
                          static_cast<BYTE>((v & 0x8000) ? 255 : 0)};
        }
        case 24:
            return Colour{p[0], p[1], p[2], 255};
        case 32:
            return Colour{p[0], p[1], p[2], p[3]};
        default:
            return Colour{p[0], p[0], p[0], 255};
    }
}

}  // namespace

bool DecodeTga(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    const int idLength = in.u8();
    const int mapType = in.u8();
    const int imageType = in.u8();
    const int mapFirst = in.u16le();
    const int mapLength = in.u16le();
    const int mapBits = in.u8();
    in.skip(4);  // origin
    const std::uint32_t w = in.u16le(), h = in.u16le();
    const int bits = in.u8();
    const int descriptor = in.u8();
    if (!in.ok()) return false;
    const int base = imageType & 7;
    const bool rle = imageType & 8;
    if ((imageType & ~11) != 0 || base < 1 || base > 3 || mapType > 1) return false;
    if (!image.PixelsAllowed(w, h)) return false;
    if (base == 1 && (mapType != 1 || (bits != 8 && bits != 16))) return false;
    if (base == 2 && bits != 15 && bits != 16 && bits != 24 && bits != 32) return false;
    if (base == 3 && bits != 8 && bits != 16) return false;
    if (mapType == 1 && mapBits != 15 && mapBits != 16 && mapBits != 24 && mapBits != 32) return false;
    in.skip(static_cast<std::size_t>(idLength));
    std::vector<Colour> map;
    if (mapType == 1) {
        const int mapBytes = (mapBits + 7) / 8;
        const std::uint8_t* p = in.take(static_cast<std::size_t>(mapLength) * mapBytes);
        if (!p) return false;
        for (int i = 0; i < mapLength; ++i) map.push_back(ReadColour(p + i * mapBytes, mapBits));
    }
    const int pixelBytes = (bits + 7) / 8;
    const std::uint64_t pixels = std::uint64_t{w} * h;
    // Each RLE packet of one header byte and one pixel yields at most 128 pixels.
    const std::uint64_t minBytes = rle ? (pixels + 127) / 128 * (1 + pixelBytes) : pixels * pixelBytes;
    if (in.left() < minBytes) return false;
    const bool palette = base == 1 && mapLength <= 256 && bits == 8;
    const bool grey = base == 3 && bits == 8;
    if (!image.Create(w, h, static_cast<WORD>(palette || grey ? 8 : 24), CXIMAGE_FORMAT_TGA))
        return false;
    const bool alphaBits = (descriptor & 15) > 0;
    bool wantAlpha = (base == 2 && (bits == 32 || (bits == 16 && alphaBits))) ||
                     (base == 3 && bits == 16);
    if (palette) {
        RGBQUAD* pal = image.GetPalette();
        std::memset(pal, 0, 4 * 256);
        int zero = -1, partial = 0;
        for (int i = 0; i < 256; ++i) {
            const int m = i - 0;
            if (m >= static_cast<int>(map.size())) break;
            pal[i] = RGBQUAD{map[m].b, map[m].g, map[m].r, 0};
            if (mapBits == 32) {
                if (map[m].a == 0 && zero < 0) zero = i;
                else if (map[m].a != 255) ++partial;
            }
        }
        if (mapBits == 32 && zero >= 0 && partial == 0) image.SetTransIndex(zero);
        else if (mapBits == 32 && (zero >= 0 || partial > 0)) wantAlpha = true;
    }
    if (wantAlpha && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    const bool topDown = descriptor & 0x20;
    const bool rightToLeft = descriptor & 0x10;
    std::uint64_t index = 0;
    int runLeft = 0;
    bool runRepeat = false;
    const std::uint8_t* runPixel = nullptr;
    while (index < pixels) {
        const std::uint8_t* p;
        if (rle) {
            if (runLeft == 0) {
                const int header = in.u8();
                runLeft = (header & 0x7F) + 1;
                runRepeat = header & 0x80;
                runPixel = runRepeat ? in.take(static_cast<std::size_t>(pixelBytes)) : nullptr;
            }
            p = runRepeat ? runPixel : in.take(static_cast<std::size_t>(pixelBytes));
            --runLeft;
        } else {
            p = in.take(static_cast<std::size_t>(pixelBytes));
        }
        if (!p || !in.ok()) return false;
        const std::uint32_t fy = static_cast<std::uint32_t>(index / w);
        std::uint32_t x = static_cast<std::uint32_t>(index % w);
        if (rightToLeft) x = w - 1 - x;
        const std::uint32_t y = topDown ? h - 1 - fy : fy;  // stored rows are bottom-up
        BYTE* row = image.GetBits(y);
        Colour c;
        if (base == 1) {
            const int i = (bits == 8 ? p[0] : (p[0] | p[1] << 8)) - mapFirst;
            c = (i >= 0 && i < static_cast<int>(map.size())) ? map[i] : Colour{0, 0, 0, 255};
            if (palette) {
                row[x] = static_cast<BYTE>(std::clamp(i, 0, 255));
                if (alpha) alpha[std::size_t{y} * w + x] = c.a;
                ++index;
                continue;
            }
        } else if (base == 3) {
            c = Colour{p[0], p[0], p[0], bits == 16 ? p[1] : BYTE{255}};
        } else {
            c = ReadColour(p, bits);
        }
        if (grey) row[x] = c.b;
        else {
            row[3 * x] = c.b;
            row[3 * x + 1] = c.g;
            row[3 * x + 2] = c.r;
        }
        if (alpha) alpha[std::size_t{y} * w + x] = c.a;
        ++index;
    }
    return true;
}

bool EncodeTga(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    if (w > 65535 || h > 65535) return false;
    const bool alpha = image.AlphaIsValid();
    const bool palette = image.GetBpp() <= 8 && !alpha;
    const long trans = image.GetTransIndex();
    const bool mapAlpha = palette && trans >= 0 && trans < 256;
    const int bits = palette ? 8 : alpha ? 32 : 24;
    const std::uint8_t header[18] = {
        0, static_cast<std::uint8_t>(palette ? 1 : 0), static_cast<std::uint8_t>(palette ? 1 : 2),
        0, 0,
        static_cast<std::uint8_t>(palette ? 0 : 0), static_cast<std::uint8_t>(palette ? 1 : 0),  // 256 entries
        static_cast<std::uint8_t>(palette ? (mapAlpha ? 32 : 24) : 0),
        0, 0, 0, 0,
        static_cast<std::uint8_t>(w & 255), static_cast<std::uint8_t>(w >> 8),
        static_cast<std::uint8_t>(h & 255), static_cast<std::uint8_t>(h >> 8),
        static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(alpha || mapAlpha ? 8 : 0)};
    out.assign(header, header + 18);
    if (palette) {
        const RGBQUAD* pal = image.GetPalette();
        const int count = static_cast<int>(image.GetPaletteSize());
        for (int i = 0; i < 256; ++i) {
            const RGBQUAD c = i < count ? pal[i] : RGBQUAD{};
            out.insert(out.end(), {c.rgbBlue, c.rgbGreen, c.rgbRed});
            if (mapAlpha) out.push_back(i == trans ? 0 : 255);
        }
    }
    const BYTE* plane = image.AlphaGetPointer();
    for (DWORD y = 0; y < h; ++y) {
        for (DWORD x = 0; x < w; ++x) {
            if (palette) {
                out.push_back(image.GetPixelIndex(static_cast<long>(x), static_cast<long>(y)));
                continue;
            }
            const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(y));
            out.insert(out.end(), {c.rgbBlue, c.rgbGreen, c.rgbRed});
            if (alpha) out.push_back(plane[std::size_t{y} * w + x]);
        }
    }
    return true;
}

}  // namespace vellum::codec
