#include "geometry/rotate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "geometry/mirror.h"
#include "platform/cpu.h"
#include "platform/global_memory.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using i64 = std::int64_t;

bool ValidSource(const BITMAPINFO* info) {
    return info->bmiHeader.biWidth >= 1 && info->bmiHeader.biHeight >= 1;
}

inline void SetIndex(BYTE* row, i64 x, int bits, int v) {
    if (bits == 1) {
        if (v) row[x >> 3] |= static_cast<BYTE>(0x80 >> (x & 7));
    } else if (bits == 4) {
        row[x >> 1] |= static_cast<BYTE>((x & 1) ? v : v << 4);
    } else {
        row[x] = static_cast<BYTE>(v);
    }
}

// Whole-pixel quarter turn of B-byte pixels, in tiles so that both the reads
// and the writes stay in cache. Each source column of a tile becomes a run of
// one destination row, written in order.
template <int B, int Direction>
void TurnTiles(const BYTE* src, i64 srcStride, BYTE* dst, i64 dstStride, i64 width,
               i64 height) {
    // Wide, short tiles: the source is read in long runs the prefetcher
    // follows, and each destination row gets a short run per tile that the
    // next tile completes while its lines are still in cache.
    constexpr i64 kTileX = 512, kTileY = B == 3 ? 16 : 64;
    for (i64 x0 = 0; x0 < width; x0 += kTileX) {
        const i64 x1 = std::min(x0 + kTileX, width);
        for (i64 y0 = 0; y0 < height; y0 += kTileY) {
            const i64 y1 = std::min(y0 + kTileY, height);
            for (i64 x = x0; x < x1; ++x) {
                const BYTE* s = src + srcStride * y0 + x * B;
                if constexpr (Direction == 1) {
                    BYTE* d = dst + dstStride * (width - 1 - x) + y0 * B;
                    for (i64 y = y0; y < y1; ++y, s += srcStride, d += B) std::memcpy(d, s, B);
                } else {
                    BYTE* d = dst + dstStride * x + (height - 1 - y0) * B;
                    for (i64 y = y0; y < y1; ++y, s += srcStride, d -= B) std::memcpy(d, s, B);
                }
            }
        }
    }
}

void Turn(const BYTE* src, i64 srcStride, BYTE* dst, i64 dstStride, i64 width, i64 height,
          int direction, int bytes) {
    if (bytes == 3) {
        if (direction == 1) TurnTiles<3, 1>(src, srcStride, dst, dstStride, width, height);
        else TurnTiles<3, -1>(src, srcStride, dst, dstStride, width, height);
    } else {
        if (direction == 1) TurnTiles<1, 1>(src, srcStride, dst, dstStride, width, height);
        else TurnTiles<1, -1>(src, srcStride, dst, dstStride, width, height);
    }
}

// Output indices first .. last - 1 of a row.
struct Run {
    i64 first, last;
};

// a / b rounded down and up, for b > 0.
inline i64 FloorDiv(i64 a, i64 b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }
inline i64 CeilDiv(i64 a, i64 b) { return -FloorDiv(-a, b); }

// The indices k in [0, n) with lo <= v0 + k x step <= hi.
Run Within(i64 v0, i64 step, i64 lo, i64 hi, i64 n) {
    i64 first = 0, last = n;
    if (step > 0) {
        first = CeilDiv(lo - v0, step);
        last = FloorDiv(hi - v0, step) + 1;
    } else if (step < 0) {
        first = CeilDiv(v0 - hi, -step);
        last = FloorDiv(v0 - lo, -step) + 1;
    } else if (v0 < lo || v0 > hi) {
        last = 0;
    }
    first = std::clamp<i64>(first, 0, n);
    last = std::clamp<i64>(last, first, n);
    return {first, last};
}

Run Both(Run a, Run b) {
    const i64 first = std::max(a.first, b.first);
    return {first, std::max(first, std::min(a.last, b.last))};
}

