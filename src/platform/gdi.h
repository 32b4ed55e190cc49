// The software GDI: device contexts over 32-bit surfaces, device-dependent
// bitmaps, DIB transfer, palettes, brushes, ternary raster operations and
// regions, with the platform's names, signatures and failure values.
//
// Common rules:
//  - Surfaces hold 32-bit pixels, top-down, one DWORD per pixel laid out as
//    0xFFRRGGBB (blue in the lowest byte; the top byte is written 0xFF so the
//    layout is also what cairo's RGB24, Qt's Format_RGB32 and SDL's XRGB8888
//    expect; it is never read). Every device context is a true-colour device.
//  - Coordinates are device pixels, x to the right and y down; RECT is
//    half-open. Drawing is clipped to the surface; nothing else clips.
//  - Handles are validated on every call: a null, deleted or wrong-kind
//    handle makes the call return its failure value (0, null, FALSE, ERROR,
//    CLR_INVALID or GDI_ERROR as the platform does) and change nothing.
//  - Stock objects (GetStockObject) live for the whole process; DeleteObject
//    on them succeeds and does nothing.
//  - DeleteObject on a bitmap that is selected into a device context fails
//    (FALSE) [quirk: selected-bitmap-delete]. A brush or palette deleted
//    while selected loses its handle at once and is released when the device
//    context lets go of it.
//  - The virtual screen (GetDC(NULL)) is one process-wide surface of
//    kVirtualScreenWidth x kVirtualScreenHeight pixels, initially black.
//  - Sizes: a surface of more than 2^31 - 1 bytes (as in a 32-bit process)
//    or with a side above 2^27 is refused; products are taken in 64 bits.
//  - DIB sources (CreateDIBitmap, SetDIBitsToDevice, StretchDIBits): 1, 4, 8,
//    16 (5-5-5), 24 and 32 bits, BI_RGB, bottom-up or top-down (negative
//    height), DIB_RGB_COLORS; anything else fails. The colour table has
//    biClrUsed entries (2^depth when 0 or larger); an index beyond it reads
//    black. 16-bit channels widen to 8 bits by repeating their top bits
//    (31 -> 255), as display drivers do; the fourth byte of 32-bit pixels is
//    ignored. The bits block is trusted to hold the rows the header
//    describes.
//  - Stretching is always nearest pixel (COLORONCOLOR), whatever the stretch
//    mode says; the modes are kept only to be read back.
//
// Colour reduction when a true-colour surface is read at 1, 4 or 8 bits is
// the display driver's choice; ours (GetDIBits):
//  - 1 bit: black (0) and white (1); white when the luminance
//    (30 R + 59 G + 11 B) / 100 is at least 128.
//  - 4 bits: the 16 standard colours (black, dark red, dark green, dark
//    yellow, dark blue, dark magenta, dark cyan, light grey, grey, red, green,
//    yellow, blue, magenta, cyan, white), nearest by squared RGB distance,
//    the lower index on ties.
//  - 8 bits: the 3-3-2 palette (entry i: red L8[i >> 5], green
//    L8[(i >> 2) & 7], blue L4[i & 3] with L8 = k x 255 / 7 rounded and
//    L4 = k x 85), nearest level in each channel, the lower level on ties.
//  The palette selected into the device context does not change this.
#pragma once

#include <cstdint>

#include "platform/windows_types.h"

// ---- constants ----
#define CLR_INVALID 0xFFFFFFFFu
#define GDI_ERROR 0xFFFFFFFFu
#define HGDI_ERROR ((HGDIOBJ)(intptr_t)-1)

#define DIB_RGB_COLORS 0
#define DIB_PAL_COLORS 1
#define CBM_INIT 0x04L

// Stretch modes.
#define BLACKONWHITE 1
#define WHITEONBLACK 2
#define COLORONCOLOR 3
#define HALFTONE 4
#define STRETCH_ANDSCANS BLACKONWHITE
#define STRETCH_ORSCANS WHITEONBLACK
#define STRETCH_DELETESCANS COLORONCOLOR
#define STRETCH_HALFTONE HALFTONE

// Background modes.
#define TRANSPARENT 1
#define OPAQUE 2

// Binary raster operations (pen and brush against destination).
#define R2_BLACK 1
#define R2_NOTMERGEPEN 2
#define R2_MASKNOTPEN 3
#define R2_NOTCOPYPEN 4
#define R2_MASKPENNOT 5
#define R2_NOT 6
#define R2_XORPEN 7
#define R2_NOTMASKPEN 8
#define R2_MASKPEN 9
#define R2_NOTXORPEN 10
#define R2_NOP 11
#define R2_MERGENOTPEN 12
#define R2_COPYPEN 13
#define R2_MERGEPENNOT 14
#define R2_MERGEPEN 15
#define R2_WHITE 16

