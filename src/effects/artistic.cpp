#include "effects/artistic.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <vector>

#include "dib/pixel_rows.h"
#include "effects/effect_frame.h"

using vellum::effects::ClampIndex;
using vellum::effects::CommitBits;
using vellum::effects::DescribePair;
using vellum::effects::Frame24;
using vellum::effects::Luma;
using vellum::effects::NewBits;
using vellum::effects::Prepare24;

namespace {

long TableCount(BITMAPINFO* info) { return std::min<long>(ThCalDibColorCount(info), 256); }

bool Palette(int depth) { return depth == 1 || depth == 4 || depth == 8; }

// Writes index `value` at pixel x of a zero-filled packed row.
inline void OrIndex(BYTE* row, std::int64_t x, int depth, int value) {
    switch (depth) {
        case 1: row[x >> 3] |= static_cast<BYTE>((value & 1) << (7 - (x & 7))); break;
        case 4: row[x >> 1] |= static_cast<BYTE>((x & 1) ? (value & 0x0F) : (value & 0x0F) << 4); break;
        default: row[x] = static_cast<BYTE>(value); break;
    }
}

// Luminance plane of a 24-bit picture.
std::vector<int> LumaPlane(const Frame24& f) {
    std::vector<int> plane(static_cast<std::size_t>(f.width * f.height));
    for (std::int64_t y = 0; y < f.height; ++y) {
        const BYTE* row = f.row(y);
        for (std::int64_t x = 0; x < f.width; ++x) {
            plane[y * f.width + x] = Luma(row[3 * x], row[3 * x + 1], row[3 * x + 2]);
        }
    }
    return plane;
}

// Sobel gradient of a plane at (x, y), edges replicated.
inline void Sobel(const std::vector<int>& plane, std::int64_t w, std::int64_t h, std::int64_t x,
                  std::int64_t y, int& gx, int& gy) {
    const std::int64_t xs[3] = {ClampIndex(x - 1, w), x, ClampIndex(x + 1, w)};
    const std::int64_t ys[3] = {ClampIndex(y - 1, h), y, ClampIndex(y + 1, h)};
    auto p = [&](int i, int j) { return plane[ys[j] * w + xs[i]]; };
    gx = (p(2, 0) + 2 * p(2, 1) + p(2, 2)) - (p(0, 0) + 2 * p(0, 1) + p(0, 2));
    gy = (p(0, 2) + 2 * p(1, 2) + p(2, 2)) - (p(0, 0) + 2 * p(1, 0) + p(2, 0));
}

}  // namespace

bool ThNegateImage(void*& bits, BITMAPINFO*& info, unsigned grayOnly) {
    if (!bits || !info) return false;
    const int depth = info->bmiHeader.biBitCount;
    if (Palette(depth)) {
        RGBQUAD* table = VellumColorTable(info);
        for (long i = 0, n = TableCount(info); i < n; ++i) {
            RGBQUAD& q = table[i];
            if (grayOnly && !(q.rgbRed == q.rgbGreen && q.rgbGreen == q.rgbBlue)) continue;
            q.rgbRed = static_cast<BYTE>(~q.rgbRed);
            q.rgbGreen = static_cast<BYTE>(~q.rgbGreen);
            q.rgbBlue = static_cast<BYTE>(~q.rgbBlue);
        }
        return true;
    }
    std::int64_t width = 0, height = 0, stride = 0;
    if (depth != 24 || !DescribePair(bits, info, width, height, stride)) return false;
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* row = static_cast<BYTE*>(bits) + y * stride;
        if (!grayOnly) {
            for (std::int64_t b = 0; b < 3 * width; ++b) row[b] = static_cast<BYTE>(~row[b]);
            continue;
        }
        for (std::int64_t x = 0; x < width; ++x) {
            BYTE* p = row + 3 * x;
            if (p[0] == p[1] && p[1] == p[2]) {
                p[0] = p[1] = p[2] = static_cast<BYTE>(~p[0]);
            }
        }
    }
    return true;
}

