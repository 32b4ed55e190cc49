// Tone and colour operations on a DIB pair: lookup tables, colour masks,
// compositing of a mask picture, grey and black-and-white conversion.
//
// Common rules:
//  - Lookup-table operations (ThCurve, ThColorMask, ThLightMask) never change
//    depth: a 24-bit image has its pixels rewritten, a palette image (1, 4 or
//    8 bits) its colour table (ThCalDibColorCount entries, at most 256); other
//    depths are left alone.
//  - A grey level is (11 x blue + 59 x green + 30 x red) / 100 in integers;
//    L100 is the undivided sum 11 x blue + 59 x green + 30 x red.
//  - A colour argument is 0x00BBGGRR (red in bits 0..7).
//  - Palette look-ups read only the entries the header block is known to hold
//    (the larger of the colour count and 2^bits, at most 256); an index past
//    them reads as black.
//  - int operations return 1 on success and 0 on failure; void ones do
//    nothing on a missing pair. No messages.
#pragma once

#include "platform/rect.h"
#include "platform/windows_types.h"

// Passes every 24-bit pixel's blue, green and red bytes through `blue`,
// `green` and `red` (256 bytes each; padding untouched), or every colour-table
// entry of a palette image. 0 when a pointer is null, else 1.
VELLUM_API int ThCurve(void*& bits, BITMAPINFO*& info, unsigned char* red, unsigned char* green,
                       unsigned char* blue);

// Colour masks (tables from vellum::ColorMaskTables, applied with ThCurve):
// mode 0 tint (amount = percent of the picture kept), 1 subtract, 2 multiply,
// 3 difference; 4 and 5 are ThLightMask(bits, info, colour, mode - 4, amount).
// Other modes change nothing.
VELLUM_API void ThColorMask(void*& bits, BITMAPINFO*& info, unsigned long colour, int amount,
                            int mode);

// Replaces pixels (24-bit) or colour-table entries (palette images) by
// `colour` when their L100 is below (side 0) or above (side 1) the threshold
// T = trunc(L100(colour) x f), f = level x 0.018 + 0.1 for level < 50, else
// (level - 50) x 0.1 + 1.0; level is clamped to 1..100. Other sides change
// nothing.
VELLUM_API void ThLightMask(void*& bits, BITMAPINFO*& info, unsigned long colour, int side,
                            int level);

// Centring marker for ThGetMaskRect: a coordinate of `at` equal to this value
// centres the overlap along that axis.
inline constexpr int kVellumMaskCentred = static_cast<int>(0x80000000u);

// The overlap of the mask (or of its rectangle `part`, clipped to the mask; an
// empty part means the whole mask) placed with its corner at `at` in the
// image. All rectangles are top-down, half-open. Along each axis:
//  - at == kVellumMaskCentred: the common extent w = min(image size, part
//    size) is centred on both: image from (size - w) / 2, mask from
//    part start + (part size - w) / 2.
//  - otherwise the placed part is clipped to the image, w is the smaller of
//    the clipped and the part extent, and when `at` is below 1 both
//    rectangles keep their far ends (right, bottom), otherwise their starts
//    (left, top). At 0 with a part wider than the image this pairs the image
//    with the part's far end, not its start [quirk: mask-at-zero].
// Returns 1 and writes both rectangles (equal sizes, each inside its picture),
// or 0 with both set empty when there is no overlap or a size is below 1.
VELLUM_API int ThGetMaskRect(int width, int height, int maskWidth, int maskHeight, CPoint at,
                             CRect part, CRect& imageRect, CRect& maskRect);

// Blends a mask picture into the image over their overlap (ThGetMaskRect with
// `at` and `part`). amount 0..100 (above 100 counts as 100). d is the image
// byte or pixel, m the mask's:
//   0 amount 0 copies the mask; else d = (m x (100 - amount) + d x amount) / 100
//   1 d = max(d - m, 0)          2 d = m x d / 255          3 d = |d - m|
//   4 d = m when L100(d) < L100(m) x k / 100
//   5 d = m when L100(d) > L100(m) x k / 100
// with k = trunc(((amount - 50) x 0.1 + 1.0) x 100.0) for amount >= 50, else
// trunc((amount x 9 x 0.002 + 0.1) x 100.0). Modes 0..3 work byte by byte.
//
// The mask may have any depth: a mask that is not 24-bit is converted in a
// private copy, released before return, so the caller's mask is never
// changed. Order of the checks: a null pointer or a mode outside 0..5 gives 0
// with nothing changed; then the mask conversion, amount < 0 and the image's
// ThConvertTo24Bit (0 on failure, the image as the conversion left it); then
// no overlap gives 0 with the image already 24-bit. The image keeps its size.
VELLUM_API int ThMask(void*& bits, BITMAPINFO*& info, void* maskBits, BITMAPINFO* maskInfo,
                      int mode, int amount, CPoint at, CRect part);

// Grey in place of colour:
//  - 24-bit: the header is replaced by a new 1064-byte block (the first 40
//    bytes copied) with the grey table k, k, k, 0, biBitCount 8 and
//    biSizeImage ((width + 3) & ~3) x height; each pixel becomes its grey
//    level. If the pixel allocation fails, the new header is already in place
//    over the old (larger) bits [quirk: gray-header-first].
//  - Palette images with other than two entries: each entry becomes its grey
//    level in all three channels; pixels untouched.
//  - Two entries: the darker (by grey level; on a tie entry 0) becomes black,
//    the other white.
VELLUM_API void ThConvertToGray(void*& bits, BITMAPINFO*& info);

// Always an 8-bit grey image: a new 1064-byte header (first 40 bytes copied),
// grey table k, k, k, 0, biClrUsed 256, biBitCount 8, biSizeImage by the
// stride rule, and new bits:
//  - 24-bit: each pixel's grey level; 8-bit: the grey level of its entry;
//  - 4-bit: pixel x of the row reads byte x / 2 and takes the index
//    (byte AND (255 << s)) >> s with s = 4 x (x mod 2): odd columns the high
//    nibble, even columns the whole byte [quirk: 4bit-gray-index];
//  - 1-bit: with g0 the grey level of entry 0, a set bit gives 255 and a
//    clear bit 0 when g0 < 129, otherwise the reverse;
//  - other depths: all zero.
// The old blocks are released. A failed allocation leaves the pair unchanged.
VELLUM_API void ThConvertTo8BitGray(void*& bits, BITMAPINFO*& info);

// Reads a BMP file, converts it as above and writes the target (the write's
// result is ignored). 0 when the source cannot be read, else 1.
VELLUM_API int ThConvertTo8BitGray(const char* sourcePath, const char* targetPath);

// Black and white: nothing for a null pair or a 1-bit image. Otherwise a 1-bit
// image whose bit is set when the pixel's grey level (through the colour table
// for 4 and 8 bits) is greater than `threshold`; 16 and 32 bits give all
// zero. The header becomes biBitCount 1, biClrUsed 0, biSizeImage the new
// size, entry 0 black and entry 1 white (reserved bytes 0). It is rewritten in
// a fresh 1064-byte copy, since the old block of a true-colour image may have
// no room for two entries. A failed allocation leaves the pair unchanged.
VELLUM_API void ThConvertToBW(void*& bits, BITMAPINFO*& info, long threshold);
