// Mirroring of a DIB pair, in place.
//
// Common rules: the result goes into a fresh block of the same size whose every
// byte is defined (zero-filled, or written in full with the row padding
// cleared, where that spares a pass), the old bits are released and biSizeImage
// is set to stride x height; depth, size and colour table never change. 1
// success, 0 failure; a failure leaves the pair untouched.
//
//   left-right (0):   A B    ->   B A        top-bottom (1):   A B   ->   C D
//                     C D         D C                          C D        A B
#pragma once

#include "platform/windows_types.h"

// vertical 0: each row reversed pixel by pixel (1, 4, 8 and 24 bits);
// vertical 1: the row order reversed, whole strides, any depth. 0 for null
// pointers, an image of width or height below 1, or a failed allocation.
// Any other depth with vertical 0, or any other value of vertical: an
// all-zero image of the same size and 1 [quirk: zero-other-depth].
VELLUM_API int ThMirror(void*& bits, BITMAPINFO*& info, int vertical);