bool ThRollImage(void*& bits, BITMAPINFO*& info, int xPercent, int yPercent) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride)) return false;
    const int depth = info->bmiHeader.biBitCount;
    if (!Palette(depth) && depth != 24) return false;
    std::int64_t dx = (width * xPercent / 100) % width;
    std::int64_t dy = (height * yPercent / 100) % height;
    if (dx < 0) dx += width;
    if (dy < 0) dy += height;
    BYTE* out = NewBits(stride * height);
    if (!out) return false;
    const BYTE* src = static_cast<const BYTE*>(bits);
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* from = src + y * stride;
        BYTE* to = out + ((y + dy) % height) * stride;
        if (depth == 24 || depth == 8) {
            const std::int64_t bpp = depth / 8;
            // Two runs: the columns that stay to the right of dx, and the
            // ones that wrap to the left.
            std::memcpy(to + dx * bpp, from, static_cast<std::size_t>((width - dx) * bpp));
            std::memcpy(to, from + (width - dx) * bpp, static_cast<std::size_t>(dx * bpp));
        } else {
            for (std::int64_t x = 0; x < width; ++x) {
                OrIndex(to, (x + dx) % width, depth, vellum::PixelIndex(from, x, depth));
            }
        }
    }
    CommitBits(bits, out);
    return true;
}

void ThHSLTransform(double hue, double saturation, double lightness, unsigned char* red,
                    unsigned char* green, unsigned char* blue) {
    double r = 0.0, g = 0.0, b = 0.0;
    const double v = lightness <= 0.5 ? lightness * (1.0 + saturation)
                                      : lightness + saturation - lightness * saturation;
    if (v > 0.0) {
        if (hue == 1.0) hue = 0.0;
        const double h = hue * 6.0;
        const double y = 2.0 * lightness - v;
        const double hs = std::trunc(h);
        const int sextant = hs > 6.0 || hs < -1.0 || std::isnan(hs) ? 6 : static_cast<int>(hs);
        const double f = h - hs;
        const double d = (v - y) * f;
        const double x = y + d;
        const double z = v - d;
        switch (sextant) {
            case 0: r = v; g = x; b = y; break;
            case 1: r = z; g = v; b = y; break;
            case 2: r = y; g = v; b = x; break;
            case 3: r = y; g = z; b = v; break;
            case 4: r = x; g = y; b = v; break;
            default: r = v; g = y; b = z; break;
        }
    }
    auto out = [](double value) -> unsigned char {
        const double q = std::floor(value * 255.0 + 0.5);
        if (!(q > 0.0)) return 0;
        return q >= 255.0 ? 255 : static_cast<unsigned char>(q);
    };
    if (red) *red = out(r);
    if (green) *green = out(g);
    if (blue) *blue = out(b);
}

void ThTransformHSL(unsigned char red, unsigned char green, unsigned char blue, double* hue,
                    double* saturation, double* lightness) {
    const double r = red * 0.00392156862745098;
    const double g = green * 0.00392156862745098;
    const double b = blue * 0.00392156862745098;
    const double hi = std::max({r, g, b}), lo = std::min({r, g, b});
    double h = 1.0, s = 0.0;
    const double l = (hi + lo) / 2.0;
    const double delta = hi - lo;
    if (delta > 0.0) {
        s = l <= 0.5 ? delta / (hi + lo) : delta / (2.0 - hi - lo);
        double six;
        if (red >= green && red >= blue) {
            six = (g - b) / delta;
            if (six < 0.0) six += 6.0;
        } else if (green >= blue) {
            six = 2.0 + (b - r) / delta;
        } else {
            six = 4.0 + (r - g) / delta;
        }
        h = six / 6.0;
        if (h >= 1.0) h = 0.0;
    }
    if (hue) *hue = h;
    if (saturation) *saturation = s;
    if (lightness) *lightness = l;
}

int ThCharCoal(void*& bits, BITMAPINFO*& info) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    std::vector<int> luma, edge;
    try {
        luma = LumaPlane(f);
        edge.assign(luma.size(), 0);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    for (std::int64_t y = 0; y < f.height; ++y) {
        for (std::int64_t x = 0; x < f.width; ++x) {
            int gx = 0, gy = 0;
            Sobel(luma, f.width, f.height, x, y, gx, gy);
            edge[y * f.width + x] = std::abs(gx) + std::abs(gy);
        }
    }
    // 3 x 3 box smoothing back into the luminance plane, tracking the peak.
    int peak = 0;
    for (std::int64_t y = 0; y < f.height; ++y) {
        for (std::int64_t x = 0; x < f.width; ++x) {
            int sum = 0;
            for (std::int64_t j = -1; j <= 1; ++j) {
                const std::int64_t row = ClampIndex(y + j, f.height) * f.width;
                for (std::int64_t i = -1; i <= 1; ++i) sum += edge[row + ClampIndex(x + i, f.width)];
            }
            luma[y * f.width + x] = sum / 9;
            peak = std::max(peak, sum / 9);
        }
    }
    for (std::int64_t y = 0; y < f.height; ++y) {
        BYTE* row = f.row(y);
        for (std::int64_t x = 0; x < f.width; ++x) {
            const int v = peak ? luma[y * f.width + x] * 255 / peak : 0;
            row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = static_cast<BYTE>(255 - v);
        }
    }
    return 1;
}