#if defined(__x86_64__)
#define VELLUM_AVX2_INLINE inline __attribute__((target("avx2"), always_inline))

// l x (1024 - f) + r x f per lane.
VELLUM_AVX2_INLINE __m256i Mix(__m256i l, __m256i r, __m256i f) {
    return _mm256_add_epi32(_mm256_slli_epi32(l, 10),
                            _mm256_mullo_epi32(_mm256_sub_epi32(r, l), f));
}

// One channel of the bilinear rule from its four neighbours, shifted by 20.
VELLUM_AVX2_INLINE __m256i Channel(__m256i tl, __m256i tr, __m256i bl, __m256i br, __m256i fx,
                                   __m256i fy) {
    return _mm256_srli_epi32(Mix(Mix(tl, tr, fx), Mix(bl, br, fx), fy), 20);
}

// The 32-bit words at base + at[0..7] (plain loads: faster than a gather
// here, where the eight words come from several rows).
VELLUM_AVX2_INLINE __m256i Words(const BYTE* base, const std::int32_t* at) {
    std::int32_t w[8];
    for (int i = 0; i < 8; ++i) std::memcpy(&w[i], base + at[i], 4);
    return _mm256_setr_epi32(w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

VELLUM_AVX2_INLINE __m256i ByteOf(__m256i w, int shift) {
    return _mm256_and_si256(_mm256_srli_epi32(w, shift), _mm256_set1_epi32(0xFF));
}

// `count` (a multiple of 8) output pixels of a free rotation whose four source
// neighbours are all inside, eight at a time with the scalar loop's integer
// arithmetic: positions in 32-bit lanes; each pair of neighbours gathered as
// two 32-bit words, the left pixel with the byte after it and the right pixel
// with the byte before it, so no read leaves the two pixels. Per channel,
// l x (1024 - f) + r x f is formed as l x 1024 + (r - l) x f, the same
// integer (below 2^31 at every step).
__attribute__((target("avx2"))) void RotateInner24Avx2(const BYTE* src, i64 srcStride, BYTE* d,
                                                       i64 X, i64 Y, int C, int S, i64 count) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    __m256i vx = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(X)),
                                  _mm256_mullo_epi32(lanes, _mm256_set1_epi32(C)));
    __m256i vy = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(Y)),
                                  _mm256_mullo_epi32(lanes, _mm256_set1_epi32(S)));
    const __m256i stepX = _mm256_set1_epi32(8 * C), stepY = _mm256_set1_epi32(8 * S);
    const __m256i fraction = _mm256_set1_epi32(1023);
    const __m256i stride = _mm256_set1_epi32(static_cast<int>(srcStride));
    const __m256i three = _mm256_set1_epi32(3);
    // Blue, green, red of each 32-bit pixel word, four pixels per lane.
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128, -128, -128,
                                          -128, 0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128,
                                          -128, -128, -128);
    for (i64 k = 0; k < count; k += 8, d += 24) {
        const __m256i fx = _mm256_and_si256(vx, fraction);
        const __m256i fy = _mm256_and_si256(vy, fraction);
        const __m256i offset =
            _mm256_add_epi32(_mm256_mullo_epi32(_mm256_srai_epi32(vy, 10), stride),
                             _mm256_mullo_epi32(_mm256_srai_epi32(vx, 10), three));
        alignas(32) std::int32_t at[8];
        _mm256_store_si256(reinterpret_cast<__m256i*>(at), offset);
        const __m256i t0 = Words(src, at);
        const __m256i t1 = Words(src + 2, at);
        const __m256i b0 = Words(src + srcStride, at);
        const __m256i b1 = Words(src + srcStride + 2, at);
        const __m256i blue = Channel(ByteOf(t0, 0), _mm256_srli_epi32(t0, 24), ByteOf(b0, 0),
                                     _mm256_srli_epi32(b0, 24), fx, fy);
        const __m256i green =
            Channel(ByteOf(t0, 8), ByteOf(t1, 16), ByteOf(b0, 8), ByteOf(b1, 16), fx, fy);
        const __m256i red = Channel(ByteOf(t0, 16), _mm256_srli_epi32(t1, 24), ByteOf(b0, 16),
                                    _mm256_srli_epi32(b1, 24), fx, fy);
        const __m256i pixels = _mm256_shuffle_epi8(
            _mm256_or_si256(blue, _mm256_or_si256(_mm256_slli_epi32(green, 8),
                                                  _mm256_slli_epi32(red, 16))),
            pack);
        const __m128i first = _mm256_castsi256_si128(pixels);
        const __m128i second = _mm256_extracti128_si256(pixels, 1);
        const int firstTail = _mm_extract_epi32(first, 2);
        const int secondTail = _mm_extract_epi32(second, 2);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d), first);
        std::memcpy(d + 8, &firstTail, 4);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 12), second);
        std::memcpy(d + 20, &secondTail, 4);
        vx = _mm256_add_epi32(vx, stepX);
        vy = _mm256_add_epi32(vy, stepY);
    }
}
#endif

}  // namespace

