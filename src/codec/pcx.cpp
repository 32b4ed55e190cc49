// PCX (our own): 1 bit in 1 plane (black and white), 1 bit in 2 to 4 planes
// (EGA, header palette), 2 or 4 bits in 1 plane (header palette), 8 bits in
// 1 plane (the 256-entry palette after the data, marked 0x0C, or grey without
// one) and 8 bits in 3 or 4 planes (24 bits; a fourth plane is alpha).
// Run-length coded scan lines (count bytes 0xC0 | n), runs may cross planes
// within a line. Encoding: 1-bit images in 1 plane, 4-bit images in 4 planes
// with the header palette, 8-bit images with the trailing palette, 24-bit
// images in 3 planes.
#include <algorithm>
#include <cstring>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {

bool DecodePcx(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    const int maker = in.u8(), version = in.u8(), encoding = in.u8(), bits = in.u8();
    const int xmin = in.u16le(), ymin = in.u16le(), xmax = in.u16le(), ymax = in.u16le();
    in.skip(4);
    std::uint8_t headerPal[48];
    in.bytes(headerPal, 48);
    in.skip(1);
    const int planes = in.u8();
    const std::uint32_t bytesPerLine = in.u16le();
    if (!in.ok() || !in.seek(128)) return false;
    (void)version;
    if (maker != 10 || encoding > 1) return false;
    if (xmax < xmin || ymax < ymin) return false;
    const std::uint32_t w = static_cast<std::uint32_t>(xmax - xmin + 1), h = static_cast<std::uint32_t>(ymax - ymin + 1);
    if (!image.PixelsAllowed(w, h)) return false;
    const bool planar1 = bits == 1 && planes >= 1 && planes <= 4;
    const bool packed = (bits == 2 || bits == 4 || bits == 8) && planes == 1;
    const bool rgb = bits == 8 && (planes == 3 || planes == 4);
    if (!planar1 && !packed && !rgb) return false;
    if (std::uint64_t{bytesPerLine} * 8 < std::uint64_t{w} * bits || bytesPerLine == 0) return false;
    const std::size_t lineBytes = std::size_t{bytesPerLine} * planes;
    // Each compressed byte pair yields at most 63 bytes.
    if (in.left() < (encoding ? std::uint64_t{lineBytes} * h / 63 : std::uint64_t{lineBytes} * h))
        return false;
    const WORD bpp = rgb ? 24 : (planar1 && planes == 1) ? 1 : (bits * planes <= 4 ? 4 : 8);
    if (!image.Create(w, h, bpp, CXIMAGE_FORMAT_PCX)) return false;
    if (planes == 4 && rgb && !image.AlphaCreate()) return false;
    RGBQUAD* pal = image.GetPalette();
    if (bpp == 4) {
        for (int i = 0; i < 16; ++i)
            pal[i] = RGBQUAD{headerPal[3 * i + 2], headerPal[3 * i + 1], headerPal[3 * i], 0};
    }
    std::vector<std::uint8_t> line(lineBytes);
    for (std::uint32_t y = 0; y < h; ++y) {
        std::size_t filled = 0;
        while (filled < lineBytes) {
            std::uint8_t b = in.u8();
            std::size_t count = 1;
            if (encoding && (b & 0xC0) == 0xC0) {
                count = b & 0x3F;
                b = in.u8();
            }
            if (!in.ok()) return false;
            // A run past the end of the line is cut there.
            count = std::min(count, lineBytes - filled);
            std::memset(line.data() + filled, b, count);
            filled += count;
        }
        const DWORD dy = h - 1 - y;
        BYTE* row = image.GetBits(dy);
        for (std::uint32_t x = 0; x < w; ++x) {
            if (rgb) {
                row[3 * x] = line[2 * bytesPerLine + x];
                row[3 * x + 1] = line[bytesPerLine + x];
                row[3 * x + 2] = line[x];
                if (planes == 4) image.AlphaGetPointer()[std::size_t{dy} * w + x] = line[3 * bytesPerLine + x];
            } else if (planar1) {
                int index = 0;
                for (int p = 0; p < planes; ++p)
                    index |= ((line[p * bytesPerLine + x / 8] >> (7 - x % 8)) & 1) << p;
                image.SetPixelIndex(static_cast<long>(x), static_cast<long>(dy), static_cast<BYTE>(index));
            } else {
                const int perByte = 8 / bits;
                const int shift = 8 - bits * (1 + static_cast<int>(x % perByte));
                const int index = (line[x / perByte] >> shift) & ((1 << bits) - 1);
                image.SetPixelIndex(static_cast<long>(x), static_cast<long>(dy), static_cast<BYTE>(index));
            }
        }
    }
    if (bpp == 8) {
        // The trailing palette: 0x0C then 768 bytes at the end of the file.
        if (size >= 769 + 128 && data[size - 769] == 0x0C) {
            const std::uint8_t* p = data + size - 768;
            for (int i = 0; i < 256; ++i) pal[i] = RGBQUAD{p[3 * i + 2], p[3 * i + 1], p[3 * i], 0};
        } else {
            image.SetGrayPalette();
        }
    }
    return true;
}

