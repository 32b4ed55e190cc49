// Ternary raster operations from their truth table, brushes, patterns,
// BitBlt and single pixels.
#include <algorithm>
#include <cstring>

#include "platform/gdi_object.h"

namespace vellum::gdi {

bool RopUsesSource(DWORD rop) {
    const unsigned t = (rop >> 16) & 0xFF;
    return ((t >> 2) & 0x33) != (t & 0x33);
}

bool RopUsesPattern(DWORD rop) {
    const unsigned t = (rop >> 16) & 0xFF;
    return ((t >> 4) & 0x0F) != (t & 0x0F);
}

DWORD Rop2ToRop3(int rop2) {
    // The binary table is indexed by (P << 1 | D); spread it over S.
    const unsigned b = static_cast<unsigned>(rop2 - 1) & 0xF;
    unsigned t = 0;
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned p = i >> 2, d = i & 1;
        if ((b >> (p << 1 | d)) & 1) t |= 1u << i;
    }
    return t << 16;
}

bool ResolvePattern(const DC& dc, const Brush& brush, std::uint32_t out[64]) {
    if (brush.hollow) return false;
    if (!brush.mono) {
        std::memcpy(out, brush.pattern.data(), 64 * sizeof(std::uint32_t));
        return true;
    }
    const std::uint32_t fore = ToPixel(dc.textColour), back = ToPixel(dc.bkColour);
    for (int i = 0; i < 64; ++i) out[i] = brush.pattern[i] ? back : fore;
    return true;
}

namespace {

// The general rule: the result bit is the truth table's bit for (P, S, D).
inline std::uint32_t Ternary(unsigned table, std::uint32_t p, std::uint32_t s, std::uint32_t d) {
    std::uint32_t r = 0;
    for (unsigned i = 0; i < 8; ++i) {
        if (!((table >> i) & 1)) continue;
        r |= ((i & 4) ? p : ~p) & ((i & 2) ? s : ~s) & ((i & 1) ? d : ~d);
    }
    return r;
}

template <class F>
inline void Span(std::uint32_t* dst, const std::uint32_t* src, const std::uint32_t* pat, int x,
                 int n, F f) {
    static const std::uint32_t zero = 0;
    const std::uint32_t* s = src ? src : &zero;
    const std::ptrdiff_t step = src ? 1 : 0;
    for (int i = 0; i < n; ++i) {
        dst[i] = f(pat[(x + i) & 7], s[i * step], dst[i]) | 0xFF000000u;
    }
}

}  // namespace

void RopSpan(std::uint32_t* dst, const std::uint32_t* src, const std::uint32_t* pat, int x, int n,
             DWORD rop) {
    static const std::uint32_t black[8] = {};
    if (!pat) pat = black;
    const unsigned t = (rop >> 16) & 0xFF;
    switch (t) {
        case 0xCC:
            if (src) {
                for (int i = 0; i < n; ++i) dst[i] = src[i] | 0xFF000000u;
                return;
            }
            break;
        case 0xF0:
            if ((pat[0] == pat[1]) && std::equal(pat, pat + 7, pat + 1)) {
                std::fill(dst, dst + n, pat[0] | 0xFF000000u);
                return;
            }
            Span(dst, src, pat, x, n, [](auto p, auto, auto) { return p; });
            return;
        case 0x88: Span(dst, src, pat, x, n, [](auto, auto s, auto d) { return s & d; }); return;
        case 0xEE: Span(dst, src, pat, x, n, [](auto, auto s, auto d) { return s | d; }); return;
        case 0x66: Span(dst, src, pat, x, n, [](auto, auto s, auto d) { return s ^ d; }); return;
        case 0x00: std::fill(dst, dst + n, 0xFF000000u); return;
        case 0xFF: std::fill(dst, dst + n, 0xFFFFFFFFu); return;
        case 0xAA: return;
        case 0xAC:
            Span(dst, src, pat, x, n, [](auto p, auto s, auto d) { return (p & d) | (~p & s); });
            return;
        default: break;
    }
    Span(dst, src, pat, x, n, [t](auto p, auto s, auto d) { return Ternary(t, p, s, d); });
}

