#include "dib/convert.h"
#include "dib/ddb.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "platform/global_memory.h"

namespace vellum {

void Row16To24(const BYTE* src, BYTE* dst, std::int64_t width) {
    for (std::int64_t x = 0; x < width; ++x) {
        const unsigned word = src[2 * x] | (unsigned{src[2 * x + 1]} << 8);
        dst[3 * x] = static_cast<BYTE>((word & 0x1F) << 3);
        dst[3 * x + 1] = static_cast<BYTE>(((word >> 5) & 0x1F) << 3);
        dst[3 * x + 2] = static_cast<BYTE>(((word >> 10) & 0x1F) << 3);
    }
}

void Row32To24(const BYTE* src, BYTE* dst, std::int64_t width) {
    if (width <= 0) return;
    // Four-byte moves that overlap the next pixel; the last pixel is written
    // byte by byte so nothing lands past the row.
    std::int64_t x = 0;
    for (; x + 1 < width; ++x) std::memcpy(dst + 3 * x, src + 4 * x, 4);
    std::memcpy(dst + 3 * x, src + 4 * x, 3);
}

void RowIndexedTo24(const BYTE* src, BYTE* dst, std::int64_t width, int bits,
                    const RGBQUAD* table) {
    if (width <= 0) return;
    if (bits == 8) {
        std::int64_t x = 0;
        for (; x + 1 < width; ++x) std::memcpy(dst + 3 * x, &table[src[x]], 4);
        std::memcpy(dst + 3 * x, &table[src[x]], 3);
        return;
    }
    for (std::int64_t x = 0; x < width; ++x) {
        const RGBQUAD& c = table[PixelIndex(src, x, bits)];
        dst[3 * x] = c.rgbBlue;
        dst[3 * x + 1] = c.rgbGreen;
        dst[3 * x + 2] = c.rgbRed;
    }
}

void RowsTo24(const BYTE* src, std::int64_t srcStride, BYTE* dst, std::int64_t dstStride,
              std::int64_t width, std::int64_t rows, int depth, const RGBQUAD* table) {
    for (std::int64_t y = 0; y < rows; ++y) {
        const BYTE* s = src + srcStride * y;
        BYTE* d = dst + dstStride * y;
        switch (depth) {
            case 1:
            case 4:
            case 8: RowIndexedTo24(s, d, width, depth, table); break;
            case 16: Row16To24(s, d, width); break;
            case 32: Row32To24(s, d, width); break;
            default: return;
        }
        ZeroRowPadding(d, 3 * width, dstStride);
    }
}

}  // namespace vellum

