#include "effects/noise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "effects/effect_frame.h"
#include "platform/cpu.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

using vellum::effects::ClampIndex;
using vellum::effects::CommitBits;
using vellum::effects::Frame24;
using vellum::effects::NewBits;
using vellum::effects::Prepare24;

namespace {

inline double Draw() {
    const int k = std::rand() & 0x7FFF;
    return static_cast<double>(k) / 32767.0;
}

inline BYTE ClampByte(double v) {
    if (!(v > 0.0)) return 0;
    if (v >= 255.0) return 255;
    return static_cast<BYTE>(v);
}

double NoiseValue(int p, unsigned kind) {
    double alpha = Draw();
    if (alpha == 0.0) alpha = 1.0;
    const double value = p;
    switch (kind) {
        case 1: {
            const double beta = Draw() * 6.2831852;
            const double s = std::sqrt(-2.0 * std::log(alpha));
            return value + std::sqrt(value) * 4.0 * s * std::cos(beta) + 20.0 * s * std::sin(beta);
        }
        case 2: {
            const double s = alpha <= 1e-5 ? 255.0 : std::sqrt(-2.0 * std::log(alpha));
            const double tau = Draw() * 6.2831852;
            return value * (1.0 + 0.5 * s * std::cos(tau));
        }
        case 3:
            if (alpha < 0.05) return 0.0;
            if (alpha >= 0.95) return 255.0;
            return value;
        case 4:
            if (alpha <= 0.5) {
                if (alpha <= 1e-5) return value - 255.0;
                return value + 10.0 * std::log(2.0 * alpha);
            } else {
                const double beta = 1.0 - alpha;
                if (beta <= 5e-6) return value + 255.0;
                return value - 10.0 * std::log(2.0 * beta);
            }
        case 5: {
            const double limit = std::exp(-0.05 * value);
            int i = 0;
            while (alpha > limit) {
                alpha = alpha * static_cast<double>(std::rand() & 0x7FFF) / 32767.0;
                ++i;
            }
            return i * 20.0;
        }
        default:
            return value + 4.0 * (alpha - 0.5);
    }
}

// Planes of the despeckle, zero-filled and released together. They come
// from calloc, so pages the work never touches (the scratch plane, whose
// rows now live in small rings, and the fifth plane) cost nothing.
struct Planes {
    struct Free {
        void operator()(BYTE* p) const { std::free(p); }
    };
    std::unique_ptr<BYTE, Free> plane[5];
    bool allocate(std::size_t bytes) {
        for (auto& p : plane) {
            p.reset(static_cast<BYTE*>(std::calloc(bytes, 1)));
            if (!p) {
                for (auto& q : plane) q.reset();
                return false;
            }
        }
        return true;
    }
};

// Median of nine bytes (exchange network).
inline BYTE Median9(BYTE* p) {
    auto sort2 = [](BYTE& a, BYTE& b) {
        if (a > b) std::swap(a, b);
    };
    sort2(p[1], p[2]); sort2(p[4], p[5]); sort2(p[7], p[8]);
    sort2(p[0], p[1]); sort2(p[3], p[4]); sort2(p[6], p[7]);
    sort2(p[1], p[2]); sort2(p[4], p[5]); sort2(p[7], p[8]);
    sort2(p[0], p[3]); sort2(p[5], p[8]); sort2(p[4], p[7]);
    sort2(p[3], p[6]); sort2(p[1], p[4]); sort2(p[2], p[5]);
    sort2(p[4], p[7]); sort2(p[4], p[2]); sort2(p[6], p[4]);
    sort2(p[4], p[2]);
    return p[4];
}

}  // namespace

bool ThAddNoise(void*& bits, BITMAPINFO*& info, unsigned noiseKind) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return false;
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (std::int64_t y = 0; y < f.height; ++y) {
        BYTE* row = f.row(y);
        for (std::int64_t b = 0; b < 3 * f.width; ++b) row[b] = ClampByte(NoiseValue(row[b], noiseKind));
    }
    return true;
}

