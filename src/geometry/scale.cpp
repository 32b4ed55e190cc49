#include "geometry/scale.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "geometry/reciprocal.h"
#include "geometry/scale_crop.h"
#include "platform/global_memory.h"

namespace {

using i64 = std::int64_t;

// A 32-bit sum read back as the signed integer it was.
inline std::int32_t S32(std::uint32_t v) { return static_cast<std::int32_t>(v); }

using vellum::geometry::MakeReciprocal;
using vellum::geometry::Reciprocal;

// A 32-bit sum over a count, as the signed 32-bit division gives it.
inline BYTE Divide(std::uint32_t sum, const Reciprocal& r) {
    const std::int32_t n = S32(sum);
    if (n < 0) return static_cast<BYTE>(n / r.d);
    return static_cast<BYTE>((static_cast<std::uint64_t>(n) * r.m) >> r.k);
}

// Reciprocals of the small counts a call meets, made on first use.
class Reciprocals {
  public:
    const Reciprocal& operator()(i64 count) {
        if (count < static_cast<i64>(kCached)) {
            Reciprocal& r = cache_[static_cast<std::size_t>(count)];
            if (r.k == 0) r = MakeReciprocal(count);
            return r;
        }
        other_ = MakeReciprocal(count);
        return other_;
    }