int ThImplodeImage(void*&, BITMAPINFO*&, double, int, int, int) { return 0; }

unsigned char ThPlasmaPixel(unsigned char value, double noise) {
    int n = 0;
    if (noise >= static_cast<double>(INT_MAX)) {
        n = INT_MAX;
    } else if (noise <= static_cast<double>(INT_MIN)) {
        n = INT_MIN;
    } else if (noise == noise) {
        n = static_cast<int>(noise);
    }
    const int d = n == 0 ? 0 : (n == INT_MIN ? std::rand() : std::rand() % n);
    const double v = value + 0.5 * noise - d;
    if (!(v >= 0.0)) return 0;
    if (v >= 255.0) return 255;
    return static_cast<unsigned char>(v + 0.5);
}

int ThGriddingPixel(void*& bits, BITMAPINFO*& info, long x, long y, long ax, long ay, long bx,
                    long by, double noise) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride) || info->bmiHeader.biBitCount != 24) return 0;
    auto inside = [&](long px, long py) { return px >= 0 && px < width && py >= 0 && py < height; };
    if (!inside(x, y) || !inside(ax, ay) || !inside(bx, by)) return 0;
    BYTE* base = static_cast<BYTE*>(bits);
    const BYTE* a = base + ay * stride + 3 * static_cast<std::int64_t>(ax);
    const BYTE* b = base + by * stride + 3 * static_cast<std::int64_t>(bx);
    BYTE* p = base + y * stride + 3 * static_cast<std::int64_t>(x);
    for (int k = 0; k < 3; ++k) p[k] = ThPlasmaPixel(static_cast<BYTE>((a[k] + b[k] + 1) / 2), noise);
    return 1;
}

int ThPlasmaPixels(void*& bits, BITMAPINFO*& info, const RECT* segment, double noise) {
    if (!segment) return 0;
    const long x0 = segment->left, x1 = segment->right, y0 = segment->top, y1 = segment->bottom;
    if (x0 > x1 || y0 > y1) return 0;
    const long xm = x0 + (x1 - x0) / 2, ym = y0 + (y1 - y0) / 2;
    const bool splitX = xm != x0 && xm != x1, splitY = ym != y0 && ym != y1;
    if (!splitX && !splitY) return 0;
    if (splitX) {
        ThGriddingPixel(bits, info, xm, y0, x0, y0, x1, y0, noise);
        if (y1 != y0) ThGriddingPixel(bits, info, xm, y1, x0, y1, x1, y1, noise);
    }
    if (splitY) {
        ThGriddingPixel(bits, info, x0, ym, x0, y0, x0, y1, noise);
        if (x1 != x0) ThGriddingPixel(bits, info, x1, ym, x1, y0, x1, y1, noise);
    }
    if (splitX && splitY) ThGriddingPixel(bits, info, xm, ym, xm, y0, xm, y1, noise);
    return 1;
}

namespace {

int PlasmaLevel(void*& bits, BITMAPINFO*& info, const RECT& seg, double noise, double keep,
                int depth) {
    if (depth <= 0) return ThPlasmaPixels(bits, info, &seg, noise);
    const long xm = seg.left + (seg.right - seg.left) / 2, ym = seg.top + (seg.bottom - seg.top) / 2;
    const bool splitX = seg.right - seg.left > 1, splitY = seg.bottom - seg.top > 1;
    if (!splitX && !splitY) return 0;
    int more = 0;
    const long xs[3] = {seg.left, xm, seg.right};
    const long ys[3] = {seg.top, ym, seg.bottom};
    for (int j = 0; j < (splitY ? 2 : 1); ++j) {
        for (int i = 0; i < (splitX ? 2 : 1); ++i) {
            RECT part;
            part.left = splitX ? xs[i] : seg.left;
            part.right = splitX ? xs[i + 1] : seg.right;
            part.top = splitY ? ys[j] : seg.top;
            part.bottom = splitY ? ys[j + 1] : seg.bottom;
            more |= PlasmaLevel(bits, info, part, noise * keep, keep, depth - 1);
        }
    }
    return more;
}

}  // namespace

