// Distortion effects: sine-driven geometric distortions of a DIB pair and the
// colour lens.
//
// Common rules:
//  - ThTwist, ThWave, ThDrop, ThSpiral and ThRotate3D first convert the image
//    to 24 bits with ThConvertTo24Bit and fail (0) if that fails or the depth
//    is then not 24. The result is built in a fresh zero-filled bits block
//    (GPTR); the old block is released and the new one stored. After a
//    failure past the conversion the pair is 24-bit but otherwise unchanged.
//  - Rows are addressed in memory order (bottom-up): "row 0" is the bottom
//    row of the picture, and centres given as fractions of the height count
//    from the bottom.
//  - Degrees become radians through the single-precision factor 0.017453292
//    (taken as the float value 0.01745329238474369, slightly below pi / 180,
//    so a twist at phase 90 shifts by A - 1 [quirk: float-degree-factor]);
//    a full cycle is
//    6.2831854820251465. Interpolated results use 10-bit fractions
//    (1.0 = 1024) obtained by truncation and a truncating right shift.
//  - Where a result block is filled with a background byte, the row padding
//    keeps that byte too [quirk: background-padding].
//  - Sampling positions that the arithmetic would take outside the picture
//    (only possible on pictures a few pixels wide, or with non-finite
//    arguments) are pulled back to the nearest pixel; no value inside the
//    normal range changes.
#pragma once

#include "platform/windows_types.h"

// Shifts each row sideways (horizontal non-zero) or each column up and down
// (horizontal zero) along a sine wave. amplitude is in percent (clamped to
// 0..100) of the width (or height): A = size x amplitude / 100; the picture
// grows by 2A in that direction and the new area is the background byte.
// Row y starts at column A + trunc(sin(y x omega / height + phi) x A), with
// omega = cycles x 2 pi and phi = phase in degrees; column x moves up by
// A + trunc(sin(x x omega / width + phi) x A) rows. Returns 1, or 0 (see the
// common rules). biSizeImage is set to the new size.
VELLUM_API int ThTwist(void*& bits, BITMAPINFO*& info, long phase, double cycles, long amplitude,
                       int horizontal, unsigned char background);

// Remaps rows (horizontal zero) or columns (horizontal non-zero) along a sine
// wave, size unchanged: destination row y takes the source position
// s = y - sin(y x omega / H + phi) x (H x amplitude x 0.01), clamped to
// 0..H - 1, blended between rows trunc(s) and trunc(s) + 1 with a 10-bit
// fraction [quirk: background-padding]. amplitude is clamped to 0..100;
// amplitude 0 is the identity on every pixel.
VELLUM_API int ThWave(void*& bits, BITMAPINFO*& info, long phase, double cycles, long amplitude,
                      int horizontal, unsigned char background);

// Concentric ripples around (centreX x width, centreY x height), size
// unchanged. waves is the number of half waves across the width, phase is in
// degrees and amplitude is scaled by width / height (integer division). The
// outer two rows and columns keep the source pixels. Fails (0) without any
// change when a pointer is null or a centre fraction lies outside 0..1
// (before the depth conversion). k = waves x pi / width uses pi as the float
// 3.1415927. Sampling positions at or below 2.0 become 1.5 and those at or
// above size - 3 become size - 2.5, so even at amplitude 0 columns and rows 2
// and size - 3 are half blends of their neighbours [quirk: drop-edge-clamp].
VELLUM_API int ThDrop(void*& bits, BITMAPINFO*& info, double centreX, double centreY, long phase,
                      long waves, long amplitude);

// The colour lens: reorders each colour's channels so that the smallest,
// middle and largest values land in positions chosen by tint (1..6,
// clamped), and recomputes the middle one as min + (max - min) x factor,
// rounded. Works on 24-bit pixels, or on the colour table of a palette image
// (pixels untouched); no depth conversion. Tints 1 and 4 give the same
// result [quirk: twin-tints]. strong = 1 picks the stronger factor; the last
// argument is not used. Returns 1; 0 for a null pointer or a 16- or 32-bit
// image (nothing changed).
VELLUM_API int ThLensEffect(void*& bits, BITMAPINFO*& info, int tint, int strong, int unused);

// Turns the picture in depth about its vertical axis (axis zero: the right
// edge comes towards the viewer for a positive angle) or its horizontal axis
// (axis non-zero: the top edge comes towards the viewer), like a card turned
// in the hand, and projects it back onto the screen.
//  - angle: degrees (factor 0.017453293005625408). Past 90 degrees the back of
//    the card shows the picture mirrored. A cosine whose magnitude is below
//    1e-08 is replaced by 1e-08, so 90 degrees leaves a sliver one pixel wide.
//  - distance: the viewer's distance from the card's axis in percent of the
//    card's width (axis zero) or height (axis non-zero). 0 or less gives a
//    parallel projection (the picture is only narrowed by cos(angle));
//    positive values give perspective, values below 60 are taken as 60 (the
//    near edge would otherwise reach the eye). 150..400 look natural.
//  - The result is the bounding box of the projected card (so the near edge,
//    which grows, is never cut), filled with the background byte where the
//    card does not cover it; inside it each pixel is sampled bilinearly with
//    10-bit fractions.
// Returns 1, or 0 (see the common rules, and when the result would exceed the
// allocation limit). An angle of 0 gives a copy of the picture.
VELLUM_API int ThRotate3D(void*& bits, BITMAPINFO*& info, double angle, long distance, int axis,
                          unsigned char background);

// Swirls the picture about its centre (width >> 1, height >> 1), size
// unchanged: a destination pixel at distance r is taken from the source turned
// by r x angle / R degrees, R the full diagonal, so the corners turn by half
// the angle. Source positions are clamped to 2 .. size - 3 and sampled
// bilinearly; the background byte fills the row padding only. Returns 1 with
// nothing changed (and no depth conversion) when angle is exactly 0; 0 for
// null pointers or as in the common rules.
VELLUM_API int ThSpiral(void*& bits, BITMAPINFO*& info, double angle, unsigned char background);
