// BMP files: reading a whole file into a DIB pair, reading its headers, and
// writing a pair back.
//
// Accepted on reading: "BM"; a 12-byte OS/2 core header (converted) or any
// other header size read as its first 40 bytes (larger versions' extra bytes
// skipped); biWidth >= 1, biPlanes == 1, biBitCount 1, 4, 8, 16, 24 or 32.
// Compressed pixel data (RLE8, RLE4, 16- and 32-bit bit fields) is expanded to
// uncompressed rows of the same depth; bit-field data becomes 5-5-5 (16 bits)
// or 8-8-8 (32 bits) from the top bits of each field, and then 24 bits.
//
// Reading is bounded: every read goes through a checked cursor, sizes are
// computed in 64 bits, and a file whose pixel buffer would be both larger than
// kBmpMaxExpansion times the file's length and larger than kBmpSmallImageBytes
// is refused as hostile (-1) before anything is allocated.
#pragma once

#include <cstdint>

#include "platform/file.h"
#include "platform/windows_types.h"

inline constexpr std::uint64_t kBmpMaxExpansion = 256;
inline constexpr std::uint64_t kBmpSmallImageBytes = 64ull << 20;

// Reads the file header into *fileHeader and the info header plus colour
// table into *out (a block of at least 1064 bytes), and leaves the file at
// bfOffBits. The table read is 2^biBitCount entries for 8 bits or fewer,
// whatever biClrUsed says (which keeps the file's value). [quirk:
// table-ignores-clrused]
// Returns biCompression (>= 0), or -1 for a null argument, a short or
// non-"BM" file, a bad header or a failed allocation. Never throws.
VELLUM_API int ThReadBmpInfo(CFile* file, BITMAPFILEHEADER* fileHeader, BITMAPINFO* out);

// Reads a BMP file into the pair. Returns 0 on success; -1 when the file
// cannot be opened, its headers are bad, it is refused as hostile or memory
// runs out; -3 when compressed data cannot be expanded or 16/32-bit data
// cannot be converted. On success the pair holds a 1064-byte header block and
// a bits block of max(stride x height, biSizeImage) bytes; 16- and 32-bit
// images come back as 24-bit, biClrUsed is 0 for 24 bits, and biSizeImage is
// that buffer size (for a converted image, the size before conversion) [quirk:
// sizeimage-before-conversion]. Compressed data is read up to that buffer
// size too, so a file whose biSizeImage understates its compressed data has
// the rest ignored [quirk: compressed-read-size].
// On -1 from a bad header info is released and null and bits is untouched; on
// -1 from a failed pixel allocation info stays valid and bits is null (the old
// block released). Callers release whatever is non-null.
VELLUM_API int ThReadDibData(const char* path, void*& bits, BITMAPINFO*& info);

// Writes the pair as a BMP file (created or truncated). Sets, in the caller's
// header, biClrUsed 0 for 24 bits, biSizeImage to the stride-based size,
// biSize 40, biPlanes 1 and biCompression 0; writes bfOffBits = 54 + 4 x
// ThCalDibColorCount and that many table entries. Returns 1 when written; 0
// when the file cannot be created (after showing the file error through the
// message handler) or a write fails.
VELLUM_API int ThSaveDibData(const char* path, const void* bits, BITMAPINFO* info);

namespace vellum::bmp {

// Why a read failed; the public results fold these into -1 and -3.
enum class ReadStatus {
    ok,
    cannotOpen,
    truncated,
    corrupt,
    unsupported,
    tooLarge,
    outOfMemory,
};

// ThReadDibData with the failure class reported (result is the same).
VELLUM_API int ReadDibDataClassified(const char* path, void*& bits, BITMAPINFO*& info,
                                     ReadStatus* status);

}  // namespace vellum::bmp
