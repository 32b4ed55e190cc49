// Inside the software GDI: the objects behind the handles and the handle
// table. Not part of the public interface.
//
// Invariants:
//  - A handle is the address of its object; the table maps it to the owning
//    shared_ptr. A handle is valid exactly while it is in the table.
//  - A device context holds shared_ptrs to what is selected, so an object
//    deleted while selected stays alive (handle already gone) until then.
//  - A surface is selected into at most one device context (selectedBy).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gdi.h"

namespace vellum::gdi {

enum class Kind { Bitmap, Brush, Palette, Region, DC };

struct Object {
    explicit Object(Kind k) : kind(k) {}
    virtual ~Object() = default;
    Kind kind;
    bool stock = false;
};

struct Surface : Object {
    Surface() : Object(Kind::Bitmap) {}
    int width = 0;
    int height = 0;
    std::ptrdiff_t stride = 0;  // in pixels
    std::uint32_t* pixels = nullptr;
    std::vector<std::uint32_t> owned;
    int bitsPixel = 32;  // 1 for monochrome bitmaps
    bool host = false;
    const void* selectedBy = nullptr;
    std::uint32_t* row(int y) { return pixels + stride * y; }
};

struct Brush : Object {
    Brush() : Object(Kind::Brush) {}
    bool hollow = false;
    bool mono = false;                  // pattern of 0/1 resolved per device context
    std::array<std::uint32_t, 64> pattern{};  // pixels, or 0/1 when mono
};

struct Palette : Object {
    Palette() : Object(Kind::Palette) {}
    std::vector<PALETTEENTRY> entries;
};

struct DC : Object {
    DC() : Object(Kind::DC) {}
    std::shared_ptr<Surface> surface;
    std::shared_ptr<Brush> brush;
    std::shared_ptr<Palette> palette;
    int bkMode = OPAQUE;
    int rop2 = R2_COPYPEN;
    int stretchMode = BLACKONWHITE;
    COLORREF bkColour = 0xFFFFFF;
    COLORREF textColour = 0;
    bool screen = false;
    bool host = false;
};

// Handle table.
void* Register(std::shared_ptr<Object> object);
std::shared_ptr<Object> Lookup(const void* handle, Kind kind);
bool Unregister(const void* handle);
template <class T>
std::shared_ptr<T> Get(const void* handle, Kind kind) {
    return std::static_pointer_cast<T>(Lookup(handle, kind));
}
std::shared_ptr<Surface> NewSurface(std::int64_t width, std::int64_t height, int bitsPixel);
std::shared_ptr<Surface> StockBitmap();
std::shared_ptr<Brush> StockBrush(int index);
std::shared_ptr<Palette> StockPalette();

// Pixel helpers.
inline std::uint32_t ToPixel(COLORREF c) {
    return 0xFF000000u | ((c & 0xFFu) << 16) | (c & 0xFF00u) | ((c >> 16) & 0xFFu);
}
inline COLORREF ToColorRef(std::uint32_t p) {
    return ((p >> 16) & 0xFFu) | (p & 0xFF00u) | ((p & 0xFFu) << 16);
}

// The device context's brush as 64 pattern pixels (null for a hollow brush).
bool ResolvePattern(const DC& dc, const Brush& brush, std::uint32_t out[64]);
// dst[i] = rop(pattern, src[i], dst[i]) for n pixels starting at device
// column x (pattern column x & 7 of `patternRow`); src may be null.
void RopSpan(std::uint32_t* dst, const std::uint32_t* src, const std::uint32_t* patternRow, int x,
             int n, DWORD rop);
bool RopUsesSource(DWORD rop);
bool RopUsesPattern(DWORD rop);
DWORD Rop2ToRop3(int rop2);
// Fills the rectangle (already clipped to the surface) through `rop`.
void FillArea(DC& dc, const std::uint32_t pattern[64], int left, int top, int right, int bottom,
              DWORD rop);

}  // namespace vellum::gdi
