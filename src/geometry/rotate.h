// Rotation of a DIB pair, in place.
//
// Common rules: the result goes into a fresh block whose every byte is defined
// (zero-filled, or written in full with the row padding cleared, where that
// spares a pass), the old bits are released, biWidth, biHeight and biSizeImage
// are rewritten; depth and colour table never change. 1 success, 0 failure.
// Angles are radians; a positive angle turns the picture clockwise on screen.
// Rotation uses 10-bit fixed point (1.0 = 1024) with arithmetic shifts. Images
// with a width or height below 1 are refused with 0 before anything changes (a
// choice made here).
//
// Quarter turns, memory rows bottom-up (direction 1 = clockwise on screen):
//
//   on screen:  A B   ->  1: C A    -1: B D
//               C D          D B        A C
#pragma once

#include "platform/windows_types.h"

// 0, 90, 180 or 270 when `angle`, brought into [0, 2 pi) (fmod by 4 pi, then
// whole turns of 2 pi, both in single precision), lies within one degree of
// it, boundaries inclusive; -1 otherwise (also for a non-finite angle).
VELLUM_API int ThIsSpecialAngle(double angle);

// Special angle 0: 1, nothing changed. 90: ThRotateBmp90(.., 1). 270:
// ThRotateBmp90(.., -1). 180: ThMirror 0 then 1, results ignored, 1. Other
// angles: ThRotateFreeAngle. 0 for null pointers.
VELLUM_API int ThRotate(void*& bits, BITMAPINFO*& info, double angle, int background);

// Rotation onto an enlarged canvas. S = trunc(sin x 1024), C = trunc(cos x
// 1024); new size ((w|C| + h|S|) >> 10, (h|C| + w|S|) >> 10); destination
// pixel (xd, yd) measured from (hw, hh) = the same sums >> 11 reads source
// (cx + (xd C - yd S) / 1024, cy + (xd S + yd C) / 1024), cx = w >> 1,
// cy = h >> 1.
//  - 1, 4, 8 bits: nearest neighbour (arithmetic shifts); outside the image
//    1 bit sets index 1, 4 bits index 15, 8 bits keeps the background index.
//  - 24 bits: bilinear within -1024 < X < w x 1024 (and the same for Y);
//    neighbours outside the image read the background grey, so edges blend
//    into it; pixels farther out keep the background grey.
//  - other depths: an all-zero block of the new size, 1
//    [quirk: zero-other-depth].
// The low byte of `background` is the fill (index at 8 bits, grey level at
// 24); it has no effect at 1 and 4 bits. Special angle 0 returns 1 with
// nothing changed. The header is rewritten before the allocation: a 0 from a
// failed allocation leaves a header that no longer matches the bits
// [quirk: header-before-allocation]. A non-finite angle fails with 0 first.
VELLUM_API int ThRotateFreeAngle(void*& bits, BITMAPINFO*& info, double angle, int background);

// Quarter turn: direction 1 moves memory (x, y) to (y, width - 1 - x), -1 to
// (height - 1 - y, x). 1, 8 and 24 bits move pixels; 4 bits move nibbles but
// never the last source column, whose destination row stays index 0
// [quirk: rotate90-4bit-last-column]; other depths give an all-zero block
// with swapped sides and 1 [quirk: zero-other-depth]. 0 for a direction other
// than 1 or -1 or null pointers. Width and height are swapped and biSizeImage
// set before the allocation: a 0 from a failed allocation leaves that header
// [quirk: header-before-allocation].
VELLUM_API int ThRotateBmp90(void*& bits, BITMAPINFO*& info, int direction);