int ThIsSpecialAngle(double angle) {
    constexpr double kFourPi = 12.566370964050293;
    constexpr double kTwoPi = 6.2831854820251465;
    constexpr double kDeg1 = 0.017453293005625408;
    constexpr double kDeg359 = 6.265732189019521;
    constexpr double kDeg89 = 1.5533430775006611, kDeg91 = 1.588249663511912;
    constexpr double kDeg179 = 3.124139448006948, kDeg181 = 3.1590460340181985;
    constexpr double kDeg269 = 4.694935818513234, kDeg271 = 4.729842404524486;
    if (!std::isfinite(angle)) return -1;
    double a = std::fmod(angle, kFourPi);
    while (a < 0) a += kTwoPi;
    while (a >= kTwoPi) a -= kTwoPi;
    if (a >= kDeg359 || a <= kDeg1) return 0;
    if (a >= kDeg179 && a <= kDeg181) return 180;
    if (a >= kDeg89 && a <= kDeg91) return 90;
    if (a >= kDeg269 && a <= kDeg271) return 270;
    return -1;
}

int ThRotate(void*& bits, BITMAPINFO*& info, double angle, int background) {
    if (!info || !bits) return 0;
    switch (ThIsSpecialAngle(angle)) {
        case 0: return 1;
        case 90: return ThRotateBmp90(bits, info, 1);
        case 270: return ThRotateBmp90(bits, info, -1);
        case 180:
            ThMirror(bits, info, 0);
            ThMirror(bits, info, 1);
            return 1;
        default: return ThRotateFreeAngle(bits, info, angle, background);
    }
}

int ThRotateBmp90(void*& bits, BITMAPINFO*& info, int direction) {
    if (direction != 1 && direction != -1) return 0;
    if (!info || !bits || !ValidSource(info)) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    const int bitCount = h.biBitCount;
    const i64 srcStride = VellumDibStride(bitCount, width);
    const i64 dstStride = VellumDibStride(bitCount, height);
    h.biWidth = static_cast<LONG>(height);
    h.biHeight = static_cast<LONG>(width);
    h.biSizeImage = static_cast<DWORD>(dstStride * width);  // before the allocation
    // Every pixel of an 8- or 24-bit result is written and its row padding
    // cleared here; the packed depths or their bits into a cleared block.
    const bool wholeBytes = bitCount == 24 || bitCount == 8;
    BYTE* out = static_cast<BYTE*>(
        GlobalAllocChecked(wholeBytes ? GMEM_FIXED : GPTR, dstStride * width));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);

    if (wholeBytes) {
        const i64 used = height * (bitCount / 8);
        for (i64 x = 0; x < width; ++x) {
            std::memset(out + dstStride * x + used, 0, static_cast<std::size_t>(dstStride - used));
        }
        Turn(src, srcStride, out, dstStride, width, height, direction, bitCount / 8);
    } else if (bitCount == 1 || bitCount == 4) {
        // The 4-bit loop has always stopped one column short.
        const i64 columns = bitCount == 4 ? width - 1 : width;
        for (i64 y = 0; y < height; ++y) {
            const BYTE* s = src + srcStride * y;
            for (i64 x = 0; x < columns; ++x) {
                const int v = vellum::PixelIndex(s, x, bitCount);
                if (direction == 1) {
                    SetIndex(out + dstStride * (width - 1 - x), y, bitCount, v);
                } else {
                    SetIndex(out + dstStride * x, height - 1 - y, bitCount, v);
                }
            }
        }
    }
    GlobalFree(bits);
    bits = out;
    return 1;
}

