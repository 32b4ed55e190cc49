#include "effects/distort.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "effects/effect_frame.h"
#include "platform/cpu.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

using vellum::effects::ClampIndex;
using vellum::effects::CommitBits;
using vellum::effects::Frame24;
using vellum::effects::kDegreeFactor;
using vellum::effects::kFullCycle;
using vellum::effects::NewBits;
using vellum::effects::Prepare24;
using vellum::effects::TruncPos;

namespace {

constexpr double kPiFloat = static_cast<double>(3.1415927f);
constexpr double kRadiansPerDegree = 0.017453293005625408;
constexpr std::int64_t kMaxSide = std::numeric_limits<std::int32_t>::max();

// A block of `bytes` filled with `background` (padding included).
BYTE* NewFilled(std::int64_t bytes, BYTE background) {
    BYTE* block = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, bytes));
    if (block) std::memset(block, background, static_cast<std::size_t>(bytes));
    return block;
}

// Bilinear sample at (sx, sy) with 10-bit fractions and 20-bit result shift;
// the neighbours are pulled inside the picture (a no-op at the positions the
// callers' clamps produce on pictures of five pixels or more).
inline void Sample(const Frame24& f, double sx, double sy, BYTE* out) {
    const std::int64_t ix = TruncPos(sx);
    const std::int64_t iy = TruncPos(sy);
    const int fx = static_cast<int>(TruncPos((sx - static_cast<double>(ix)) * 1024.0));
    const int fy = static_cast<int>(TruncPos((sy - static_cast<double>(iy)) * 1024.0));
    const std::int64_t x0 = ClampIndex(ix, f.width), x1 = ClampIndex(ix + 1, f.width);
    const std::int64_t y0 = ClampIndex(iy, f.height), y1 = ClampIndex(iy + 1, f.height);
    const BYTE* a = f.row(y0) + 3 * x0;
    const BYTE* b = f.row(y0) + 3 * x1;
    const BYTE* c = f.row(y1) + 3 * x0;
    const BYTE* d = f.row(y1) + 3 * x1;
    for (int k = 0; k < 3; ++k) {
        const int low = a[k] * (1024 - fx) + b[k] * fx;
        const int high = c[k] * (1024 - fx) + d[k] * fx;
        out[k] = static_cast<BYTE>((high * fy + low * (1024 - fy)) >> 20);
    }
}

#if defined(__x86_64__) && defined(__GNUC__)
#define VELLUM_DISTORT_AVX2 1
// Positions to taps, four at a time: the byte offset of the upper left
// neighbour (inside a block of at most 2^31 - 1 bytes, so 32 bits hold it),
// the across weights as the word pair (1024 - fx, fx) and fy. The
// conversions truncate exactly as the scalar casts do.
// The taps of the four positions (u, v) into off, wx and fy.
__attribute__((target("avx2"), always_inline)) inline void Taps4(__m256d u, __m256d v,
                                                                 __m128i vstride,
                                                                 std::int32_t* off,
                                                                 std::int32_t* wx,
                                                                 std::int32_t* fy) {
    const __m256d scale = _mm256_set1_pd(1024.0);
    const __m128i full = _mm_set1_epi32(1024);
    const __m128i ix = _mm256_cvttpd_epi32(u), iy = _mm256_cvttpd_epi32(v);
    const __m128i fx =
        _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_sub_pd(u, _mm256_cvtepi32_pd(ix)), scale));
    const __m128i fv =
        _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_sub_pd(v, _mm256_cvtepi32_pd(iy)), scale));
    const __m128i o =
        _mm_add_epi32(_mm_mullo_epi32(iy, vstride), _mm_add_epi32(ix, _mm_add_epi32(ix, ix)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(off), o);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(wx),
                     _mm_or_si128(_mm_sub_epi32(full, fx), _mm_slli_epi32(fx, 16)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(fy), fv);
}

__attribute__((target("avx2"))) void TapsAvx2(const double* sx, const double* sy, std::size_t n,
                                              std::int64_t stride, std::int32_t* off,
                                              std::int32_t* wx, std::int32_t* fy) {
    const __m128i vstride = _mm_set1_epi32(static_cast<int>(stride));
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        Taps4(_mm256_loadu_pd(sx + i), _mm256_loadu_pd(sy + i), vstride, off + i, wx + i, fy + i);
    }
    for (; i < n; ++i) {
        const auto ix = static_cast<std::int32_t>(sx[i]), iy = static_cast<std::int32_t>(sy[i]);
        const auto fx = static_cast<std::int32_t>((sx[i] - static_cast<double>(ix)) * 1024.0);
        off[i] = static_cast<std::int32_t>(iy * stride + 3 * ix);
        wx[i] = (fx << 16) | (1024 - fx);
        fy[i] = static_cast<std::int32_t>((sy[i] - static_cast<double>(iy)) * 1024.0);
    }
}

// Eight bytes from p0 in the low lane, eight from p1 in the high one.
__attribute__((target("avx2"), always_inline)) inline __m256i LanePair(const BYTE* p0,
                                                                       const BYTE* p1) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p0))),
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p1)), 1);
}