  private:
    static constexpr std::size_t kCached = 1024;
    std::vector<Reciprocal> cache_ = std::vector<Reciprocal>(kCached);
    Reciprocal other_;
};

// The two loops of the bilinear rule. They are integer-exact, so the AVX2
// copies chosen at run time give the same bytes with wider multiplies.
#define VELLUM_ALWAYS_INLINE inline __attribute__((always_inline))

VELLUM_ALWAYS_INLINE void BlendBody(const std::int32_t* __restrict top,
                                    const std::int32_t* __restrict low, BYTE* __restrict d,
                                    std::size_t n, int fy) {
    for (std::size_t k = 0; k < n; ++k) {
        d[k] = static_cast<BYTE>((top[k] * fy + low[k] * (1024 - fy)) >> 20);
    }
}

template <int C>
VELLUM_ALWAYS_INLINE void InterpolateBody(const BYTE* __restrict p, std::int32_t* __restrict h,
                                          i64 newW, const std::int32_t* __restrict ia,
                                          const std::int32_t* __restrict ib,
                                          const std::int32_t* __restrict fxs) {
    for (i64 x = 0; x < newW; ++x) {
        const i64 i = i64{ia[x]} * C, j = i64{ib[x]} * C;
        const int fx = fxs[x];
        for (int c = 0; c < C; ++c) h[x * C + c] = p[i + c] * (1024 - fx) + p[j + c] * fx;
    }
}

VELLUM_ALWAYS_INLINE void AccumulateBody(std::uint32_t* __restrict acc, const BYTE* __restrict p,
                                         i64 n) {
    for (i64 k = 0; k < n; ++k) acc[k] += p[k];
}

void AccumulatePlain(std::uint32_t* acc, const BYTE* p, i64 n) { AccumulateBody(acc, p, n); }

void BlendPlain(const std::int32_t* top, const std::int32_t* low, BYTE* d, std::size_t n, int fy) {
    BlendBody(top, low, d, n, fy);
}

template <int C>
void InterpolatePlain(const BYTE* p, std::int32_t* h, i64 newW, const std::int32_t* ia,
                      const std::int32_t* ib, const std::int32_t* fxs) {
    InterpolateBody<C>(p, h, newW, ia, ib, fxs);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void BlendAvx2(const std::int32_t* top, const std::int32_t* low,
                                               BYTE* d, std::size_t n, int fy) {
    BlendBody(top, low, d, n, fy);
}

template <int C>
__attribute__((target("avx2"))) void InterpolateAvx2(const BYTE* p, std::int32_t* h, i64 newW,
                                                     const std::int32_t* ia,
                                                     const std::int32_t* ib,
                                                     const std::int32_t* fxs) {
    InterpolateBody<C>(p, h, newW, ia, ib, fxs);
}

__attribute__((target("avx2"))) void AccumulateAvx2(std::uint32_t* acc, const BYTE* p, i64 n) {
    AccumulateBody(acc, p, n);
}

bool HasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}
#endif

// One axis of a resampler, planned once per call. Averaging: output k covers
// source indices a[k] .. b[k] inclusive. Interpolating: index a[k], neighbour
// b[k], fraction f[k] (10 bits).
struct Axis {
    bool average = false;
    std::vector<std::int32_t> a, b, f;
};

// The 24-bit resampler's averaging rule (ceiling of the running position).
Axis PlanAverage(i64 size, i64 newSize) {
    Axis axis;
    axis.average = true;
    const i64 step = ((size << 10) - 1024) / newSize;
    i64 acc = 0;
    for (i64 k = 0; k < newSize; ++k) {
        const i64 first = (acc >> 10) + ((acc & 1023) ? 1 : 0);
        acc += step;
        axis.a.push_back(static_cast<std::int32_t>(first));
        axis.b.push_back(static_cast<std::int32_t>(acc >> 10));
    }
    return axis;
}

// The ramp resampler's box rule: [size x k / newSize, (size x k + size) / newSize).
Axis PlanBox(i64 size, i64 newSize) {
    Axis axis;
    axis.average = true;
    for (i64 k = 0; k < newSize; ++k) {
        axis.a.push_back(static_cast<std::int32_t>(size * k / newSize));
        axis.b.push_back(static_cast<std::int32_t>((size * k + size) / newSize - 1));
    }
    return axis;
}

// Linear interpolation; a new size of 1 (only reached from a size of 1 in
// the ramp resampler) takes step 0, so the pixel is replicated.
Axis PlanInterpolate(i64 size, i64 newSize) {
    Axis axis;
    const i64 step = newSize > 1 ? ((size << 10) - 1024) / (newSize - 1) : 0;
    i64 acc = 0;
    for (i64 k = 0; k < newSize; ++k) {
        const i64 i = std::min(acc >> 10, size - 1);
        axis.a.push_back(static_cast<std::int32_t>(i));
        axis.b.push_back(static_cast<std::int32_t>(std::min(i + 1, size - 1)));
        axis.f.push_back(static_cast<std::int32_t>(acc & 1023));
        acc += step;
    }
    return axis;
}

// Source rows as bytes: 24-bit rows are read in place; 1-bit rows are
// expanded to 0 / 255 bytes into one of two cached buffers.
class RowSource {
  public:
    RowSource(const BYTE* bits, i64 stride, i64 width, bool oneBit)
        : bits_(bits), stride_(stride), width_(width), oneBit_(oneBit) {
        if (oneBit_) {
            cache_[0].resize(static_cast<std::size_t>(width));
            cache_[1].resize(static_cast<std::size_t>(width));
        }
    }
    const BYTE* row(i64 y) {
        const BYTE* s = bits_ + stride_ * y;
        if (!oneBit_) return s;
        for (int k = 0; k < 2; ++k) {
            if (id_[k] == y) return cache_[k].data();
        }
        const int k = next_;
        next_ ^= 1;
        vellum::Row1To255(s, cache_[k].data(), width_);
        id_[k] = y;
        return cache_[k].data();
    }

