// Convolution filters on a DIB pair: the numbered family ThDoFilter.
//
// Common rules of the filters (filter.h, blur.h):
//  - The image is first made 24-bit with ThConvertTo24Bit; when that fails the
//    result is 0 (or nothing, for void operations) and the pair is as
//    ThConvertTo24Bit left it. The result is always 24-bit.
//  - The result is built in a fresh zero-filled block; the old bits block is
//    released and the new one stored. The header is not changed beyond what
//    ThConvertTo24Bit did.
//  - Filters work on bytes: each byte of a row is filtered by itself, its
//    horizontal neighbours are the bytes 3 positions away (the same channel of
//    the adjacent pixels), its vertical neighbours the bytes one stride away.
//    Rows are memory rows (bottom-up): row r - 1 is the row below on screen.
//  - Nothing here keeps state; calls on different images may run at once.
#pragma once

#include "platform/windows_types.h"

// Applies filter `kind` (1..16). Returns 1, or 0 for a null pointer, a kind
// outside 1..16, a strength outside 0..4 for kinds 1 and 2 (these three are
// refused before the depth conversion, so the pair is untouched), a failed
// conversion or a failed allocation.
//
// Kinds, with p the source bytes, results clamped to 0..255:
//   1  blur, 3 x 3 kernel row `strength` (0..4) of the blur table:
//      sum(weight x p) / divisor, the division truncating
//   2  sharpen, 3 x 3 kernel row `strength` (0..4), divisor 1
//   3  (3 x (sum of the 8 neighbours) + 4 x p) / 20: a uniform area gains
//      28 / 20 [quirk: smoothing-gain]
//   4  2 x (p(x-1) + p(x+1)) - 3 x p(x)            (every row)
//   5  26 x p(x) - 24 x p(x+1) - p(x-1)             (every row)
//   6  5 x p(x) - p(x+1) - p(x-1)                   (every row)
//   7..16  directional emboss: (p(A) - p(B)) x strength + 128, `strength`
//      any gain (computed in 64 bits before the clamp). With d = kind - 7,
//      raised by one when d >= 4, A is window position d and B position
//      8 - d, position n naming the cell (row r - 1 + n / 3, pixel
//      x + n % 3 - 1) with C++ division:
//        7 (r-1,x-1)-(r+1,x+1)   8 (r-1,x)-(r+1,x)    9 (r-1,x+1)-(r+1,x-1)
//       10 (r,x-1)-(r,x+1)      11 (r,x+1)-(r,x-1)   12 (r+1,x-1)-(r-1,x+1)
//       13 (r+1,x)-(r-1,x)      14 (r+1,x+1)-(r-1,x-1)
//       15 (r+2,x-1)-(r-1,x-2)  16 (r+2,x)-(r-1,x-3)  [quirk: outside-window]
//
// Kinds 1..3 and 7..16 filter rows 1 .. height - 2, kinds 4..6 every row; all
// kinds filter bytes 3 .. stride - 4 of a row, which takes in the row padding
// and leaves out the first and last pixel [quirk: padding-filtered]. Bytes not
// filtered keep the initial value: a copy of the source for kinds 1..6, 128
// for kinds 7..16 (padding included) [quirk: emboss-border-128].
//
// Kinds 15 and 16 read through the flat block: a byte left of a row's start is
// the end of the row below in memory, as the arithmetic says. Reads that fall
// outside the block altogether (row `height` on the top filtered row, bytes
// before the block on row 1) are taken from the nearest row inside the block
// at the same byte position, so an image without row padding that is uniform
// gives uniform 128 for these kinds too. This choice never changes a value the
// arithmetic takes from inside the image.
VELLUM_API int ThDoFilter(void*& bits, BITMAPINFO*& info, int kind, int strength);

namespace vellum {

// The kernel tables of kinds 1 (blur) and 2 (sharpen): nine weights in the
// order (r-1,x-1) (r-1,x) (r-1,x+1) (r,x-1) (r,x) (r,x+1) (r+1,x-1) (r+1,x)
// (r+1,x+1), then the divisor.
struct FilterKernel {
    int weight[9];
    int divisor;
};
VELLUM_API const FilterKernel& BlurKernel(int strength);     // strength 0..4
VELLUM_API const FilterKernel& SharpenKernel(int strength);  // strength 0..4

}  // namespace vellum