void FillArea(DC& dc, const std::uint32_t pattern[64], int left, int top, int right, int bottom,
              DWORD rop) {
    Surface& s = *dc.surface;
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, s.width);
    bottom = std::min(bottom, s.height);
    if (left >= right || top >= bottom) return;
    for (int y = top; y < bottom; ++y) {
        RopSpan(s.row(y) + left, nullptr, pattern ? pattern + 8 * (y & 7) : nullptr, left, right - left,
                rop);
    }
}

}  // namespace vellum::gdi

using namespace vellum::gdi;

namespace {

// Products of a 33-bit offset and a 32-bit size.
__extension__ using Wide = __int128;

// Clips a width x height block at (x, y) in `dst` reading (xs, ys) in a
// surface of sw x sh (or unbounded when sw < 0); false when nothing is left.
bool ClipBlock(int& x, int& y, int& w, int& h, int& xs, int& ys, const Surface& dst, int sw,
               int sh) {
    std::int64_t x0 = x, y0 = y, x1 = std::int64_t{x} + w, y1 = std::int64_t{y} + h;
    const std::int64_t dx = std::int64_t{xs} - x, dy = std::int64_t{ys} - y;
    x0 = std::max<std::int64_t>(x0, 0);
    y0 = std::max<std::int64_t>(y0, 0);
    x1 = std::min<std::int64_t>(x1, dst.width);
    y1 = std::min<std::int64_t>(y1, dst.height);
    if (sw >= 0) {
        x0 = std::max(x0, -dx);
        y0 = std::max(y0, -dy);
        x1 = std::min(x1, sw - dx);
        y1 = std::min(y1, sh - dy);
    }
    if (x0 >= x1 || y0 >= y1) return false;
    x = static_cast<int>(x0);
    y = static_cast<int>(y0);
    w = static_cast<int>(x1 - x0);
    h = static_cast<int>(y1 - y0);
    xs = static_cast<int>(x0 + dx);
    ys = static_cast<int>(y0 + dy);
    return true;
}

}  // namespace

BOOL BitBlt(HDC dc, int x, int y, int width, int height, HDC src, int xSrc, int ySrc, DWORD rop) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d || width < 0 || height < 0) return FALSE;
    std::shared_ptr<DC> s;
    if (RopUsesSource(rop)) {
        s = Get<DC>(src, Kind::DC);
        if (!s) return FALSE;
    }
    std::uint32_t pattern[64];
    const std::uint32_t* pat = nullptr;
    if (RopUsesPattern(rop)) {
        if (!ResolvePattern(*d, *d->brush, pattern)) return TRUE;  // hollow brush: nothing
        pat = pattern;
    }
    Surface& ds = *d->surface;
    const int sw = s ? s->surface->width : -1, sh = s ? s->surface->height : -1;
    if (!ClipBlock(x, y, width, height, xSrc, ySrc, ds, sw, sh)) return TRUE;
    std::vector<std::uint32_t> copy;
    const bool same = s && s->surface.get() == d->surface.get();
    if (same) {
        copy.resize(static_cast<std::size_t>(width) * height);
        for (int r = 0; r < height; ++r) {
            std::memcpy(&copy[static_cast<std::size_t>(r) * width], s->surface->row(ySrc + r) + xSrc,
                        sizeof(std::uint32_t) * width);
        }
    }
    for (int r = 0; r < height; ++r) {
        const std::uint32_t* srow = nullptr;
        if (s) srow = same ? &copy[static_cast<std::size_t>(r) * width] : s->surface->row(ySrc + r) + xSrc;
        RopSpan(ds.row(y + r) + x, srow, pat ? pat + 8 * ((y + r) & 7) : nullptr, x, width, rop);
    }
    return TRUE;
}

