// The prepare step shared by the distortion, noise, histogram and artistic
// effects: null checks, the depth conversion, checked sizes and the result
// block. Internal to the library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dib/convert.h"
#include "dib/dib.h"
#include "platform/global_memory.h"

namespace vellum::effects {

// A 24-bit picture checked against its block: every row of `stride` bytes
// lies inside the block.
struct Frame24 {
    BYTE* bits = nullptr;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t stride = 0;
    BYTE* row(std::int64_t y) const { return bits + y * stride; }
};

// Describes an existing pair without converting it; false when a pointer is
// null, the size is not positive or the block is smaller than its rows.
inline bool DescribePair(void* bits, BITMAPINFO* info, std::int64_t& width, std::int64_t& height,
                         std::int64_t& stride) {
    if (!bits || !info) return false;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    width = h.biWidth;
    height = h.biHeight;
    if (width < 1 || height < 1 || h.biBitCount == 0) return false;
    stride = VellumDibStride(h.biBitCount, width);
    return static_cast<std::int64_t>(GlobalSize(bits)) / height >= stride;
}

// Converts the pair to 24 bits and describes it. False when a pointer is
// null, the conversion fails, the depth is not then 24 or the block is too
// small for its rows.
inline bool Prepare24(void*& bits, BITMAPINFO*& info, Frame24& frame) {
    if (!bits || !info) return false;
    if (!ThConvertTo24Bit(bits, info) || !bits || !info) return false;
    if (info->bmiHeader.biBitCount != 24) return false;
    if (!DescribePair(bits, info, frame.width, frame.height, frame.stride)) return false;
    frame.bits = static_cast<BYTE*>(bits);
    return true;
}

// A result block of `bytes`, zero-filled; null when it cannot be had.
inline BYTE* NewBits(std::int64_t bytes) {
    return static_cast<BYTE*>(GlobalAllocChecked(GPTR, bytes));
}

// Replaces the pair's bits block by `fresh`.
inline void CommitBits(void*& bits, BYTE* fresh) {
    GlobalFree(bits);
    bits = fresh;
}

// Truncation towards zero of a sampling position that is finite after the
// interface's clamps; non-finite values (from non-finite arguments) give 0.
inline std::int64_t TruncPos(double v) {
    if (!(v > -9.0e15 && v < 9.0e15)) return 0;
    return static_cast<std::int64_t>(v);
}

inline std::int64_t ClampIndex(std::int64_t i, std::int64_t size) {
    return i < 0 ? 0 : (i >= size ? size - 1 : i);
}

// Luminance weights of the histogram family: (29 B + 150 G + 77 R) >> 8.
inline int Luma(int blue, int green, int red) { return (29 * blue + 150 * green + 77 * red) >> 8; }

// Degrees to radians as the distortions do it: the float 0.017453292.
inline constexpr double kDegreeFactor = static_cast<double>(0.017453292f);
inline constexpr double kFullCycle = 6.2831854820251465;

}  // namespace vellum::effects