// Ternary raster operations. Bits 16..23 are the truth table: bit
// (P << 2 | S << 1 | D) gives the result for pattern P, source S and
// destination D; the low word (the platform's operation code) is ignored.
#define SRCCOPY 0x00CC0020u
#define SRCPAINT 0x00EE0086u
#define SRCAND 0x008800C6u
#define SRCINVERT 0x00660046u
#define SRCERASE 0x00440328u
#define NOTSRCCOPY 0x00330008u
#define NOTSRCERASE 0x001100A6u
#define MERGECOPY 0x00C000CAu
#define MERGEPAINT 0x00BB0226u
#define PATCOPY 0x00F00021u
#define PATPAINT 0x00FB0A09u
#define PATINVERT 0x005A0049u
#define DSTINVERT 0x00550009u
#define BLACKNESS 0x00000042u
#define WHITENESS 0x00FF0062u

// Stock objects.
#define WHITE_BRUSH 0
#define LTGRAY_BRUSH 1
#define GRAY_BRUSH 2
#define DKGRAY_BRUSH 3
#define BLACK_BRUSH 4
#define NULL_BRUSH 5
#define HOLLOW_BRUSH NULL_BRUSH
#define DEFAULT_PALETTE 15

// Region results and combine modes.
#define ERROR 0
#define NULLREGION 1
#define SIMPLEREGION 2
#define COMPLEXREGION 3
#define RGN_ERROR ERROR
#define RGN_AND 1
#define RGN_OR 2
#define RGN_XOR 3
#define RGN_DIFF 4
#define RGN_COPY 5
#define ALTERNATE 1
#define WINDING 2

// GetObject kinds.
#define OBJ_PEN 1
#define OBJ_BRUSH 2
#define OBJ_DC 3
#define OBJ_PAL 5
#define OBJ_BITMAP 7
#define OBJ_REGION 8
#define OBJ_MEMDC 10

inline constexpr int kVirtualScreenWidth = 1920;
inline constexpr int kVirtualScreenHeight = 1080;

struct PALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
};

struct LOGPALETTE {
    WORD palVersion;
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[1];
};
using LPLOGPALETTE = LOGPALETTE*;
static_assert(sizeof(PALETTEENTRY) == 4 && sizeof(LOGPALETTE) == 8);

// ---- device contexts ----
// A memory device context starts with a 1 x 1 stock bitmap selected, the
// white stock brush, DEFAULT_PALETTE, opaque background mode, white
// background and black text colour, R2_COPYPEN and BLACKONWHITE. A null
// `dc` means the screen. Null on failure.
VELLUM_API HDC CreateCompatibleDC(HDC dc);
// Deletes a memory, host or screen device context, letting go of what is
// selected into it. FALSE on a bad handle.
VELLUM_API BOOL DeleteDC(HDC dc);
// Selects a bitmap (memory device contexts only; a bitmap can be selected
// into one device context at a time) or a brush and returns the previous
// one; regions are not selectable here (HGDI_ERROR). Null on failure.
VELLUM_API HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
VELLUM_API HGDIOBJ GetCurrentObject(HDC dc, UINT kind);
VELLUM_API int SetBkMode(HDC dc, int mode);  // previous mode, 0 on failure
VELLUM_API int GetBkMode(HDC dc);
VELLUM_API COLORREF SetBkColor(HDC dc, COLORREF colour);  // previous, CLR_INVALID on failure
VELLUM_API COLORREF GetBkColor(HDC dc);
VELLUM_API COLORREF SetTextColor(HDC dc, COLORREF colour);
VELLUM_API COLORREF GetTextColor(HDC dc);
VELLUM_API int SetROP2(HDC dc, int mode);  // previous mode, 0 on failure
VELLUM_API int GetROP2(HDC dc);
// Any mode 1..4 is kept; every stretch draws COLORONCOLOR (nearest pixel).
VELLUM_API int SetStretchBltMode(HDC dc, int mode);
VELLUM_API int GetStretchBltMode(HDC dc);
VELLUM_API int GetDeviceCaps(HDC dc, int index);
#define HORZRES 8
#define VERTRES 10
#define BITSPIXEL 12
#define PLANES 14
#define RASTERCAPS 38
#define SIZEPALETTE 104
#define RC_PALETTE 0x0100

// Wraps a host's pixel buffer as a device context: `pixels` holds `height`
// rows of `width` 32-bit pixels, top-down, `strideBytes` apart (a multiple of
// 4, at least 4 x width), in the layout above (cairo CAIRO_FORMAT_RGB24, Qt
// QImage::Format_RGB32, SDL_PIXELFORMAT_XRGB8888). Everything drawn into the
// context lands in the buffer at once; the buffer stays the host's and must
// outlive the context, which is released with DeleteDC. The context behaves
// as a memory device context whose bitmap cannot be replaced (SelectObject of
// a bitmap fails). Null when the buffer or a size is bad.
VELLUM_API HDC VellumCreateHostDC(void* pixels, int width, int height, int strideBytes);

