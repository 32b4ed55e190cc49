// ThDoShadowBlur (running-sum box blur) and ThFuzzy (soft frames).
#include "effects/blur.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "dib/convert.h"
#include "dib/dib.h"
#include "platform/global_memory.h"

namespace {

// Exact floor(s / d) for 0 <= s < 2^30 and 1 <= d < 2^30 by one 32 x 32-bit
// multiply: with l = ceil(log2 d) and m = ceil(2^(30 + l) / d),
// m x d - 2^(30 + l) < d <= 2^l, which makes the quotient exact over 30-bit
// numerators, and m < 2^31 + 1 fits 32 bits.
struct Divider {
    std::uint32_t m = 1;
    int shift = 0;
    explicit Divider(std::uint64_t d) {
        int l = 0;
        while ((std::uint64_t{1} << l) < d) ++l;
        shift = 30 + l;
        m = static_cast<std::uint32_t>(((std::uint64_t{1} << shift) + d - 1) / d);
    }
    std::uint32_t operator()(std::uint32_t s) const {
        return static_cast<std::uint32_t>((std::uint64_t{s} * m) >> shift);
    }
};

struct PlainDivider {
    std::uint64_t d;
    std::uint64_t operator()(std::uint64_t s) const { return s / d; }
};

// Column sums of the window rows, kept running from row to row.
template <typename Sum>
struct ColumnSums {
    std::vector<Sum> col;
    const BYTE* src;
    std::int64_t stride, height, radius, rowBytes;

    ColumnSums(const BYTE* s, std::int64_t w, std::int64_t h, std::int64_t st, std::int64_t r)
        : col(static_cast<std::size_t>(3 * w), 0), src(s), stride(st), height(h), radius(r),
          rowBytes(3 * w) {
        for (std::int64_t y = 0; y <= std::min(radius, height - 1); ++y) add(src + y * stride);
    }
    void add(const BYTE* row) {
        Sum* c = col.data();
        for (std::int64_t i = 0; i < rowBytes; ++i) c[i] += row[i];
    }
    void addSub(const BYTE* in, const BYTE* out) {
        Sum* c = col.data();
        for (std::int64_t i = 0; i < rowBytes; ++i) c[i] = c[i] + in[i] - out[i];
    }
    void sub(const BYTE* row) {
        Sum* c = col.data();
        for (std::int64_t i = 0; i < rowBytes; ++i) c[i] -= row[i];
    }
    // From the window of row y to that of row y + 1.
    void advance(std::int64_t y) {
        const std::int64_t in = y + radius + 1, out = y - radius;
        if (in < height && out >= 0) {
            addSub(src + in * stride, src + out * stride);
        } else if (in < height) {
            add(src + in * stride);
        } else if (out >= 0) {
            sub(src + out * stride);
        }
    }
};

// Window sums below 2^30: each row's column sums are turned into a prefix
// sum (32-bit, wrapping; differences of it are exact since every window sum
// fits), and the interior of the row, where the window is not cut, becomes a
// straight loop of a subtraction and a multiply.
#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target_clones("avx2", "default")))
#endif
void BoxRowsFast(const BYTE* src, BYTE* out, std::int64_t width, std::int64_t height,
                 std::int64_t stride, std::int64_t radius, Divider div) {
    ColumnSums<std::uint32_t> sums(src, width, height, stride, radius);
    const std::int64_t rowBytes = 3 * width;
    std::vector<std::uint32_t> prefix(static_cast<std::size_t>(rowBytes + 3), 0);
    std::uint32_t* p = prefix.data();
    // Byte i = 3x + c: window columns lo(x) .. hi(x), sum = p[3 (hi + 1) + c] - p[3 lo + c].
    const std::int64_t firstFull = std::min(radius, width);             // x - radius >= 0
    const std::int64_t lastFull = std::max<std::int64_t>(width - 1 - radius, firstFull - 1);
    for (std::int64_t y = 0; y < height; ++y) {
        const std::uint32_t* c = sums.col.data();
        // Three running totals, one per channel (a loop over p[i + 3] = p[i] +
        // c[i] gets vectorised into a store-forwarding stall).
        std::uint32_t t0 = 0, t1 = 0, t2 = 0;
        for (std::int64_t x = 0; x < width; ++x) {
            p[3 * x + 3] = t0 += c[3 * x];
            p[3 * x + 4] = t1 += c[3 * x + 1];
            p[3 * x + 5] = t2 += c[3 * x + 2];
        }
        BYTE* o = out + y * stride;
        auto edge = [&](std::int64_t x) {
            const std::int64_t lo = std::max<std::int64_t>(x - radius, 0);
            const std::int64_t hi = std::min(x + radius, width - 1);
            for (int ch = 0; ch < 3; ++ch) {
                o[3 * x + ch] = static_cast<BYTE>(div(p[3 * (hi + 1) + ch] - p[3 * lo + ch]));
            }
        };
        for (std::int64_t x = 0; x < std::min(firstFull, width); ++x) edge(x);
        const std::int64_t begin = 3 * firstFull, end = 3 * (lastFull + 1);
        const std::int64_t ahead = 3 * (radius + 1), behind = 3 * radius;
        for (std::int64_t i = begin; i < end; ++i) {
            o[i] = static_cast<BYTE>(div(p[i + ahead] - p[i - behind]));
        }
        for (std::int64_t x = std::max(lastFull + 1, firstFull); x < width; ++x) edge(x);
        sums.advance(y);
    }
}

// Any window sum: 64-bit running sums along the row and a plain division.
template <typename Sum>
void BoxRows(const BYTE* src, BYTE* out, std::int64_t width, std::int64_t height,
             std::int64_t stride, std::int64_t radius, PlainDivider div) {
    ColumnSums<Sum> sums(src, width, height, stride, radius);
    const std::int64_t reach = std::min(radius, width - 1);
    for (std::int64_t y = 0; y < height; ++y) {
        const Sum* col = sums.col.data();
        BYTE* o = out + y * stride;
        std::uint64_t s0 = 0, s1 = 0, s2 = 0;
        for (std::int64_t j = 0; j <= reach; ++j) {
            s0 += col[3 * j];
            s1 += col[3 * j + 1];
            s2 += col[3 * j + 2];
        }
        for (std::int64_t x = 0; x < width; ++x) {
            o[3 * x] = static_cast<BYTE>(div(s0));
            o[3 * x + 1] = static_cast<BYTE>(div(s1));
            o[3 * x + 2] = static_cast<BYTE>(div(s2));
            const std::int64_t in = x + radius + 1, gone = x - radius;
            if (in < width) {
                s0 += col[3 * in];
                s1 += col[3 * in + 1];
                s2 += col[3 * in + 2];
            }
            if (gone >= 0) {
                s0 -= col[3 * gone];
                s1 -= col[3 * gone + 1];
                s2 -= col[3 * gone + 2];
            }
        }
        sums.advance(y);
    }
}

}  // namespace