int ThPlasmaImage(void*& bits, BITMAPINFO*& info, RECT* segment, int noise, int attenuate,
                  int depth) {
    if (!segment || !bits || !info) return 0;
    const double keep = std::clamp(attenuate, 0, 100) / 100.0;
    return PlasmaLevel(bits, info, *segment, noise, keep, std::min(depth, 64));
}

int ThPlasma(void*& bits, BITMAPINFO*& info, int noise, int attenuate) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    const std::int64_t xs[2] = {0, f.width - 1}, ys[2] = {0, f.height - 1};
    for (std::int64_t y : ys) {
        for (std::int64_t x : xs) {
            BYTE* p = f.row(y) + 3 * x;
            for (int k = 0; k < 3; ++k) p[k] = static_cast<BYTE>(std::rand() % 256);
        }
    }
    RECT whole;
    whole.left = 0;
    whole.top = 0;
    whole.right = static_cast<LONG>(f.width - 1);
    whole.bottom = static_cast<LONG>(f.height - 1);
    for (int depth = 0; depth < 64; ++depth) {
        if (!ThPlasmaImage(bits, info, &whole, noise, attenuate, depth)) break;
    }
    return 1;
}

int ThOilPaintImage(void*& bits, BITMAPINFO*& info, unsigned radius) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride)) return 0;
    const int depth = info->bmiHeader.biBitCount;
    if (!Palette(depth) && depth != 24) return 0;
    BYTE* out = NewBits(stride * height);
    if (!out) return 0;
    std::vector<BYTE> intensity;
    try {
        intensity.resize(static_cast<std::size_t>(width * height));
    } catch (const std::bad_alloc&) {
        GlobalFree(out);
        return 0;
    }
    const BYTE* src = static_cast<const BYTE*>(bits);
    BYTE tableLuma[256] = {};
    if (depth != 24) {
        const RGBQUAD* table = VellumColorTable(info);
        for (int i = 0; i < (1 << depth); ++i) {
            tableLuma[i] = static_cast<BYTE>(Luma(table[i].rgbBlue, table[i].rgbGreen, table[i].rgbRed));
        }
    }
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* row = src + y * stride;
        BYTE* plane = intensity.data() + y * width;
        for (std::int64_t x = 0; x < width; ++x) {
            plane[x] = depth == 24
                           ? static_cast<BYTE>((77 * row[3 * x] + 150 * row[3 * x + 1] + 29 * row[3 * x + 2]) >> 8)
                           : tableLuma[vellum::PixelIndex(row, x, depth)];
        }
    }

    // Half-widths of the disc's rows.
    const std::int64_t r = radius;
    std::vector<std::int64_t> reach;
    if (r < width && r < height) {
        for (std::int64_t dy = -r; dy <= r; ++dy) {
            reach.push_back(static_cast<std::int64_t>(std::sqrt(static_cast<double>(r * r - dy * dy))));
            while (reach.back() * reach.back() + dy * dy > r * r) --reach.back();
            while ((reach.back() + 1) * (reach.back() + 1) + dy * dy <= r * r) ++reach.back();
        }
    }
    const std::int64_t bpp = depth == 24 ? 3 : 1;
    unsigned count[256] = {};
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* dst = out + y * stride;
        const bool edgeRow = y < r || height - 1 - y < r;
        for (std::int64_t x = 0; x < width; ++x) {
            std::int64_t sx = x, sy = y;
            if (!edgeRow && x >= r && width - 1 - x >= r) {
                unsigned best = 0;
                for (std::int64_t dy = -r; dy <= r; ++dy) {
                    const std::int64_t w = reach[dy + r];
                    const BYTE* plane = intensity.data() + (y + dy) * width;
                    for (std::int64_t cx = x - w; cx <= x + w; ++cx) {
                        const unsigned c = ++count[plane[cx]];
                        if (c > best) {
                            best = c;
                            sx = cx;
                            sy = y + dy;
                        }
                    }
                }
                // Clear only the bins this disc touched.
                for (std::int64_t dy = -r; dy <= r; ++dy) {
                    const std::int64_t w = reach[dy + r];
                    const BYTE* plane = intensity.data() + (y + dy) * width;
                    for (std::int64_t cx = x - w; cx <= x + w; ++cx) count[plane[cx]] = 0;
                }
            }
            const BYTE* from = src + sy * stride;
            if (bpp == 3) {
                std::memcpy(dst + 3 * x, from + 3 * sx, 3);
            } else {
                OrIndex(dst, x, depth, vellum::PixelIndex(from, sx, depth));
            }
        }
    }
    CommitBits(bits, out);
    return 1;
}