// Number of live objects (device contexts, bitmaps, brushes, palettes and
// regions, stock objects excluded): a leak check for hosts and tests.
VELLUM_API long VellumGdiObjectCount();

// ---- bitmaps ----
// A bitmap in the device's format (32 bits), zero-filled (black), whatever
// bitmap the context holds: every context here is true-colour, including a
// fresh memory context (the platform would answer a monochrome bitmap for
// one that still holds its stock 1 x 1 bitmap; nothing in the library or a
// host painting into a window wants that). A width or
// height of 0 gives a 1 x 1 monochrome bitmap, as the platform does
// [quirk: zero-size-mono]. Null for a bad device context, a negative size or
// an oversized surface.
VELLUM_API HBITMAP CreateCompatibleBitmap(HDC dc, int width, int height);
// planes x bitsPerPixel of 1 makes a monochrome bitmap (bits: word-aligned
// rows, most significant bit first, 1 = white); anything else a 32-bit one
// (bits, when given, hold 32-bit rows). Monochrome bitmaps are what pattern
// brushes are made from.
VELLUM_API HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel,
                                const void* bits);
// Makes a device bitmap of the header's width and |height|; with CBM_INIT the
// DIB is drawn into it (as SetDIBitsToDevice would). Only DIB_RGB_COLORS.
VELLUM_API HBITMAP CreateDIBitmap(HDC dc, const BITMAPINFOHEADER* header, DWORD init,
                                  const void* bits, const BITMAPINFO* info, UINT usage);
// BITMAP (bmBits null, bmWidthBytes word-aligned), a WORD entry count for a
// palette; returns the bytes written, or the bytes needed when `out` is null;
// 0 on failure or a short buffer.
VELLUM_API int GetObject(HGDIOBJ object, int bytes, LPVOID out);
VELLUM_API int GetObjectA(HGDIOBJ object, int bytes, LPVOID out);
VELLUM_API DWORD GetObjectType(HGDIOBJ object);
VELLUM_API BOOL DeleteObject(HGDIOBJ object);
VELLUM_API HGDIOBJ GetStockObject(int index);

// ---- DIB transfer ----
// Reads `lines` rows of `bitmap` from scan line `start` (counted from the
// bottom for a bottom-up header, from the top for a top-down one) into
// `bits` at the header's depth (1, 4, 8, 16 as 5-5-5, 24 or 32 with a zero
// fourth byte), writing the colour table of palette depths (see the colour
// reduction above). The DIB is the header's biWidth x |biHeight|, its bottom
// line aligned with the bitmap's; pixels beyond the bitmap read black. With
// null `bits`: a biBitCount of 0 makes the call fill the header from the
// bitmap (32 bits), otherwise it fills biSizeImage and the colour table.
// Returns the number of lines written (or the height for the header
// queries); 0 on failure, bits and header untouched.
VELLUM_API int GetDIBits(HDC dc, HBITMAP bitmap, UINT start, UINT lines, LPVOID bits,
                         BITMAPINFO* info, UINT usage);
// Draws the width x height part of a DIB whose lower-left corner is (xSrc,
// ySrc) (DIB coordinates, y up for bottom-up) at (xDest, yDest), unscaled;
// `bits` holds the scan lines start .. start + lines - 1 only. Returns the
// number of lines drawn; 0 on failure.
VELLUM_API int SetDIBitsToDevice(HDC dc, int xDest, int yDest, DWORD width, DWORD height,
                                 int xSrc, int ySrc, UINT start, UINT lines, const void* bits,
                                 const BITMAPINFO* info, UINT usage);
// Maps the source rectangle (xSrc, ySrc from the DIB's lower-left corner for
// a bottom-up DIB) onto the destination rectangle through `rop`. Nearest
// pixel: destination column i of n takes source column (2i + 1) x m / 2n of
// m (the pixel whose span holds the destination pixel's centre), rows alike.
// A negative width or height on one side mirrors; a rectangle (x, w) covers
// the columns min(x, x + w) .. max(x, x + w) - 1. Source pixels outside the
// DIB draw nothing. Returns the destination height drawn (0 on failure).
VELLUM_API int StretchDIBits(HDC dc, int xDest, int yDest, int destWidth, int destHeight,
                             int xSrc, int ySrc, int srcWidth, int srcHeight, const void* bits,
                             const BITMAPINFO* info, UINT usage, DWORD rop);

