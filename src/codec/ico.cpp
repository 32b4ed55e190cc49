// ICO and CUR (our own): the largest entry of the directory (by pixel count,
// then depth), either an embedded PNG or a BMP-style entry: a 40-byte header
// of doubled height, the table, the XOR bitmap (1, 4, 8, 24 or 32 bits) and
// the 1-bit AND mask. Palette entries stay palette images; 32-bit entries
// become 24 bits with their alpha as the alpha plane (when every alpha byte
// is 0 the AND mask is used instead); otherwise a set AND-mask bit makes the
// pixel transparent: when the masked pixels of a palette entry all share one
// index that no unmasked pixel uses, that index becomes the transparent
// index; otherwise an alpha plane (0 there, 255 elsewhere). A mask with no
// bit set gives neither. PNG entries are read at any size within the pixel
// limit; their directory size bytes say 0 (256) from 256 up, so the size in
// their PNG header is what counts in choosing the entry.
//
// Encoding writes one entry. Up to 256 x 256 it is BMP-style: palette images
// at their depth with a transparent index turned into the AND mask, 24-bit
// images at 24 bits, images with an alpha plane at 32 bits (AND mask set
// where alpha < 128). Larger images are written as a PNG entry, as the PNG
// encoder writes them, with directory size bytes of 0 for sides of 256 or
// more.
#include <algorithm>
#include <cstring>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {

bool DecodeIco(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    const int reserved = in.u16le(), kind = in.u16le(), count = in.u16le();
    if (!in.ok() || reserved != 0 || (kind != 1 && kind != 2) || count < 1) return false;
    std::uint32_t bestOffset = 0, bestSize = 0;
    std::uint64_t bestArea = 0;
    int bestBits = -1;
    for (int i = 0; i < count; ++i) {
        const std::uint32_t w = in.u8(), h = in.u8();
        in.skip(4);
        const int bits = in.u16le();
        const std::uint32_t bytes = in.u32le(), offset = in.u32le();
        if (!in.ok()) return false;
        std::uint64_t area = std::uint64_t{w ? w : 256} * (h ? h : 256);
        // A PNG entry's directory bytes say 0 (256) for anything from 256
        // up; its real size is in its header.
        if (offset < size && size - offset >= 24 &&
            std::memcmp(data + offset, "\x89PNG\r\n\x1a\n", 8) == 0) {
            ByteCursor png(data + offset + 16, 8);
            area = std::uint64_t{png.u32be()} * png.u32be();
        }
        if (area > bestArea || (area == bestArea && bits > bestBits)) {
            bestArea = area;
            bestBits = bits;
            bestOffset = offset;
            bestSize = bytes;
        }
    }
    if (bestOffset >= size) return false;
    const std::size_t available = std::min<std::size_t>(bestSize, size - bestOffset);
    const std::uint8_t* entry = data + bestOffset;
    if (available >= 8 && std::memcmp(entry, "\x89PNG\r\n\x1a\n", 8) == 0) {
        if (!DecodePng(image, entry, available)) return false;
        return true;
    }
    ByteCursor e(entry, available);
    const std::uint32_t headerSize = e.u32le();
    const std::int32_t w = static_cast<std::int32_t>(e.u32le());
    const std::int32_t h2 = static_cast<std::int32_t>(e.u32le());
    e.u16le();
    const int bits = e.u16le();
    const std::uint32_t compression = e.u32le();
    e.skip(12);
    const std::uint32_t clrUsed = e.u32le();
    if (!e.ok() || headerSize < 40 || compression != 0 || w < 1 || h2 < 2) return false;
    const std::int32_t h = h2 / 2;
    if (!image.PixelsAllowed(w, h) || w > 1024 || h > 1024) return false;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return false;
    if (!e.seek(headerSize)) return false;
    const std::uint32_t colours = bits <= 8 ? (clrUsed && clrUsed < (1u << bits) ? clrUsed : 1u << bits) : 0;
    const std::uint8_t* table = e.take(std::size_t{colours} * 4);
    if (!table && colours) return false;
    const std::size_t xorStride = ((std::size_t(w) * bits + 31) / 32) * 4;
    const std::size_t andStride = ((std::size_t(w) + 31) / 32) * 4;
    const std::uint8_t* xorBits = e.take(xorStride * h);
    if (!xorBits) return false;
    // Some writers leave the AND mask out of 32-bit entries.
    const std::uint8_t* andBits = e.take(andStride * h);
    const WORD bpp = static_cast<WORD>(bits == 32 ? 24 : bits);
    if (!image.Create(static_cast<DWORD>(w), static_cast<DWORD>(h), bpp, CXIMAGE_FORMAT_ICO)) return false;
    if (colours) {
        RGBQUAD* pal = image.GetPalette();
        std::memset(pal, 0, 4 * image.GetPaletteSize());
        for (std::uint32_t i = 0; i < colours; ++i)
            pal[i] = RGBQUAD{table[4 * i], table[4 * i + 1], table[4 * i + 2], 0};
    }
    bool anyAlpha = false;
    for (std::int32_t y = 0; y < h; ++y) {
        const std::uint8_t* src = xorBits + y * xorStride;
        BYTE* dst = image.GetBits(static_cast<DWORD>(y));
        if (bits == 32) {
            for (std::int32_t x = 0; x < w; ++x) {
                std::memcpy(dst + 3 * x, src + 4 * x, 3);
                if (src[4 * x + 3]) anyAlpha = true;
            }
        } else {
            std::memcpy(dst, src, std::min<std::size_t>(xorStride, image.GetEffWidth()));
        }
    }
    if (bits == 32 && anyAlpha) {
        if (!image.AlphaCreate()) return false;
        BYTE* alpha = image.AlphaGetPointer();
        for (std::int32_t y = 0; y < h; ++y)
            for (std::int32_t x = 0; x < w; ++x)
                alpha[std::size_t(y) * w + x] = xorBits[y * xorStride + 4 * x + 3];
        return true;
    }
    if (!andBits) return true;
    bool anyMasked = false;
    for (std::int32_t y = 0; y < h && !anyMasked; ++y)
        for (std::int32_t x = 0; x < w; ++x)
            if (andBits[y * andStride + x / 8] >> (7 - x % 8) & 1) {
                anyMasked = true;
                break;
            }
    if (!anyMasked) return true;
    if (bits <= 8) {
        // Masked pixels that all share one index used nowhere else: that
        // index is the transparent one.
        int shared = -1;
        bool exclusive = true;
        std::vector<int> state(256, 0);  // 1 masked, 2 unmasked
        for (std::int32_t y = 0; y < h && exclusive; ++y)
            for (std::int32_t x = 0; x < w; ++x) {
                const int index = image.GetPixelIndex(x, y);
                const bool masked = andBits[y * andStride + x / 8] >> (7 - x % 8) & 1;
                state[index] |= masked ? 1 : 2;
                if (masked && shared < 0) shared = index;
                if ((masked && index != shared) || state[index] == 3) {
                    exclusive = false;
                    break;
                }
            }
        if (exclusive && shared >= 0) {
            image.SetTransIndex(shared);
            return true;
        }
    }
    if (!image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    for (std::int32_t y = 0; y < h; ++y)
        for (std::int32_t x = 0; x < w; ++x)
            if (andBits[y * andStride + x / 8] >> (7 - x % 8) & 1) alpha[std::size_t(y) * w + x] = 0;
    return true;
}

namespace {
void Put16(Bytes& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v & 255));
    out.push_back(static_cast<std::uint8_t>(v >> 8 & 255));
}
void Put32(Bytes& out, std::uint32_t v) {
    Put16(out, v & 0xFFFF);
    Put16(out, v >> 16);
}
}  // namespace

