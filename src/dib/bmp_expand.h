// Expansion of compressed BMP pixel data into uncompressed rows, as the
// display driver's round trip (create a device bitmap from the compressed
// data, read it back uncompressed) would give it.
//
//  - RLE8 (8 bits) and RLE4 (4 bits): encoded runs, absolute runs, end of
//    line, end of bitmap and deltas. Pixels the stream skips are index 0.
//    A run or delta that reaches past the end of a row or of the image is cut
//    there; data after the last row is ignored; a stream that ends without an
//    end-of-bitmap marker keeps what it decoded.
//  - Bit fields (16 or 32 bits, three masks): 16-bit output is 5-5-5 words and
//    32-bit output is blue, green, red, 0 bytes, each channel taken from the
//    top bits of its field (a field narrower than the target is shifted up).
//
// `dst` must hold stride x height bytes for the header's depth and be
// zero-filled; `src` holds the compressed bytes. Nothing outside either
// buffer is read or written.
#pragma once

#include <cstddef>

#include "dib/bmp.h"
#include "platform/windows_types.h"

namespace vellum::bmp {

VELLUM_API ReadStatus ExpandRle(const BITMAPINFOHEADER& header, const BYTE* src,
                                std::size_t srcLength, BYTE* dst, std::size_t dstLength);

VELLUM_API ReadStatus ExpandBitFields(const BITMAPINFOHEADER& header, const DWORD masks[3],
                                      const BYTE* src, std::size_t srcLength, BYTE* dst,
                                      std::size_t dstLength);

}  // namespace vellum::bmp
