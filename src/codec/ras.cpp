// Sun raster (our own): old (0), standard (1), run-length (2) and RGB (3)
// files of 1, 8, 24 or 32 bits, with or without an RGB colour map, rows
// padded to 16 bits. 1-bit files without a map have 0 white and 1 black;
// 8-bit files without a map are grey. Standard files store blue, green, red
// (32 bits: a pad byte first), RGB files red, green, blue. Run-length:
// 0x80 0 is one 0x80 byte, 0x80 n v is n + 1 bytes v. Encoding writes
// standard files: 1-bit and 8-bit images with their map, 24-bit images BGR.
#include <algorithm>
#include <cstring>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {

bool DecodeRas(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    if (in.u32be() != 0x59A66A95u) return false;
    const std::uint32_t w = in.u32be(), h = in.u32be(), depth = in.u32be();
    in.u32be();  // length: often 0, not trusted
    const std::uint32_t type = in.u32be(), mapType = in.u32be(), mapLength = in.u32be();
    if (!in.ok() || type > 3 || mapType > 1) return false;
    if (depth != 1 && depth != 8 && depth != 24 && depth != 32) return false;
    if (!image.PixelsAllowed(w, h)) return false;
    std::vector<RGBQUAD> map;
    if (mapType == 1 && mapLength > 0) {
        if (mapLength % 3 || mapLength > 768) return false;
        const std::uint32_t n = mapLength / 3;
        const std::uint8_t* p = in.take(mapLength);
        if (!p) return false;
        for (std::uint32_t i = 0; i < n; ++i) map.push_back(RGBQUAD{p[2 * n + i], p[n + i], p[i], 0});
    } else if (!in.skip(mapLength)) {
        return false;
    }
    const std::size_t rowBytes = ((std::size_t{w} * depth + 15) / 16) * 2;
    const std::uint64_t total = std::uint64_t{rowBytes} * h;
    // Run-length data shrinks at most 255 / 3 times.
    if (in.left() < (type == 2 ? total / 85 : total)) return false;
    // Expand the pixel data first (bounded by `total`).
    std::vector<std::uint8_t> raw;
    if (type == 2) {
        raw.reserve(static_cast<std::size_t>(total));
        while (raw.size() < total) {
            const std::uint8_t b = in.u8();
            if (!in.ok()) return false;
            if (b != 0x80) {
                raw.push_back(b);
                continue;
            }
            const std::uint8_t n = in.u8();
            if (!in.ok()) return false;
            if (n == 0) {
                raw.push_back(0x80);
                continue;
            }
            const std::uint8_t v = in.u8();
            if (!in.ok()) return false;
            const std::size_t count = std::min<std::uint64_t>(std::uint64_t{n} + 1, total - raw.size());
            raw.insert(raw.end(), count, v);
        }
    } else {
        const std::uint8_t* p = in.take(static_cast<std::size_t>(total));
        if (!p) return false;
        raw.assign(p, p + total);
    }
    const bool indexed = depth <= 8;
    if (!image.Create(w, h, static_cast<WORD>(indexed ? depth : 24), CXIMAGE_FORMAT_RAS)) return false;
    if (indexed) {
        RGBQUAD* pal = image.GetPalette();
        if (!map.empty()) {
            std::memset(pal, 0, 4 * image.GetPaletteSize());
            std::copy_n(map.begin(), std::min<std::size_t>(map.size(), image.GetPaletteSize()), pal);
        } else if (depth == 1) {
            pal[0] = RGBQUAD{255, 255, 255, 0};
            pal[1] = RGBQUAD{0, 0, 0, 0};
        }
    }
    const bool rgbOrder = type == 3;
    for (std::uint32_t y = 0; y < h; ++y) {
        const std::uint8_t* src = raw.data() + std::size_t{y} * rowBytes;
        BYTE* row = image.GetBits(h - 1 - y);
        if (indexed) {
            std::memcpy(row, src, (std::size_t{w} * depth + 7) / 8);
            continue;
        }
        const int step = depth == 32 ? 4 : 3;
        for (std::uint32_t x = 0; x < w; ++x) {
            const std::uint8_t* p = src + std::size_t{x} * step + (depth == 32 ? 1 : 0);
            row[3 * x] = rgbOrder ? p[2] : p[0];
            row[3 * x + 1] = p[1];
            row[3 * x + 2] = rgbOrder ? p[0] : p[2];
        }
    }
    return true;
}

namespace {
void Put32(Bytes& out, std::uint32_t v) {
    for (int i = 3; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
}  // namespace

bool EncodeRas(const CxImage& source, Bytes& out) {
    CxImage image(source);
    if (image.GetBpp() == 4 && !image.IncreaseBpp(8)) return false;
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    const WORD depth = image.GetBpp();
    const std::size_t rowBytes = ((std::size_t{w} * depth + 15) / 16) * 2;
    const std::uint32_t colours = depth <= 8 ? 1u << depth : 0;
    out.clear();
    Put32(out, 0x59A66A95u);
    Put32(out, w);
    Put32(out, h);
    Put32(out, depth);
    Put32(out, static_cast<std::uint32_t>(rowBytes * h));
    Put32(out, 1);
    Put32(out, colours ? 1 : 0);
    Put32(out, colours * 3);
    const RGBQUAD* pal = image.GetPalette();
    for (std::uint32_t i = 0; i < colours; ++i) out.push_back(pal[i].rgbRed);
    for (std::uint32_t i = 0; i < colours; ++i) out.push_back(pal[i].rgbGreen);
    for (std::uint32_t i = 0; i < colours; ++i) out.push_back(pal[i].rgbBlue);
    std::vector<std::uint8_t> line(rowBytes);
    for (DWORD y = 0; y < h; ++y) {
        std::fill(line.begin(), line.end(), 0);
        const BYTE* row = image.GetBits(h - 1 - y);
        std::memcpy(line.data(), row, std::min<std::size_t>(rowBytes, (std::size_t{w} * depth + 7) / 8));
        out.insert(out.end(), line.begin(), line.end());
    }
    return true;
}

}  // namespace vellum::codec