  private:
    const BYTE* bits_;
    i64 stride_, width_;
    bool oneBit_;
    std::vector<BYTE> cache_[2];
    i64 id_[2] = {-1, -1};
    int next_ = 0;
};

// The four combinations of the axis rules, for C bytes per pixel.
template <int C>
void Resample(RowSource& rows, i64 width, const Axis& ax, const Axis& ay, BYTE* out,
              i64 outStride) {
    const i64 newW = static_cast<i64>(ax.a.size());
    const i64 newH = static_cast<i64>(ay.a.size());
    std::vector<std::uint32_t> acc;
    Reciprocals divide;
    if (ay.average && ax.average) {
        auto* accumulate = &AccumulatePlain;
#if defined(__x86_64__)
        if (HasAvx2()) accumulate = &AccumulateAvx2;
#endif
        acc.resize(static_cast<std::size_t>(width * C));
        for (i64 y = 0; y < newH; ++y) {
            std::fill(acc.begin(), acc.end(), 0u);
            const i64 r0 = ay.a[y], r1 = ay.b[y];
            for (i64 r = r0; r <= r1; ++r) accumulate(acc.data(), rows.row(r), width * C);
            BYTE* d = out + outStride * y;
            const i64 nRows = r1 - r0 + 1;
            for (i64 x = 0; x < newW; ++x) {
                const i64 c0 = ax.a[x], c1 = ax.b[x];
                const Reciprocal& by = divide((c1 - c0 + 1) * nRows);
                const std::uint32_t* col = acc.data() + c0 * C;
                std::uint32_t s[C] = {};
                for (i64 i = 0; i <= c1 - c0; ++i) {
                    for (int c = 0; c < C; ++c) s[c] += col[i * C + c];
                }
                for (int c = 0; c < C; ++c) d[x * C + c] = Divide(s[c], by);
            }
        }
    } else if (ay.average) {
        acc.resize(static_cast<std::size_t>(newW * C));
        for (i64 y = 0; y < newH; ++y) {
            std::fill(acc.begin(), acc.end(), 0u);
            const i64 r0 = ay.a[y], r1 = ay.b[y];
            for (i64 r = r0; r <= r1; ++r) {
                const BYTE* p = rows.row(r);
                for (i64 x = 0; x < newW; ++x) {
                    const BYTE* pi = p + i64{ax.a[x]} * C;
                    const BYTE* pj = p + i64{ax.b[x]} * C;
                    const int f = ax.f[x];
                    for (int c = 0; c < C; ++c) {
                        acc[x * C + c] += static_cast<std::uint32_t>(
                            (pi[c] * (1024 - f) + pj[c] * f) >> 10);
                    }
                }
            }
            BYTE* d = out + outStride * y;
            const Reciprocal& by = divide(r1 - r0 + 1);
            for (i64 k = 0; k < newW * C; ++k) d[k] = Divide(acc[k], by);
        }
    } else if (ax.average) {
        std::vector<BYTE> line(static_cast<std::size_t>(width * C));
        for (i64 y = 0; y < newH; ++y) {
            const BYTE* p = rows.row(ay.a[y]);
            const BYTE* q = rows.row(ay.b[y]);
            const int f = ay.f[y];
            for (i64 k = 0; k < width * C; ++k) {
                line[k] = static_cast<BYTE>((p[k] * (1024 - f) + q[k] * f) >> 10);
            }
            BYTE* d = out + outStride * y;
            for (i64 x = 0; x < newW; ++x) {
                const i64 c0 = ax.a[x], c1 = ax.b[x];
                const Reciprocal& by = divide(c1 - c0 + 1);
                std::uint32_t s[C] = {};
                for (i64 i = c0; i <= c1; ++i) {
                    for (int c = 0; c < C; ++c) s[c] += line[i * C + c];
                }
                for (int c = 0; c < C; ++c) d[x * C + c] = Divide(s[c], by);
            }
        }
    } else {
        // Bilinear. The horizontal sums q(i) x (1024 - fx) + q(i+1) x fx are
        // exact integers, so each source row's are made once and kept while
        // the row stays a neighbour; the vertical blend then shifts by 20.
        const std::size_t n = static_cast<std::size_t>(newW * C);
        std::vector<std::int32_t> cache[2] = {std::vector<std::int32_t>(n),
                                              std::vector<std::int32_t>(n)};
        i64 cached[2] = {-1, -1};
        const std::int32_t* ia = ax.a.data();
        const std::int32_t* ib = ax.b.data();
        const std::int32_t* fxs = ax.f.data();
        auto* interpolate = &InterpolatePlain<C>;
        auto* blend = &BlendPlain;
#if defined(__x86_64__)
        if (HasAvx2()) {
            interpolate = &InterpolateAvx2<C>;
            blend = &BlendAvx2;
        }
#endif
        auto horizontal = [&](i64 r) -> const std::int32_t* {
            for (int k = 0; k < 2; ++k) {
                if (cached[k] == r) return cache[k].data();
            }
            // Replace the entry that is not the other neighbour of this row.
            const int k = cached[0] == r - 1 || cached[0] == r + 1 ? 1 : 0;
            std::int32_t* h = cache[k].data();
            interpolate(rows.row(r), h, newW, ia, ib, fxs);
            cached[k] = r;
            return h;
        };
        for (i64 y = 0; y < newH; ++y) {
            const std::int32_t* low = horizontal(ay.a[y]);
            const std::int32_t* top = horizontal(ay.b[y]);
            blend(top, low, out + outStride * y, n, ay.f[y]);
        }
    }
}

bool ValidSource(const BITMAPINFO* info) {
    return info->bmiHeader.biWidth >= 1 && info->bmiHeader.biHeight >= 1;
}

int Scale24(void*& bits, BITMAPINFO*& info, i64 newWidth, i64 newHeight) {
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    const i64 dstStride = (3 * newWidth + 3) & ~i64{3};
    const i64 srcStride = (3 * width + 3) & ~i64{3};
    h.biSizeImage = static_cast<DWORD>(dstStride * newHeight);  // before the allocation
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, dstStride * newHeight));
    if (!out) return 0;
    try {
        const Axis ay = newHeight <= height / 2 ? PlanAverage(height, newHeight)
                                                : PlanInterpolate(height, newHeight);
        const Axis ax = newWidth <= width / 2 ? PlanAverage(width, newWidth)
                                              : PlanInterpolate(width, newWidth);
        RowSource rows(static_cast<const BYTE*>(bits), srcStride, width, false);
        Resample<3>(rows, width, ax, ay, out, dstStride);
    } catch (const std::bad_alloc&) {
        GlobalFree(out);
        return 0;
    }
    h.biWidth = static_cast<LONG>(newWidth);
    h.biHeight = static_cast<LONG>(newHeight);
    GlobalFree(bits);
    bits = out;
    return 1;
}