namespace {

constexpr BYTE kLevels8[8] = {0, 36, 73, 109, 146, 182, 219, 255};
constexpr BYTE kLevels4[4] = {0, 85, 170, 255};

struct FixedPalette {
    BYTE rgb[768];
    constexpr FixedPalette() : rgb{} {
        for (int i = 0; i < 256; ++i) {
            rgb[3 * i] = kLevels8[i >> 5];
            rgb[3 * i + 1] = kLevels8[(i >> 2) & 7];
            rgb[3 * i + 2] = kLevels4[i & 3];
        }
    }
};
constexpr FixedPalette kFixedPalette;

bool plainImage(const BITMAPINFOHEADER& h) {
    return h.biCompression == BI_RGB && h.biWidth >= 1 && h.biHeight >= 1 && h.biPlanes == 1;
}

void writeFixedPalette(BITMAPINFO* info) {
    RGBQUAD* table = VellumColorTable(info);
    for (int i = 0; i < 256; ++i) {
        table[i] = RGBQUAD{kFixedPalette.rgb[3 * i + 2], kFixedPalette.rgb[3 * i + 1],
                           kFixedPalette.rgb[3 * i], 0};
    }
}

// Per-channel tables of the error diffusion. Red and green keep their top
// three bits; blue is rounded to one of four levels. Each table gives the
// channel's share of the index and its error, (value - palette value) >> 2
// (an arithmetic shift).
struct DiffusionTables {
    BYTE redIndex[256], greenIndex[256], blueIndex[256];
    signed char redError[256], greenError[256], blueError[256];
    constexpr DiffusionTables() : redIndex{}, greenIndex{}, blueIndex{}, redError{}, greenError{},
                                  blueError{} {
        for (int v = 0; v < 256; ++v) {
            int level = v / 85;
            if (v % 85 > 43) ++level;
            redIndex[v] = static_cast<BYTE>(v & 0xE0);
            greenIndex[v] = static_cast<BYTE>((v >> 3) & 0x1C);
            blueIndex[v] = static_cast<BYTE>(level);
            redError[v] = static_cast<signed char>((v - kLevels8[v >> 5]) >> 2);
            greenError[v] = static_cast<signed char>((v - kLevels8[v >> 5]) >> 2);
            blueError[v] = static_cast<signed char>((v - kLevels4[level]) >> 2);
        }
    }
};
constexpr DiffusionTables kDiffusion;

// Branch-free (the compiler emits conditional moves); a table lookup here
// would lengthen the pixel-to-pixel dependency chain.
inline BYTE clampByte(std::int32_t v) { return static_cast<BYTE>(v < 0 ? 0 : v > 255 ? 255 : v); }

// The clamp on the pixel-to-pixel path: values rarely leave 0..255, so a
// predicted branch keeps the clamp off the dependency chain that conditional
// moves would lengthen.
inline std::uint32_t clampCarried(std::int32_t v) {
    if (__builtin_expect(static_cast<std::uint32_t>(v) > 255u, 0)) return v < 0 ? 0u : 255u;
    return static_cast<std::uint32_t>(v);
}

// One row of the error diffusion onto the fixed palette. `cur` holds the row
// being converted (its indices are written over its own first bytes, behind
// the pixel being read); `next` is the row below it in the walk. A quarter of
// each error goes down, a half to the right.
//
// The pixel to the right is carried in registers; only the few bytes that end
// up in the output row's padding (bytes width .. stride8 - 1 of `cur`) are
// written back. The downward errors of a row do not depend on each other, so
// they are collected and added to `next` in one vectorisable pass.
void diffuseRow(BYTE* cur, BYTE* next, int width, int stride8, signed char* downErrors) {
    if (width <= 0) return;
    const int padFrom = width;
    const int padTo = std::min(stride8, 3 * width);
    std::uint32_t blue = cur[0], green = cur[1], red = cur[2];
    for (int x = 0; x < width; ++x) {
        const std::int32_t errBlue = kDiffusion.blueError[blue];
        const std::int32_t errGreen = kDiffusion.greenError[green];
        const std::int32_t errRed = kDiffusion.redError[red];
        const BYTE index = static_cast<BYTE>(kDiffusion.redIndex[red] +
                                             kDiffusion.greenIndex[green] +
                                             kDiffusion.blueIndex[blue]);
        downErrors[3 * x] = static_cast<signed char>(errBlue);
        downErrors[3 * x + 1] = static_cast<signed char>(errGreen);
        downErrors[3 * x + 2] = static_cast<signed char>(errRed);
        if (x + 1 < width) {
            BYTE* right = cur + 3 * (x + 1);
            blue = clampCarried(right[0] + 2 * errBlue);
            green = clampCarried(right[1] + 2 * errGreen);
            red = clampCarried(right[2] + 2 * errRed);
            if (3 * x + 3 < padTo && 3 * x + 5 >= padFrom) {
                right[0] = static_cast<BYTE>(blue);
                right[1] = static_cast<BYTE>(green);
                right[2] = static_cast<BYTE>(red);
            }
        }
        cur[x] = index;
    }
    for (int i = 0; i < 3 * width; ++i) next[i] = clampByte(next[i] + downErrors[i]);
}

int reduce24To8(void*& bits, BITMAPINFO*& info) {
    // Width and height are carried as 16-bit values by this converter.
    const int width = static_cast<WORD>(info->bmiHeader.biWidth);
    const int height = static_cast<WORD>(info->bmiHeader.biHeight);
    const std::int64_t stride24 = (3 * width + 3) & ~3;
    const std::int64_t stride8 = (width + 3) & ~3;
    const std::int64_t outSize = stride8 * height;

    BITMAPINFO* header = VellumNewHeader(kFullHeaderBytes);
    if (!header) return 0;
    std::memcpy(header, info, sizeof(BITMAPINFOHEADER));
    VellumDeleteHeader(info);
    info = header;

    std::vector<BYTE> current(static_cast<std::size_t>(stride24));
    std::vector<BYTE> next(static_cast<std::size_t>(stride24));
    std::vector<signed char> downErrors(static_cast<std::size_t>(3 * width));
    // Every output row is emitted whole below.
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, outSize));
    if (!out) return 0;
    const BYTE* src = static_cast<const BYTE*>(bits);
    auto sourceRow = [&](int r) { return src + stride24 * r; };
    auto emit = [&](int r) {
        if (r >= 0 && r < height) std::memcpy(out + stride8 * r, current.data(), stride8);
    };

    if (height > 0) {
        std::memcpy(current.data(), sourceRow(0), stride24);
        // A one-row image diffuses into a copy of its only row.
        std::memcpy(next.data(), sourceRow(height > 1 ? 1 : 0), stride24);
    }
    for (int r = 2; r < height; ++r) {
        diffuseRow(current.data(), next.data(), width, static_cast<int>(stride8), downErrors.data());
        emit(r - 2);
        current.swap(next);
        std::memcpy(next.data(), sourceRow(r), stride24);
    }
    diffuseRow(current.data(), next.data(), width, static_cast<int>(stride8), downErrors.data());
    emit(height - 2);
    current = next;
    diffuseRow(current.data(), next.data(), width, static_cast<int>(stride8), downErrors.data());
    emit(height - 1);

    GlobalFree(bits);
    bits = out;
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biWidth = width;
    h.biHeight = height;
    h.biBitCount = 8;
    h.biSizeImage = static_cast<DWORD>(outSize);
    writeFixedPalette(info);
    return 1;
}