// Two pixels per step, one in each lane: each row's pixel pair
// interleaved into (left, right) word pairs and blended across by one
// multiply-add with (1024 - fx, fx), giving the upper and lower sums u and
// l; then u x (1024 - fy) + l x fy, worked out as u x 1024 + (l - u) x fy,
// the same integer in 32 bits. Exactly the integer rule.
__attribute__((target("avx2"))) void BlendAvx2(const BYTE* bits, std::int64_t stride,
                                               const std::int32_t* off, const std::int32_t* wx,
                                               const std::int32_t* fy, std::size_t n, BYTE* dst) {
    const __m256i order =
        _mm256_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1,  //
                         0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1);
    const __m256i spread = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
    // The source pixels of a warped row do not follow one another, so they
    // are fetched a few pixels ahead.
    constexpr std::size_t kAhead = 16;
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        if (i + kAhead + 1 < n) {
            const BYTE* ahead0 = bits + off[i + kAhead];
            const BYTE* ahead1 = bits + off[i + kAhead + 1];
            _mm_prefetch(reinterpret_cast<const char*>(ahead0), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(ahead0 + stride), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(ahead1), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(ahead1 + stride), _MM_HINT_T0);
        }
        const BYTE* a0 = bits + off[i];
        const BYTE* a1 = bits + off[i + 1];
        const __m256i top = _mm256_shuffle_epi8(LanePair(a0, a1), order);
        const __m256i bottom = _mm256_shuffle_epi8(LanePair(a0 + stride, a1 + stride), order);
        const __m256i across = _mm256_permutevar8x32_epi32(
            _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(wx + i))),
            spread);
        const __m256i down = _mm256_permutevar8x32_epi32(
            _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(fy + i))),
            spread);
        const __m256i u = _mm256_madd_epi16(top, across);
        const __m256i l = _mm256_madd_epi16(bottom, across);
        __m256i v = _mm256_add_epi32(_mm256_slli_epi32(u, 10),
                                     _mm256_mullo_epi32(_mm256_sub_epi32(l, u), down));
        v = _mm256_srli_epi32(v, 20);
        v = _mm256_packus_epi16(_mm256_packus_epi32(v, v), v);
        const auto px0 = static_cast<std::uint32_t>(_mm256_cvtsi256_si32(v));
        const auto px1 = static_cast<std::uint32_t>(_mm256_extract_epi32(v, 4));
        // Four bytes at a time, the fourth overwritten by the next pixel;
        // the last pixel of the run stores exactly three.
        std::memcpy(dst + 3 * i, &px0, 4);
        std::memcpy(dst + 3 * i + 3, &px1, i + 2 < n ? 4 : 3);
    }
    if (i < n) {
        const BYTE* a = bits + off[i];
        const BYTE* c = a + stride;
        const int fx = wx[i] >> 16, fv = fy[i];
        for (int k = 0; k < 3; ++k) {
            const int low = a[k] * (1024 - fx) + a[k + 3] * fx;
            const int high = c[k] * (1024 - fx) + c[k + 3] * fx;
            dst[3 * i + k] = static_cast<BYTE>((high * fv + low * (1024 - fv)) >> 20);
        }
    }
}
#endif

// Samples one output row of positions whose neighbours lie inside the
// picture (0 <= ix <= width - 3 and 0 <= iy <= height - 2, which the callers'
// clamps give on pictures of five pixels or more, so that eight bytes read
// from a neighbour's row stay inside it): the same 10-bit rule as Sample,
// in a pass that turns positions into taps and a pass that blends.
class RowSampler {
  public:
    explicit RowSampler(std::int64_t n)
        : off_(static_cast<std::size_t>(n)), wx_(off_.size()), fy_(off_.size()) {}

    // n at most the count given at construction.
    void run(const Frame24& f, const double* sx, const double* sy, std::size_t n, BYTE* dst) {
#ifdef VELLUM_DISTORT_AVX2
        if (vellum::cpu::HasAvx2()) {
            TapsAvx2(sx, sy, n, f.stride, off_.data(), wx_.data(), fy_.data());
            BlendAvx2(f.bits, f.stride, off_.data(), wx_.data(), fy_.data(), n, dst);
            return;
        }
#endif
        const std::int64_t stride = f.stride;
        for (std::size_t i = 0; i < n; ++i) {
            const auto ix = static_cast<std::int32_t>(sx[i]);
            const auto iy = static_cast<std::int32_t>(sy[i]);
            const auto fx = static_cast<std::int32_t>((sx[i] - static_cast<double>(ix)) * 1024.0);
            const auto fy = static_cast<std::int32_t>((sy[i] - static_cast<double>(iy)) * 1024.0);
            const BYTE* a = f.bits + iy * stride + 3 * std::int64_t{ix};
            const BYTE* c = a + stride;
            for (int k = 0; k < 3; ++k) {
                const int low = a[k] * (1024 - fx) + a[k + 3] * fx;
                const int high = c[k] * (1024 - fx) + c[k + 3] * fx;
                dst[3 * i + k] = static_cast<BYTE>((high * fy + low * (1024 - fy)) >> 20);
            }
        }
    }

    // The swirl row of SwirlRowPlain (sx and sy as its scratch), sampled into
    // dst; with AVX2 the positions go straight to taps.
    void runSwirl(const Frame24& f, const double* sines, const double* cosines,
                  std::int64_t step, std::int64_t n, double x0, double cx, double cy, double dy,
                  double* sx, double* sy, BYTE* dst);

  private:
    std::vector<std::int32_t> off_, wx_, fy_;
};

// Ripple positions of one row: column x0 + j moves by m[step x j] (step 1
// right of the centre, -1 left of it, reading the shared table outwards)
// along its offset from the centre. A position at or below 2.0 becomes 1.5,
// one at or above size - 3 becomes size - 2.5. Finite arguments keep every
// position finite; a NaN would sample at 0 as Sample does.
void DropRowPlain(const double* m, std::int64_t step, std::int64_t n, double x0, double cx,
                  double y, double dy, double w, double hgt, double* sx, double* sy) {
    for (std::int64_t j = 0; j < n; ++j) {
        const double x = x0 + static_cast<double>(j);
        const double dx = x - cx;
        double u = y + dy * m[step * j];
        double v = x + dx * m[step * j];
        u = u <= 2.0 ? 1.5 : (u >= hgt - 3.0 ? hgt - 2.5 : u);
        v = v <= 2.0 ? 1.5 : (v >= w - 3.0 ? w - 2.5 : v);
        sy[j] = u >= 1.5 ? u : 0.0;
        sx[j] = v >= 1.5 ? v : 0.0;
    }
}