int ThDoShadowBlur(void*& bits, BITMAPINFO*& info, int radius) {
    if (radius < 1 || !bits || !info) return 0;
    if (!ThConvertTo24Bit(bits, info)) return 0;
    const std::int64_t width = info->bmiHeader.biWidth;
    const std::int64_t height = info->bmiHeader.biHeight;
    const std::int64_t stride = VellumDibStride(24, width);
    auto* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, stride * height));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);

    const std::int64_t span = 2 * std::int64_t{radius} + 1;
    const std::uint64_t area = static_cast<std::uint64_t>(span) * static_cast<std::uint64_t>(span);
    const std::uint64_t maxSum = static_cast<std::uint64_t>(std::min(span, width)) *
                                 static_cast<std::uint64_t>(std::min(span, height)) * 255u;
    // The window never holds more than these many rows' worth of one column.
    const bool narrowColumns = std::min(span, height) * 255 < (std::int64_t{1} << 32);
    if (area <= maxSum) {  // otherwise every quotient is 0, as the block already is
        if (maxSum < (std::uint64_t{1} << 30)) {
            BoxRowsFast(src, out, width, height, stride, radius, Divider(area));
        } else if (narrowColumns) {
            BoxRows<std::uint32_t>(src, out, width, height, stride, radius, PlainDivider{area});
        } else {
            BoxRows<std::uint64_t>(src, out, width, height, stride, radius, PlainDivider{area});
        }
    }
    GlobalFree(bits);
    bits = out;
    return 1;
}

namespace {

// Where a pixel lies against a ThFuzzy shape.
struct Place {
    enum Kind { inside, band, outside } kind;
    double q;  // place in the band, for `band`
};

}  // namespace

