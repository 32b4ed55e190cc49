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
#include "platform/cpu.h"
#include "platform/global_memory.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

#endif

// Column sums of up to 257 rows fit 16 bits (257 x 255 = 65535), and so do
// box sums of up to 257 pixels.
constexpr i64 kMax16 = 257;

// acc = (acc if Add) + the N rows r[0..N), in 16-bit lanes.
template <int N, bool Add>
VELLUM_ALWAYS_INLINE void AddRowsBody(std::uint16_t* __restrict acc, const BYTE* const* r, i64 n) {
    const BYTE* __restrict r0 = r[0];
    const BYTE* __restrict r1 = r[N > 1 ? 1 : 0];
    const BYTE* __restrict r2 = r[N > 2 ? 2 : 0];
    const BYTE* __restrict r3 = r[N > 3 ? 3 : 0];
    for (i64 k = 0; k < n; ++k) {
        std::uint16_t s = Add ? acc[k] : std::uint16_t{0};
        s = static_cast<std::uint16_t>(s + r0[k]);
        if constexpr (N > 1) s = static_cast<std::uint16_t>(s + r1[k]);
        if constexpr (N > 2) s = static_cast<std::uint16_t>(s + r2[k]);
        if constexpr (N > 3) s = static_cast<std::uint16_t>(s + r3[k]);
        acc[k] = s;
    }
}

VELLUM_ALWAYS_INLINE void AddRows16Body(std::uint16_t* acc, const BYTE* const* r, int count,
                                        bool add, i64 n) {
    switch (count * 2 + (add ? 1 : 0)) {
        case 2: AddRowsBody<1, false>(acc, r, n); break;
        case 3: AddRowsBody<1, true>(acc, r, n); break;
        case 4: AddRowsBody<2, false>(acc, r, n); break;
        case 5: AddRowsBody<2, true>(acc, r, n); break;
        case 6: AddRowsBody<3, false>(acc, r, n); break;
        case 7: AddRowsBody<3, true>(acc, r, n); break;
        case 8: AddRowsBody<4, false>(acc, r, n); break;
        default: AddRowsBody<4, true>(acc, r, n); break;
    }
}

void AddRows16Plain(std::uint16_t* acc, const BYTE* const* r, int count, bool add, i64 n) {
    AddRows16Body(acc, r, count, add, n);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void AddRows16Avx2(std::uint16_t* acc, const BYTE* const* r,
                                                   int count, bool add, i64 n) {
    AddRows16Body(acc, r, count, add, n);
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

#if defined(__x86_64__)
// The bilinear rule's horizontal sums p(i) x (1024 - fx) + p(i+1) x fx, eight
// at a time: a byte shuffle sets each sum's two source bytes side by side as
// 16-bit lanes, and one multiply-add by the pair (1024 - fx, fx) gives the
// exact 32-bit sum. Each half of an entry makes four consecutive sums (in
// row order, channels interleaved) from the 16 bytes of the row at `base`.
struct ShufflePair {
    std::int32_t base[2];
    BYTE mask[32];
    std::int16_t weight[16];
};

// Entries for the leading sums of a row of newW x C sums whose windows stay
// inside the row's first rowBytes bytes; the sums after them are left to the
// scalar loop. The interpolating rule steps at most 2 source pixels per
// output pixel (the new size is above half), so four sums reach at most 12
// bytes past their base and only the row's end stops the plan.
std::vector<ShufflePair> PlanShuffles(const Axis& ax, int channels, i64 rowBytes) {
    const i64 n = static_cast<i64>(ax.a.size()) * channels;
    std::vector<ShufflePair> plan;
    plan.reserve(static_cast<std::size_t>(n / 8));
    for (i64 j = 0; j + 8 <= n; j += 8) {
        ShufflePair e{};
        bool fits = true;
        for (int half = 0; half < 2 && fits; ++half) {
            const i64 first = j + 4 * half;
            const i64 base = i64{ax.a[first / channels]} * channels;
            fits = base + 16 <= rowBytes;
            e.base[half] = static_cast<std::int32_t>(base);
            for (int t = 0; t < 4 && fits; ++t) {
                const i64 k = first + t, x = k / channels, c = k - x * channels;
                const i64 oa = i64{ax.a[x]} * channels + c - base;
                const i64 ob = i64{ax.b[x]} * channels + c - base;
                fits = oa >= 0 && oa < 16 && ob >= 0 && ob < 16;
                BYTE* m = e.mask + 16 * half + 4 * t;
                m[0] = static_cast<BYTE>(oa);
                m[1] = 0x80;  // zero high byte
                m[2] = static_cast<BYTE>(ob);
                m[3] = 0x80;
                e.weight[8 * half + 2 * t] = static_cast<std::int16_t>(1024 - ax.f[x]);
                e.weight[8 * half + 2 * t + 1] = static_cast<std::int16_t>(ax.f[x]);
            }
        }
        if (!fits) break;
        plan.push_back(e);
    }
    return plan;
}

__attribute__((target("avx2"))) void InterpolateShuffled(const BYTE* p, std::int32_t* h,
                                                         const ShufflePair* plan,
                                                         std::size_t count) {
    for (std::size_t j = 0; j < count; ++j) {
        const ShufflePair& e = plan[j];
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + e.base[0]));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + e.base[1]));
        const __m256i src = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
        const __m256i mask = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(e.mask));
        const __m256i weight = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(e.weight));
        const __m256i sums = _mm256_madd_epi16(_mm256_shuffle_epi8(src, mask), weight);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(h + 8 * j), sums);
    }
}
#endif

