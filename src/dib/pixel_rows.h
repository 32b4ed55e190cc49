// Row converters shared by the depth conversions, the readers and the
// resamplers: one place for each unpacking rule.
#pragma once

#include <cstdint>

#include "platform/windows_types.h"

namespace vellum {

// 5-5-5 words (bit 15 ignored) to blue, green, red bytes, each channel x 8
// with the low three bits 0.
VELLUM_API void Row16To24(const BYTE* src, BYTE* dst, std::int64_t width);

// Blue, green, red, x to blue, green, red (the fourth byte dropped).
VELLUM_API void Row32To24(const BYTE* src, BYTE* dst, std::int64_t width);

// 1-, 4- or 8-bit indices (most significant bits first) to blue, green, red
// through `table`, which must hold 2^bits entries.
VELLUM_API void RowIndexedTo24(const BYTE* src, BYTE* dst, std::int64_t width, int bits,
                               const RGBQUAD* table);

// Converts `rows` rows of 1-, 4-, 8- (through `table`), 16- or 32-bit pixels
// into 24-bit rows of `dstStride` bytes, clearing each row's padding; the
// destination needs no clearing beforehand. Other depths convert nothing.
VELLUM_API void RowsTo24(const BYTE* src, std::int64_t srcStride, BYTE* dst,
                         std::int64_t dstStride, std::int64_t width, std::int64_t rows, int depth,
                         const RGBQUAD* table);

// Clears a row's padding: the bytes from `used` up to `stride`.
inline void ZeroRowPadding(BYTE* row, std::int64_t used, std::int64_t stride) {
    for (std::int64_t i = used; i < stride; ++i) row[i] = 0;
}

// Index of pixel x of a packed 1-, 4- or 8-bit row.
inline int PixelIndex(const BYTE* row, std::int64_t x, int bits) {
    switch (bits) {
        case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1;
        case 4: return (x & 1) ? row[x >> 1] & 0x0F : row[x >> 1] >> 4;
        default: return row[x];
    }
}

// 1-bit pixels to one byte each: 255 for a set bit, 0 for a clear one (most
// significant bit first).
inline void Row1To255(const BYTE* src, BYTE* dst, std::int64_t width) {
    for (std::int64_t x = 0; x < width; ++x) {
        dst[x] = ((src[x >> 3] >> (7 - (x & 7))) & 1) ? 255 : 0;
    }
}

// 4- or 8-bit indices to one byte each: the blue byte of the table entry (the
// grey level of a grey table). `table` must hold 2^bits entries.
inline void RowIndexedToBlue(const BYTE* src, BYTE* dst, std::int64_t width, int bits,
                             const RGBQUAD* table) {
    if (bits == 8) {
        for (std::int64_t x = 0; x < width; ++x) dst[x] = table[src[x]].rgbBlue;
        return;
    }
    for (std::int64_t x = 0; x < width; ++x) dst[x] = table[PixelIndex(src, x, bits)].rgbBlue;
}

}  // namespace vellum
