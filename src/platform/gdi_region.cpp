// Regions on pixman's 32-bit regions.
//
// Invariants: a region is always a valid pixman region (y-x banded,
// coalesced boxes, half-open); an empty region has no boxes. Every operation
// builds into a scratch region and swaps it in last, so a failure leaves the
// destination as it was.
#include <pixman.h>

#include <algorithm>
#include <vector>

#include "platform/gdi_object.h"

namespace vellum::gdi {
namespace {

constexpr std::int64_t kLimit = std::int64_t{1} << 27;

struct Region : Object {
    Region() : Object(Kind::Region) { pixman_region32_init(&r); }
    ~Region() override { pixman_region32_fini(&r); }
    pixman_region32_t r;
};

std::shared_ptr<Region> GetRegion(HRGN h) { return Get<Region>(h, Kind::Region); }

int KindOf(pixman_region32_t* r) {
    const int n = pixman_region32_n_rects(r);
    return n == 0 ? NULLREGION : n == 1 ? SIMPLEREGION : COMPLEXREGION;
}

bool InLimits(std::int64_t v) { return v >= -kLimit && v <= kLimit; }

// Integer floor and ceiling of a / b for b > 0.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}
std::int64_t CeilDiv(std::int64_t a, std::int64_t b) { return -FloorDiv(-a, b); }

// Rasterises a polygon at pixel centres into boxes.
bool Scan(const POINT* pts, int count, int mode, std::vector<pixman_box32_t>& boxes) {
    struct Edge {
        std::int64_t x0, y0, x1, y1;
        int dir;
    };
    std::vector<Edge> edges;
    std::int64_t top = INT64_MAX, bottom = INT64_MIN;
    for (int i = 0; i < count; ++i) {
        const POINT a = pts[i], b = pts[(i + 1) % count];
        if (!InLimits(a.x) || !InLimits(a.y)) return false;
        top = std::min<std::int64_t>(top, a.y);
        bottom = std::max<std::int64_t>(bottom, a.y);
        if (a.y == b.y) continue;
        if (a.y < b.y) {
            edges.push_back({a.x, a.y, b.x, b.y, 1});
        } else {
            edges.push_back({b.x, b.y, a.x, a.y, -1});
        }
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& l, const Edge& r) { return l.y0 < r.y0; });
    struct Cross {
        std::int64_t x;  // first pixel whose centre is at or right of the edge
        int dir;
    };
    std::vector<Cross> cross;
    std::vector<const Edge*> active;
    std::size_t next = 0;
    for (std::int64_t y = top; y < bottom; ++y) {
        // The scan line's sample height is y + 1/2 (2y + 1 in halves).
        while (next < edges.size() && edges[next].y0 <= y) active.push_back(&edges[next++]);
        active.erase(std::remove_if(active.begin(), active.end(),
                                    [y](const Edge* e) { return e->y1 <= y; }),
                     active.end());
        cross.clear();
        for (const Edge* e : active) {
            // Edge x at the sample: x0 + (y + 1/2 - y0) dx / dy; the first
            // pixel whose centre is at or beyond it: ceil(x - 1/2).
            const std::int64_t dy = e->y1 - e->y0, dx = e->x1 - e->x0;
            const std::int64_t num = (2 * e->x0 - 1) * dy + (2 * (y - e->y0) + 1) * dx;
            cross.push_back({CeilDiv(num, 2 * dy), e->dir});
        }
        std::sort(cross.begin(), cross.end(), [](const Cross& a, const Cross& b) { return a.x < b.x; });
        int winding = 0;
        for (std::size_t i = 0; i + 1 < cross.size(); ++i) {
            winding += mode == WINDING ? cross[i].dir : 1;
            const bool inside = mode == WINDING ? winding != 0 : (winding & 1);
            if (inside && cross[i].x < cross[i + 1].x) {
                boxes.push_back({static_cast<int32_t>(cross[i].x), static_cast<int32_t>(y),
                                 static_cast<int32_t>(cross[i + 1].x), static_cast<int32_t>(y + 1)});
            }
        }
    }
    return true;
}

}  // namespace
}  // namespace vellum::gdi

using namespace vellum::gdi;

HRGN CreateRectRgn(int left, int top, int right, int bottom) {
    if (!InLimits(left) || !InLimits(top) || !InLimits(right) || !InLimits(bottom)) return nullptr;
    auto r = std::make_shared<Region>();
    const int l = std::min(left, right), rr = std::max(left, right);
    const int t = std::min(top, bottom), b = std::max(top, bottom);
    if (l < rr && t < b) {
        pixman_region32_fini(&r->r);
        pixman_region32_init_rect(&r->r, l, t, static_cast<unsigned>(rr - l),
                                  static_cast<unsigned>(b - t));
    }
    return static_cast<HRGN>(Register(r));
}

HRGN CreateRectRgnIndirect(const RECT* rect) {
    return rect ? CreateRectRgn(rect->left, rect->top, rect->right, rect->bottom) : nullptr;
}

HRGN CreatePolygonRgn(const POINT* points, int count, int fillMode) {
    if (!points || count < 2 || (fillMode != ALTERNATE && fillMode != WINDING)) return nullptr;
    std::vector<pixman_box32_t> boxes;
    if (!Scan(points, count, fillMode, boxes)) return nullptr;
    auto r = std::make_shared<Region>();
    if (!boxes.empty()) {
        pixman_region32_fini(&r->r);
        if (!pixman_region32_init_rects(&r->r, boxes.data(), static_cast<int>(boxes.size()))) {
            pixman_region32_init(&r->r);
            return nullptr;
        }
    }
    return static_cast<HRGN>(Register(r));
}

