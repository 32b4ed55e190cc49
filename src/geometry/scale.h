// Scaling of a DIB pair, in place.
//
// Common rules:
//  - Each operation builds its result in a fresh block whose every byte is
//    defined (zero-filled, or written in full with the row padding cleared,
//    as the 24-bit resampler does), releases the old bits with GlobalFree and
//    stores the new block; biWidth, biHeight and biSizeImage are rewritten
//    (and biBitCount with the table where the depth changes). Results: 1
//    success, 0 failure, with no message.
//  - Positions carry 10 fraction bits (1.0 = 1024); shifts and divisions
//    truncate; sums are 32-bit (they wrap as 32-bit integers would).
//  - A target size equal to the current one returns 1 and changes nothing.
//  - Source images with a width or height below 1 are refused with 0 (a
//    choice made here; the pair is left untouched), and so are target sides
//    above 2^31 - 1, which no header can hold.
#pragma once

#include "platform/rect.h"
#include "platform/windows_types.h"

// General entry, dispatching by depth: 1 bit to ThScale1Bit(.., 1); 4, 8 and
// 16 bits to ThScaleAll(.., mode); 24 bits to the 10-bit resampler below, after
// raising each side to at least 2 [quirk: scale-min-2]; 32 bits and any other
// depth fail with 0.
// 24-bit resampler: each axis alone averages (new size <= size / 2) or
// interpolates. Averaging: step = ((size << 10) - 1024) / newSize, each output
// sample covers source indices ceil(acc / 1024) .. (acc + step) >> 10.
// Interpolating: step = ((size << 10) - 1024) / (newSize - 1), index acc >> 10,
// fraction acc & 1023, the neighbour clamped at the last index. The four
// combinations mix per channel as the library always has (a row's or a
// column's interpolation is shifted by 10 before it is averaged).
// biSizeImage is rewritten before the allocation: after a failed allocation
// it no longer matches the bits [quirk: scale-sizeimage-first]. Otherwise a
// failure leaves the pair untouched.
VELLUM_API int ThScale(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight, int mode);

// 1-bit scaling. First, unconditionally (before any test but a null header),
// the header block is replaced by a new 1064-byte block holding the same
// first 48 bytes [quirk: 1bit-new-header]. Sides below 1 fail with 0, and
// so does an image that is not 1-bit (a choice made here: its rows cannot be
// read as bits, and the result's header would not describe its block).
//  - toGrey 0, or growing both ways: bit nearest neighbour (source row
//    height x y / newHeight, column width x x / newWidth); stays 1-bit.
//  - otherwise an 8-bit ramp image: biClrUsed and biClrImportant 0, entry k =
//    entry0 + (entry1 - entry0) x k / 255; a set bit counts 255, a clear one 0.
//    Rules by newWidth > width / 2 and newHeight > height / 2: both: bilinear
//    as ThScale; one of them: interpolation along that axis of sums over the
//    source box of the other, ((sumA x (1024 - f) + sumB x f) / count) >> 10;
//    neither: box average over [w x x / nw, (w x x + w) / nw) columns and the
//    same rule for rows.
//    The second neighbour of the two mixed rules is read without clamping in
//    the original arithmetic; it is reached only with a fraction of 0, so it
//    is read clamped here and no value changes. A side of 1 that stays 1
//    (where the step would divide by 0) replicates the pixel: step 0.
// On failure after the header swap the pair keeps its bits and an identical
// header; the 8-bit header is written only once the new block exists.
VELLUM_API int ThScale1Bit(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight,
                           int toGrey);

// Palette scaling. Sides below 1 fail with 0. Mode non-zero, or depth 1 or
// 24: ThScaleCrop to the whole new picture (its result compared with 1).
// Mode 0: nearest neighbour in the same depth (row y x height / newHeight,
// column x x width / newWidth); 8 bits copy bytes, 4 bits nibbles; every other
// depth gives an all-zero block of the new size and 1 [quirk: zero-other-
// depth]. The colour table is unchanged. Failure leaves the pair untouched.
VELLUM_API int ThScaleAll(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight, int mode);

// Scales the whole picture to (width, height) and keeps `keep` of it, through
// the scale-crop engine in mode 2. The header block is replaced and the old
// bits released whatever the engine returns: on 0 the pair holds the new
// header and null bits, and is lost [quirk: scalecrop-loses-bits]. Only a
// failed header allocation leaves the pair untouched.
VELLUM_API int ThScaleCrop(void*& bits, BITMAPINFO*& info, int width, int height, CRect keep);

// Fits the image into `box` keeping its aspect, never enlarging. rx = cx /
// width in double, ry = cy / height rounded to single precision; rx < ry gives
// cy = trunc(height x rx), otherwise cx = trunc(width x ry) (products in
// double). A box at least the image size is set to the image size and 1 is
// returned with the image untouched; otherwise both sides are raised to 1 and
// the result is ThScale(.., 1). On return `box` holds the size asked of
// ThScale (a 24-bit result is still at least 2 x 2).
VELLUM_API int ThCreateThumbail(CSize& box, void*& bits, BITMAPINFO*& info);