// The horizontal sums from flat index `from` (pixel x x C + channel) to n.
template <int C>
void InterpolateFrom(const BYTE* p, std::int32_t* h, i64 from, i64 n, const Axis& ax) {
    for (i64 k = from; k < n; ++k) {
        const i64 x = k / C, c = k - x * C;
        const int fx = ax.f[x];
        h[k] = p[i64{ax.a[x]} * C + c] * (1024 - fx) + p[i64{ax.b[x]} * C + c] * fx;
    }
}

// The shuffle plan of a call, empty where the processor has no AVX2.
#if defined(__x86_64__)
using Shuffles = std::vector<ShufflePair>;
Shuffles PlanRowShuffles(const Axis& ax, int channels, i64 rowBytes) {
    return vellum::cpu::HasAvx2() ? PlanShuffles(ax, channels, rowBytes) : Shuffles{};
}
#else
struct Shuffles {};
Shuffles PlanRowShuffles(const Axis&, int, i64) { return {}; }
#endif

// One source row's horizontal sums of the interpolating rule, h[x x C + c] =
// p(i) x (1024 - f) + p(i + 1) x f: through the shuffle plan as far as it
// goes, the rest one sum at a time; without a plan, `interpolate` does it.
template <int C, typename Interpolate>
void InterpolateRow(const BYTE* p, std::int32_t* h, const Shuffles& shuffles, const Axis& ax,
                    Interpolate interpolate) {
#if defined(__x86_64__)
    if (!shuffles.empty()) {
        InterpolateShuffled(p, h, shuffles.data(), shuffles.size());
        InterpolateFrom<C>(p, h, 8 * static_cast<i64>(shuffles.size()),
                           static_cast<i64>(ax.a.size()) * C, ax);
        return;
    }
#endif
    interpolate(p, h, static_cast<i64>(ax.a.size()), ax.a.data(), ax.b.data(), ax.f.data());
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
    // How many rows fetched one after the other stay readable together:
    // 24-bit rows are the image's own, expanded 1-bit rows share two buffers.
    int stable() const { return oneBit_ ? 1 : 4; }
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

// One output row of box averages from column sums: output x covers columns
// a[x] .. b[x] of `acc`, over `rows` rows.
template <int C, typename Sum>
void BoxRow(const Sum* acc, const Axis& ax, i64 rows, Reciprocals& divide, BYTE* d) {
    const i64 newW = static_cast<i64>(ax.a.size());
    for (i64 x = 0; x < newW; ++x) {
        const i64 c0 = ax.a[x], c1 = ax.b[x];
        const Reciprocal& by = divide((c1 - c0 + 1) * rows);
        const Sum* col = acc + c0 * C;
        std::uint32_t s[C] = {};
        for (i64 i = 0; i <= c1 - c0; ++i) {
            for (int c = 0; c < C; ++c) s[c] += col[i * C + c];
        }
        for (int c = 0; c < C; ++c) d[x * C + c] = Divide(s[c], by);
    }
}

#if defined(__x86_64__)
// BoxRow for three channels when every box is at most M columns wide and
// holds at most 257 pixels: the three sums of a box share one register of
// 16-bit lanes, and every box adds M columns with those past its own masked
// off, so no branch depends on the box width. `acc` has M pixels of zeros
// past the row. `byCount[w - minCount]` divides by w columns of the rows.
template <int M>
void BoxRow3Masked(const std::uint16_t* acc, const Axis& ax, const Reciprocal* byCount,
                   i64 minCount, BYTE* d) {
    const i64 newW = static_cast<i64>(ax.a.size());
    for (i64 x = 0; x < newW; ++x) {
        const i64 c0 = ax.a[x], count = ax.b[x] - c0 + 1;
        const std::uint16_t* col = acc + c0 * 3;
        const __m128i n = _mm_set1_epi16(static_cast<short>(count));
        __m128i s = _mm_setzero_si128();
        for (int i = 0; i < M; ++i) {
            const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(col + 3 * i));
            const __m128i keep = _mm_cmpgt_epi16(n, _mm_set1_epi16(static_cast<short>(i)));
            s = _mm_add_epi16(s, _mm_and_si128(v, keep));
        }
        const Reciprocal& r = byCount[count - minCount];
        // The sums are below 2^16, so the reciprocal's product cannot overflow.
        d[3 * x] = static_cast<BYTE>((std::uint64_t(_mm_extract_epi16(s, 0)) * r.m) >> r.k);
        d[3 * x + 1] = static_cast<BYTE>((std::uint64_t(_mm_extract_epi16(s, 1)) * r.m) >> r.k);
        d[3 * x + 2] = static_cast<BYTE>((std::uint64_t(_mm_extract_epi16(s, 2)) * r.m) >> r.k);
    }
}