int ThGenerateNoise(void*& bits, BITMAPINFO*& info, short noiseType, int amount) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return 0;
    const int strength = std::clamp(amount, 0, 255);
    if (strength == 0) return 1;
    const bool gaussian = (noiseType & 1) != 0;
    const bool mono = (noiseType & 2) != 0;
    std::random_device entropy;
    std::mt19937 engine(entropy());
    std::uniform_real_distribution<double> uniform(-strength, strength);
    std::normal_distribution<double> normal(0.0, strength / 2.0);
    auto offset = [&] { return gaussian ? normal(engine) : uniform(engine); };
    for (std::int64_t y = 0; y < f.height; ++y) {
        BYTE* row = f.row(y);
        for (std::int64_t x = 0; x < f.width; ++x) {
            BYTE* p = row + 3 * x;
            const double shared = mono ? offset() : 0.0;
            for (int k = 0; k < 3; ++k) {
                const double d = mono ? shared : offset();
                p[k] = ClampByte(std::floor(p[k] + d + 0.5));
            }
        }
    }
    return 1;
}

namespace {

// The two steps of a hull on one row of n bytes. First step: v[i] moves one
// level towards r[i] (up when r > v; down when v > r + 1 as a byte). Second
// step: v[i] moves one level when both s[i] + 1 (as a byte) and r[i] lie on
// the same side of it (strictly; see the rule in noise.h). Sixteen bytes at a
// time with unsigned saturating differences as comparisons; a difference is
// non-zero exactly when the first operand is the larger.
#if defined(__x86_64__) && defined(__GNUC__)
#define VELLUM_HULL_AVX2 1
// The SSE2 loops below, thirty-two bytes at a time; they return how many
// bytes they did.
__attribute__((target("avx2"))) std::int64_t HullFirstAvx2(const BYTE* v, const BYTE* r, BYTE* out,
                                                           std::int64_t n, bool up) {
    const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi8(1);
    std::int64_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(v + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(r + i));
        __m256i res;
        if (up) {
            const __m256i still = _mm256_cmpeq_epi8(_mm256_subs_epu8(b, a), zero);
            res = _mm256_add_epi8(a, _mm256_andnot_si256(still, one));
        } else {
            const __m256i still =
                _mm256_cmpeq_epi8(_mm256_subs_epu8(a, _mm256_add_epi8(b, one)), zero);
            res = _mm256_sub_epi8(a, _mm256_andnot_si256(still, one));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), res);
    }
    return i;
}

__attribute__((target("avx2"))) std::int64_t HullSecondAvx2(const BYTE* v, const BYTE* r,
                                                            const BYTE* s, BYTE* out,
                                                            std::int64_t n, bool up) {
    const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi8(1);
    std::int64_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(v + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(r + i));
        const __m256i c =
            _mm256_add_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i)), one);
        if (up) {
            const __m256i still = _mm256_or_si256(_mm256_cmpeq_epi8(_mm256_subs_epu8(c, a), zero),
                                                  _mm256_cmpeq_epi8(_mm256_subs_epu8(b, a), zero));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                                _mm256_add_epi8(a, _mm256_andnot_si256(still, one)));
        } else {
            const __m256i still = _mm256_or_si256(_mm256_cmpeq_epi8(_mm256_subs_epu8(a, c), zero),
                                                  _mm256_cmpeq_epi8(_mm256_subs_epu8(a, b), zero));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                                _mm256_sub_epi8(a, _mm256_andnot_si256(still, one)));
        }
    }
    return i;
}
#endif