unsigned char ThIntensity(BITMAPINFO* info, unsigned char index) {
    if (!info) return 0;
    const RGBQUAD& q = VellumColorTable(info)[index];
    return static_cast<unsigned char>(Luma(q.rgbBlue, q.rgbGreen, q.rgbRed));
}

int ThSolarize(void*& bits, BITMAPINFO*& info, float percent) {
    if (!bits || !info) return -1;
    const double t = static_cast<double>(percent) * 256.0 * 0.01;
    const std::int64_t threshold = t > -1e9 && t < 1e9 ? static_cast<std::int64_t>(t) : (t < 0 ? -1 : 256);
    BYTE level[256];
    for (int c = 0; c < 256; ++c) level[c] = static_cast<BYTE>(c > threshold ? 255 - c : c);
    const int depth = info->bmiHeader.biBitCount;
    if (depth <= 8) {
        RGBQUAD* table = VellumColorTable(info);
        for (long i = 0, n = TableCount(info); i < n; ++i) {
            table[i].rgbRed = level[table[i].rgbRed];
            table[i].rgbGreen = level[table[i].rgbGreen];
            table[i].rgbBlue = level[table[i].rgbBlue];
        }
        return 1;
    }
    const std::int64_t width = info->bmiHeader.biWidth, height = info->bmiHeader.biHeight;
    if (width < 1 || height < 1) return 1;
    const std::int64_t rowBytes = static_cast<std::int64_t>(GlobalSize(bits)) / height;
    const std::int64_t used = std::min(3 * width, rowBytes);
    if (threshold >= 255) return 1;
    // A compare and select per byte (the same result as the table) lets the
    // compiler work on whole vectors.
    const BYTE limit = static_cast<BYTE>(std::max<std::int64_t>(threshold, 0));
    const BYTE invertAll = threshold < 0;
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* row = static_cast<BYTE*>(bits) + y * rowBytes;
        for (std::int64_t b = 0; b < used; ++b) {
            const BYTE c = row[b];
            row[b] = (c > limit) | invertAll ? static_cast<BYTE>(255 - c) : c;
        }
    }
    return 1;
}

int ThShade(void*& bits, BITMAPINFO*& info, int gray, double azimuth, double elevation) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    std::vector<int> luma;
    try {
        luma = LumaPlane(f);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    constexpr double kDegree = 0.017453292519943295;
    const double az = azimuth * kDegree, el = elevation * kDegree;
    // Light direction in picture coordinates with y running up the screen,
    // which is the direction of memory rows.
    const double lx = std::cos(az) * std::cos(el);
    const double ly = std::sin(az) * std::cos(el);
    const double lz = std::sin(el);
    constexpr double kNz = 2.0 * 255.0;
    for (std::int64_t y = 0; y < f.height; ++y) {
        BYTE* row = f.row(y);
        for (std::int64_t x = 0; x < f.width; ++x) {
            int gx = 0, gy = 0;
            Sobel(luma, f.width, f.height, x, y, gx, gy);
            // gy grows with the memory row, that is up the screen.
            const double nx = -gx, ny = -gy;
            const double dot = nx * lx + ny * ly + kNz * lz;
            const double len = std::sqrt(nx * nx + ny * ny + kNz * kNz);
            double shade = dot > 0.0 ? 255.0 * dot / len : 0.0;
            if (!(shade >= 0.0)) shade = 0.0;
            const int s = std::min(255, static_cast<int>(shade + 0.5));
            BYTE* p = row + 3 * x;
            if (gray) {
                p[0] = p[1] = p[2] = static_cast<BYTE>(s);
            } else {
                for (int k = 0; k < 3; ++k) p[k] = static_cast<BYTE>((p[k] * s + 127) / 255);
            }
        }
    }
    return 1;
}
