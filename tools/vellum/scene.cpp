#include "scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace vellum::cli {
namespace {

constexpr double kPi = 3.14159265358979323846;

struct Rgb {
    int r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) {
    t = std::clamp(t, 0.0, 1.0);
    return {static_cast<int>(std::lround(a.r + (b.r - a.r) * t)),
            static_cast<int>(std::lround(a.g + (b.g - a.g) * t)),
            static_cast<int>(std::lround(a.b + (b.b - a.b) * t))};
}

// Fully saturated colour of hue h in [0, 1).
Rgb hue(double h) {
    const double x = h * 6.0;
    const int sector = static_cast<int>(x) % 6;
    const int up = static_cast<int>(std::lround((x - std::floor(x)) * 255));
    const int down = 255 - up;
    switch (sector) {
        case 0:
            return {255, up, 0};
        case 1:
            return {down, 255, 0};
        case 2:
            return {0, 255, up};
        case 3:
            return {0, down, 255};
        case 4:
            return {up, 0, 255};
        default:
            return {255, 0, down};
    }
}

// Top-down drawing over a bottom-up 24-bit pixel block; everything outside
// the picture is clipped.
class Canvas {
  public:
    explicit Canvas(Image& image)
        : bits_(static_cast<BYTE*>(image.bits)),
          width_(image.width()),
          height_(image.height()),
          stride_(VellumDibStride(24, image.width())) {}

    int width() const { return width_; }
    int height() const { return height_; }

    void put(int x, int y, Rgb c) {
        if (BYTE* p = at(x, y)) {
            p[0] = static_cast<BYTE>(std::clamp(c.b, 0, 255));
            p[1] = static_cast<BYTE>(std::clamp(c.g, 0, 255));
            p[2] = static_cast<BYTE>(std::clamp(c.r, 0, 255));
        }
    }

    void blend(int x, int y, Rgb c, double alpha) {
        if (alpha <= 0) return;
        if (const BYTE* p = at(x, y)) put(x, y, mix({p[2], p[1], p[0]}, c, alpha));
    }

    void fill(int x0, int y0, int x1, int y1, Rgb c) {
        x0 = std::max(x0, 0);
        y0 = std::max(y0, 0);
        x1 = std::min(x1, width_);
        y1 = std::min(y1, height_);
        for (int y = y0; y < y1; ++y) {
            for (int x = x0; x < x1; ++x) put(x, y, c);
        }
    }

  private:
    BYTE* at(int x, int y) {
        if (x < 0 || y < 0 || x >= width_ || y >= height_) return nullptr;
        return bits_ + (height_ - 1 - y) * stride_ + 3 * static_cast<std::int64_t>(x);
    }