void HullFirstRow(const BYTE* v, const BYTE* r, BYTE* out, std::int64_t n, bool up) {
    std::int64_t i = 0;
#ifdef VELLUM_HULL_AVX2
    if (vellum::cpu::HasAvx2()) i = HullFirstAvx2(v, r, out, n, up);
#endif
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(1);
    for (; i + 16 <= n; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + i));
        __m128i res;
        if (up) {
            const __m128i still = _mm_cmpeq_epi8(_mm_subs_epu8(b, a), zero);
            res = _mm_add_epi8(a, _mm_andnot_si128(still, one));
        } else {
            const __m128i still = _mm_cmpeq_epi8(_mm_subs_epu8(a, _mm_add_epi8(b, one)), zero);
            res = _mm_sub_epi8(a, _mm_andnot_si128(still, one));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), res);
    }
#endif
    for (; i < n; ++i) {
        int x = v[i];
        if (up) {
            if (r[i] > x) ++x;
        } else if (x > static_cast<BYTE>(r[i] + 1)) {
            --x;
        }
        out[i] = static_cast<BYTE>(x);
    }
}

void HullSecondRow(const BYTE* v, const BYTE* r, const BYTE* s, BYTE* out, std::int64_t n,
                   bool up) {
    std::int64_t i = 0;
#ifdef VELLUM_HULL_AVX2
    if (vellum::cpu::HasAvx2()) i = HullSecondAvx2(v, r, s, out, n, up);
#endif
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(1);
    for (; i + 16 <= n; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r + i));
        const __m128i c =
            _mm_add_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)), one);
        __m128i still;
        if (up) {
            still = _mm_or_si128(_mm_cmpeq_epi8(_mm_subs_epu8(c, a), zero),
                                 _mm_cmpeq_epi8(_mm_subs_epu8(b, a), zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                             _mm_add_epi8(a, _mm_andnot_si128(still, one)));
        } else {
            still = _mm_or_si128(_mm_cmpeq_epi8(_mm_subs_epu8(a, c), zero),
                                 _mm_cmpeq_epi8(_mm_subs_epu8(a, b), zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                             _mm_sub_epi8(a, _mm_andnot_si128(still, one)));
        }
    }
#endif
    for (; i < n; ++i) {
        int x = v[i];
        const int s1 = static_cast<BYTE>(s[i] + 1);
        if (up) {
            if (s1 > x && r[i] > x) ++x;
        } else if (s1 < x && r[i] < x) {
            --x;
        }
        out[i] = static_cast<BYTE>(x);
    }
}

// A hull step with an offset of at most one pixel each way, on separate
// planes f and g, in one sweep: the first step of row y + 1 (which reads f
// rows y .. y + 2) runs before the second step of row y writes f row y, so
// each row's second step sees the first step's rows around it, as when the
// steps run over the whole plane one after the other.
void HullNear(std::int64_t xOffset, std::int64_t yOffset, bool up, std::int64_t columns,
              std::int64_t rows, BYTE* f, BYTE* g) {
    const std::int64_t span = columns + 2;
    const std::int64_t offset = yOffset * span + xOffset;
    auto first = [&](std::int64_t y) {
        const std::int64_t p = y * span + 1;
        HullFirstRow(f + p, f + p + offset, g + p, columns, up);
    };
    first(1);
    for (std::int64_t y = 1; y <= rows; ++y) {
        if (y < rows) first(y + 1);
        const std::int64_t p = y * span + 1;
        HullSecondRow(g + p, g + p + offset, g + p - offset, f + p, columns, up);
    }
}