// Swirl positions of one row at offset dy from the centre, S and C the
// sine and cosine of each column's turn (read as for the ripple); clamped
// to 2.0 .. size - 3, NaN (from a non-finite angle) to 2.0.
void SwirlRowPlain(const double* sines, const double* cosines, std::int64_t step, std::int64_t n,
                   double x0, double cx, double cy, double dy, double w, double hgt, double* sx,
                   double* sy) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double dx = (x0 + static_cast<double>(i)) - cx;
        const double S = sines[step * i], C = cosines[step * i];
        double u = cx + dx * C - dy * S;
        double v = cy + dx * S + dy * C;
        u = u >= 2.0 ? (u > w - 3.0 ? w - 3.0 : u) : 2.0;
        v = v >= 2.0 ? (v > hgt - 3.0 ? hgt - 3.0 : v) : 2.0;
        sx[i] = u;
        sy[i] = v;
    }
}

#ifdef VELLUM_DISTORT_AVX2
// The same expressions four columns at a time: each product and sum is the
// same IEEE operation on the same operands (no fused multiply-add), and
// the comparisons are ordered, so a NaN takes the branches it takes above.
__attribute__((target("avx2"), always_inline)) inline __m256d DropClamp(__m256d v, __m256d two,
                                                                        __m256d oneHalf,
                                                                        __m256d far, __m256d end) {
    // The low test wins where both hold (a side of five pixels).
    __m256d r = _mm256_blendv_pd(v, end, _mm256_cmp_pd(v, far, _CMP_GE_OQ));
    r = _mm256_blendv_pd(r, oneHalf, _mm256_cmp_pd(v, two, _CMP_LE_OQ));
    return _mm256_and_pd(r, _mm256_cmp_pd(r, oneHalf, _CMP_GE_OQ));
}

__attribute__((target("avx2"), always_inline)) inline __m256d SwirlClamp(__m256d v, __m256d two,
                                                                         __m256d far) {
    const __m256d inside = _mm256_blendv_pd(v, far, _mm256_cmp_pd(v, far, _CMP_GT_OQ));
    return _mm256_blendv_pd(two, inside, _mm256_cmp_pd(v, two, _CMP_GE_OQ));
}

// Four table entries for columns j .. j + 3, read outwards from the centre.
__attribute__((target("avx2"), always_inline)) inline __m256d TableAt(const double* t,
                                                                      std::int64_t step,
                                                                      std::int64_t j) {
    if (step > 0) return _mm256_loadu_pd(t + j);
    return _mm256_permute4x64_pd(_mm256_loadu_pd(t - j - 3), 0x1B);
}

__attribute__((target("avx2"))) void DropRowAvx2(const double* m, std::int64_t step, std::int64_t n,
                                                 double x0, double cx, double y, double dy,
                                                 double w, double hgt, double* sx, double* sy) {
    const __m256d vy = _mm256_set1_pd(y), vdy = _mm256_set1_pd(dy), vcx = _mm256_set1_pd(cx);
    const __m256d two = _mm256_set1_pd(2.0), oneHalf = _mm256_set1_pd(1.5);
    const __m256d farY = _mm256_set1_pd(hgt - 3.0), endY = _mm256_set1_pd(hgt - 2.5);
    const __m256d farX = _mm256_set1_pd(w - 3.0), endX = _mm256_set1_pd(w - 2.5);
    __m256d x = _mm256_setr_pd(x0, x0 + 1.0, x0 + 2.0, x0 + 3.0);
    const __m256d four = _mm256_set1_pd(4.0);
    std::int64_t j = 0;
    for (; j + 4 <= n; j += 4, x = _mm256_add_pd(x, four)) {
        const __m256d mj = TableAt(m, step, j);
        const __m256d dx = _mm256_sub_pd(x, vcx);
        const __m256d u = _mm256_add_pd(vy, _mm256_mul_pd(vdy, mj));
        const __m256d v = _mm256_add_pd(x, _mm256_mul_pd(dx, mj));
        _mm256_storeu_pd(sy + j, DropClamp(u, two, oneHalf, farY, endY));
        _mm256_storeu_pd(sx + j, DropClamp(v, two, oneHalf, farX, endX));
    }
    if (j < n) {
        DropRowPlain(m + step * j, step, n - j, x0 + static_cast<double>(j), cx, y, dy, w, hgt,
                     sx + j, sy + j);
    }
}

#endif

#ifdef VELLUM_DISTORT_AVX2
// SwirlRowPlain four columns at a time, with the same IEEE operations on the
// same operands, its positions turned into the taps of TapsAvx2 in the
// same pass.
__attribute__((target("avx2"))) void SwirlTapsAvx2(const double* sines, const double* cosines,
                                                   std::int64_t step, std::int64_t n, double x0,
                                                   double cx, double cy, double dy, double w,
                                                   double hgt, std::int64_t stride,
                                                   std::int32_t* off, std::int32_t* wx,
                                                   std::int32_t* fy) {
    const __m256d vcx = _mm256_set1_pd(cx), vcy = _mm256_set1_pd(cy), vdy = _mm256_set1_pd(dy);
    const __m256d two = _mm256_set1_pd(2.0);
    const __m256d farX = _mm256_set1_pd(w - 3.0), farY = _mm256_set1_pd(hgt - 3.0);
    const __m128i vstride = _mm_set1_epi32(static_cast<int>(stride));
    __m256d i4 = _mm256_setr_pd(x0, x0 + 1.0, x0 + 2.0, x0 + 3.0);
    const __m256d four = _mm256_set1_pd(4.0);
    std::int64_t i = 0;
    for (; i + 4 <= n; i += 4, i4 = _mm256_add_pd(i4, four)) {
        const __m256d s = TableAt(sines, step, i), c = TableAt(cosines, step, i);
        const __m256d dx = _mm256_sub_pd(i4, vcx);
        const __m256d u =
            _mm256_sub_pd(_mm256_add_pd(vcx, _mm256_mul_pd(dx, c)), _mm256_mul_pd(vdy, s));
        const __m256d v =
            _mm256_add_pd(_mm256_add_pd(vcy, _mm256_mul_pd(dx, s)), _mm256_mul_pd(vdy, c));
        Taps4(SwirlClamp(u, two, farX), SwirlClamp(v, two, farY), vstride, off + i, wx + i,
              fy + i);
    }
    if (i < n) {
        double u[4], v[4];
        SwirlRowPlain(sines + step * i, cosines + step * i, step, n - i,
                      x0 + static_cast<double>(i), cx, cy, dy, w, hgt, u, v);
        TapsAvx2(u, v, static_cast<std::size_t>(n - i), stride, off + i, wx + i, fy + i);
    }
}
#endif