namespace {

void PutRle(Bytes& out, const std::uint8_t* line, std::size_t n) {
    std::size_t i = 0;
    while (i < n) {
        std::size_t run = 1;
        while (i + run < n && run < 63 && line[i + run] == line[i]) ++run;
        if (run > 1 || (line[i] & 0xC0) == 0xC0) out.push_back(static_cast<std::uint8_t>(0xC0 | run));
        out.push_back(line[i]);
        i += run;
    }
}

void Put16(Bytes& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v & 255));
    out.push_back(static_cast<std::uint8_t>(v >> 8 & 255));
}

}  // namespace

bool EncodePcx(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    if (w > 65535 || h > 65535) return false;
    const WORD bpp = image.GetBpp();
    const int bits = bpp == 1 || bpp == 4 ? 1 : 8;
    const int planes = bpp == 4 ? 4 : bpp == 24 ? 3 : 1;
    std::uint32_t bytesPerLine = (w * bits + 7) / 8;
    bytesPerLine += bytesPerLine & 1;
    out.assign({10, 5, 1, static_cast<std::uint8_t>(bits)});
    Put16(out, 0);
    Put16(out, 0);
    Put16(out, w - 1);
    Put16(out, h - 1);
    Put16(out, 72);
    Put16(out, 72);
    std::uint8_t pal16[48] = {};
    const RGBQUAD* pal = image.GetPalette();
    for (int i = 0; pal && i < 16 && i < static_cast<int>(image.GetPaletteSize()); ++i) {
        pal16[3 * i] = pal[i].rgbRed;
        pal16[3 * i + 1] = pal[i].rgbGreen;
        pal16[3 * i + 2] = pal[i].rgbBlue;
    }
    out.insert(out.end(), pal16, pal16 + 48);
    out.push_back(0);
    out.push_back(static_cast<std::uint8_t>(planes));
    Put16(out, bytesPerLine);
    Put16(out, 1);
    out.resize(128, 0);
    std::vector<std::uint8_t> line(std::size_t{bytesPerLine} * planes);
    for (DWORD y = 0; y < h; ++y) {
        const DWORD sy = h - 1 - y;
        std::fill(line.begin(), line.end(), 0);
        const BYTE* row = image.GetBits(sy);
        if (bpp == 24) {
            for (DWORD x = 0; x < w; ++x) {
                line[x] = row[3 * x + 2];
                line[bytesPerLine + x] = row[3 * x + 1];
                line[2 * bytesPerLine + x] = row[3 * x];
            }
        } else if (bpp == 4) {
            for (DWORD x = 0; x < w; ++x) {
                const int index = image.GetPixelIndex(static_cast<long>(x), static_cast<long>(sy));
                for (int p = 0; p < 4; ++p)
                    if (index >> p & 1) line[p * bytesPerLine + x / 8] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
            }
        } else {
            std::memcpy(line.data(), row, (w * bits + 7) / 8);
        }
        PutRle(out, line.data(), line.size());
    }
    if (bpp == 1) {
        // Black and white as the table says: header palette entries 0 and 1.
    } else if (bpp == 8) {
        out.push_back(0x0C);
        for (int i = 0; i < 256; ++i) out.insert(out.end(), {pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue});
    }
    return true;
}

}  // namespace vellum::codec