// The despeckle's sixteen hull steps on one channel plane in a single
// sweep. Step j works two rows behind step j - 1: its first step on row
// y + 1 reads plane rows y .. y + 2, which step j - 1 has finished and no
// later step has touched; each step keeps the three rows of its first step
// that its second step reads in a ring of its own, whose border stays 0 as
// the scratch plane's does, and row rows + 1 is cleared rather than worked.
void HullSweep(const int (&xOffset)[16], const int (&yOffset)[16], const bool (&up)[16],
               std::int64_t columns, std::int64_t rows, BYTE* f) {
    const std::int64_t span = columns + 2;
    std::vector<BYTE> rings(static_cast<std::size_t>(16 * 3 * span), 0);
    auto ringRow = [&](int j, std::int64_t y) { return rings.data() + (j * 3 + y % 3) * span; };
    for (std::int64_t t = 0; t <= rows + 2 * 15; ++t) {
        for (int j = 0; j < 16; ++j) {
            const std::int64_t y = t - 2 * j;
            if (y < 0 || y > rows) continue;
            const std::int64_t next = y + 1;
            if (next <= rows) {
                const std::int64_t p = next * span + 1;
                HullFirstRow(f + p, f + p + yOffset[j] * span + xOffset[j], ringRow(j, next) + 1,
                             columns, up[j]);
            } else {
                std::memset(ringRow(j, next) + 1, 0, static_cast<std::size_t>(columns));
            }
            if (y == 0) continue;
            const BYTE* g = ringRow(j, y) + 1;
            const BYTE* r = ringRow(j, y + yOffset[j]) + 1 + xOffset[j];
            const BYTE* back = ringRow(j, y - yOffset[j]) + 1 - xOffset[j];
            HullSecondRow(g, r, back, f + y * span + 1, columns, up[j]);
        }
    }
}

}  // namespace

void ThHull(int xOffset, int yOffset, int polarity, unsigned columns, unsigned rows,
            unsigned char* f, unsigned char* g) {
    if (!f || !g || columns == 0 || rows == 0) return;
    const std::int64_t span = static_cast<std::int64_t>(columns) + 2;
    const std::int64_t total = span * (static_cast<std::int64_t>(rows) + 2);
    const std::int64_t offset = static_cast<std::int64_t>(yOffset) * span + xOffset;
    const bool near = xOffset >= -1 && xOffset <= 1 && yOffset >= -1 && yOffset <= 1;
    const bool apart = f + total <= g || g + total <= f;
    if (near && apart) {
        HullNear(xOffset, yOffset, polarity >= 1, columns, rows, f, g);
        return;
    }
    auto at = [&](const unsigned char* plane, std::int64_t q) -> int {
        return near || (q >= 0 && q < total) ? plane[q] : 0;
    };
    const bool up = polarity >= 1;
    for (std::int64_t y = 1; y <= rows; ++y) {
        std::int64_t p = y * span + 1;
        for (std::int64_t x = 0; x < columns; ++x, ++p) {
            int v = f[p];
            const int r = at(f, p + offset);
            if (up) {
                if (r > v) ++v;
            } else if (v > static_cast<BYTE>(r + 1)) {
                --v;
            }
            g[p] = static_cast<BYTE>(v);
        }
    }
    for (std::int64_t y = 1; y <= rows; ++y) {
        std::int64_t p = y * span + 1;
        for (std::int64_t x = 0; x < columns; ++x, ++p) {
            int v = g[p];
            const int r = at(g, p + offset);
            const int s1 = static_cast<BYTE>(at(g, p - offset) + 1);
            if (up) {
                if (s1 > v && r > v) ++v;
            } else if (s1 < v && r < v) {
                --v;
            }
            f[p] = static_cast<BYTE>(v);
        }
    }
}

