// Expansion of RLE8, RLE4 and bit-field pixel data into uncompressed rows.
//
// Results for inputs the expansion cannot take (the caller folds them into its
// own failure value):
//  - unsupported: a compression/depth pair other than RLE8 at 8 bits or RLE4
//    at 4 bits (ExpandRle), a depth other than 16 or 32 (ExpandBitFields), or
//    a negative (top-down) height: compressed data cannot be top-down, and
//    top-down bit-field rows are the caller's to flip.
//  - corrupt: a width <= 0 or height == 0, a null `dst` or masks, a null
//    `src` with a non-zero length, or a `dst` shorter than stride x height.
// Everything else is ok, including a stream or source that ends early: what
// was decoded stays and the rest is 0. ExpandBitFields does not look at
// biCompression, so it also serves uncompressed 16- and 32-bit rows given
// their default masks.
//
// The first stride x height bytes of `dst` are cleared before anything is
// written, so skipped pixels and row padding are 0 even in a reused buffer.
#include "dib/bmp_expand.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace vellum::bmp {
namespace {

// Input bytes with the count of bytes left; every read is checked.
struct Cursor {
    const BYTE* p;
    std::size_t left;

    bool readByte(BYTE& out) {
        if (left == 0) return false;
        out = *p++;
        --left;
        return true;
    }
    // Up to n bytes; fewer when the input ends first.
    std::size_t takeUpTo(std::size_t n, const BYTE*& out) {
        const std::size_t got = std::min(n, left);
        out = p;
        p += got;
        left -= got;
        return got;
    }
    void skip(std::size_t n) {
        const std::size_t got = std::min(n, left);
        p += got;
        left -= got;
    }
};

// Checks the block shape and returns the stride, or a failure status.
ReadStatus checkShape(const BITMAPINFOHEADER& header, const void* src, std::size_t srcLength,
                      const void* dst, std::size_t dstLength, std::size_t& stride) {
    if (header.biWidth <= 0 || header.biHeight == 0 || (src == nullptr && srcLength != 0) ||
        dst == nullptr) {
        return ReadStatus::corrupt;
    }
    if (header.biHeight < 0) return ReadStatus::unsupported;
    const std::uint64_t rowBytes =
        ((std::uint64_t{header.biBitCount} * std::uint64_t(header.biWidth) + 31) / 32) * 4;
    const auto height = std::uint64_t(header.biHeight);
    if (rowBytes > dstLength || height > dstLength / rowBytes) return ReadStatus::corrupt;
    stride = std::size_t(rowBytes);
    return ReadStatus::ok;
}

// --- RLE ---------------------------------------------------------------------

// One pixel writer per depth; callers keep x + n within the row.
struct Rle8 {
    static void fill(BYTE* row, std::size_t x, std::size_t n, BYTE value) {
        std::memset(row + x, value, n);
    }
    static void copy(BYTE* row, std::size_t x, std::size_t n, const BYTE* src) {
        if (n != 0) std::memcpy(row + x, src, n);
    }
    // Stream bytes of an absolute run of n pixels, and pixels in b bytes.
    static std::size_t absoluteBytes(std::size_t n) { return n; }
    static std::size_t pixelsIn(std::size_t b) { return b; }
};

struct Rle4 {
    static void put(BYTE* row, std::size_t x, unsigned nibble) {
        BYTE& b = row[x / 2];
        b = (x & 1) ? BYTE((b & 0xF0) | nibble) : BYTE((b & 0x0F) | (nibble << 4));
    }
    // An encoded run alternates the two nibbles of value, high first. Past an
    // odd start the pairs are (low, high), so the byte pattern is rotated.
    static void fill(BYTE* row, std::size_t x, std::size_t n, BYTE value) {
        if (n == 0) return;
        BYTE pattern = value;
        if (x & 1) {
            put(row, x, value >> 4);
            ++x;
            --n;
            pattern = BYTE((value << 4) | (value >> 4));
        }
        std::memset(row + x / 2, pattern, n / 2);
        if (n & 1) put(row, x + n - 1, pattern >> 4);
    }
    static void copy(BYTE* row, std::size_t x, std::size_t n, const BYTE* src) {
        if (n == 0) return;
        if ((x & 1) == 0) {
            std::memcpy(row + x / 2, src, n / 2);
            if (n & 1) put(row, x + n - 1, src[n / 2] >> 4);
            return;
        }
        for (std::size_t i = 0; i < n; ++i) {
            const unsigned nibble = (i & 1) ? (src[i / 2] & 0x0F) : (src[i / 2] >> 4);
            put(row, x + i, nibble);
        }
    }
    static std::size_t absoluteBytes(std::size_t n) { return (n + 1) / 2; }
    static std::size_t pixelsIn(std::size_t b) { return b * 2; }
};

template <class Depth>
void decodeRle(Cursor in, BYTE* dst, std::size_t stride, std::size_t width, std::size_t height) {
    std::size_t x = 0;
    std::size_t y = 0;
    BYTE* row = dst;
    while (y < height) {
        BYTE count;
        BYTE value;
        if (!in.readByte(count) || !in.readByte(value)) return;
        if (count != 0) {
            // Encoded run, cut at the row end.
            const std::size_t n = std::min<std::size_t>(count, width - x);
            Depth::fill(row, x, n, value);
            x += n;
            continue;
        }
        switch (value) {
            case 0:  // end of line
                x = 0;
                ++y;
                row += stride;
                break;
            case 1:  // end of bitmap
                return;
            case 2: {  // delta: right dx, up dy
                BYTE dx;
                BYTE dy;
                if (!in.readByte(dx) || !in.readByte(dy)) return;
                x = std::min<std::size_t>(x + dx, width);
                y += dy;
                if (y >= height) return;
                row = dst + y * stride;
                break;
            }
            default: {  // absolute run, padded to a 16-bit boundary
                const std::size_t bytes = Depth::absoluteBytes(value);
                const BYTE* run;
                const std::size_t got = in.takeUpTo(bytes, run);
                // A truncated run keeps the whole pixels that arrived.
                const std::size_t pixels = got == bytes ? value : Depth::pixelsIn(got);
                const std::size_t n = std::min(pixels, width - x);
                Depth::copy(row, x, n, run);
                x += n;
                if (got < bytes) return;
                in.skip(bytes & 1);
                break;
            }
        }
    }
}

// --- Bit fields ----------------------------------------------------------------

// Moves a field to the top `targetBits` bits: ((pixel & mask) >> right) << left.
struct Channel {
    DWORD mask;
    unsigned right;
    unsigned left;
};

Channel makeChannel(DWORD mask, unsigned targetBits) {
    if (mask == 0) return {0, 0, 0};
    const unsigned low = unsigned(std::countr_zero(mask));
    const unsigned high = 31 - unsigned(std::countl_zero(mask));
    const unsigned width = high - low + 1;
    if (width >= targetBits) return {mask, low + (width - targetBits), 0};
    return {mask, low, targetBits - width};
}

inline DWORD take(DWORD pixel, const Channel& c) {
    return ((pixel & c.mask) >> c.right) << c.left;
}

void convert16(const BYTE* src, BYTE* dst, std::size_t width, const Channel ch[3]) {
    const Channel r = ch[0], g = ch[1], b = ch[2];
    for (std::size_t i = 0; i < width; ++i) {
        const DWORD pixel = DWORD(src[2 * i]) | DWORD(src[2 * i + 1]) << 8;
        const DWORD word = take(pixel, r) << 10 | take(pixel, g) << 5 | take(pixel, b);
        dst[2 * i] = BYTE(word);
        dst[2 * i + 1] = BYTE(word >> 8);
    }
}

void convert32(const BYTE* src, BYTE* dst, std::size_t width, const Channel ch[3]) {
    const Channel r = ch[0], g = ch[1], b = ch[2];
    for (std::size_t i = 0; i < width; ++i) {
        const BYTE* s = src + 4 * i;
        const DWORD pixel = DWORD(s[0]) | DWORD(s[1]) << 8 | DWORD(s[2]) << 16 | DWORD(s[3]) << 24;
        BYTE* d = dst + 4 * i;
        d[0] = BYTE(take(pixel, b));
        d[1] = BYTE(take(pixel, g));
        d[2] = BYTE(take(pixel, r));
        d[3] = 0;
    }
}

}  // namespace