    BYTE* bits_;
    int width_;
    int height_;
    std::int64_t stride_;
};

// 5 x 7 capitals, digits and a little punctuation; bit 4 is the left column.
struct Glyph {
    char c;
    BYTE rows[7];
};
constexpr Glyph kFont[] = {
    {'A', {0x0E, 0x11, 0x11, 0x11, 0x1F, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
};

const Glyph* findGlyph(char c) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    for (const Glyph& g : kFont) {
        if (g.c == c) return &g;
    }
    return nullptr;  // blank
}

// Draws text with its top-left corner at (x, y), each font dot scale x scale.
void drawText(Canvas& canvas, int x, int y, std::string_view text, int scale, Rgb colour) {
    for (char c : text) {
        if (const Glyph* g = findGlyph(c)) {
            for (int row = 0; row < 7; ++row) {
                for (int col = 0; col < 5; ++col) {
                    if (g->rows[row] & (0x10 >> col)) {
                        canvas.fill(x + col * scale, y + row * scale, x + (col + 1) * scale,
                                    y + (row + 1) * scale, colour);
                    }
                }
            }
        }
        x += 6 * scale;
    }
}

// Point (px, py) inside triangle a, b, c (either winding).
bool inTriangle(double px, double py, const double a[2], const double b[2], const double c[2]) {
    auto side = [&](const double* p, const double* q) {
        return (q[0] - p[0]) * (py - p[1]) - (q[1] - p[1]) * (px - p[0]);
    };
    const double d1 = side(a, b), d2 = side(b, c), d3 = side(c, a);
    const bool negative = d1 < 0 || d2 < 0 || d3 < 0;
    const bool positive = d1 > 0 || d2 > 0 || d3 > 0;
    return !(negative && positive);
}

void fillTriangle(Canvas& canvas, const double a[2], const double b[2], const double c[2],
                  Rgb colour) {
    const int x0 = static_cast<int>(std::floor(std::min({a[0], b[0], c[0]})));
    const int x1 = static_cast<int>(std::ceil(std::max({a[0], b[0], c[0]})));
    const int y0 = static_cast<int>(std::floor(std::min({a[1], b[1], c[1]})));
    const int y1 = static_cast<int>(std::ceil(std::max({a[1], b[1], c[1]})));
    for (int y = std::max(y0, 0); y <= std::min(y1, canvas.height() - 1); ++y) {
        for (int x = std::max(x0, 0); x <= std::min(x1, canvas.width() - 1); ++x) {
            if (inTriangle(x + 0.5, y + 0.5, a, b, c)) canvas.put(x, y, colour);
        }
    }
}

// A disc with a one-pixel soft edge.
void fillDisc(Canvas& canvas, double cx, double cy, double radius, Rgb colour) {
    const int y0 = static_cast<int>(cy - radius - 1), y1 = static_cast<int>(cy + radius + 1);
    const int x0 = static_cast<int>(cx - radius - 1), x1 = static_cast<int>(cx + radius + 1);
    for (int y = std::max(y0, 0); y <= std::min(y1, canvas.height() - 1); ++y) {
        for (int x = std::max(x0, 0); x <= std::min(x1, canvas.width() - 1); ++x) {
            const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
            canvas.blend(x, y, colour, radius + 0.5 - d);
        }
    }
}

void drawSky(Canvas& canvas, double horizon) {
    const Rgb top{18, 38, 120}, middle{90, 140, 215}, low{255, 196, 140};
    for (int y = 0; y < canvas.height(); ++y) {
        const double t = (y + 0.5) / horizon;
        const Rgb c = t < 0.6 ? mix(top, middle, t / 0.6) : mix(middle, low, (t - 0.6) / 0.4);
        canvas.fill(0, y, canvas.width(), y + 1, c);
    }
}

void drawSun(Canvas& canvas, double cx, double cy, double radius) {
    const Rgb glow{255, 214, 120};
    const int reach = static_cast<int>(radius * 3) + 1;
    for (int y = static_cast<int>(cy) - reach; y <= static_cast<int>(cy) + reach; ++y) {
        for (int x = static_cast<int>(cx) - reach; x <= static_cast<int>(cx) + reach; ++x) {
            const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
            if (d > radius && d < 3 * radius) {
                const double fall = 1.0 - (d - radius) / (2 * radius);
                canvas.blend(x, y, glow, 0.55 * fall * fall);
            }
        }
    }
    fillDisc(canvas, cx, cy, radius, {255, 242, 100});
}

void drawCloud(Canvas& canvas, double cx, double cy, double rx, double ry) {
    // Three overlapping soft ellipses.
    const double parts[3][3] = {{-0.45, 0.15, 0.6}, {0.0, -0.1, 0.8}, {0.45, 0.12, 0.55}};
    for (const auto& p : parts) {
        const double ex = cx + p[0] * rx, ey = cy + p[1] * ry, sx = rx * p[2], sy = ry * p[2] * 1.4;
        for (int y = static_cast<int>(ey - sy) - 1; y <= static_cast<int>(ey + sy) + 1; ++y) {
            for (int x = static_cast<int>(ex - sx) - 1; x <= static_cast<int>(ex + sx) + 1; ++x) {
                const double dx = (x + 0.5 - ex) / sx, dy = (y + 0.5 - ey) / sy;
                const double d = std::sqrt(dx * dx + dy * dy);
                canvas.blend(x, y, {250, 250, 255}, std::clamp((1.0 - d) * 4.0, 0.0, 1.0) * 0.85);
            }
        }
    }
}

// Fills everything below ridge(x) with a vertical gradient; `furrow` > 0 adds
// alternating bands of that many pixels, like a mown field.
template <typename Ridge>
void drawHills(Canvas& canvas, Ridge ridge, Rgb near, Rgb far, int furrow) {
    const int w = canvas.width(), h = canvas.height();
    for (int x = 0; x < w; ++x) {
        const double top = ridge(x);
        for (int y = std::max(0, static_cast<int>(std::ceil(top))); y < h; ++y) {
            Rgb c = mix(near, far, (y - top) / std::max(1.0, h - top));
            if (furrow > 0 && (static_cast<int>(y - top) / furrow) % 2 == 1) {
                c = {c.r - 12, c.g - 14, c.b - 8};
            }
            canvas.put(x, y, c);
        }
    }
}

void drawHouse(Canvas& canvas, double x, double ground, double size) {
    const int left = static_cast<int>(x), right = static_cast<int>(x + size);
    const int top = static_cast<int>(ground - size * 0.7), bottom = static_cast<int>(ground);
    canvas.fill(left, top, right, bottom, {236, 226, 204});
    const double a[2] = {x - size * 0.12, ground - size * 0.7};
    const double b[2] = {x + size * 1.12, ground - size * 0.7};
    const double c[2] = {x + size * 0.5, ground - size * 1.25};
    fillTriangle(canvas, a, b, c, {200, 36, 36});
    const int pane = std::max(1, static_cast<int>(size * 0.16));
    for (int i = 0; i < 2; ++i) {
        const int wx = left + static_cast<int>(size * (0.16 + 0.5 * i));
        const int wy = top + static_cast<int>(size * 0.14);
        canvas.fill(wx, wy, wx + 2 * pane + 1, wy + 2 * pane + 1, {60, 40, 30});
        canvas.fill(wx + 1, wy + 1, wx + pane, wy + pane, {120, 190, 240});
        canvas.fill(wx + pane + 1, wy + 1, wx + 2 * pane, wy + pane, {120, 190, 240});
        canvas.fill(wx + 1, wy + pane + 1, wx + pane, wy + 2 * pane, {120, 190, 240});
        canvas.fill(wx + pane + 1, wy + pane + 1, wx + 2 * pane, wy + 2 * pane, {120, 190, 240});
    }
    const int door = std::max(1, static_cast<int>(size * 0.18));
    const int dx = left + static_cast<int>(size * 0.41);
    canvas.fill(dx, bottom - static_cast<int>(size * 0.36), dx + door, bottom, {90, 50, 30});
}

void drawTree(Canvas& canvas, double x, double ground, double size) {
    canvas.fill(static_cast<int>(x - size * 0.07), static_cast<int>(ground - size * 0.6),
                static_cast<int>(x + size * 0.07) + 1, static_cast<int>(ground) + 1, {96, 62, 34});
    fillDisc(canvas, x, ground - size * 0.85, size * 0.38, {24, 110, 40});
    fillDisc(canvas, x - size * 0.2, ground - size * 0.62, size * 0.26, {30, 128, 46});
    fillDisc(canvas, x + size * 0.22, ground - size * 0.66, size * 0.25, {20, 96, 36});
}

// The four saturated shapes in the foreground, each in a size x size cell.
void drawShapes(Canvas& canvas, double x, double y, double size, double gap) {
    canvas.fill(static_cast<int>(x), static_cast<int>(y), static_cast<int>(x + size),
                static_cast<int>(y + size), {230, 20, 30});
    x += size + gap;
    const double a[2] = {x, y + size}, b[2] = {x + size, y + size}, c[2] = {x + size / 2, y};
    fillTriangle(canvas, a, b, c, {255, 220, 0});
    x += size + gap;
    fillDisc(canvas, x + size / 2, y + size / 2, size / 2, {20, 60, 235});
    x += size + gap;
    const double top[2] = {x + size / 2, y}, left[2] = {x, y + size / 2},
                 right[2] = {x + size, y + size / 2}, bottom[2] = {x + size / 2, y + size};
    fillTriangle(canvas, top, left, right, {230, 0, 210});
    fillTriangle(canvas, bottom, left, right, {230, 0, 210});
    // A cyan bar across the diamond and the circle: overlapping edges.
    canvas.fill(static_cast<int>(x - gap - size * 0.7), static_cast<int>(y + size * 0.42),
                static_cast<int>(x + size * 0.7), static_cast<int>(y + size * 0.58), {0, 220, 230});
}

// The test panel: stripes, checkerboards, a zone plate and colour bars, in
// four tiles, framed in white.
void drawPanel(Canvas& canvas, int x0, int y0, int x1, int y1) {
    canvas.fill(x0 - 2, y0 - 2, x1 + 2, y1 + 2, {255, 255, 255});
    canvas.fill(x0, y0, x1, y1, {0, 0, 0});
    const int tile = std::max(1, (x1 - x0) / 4);
    const int mid = (y0 + y1) / 2;
    const Rgb black{0, 0, 0}, white{255, 255, 255};

    // 1: one-pixel vertical stripes above, horizontal below.
    for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x0 + tile; ++x) {
            canvas.put(x, y, ((y < mid ? x : y) & 1) ? white : black);
        }
    }
    // 2: four-pixel checkerboard above, one-pixel below.
    for (int y = y0; y < y1; ++y) {
        for (int x = x0 + tile; x < x0 + 2 * tile; ++x) {
            const int cell = y < mid ? 4 : 1;
            canvas.put(x, y, (((x - x0) / cell + (y - y0) / cell) & 1) ? white : black);
        }
    }
    // 3: zone plate whose rings reach one cycle per two pixels at the edge.
    const double cx = x0 + 2.5 * tile, cy = (y0 + y1) / 2.0;
    const double reach = std::max(1.0, std::min(tile, y1 - y0) / 2.0);
    for (int y = y0; y < y1; ++y) {
        for (int x = x0 + 2 * tile; x < x0 + 3 * tile; ++x) {
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
            const int v = static_cast<int>(
                std::lround(127.5 + 127.5 * std::cos(kPi / 2 / reach * (dx * dx + dy * dy))));
            canvas.put(x, y, {v, v, v});
        }
    }
    // 4: eight colour bars above, a hue sweep below.
    const Rgb bars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                         {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    for (int x = x0 + 3 * tile; x < x1; ++x) {
        const double t = static_cast<double>(x - x0 - 3 * tile) / std::max(1, x1 - x0 - 3 * tile);
        canvas.fill(x, y0, x + 1, mid, bars[std::min(7, static_cast<int>(t * 8))]);
        canvas.fill(x, mid, x + 1, y1, hue(t));
    }
}

// Along the bottom: a hue spectrum over a 256-step grey ramp.
void drawRamps(Canvas& canvas, int y0) {
    const int w = canvas.width(), h = canvas.height();
    const int mid = (y0 + h) / 2;
    for (int x = 0; x < w; ++x) {
        const double t = w > 1 ? static_cast<double>(x) / (w - 1) : 0.0;
        const int grey = static_cast<int>(std::lround(t * 255));
        canvas.fill(x, y0, x + 1, mid, hue(std::min(t, 0.999)));
        canvas.fill(x, mid, x + 1, h, {grey, grey, grey});
    }
}

}  // namespace

