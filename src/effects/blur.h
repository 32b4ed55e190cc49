// Blurs and soft frames on a DIB pair: ThDoShadowBlur and ThFuzzy.
//
// The common rules of filter.h hold: 24-bit first (ThConvertTo24Bit), result
// always 24-bit, built aside; the header is not changed otherwise.
#pragma once

#include "platform/windows_types.h"

// Box blur of `radius` (>= 1). Each channel of pixel (x, y) becomes the sum of
// the source pixels in the window rows max(y - radius, 0) .. min(y + radius,
// height - 1) and columns max(x - radius, 0) .. min(x + radius, width - 1),
// divided (truncating) by the full window area (2 x radius + 1)^2, not by the
// number of pixels inside the image: pixels near the border darken toward
// black [quirk: shadow-divisor]. Row padding of the result is 0.
//
// The sums are kept running along columns and rows, so the time does not grow
// with the radius; the values are those of the direct sum.
//
// Returns 1; 0 for radius < 1, a null pointer (both before any change), a
// failed conversion or a failed allocation.
VELLUM_API int ThDoShadowBlur(void*& bits, BITMAPINFO*& info, int radius);

// Soft-edged frame: pixels outside `shape` take `colour` (0x00BBGGRR), pixels
// in a soft band inside its outline are blended toward it, pixels deeper
// inside are kept. Nothing happens for null pointers or a failed conversion.
//
// Coordinates: x is the column, y the memory row (bottom-up); the centre is
// (cx, cy) = (width / 2, height / 2); dx = x - cx, dy = y - cy. `softness` is a
// percentage, clamped here to 0..100 (0: no soft band at all).
//
// Blend in the soft band, with q the pixel's place in the band (0 at its inner
// edge, rising toward 1 at the outline): t = (1 - q) x 100 / softness, t below
// 0.0001 becomes 0 and above 1 becomes 1; every channel becomes
// trunc(pixel x t + colour x (1 - t)). Only the outer softness percent of the
// band is therefore graded [quirk: fuzzy-ramp].
//
// Shapes:
//  0 circle, a = b = min(width / 2, height / 2) - 1; 1 ellipse, a = width / 2,
//    b = height / 2. d = dx^2 / a^2 + dy^2 / b^2 (doubles); outside when d > 1;
//    band when (100 - softness)^2 x 0.0001 < d <= 1, with
//    q = (sqrt(d) - r0) / (1 - r0), r0 = (100 - softness) / 100.
//  2 rectangle a = width / 2, b = height / 2; 3 square a = b as shape 0.
//    Inside when |dy| < b and |dx| < a. Inner half-sizes ia = a x softness x
//    0.01 and ib = b x softness x 0.01 [quirk: rectangle-band]; band where
//    |dx| > ia or |dy| > ib, with q the larger of (|dx| - ia) / (a - ia) and
//    (|dy| - ib) / (b - ib) (each 0 when not above its inner size).
//  4 diamond: n = (|dx| + |dy| x width / height) / (width / 2); inside when
//    n < 1 (that is |dx| + |dy| x width / height < width / 2); band when
//    n > r0, q = (n - r0) / (1 - r0), r0 as for shape 0.
//  5 disc of size s = 4 x height / 9 when height < 45 x width / 52, else
//    s = 5 x width / 13 (integers), centred on (cx, cy) (no offset). With
//    e = dx^2 + dy^2 and v = e / max(1, round(sqrt(e))) (integers), outside
//    when v > s; band when v > s0 = s x (100 - softness) / 100, with
//    q = (v - s0) / (s - s0).
//  6 glow: no outline; every channel becomes
//    min(255, trunc(p + c x w x softness / 100)) with c the colour's channel
//    and w = (dx^2 + dy^2) / (cx^2 + cy^2) (0 at the centre, 1 at the
//    corners; w = 0 when both half-sizes are 0).
//  other values: the 24-bit conversion only.
// When a half-size a or b (or s) of shapes 0..5 is 0, every pixel is outside.
VELLUM_API void ThFuzzy(void*& bits, BITMAPINFO*& info, unsigned long colour, int softness,
                        int shape);
