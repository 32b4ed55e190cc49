// Device contexts, surfaces, the handle table, stock objects, the virtual
// screen and host surfaces.
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "platform/gdi_object.h"
#include "platform/user.h"

namespace vellum::gdi {
namespace {

constexpr std::int64_t kMaxSide = std::int64_t{1} << 27;
constexpr std::int64_t kMaxBytes = 0x7FFFFFFF;

struct Table {
    std::mutex lock;
    std::unordered_map<const void*, std::shared_ptr<Object>> objects;
};

Table& table() {
    static Table* t = new Table;  // outlives every static destructor that may delete a handle
    return *t;
}

}  // namespace

void* Register(std::shared_ptr<Object> object) {
    if (!object) return nullptr;
    void* handle = object.get();
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    t.objects.emplace(handle, std::move(object));
    return handle;
}

std::shared_ptr<Object> Lookup(const void* handle, Kind kind) {
    if (!handle) return nullptr;
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    const auto it = t.objects.find(handle);
    if (it == t.objects.end() || it->second->kind != kind) return nullptr;
    return it->second;
}

static std::shared_ptr<Object> LookupAny(const void* handle) {
    if (!handle) return nullptr;
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    const auto it = t.objects.find(handle);
    return it == t.objects.end() ? nullptr : it->second;
}

bool Unregister(const void* handle) {
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    return t.objects.erase(handle) != 0;
}

std::shared_ptr<Surface> NewSurface(std::int64_t width, std::int64_t height, int bitsPixel) {
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return nullptr;
    if (width * height * 4 > kMaxBytes) return nullptr;
    auto s = std::make_shared<Surface>();
    try {
        s->owned.assign(static_cast<std::size_t>(width * height), 0xFF000000u);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    s->width = static_cast<int>(width);
    s->height = static_cast<int>(height);
    s->stride = s->width;
    s->pixels = s->owned.data();
    s->bitsPixel = bitsPixel;
    return s;
}

namespace {

struct Stock {
    std::shared_ptr<Surface> bitmap;
    std::shared_ptr<Brush> brushes[6];
    std::shared_ptr<Palette> palette;
    std::shared_ptr<Surface> screen;
    Stock() {
        bitmap = NewSurface(1, 1, 1);
        bitmap->stock = true;
        const COLORREF greys[5] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040, 0};
        for (int i = 0; i < 6; ++i) {
            brushes[i] = std::make_shared<Brush>();
            brushes[i]->stock = true;
            if (i == NULL_BRUSH) {
                brushes[i]->hollow = true;
            } else {
                brushes[i]->pattern.fill(ToPixel(greys[i]));
            }
        }
        // The 20 static colours of the system palette.
        static const BYTE kStatic[20][3] = {
            {0, 0, 0},       {128, 0, 0},     {0, 128, 0},     {128, 128, 0},   {0, 0, 128},
            {128, 0, 128},   {0, 128, 128},   {192, 192, 192}, {192, 220, 192}, {166, 202, 240},
            {255, 251, 240}, {160, 160, 164}, {128, 128, 128}, {255, 0, 0},     {0, 255, 0},
            {255, 255, 0},   {0, 0, 255},     {255, 0, 255},   {0, 255, 255},   {255, 255, 255},
        };
        palette = std::make_shared<Palette>();
        palette->stock = true;
        for (const auto& c : kStatic) palette->entries.push_back(PALETTEENTRY{c[0], c[1], c[2], 0});
        screen = NewSurface(kVirtualScreenWidth, kVirtualScreenHeight, 32);
        screen->stock = true;
        screen->selectedBy = this;
        Register(bitmap);
        for (auto& b : brushes) Register(b);
        Register(palette);
    }
};

Stock& stock() {
    static Stock* s = new Stock;
    return *s;
}

std::shared_ptr<DC> NewDC() {
    auto dc = std::make_shared<DC>();
    dc->brush = stock().brushes[WHITE_BRUSH];
    dc->palette = stock().palette;
    return dc;
}

void ReleaseSelections(DC& dc) {
    if (dc.surface && dc.surface->selectedBy == &dc) dc.surface->selectedBy = nullptr;
    dc.surface.reset();
    dc.brush.reset();
    dc.palette.reset();
}

}  // namespace

std::shared_ptr<Surface> StockBitmap() { return stock().bitmap; }
std::shared_ptr<Brush> StockBrush(int index) { return stock().brushes[index]; }
std::shared_ptr<Palette> StockPalette() { return stock().palette; }

}  // namespace vellum::gdi