using BoxRow3Fn = void (*)(const std::uint16_t*, const Axis&, const Reciprocal*, i64, BYTE*);

BoxRow3Fn BoxRow3For(i64 maxCount) {
    switch (maxCount) {
        case 1: return &BoxRow3Masked<1>;
        case 2: return &BoxRow3Masked<2>;
        case 3: return &BoxRow3Masked<3>;
        case 4: return &BoxRow3Masked<4>;
        case 5: return &BoxRow3Masked<5>;
        case 6: return &BoxRow3Masked<6>;
        case 7: return &BoxRow3Masked<7>;
        case 8: return &BoxRow3Masked<8>;
        default: return nullptr;
    }
}
#endif

// Both axes averaging. The rows of a box are summed column by column first
// (in 16 bits while at most 257 rows, four rows per pass), then each output
// adds its columns. Sums wrap as the 32-bit sums of the rule do: modular
// addition does not depend on the order.
template <int C>
void AverageBoth(RowSource& rows, i64 width, const Axis& ax, const Axis& ay, BYTE* out,
                 i64 outStride) {
    const i64 newW = static_cast<i64>(ax.a.size());
    const i64 newH = static_cast<i64>(ay.a.size());
    const i64 n = width * C;
    i64 maxRows = 0, minCount = INT64_MAX, maxCount = 0;
    for (i64 y = 0; y < newH; ++y) maxRows = std::max<i64>(maxRows, ay.b[y] - ay.a[y] + 1);
    for (i64 x = 0; x < newW; ++x) {
        minCount = std::min<i64>(minCount, ax.b[x] - ax.a[x] + 1);
        maxCount = std::max<i64>(maxCount, ax.b[x] - ax.a[x] + 1);
    }
    Reciprocals divide;
    auto addRows = &AddRows16Plain;
    auto accumulate = &AccumulatePlain;
#if defined(__x86_64__)
    if (vellum::cpu::HasAvx2()) {
        addRows = &AddRows16Avx2;
        accumulate = &AccumulateAvx2;
    }
    const BoxRow3Fn masked = C == 3 ? BoxRow3For(maxCount) : nullptr;
    std::vector<Reciprocal> byCount(static_cast<std::size_t>(maxCount - minCount + 1));
#endif
    if (maxRows <= kMax16) {
        // Zeros past the row for the masked sums (eight pixels and one lane).
        std::vector<std::uint16_t> acc(static_cast<std::size_t>(n + 8 * C + 1), 0);
        const int batch = rows.stable();
        for (i64 y = 0; y < newH; ++y) {
            const i64 r0 = ay.a[y], r1 = ay.b[y], nRows = r1 - r0 + 1;
            for (i64 r = r0; r <= r1;) {
                const BYTE* batchRows[4];
                const int m = static_cast<int>(std::min<i64>(batch, r1 - r + 1));
                for (int k = 0; k < m; ++k) batchRows[k] = rows.row(r + k);
                addRows(acc.data(), batchRows, m, r != r0, n);
                r += m;
            }
            BYTE* d = out + outStride * y;
#if defined(__x86_64__)
            if (masked && maxCount * nRows <= kMax16) {
                for (i64 w = minCount; w <= maxCount; ++w) {
                    byCount[w - minCount] = divide(w * nRows);
                }
                masked(acc.data(), ax, byCount.data(), minCount, d);
                continue;
            }
#endif
            BoxRow<C>(acc.data(), ax, nRows, divide, d);
        }
    } else {
        std::vector<std::uint32_t> acc(static_cast<std::size_t>(n));
        for (i64 y = 0; y < newH; ++y) {
            std::fill(acc.begin(), acc.end(), 0u);
            const i64 r0 = ay.a[y], r1 = ay.b[y];
            for (i64 r = r0; r <= r1; ++r) accumulate(acc.data(), rows.row(r), n);
            BoxRow<C>(acc.data(), ax, r1 - r0 + 1, divide, out + outStride * y);
        }
    }
}