Image makeSampleScene(int width, int height) {
    Image image = makeImage24(width, height);
    Canvas canvas(image);
    const double w = width, h = height, small = std::min(w, h);
    const double horizon = h * 0.62;

    drawSky(canvas, horizon);
    drawSun(canvas, w * 0.74, h * 0.26, small * 0.07 + 1);
    drawCloud(canvas, w * 0.33, h * 0.31, w * 0.11, h * 0.035);
    drawCloud(canvas, w * 0.55, h * 0.12, w * 0.07, h * 0.025);

    auto farRidge = [&](int x) {
        const double u = 2 * kPi * x / w;
        return h * (0.50 + 0.05 * std::sin(1.5 * u + 0.8) + 0.025 * std::sin(4.3 * u + 2.1));
    };
    auto nearRidge = [&](int x) {
        const double u = 2 * kPi * x / w;
        return h * (0.64 + 0.045 * std::sin(1.1 * u + 2.6) + 0.012 * std::sin(7.0 * u + 0.3));
    };
    drawHills(canvas, farRidge, {112, 104, 168}, {70, 64, 120}, 0);
    drawHills(canvas, nearRidge, {80, 176, 64}, {22, 92, 36}, std::max(2, height / 80));

    const double houseX = w * 0.40, houseSize = small * 0.13;
    drawHouse(canvas, houseX, nearRidge(static_cast<int>(houseX + houseSize / 2)) + small * 0.02,
              houseSize);
    drawTree(canvas, w * 0.12, nearRidge(static_cast<int>(w * 0.12)) + small * 0.02, small * 0.16);
    drawTree(canvas, w * 0.31, nearRidge(static_cast<int>(w * 0.31)) + small * 0.03, small * 0.11);

    const double shape = std::min(h * 0.15, w * 0.095);
    drawShapes(canvas, w * 0.03, h * 0.77, shape, shape * 0.3);
    drawPanel(canvas, static_cast<int>(w * 0.56), static_cast<int>(h * 0.71),
              static_cast<int>(w * 0.97), static_cast<int>(h * 0.92));
    drawRamps(canvas, static_cast<int>(h * 0.95));

    const int big = std::max(1, height / 96), little = std::max(1, height / 240);
    const int tx = static_cast<int>(w * 0.04), ty = static_cast<int>(h * 0.05);
    drawText(canvas, tx + big, ty + big, "VELLUM", big, {10, 20, 60});
    drawText(canvas, tx, ty, "VELLUM", big, {255, 255, 255});
    char caption[64];
    std::snprintf(caption, sizeof caption, "SAMPLE SCENE %dX%d 24 BIT", width, height);
    drawText(canvas, tx, ty + 9 * big, caption, little, {255, 236, 160});
    drawText(canvas, tx, ty + 9 * big + 9 * little, "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG",
             1, {220, 230, 255});
    return image;
}

}  // namespace vellum::cli
