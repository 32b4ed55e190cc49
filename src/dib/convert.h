// Bit-depth conversion of a DIB pair, in place.
//
// Common rules: each operation replaces the pair's blocks through the
// references and returns 1 on success, 0 on failure, unless stated. Depths
// inside the library are 1, 4, 8 and 24; 16 (5-5-5) and 32 bits exist only
// until ThPrepareTrueImg turns them into 24.
#pragma once

#include "platform/windows_types.h"

// The fixed palette of the 24-to-8 reduction, as 256 red, green, blue
// triplets: entry i = (L8[i >> 5], L8[(i >> 2) & 7], L4[i & 3]) with
// L8 = 0, 36, 73, 109, 146, 182, 219, 255 and L4 = 0, 85, 170, 255.
VELLUM_API const BYTE* VellumFixedPalette332();

// Turns 16-bit (5-5-5, channel x 8, no bit replication) and 32-bit (alpha
// dropped) images into 24-bit ones. 1, 4, 8 and 24 pass unchanged (1).
// Returns 0 for null pointers, biCompression != 0, width or height below 1,
// biPlanes != 1 or another depth. The header is rewritten (24 bits, the 24-bit
// biSizeImage) before the allocation; if that fails the result is 0 with the
// header already saying 24 bits over the old bits [quirk: discard-on-0].
// biClrUsed and the header block are kept.
VELLUM_API int ThPrepareTrueImg(void*& bits, BITMAPINFO*& info);

// ThPrepareTrueImg, then 1-, 4- and 8-bit images are expanded through their
// colour table to 24 bits (biSizeImage the new size, biClrUsed 0, the header
// block kept). 0 when the preparation or the allocation fails.
VELLUM_API int ThConvertTo24Bit(void*& bits, BITMAPINFO*& info);

// Converts to `target` bits: 1, 4 or 8 (any other target gives 0); the same
// depth gives 1 with nothing changed.
//  - 24 to 8: error diffusion onto the fixed 3-3-2 palette (a quarter of the
//    error down, a half right, the rest dropped; blue rounded, red and green
//    truncated [quirk: 332-rounding]); a one-row image diffuses into a copy of its
//    row. Each output row is the first stride bytes of the working row, so
//    its padding bytes carry what the working row held there [quirk:
//    diffusion-padding].
//    biClrUsed keeps the old header's value.
//  - 4 to 8: one byte per nibble; biClrUsed 256, only the 16 old entries set,
//    the other 240 zero [quirk: sparse-4-to-8-table].
//  - Every other case (targets 1 and 4, and 8 from 1, 16 or 32 bits) goes
//    through the display driver: ThDIBToBitmap, then ThBitmapToDIB at the
//    target depth with no palette, then the device bitmap is deleted; the
//    result and the pair afterwards are ThBitmapToDIB's (dib/ddb.h), the
//    colours the driver's reduction (platform/gdi.h).
VELLUM_API int ThConvertToNumBit(void*& bits, BITMAPINFO*& info, int target);

// Strips row padding. With expand 0, or at 8 bits and above, each row's
// (width x depth + 7) / 8 bytes are packed end to end into a block of the old
// block's size (header unchanged). With expand set at 1 or 4 bits, one byte
// per pixel (0/1 or 0..15) at 8 bits, biClrUsed 256; an odd 4-bit width gives
// width + 2 bytes per row, rows end to end [quirk: odd-4-bit-row]. 0 for null pointers.
VELLUM_API int ThConvertDIBToNoFillBytes(void*& bits, BITMAPINFO*& info, int expand);

// Index of the table entry nearest to (red, green, blue) by the distance of
// the packed integers ((0x200 + blue) << 16 | green << 8 | red) [quirk:
// blue-major]; the first of equals wins. A 2-entry table answers 0 or 255, a
// 16-entry table index x 17. -1 for a null or 24-bit header.
VELLUM_API int ThCalColorIndex(BITMAPINFO* info, long red, long green, long blue);