bool EncodeIco(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    if (w > 256 || h > 256) {
        // Too large for a bitmap entry: one PNG entry, directory size bytes
        // 0 (256 or more).
        Bytes png;
        if (!EncodePng(image, png) || png.size() > 0xFFFFFFFFu - 22) return false;
        out.clear();
        Put16(out, 0);
        Put16(out, 1);
        Put16(out, 1);
        out.push_back(static_cast<std::uint8_t>(w < 256 ? w : 0));
        out.push_back(static_cast<std::uint8_t>(h < 256 ? h : 0));
        out.push_back(0);
        out.push_back(0);
        Put16(out, 1);
        Put16(out, image.AlphaIsValid() ? 32 : image.GetBpp());
        Put32(out, static_cast<std::uint32_t>(png.size()));
        Put32(out, 22);
        out.insert(out.end(), png.begin(), png.end());
        return true;
    }
    const bool alpha = image.AlphaIsValid();
    const WORD bits = alpha ? 32 : image.GetBpp();
    const std::uint32_t colours = bits <= 8 ? 1u << bits : 0;
    const std::size_t xorStride = ((std::size_t{w} * bits + 31) / 32) * 4;
    const std::size_t andStride = ((std::size_t{w} + 31) / 32) * 4;
    const std::uint32_t bytes = static_cast<std::uint32_t>(40 + 4 * colours + (xorStride + andStride) * h);
    out.clear();
    Put16(out, 0);
    Put16(out, 1);
    Put16(out, 1);
    out.push_back(static_cast<std::uint8_t>(w & 255));
    out.push_back(static_cast<std::uint8_t>(h & 255));
    out.push_back(static_cast<std::uint8_t>(colours < 256 ? colours : 0));
    out.push_back(0);
    Put16(out, 1);
    Put16(out, bits);
    Put32(out, bytes);
    Put32(out, 22);
    Put32(out, 40);
    Put32(out, w);
    Put32(out, 2 * h);
    Put16(out, 1);
    Put16(out, bits);
    for (int i = 0; i < 6; ++i) Put32(out, 0);
    const RGBQUAD* pal = image.GetPalette();
    for (std::uint32_t i = 0; i < colours; ++i) out.insert(out.end(), {pal[i].rgbBlue, pal[i].rgbGreen, pal[i].rgbRed, 0});
    const BYTE* plane = image.AlphaGetPointer();
    for (DWORD y = 0; y < h; ++y) {
        if (bits == 32) {
            const BYTE* row = image.GetBits(y);
            for (DWORD x = 0; x < w; ++x) {
                RGBQUAD c{};
                if (image.GetBpp() == 24) c = RGBQUAD{row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
                else c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(y));
                out.insert(out.end(), {c.rgbBlue, c.rgbGreen, c.rgbRed, plane[std::size_t{y} * w + x]});
            }
        } else {
            const BYTE* row = image.GetBits(y);
            out.insert(out.end(), row, row + xorStride);
        }
    }
    const long trans = image.GetTransIndex();
    for (DWORD y = 0; y < h; ++y) {
        std::vector<std::uint8_t> mask(andStride, 0);
        for (DWORD x = 0; x < w; ++x) {
            bool masked = false;
            if (plane) masked = plane[std::size_t{y} * w + x] < 128;
            else if (trans >= 0 && bits <= 8) masked = image.GetPixelIndex(static_cast<long>(x), static_cast<long>(y)) == trans;
            if (masked) mask[x / 8] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
        }
        out.insert(out.end(), mask.begin(), mask.end());
    }
    return true;
}

}  // namespace vellum::codec