int expand4To8(void*& bits, BITMAPINFO*& info) {
    BITMAPINFO* header = VellumNewHeader(kFullHeaderBytes);
    if (!header) return 0;
    std::memcpy(header, info, 40 + 4 * 16);
    VellumDeleteHeader(info);
    info = header;

    BITMAPINFOHEADER& h = info->bmiHeader;
    const std::int64_t width = h.biWidth;
    const std::int64_t height = h.biHeight;
    const std::int64_t srcStride = VellumDibStride(4, width);
    const std::int64_t dstStride = (width + 3) & ~std::int64_t{3};
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, dstStride * height));
    if (!out) return 0;
    const BYTE* src = static_cast<const BYTE*>(bits);
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* s = src + srcStride * y;
        BYTE* d = out + dstStride * y;
        for (std::int64_t x = 0; x < width; ++x) d[x] = (x & 1) ? s[x >> 1] & 0x0F : s[x >> 1] >> 4;
    }
    GlobalFree(bits);
    bits = out;
    h.biSizeImage = static_cast<DWORD>(dstStride * height);
    h.biBitCount = 8;
    h.biClrUsed = 256;
    return 1;
}

}  // namespace

const BYTE* VellumFixedPalette332() { return kFixedPalette.rgb; }

int ThPrepareTrueImg(void*& bits, BITMAPINFO*& info) {
    if (!bits || !info) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    if (!plainImage(h)) return 0;
    const int depth = h.biBitCount;
    if (depth == 1 || depth == 4 || depth == 8 || depth == 24) return 1;
    if (depth != 16 && depth != 32) return 0;

    const std::int64_t width = h.biWidth;
    const std::int64_t height = h.biHeight;
    const std::int64_t srcStride = VellumDibStride(depth, width);
    const std::int64_t dstStride = VellumDibStride(24, width);
    const std::int64_t size = dstStride * height;
    // The header is rewritten before the allocation, on purpose.
    h.biBitCount = 24;
    h.biSizeImage = static_cast<DWORD>(size);
    // Every byte is written below, padding included.
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, size));
    if (!out) return 0;
    vellum::RowsTo24(static_cast<const BYTE*>(bits), srcStride, out, dstStride, width, height,
                     depth, nullptr);
    GlobalFree(bits);
    bits = out;
    return 1;
}

int ThConvertTo24Bit(void*& bits, BITMAPINFO*& info) {
    if (!info || !bits || !ThPrepareTrueImg(bits, info)) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 24) return 1;

    const int depth = h.biBitCount;
    const std::int64_t width = h.biWidth;
    const std::int64_t height = h.biHeight;
    const std::int64_t srcStride = ((width * depth + 7) / 8 + 3) / 4 * 4;
    const std::int64_t dstStride = (3 * width + 3) & ~std::int64_t{3};
    const std::int64_t size = dstStride * height;
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, size));
    if (!out) return 0;
    vellum::RowsTo24(static_cast<const BYTE*>(bits), srcStride, out, dstStride, width, height,
                     depth, VellumColorTable(info));
    GlobalFree(bits);
    bits = out;
    h.biSizeImage = static_cast<DWORD>(size);
    h.biBitCount = 24;
    h.biClrUsed = 0;
    return 1;
}

