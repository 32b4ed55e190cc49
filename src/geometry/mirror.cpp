#include "geometry/mirror.h"

#include <cstdint>
#include <cstring>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "platform/cpu.h"
#include "platform/global_memory.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using i64 = std::int64_t;

// One 24-bit row reversed: d gets the pixels of s from the last to the first.
void Reverse24Plain(const BYTE* s, BYTE* d, i64 from, i64 width) {
    const BYTE* p = s + 3 * (width - 1 - from);
    d += 3 * from;
    for (i64 x = from; x < width; ++x, p -= 3, d += 3) {
        d[0] = p[0];
        d[1] = p[1];
        d[2] = p[2];
    }
}

#if defined(__x86_64__)
// Five pixels per byte shuffle. The 16-byte load of the five source pixels
// ends on a byte of the row's pixel before them (from pixel 1 on), and the
// 16-byte store's extra byte is the first of the next output pixel, written
// after it (the last five pixels are left to the plain loop).
__attribute__((target("ssse3"))) void Reverse24Shuffled(const BYTE* s, BYTE* d, i64 width) {
    const __m128i mask = _mm_setr_epi8(13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3,
                                       static_cast<char>(0x80));
    d[0] = s[3 * (width - 1)];
    d[1] = s[3 * (width - 1) + 1];
    d[2] = s[3 * (width - 1) + 2];
    i64 x = 1;
    for (; x + 5 < width; x += 5) {
        // Source pixels width - 5 - x .. width - 1 - x, after one leading byte.
        const __m128i v =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 3 * (width - 5 - x) - 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * x), _mm_shuffle_epi8(v, mask));
    }
    Reverse24Plain(s, d, x, width);
}

#endif

void Reverse24(const BYTE* s, BYTE* d, i64 width) {
#if defined(__x86_64__)
    if (vellum::cpu::HasSsse3()) return Reverse24Shuffled(s, d, width);
#endif
    Reverse24Plain(s, d, 0, width);
}

}  // namespace

int ThMirror(void*& bits, BITMAPINFO*& info, int vertical) {
    if (!info || !bits) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    if (width < 1 || height < 1) return 0;
    const int bitCount = h.biBitCount;
    const i64 stride = VellumDibStride(bitCount, width);
    // Whole rows are copied top to bottom, and whole pixels left to right at 8
    // and 24 bits with the padding cleared here; only the packed depths (whose
    // bits are or-ed in) and the unknown directions need a cleared block.
    const bool wholeRows = vertical == 1;
    const bool wholePixels = vertical == 0 && (bitCount == 8 || bitCount == 24);
    BYTE* out = static_cast<BYTE*>(
        GlobalAllocChecked(wholeRows || wholePixels ? GMEM_FIXED : GPTR, stride * height));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);
    if (wholePixels) {
        const i64 used = width * (bitCount / 8);
        for (i64 y = 0; y < height; ++y) {
            std::memset(out + stride * y + used, 0, static_cast<std::size_t>(stride - used));
        }
    }

    if (vertical == 1) {
        for (i64 y = 0; y < height; ++y) {
            std::memcpy(out + stride * y, src + stride * (height - 1 - y),
                        static_cast<std::size_t>(stride));
        }
    } else if (vertical == 0) {
        for (i64 y = 0; y < height; ++y) {
            const BYTE* s = src + stride * y;
            BYTE* d = out + stride * y;
            switch (bitCount) {
                case 24: Reverse24(s, d, width); break;
                case 8:
                    for (i64 x = 0; x < width; ++x) d[x] = s[width - 1 - x];
                    break;
                case 4:
                    for (i64 x = 0; x < width; ++x) {
                        const int v = vellum::PixelIndex(s, width - 1 - x, 4);
                        d[x >> 1] |= static_cast<BYTE>((x & 1) ? v : v << 4);
                    }
                    break;
                case 1:
                    for (i64 x = 0; x < width; ++x) {
                        if (vellum::PixelIndex(s, width - 1 - x, 1)) {
                            d[x >> 3] |= static_cast<BYTE>(0x80 >> (x & 7));
                        }
                    }
                    break;
                default: break;
            }
        }
    }
    h.biSizeImage = static_cast<DWORD>(stride * height);
    GlobalFree(bits);
    bits = out;
    return 1;
}
