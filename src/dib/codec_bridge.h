// The codec bridge: file types, converting one image file into another, the
// mask of a palette image's transparent index, temporary and companion file
// names, free disk space, and the flat file-header query.
//
// Common rules:
//  - File types are the codec's format numbers (CXIMAGE_FORMAT_* in
//    codec/ximage.h), found from the file name's extension by ThFindType.
//    Type 0 (unknown) makes every caller fail without touching the file.
//  - Decoding and encoding go through CxImage; a failed save is not
//    detected by ThConvertFileToFile [quirk: unchecked-save].
//  - ThGetGifTransparentArea follows the DIB pair's ownership rules: it
//    releases the mask pair it is given and stores fresh blocks.
//  - No function here shows a message.
#pragma once

#include <string>

#include "platform/cstring.h"
#include "platform/export.h"
#include "platform/windows_types.h"

// Type number of a file name: the extension after the last dot of the file
// name (the part after the last '/' or '\'), in lower case, looked up in
// order: bmp dib rgn layer -> 1; jpg jpeg aph -> 3; gif -> 2; png -> 4;
// ico -> 5; tiff tif -> 6; tga -> 7; pcx -> 8; wbmp -> 9; wmf emf -> 10;
// jp2 j2k -> 11; jpc j2c -> 12; pgx -> 13; pnm pgm ppm -> 14; ras -> 15;
// anything else, no extension or a name ending in a dot -> 0.
VELLUM_API int ThFindType(const CString& fileName);

// Decodes source and writes it as target's type. A JPEG target gets a
// non-grey image raised to 24 bits and the given quality (0..100); a GIF
// target gets an image of more than 8 bits reduced to 8 with error diffusion
// and a median-cut palette. Returns 1 when the source decoded (whether or
// not the save worked) [quirk: unchecked-save], 0 for an unknown type on
// either side or a source that does not decode.
VELLUM_API int ThConvertFileToFile(const char* source, const char* target, int jpegQuality);

// Builds an 8-bit mask of the source's size: 255 where the pixel's index
// differs from transparentIndex, 0 where it equals it. The mask header is a
// fresh 1064-byte block holding 40 + 4 x ThCalDibColorCount bytes of the
// source header (at most 1064), then biBitCount 8 and a grey table of 256
// entries whose reserved bytes are left as copied; biClrUsed is the source's.
// Sources of 1, 4 or 8 bits are scanned; other depths give an all-255 mask.
// Returns 0 for null source pointers or a negative index (the mask pair is
// left alone), or when an allocation fails (the mask header is then released
// and null, the old mask bits released and null). 1 otherwise.
VELLUM_API int ThGetGifTransparentArea(void*& maskBits, BITMAPINFO*& maskInfo, void* srcBits,
                                       BITMAPINFO* srcInfo, int transparentIndex);

// directory + prefix + "." + extension in the temporary directory; with
// makeUnique, when that file exists, prefix + rand() digits instead, until a
// name is free. Without makeUnique the plain name comes back even when the
// file exists.
VELLUM_API CString ThGetTempFileName(const char* prefix, const char* extension, int makeUnique);

// The path with its extension (a last dot after the last '/' or '\') cut and
// ".rgn" (".aph") appended, as an owned 16-bit string (UTF-8 input decoded;
// bytes that are not UTF-8 become U+FFFD). A null path gives an empty string.
VELLUM_API std::u16string ConRgnFileName(const char* path);
VELLUM_API std::u16string ConAphpaFileName(const char* path);
// The 16-bit string back as a UTF-8 path.
VELLUM_API std::string VellumNarrowPath(const std::u16string& path);

// Bytes free to the caller on the file system holding path: the free-space
// query's value unless it fails or its low word is 0xFFFFFFFF; then free
// clusters x sectors per cluster x bytes per sector computed in double and
// split into high and low words.
VELLUM_API ULARGE_INTEGER ThGetDiskFreeSpace(const char* path);

extern "C" {

// Decodes the file (type from ThFindType; unknown gives 0 without opening
// it) and copies the decoded image's 40-byte header into *out. Returns 1, or
// 0 when out or path is null, the type is unknown or the file does not
// decode. *out is untouched on failure.
VELLUM_API int GetImageFileInfo(BITMAPINFOHEADER* out, const char* path);

}  // extern "C"
