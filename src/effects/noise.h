// Noise effects: adding noise of several statistical kinds, removing specks
// and noise, and spreading pixels.
//
// Common rules:
//  - ThAddNoise, ThGenerateNoise, ThDespeckleImage and ThReduceNoiseImage
//    convert the image to 24 bits with ThConvertTo24Bit first and leave a
//    24-bit result; when that conversion or a later allocation fails they
//    give false / 0, and the pair keeps its (possibly converted) pixels.
//  - Null bits or header pointers give false / 0 with nothing changed.
//  - The random effects are not reproducible from call to call: ThAddNoise
//    and ThSpreadImage seed the C library generator with the current time
//    (srand(time(NULL))) as the interface does, and draw from rand();
//    ThGenerateNoise uses a private generator seeded from the system's
//    entropy source and leaves rand() alone.
#pragma once

#include "platform/windows_types.h"

// Adds noise to every channel byte. alpha = (rand() & 0x7FFF) / 32767 (1.0
// when that is 0), then by noiseKind:
//   1 Gaussian: p + sqrt(p) x 4 x s cos(beta) + 20 x s sin(beta),
//     s = sqrt(-2 ln alpha), beta from a second draw x 6.2831852;
//   2 multiplicative Gaussian: p x (1 + 0.5 x s cos(tau)), s = 255 when
//     alpha <= 1e-5;
//   3 impulse: 0 when alpha < 0.05, 255 when alpha >= 0.95, else p;
//   4 Laplacian: p + 10 ln(2 alpha) below one half (p - 255 when alpha
//     <= 1e-5), p - 10 ln(2 (1 - alpha)) above (p + 255 when 1 - alpha
//     <= 5e-6);
//   5 Poisson: 20 x the number of draws multiplied in before alpha falls to
//     exp(-0.05 p) or below [quirk: poisson-replaces] (the value replaces the
//     pixel rather than adding to it);
//   other: uniform, p + 4 (alpha - 0.5) [quirk: faint-uniform] (at most
//     two levels either way, so it often changes nothing).
// The value is clamped to 0..255 and truncated. Returns true, or false on a
// null pointer or a failed conversion.
VELLUM_API bool ThAddNoise(void*& bits, BITMAPINFO*& info, unsigned noiseKind);

// Film grain: adds a random offset to each pixel.
//  - noiseType bit 0 chooses the distribution: 0 uniform offsets in
//    -amount..amount, 1 Gaussian offsets with standard deviation amount / 2
//    (so that most of them fall within the same reach). Bit 1 set makes the
//    grain monochrome: one offset per pixel for all three channels, which
//    keeps the colours and varies only the brightness; clear, each channel
//    draws its own offset (colour grain). Other bits are ignored.
//  - amount: strength in grey levels, clamped to 0..255; 0 changes nothing,
//    10..40 is a visible but moderate grain.
// Results are rounded to the nearest level and clamped to 0..255. Returns 1,
// or 0 (see the common rules).
VELLUM_API int ThGenerateNoise(void*& bits, BITMAPINFO*& info, short noiseType, int amount);

// Removes isolated specks while keeping edges: each channel is run through
// ThHull four times for each of the four directions (0, 1), (1, 0), (1, 1)
// and (-1, 1), in working planes with a one-pixel border of zeros (so the
// picture's edges are pulled towards black by at most a few levels). Sets
// biBitCount 24 and biClrUsed 0. Returns 1; 0 on failure (see the common
// rules). A 1 x 1 picture works on 3 x 3 planes.
VELLUM_API int ThDespeckleImage(void*& bits, BITMAPINFO*& info);

// One hull step of the despeckle on planes of (columns + 2) x (rows + 2)
// bytes, for the inner positions p (offset = yOffset x (columns + 2) +
// xOffset):
//  1. g[p] = f[p], plus 1 when polarity >= 1 and f[p + offset] > f[p], or
//     minus 1 when polarity < 1 and f[p] > (f[p + offset] + 1) as a byte;
//  2. f[p] = g[p], plus 1 when polarity >= 1, (g[p - offset] + 1) as a byte
//     > g[p] and g[p + offset] > g[p]; minus 1 when polarity < 1,
//     (g[p - offset] + 1) as a byte < g[p] and g[p + offset] < g[p].
// The polarities are not mirror images of each other, and s + 1 wraps to 0
// for s = 255 [quirk: hull-asymmetry]. Offsets beyond one pixel read 0
// outside the planes. Null planes or a zero size do nothing.
VELLUM_API void ThHull(int xOffset, int yOffset, int polarity, unsigned columns, unsigned rows,
                       unsigned char* f, unsigned char* g);

// Reduces noise with a 3 x 3 median on each channel separately; the picture's
// edge pixels use their nearest neighbours inside the picture in place of the
// missing ones. Removes salt-and-pepper noise completely where specks are
// isolated and keeps edges sharp. Returns true, or false (see the common
// rules).
VELLUM_API bool ThReduceNoiseImage(void*& bits, BITMAPINFO*& info);

// Moves every pixel by a random offset: r = min(width, height) x
// amountPercent / 100 (computed in 64 bits, at most 2^31 - 1); each pixel takes
// the value of the pixel at horizontal offset (rand() & r) - (r >> 1) and
// vertical offset (rand() & r) - (r >> 1), drawn in that order, from a copy
// of the picture [quirk: spread-mask] (a bit mask, not a remainder, so only
// offsets whose bits lie inside r occur). Offsets that leave the picture are
// clamped to its edge; vertical offsets count memory rows. Works at 8 bits
// and more on whole pixels, in place; the table of an 8-bit image is kept.
// Returns 1; 0 when a pointer is null, the width or height is below 3, the
// depth below 8 or the copy cannot be allocated (nothing changed).
VELLUM_API int ThSpreadImage(void*& bits, BITMAPINFO*& info, unsigned amountPercent);
