#include "geometry/mirror.h"

#include <cstdint>
#include <cstring>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "platform/global_memory.h"

int ThMirror(void*& bits, BITMAPINFO*& info, int vertical) {
    using i64 = std::int64_t;
    if (!info || !bits) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    if (width < 1 || height < 1) return 0;
    const int bitCount = h.biBitCount;
    const i64 stride = VellumDibStride(bitCount, width);
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, stride * height));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);

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
                case 24: {
                    const BYTE* p = s + 3 * (width - 1);
                    for (i64 x = 0; x < width; ++x, p -= 3, d += 3) {
                        d[0] = p[0];
                        d[1] = p[1];
                        d[2] = p[2];
                    }
                    break;
                }
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
