#include "effects/byte_map.h"

#include <cstring>

#include "platform/cpu.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define VELLUM_BYTE_PERMUTE 1
#endif

namespace vellum::effects {

namespace {

#ifdef VELLUM_BYTE_PERMUTE
// Two 128-entry permutes (table halves chosen by the index's low seven
// bits), the top bit of the index picking between them; the row's tail goes
// through masked loads and stores.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void ApplyPermute(const BYTE* table,
                                                                         const BYTE* src, BYTE* dst,
                                                                         std::size_t n) {
    const __m512i t0 = _mm512_loadu_si512(table);
    const __m512i t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128);
    const __m512i t3 = _mm512_loadu_si512(table + 192);
    std::size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m512i x = _mm512_loadu_si512(src + i);
        const __m512i lowHalf = _mm512_permutex2var_epi8(t0, x, t1);
        const __m512i highHalf = _mm512_permutex2var_epi8(t2, x, t3);
        _mm512_storeu_si512(dst + i,
                            _mm512_mask_blend_epi8(_mm512_movepi8_mask(x), lowHalf, highHalf));
    }
    if (i < n) {
        const __mmask64 m = (std::uint64_t{1} << (n - i)) - 1;
        const __m512i x = _mm512_maskz_loadu_epi8(m, src + i);
        const __m512i lowHalf = _mm512_permutex2var_epi8(t0, x, t1);
        const __m512i highHalf = _mm512_permutex2var_epi8(t2, x, t3);
        _mm512_mask_storeu_epi8(dst + i, m,
                                _mm512_mask_blend_epi8(_mm512_movepi8_mask(x), lowHalf, highHalf));
    }
}
#endif

}  // namespace

ByteMap::ByteMap(const BYTE table[256], bool allowPermute) {
    std::memcpy(table_, table, 256);
#ifdef VELLUM_BYTE_PERMUTE
    permute_ = allowPermute && vellum::cpu::HasAvx512Vbmi();
#else
    (void)allowPermute;
#endif
    if (permute_) return;
    // pairs_[v] maps the two bytes of the little-endian 16-bit value v.
    pairs_.resize(65536);
    for (unsigned v = 0; v < 65536; ++v) {
        pairs_[v] = static_cast<std::uint16_t>(table_[v & 0xFF] | table_[v >> 8] << 8);
    }
}

void ByteMap::apply(const BYTE* src, BYTE* dst, std::size_t n) const {
#ifdef VELLUM_BYTE_PERMUTE
    if (permute_) {
        ApplyPermute(table_, src, dst, n);
        return;
    }
#endif
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
    const std::uint16_t* pairs = pairs_.data();
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t v;
        std::memcpy(&v, src + i, 8);
        const std::uint64_t r =
            std::uint64_t{pairs[v & 0xFFFF]} | std::uint64_t{pairs[(v >> 16) & 0xFFFF]} << 16 |
            std::uint64_t{pairs[(v >> 32) & 0xFFFF]} << 32 | std::uint64_t{pairs[v >> 48]} << 48;
        std::memcpy(dst + i, &r, 8);
    }
    for (; i < n; ++i) dst[i] = table_[src[i]];
}

}  // namespace vellum::effects