// The four combinations of the axis rules, for C bytes per pixel.
template <int C>
void Resample(RowSource& rows, i64 width, const Axis& ax, const Axis& ay, BYTE* out,
              i64 outStride) {
    const i64 newW = static_cast<i64>(ax.a.size());
    const i64 newH = static_cast<i64>(ay.a.size());
    std::vector<std::uint32_t> acc;
    Reciprocals divide;
    if (ay.average && ax.average) {
        AverageBoth<C>(rows, width, ax, ay, out, outStride);
    } else if (ay.average) {
        acc.resize(static_cast<std::size_t>(newW * C));
        std::vector<std::int32_t> h(static_cast<std::size_t>(newW * C));
        const Shuffles shuffles = PlanRowShuffles(ax, C, width * C);
        auto* interpolate = &InterpolatePlain<C>;
#if defined(__x86_64__)
        if (vellum::cpu::HasAvx2()) interpolate = &InterpolateAvx2<C>;
#endif
        for (i64 y = 0; y < newH; ++y) {
            std::fill(acc.begin(), acc.end(), 0u);
            const i64 r0 = ay.a[y], r1 = ay.b[y];
            for (i64 r = r0; r <= r1; ++r) {
                InterpolateRow<C>(rows.row(r), h.data(), shuffles, ax, interpolate);
                for (i64 k = 0; k < newW * C; ++k) acc[k] += static_cast<std::uint32_t>(h[k] >> 10);
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
        auto* interpolate = &InterpolatePlain<C>;
        auto* blend = &BlendPlain;
        const Shuffles shuffles = PlanRowShuffles(ax, C, width * C);
#if defined(__x86_64__)
        if (vellum::cpu::HasAvx2()) {
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
            InterpolateRow<C>(rows.row(r), h, shuffles, ax, interpolate);
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
    // Every byte is written below, row padding included, so the block is not
    // cleared first.
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, dstStride * newHeight));
    if (!out) return 0;
    for (i64 y = 0; y < newHeight; ++y) {
        std::memset(out + dstStride * y + 3 * newWidth, 0,
                    static_cast<std::size_t>(dstStride - 3 * newWidth));
    }
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