// The ramp resampler's two mixed rules: sums over the averaged axis, then
// interpolation along the other, divided by the count before the shift.
void RampMixed(RowSource& rows, i64 width, i64 height, i64 newW, i64 newH, bool wideX,
               BYTE* out, i64 outStride) {
    if (wideX) {
        const Axis ax = PlanInterpolate(width, newW);
        std::vector<std::uint32_t> col(static_cast<std::size_t>(width));
        for (i64 y = 0; y < newH; ++y) {
            const i64 r0 = height * y / newH, r1 = (height * y + height) / newH;
            std::fill(col.begin(), col.end(), 0u);
            for (i64 r = r0; r < r1; ++r) {
                const BYTE* p = rows.row(r);
                for (i64 i = 0; i < width; ++i) col[i] += p[i];
            }
            BYTE* d = out + outStride * y;
            for (i64 x = 0; x < newW; ++x) {
                const std::uint32_t f = static_cast<std::uint32_t>(ax.f[x]);
                const std::uint32_t v = col[ax.a[x]] * (1024 - f) + col[ax.b[x]] * f;
                d[x] = static_cast<BYTE>((static_cast<i64>(S32(v)) / (r1 - r0)) >> 10);
            }
        }
    } else {
        const Axis ay = PlanInterpolate(height, newH);
        for (i64 y = 0; y < newH; ++y) {
            const BYTE* p = rows.row(ay.a[y]);
            const BYTE* q = rows.row(ay.b[y]);
            const std::uint32_t f = static_cast<std::uint32_t>(ay.f[y]);
            BYTE* d = out + outStride * y;
            for (i64 x = 0; x < newW; ++x) {
                const i64 c0 = width * x / newW, c1 = (width * x + width) / newW;
                std::uint32_t sa = 0, sb = 0;
                for (i64 i = c0; i < c1; ++i) {
                    sa += p[i];
                    sb += q[i];
                }
                const std::uint32_t v = sa * (1024 - f) + sb * f;
                d[x] = static_cast<BYTE>((static_cast<i64>(S32(v)) / (c1 - c0)) >> 10);
            }
        }
    }
}

// Puts a scaled result in place: the new size into the header, the new block
// in place of the old one. Returns 1.
int commitScaled(void*& bits, BITMAPINFOHEADER& h, BYTE* out, i64 newWidth, i64 newHeight,
                 i64 dstStride) {
    h.biWidth = static_cast<LONG>(newWidth);
    h.biHeight = static_cast<LONG>(newHeight);
    h.biSizeImage = static_cast<DWORD>(dstStride * newHeight);
    GlobalFree(bits);
    bits = out;
    return 1;
}

}  // namespace