int ThConvertToNumBit(void*& bits, BITMAPINFO*& info, int target) {
    if (target != 1 && target != 4 && target != 8) return 0;
    if (!bits || !info) return 0;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == target) return 1;
    if (!plainImage(h)) return 0;
    if (target == 8 && h.biBitCount == 24) return reduce24To8(bits, info);
    if (target == 8 && h.biBitCount == 4) return expand4To8(bits, info);
    // Everything else goes through the display driver.
    HBITMAP bitmap = ThDIBToBitmap(bits, info);
    const int result = ThBitmapToDIB(bits, info, bitmap, nullptr, target);
    DeleteObject(bitmap);
    return result;
}

int ThConvertDIBToNoFillBytes(void*& bits, BITMAPINFO*& info, int expand) {
    if (!info || !bits) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const int depth = h.biBitCount;
    const std::int64_t width = std::max<std::int64_t>(h.biWidth, 0);
    const std::int64_t height = std::max<std::int64_t>(h.biHeight, 0);
    const std::int64_t stride = VellumDibStride(depth, width);
    const std::int64_t blockSize = static_cast<std::int64_t>(GlobalSize(bits));
    if (stride * height > blockSize) return 0;
    const BYTE* src = static_cast<const BYTE*>(bits);

    if (!expand || depth >= 8) {
        const std::int64_t rowBytes = (width * depth + 7) / 8;
        BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, blockSize));
        if (!out) return 0;
        for (std::int64_t y = 0; y < height; ++y) {
            std::memcpy(out + rowBytes * y, src + stride * y, static_cast<std::size_t>(rowBytes));
        }
        GlobalFree(bits);
        bits = out;
        return 1;
    }
    if (depth != 1 && depth != 4) return 0;

    // An odd 4-bit width writes width + 2 bytes per row: the pairs run one
    // pixel past the width, then the high nibble of the following byte.
    const bool oddNibbles = depth == 4 && (width & 1);
    const std::int64_t rowOut = oddNibbles ? width + 2 : width;
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, rowOut * height));
    if (!out) return 0;
    BYTE* d = out;
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* s = src + stride * y;
        if (depth == 1) {
            std::int64_t done = 0, byte = 0;
            for (; done < width - 7; done += 8, ++byte) {
                for (int b = 0; b < 8; ++b) *d++ = (s[byte] >> (7 - b)) & 1;
            }
            for (int b = 0; b < width % 8; ++b) *d++ = (s[byte] >> (7 - b)) & 1;
        } else {
            std::int64_t done = 0, byte = 0;
            for (; done < width; done += 2, ++byte) {
                *d++ = s[byte] >> 4;
                *d++ = s[byte] & 0x0F;
            }
            if (oddNibbles) {
                // The following byte lies in the next row, or past the block
                // for the last row, where 0 is used.
                const std::int64_t at = stride * y + byte;
                *d++ = at < blockSize ? src[at] >> 4 : 0;
            }
        }
    }
    GlobalFree(bits);
    bits = out;
    h.biBitCount = 8;
    h.biClrUsed = 256;
    return 1;
}

int ThCalColorIndex(BITMAPINFO* info, long red, long green, long blue) {
    if (!info || info->bmiHeader.biBitCount == 24) return -1;
    const long count = ThCalDibColorCount(info);
    if (count <= 0) return 0;
    auto pack = [](long r, long g, long b) {
        return static_cast<std::int32_t>(((0x200 + (b & 0xFF)) << 16) | ((g & 0xFF) << 8) |
                                         (r & 0xFF));
    };
    const std::int32_t wanted = pack(red, green, blue);
    const RGBQUAD* table = VellumColorTable(info);
    long best = 0;
    std::int32_t bestDistance =
        std::abs(wanted - pack(table[0].rgbRed, table[0].rgbGreen, table[0].rgbBlue));
    for (long i = 1; i < count; ++i) {
        const std::int32_t distance =
            std::abs(wanted - pack(table[i].rgbRed, table[i].rgbGreen, table[i].rgbBlue));
        if (distance < bestDistance) best = i, bestDistance = distance;
    }
    if (count == 2) return best == 1 ? 255 : 0;
    if (count == 16) return static_cast<int>(best * 17);
    return static_cast<int>(best);
}