void RowSampler::runSwirl(const Frame24& f, const double* sines, const double* cosines,
                          std::int64_t step, std::int64_t n, double x0, double cx, double cy,
                          double dy, double* sx, double* sy, BYTE* dst) {
    const double w = static_cast<double>(f.width), hgt = static_cast<double>(f.height);
#ifdef VELLUM_DISTORT_AVX2
    if (vellum::cpu::HasAvx2()) {
        SwirlTapsAvx2(sines, cosines, step, n, x0, cx, cy, dy, w, hgt, f.stride, off_.data(),
                      wx_.data(), fy_.data());
        BlendAvx2(f.bits, f.stride, off_.data(), wx_.data(), fy_.data(),
                  static_cast<std::size_t>(n), dst);
        return;
    }
#endif
    SwirlRowPlain(sines, cosines, step, n, x0, cx, cy, dy, w, hgt, sx, sy);
    run(f, sx, sy, static_cast<std::size_t>(n), dst);
}

void DropRow(const double* m, std::int64_t step, std::int64_t n, double x0, double cx, double y,
             double dy, double w, double hgt, double* sx, double* sy) {
#ifdef VELLUM_DISTORT_AVX2
    if (vellum::cpu::HasAvx2()) return DropRowAvx2(m, step, n, x0, cx, y, dy, w, hgt, sx, sy);
#endif
    DropRowPlain(m, step, n, x0, cx, y, dy, w, hgt, sx, sy);
}

// Values that depend on a^2 + b^2 only (a sum that does not depend on the
// order), worked out at row b of the mirrored walk for a column a > b and
// kept for row a, where the pair comes back as column b, for pairs below a
// limit that keeps the triangle within 32 MiB. Used only when the walk is a
// single strip, so that rows come in increasing order with every column;
// otherwise, or without the room, it keeps nothing.
class SwapCache {
  public:
    SwapCache(std::int64_t maxA, std::int64_t maxB, bool used) {
        if (!used) return;
        constexpr std::int64_t kBytes = std::int64_t{32} << 20;
        std::int64_t limit = std::min(maxA, maxB) + 1;
        while (limit > 1 && limit * (limit - 1) / 2 * 8 > kBytes) limit = limit * 15 / 16;
        try {
            table_.resize(static_cast<std::size_t>(limit * (limit - 1) / 2));
            done_.assign(static_cast<std::size_t>(limit), 0);
            limit_ = limit;
        } catch (const std::bad_alloc&) {
            table_.clear();
            done_.clear();
        }
    }

    // The value of (a, b) if row a kept it for column b > a.
    bool take(std::int64_t a, std::int64_t b, double& out) const {
        if (a >= b || b >= limit_ || !done_[a]) return false;
        out = table_[static_cast<std::size_t>(b * (b - 1) / 2 + a)];
        return true;
    }

    // At row b: keeps the value of column a for row a.
    void keep(std::int64_t a, std::int64_t b, double v) {
        if (a <= b || a >= limit_) return;
        table_[static_cast<std::size_t>(a * (a - 1) / 2 + b)] = v;
    }

    // Row b has kept every column it will.
    void finish(std::int64_t b) {
        if (b < limit_) done_[b] = 1;
    }

  private:
    std::vector<double> table_;
    std::vector<char> done_;
    std::int64_t limit_ = 0;
};

// The swirl's turn depends on x^2 + y^2 only, the same number for (|x|, |y|)
// and (|y|, |x|) and for the four pixels (+-x, +-y). The quarter of
// offsets 0..maxAx by 0..maxAy is walked in square tiles of kTile, paired
// with their mirror images about the diagonal: turns(a0, b0, na, nb, s, c)
// works out the turns of a = a0 + i, b = b0 + j for i < na, j < nb (s and
// c at j x kTile + i), and rows(k, a0, a1, b, s, c) handles the pixels of
// image k (0..3, one for each sign of x and y) with offset row b and offset
// columns a0 .. a1 - 1, whose turns s[a - a0], c[a - a0] give. Each image
// of a tile is finished before the next, so that the scattered source
// reads of a tile stay within a few pages and cache lines.
constexpr std::int64_t kTile = 128;

template <typename Turns, typename Rows>
void ForMirroredTiles(std::int64_t maxAx, std::int64_t maxAy, Turns turns, Rows rows) {
    constexpr std::int64_t t = kTile;
    std::vector<double> s(t * t), c(t * t);
    const std::int64_t most = std::max(maxAx, maxAy);
    for (std::int64_t p = 0; p * t <= most; ++p) {
        for (std::int64_t q = 0; q <= p; ++q) {
            // Tile (p, q): columns p t .., rows q t ..; its mirror (q, p).
            const std::int64_t a0 = p * t, b0 = q * t;
            const bool first = a0 <= maxAx && b0 <= maxAy;
            const bool second = p != q && b0 <= maxAx && a0 <= maxAy;
            if (!first && !second) continue;
            std::int64_t na = 0, nb = 0;
            if (first) {
                na = std::min(t, maxAx + 1 - a0);
                nb = std::min(t, maxAy + 1 - b0);
            }
            if (second) {
                na = std::max(na, std::min(t, maxAy + 1 - a0));
                nb = std::max(nb, std::min(t, maxAx + 1 - b0));
            }
            turns(a0, b0, na, nb, s.data(), c.data());
            if (first) {
                const std::int64_t n = std::min(t, maxAx + 1 - a0);
                const std::int64_t m = std::min(t, maxAy + 1 - b0);
                for (int k = 0; k < 4; ++k) {
                    for (std::int64_t j = 0; j < m; ++j) {
                        rows(k, a0, a0 + n, b0 + j, s.data() + j * t, c.data() + j * t);
                    }
                }
            }
            if (second) {
                // The mirror reads the turns transposed.
                for (std::int64_t i = 0; i < t; ++i) {
                    for (std::int64_t j = i + 1; j < t; ++j) {
                        std::swap(s[i * t + j], s[j * t + i]);
                        std::swap(c[i * t + j], c[j * t + i]);
                    }
                }
                const std::int64_t n = std::min(t, maxAx + 1 - b0);
                const std::int64_t m = std::min(t, maxAy + 1 - a0);
                for (int k = 0; k < 4; ++k) {
                    for (std::int64_t i = 0; i < m; ++i) {
                        rows(k, b0, b0 + n, a0 + i, s.data() + i * t, c.data() + i * t);
                    }
                }
            }
        }
    }
}