using namespace vellum::gdi;

HDC CreateCompatibleDC(HDC dc) {
    if (dc && !Lookup(dc, Kind::DC)) return nullptr;
    auto fresh = NewDC();
    fresh->surface = StockBitmap();
    return static_cast<HDC>(Register(fresh));
}

HDC VellumCreateHostDC(void* pixels, int width, int height, int strideBytes) {
    if (!pixels || width < 1 || height < 1 || strideBytes % 4 != 0 ||
        static_cast<std::int64_t>(strideBytes) < 4 * static_cast<std::int64_t>(width) ||
        width > (1 << 27) || height > (1 << 27)) {
        return nullptr;
    }
    auto surface = std::make_shared<Surface>();
    surface->width = width;
    surface->height = height;
    surface->stride = strideBytes / 4;
    surface->pixels = static_cast<std::uint32_t*>(pixels);
    surface->host = true;
    auto dc = NewDC();
    dc->host = true;
    surface->selectedBy = dc.get();
    dc->surface = surface;
    return static_cast<HDC>(Register(dc));
}

HDC GetDC(HWND) {
    auto dc = NewDC();
    dc->screen = true;
    dc->surface = stock().screen;
    return static_cast<HDC>(Register(dc));
}

int ReleaseDC(HWND, HDC dc) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d || !d->screen) return 0;
    Unregister(dc);
    ReleaseSelections(*d);
    return 1;
}

BOOL DeleteDC(HDC dc) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return FALSE;
    Unregister(dc);
    ReleaseSelections(*d);
    return TRUE;
}

long VellumGdiObjectCount() {
    stock();
    Table& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    long n = 0;
    for (const auto& [handle, object] : t.objects) n += object->stock ? 0 : 1;
    return n;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
    auto d = Get<DC>(dc, Kind::DC);
    auto o = LookupAny(object);
    if (!d || !o) return nullptr;
    switch (o->kind) {
        case Kind::Bitmap: {
            auto s = std::static_pointer_cast<Surface>(o);
            if (d->screen || d->host) return nullptr;
            if (s == d->surface) return object;
            if (s->selectedBy && !s->stock) return nullptr;
            auto old = d->surface;
            if (old && old->selectedBy == d.get()) old->selectedBy = nullptr;
            if (!s->stock) s->selectedBy = d.get();
            d->surface = s;
            return old.get();
        }
        case Kind::Brush: {
            auto old = d->brush;
            d->brush = std::static_pointer_cast<Brush>(o);
            return old.get();
        }
        case Kind::Region:
            return HGDI_ERROR;
        default:
            return nullptr;
    }
}

HGDIOBJ GetCurrentObject(HDC dc, UINT kind) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return nullptr;
    if (kind == OBJ_BITMAP) return d->surface.get();
    if (kind == OBJ_BRUSH) return d->brush.get();
    if (kind == OBJ_PAL) return d->palette.get();
    return nullptr;
}

#define DC_ATTRIBUTE(Setter, Getter, Type, field, bad, valid)     \
    Type Setter(HDC dc, Type value) {                             \
        auto d = Get<DC>(dc, Kind::DC);                           \
        if (!d || !(valid)) return bad;                           \
        const Type old = d->field;                                \
        d->field = value;                                         \
        return old;                                               \
    }                                                             \
    Type Getter(HDC dc) {                                         \
        auto d = Get<DC>(dc, Kind::DC);                           \
        return d ? d->field : bad;                                \
    }

DC_ATTRIBUTE(SetBkMode, GetBkMode, int, bkMode, 0, value == TRANSPARENT || value == OPAQUE)
DC_ATTRIBUTE(SetROP2, GetROP2, int, rop2, 0, value >= R2_BLACK && value <= R2_WHITE)
DC_ATTRIBUTE(SetStretchBltMode, GetStretchBltMode, int, stretchMode, 0,
             value >= BLACKONWHITE && value <= HALFTONE)
DC_ATTRIBUTE(SetBkColor, GetBkColor, COLORREF, bkColour, CLR_INVALID, true)
DC_ATTRIBUTE(SetTextColor, GetTextColor, COLORREF, textColour, CLR_INVALID, true)

int GetDeviceCaps(HDC dc, int index) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return 0;
    switch (index) {
        case HORZRES: return d->surface->width;
        case VERTRES: return d->surface->height;
        case BITSPIXEL: return 32;
        case PLANES: return 1;
        case RASTERCAPS: return 0;
        case SIZEPALETTE: return 0;
        default: return 0;
    }
}

