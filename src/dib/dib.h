// The DIB pair and its helpers.
//
// Every image operation works on a device-independent bitmap held as two
// separate blocks: the header block (a BITMAPINFO: the 40-byte
// BITMAPINFOHEADER followed by RGBQUAD colour entries) and the pixel block.
// Operations take the pair by reference, build their result in fresh memory,
// release the old blocks and store the new pointers back.
//
// Rules of the pair:
//  - Colour count: ThCalDibColorCount is the one rule for the table length.
//  - Header blocks are allocated with operator new and released with operator
//    delete (VellumNewHeader / VellumDeleteHeader). A copied header carries
//    40 + 4 x count bytes of its source; a header block meant to receive any
//    header is kFullHeaderBytes (1064) bytes. Fresh header blocks are
//    zero-filled, and a copy of a header of 8 bits or fewer is given room for
//    the full 2^bits table (entries past count zero), so that looking a pixel
//    up in its table never leaves the block.
//  - Row stride = ((biBitCount x biWidth + 31) / 32) x 4 bytes (signed
//    division); rows run bottom-up; 24-bit pixels are blue, green, red; 1- and
//    4-bit pixels are packed most significant bits first.
//  - Pixel blocks come from GlobalAlloc(GPTR) (zero-filled) and go back with
//    GlobalFree; padding and unwritten pixels are 0.
//  - Whoever holds the two pointers owns both blocks.
#pragma once

#include <cstdint>

#include "platform/global_memory.h"
#include "platform/windows_types.h"

// Size of a header block that can receive any header with a full table.
inline constexpr int kFullHeaderBytes = 40 + 4 * 256;

// The colour table behind a header (the entries run on past the one that
// BITMAPINFO declares).
inline RGBQUAD* VellumColorTable(BITMAPINFO* info) {
    return reinterpret_cast<RGBQUAD*>(reinterpret_cast<BYTE*>(info) + sizeof(BITMAPINFOHEADER));
}
inline const RGBQUAD* VellumColorTable(const BITMAPINFO* info) {
    return reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(info) +
                                            sizeof(BITMAPINFOHEADER));
}

// Row stride in bytes of a row of `width` pixels at `bitCount` bits,
// computed without overflow: ((bitCount x width + 31) / 32) x 4.
VELLUM_API std::int64_t VellumDibStride(std::int64_t bitCount, std::int64_t width);

// Stride x height from a header, in 64 bits (negative for a negative height),
// saturated at +-2^62.
VELLUM_API std::int64_t VellumDibImageSize(const BITMAPINFOHEADER& header);

// Header blocks: zero-filled operator new (null on failure) / operator delete.
VELLUM_API BITMAPINFO* VellumNewHeader(std::size_t bytes);
VELLUM_API void VellumDeleteHeader(BITMAPINFO* header);

// Colour-table length: biClrUsed if non-zero; otherwise 2, 16 or 256 for 1, 4
// or 8 bits, and 0 for every other depth. A null header gives 0.
VELLUM_API long ThCalDibColorCount(BITMAPINFO* info);

// Copies a header: count = biClrUsed, or (when that is 0) 1 << biBitCount
// below 16 bits and 1 otherwise, so 16-, 24- and 32-bit headers get one spare
// entry (44 bytes). Allocates and copies 40 + 4 x count bytes. Null for a null
// source or a failed allocation. [quirk: spare-entry]
VELLUM_API BITMAPINFO* ThCreateNewBitmapInfo(BITMAPINFO* src);

// Copies 40 + 4 x count bytes of `src` into a new block of that size and sets
// its biClrUsed to count. The source must hold that many bytes. Null for a
// null source, a negative count or a failed allocation.
VELLUM_API BITMAPINFO* ThCreateNewBitmapInfo(BITMAPINFO* src, int count);

// Deep copy of (srcBits, srcInfo) into the pair: the header is copied at
// 40 + 4 x ThCalDibColorCount(srcInfo) bytes with biSizeImage set to the
// stride-based size, the bits at that size. Returns 1; 0 when a source pointer
// is null (the pair is unchanged) or an allocation fails (the pair's old
// blocks are released and both pointers are null).
VELLUM_API int ThCopyDibData(void*& bits, BITMAPINFO*& info, void* srcBits, BITMAPINFO* srcInfo);

// Converts in place a 1064-byte block whose start holds a 12-byte OS/2 core
// header and its 3-byte colour entries into a 40-byte header with an RGBQUAD
// table. Returns the number of entries converted (2^bits for 8 bits or fewer,
// else 0 with the table untouched); 0 for a null block.
VELLUM_API int ThConvertOSInfo(BITMAPINFO* block);