int ThRotateFreeAngle(void*& bits, BITMAPINFO*& info, double angle, int background) {
    if (!info || !bits) return 0;
    if (ThIsSpecialAngle(angle) == 0) return 1;
    if (!std::isfinite(angle) || !ValidSource(info)) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    const int bitCount = h.biBitCount;
    const i64 S = static_cast<i64>(std::sin(angle) * 1024.0);
    const i64 C = static_cast<i64>(std::cos(angle) * 1024.0);
    const i64 aS = S < 0 ? -S : S, aC = C < 0 ? -C : C;
    const i64 newWidth = (width * aC + height * aS) >> 10;
    const i64 newHeight = (height * aC + width * aS) >> 10;
    const i64 hw = (width * aC + height * aS) >> 11;
    const i64 hh = (height * aC + width * aS) >> 11;
    const i64 cx = width >> 1, cy = height >> 1;
    // |sin| + |cos| >= 1 away from the special angles, so this holds for any
    // image of at least 1 x 1; kept as a guard.
    if (newWidth < 1 || newHeight < 1 || newWidth > INT32_MAX || newHeight > INT32_MAX) return 0;

    const i64 srcStride = VellumDibStride(bitCount, width);
    const i64 dstStride = VellumDibStride(bitCount, newWidth);
    h.biWidth = static_cast<LONG>(newWidth);
    h.biHeight = static_cast<LONG>(newHeight);
    h.biSizeImage = static_cast<DWORD>(dstStride * newHeight);  // before the allocation
    // 8- and 24-bit blocks are written in full below (background or pixels),
    // so they need no clearing first.
    const bool filled = bitCount == 8 || bitCount == 24;
    BYTE* out = static_cast<BYTE*>(
        GlobalAllocChecked(filled ? GMEM_FIXED : GPTR, dstStride * newHeight));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);
    const int fill = background & 0xFF;
    // The background fills the block, row padding included; 24-bit rows fill
    // only what they do not compute, below.
    if (bitCount == 8) std::memset(out, fill, static_cast<std::size_t>(dstStride * newHeight));

    if (bitCount == 24) {
        const i64 limitX = width * 1024, limitY = height * 1024;
        const i64 innerX = (width - 1) * 1024, innerY = (height - 1) * 1024;
#if defined(__x86_64__)
        // Positions and offsets of inner pixels then fit 32-bit lanes.
        const bool vector = vellum::cpu::HasAvx2() && width < (i64{1} << 20) && height < (i64{1} << 20);
#else
        const bool vector = false;
#endif
        for (i64 yd = -hh; yd < newHeight - hh; ++yd) {
            BYTE* row = out + dstStride * (yd + hh);
            const i64 X0 = cx * 1024 + (-hw) * C - yd * S;
            const i64 Y0 = cy * 1024 + (-hw) * S + yd * C;
            // Positions are linear along the row, so the pixels that touch the
            // image and those with all four neighbours inside are two runs, the
            // second within the first; the rest keep the background.
            const Run touching = Both(Within(X0, C, -1023, limitX - 1, newWidth),
                                      Within(Y0, S, -1023, limitY - 1, newWidth));
            Run inside = Both(Within(X0, C, 0, innerX - 1, newWidth),
                              Within(Y0, S, 0, innerY - 1, newWidth));
            if (inside.first >= inside.last) inside = {touching.last, touching.last};
            auto edge = [&](i64 k) {
                const i64 X = X0 + k * C, Y = Y0 + k * S;
                BYTE* d = row + 3 * k;
                const i64 ix = X < 0 ? -1 : X >> 10;
                const i64 iy = Y < 0 ? -1 : Y >> 10;
                const int fx = static_cast<int>(X - ix * 1024);
                const int fy = static_cast<int>(Y - iy * 1024);
                const bool inX0 = ix >= 0, inX1 = ix + 1 < width;
                const bool inY0 = iy >= 0, inY1 = iy + 1 < height;
                // Offsets only: the neighbours outside are never formed.
                const i64 o00 = srcStride * iy + 3 * ix;
                const i64 o01 = o00 + srcStride;
                for (int c = 0; c < 3; ++c) {
                    const int p00 = inX0 && inY0 ? src[o00 + c] : fill;
                    const int p10 = inX1 && inY0 ? src[o00 + 3 + c] : fill;
                    const int p01 = inX0 && inY1 ? src[o01 + c] : fill;
                    const int p11 = inX1 && inY1 ? src[o01 + 3 + c] : fill;
                    d[c] = static_cast<BYTE>(((p10 * fx + p00 * (1024 - fx)) * (1024 - fy) +
                                              (p01 * (1024 - fx) + p11 * fx) * fy) >>
                                             20);
                }
            };
            std::memset(row, fill, static_cast<std::size_t>(3 * touching.first));
            std::memset(row + 3 * touching.last, fill,
                        static_cast<std::size_t>(dstStride - 3 * touching.last));
            for (i64 k = touching.first; k < inside.first; ++k) edge(k);
            i64 k = inside.first;
#if defined(__x86_64__)
            // The run's first multiple of eight goes through the vector loop.
            if (vector && inside.last - k >= 8) {
                const i64 count = (inside.last - k) / 8 * 8;
                RotateInner24Avx2(src, srcStride, row + 3 * k, X0 + k * C, Y0 + k * S,
                                  static_cast<int>(C), static_cast<int>(S), count);
                k += count;
            }
#endif
            for (; k < inside.last; ++k) {
                // All four neighbours inside: no background to mix in.
                const i64 X = X0 + k * C, Y = Y0 + k * S;
                BYTE* d = row + 3 * k;
                const int fx = static_cast<int>(X & 1023), fy = static_cast<int>(Y & 1023);
                const BYTE* p0 = src + srcStride * (Y >> 10) + 3 * (X >> 10);
                const BYTE* p1 = p0 + srcStride;
                for (int c = 0; c < 3; ++c) {
                    d[c] = static_cast<BYTE>(((p0[3 + c] * fx + p0[c] * (1024 - fx)) * (1024 - fy) +
                                              (p1[c] * (1024 - fx) + p1[3 + c] * fx) * fy) >>
                                             20);
                }
            }
            for (k = inside.last; k < touching.last; ++k) edge(k);
        }
    } else if (bitCount == 1 || bitCount == 4 || bitCount == 8) {
        const int outside = bitCount == 1 ? 1 : bitCount == 4 ? 15 : -1;
        for (i64 yd = -hh; yd < newHeight - hh; ++yd) {
            BYTE* d = out + dstStride * (yd + hh);
            i64 u = (-hw) * C - yd * S;
            i64 v = (-hw) * S + yd * C;
            for (i64 k = 0; k < newWidth; ++k, u += C, v += S) {
                const i64 sx = (u >> 10) + cx;
                const i64 sy = (v >> 10) + cy;
                if (sx >= 0 && sx < width && sy >= 0 && sy < height) {
                    SetIndex(d, k, bitCount, vellum::PixelIndex(src + srcStride * sy, sx, bitCount));
                } else if (outside >= 0) {
                    SetIndex(d, k, bitCount, outside);
                }
            }
        }
    }
    GlobalFree(bits);
    bits = out;
    return 1;
}