// Columns x0..x1 and rows y0..y1 around the centre (cx, cy), walked in
// strips of |x - cx| and, within a strip, by |y - cy|: shared(ax0, ax1, ay)
// works out what the up to four pixels (+-ax, +-ay) share for ax in
// [ax0, ax1), then segment(y, xa, xb, ax0) handles row y's columns xa..xb,
// whose |x - cx| all lie in [ax0, ax1). Strips bound the working rows;
// they are wide because narrow ones measured no faster.
constexpr std::int64_t kStrip = 4096;

template <typename Shared, typename Segment>
void ForMirroredStrips(std::int64_t x0, std::int64_t x1, std::int64_t y0, std::int64_t y1,
                       std::int64_t cx, std::int64_t cy, Shared shared, Segment segment) {
    const std::int64_t maxAx = std::max(std::abs(x0 - cx), std::abs(x1 - cx));
    const std::int64_t maxAy = std::max(std::abs(y0 - cy), std::abs(y1 - cy));
    for (std::int64_t s = 0; s <= maxAx; s += kStrip) {
        const std::int64_t e = std::min(s + kStrip, maxAx + 1);
        // Right of the centre cx + [s, e), left cx - [max(s, 1), e).
        const std::int64_t from[2] = {std::max(cx + s, x0), std::max(cx - e + 1, x0)};
        const std::int64_t to[2] = {std::min(cx + e - 1, x1),
                                    std::min(cx - std::max<std::int64_t>(s, 1), x1)};
        if (from[0] > to[0] && from[1] > to[1]) continue;
        for (std::int64_t ay = 0; ay <= maxAy; ++ay) {
            const std::int64_t rows[2] = {cy + ay, cy - ay};
            const int count = ay == 0 ? 1 : 2;
            bool any = false;
            for (int i = 0; i < count; ++i) any |= rows[i] >= y0 && rows[i] <= y1;
            if (!any) continue;
            shared(s, e, ay);
            for (int i = 0; i < count; ++i) {
                if (rows[i] < y0 || rows[i] > y1) continue;
                for (int side = 0; side < 2; ++side) {
                    if (from[side] <= to[side]) segment(rows[i], from[side], to[side], s);
                }
            }
        }
    }
}

// The swirl on pictures below 5 x 5, where the clamps can leave the picture
// and Sample pulls the neighbours back inside.
int SpiralSmall(void*& bits, const Frame24& f, double angle, BYTE background) {
    BYTE* out = NewFilled(f.stride * f.height, background);
    if (!out) return 0;
    const double w = static_cast<double>(f.width), hgt = static_cast<double>(f.height);
    const double perRadius = angle * kRadiansPerDegree / std::sqrt(w * w + hgt * hgt);
    const std::int64_t cx = f.width >> 1, cy = f.height >> 1;
    auto clampTo = [](double v, double hi) {
        if (!(v >= 2.0)) v = 2.0;
        if (v > hi) v = hi;
        return v;
    };
    for (std::int64_t y = -cy; y < f.height - cy; ++y) {
        for (std::int64_t x = -cx; x < f.width - cx; ++x) {
            const double dx = static_cast<double>(x), dy = static_cast<double>(y);
            const double theta = std::sqrt(dx * dx + dy * dy) * perRadius;
            const double S = std::sin(theta), C = std::cos(theta);
            const double sx = clampTo(static_cast<double>(cx) + dx * C - dy * S, w - 3.0);
            const double sy = clampTo(static_cast<double>(cy) + dx * S + dy * C, hgt - 3.0);
            Sample(f, sx, sy, out + (y + cy) * f.stride + 3 * (x + cx));
        }
    }
    CommitBits(bits, out);
    return 1;
}

}  // namespace

