// Exchange between a DIB pair and a device-dependent bitmap, through the
// screen's device context (the display driver). The display driver's colour
// reduction at 1, 4 and 8 bits is documented in platform/gdi.h.
#pragma once

#include "platform/gdi.h"

// Reads `bitmap` into the pair at `bitCount` bits (1, 4, 8, 16, 24 or 32), or
// when bitCount is 0 at the depth its planes x bits per pixel suggest (below
// 2: 1, up to 4: 4, below 9: 8, else 24; so a device bitmap gives 24 bits).
// `palette` null means DEFAULT_PALETTE; it is selected and realised around the
// read. The pair gets a new 1064-byte header (biSize 40, the bitmap's width
// and height, one plane, the depth, BI_RGB, biSizeImage = stride x height,
// 3780 pixels per metre, biClrUsed and biClrImportant 0, the driver's colour
// table) and a new zero-filled bits block.
// Returns 0 without touching the pair when `bitmap` is null or not a bitmap.
// The old header and bits are released before the new bits are allocated:
// a failed allocation returns 0 with the new header and null bits, and a
// failed read returns 0 with the new, zeroed blocks [quirk: pair lost on 0].
VELLUM_API int ThBitmapToDIB(void*& bits, BITMAPINFO*& header, HBITMAP bitmap, HPALETTE palette,
                             int bitCount);

// Makes a device bitmap (32 bits, the DIB's width and height) holding the
// pair's picture; the caller owns it (DeleteObject). Null when the pair is
// not a valid uncompressed DIB or memory runs out. The pair is not changed.
VELLUM_API HBITMAP ThDIBToBitmap(void* bits, BITMAPINFO* header);