// ---- raster operations, brushes and pixels ----
// Raster operations run on the 24 colour bits; the pattern is the device
// context's brush aligned to device pixel (0, 0) (a monochrome pattern takes
// the text colour for 0 bits and the background colour for 1 bits). `src`
// may be null when the operation does not read the source; the area is
// clipped to both surfaces (overlap within one surface is handled).
VELLUM_API BOOL BitBlt(HDC dc, int x, int y, int width, int height, HDC src, int xSrc, int ySrc,
                       DWORD rop);
VELLUM_API BOOL StretchBlt(HDC dc, int x, int y, int width, int height, HDC src, int xSrc,
                           int ySrc, int srcWidth, int srcHeight, DWORD rop);
VELLUM_API BOOL PatBlt(HDC dc, int x, int y, int width, int height, DWORD rop);
VELLUM_API HBRUSH CreateSolidBrush(COLORREF colour);
// An 8 x 8 pattern from the top-left corner of a bitmap (tiled if smaller);
// the brush keeps a copy.
VELLUM_API HBRUSH CreatePatternBrush(HBITMAP bitmap);
// Fills with the brush (PATCOPY, whatever the binary raster mode).
VELLUM_API int FillRect(HDC dc, const RECT* rect, HBRUSH brush);
VELLUM_API COLORREF SetPixel(HDC dc, int x, int y, COLORREF colour);
VELLUM_API BOOL SetPixelV(HDC dc, int x, int y, COLORREF colour);
VELLUM_API COLORREF GetPixel(HDC dc, int x, int y);  // CLR_INVALID outside

// ---- palettes ----
// Version must be 0x300 and the count 1 .. 1024.
VELLUM_API HPALETTE CreatePalette(const LOGPALETTE* palette);
// Returns the previous palette; the device stays true-colour.
VELLUM_API HPALETTE SelectPalette(HDC dc, HPALETTE palette, BOOL forceBackground);
// Nothing to realise on a true-colour device: 0 entries mapped, GDI_ERROR
// for a bad handle.
VELLUM_API UINT RealizePalette(HDC dc);
// Nearest by squared RGB distance, the lowest index on ties; CLR_INVALID on
// a bad handle.
VELLUM_API UINT GetNearestPaletteIndex(HPALETTE palette, COLORREF colour);
VELLUM_API UINT GetPaletteEntries(HPALETTE palette, UINT start, UINT count,
                                  PALETTEENTRY* entries);

// ---- regions ----
// Regions are sets of pixels, stored as pixman 32-bit regions. Coordinates
// beyond +-2^27 are refused (null), as the platform's limit.
VELLUM_API HRGN CreateRectRgn(int left, int top, int right, int bottom);  // ordered for you
VELLUM_API HRGN CreateRectRgnIndirect(const RECT* rect);
// A pixel (x, y) is covered when its centre (x + 1/2, y + 1/2) is inside
// the polygon under the fill mode (ALTERNATE: odd crossings; WINDING:
// non-zero winding); a centre exactly on an edge counts when the edge is on
// the pixel's left (half-open spans). So a rectangle given as four corners
// covers what CreateRectRgn covers. Null for fewer than 2 points or a bad
// mode.
VELLUM_API HRGN CreatePolygonRgn(const POINT* points, int count, int fillMode);
VELLUM_API BOOL SetRectRgn(HRGN region, int left, int top, int right, int bottom);
// Result: NULLREGION, SIMPLEREGION (one rectangle), COMPLEXREGION, or ERROR
// (bad handle or mode; the destination is then unchanged). `dest` may be
// one of the sources; src2 is ignored for RGN_COPY.
VELLUM_API int CombineRgn(HRGN dest, HRGN src1, HRGN src2, int mode);
VELLUM_API int OffsetRgn(HRGN region, int dx, int dy);
// The bounding box ((0, 0, 0, 0) when empty) and the region's kind.
VELLUM_API int GetRgnBox(HRGN region, LPRECT rect);
VELLUM_API BOOL PtInRegion(HRGN region, int x, int y);
VELLUM_API BOOL RectInRegion(HRGN region, const RECT* rect);
VELLUM_API BOOL EqualRgn(HRGN a, HRGN b);
// Fills with the brush (PATCOPY) / the selected brush under the binary
// raster mode.
VELLUM_API BOOL FillRgn(HDC dc, HRGN region, HBRUSH brush);
VELLUM_API BOOL PaintRgn(HDC dc, HRGN region);
// Copies the region's rectangles (y-x banded) into `out` (up to `capacity`)
// and returns their number (-1 for a bad handle): the walk for tests and
// hosts that draw spans themselves.
VELLUM_API int VellumRegionRects(HRGN region, RECT* out, int capacity);