int ThScale1Bit(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight, int toGrey) {
    if (!info) return 0;
    BITMAPINFO* fresh = VellumNewHeader(kFullHeaderBytes);
    if (!fresh) return 0;
    std::memcpy(fresh, info, 48);
    VellumDeleteHeader(info);
    info = fresh;

    if (newWidth < 1 || newHeight < 1 || !bits || !ValidSource(info)) return 0;
    // Only 1-bit rows can be read here; another depth would leave a header
    // that does not describe the new bits.
    if (info->bmiHeader.biBitCount != 1) return 0;
    if (newWidth > INT32_MAX || newHeight > INT32_MAX) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    if (newWidth == width && newHeight == height) return 1;
    const i64 srcStride = ((width + 7) / 8 + 3) & ~i64{3};
    const auto* src = static_cast<const BYTE*>(bits);

    if (toGrey == 0 || (newWidth >= width && newHeight >= height)) {
        const i64 dstStride = ((i64{newWidth} + 7) / 8 + 3) & ~i64{3};
        BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, dstStride * newHeight));
        if (!out) return 0;
        std::vector<std::int32_t> column;
        try {
            column.resize(static_cast<std::size_t>(newWidth));
        } catch (const std::bad_alloc&) {
            GlobalFree(out);
            return 0;
        }
        for (i64 x = 0; x < newWidth; ++x) column[x] = static_cast<std::int32_t>(width * x / newWidth);
        for (i64 y = 0; y < newHeight; ++y) {
            const BYTE* s = src + srcStride * (height * y / newHeight);
            BYTE* d = out + dstStride * y;
            for (i64 x = 0; x < newWidth; ++x) {
                const i64 sx = column[x];
                if ((s[sx >> 3] >> (7 - (sx & 7))) & 1) d[x >> 3] |= static_cast<BYTE>(0x80 >> (x & 7));
            }
        }
        return commitScaled(bits, h, out, newWidth, newHeight, dstStride);
    }

    const i64 dstStride = (i64{newWidth} + 3) & ~i64{3};
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, dstStride * newHeight));
    if (!out) return 0;
    try {
        RowSource rows(src, srcStride, width, true);
        const bool wideX = newWidth > width / 2;
        const bool wideY = newHeight > height / 2;
        if (wideX && wideY) {
            Resample<1>(rows, width, PlanInterpolate(width, newWidth),
                        PlanInterpolate(height, newHeight), out, dstStride);
        } else if (!wideX && !wideY) {
            Resample<1>(rows, width, PlanBox(width, newWidth), PlanBox(height, newHeight), out,
                        dstStride);
        } else {
            RampMixed(rows, width, height, newWidth, newHeight, wideX, out, dstStride);
        }
    } catch (const std::bad_alloc&) {
        GlobalFree(out);
        return 0;
    }
    RGBQUAD* table = VellumColorTable(info);
    const RGBQUAD e0 = table[0], e1 = table[1];
    for (int k = 0; k < 256; ++k) {
        table[k].rgbBlue = static_cast<BYTE>(e0.rgbBlue + (e1.rgbBlue - e0.rgbBlue) * k / 255);
        table[k].rgbGreen = static_cast<BYTE>(e0.rgbGreen + (e1.rgbGreen - e0.rgbGreen) * k / 255);
        table[k].rgbRed = static_cast<BYTE>(e0.rgbRed + (e1.rgbRed - e0.rgbRed) * k / 255);
        table[k].rgbReserved = 0;
    }
    h.biBitCount = 8;
    h.biClrUsed = 0;
    h.biClrImportant = 0;
    return commitScaled(bits, h, out, newWidth, newHeight, dstStride);
}

int ThScale(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight, int mode) {
    if (!bits || !info) return 0;
    if (!ValidSource(info) || newWidth > INT32_MAX || newHeight > INT32_MAX) return 0;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (newWidth == h.biWidth && newHeight == h.biHeight) return 1;
    if (h.biBitCount == 1) return ThScale1Bit(bits, info, newWidth, newHeight, 1);
    if (h.biBitCount < 24) return ThScaleAll(bits, info, newWidth, newHeight, mode);
    newWidth = std::max(newWidth, 2L);
    newHeight = std::max(newHeight, 2L);
    if (h.biBitCount != 24) return 0;
    return Scale24(bits, info, newWidth, newHeight);
}