int ThTwist(void*& bits, BITMAPINFO*& info, long phase, double cycles, long amplitude,
            int horizontal, unsigned char background) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    const std::int64_t amp = std::clamp<std::int64_t>(amplitude, 0, 100);
    const double omega = cycles * kFullCycle;
    const double phi = static_cast<double>(phase) * kDegreeFactor;
    BITMAPINFOHEADER& h = info->bmiHeader;

    if (horizontal) {
        const std::int64_t a = f.width * amp / 100;
        const std::int64_t width = f.width + 2 * a;
        if (width > kMaxSide) return 0;
        const std::int64_t stride = VellumDibStride(24, width);
        BYTE* out = NewFilled(stride * f.height, background);
        if (!out) return 0;
        const double height = static_cast<double>(f.height);
        for (std::int64_t y = 0; y < f.height; ++y) {
            const double wave = std::sin(static_cast<double>(y) * omega / height + phi);
            const std::int64_t start = std::clamp<std::int64_t>(
                a + TruncPos(wave * static_cast<double>(a)), 0, 2 * a);
            std::memcpy(out + y * stride + 3 * start, f.row(y), static_cast<std::size_t>(3 * f.width));
        }
        h.biWidth = static_cast<LONG>(width);
        h.biSizeImage = static_cast<DWORD>(stride * f.height);
        CommitBits(bits, out);
        return 1;
    }

    const std::int64_t a = f.height * amp / 100;
    const std::int64_t height = f.height + 2 * a;
    if (height > kMaxSide) return 0;
    BYTE* out = NewFilled(f.stride * height, background);
    if (!out) return 0;
    std::vector<std::int64_t> shift(static_cast<std::size_t>(f.width));
    const double width = static_cast<double>(f.width);
    for (std::int64_t x = 0; x < f.width; ++x) {
        const double wave = std::sin(static_cast<double>(x) * omega / width + phi);
        shift[x] = std::clamp<std::int64_t>(a + TruncPos(wave * static_cast<double>(a)), 0, 2 * a);
    }
    for (std::int64_t r = 0; r < height; ++r) {
        BYTE* dst = out + r * f.stride;
        for (std::int64_t x = 0; x < f.width; ++x) {
            const std::int64_t src = r - shift[x];
            if (src < 0 || src >= f.height) continue;
            const BYTE* p = f.row(src) + 3 * x;
            dst[3 * x] = p[0];
            dst[3 * x + 1] = p[1];
            dst[3 * x + 2] = p[2];
        }
    }
    h.biHeight = static_cast<LONG>(height);
    h.biSizeImage = static_cast<DWORD>(f.stride * height);
    CommitBits(bits, out);
    return 1;
}

int ThWave(void*& bits, BITMAPINFO*& info, long phase, double cycles, long amplitude,
           int horizontal, unsigned char background) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    BYTE* out = NewFilled(f.stride * f.height, background);
    if (!out) return 0;
    const std::int64_t amp = std::clamp<std::int64_t>(amplitude, 0, 100);
    const double omega = cycles * kFullCycle;
    const double phi = static_cast<double>(phase) * kDegreeFactor;

    // Source index and 10-bit fraction for each destination index along the
    // moving direction: one sine per row or column.
    const std::int64_t n = horizontal ? f.width : f.height;
    const double size = static_cast<double>(n);
    const double depth = static_cast<double>(n * amp) * 0.01;
    std::vector<std::int64_t> index(static_cast<std::size_t>(n));
    std::vector<int> frac(static_cast<std::size_t>(n));
    for (std::int64_t i = 0; i < n; ++i) {
        double s = static_cast<double>(i) - std::sin(static_cast<double>(i) * omega / size + phi) * depth;
        if (!(s >= 0.0)) s = 0.0;
        if (s > size - 1.0) s = size - 1.0;
        index[i] = TruncPos(s);
        frac[i] = static_cast<int>(TruncPos((s - static_cast<double>(index[i])) * 1024.0));
    }

    if (!horizontal) {
        const std::int64_t used = 3 * f.width;
        for (std::int64_t y = 0; y < f.height; ++y) {
            const BYTE* r0 = f.row(index[y]);
            const BYTE* r1 = f.row(std::min(index[y] + 1, f.height - 1));
            const int w1 = frac[y], w0 = 1024 - w1;
            BYTE* dst = out + y * f.stride;
            for (std::int64_t b = 0; b < used; ++b) {
                dst[b] = static_cast<BYTE>((r0[b] * w0 + r1[b] * w1) >> 10);
            }
        }
    } else {
        for (std::int64_t y = 0; y < f.height; ++y) {
            const BYTE* src = f.row(y);
            BYTE* dst = out + y * f.stride;
            for (std::int64_t x = 0; x < f.width; ++x) {
                const BYTE* p0 = src + 3 * index[x];
                const BYTE* p1 = src + 3 * std::min(index[x] + 1, f.width - 1);
                const int w1 = frac[x], w0 = 1024 - w1;
                for (int k = 0; k < 3; ++k) {
                    dst[3 * x + k] = static_cast<BYTE>((p0[k] * w0 + p1[k] * w1) >> 10);
                }
            }
        }
    }
    CommitBits(bits, out);
    return 1;
}

