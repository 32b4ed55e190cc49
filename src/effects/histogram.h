// Histogram operations: the luminance histogram, equalisation and
// normalisation.
//
// Common rules:
//  - Depths 1, 4, 8 and 24. Palette images are changed through their colour
//    table (the pixels keep their indices); 24-bit images through their
//    pixels. No depth conversion.
//  - Luminance is (29 x blue + 150 x green + 77 x red) >> 8 unless stated.
//  - Null pointers, other depths, a size below 1 x 1 or a bits block smaller
//    than its rows give false / 0 with nothing changed.
//  - Each operation reads the picture once to count and once to map.
#pragma once

#include "platform/windows_types.h"

// Clears histogram[0..255] and counts the luminance of every pixel (a palette
// pixel counts its table entry's luminance). histogram must hold 256 counts;
// a null histogram does nothing, and an image the common rules refuse leaves
// all counts 0.
VELLUM_API void ThFormHistogram(void*& bits, BITMAPINFO*& info, unsigned* histogram);

// Spreads the luminance levels evenly: with map[i] the running sum of the
// histogram, low = map[0] and range = map[255] - low (1 when below 2), level[i]
// = trunc((map[i] - low) x 255.0 / range). A 24-bit image has every channel
// byte c replaced by level[c] in all rows but the last in memory, so the top
// row of the picture is left as it was [quirk: equalize-top-row]; a palette
// image has its table's red, green and blue mapped. Returns true, or false
// (see the common rules).
VELLUM_API bool ThEqualizeImage(void*& bits, BITMAPINFO*& info);

// Stretches the levels between the 1 % points of a histogram. The histogram
// is counted differently from ThFormHistogram [quirk: normalize-histogram]:
// palette pixels count (77 x blue + 150 x green + 29 x red) >> 8 of their
// entry (the weights reversed), and 24-bit pixels only their blue byte. With
// threshold = width x height / 100, low is the number of levels from 0 whose
// counts sum to at most the threshold (at most 255) and high = 255 minus the
// same count from the top; if they are equal both are searched again with
// threshold 0. level[i] is 0 below low, 255 above high, else 254 x (i - low) /
// (high - low) [quirk: normalize-254], so level high is 254. 24-bit pixels are
// mapped byte by byte into a new block (rows of block size / height bytes,
// the rest of each row 0); palette images keep their pixels and get a new
// header block (a ThCreateNewBitmapInfo copy) with the table mapped. Returns
// 1; 0 when low still equals high (a single-level picture), or see the
// common rules; the pair is unchanged after a 0.
VELLUM_API int ThNormalize(void*& bits, BITMAPINFO*& info);