ReadStatus ExpandRle(const BITMAPINFOHEADER& header, const BYTE* src, std::size_t srcLength,
                     BYTE* dst, std::size_t dstLength) {
    const bool rle8 = header.biCompression == BI_RLE8 && header.biBitCount == 8;
    const bool rle4 = header.biCompression == BI_RLE4 && header.biBitCount == 4;
    if (!rle8 && !rle4) return ReadStatus::unsupported;
    std::size_t stride = 0;
    if (const ReadStatus s = checkShape(header, src, srcLength, dst, dstLength, stride);
        s != ReadStatus::ok) {
        return s;
    }
    const auto width = std::size_t(header.biWidth);
    const auto height = std::size_t(header.biHeight);
    std::memset(dst, 0, stride * height);
    const Cursor in{src, srcLength};
    if (rle8) {
        decodeRle<Rle8>(in, dst, stride, width, height);
    } else {
        decodeRle<Rle4>(in, dst, stride, width, height);
    }
    return ReadStatus::ok;
}

ReadStatus ExpandBitFields(const BITMAPINFOHEADER& header, const DWORD masks[3], const BYTE* src,
                           std::size_t srcLength, BYTE* dst, std::size_t dstLength) {
    if (header.biBitCount != 16 && header.biBitCount != 32) return ReadStatus::unsupported;
    if (masks == nullptr) return ReadStatus::corrupt;
    std::size_t stride = 0;
    if (const ReadStatus s = checkShape(header, src, srcLength, dst, dstLength, stride);
        s != ReadStatus::ok) {
        return s;
    }
    const auto width = std::size_t(header.biWidth);
    const auto height = std::size_t(header.biHeight);
    std::memset(dst, 0, stride * height);

    const bool wide = header.biBitCount == 32;
    const unsigned target = wide ? 8 : 5;
    const Channel ch[3] = {makeChannel(masks[0], target), makeChannel(masks[1], target),
                           makeChannel(masks[2], target)};
    const std::size_t pixelBytes = wide ? 4 : 2;

    // Source rows have the same stride; a short source converts the whole
    // pixels it holds.
    Cursor in{src, srcLength};
    BYTE* row = dst;
    for (std::size_t y = 0; y < height && in.left > 0; ++y, row += stride) {
        const BYTE* line;
        const std::size_t got = in.takeUpTo(stride, line);
        const std::size_t n = std::min(width, got / pixelBytes);
        if (wide) {
            convert32(line, row, n, ch);
        } else {
            convert16(line, row, n, ch);
        }
    }
    return ReadStatus::ok;
}

}  // namespace vellum::bmp