int ThDrop(void*& bits, BITMAPINFO*& info, double centreX, double centreY, long phase, long waves,
           long amplitude) {
    if (!bits || !info) return 0;
    if (!(centreX >= 0.0 && centreX <= 1.0) || !(centreY >= 0.0 && centreY <= 1.0)) return 0;
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    // Every byte is written: the outer two rows and columns and the padding
    // are copied, the inner pixels sampled.
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, f.stride * f.height));
    if (!out) return 0;

    const std::int64_t cx = TruncPos(static_cast<double>(f.width) * centreX);
    const std::int64_t cy = TruncPos(static_cast<double>(f.height) * centreY);
    const double k = static_cast<double>(waves) * kPiFloat / static_cast<double>(f.width);
    // width x amplitude saturates instead of overflowing for absurd amplitudes.
    std::int64_t spread = 0;
    if (__builtin_mul_overflow(static_cast<std::int64_t>(f.width),
                               static_cast<std::int64_t>(amplitude), &spread)) {
        spread = amplitude < 0 ? std::numeric_limits<std::int64_t>::min()
                               : std::numeric_limits<std::int64_t>::max();
    }
    const double a = static_cast<double>(spread / f.height);
    const double phi = static_cast<double>(phase) * kDegreeFactor;
    const double w = static_cast<double>(f.width), hgt = static_cast<double>(f.height);

    const std::int64_t x0 = 2, x1 = f.width - 3, y0 = 2, y1 = f.height - 3;
    if (y1 < y0 || x1 < x0) {
        std::memcpy(out, f.bits, static_cast<std::size_t>(f.stride * f.height));
        CommitBits(bits, out);
        return 1;
    }
    for (std::int64_t y = 0; y < f.height; ++y) {
        BYTE* dst = out + y * f.stride;
        const BYTE* src = f.row(y);
        if (y < y0 || y > y1) {
            std::memcpy(dst, src, static_cast<std::size_t>(f.stride));
        } else {
            std::memcpy(dst, src, 3 * x0);
            std::memcpy(dst + 3 * (x1 + 1), src + 3 * (x1 + 1),
                        static_cast<std::size_t>(f.stride - 3 * (x1 + 1)));
        }
    }

    // m depends on dx^2 + dy^2 only: one sine per (|dx|, |dy|), shared by
    // the pixels mirrored about the centre's row and column.
    std::vector<double> ripple(kStrip), sx(kStrip), sy(kStrip);
    RowSampler sampler(kStrip);
    const std::int64_t maxAdx = std::max(std::abs(x0 - cx), std::abs(x1 - cx));
    const std::int64_t maxAdy = std::max(std::abs(y0 - cy), std::abs(y1 - cy));
    SwapCache swapped(maxAdx, maxAdy, maxAdx < kStrip);
    auto shared = [&](std::int64_t ax0, std::int64_t ax1, std::int64_t ady) {
        const double fdy = static_cast<double>(ady);
        for (std::int64_t adx = ax0; adx < ax1; ++adx) {
            double m = 0.0;
            if (!swapped.take(adx, ady, m)) {
                const double fdx = static_cast<double>(adx);
                const double d = std::sqrt(fdx * fdx + fdy * fdy);
                m = std::sin(d * k + phi) * a / (d + 50.0);
                swapped.keep(adx, ady, m);
            }
            ripple[adx - ax0] = m;
        }
        swapped.finish(ady);
    };
    auto segment = [&](std::int64_t y, std::int64_t xa, std::int64_t xb, std::int64_t ax0) {
        const std::int64_t n = xb - xa + 1;
        const std::int64_t step = xa < cx ? -1 : 1;
        const double* first = ripple.data() + (xa < cx ? cx - xa : xa - cx) - ax0;
        DropRow(first, step, n, static_cast<double>(xa), static_cast<double>(cx),
                static_cast<double>(y), static_cast<double>(y - cy), w, hgt, sx.data(), sy.data());
        sampler.run(f, sx.data(), sy.data(), static_cast<std::size_t>(n),
                    out + y * f.stride + 3 * xa);
    };
    ForMirroredStrips(x0, x1, y0, y1, cx, cy, shared, segment);
    CommitBits(bits, out);
    return 1;
}

int ThLensEffect(void*& bits, BITMAPINFO*& info, int tint, int strong, int) {
    if (!bits || !info) return 0;
    static constexpr int kMinPos[6] = {1, 2, 2, 1, 0, 1};
    static constexpr int kMaxPos[6] = {2, 1, 0, 2, 1, 0};
    const int t = std::clamp(tint, 1, 6);
    const bool wide = t == 2 || t == 5;
    const double factor = strong == 1 ? (wide ? 0.5725490196078431 : 0.2784313725490196)
                                      : (wide ? 0.5568627450980392 : 0.21568627450980393);
    const int minPos = kMinPos[t - 1], maxPos = kMaxPos[t - 1], midPos = 3 - minPos - maxPos;
    auto lens = [&](BYTE* p) {
        const int lo = std::min({p[0], p[1], p[2]});
        const int hi = std::max({p[0], p[1], p[2]});
        p[minPos] = static_cast<BYTE>(lo);
        p[maxPos] = static_cast<BYTE>(hi);
        p[midPos] = static_cast<BYTE>(static_cast<int>((hi - lo) * factor + lo + 0.5));
    };

    const int depth = info->bmiHeader.biBitCount;
    if (depth == 1 || depth == 4 || depth == 8) {
        const long count = std::min<long>(ThCalDibColorCount(info), 256);
        RGBQUAD* table = VellumColorTable(info);
        for (long i = 0; i < count; ++i) lens(reinterpret_cast<BYTE*>(&table[i]));
        return 1;
    }
    std::int64_t width = 0, height = 0, stride = 0;
    if (depth != 24 || !vellum::effects::DescribePair(bits, info, width, height, stride)) return 0;
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* row = static_cast<BYTE*>(bits) + y * stride;
        for (std::int64_t x = 0; x < width; ++x) lens(row + 3 * x);
    }
    return 1;
}

