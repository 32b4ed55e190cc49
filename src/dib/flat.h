// The flat interface: plain functions with unmangled names for hosts that do
// not use the classes. Images cross it as a BITMAPINFO block owned by the
// caller plus a global-memory handle for the bits; every block handed out is
// a fresh GPTR block the caller releases with FreeImgMemory.
#pragma once

#include "platform/windows_types.h"

extern "C" {

// Releases *bits with GlobalFree (when non-null) and sets it to null.
VELLUM_API void FreeImgMemory(HGLOBAL* bits);

// Converts an in-memory image to 24 bits. 16- and 32-bit images are first
// normalised as ThPrepareTrueImg does (without its validation, |biHeight|
// rows); 1-, 4- and 8-bit images are expanded through their table. The old
// block is released and the new handle stored in *bits; the caller's header
// gets biClrUsed 0, biSizeImage the new size and biBitCount 24 (a negative
// height is kept). Returns 1 (also when already 24-bit), 0 for null pointers,
// other depths or a failed allocation.
VELLUM_API int ConvertTo24Bit(BITMAPINFO* info, HGLOBAL* bits);

}  // extern "C"
