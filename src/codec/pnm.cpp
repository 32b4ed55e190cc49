// PNM family (our own): PBM, PGM and PPM, ASCII (P1, P2, P3) and binary
// (P4, P5, P6), 1 to 16 bits per sample. PBM becomes a 1-bit image (index 0
// white, 1 black, as in the file); PGM 8-bit grey; PPM 24 bits. Samples are
// scaled to 0..255 as (v x 255 + maxval / 2) / maxval; samples above maxval
// count as maxval. Encoding: 1-bit black-and-white images as P4, grey palette
// images as P5, everything else as P6.
#include <algorithm>
#include <cstring>
#include <string>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {
namespace {

bool IsSpace(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

// Skips white space and comments, then reads a decimal number (at most
// 9 digits for header values).
bool ReadNumber(ByteCursor& in, std::uint32_t& value, bool single = false) {
    for (;;) {
        if (!in.need(1)) return false;
        const std::uint8_t c = in.data()[in.pos()];
        if (IsSpace(c)) {
            in.skip(1);
        } else if (c == '#') {
            while (in.need(1) && in.data()[in.pos()] != '\n' && in.data()[in.pos()] != '\r') in.skip(1);
        } else {
            break;
        }
    }
    value = 0;
    int digits = 0;
    while (in.need(1) && in.data()[in.pos()] >= '0' && in.data()[in.pos()] <= '9') {
        if (digits == 9) return false;
        value = value * 10 + (in.data()[in.pos()] - '0');
        in.skip(1);
        ++digits;
        if (single) break;
    }
    // need() fails at the end of the data; a number at the very end is fine.
    return digits > 0;
}

}  // namespace

bool DecodePnm(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    if (in.u8() != 'P') return false;
    const int kind = in.u8() - '0';
    if (!in.ok() || kind < 1 || kind > 6) return false;
    std::uint32_t w = 0, h = 0, maxval = 1;
    if (!ReadNumber(in, w) || !ReadNumber(in, h)) return false;
    if (kind != 1 && kind != 4 && (!ReadNumber(in, maxval) || maxval < 1 || maxval > 65535))
        return false;
    if (!image.PixelsAllowed(w, h)) return false;
    const bool binary = kind >= 4;
    if (binary) {
        // Exactly one white-space byte ends the header.
        if (!in.need(1) || !IsSpace(in.data()[in.pos()])) return false;
        in.skip(1);
    }
    const int channels = (kind == 3 || kind == 6) ? 3 : 1;
    const int sampleBytes = maxval > 255 ? 2 : 1;
    const std::uint64_t samples = std::uint64_t{w} * h * channels;
    // Refuse before allocating when the data cannot hold the picture.
    const std::uint64_t minBytes = kind == 4 ? std::uint64_t{(w + 7) / 8} * h
                                   : binary  ? samples * sampleBytes
                                             : samples;
    if (in.left() < minBytes) return false;
    const bool bilevel = kind == 1 || kind == 4;
    if (!image.Create(w, h, static_cast<WORD>(bilevel ? 1 : channels == 1 ? 8 : 24), CXIMAGE_FORMAT_PNM))
        return false;
    if (bilevel) {
        RGBQUAD* pal = image.GetPalette();
        pal[0] = RGBQUAD{255, 255, 255, 0};
        pal[1] = RGBQUAD{0, 0, 0, 0};
        for (std::uint32_t y = 0; y < h; ++y) {
            BYTE* row = image.GetBits(h - 1 - y);
            if (kind == 4) {
                if (!in.bytes(row, (w + 7) / 8)) return false;
                if (w % 8) row[w / 8] &= static_cast<BYTE>(0xFF00 >> (w % 8));
            } else {
                for (std::uint32_t x = 0; x < w; ++x) {
                    std::uint32_t v = 0;
                    if (!ReadNumber(in, v, true) || v > 1) return false;
                    if (v) row[x / 8] |= static_cast<BYTE>(0x80 >> (x % 8));
                }
            }
        }
        return true;
    }
    for (std::uint32_t y = 0; y < h; ++y) {
        BYTE* row = image.GetBits(h - 1 - y);
        for (std::uint32_t x = 0; x < w; ++x) {
            BYTE v8[3];
            for (int c = 0; c < channels; ++c) {
                std::uint32_t v = 0;
                if (binary) {
                    v = sampleBytes == 2 ? in.u16be() : in.u8();
                    if (!in.ok()) return false;
                } else if (!ReadNumber(in, v)) {
                    return false;
                }
                v = std::min(v, maxval);
                v8[c] = static_cast<BYTE>((v * 255 + maxval / 2) / maxval);
            }
            if (channels == 1) {
                row[x] = v8[0];
            } else {
                row[3 * x] = v8[2];
                row[3 * x + 1] = v8[1];
                row[3 * x + 2] = v8[0];
            }
        }
    }
    return true;
}

bool EncodePnm(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    const RGBQUAD* pal = image.GetPalette();
    auto isColour = [](const RGBQUAD& c, int v) {
        return c.rgbRed == v && c.rgbGreen == v && c.rgbBlue == v;
    };
    const bool bilevel = image.GetBpp() == 1 &&
                         ((isColour(pal[0], 0) && isColour(pal[1], 255)) ||
                          (isColour(pal[0], 255) && isColour(pal[1], 0)));
    const bool grey = !bilevel && image.GetBpp() <= 8 && image.IsGrayScale();
    const std::string header = std::string(bilevel ? "P4" : grey ? "P5" : "P6") + "\n" +
                               std::to_string(w) + " " + std::to_string(h) + "\n" +
                               (bilevel ? "" : "255\n");
    out.assign(header.begin(), header.end());
    for (DWORD y = 0; y < h; ++y) {
        const DWORD sy = h - 1 - y;
        if (bilevel) {
            // PBM: 1 is black.
            const bool invert = isColour(pal[0], 0);
            const BYTE* row = image.GetBits(sy);
            for (DWORD i = 0; i < (w + 7) / 8; ++i) {
                BYTE b = invert ? static_cast<BYTE>(~row[i]) : row[i];
                if (i == w / 8 && w % 8) b &= static_cast<BYTE>(0xFF00 >> (w % 8));
                out.push_back(b);
            }
            continue;
        }
        for (DWORD x = 0; x < w; ++x) {
            const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(sy));
            if (grey) {
                out.push_back(c.rgbRed);
            } else {
                out.push_back(c.rgbRed);
                out.push_back(c.rgbGreen);
                out.push_back(c.rgbBlue);
            }
        }
    }
    return true;
}

}  // namespace vellum::codec