HBITMAP CreateCompatibleBitmap(HDC dc, int width, int height) {
    if (!Lookup(dc, Kind::DC) || width < 0 || height < 0) return nullptr;
    auto s = (width == 0 || height == 0) ? NewSurface(1, 1, 1) : NewSurface(width, height, 32);
    return static_cast<HBITMAP>(Register(s));
}

HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void* bits) {
    if (width < 1 || height < 1 || planes == 0 || planes > 32 || bitsPerPixel > 32) return nullptr;
    const bool mono = planes * bitsPerPixel == 1;
    auto s = NewSurface(width, height, mono ? 1 : 32);
    if (!s) return nullptr;
    if (mono) {
        const std::int64_t stride = (width + 15) / 16 * 2;
        for (int y = 0; y < height; ++y) {
            std::uint32_t* row = s->row(y);
            for (int x = 0; x < width; ++x) {
                const bool white =
                    bits && ((static_cast<const BYTE*>(bits)[stride * y + x / 8] >> (7 - x % 8)) & 1);
                row[x] = white ? 0xFFFFFFFFu : 0xFF000000u;
            }
        }
    } else if (bits) {
        const auto* src = static_cast<const std::uint32_t*>(bits);
        for (std::int64_t i = 0; i < std::int64_t{width} * height; ++i) {
            s->pixels[i] = src[i] | 0xFF000000u;
        }
    }
    return static_cast<HBITMAP>(Register(s));
}

DWORD GetObjectType(HGDIOBJ object) {
    auto o = LookupAny(object);
    if (!o) return 0;
    switch (o->kind) {
        case Kind::Bitmap: return OBJ_BITMAP;
        case Kind::Brush: return OBJ_BRUSH;
        case Kind::Palette: return OBJ_PAL;
        case Kind::Region: return OBJ_REGION;
        case Kind::DC: return std::static_pointer_cast<DC>(o)->screen ? OBJ_DC : OBJ_MEMDC;
    }
    return 0;
}

int GetObject(HGDIOBJ object, int bytes, LPVOID out) {
    auto o = LookupAny(object);
    if (!o || bytes < 0) return 0;
    if (o->kind == Kind::Bitmap) {
        auto s = std::static_pointer_cast<Surface>(o);
        if (!out) return sizeof(BITMAP);
        if (bytes < static_cast<int>(sizeof(BITMAP))) return 0;
        BITMAP bm{};
        bm.bmType = 0;
        bm.bmWidth = s->width;
        bm.bmHeight = s->height;
        bm.bmWidthBytes = static_cast<LONG>((static_cast<std::int64_t>(s->width) * s->bitsPixel + 15) / 16 * 2);
        bm.bmPlanes = 1;
        bm.bmBitsPixel = static_cast<WORD>(s->bitsPixel);
        std::memcpy(out, &bm, sizeof bm);
        return sizeof(BITMAP);
    }
    if (o->kind == Kind::Palette) {
        if (!out) return sizeof(WORD);
        if (bytes < static_cast<int>(sizeof(WORD))) return 0;
        const WORD n = static_cast<WORD>(std::static_pointer_cast<Palette>(o)->entries.size());
        std::memcpy(out, &n, sizeof n);
        return sizeof(WORD);
    }
    return 0;
}

int GetObjectA(HGDIOBJ object, int bytes, LPVOID out) { return GetObject(object, bytes, out); }

BOOL DeleteObject(HGDIOBJ object) {
    auto o = LookupAny(object);
    if (!o || o->kind == Kind::DC) return FALSE;
    if (o->stock) return TRUE;
    if (o->kind == Kind::Bitmap && std::static_pointer_cast<Surface>(o)->selectedBy) return FALSE;
    return Unregister(object) ? TRUE : FALSE;
}

HGDIOBJ GetStockObject(int index) {
    if (index >= WHITE_BRUSH && index <= NULL_BRUSH) return StockBrush(index).get();
    if (index == DEFAULT_PALETTE) return StockPalette().get();
    return nullptr;
}

HPALETTE SelectPalette(HDC dc, HPALETTE palette, BOOL) {
    auto d = Get<DC>(dc, Kind::DC);
    auto p = Get<Palette>(palette, Kind::Palette);
    if (!d || !p) return nullptr;
    auto old = d->palette;
    d->palette = p;
    return reinterpret_cast<HPALETTE>(old.get());
}

UINT RealizePalette(HDC dc) { return Lookup(dc, Kind::DC) ? 0u : GDI_ERROR; }
