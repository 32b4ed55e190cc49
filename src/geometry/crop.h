// Rectangular cropping of a DIB pair, in place.
//
// Common rules: the result goes into a fresh block whose every byte is defined
// (zero-filled, or written in full with the row padding cleared, where that
// spares a pass), the old bits are released, biWidth, biHeight and biSizeImage
// are rewritten; depth and colour table never change. 1 success, 0 failure; a
// failure leaves the pair untouched. Rectangles are top-down: the first memory
// row taken is height - bottom.
#pragma once

#include "platform/rect.h"
#include "platform/windows_types.h"

// Keeps `rect` intersected with the image. 0 for null pointers, a rectangle
// narrower or lower than 1, an image of width or height below 1 or an empty
// intersection; 1 with nothing changed when the intersection is the whole
// image. The int is accepted and not used.
//  - 8 and 24 bits: (newWidth x bits) / 8 bytes per row from byte
//    (left x bits) / 8.
//  - 4 bits: nibble by nibble.
//  - 1 bit, left a multiple of 8: whole destination strides from byte left / 8
//    (bytes past the source row are those that follow it in the block, 0 past
//    the block). Otherwise byte k = (byte j << s) | (byte j + 1 >> (8 - s)),
//    j = left / 8 + k, s = left mod 8, where the byte after the last byte of
//    the source stride is taken as 255: ones are shifted into the vacated
//    low bits [quirk: crop-1bit-ones].
//  - other depths: an all-zero block of the new size, result 1
//    [quirk: zero-other-depth].
VELLUM_API int ThCrop(void*& bits, BITMAPINFO*& info, CRect rect, int unused);
