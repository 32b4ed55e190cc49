// Windows base types and the bitmap structures, laid out byte for byte as the
// 32-bit platform lays them out, so that headers read from files and blocks
// handed between host and library have the same shape everywhere.
//
// Coordinates: RECT is half-open (left and top inside, right and bottom
// outside). Rectangles given to pixel operations are in top-down picture
// coordinates; DIB rows are stored bottom-up, so the rectangle's rows are the
// stored rows height - bottom ... height - top - 1.
//
//     picture (top-down)      bits block (bottom-up)
//     y=0  [ a b ]            row 0  [ c d ]
//     y=1  [ c d ]            row 1  [ a b ]
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/export.h"

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = unsigned int;
using INT = int;
using BOOL = int;
using BOOLEAN = BYTE;
using CHAR = char;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
// long long, as on the platform: std::int64_t is long on LP64 Linux, and long
// must stay a distinct type so that archives write it as 32 bits.
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using COLORREF = DWORD;
using LPSTR = char*;
using LPCSTR = const char*;
using LPTSTR = char*;
using LPCTSTR = const char*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPLONG = LONG*;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
#ifndef MAX_PATH
#define MAX_PATH 260
#endif

// Handles are opaque pointers; a global-memory handle is the block pointer.
using HANDLE = void*;
using HGLOBAL = void*;
using HLOCAL = void*;
struct HDC__;
struct HBITMAP__;
struct HPALETTE__;
struct HBRUSH__;
struct HRGN__;
struct HPEN__;
struct HFONT__;
struct HWND__;
struct HINSTANCE__;
using HDC = HDC__*;
using HBITMAP = HBITMAP__*;
using HPALETTE = HPALETTE__*;
using HBRUSH = HBRUSH__*;
using HRGN = HRGN__*;
using HPEN = HPEN__*;
using HFONT = HFONT__*;
using HWND = HWND__*;
using HINSTANCE = HINSTANCE__*;
using HGDIOBJ = void*;

#define RGB(r, g, b) \
    ((COLORREF)(((BYTE)(r) | ((WORD)((BYTE)(g)) << 8)) | (((DWORD)(BYTE)(b)) << 16)))
#define GetRValue(rgb) ((BYTE)(rgb))
#define GetGValue(rgb) ((BYTE)(((WORD)(rgb)) >> 8))
#define GetBValue(rgb) ((BYTE)((rgb) >> 16))

struct POINT {
    LONG x;
    LONG y;
};
struct SIZE {
    LONG cx;
    LONG cy;
};
struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
using LPPOINT = POINT*;
using LPSIZE = SIZE*;
using LPRECT = RECT*;
using LPCRECT = const RECT*;

#pragma pack(push, 2)
struct BITMAPFILEHEADER {
    WORD bfType;
    DWORD bfSize;
    WORD bfReserved1;
    WORD bfReserved2;
    DWORD bfOffBits;
};
#pragma pack(pop)

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};

struct BITMAPCOREHEADER {
    DWORD bcSize;
    WORD bcWidth;
    WORD bcHeight;
    WORD bcPlanes;
    WORD bcBitCount;
};

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};

struct RGBTRIPLE {
    BYTE rgbtBlue;
    BYTE rgbtGreen;
    BYTE rgbtRed;
};

// The colour table runs on past the declared single entry; header blocks are
// allocated at 40 + 4 x entries bytes (1064 when any table must fit).
struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};

struct BITMAP {
    LONG bmType;
    LONG bmWidth;
    LONG bmHeight;
    LONG bmWidthBytes;
    WORD bmPlanes;
    WORD bmBitsPixel;
    LPVOID bmBits;
};

struct BLENDFUNCTION {
    BYTE BlendOp;
    BYTE BlendFlags;
    BYTE SourceConstantAlpha;
    BYTE AlphaFormat;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};
using PULARGE_INTEGER = ULARGE_INTEGER*;

using LPBITMAPINFO = BITMAPINFO*;
using LPBITMAPINFOHEADER = BITMAPINFOHEADER*;
using PBITMAPINFO = BITMAPINFO*;
using PBITMAPINFOHEADER = BITMAPINFOHEADER*;

static_assert(sizeof(BITMAPFILEHEADER) == 14);
static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(sizeof(BITMAPCOREHEADER) == 12);
static_assert(sizeof(RGBQUAD) == 4);
static_assert(sizeof(RGBTRIPLE) == 3);
static_assert(sizeof(BITMAPINFO) == 44);
static_assert(sizeof(POINT) == 8 && sizeof(SIZE) == 8 && sizeof(RECT) == 16);
static_assert(sizeof(BLENDFUNCTION) == 4);
static_assert(sizeof(ULARGE_INTEGER) == 8);
static_assert(sizeof(LONGLONG) == 8 && sizeof(ULONGLONG) == 8);
static_assert(offsetof(BITMAPFILEHEADER, bfOffBits) == 10);
static_assert(offsetof(BITMAPINFOHEADER, biClrUsed) == 32);

// biCompression values.
#define BI_RGB 0L
#define BI_RLE8 1L
#define BI_RLE4 2L
#define BI_BITFIELDS 3L
#define BI_JPEG 4L
#define BI_PNG 5L
#define BI_ALPHABITFIELDS 6L

// "BM" as a little-endian WORD.
inline constexpr WORD kBitmapFileType = 0x4D42;