int ThDespeckleImage(void*& bits, BITMAPINFO*& info) {
    Frame24 fr;
    if (!Prepare24(bits, info, fr)) return 0;
    const std::int64_t span = fr.width + 2;
    Planes planes;
    if (!planes.allocate(static_cast<std::size_t>(span * (fr.height + 2)))) return 0;

    // Planes 0, 1, 2 hold red, green and blue; 3 (the scratch plane, whose
    // rows the sweep keeps in rings) and 4 are only held alongside, as the
    // interface does.
    for (std::int64_t y = 0; y < fr.height; ++y) {
        const BYTE* src = fr.row(y);
        const std::int64_t base = (y + 1) * span + 1;
        for (std::int64_t x = 0; x < fr.width; ++x) {
            planes.plane[0].get()[base + x] = src[3 * x + 2];
            planes.plane[1].get()[base + x] = src[3 * x + 1];
            planes.plane[2].get()[base + x] = src[3 * x];
        }
    }
    // For each of the directions (0, 1), (1, 0), (1, 1), (-1, 1): raise
    // along it, raise against it, lower against it, lower along it.
    static constexpr int kX[4] = {0, 1, 1, -1};
    static constexpr int kY[4] = {1, 0, 1, 1};
    int xOffset[16], yOffset[16];
    bool up[16];
    for (int k = 0; k < 4; ++k) {
        const int sign[4] = {1, -1, -1, 1};
        for (int i = 0; i < 4; ++i) {
            xOffset[4 * k + i] = sign[i] * kX[k];
            yOffset[4 * k + i] = sign[i] * kY[k];
            up[4 * k + i] = i < 2;
        }
    }
    for (int c = 0; c < 3; ++c)
        HullSweep(xOffset, yOffset, up, fr.width, fr.height, planes.plane[c].get());
    for (std::int64_t y = 0; y < fr.height; ++y) {
        BYTE* dst = fr.row(y);
        const std::int64_t base = (y + 1) * span + 1;
        for (std::int64_t x = 0; x < fr.width; ++x) {
            dst[3 * x + 2] = planes.plane[0].get()[base + x];
            dst[3 * x + 1] = planes.plane[1].get()[base + x];
            dst[3 * x] = planes.plane[2].get()[base + x];
        }
    }
    info->bmiHeader.biBitCount = 24;
    info->bmiHeader.biClrUsed = 0;
    return 1;
}

bool ThReduceNoiseImage(void*& bits, BITMAPINFO*& info) {
    Frame24 f;
    if (!Prepare24(bits, info, f)) return false;
    BYTE* out = NewBits(f.stride * f.height);
    if (!out) return false;
    BYTE window[9];
    for (std::int64_t y = 0; y < f.height; ++y) {
        const BYTE* rows[3] = {f.row(ClampIndex(y - 1, f.height)), f.row(y),
                               f.row(ClampIndex(y + 1, f.height))};
        BYTE* dst = out + y * f.stride;
        for (std::int64_t x = 0; x < f.width; ++x) {
            const std::int64_t cols[3] = {3 * ClampIndex(x - 1, f.width), 3 * x,
                                          3 * ClampIndex(x + 1, f.width)};
            for (int k = 0; k < 3; ++k) {
                int n = 0;
                for (const BYTE* r : rows) {
                    for (std::int64_t c : cols) window[n++] = r[c + k];
                }
                dst[3 * x + k] = Median9(window);
            }
        }
    }
    CommitBits(bits, out);
    return true;
}

int ThSpreadImage(void*& bits, BITMAPINFO*& info, unsigned amountPercent) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!vellum::effects::DescribePair(bits, info, width, height, stride)) return 0;
    const int depth = info->bmiHeader.biBitCount;
    if (width < 3 || height < 3 || depth < 8) return 0;
    const std::int64_t pixelBytes = depth / 8;
    const std::int64_t size = stride * height;
    std::vector<BYTE> copy;
    try {
        copy.assign(static_cast<const BYTE*>(bits), static_cast<const BYTE*>(bits) + size);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    const std::int64_t radius =
        std::min<std::int64_t>(std::min(width, height) * amountPercent / 100, 0x7FFFFFFF);
    const auto mask = static_cast<std::int32_t>(radius);
    const std::int64_t half = radius >> 1;
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    BYTE* out = static_cast<BYTE*>(bits);
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* dst = out + y * stride;
        for (std::int64_t x = 0; x < width; ++x) {
            const std::int64_t ox = (std::rand() & mask) - half;
            const std::int64_t oy = (std::rand() & mask) - half;
            const std::int64_t sx = ClampIndex(x + ox, width), sy = ClampIndex(y + oy, height);
            std::memcpy(dst + x * pixelBytes, copy.data() + sy * stride + sx * pixelBytes,
                        static_cast<std::size_t>(pixelBytes));
        }
    }
    return 1;
}