BOOL StretchBlt(HDC dc, int x, int y, int width, int height, HDC src, int xSrc, int ySrc,
                int srcWidth, int srcHeight, DWORD rop) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return FALSE;
    if (!RopUsesSource(rop)) return PatBlt(dc, x, y, width, height, rop);
    auto s = Get<DC>(src, Kind::DC);
    if (!s || width == 0 || height == 0 || srcWidth == 0 || srcHeight == 0) return FALSE;
    std::uint32_t pattern[64];
    const std::uint32_t* pat = nullptr;
    if (RopUsesPattern(rop)) {
        if (!ResolvePattern(*d, *d->brush, pattern)) return TRUE;
        pat = pattern;
    }
    const std::int64_t dx0 = std::min<std::int64_t>(x, std::int64_t{x} + width);
    const std::int64_t dy0 = std::min<std::int64_t>(y, std::int64_t{y} + height);
    const std::int64_t sx0 = std::min<std::int64_t>(xSrc, std::int64_t{xSrc} + srcWidth);
    const std::int64_t sy0 = std::min<std::int64_t>(ySrc, std::int64_t{ySrc} + srcHeight);
    const std::int64_t dw = std::abs(std::int64_t{width}), dh = std::abs(std::int64_t{height});
    const std::int64_t sw = std::abs(std::int64_t{srcWidth}), shh = std::abs(std::int64_t{srcHeight});
    const bool flipX = (width < 0) != (srcWidth < 0), flipY = (height < 0) != (srcHeight < 0);
    Surface& ds = *d->surface;
    // Copy the source area first: the two may be one surface.
    const Surface& ss = *s->surface;
    const std::int64_t cx0 = std::max<std::int64_t>(sx0, 0), cy0 = std::max<std::int64_t>(sy0, 0);
    const std::int64_t cx1 = std::min<std::int64_t>(sx0 + sw, ss.width);
    const std::int64_t cy1 = std::min<std::int64_t>(sy0 + shh, ss.height);
    const std::int64_t ix0 = std::max<std::int64_t>(dx0, 0), ix1 = std::min<std::int64_t>(dx0 + dw, ds.width);
    const std::int64_t iy0 = std::max<std::int64_t>(dy0, 0), iy1 = std::min<std::int64_t>(dy0 + dh, ds.height);
    if (cx0 >= cx1 || cy0 >= cy1 || ix0 >= ix1 || iy0 >= iy1) return TRUE;
    std::vector<std::int64_t> columns(static_cast<std::size_t>(ix1 - ix0));
    for (std::int64_t i = ix0; i < ix1; ++i) {
        std::int64_t k = static_cast<std::int64_t>((2 * Wide{i - dx0} + 1) * sw / (2 * Wide{dw}));
        if (flipX) k = sw - 1 - k;
        columns[static_cast<std::size_t>(i - ix0)] = sx0 + k;
    }
    std::vector<std::uint32_t> line(static_cast<std::size_t>(ix1 - ix0));
    std::vector<std::uint32_t> area(static_cast<std::size_t>((cx1 - cx0) * (cy1 - cy0)));
    for (std::int64_t r = cy0; r < cy1; ++r) {
        std::memcpy(&area[static_cast<std::size_t>((r - cy0) * (cx1 - cx0))],
                    s->surface->row(static_cast<int>(r)) + cx0,
                    sizeof(std::uint32_t) * static_cast<std::size_t>(cx1 - cx0));
    }
    for (std::int64_t j = iy0; j < iy1; ++j) {
        std::int64_t k = static_cast<std::int64_t>((2 * Wide{j - dy0} + 1) * shh / (2 * Wide{dh}));
        if (flipY) k = shh - 1 - k;
        const std::int64_t sr = sy0 + k;
        if (sr < cy0 || sr >= cy1) continue;
        const std::uint32_t* srow = &area[static_cast<std::size_t>((sr - cy0) * (cx1 - cx0))];
        std::uint32_t* drow = ds.row(static_cast<int>(j));
        std::int64_t run = ix0;
        while (run < ix1) {
            // Draw runs of columns whose source lies inside the area.
            while (run < ix1 && (columns[run - ix0] < cx0 || columns[run - ix0] >= cx1)) ++run;
            std::int64_t end = run;
            while (end < ix1 && columns[end - ix0] >= cx0 && columns[end - ix0] < cx1) {
                line[end - run] = srow[columns[end - ix0] - cx0];
                ++end;
            }
            if (end > run) {
                RopSpan(drow + run, line.data(), pat ? pat + 8 * (j & 7) : nullptr,
                        static_cast<int>(run), static_cast<int>(end - run), rop);
            }
            run = end;
        }
    }
    return TRUE;
}

