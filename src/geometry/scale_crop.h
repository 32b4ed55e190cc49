// The streaming scale-crop engine and its flat face, MemScaleCrop.
//
// Common rules:
//  - The engine reads a source pair it never changes and writes a new header
//    into the caller's 1064-byte block plus a fresh GPTR bits block. It holds
//    only a few rows at a time: one expanded source row, two resampled rows
//    and a 32-bit sum row, plus per-column tables of the output width.
//  - Positions carry 8 fraction bits (1.0 = 256), shifts and divisions
//    truncate.
//  - Rectangles are top-down; rows are processed in memory order (bottom-up).
//    A top-down source (negative height) is read with |height| rows in memory
//    order, so its result comes out upside down [quirk: top-down-memory-order].
//  - Results: 1 made, 0 failed (no message). On failure *dstBits is null and
//    dstInfo holds whatever was copied into it so far.
#pragma once

#include <cstddef>

#include "platform/windows_types.h"

// The engine. `size` (cx, cy) is the caller's structure: its sides are raised
// to at least 1 there, and in mode 0 the fitted size is written back.
//  mode 0: fit the image into (cx, cy) keeping its aspect; the rectangle is
//          ignored; pixel aspect is corrected when biXPelsPerMeter and
//          biYPelsPerMeter differ (both >= 1): the copied header's
//          biYPelsPerMeter becomes biXPelsPerMeter. Never enlarges: when the
//          fitted size is at least the source size, the output is a copy of
//          the source bits.
//  mode 1: the rectangle is in source pixels; its part of the image is scaled
//          to (cx, cy). A rectangle wholly outside the image fails with 0.
//  other:  the whole image is scaled to (cx, cy); the rectangle selects the
//          part of the scaled picture kept.
// (-1, -1, -1, -1) as rectangle means (0, 0, cx, cy).
// Output: 8 bits with a 256-entry ramp when the source is 1-bit (ramp from its
// entry 0 to entry 1) or a 4/8-bit image whose table (biClrUsed entries, else
// 2^bits; at most 2^bits) is all grey (grey ramp k, k, k); 24 bits otherwise,
// keeping the source's biClrUsed. biWidth, biHeight (positive), biBitCount,
// biSizeImage are rewritten; biClrUsed becomes 256 for 8-bit output.
// Shrinking averages boxes of source pixels: horizontally from source column
// width x left / W', the running position i x W' / width closing an output
// column once it reaches it (so the first column often holds a single source
// pixel [quirk: engine-first-column]); vertically likewise from source row
// |height| x top / H' (top being the first kept row in memory order).
// Enlarging interpolates two neighbours with 8-bit weights, the second
// clamped to the last pixel or row.
// Choices made here: sources must be 1, 4, 8, 16, 24 or 32 bits with a width
// of at least 1 and a non-zero height, otherwise 0; the copies made when no
// resampling is needed take stride x |height| bytes (the source block may not
// come from the global heap, so its GlobalSize is not asked); a mode-1 scaled
// picture wider or taller than 2^31 - 1 pixels fails with 0.
// `workingBytes`, when given, receives the bytes of working memory held
// besides the output block.
VELLUM_API int VellumScaleCropEngine(BITMAPINFO* dstInfo, void** dstBits, BITMAPINFO* srcInfo,
                                     void* srcBits, SIZE* size, int left, int top, int right,
                                     int bottom, int mode, std::size_t* workingBytes = nullptr);

extern "C" {

// Scales and crops an image held in memory: the engine with `flag` as its
// mode and `crop` as its rectangle (ignored when flag is 0). 0 for a null
// outInfo, outBits, srcInfo, srcBits or size. Sides of `size` below 1 are
// raised to 1 in the caller's structure; in mode 0 the fitted size is written
// back. outInfo must hold 1064 bytes. *outBits receives the new block (null on
// failure; the previous handle is overwritten, not released); the caller
// releases it with FreeImgMemory.
VELLUM_API int MemScaleCrop(BITMAPINFO* outInfo, HGLOBAL* outBits, BITMAPINFO* srcInfo,
                            void* srcBits, SIZE* size, RECT crop, int flag);

}  // extern "C"