int ThScaleAll(void*& bits, BITMAPINFO*& info, long newWidth, long newHeight, int mode) {
    if (!info || !bits || newWidth < 1 || newHeight < 1) return 0;
    if (!ValidSource(info) || newWidth > INT32_MAX || newHeight > INT32_MAX) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    if (newWidth == width && newHeight == height) return 1;
    const int bitCount = h.biBitCount;
    if (mode != 0 || bitCount == 1 || bitCount == 24) {
        return ThScaleCrop(bits, info, static_cast<int>(newWidth), static_cast<int>(newHeight),
                           CRect(0, 0, static_cast<int>(newWidth), static_cast<int>(newHeight))) ==
               1;
    }
    const i64 dstStride = ((bitCount * i64{newWidth} + 7) / 8 + 3) & ~i64{3};
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, dstStride * newHeight));
    if (!out) return 0;
    if (bitCount == 8 || bitCount == 4) {
        std::vector<std::int32_t> column;
        try {
            column.resize(static_cast<std::size_t>(newWidth));
        } catch (const std::bad_alloc&) {
            GlobalFree(out);
            return 0;
        }
        for (i64 x = 0; x < newWidth; ++x) column[x] = static_cast<std::int32_t>(x * width / newWidth);
        const i64 srcStride = VellumDibStride(bitCount, width);
        const auto* src = static_cast<const BYTE*>(bits);
        for (i64 y = 0; y < newHeight; ++y) {
            const BYTE* s = src + srcStride * (y * height / newHeight);
            BYTE* d = out + dstStride * y;
            if (bitCount == 8) {
                for (i64 x = 0; x < newWidth; ++x) d[x] = s[column[x]];
            } else {
                for (i64 x = 0; x < newWidth; ++x) {
                    const int v = vellum::PixelIndex(s, column[x], 4);
                    d[x >> 1] |= static_cast<BYTE>((x & 1) ? v : v << 4);
                }
            }
        }
    }
    return commitScaled(bits, h, out, newWidth, newHeight, dstStride);
}

int ThScaleCrop(void*& bits, BITMAPINFO*& info, int width, int height, CRect keep) {
    BITMAPINFO* fresh = VellumNewHeader(kFullHeaderBytes);
    if (!fresh) return 0;
    void* made = nullptr;
    SIZE size{width, height};
    const int result = VellumScaleCropEngine(fresh, &made, info, bits, &size, keep.left, keep.top,
                                             keep.right, keep.bottom, 2);
    // The pair is replaced whatever the engine answered.
    VellumDeleteHeader(info);
    info = fresh;
    GlobalFree(bits);
    bits = made;
    return result;
}

int ThCreateThumbail(CSize& box, void*& bits, BITMAPINFO*& info) {
    if (!bits || !info) return 0;
    if (!ValidSource(info)) return 0;
    const i64 width = info->bmiHeader.biWidth, height = info->bmiHeader.biHeight;
    const double rx = static_cast<double>(box.cx) / static_cast<double>(width);
    const float ry = static_cast<float>(static_cast<double>(box.cy) / static_cast<double>(height));
    auto toLong = [](double v) -> LONG {
        if (!(v > -2147483648.0)) return INT32_MIN;
        if (v >= 2147483647.0) return INT32_MAX;
        return static_cast<LONG>(v);
    };
    if (rx < ry) {
        box.cy = toLong(static_cast<double>(height) * rx);
    } else {
        box.cx = toLong(static_cast<double>(width) * static_cast<double>(ry));
    }
    if (box.cx >= width && box.cy >= height) {
        box.cx = static_cast<LONG>(width);
        box.cy = static_cast<LONG>(height);
        return 1;
    }
    box.cx = std::max<LONG>(box.cx, 1);
    box.cy = std::max<LONG>(box.cy, 1);
    return ThScale(bits, info, box.cx, box.cy, 1);
}