BOOL SetRectRgn(HRGN region, int left, int top, int right, int bottom) {
    auto r = GetRegion(region);
    if (!r || !InLimits(left) || !InLimits(top) || !InLimits(right) || !InLimits(bottom)) {
        return FALSE;
    }
    const int l = std::min(left, right), rr = std::max(left, right);
    const int t = std::min(top, bottom), b = std::max(top, bottom);
    pixman_region32_fini(&r->r);
    if (l < rr && t < b) {
        pixman_region32_init_rect(&r->r, l, t, static_cast<unsigned>(rr - l),
                                  static_cast<unsigned>(b - t));
    } else {
        pixman_region32_init(&r->r);
    }
    return TRUE;
}

int CombineRgn(HRGN dest, HRGN src1, HRGN src2, int mode) {
    auto d = GetRegion(dest);
    auto a = GetRegion(src1);
    if (!d || !a || mode < RGN_AND || mode > RGN_COPY) return ERROR;
    std::shared_ptr<Region> b;
    if (mode != RGN_COPY) {
        b = GetRegion(src2);
        if (!b) return ERROR;
    }
    pixman_region32_t out;
    pixman_region32_init(&out);
    pixman_bool_t ok = 1;
    switch (mode) {
        case RGN_AND: ok = pixman_region32_intersect(&out, &a->r, &b->r); break;
        case RGN_OR: ok = pixman_region32_union(&out, &a->r, &b->r); break;
        case RGN_DIFF: ok = pixman_region32_subtract(&out, &a->r, &b->r); break;
        case RGN_COPY: ok = pixman_region32_copy(&out, &a->r); break;
        case RGN_XOR: {
            pixman_region32_t both, common;
            pixman_region32_init(&both);
            pixman_region32_init(&common);
            ok = pixman_region32_union(&both, &a->r, &b->r) &&
                 pixman_region32_intersect(&common, &a->r, &b->r) &&
                 pixman_region32_subtract(&out, &both, &common);
            pixman_region32_fini(&both);
            pixman_region32_fini(&common);
            break;
        }
    }
    if (!ok) {
        pixman_region32_fini(&out);
        return ERROR;
    }
    pixman_region32_fini(&d->r);
    d->r = out;  // pixman regions move by value
    return KindOf(&d->r);
}

int OffsetRgn(HRGN region, int dx, int dy) {
    auto r = GetRegion(region);
    if (!r) return ERROR;
    if (pixman_region32_not_empty(&r->r)) {
        const pixman_box32_t* e = pixman_region32_extents(&r->r);
        if (!InLimits(std::int64_t{e->x1} + dx) || !InLimits(std::int64_t{e->x2} + dx) ||
            !InLimits(std::int64_t{e->y1} + dy) || !InLimits(std::int64_t{e->y2} + dy)) {
            return ERROR;
        }
        pixman_region32_translate(&r->r, dx, dy);
    }
    return KindOf(&r->r);
}

int GetRgnBox(HRGN region, LPRECT rect) {
    auto r = GetRegion(region);
    if (!r || !rect) return ERROR;
    if (!pixman_region32_not_empty(&r->r)) {
        *rect = RECT{0, 0, 0, 0};
        return NULLREGION;
    }
    const pixman_box32_t* e = pixman_region32_extents(&r->r);
    *rect = RECT{e->x1, e->y1, e->x2, e->y2};
    return KindOf(&r->r);
}

BOOL PtInRegion(HRGN region, int x, int y) {
    auto r = GetRegion(region);
    return r && pixman_region32_contains_point(&r->r, x, y, nullptr) ? TRUE : FALSE;
}

BOOL RectInRegion(HRGN region, const RECT* rect) {
    auto r = GetRegion(region);
    if (!r || !rect) return FALSE;
    pixman_box32_t box{std::min(rect->left, rect->right), std::min(rect->top, rect->bottom),
                       std::max(rect->left, rect->right), std::max(rect->top, rect->bottom)};
    return pixman_region32_contains_rectangle(&r->r, &box) != PIXMAN_REGION_OUT ? TRUE : FALSE;
}

BOOL EqualRgn(HRGN a, HRGN b) {
    auto ra = GetRegion(a);
    auto rb = GetRegion(b);
    if (!ra || !rb) return ERROR;
    return pixman_region32_equal(&ra->r, &rb->r) ? TRUE : FALSE;
}

int VellumRegionRects(HRGN region, RECT* out, int capacity) {
    auto r = GetRegion(region);
    if (!r) return -1;
    int n = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&r->r, &n);
    for (int i = 0; out && i < n && i < capacity; ++i) {
        out[i] = RECT{boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2};
    }
    return n;
}

namespace {

BOOL FillWith(HDC dc, HRGN region, const Brush* brush, DWORD rop) {
    auto d = Get<DC>(dc, Kind::DC);
    auto r = GetRegion(region);
    if (!d || !r || !brush) return FALSE;
    std::uint32_t pattern[64];
    const bool has = ResolvePattern(*d, *brush, pattern);
    if (!has && RopUsesPattern(rop)) return TRUE;
    int n = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&r->r, &n);
    for (int i = 0; i < n; ++i) {
        FillArea(*d, has ? pattern : nullptr, boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2,
                 rop);
    }
    return TRUE;
}

}  // namespace

BOOL FillRgn(HDC dc, HRGN region, HBRUSH brush) {
    auto b = Get<Brush>(brush, Kind::Brush);
    return FillWith(dc, region, b.get(), PATCOPY);
}

BOOL PaintRgn(HDC dc, HRGN region) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return FALSE;
    return FillWith(dc, region, d->brush.get(), Rop2ToRop3(d->rop2));
}