int ThRotate3D(void*& bits, BITMAPINFO*& info, double angle, long distance, int axis,
               unsigned char background) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    const double a = angle * kRadiansPerDegree;
    double c = std::cos(a);
    const double s = std::sin(a);
    if (std::fabs(c) < 1e-08) c = 1e-08;
    if (!std::isfinite(c) || !std::isfinite(s)) return 0;

    // "along" is the direction across the turning axis, "across" the other.
    const std::int64_t along = axis ? f.height : f.width;
    const std::int64_t across = axis ? f.width : f.height;
    const double half = static_cast<double>(along) / 2.0;
    const double crossHalf = static_cast<double>(across) / 2.0;
    const bool perspective = distance > 0;
    const double eye =
        perspective ? static_cast<double>(std::max<long>(distance, 60)) * static_cast<double>(along) / 100.0
                    : 0.0;

    // Projected half extents, from the card's four corners.
    double extAlong = 0.0, extAcross = 0.0;
    for (double u : {-half, half}) {
        const double scale = perspective ? eye / (eye - u * s) : 1.0;
        extAlong = std::max(extAlong, std::fabs(u * c * scale));
        extAcross = std::max(extAcross, crossHalf * scale);
    }
    const std::int64_t outAlong = std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(2.0 * extAlong - 1e-9)));
    const std::int64_t outAcross = std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(2.0 * extAcross - 1e-9)));
    if (outAlong > kMaxSide || outAcross > kMaxSide) return 0;
    const std::int64_t outWidth = axis ? outAcross : outAlong;
    const std::int64_t outHeight = axis ? outAlong : outAcross;
    const std::int64_t outStride = VellumDibStride(24, outWidth);
    BYTE* out = NewFilled(outStride * outHeight, background);
    if (!out) return 0;

    // For each index along the output: the card position u (as a source
    // pixel position) and the perspective scale of that line.
    std::vector<double> srcAlong(static_cast<std::size_t>(outAlong));
    std::vector<double> scaleOf(static_cast<std::size_t>(outAlong));
    std::vector<char> visible(static_cast<std::size_t>(outAlong));
    for (std::int64_t i = 0; i < outAlong; ++i) {
        const double xp = static_cast<double>(i) + 0.5 - static_cast<double>(outAlong) / 2.0;
        double u = 0.0, scale = 1.0;
        bool ok = true;
        if (!perspective || s == 0.0) {
            u = xp / c;
        } else {
            const double den = c * eye + xp * s;
            ok = den != 0.0;
            if (ok) {
                u = xp * eye / den;
                const double depth = eye - u * s;
                ok = depth > 0.0;
                if (ok) scale = eye / depth;
            }
        }
        const double pos = u + half - 0.5;
        visible[i] = ok && pos > -0.5 && pos < static_cast<double>(along) - 0.5;
        srcAlong[i] = std::clamp(pos, 0.0, static_cast<double>(along - 1));
        scaleOf[i] = scale;
    }

    for (std::int64_t y = 0; y < outHeight; ++y) {
        BYTE* dst = out + y * outStride;
        for (std::int64_t x = 0; x < outWidth; ++x) {
            const std::int64_t i = axis ? y : x;
            if (!visible[i]) continue;
            const std::int64_t j = axis ? x : y;
            const double yp = static_cast<double>(j) + 0.5 - static_cast<double>(outAcross) / 2.0;
            const double pos = yp / scaleOf[i] + crossHalf - 0.5;
            if (!(pos > -0.5 && pos < static_cast<double>(across) - 0.5)) continue;
            const double v = std::clamp(pos, 0.0, static_cast<double>(across - 1));
            if (axis) {
                Sample(f, v, srcAlong[i], dst + 3 * x);
            } else {
                Sample(f, srcAlong[i], v, dst + 3 * x);
            }
        }
    }
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biWidth = static_cast<LONG>(outWidth);
    h.biHeight = static_cast<LONG>(outHeight);
    h.biSizeImage = static_cast<DWORD>(outStride * outHeight);
    CommitBits(bits, out);
    return 1;
}

int ThSpiral(void*& bits, BITMAPINFO*& info, double angle, unsigned char background) {
    if (!bits || !info) return 0;
    if (angle == 0.0) return 1;
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    if (f.width < 5 || f.height < 5) return SpiralSmall(bits, f, angle, background);
    // Every pixel is written; the padding gets the background.
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, f.stride * f.height));
    if (!out) return 0;
    for (std::int64_t y = 0; y < f.height; ++y) {
        std::memset(out + y * f.stride + 3 * f.width, background,
                    static_cast<std::size_t>(f.stride - 3 * f.width));
    }

    const double w = static_cast<double>(f.width), hgt = static_cast<double>(f.height);
    const double diagonal = std::sqrt(w * w + hgt * hgt);
    const double perRadius = angle * kRadiansPerDegree / diagonal;
    const std::int64_t cx = f.width >> 1, cy = f.height >> 1;
    const double fcx = static_cast<double>(cx), fcy = static_cast<double>(cy);

    // r depends on |x| and |y| only: one sine and cosine per distinct pair,
    // shared by the up to eight pixels (+-x, +-y) and (+-y, +-x).
    std::vector<double> sx(kTile), sy(kTile);
    RowSampler sampler(kTile);
    auto turns = [&](std::int64_t a0, std::int64_t b0, std::int64_t na, std::int64_t nb,
                     double* sines, double* cosines) {
        const bool onDiagonal = a0 == b0;
        for (std::int64_t j = 0; j < nb; ++j) {
            const double fy = static_cast<double>(b0 + j);
            for (std::int64_t i = 0; i < na; ++i) {
                double* ps = sines + j * kTile + i;
                double* pc = cosines + j * kTile + i;
                if (onDiagonal && i < j && j < na) {
                    // (i, j) is (j, i), worked out in row i.
                    *ps = sines[i * kTile + j];
                    *pc = cosines[i * kTile + j];
                    continue;
                }
                const double fx = static_cast<double>(a0 + i);
                const double theta = std::sqrt(fx * fx + fy * fy) * perRadius;
                *ps = std::sin(theta);
                *pc = std::cos(theta);
            }
        }
    };
    auto segment = [&](std::int64_t y, std::int64_t xa, std::int64_t xb, const double* sines,
                       const double* cosines) {
        const std::int64_t n = xb - xa + 1;
        sampler.runSwirl(f, sines, cosines, xa < cx ? -1 : 1, n, static_cast<double>(xa), fcx,
                         fcy, static_cast<double>(y - cy), sx.data(), sy.data(),
                         out + y * f.stride + 3 * xa);
    };
    // Offset row ay, offset columns a0 .. a1 - 1 of image k: the row below
    // the centre for k & 1, the left side (turns read backwards) for k & 2.
    auto rows = [&](int k, std::int64_t a0, std::int64_t a1, std::int64_t ay,
                    const double* sines, const double* cosines) {
        if ((k & 1) && ay == 0) return;
        const std::int64_t y = (k & 1) ? cy - ay : cy + ay;
        if (y < 0 || y >= f.height) return;
        if (!(k & 2)) {
            const std::int64_t right = std::min(a1, f.width - cx);
            if (a0 < right) segment(y, cx + a0, cx + right - 1, sines, cosines);
            return;
        }
        const std::int64_t from = std::max<std::int64_t>(a0, 1), to = std::min(a1, cx + 1);
        if (from < to) {
            segment(y, cx - (to - 1), cx - from, sines + (to - 1 - a0), cosines + (to - 1 - a0));
        }
    };
    ForMirroredTiles(std::max(cx, f.width - 1 - cx), std::max(cy, f.height - 1 - cy), turns, rows);
    CommitBits(bits, out);
    return 1;
}