BOOL PatBlt(HDC dc, int x, int y, int width, int height, DWORD rop) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d || RopUsesSource(rop)) return FALSE;
    std::uint32_t pattern[64];
    const bool has = ResolvePattern(*d, *d->brush, pattern);
    if (!has && RopUsesPattern(rop)) return TRUE;
    const std::int64_t x0 = std::min<std::int64_t>(x, std::int64_t{x} + width);
    const std::int64_t y0 = std::min<std::int64_t>(y, std::int64_t{y} + height);
    const std::int64_t x1 = std::max<std::int64_t>(x, std::int64_t{x} + width);
    const std::int64_t y1 = std::max<std::int64_t>(y, std::int64_t{y} + height);
    FillArea(*d, has ? pattern : nullptr, static_cast<int>(std::clamp<std::int64_t>(x0, INT32_MIN, INT32_MAX)),
             static_cast<int>(std::clamp<std::int64_t>(y0, INT32_MIN, INT32_MAX)),
             static_cast<int>(std::clamp<std::int64_t>(x1, INT32_MIN, INT32_MAX)),
             static_cast<int>(std::clamp<std::int64_t>(y1, INT32_MIN, INT32_MAX)), rop);
    return TRUE;
}

HBRUSH CreateSolidBrush(COLORREF colour) {
    auto b = std::make_shared<Brush>();
    b->pattern.fill(ToPixel(colour & 0xFFFFFF));
    return static_cast<HBRUSH>(Register(b));
}

HBRUSH CreatePatternBrush(HBITMAP bitmap) {
    auto s = Get<Surface>(bitmap, Kind::Bitmap);
    if (!s) return nullptr;
    auto b = std::make_shared<Brush>();
    b->mono = s->bitsPixel == 1;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const std::uint32_t p = s->row(y % s->height)[x % s->width];
            b->pattern[8 * y + x] = b->mono ? ((p & 0xFFFFFF) == 0xFFFFFF ? 1u : 0u) : p;
        }
    }
    return static_cast<HBRUSH>(Register(b));
}

int FillRect(HDC dc, const RECT* rect, HBRUSH brush) {
    auto d = Get<DC>(dc, Kind::DC);
    auto b = Get<Brush>(brush, Kind::Brush);
    if (!d || !b || !rect) return 0;
    std::uint32_t pattern[64];
    if (ResolvePattern(*d, *b, pattern)) {
        FillArea(*d, pattern, rect->left, rect->top, rect->right, rect->bottom, PATCOPY);
    }
    return 1;
}

COLORREF SetPixel(HDC dc, int x, int y, COLORREF colour) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return CLR_INVALID;
    Surface& s = *d->surface;
    if (x < 0 || y < 0 || x >= s.width || y >= s.height) return CLR_INVALID;
    s.row(y)[x] = ToPixel(colour & 0xFFFFFF);
    return colour & 0xFFFFFF;
}

BOOL SetPixelV(HDC dc, int x, int y, COLORREF colour) {
    return SetPixel(dc, x, y, colour) != CLR_INVALID ? TRUE : FALSE;
}

COLORREF GetPixel(HDC dc, int x, int y) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return CLR_INVALID;
    Surface& s = *d->surface;
    if (x < 0 || y < 0 || x >= s.width || y >= s.height) return CLR_INVALID;
    return ToColorRef(s.row(y)[x]);
}