void ThFuzzy(void*& bits, BITMAPINFO*& info, unsigned long colour, int softness, int shape) {
    if (!bits || !info) return;
    if (!ThConvertTo24Bit(bits, info)) return;
    if (shape < 0 || shape > 6) return;
    const std::int64_t width = info->bmiHeader.biWidth;
    const std::int64_t height = info->bmiHeader.biHeight;
    const std::int64_t stride = VellumDibStride(24, width);
    const int soft = std::clamp(softness, 0, 100);
    const BYTE fill[3] = {static_cast<BYTE>((colour >> 16) & 0xFF),
                          static_cast<BYTE>((colour >> 8) & 0xFF), static_cast<BYTE>(colour & 0xFF)};
    const std::int64_t cx = width / 2, cy = height / 2;
    auto* pixels = static_cast<BYTE*>(bits);

    if (shape == 6) {
        const double norm = double(cx) * cx + double(cy) * cy;
        for (std::int64_t y = 0; y < height; ++y) {
            BYTE* row = pixels + y * stride;
            for (std::int64_t x = 0; x < width; ++x) {
                const double dx = double(x - cx), dy = double(y - cy);
                const double w = norm > 0 ? (dx * dx + dy * dy) / norm : 0.0;
                for (int c = 0; c < 3; ++c) {
                    const double v = row[3 * x + c] + fill[c] * w * soft / 100.0;
                    row[3 * x + c] = static_cast<BYTE>(v >= 255.0 ? 255 : static_cast<int>(v));
                }
            }
        }
        return;
    }

    std::int64_t a = 0, b = 0;
    if (shape == 0 || shape == 3) {
        a = b = std::max<std::int64_t>(std::min(cx, cy) - 1, 0);
    } else if (shape == 1 || shape == 2) {
        a = cx;
        b = cy;
    }
    std::int64_t s = 0;
    if (shape == 5) s = height < 45 * width / 52 ? 4 * height / 9 : 5 * width / 13;
    const bool degenerate = (shape <= 3 && (a == 0 || b == 0)) || (shape == 4 && cx == 0) ||
                            (shape == 5 && s == 0);
    const double r0 = (100 - soft) / 100.0;

    auto classify = [&](std::int64_t dx, std::int64_t dy) -> Place {
        if (degenerate) return {Place::outside, 0};
        const std::int64_t ax = dx < 0 ? -dx : dx, ay = dy < 0 ? -dy : dy;
        switch (shape) {
            case 0:
            case 1: {
                const double d = double(dx) * dx / (double(a) * a) + double(dy) * dy / (double(b) * b);
                if (d > 1) return {Place::outside, 0};
                if ((100 - soft) * (100 - soft) * 0.0001 < d) {
                    return {Place::band, (std::sqrt(d) - r0) / (1 - r0)};
                }
                return {Place::inside, 0};
            }
            case 2:
            case 3: {
                if (!(ay < b && ax < a)) return {Place::outside, 0};
                const double ia = a * soft * 0.01, ib = b * soft * 0.01;
                if (ax > ia || ay > ib) {
                    const double qx = ax > ia ? (ax - ia) / (a - ia) : 0.0;
                    const double qy = ay > ib ? (ay - ib) / (b - ib) : 0.0;
                    return {Place::band, std::max(qx, qy)};
                }
                return {Place::inside, 0};
            }
            case 4: {
                const double n = (ax + double(ay) * width / height) / (width / 2);
                if (!(n < 1)) return {Place::outside, 0};
                if (n > r0) return {Place::band, (n - r0) / (1 - r0)};
                return {Place::inside, 0};
            }
            default: {
                const std::int64_t e = dx * dx + dy * dy;
                const std::int64_t root = std::max<std::int64_t>(1, std::llround(std::sqrt(double(e))));
                const std::int64_t v = e / root;
                if (v > s) return {Place::outside, 0};
                const double s0 = double(s) * (100 - soft) / 100.0;
                if (v > s0) return {Place::band, (v - s0) / (s - s0)};
                return {Place::inside, 0};
            }
        }
    };

    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* row = pixels + y * stride;
        for (std::int64_t x = 0; x < width; ++x) {
            BYTE* px = row + 3 * x;
            const Place place = classify(x - cx, y - cy);
            if (place.kind == Place::outside) {
                px[0] = fill[0];
                px[1] = fill[1];
                px[2] = fill[2];
            } else if (place.kind == Place::band && soft > 0) {
                double t = (1 - place.q) * 100 / soft;
                if (t < 0.0001) t = 0;
                if (t > 1) t = 1;
                for (int c = 0; c < 3; ++c) {
                    px[c] = static_cast<BYTE>(static_cast<int>(px[c] * t + fill[c] * (1 - t)));
                }
            }
        }
    }
}
