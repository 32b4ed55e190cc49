// Runs the filter and tone operations on small arbitrary pictures, so that
// any read or write outside a block is caught by the sanitizers.
//
// Input: byte 0 width - 1 and byte 1 height - 1 (both mod 40), byte 2 the
// depth (1, 4, 8 or 24 by bits 0-1) and the operation (bits 2-7), bytes 3..10
// parameters, the rest the pixel bytes and colour table (repeated to fill).
//
// Besides the sanitizers: filters and blurs leave a 24-bit picture of the
// same size; ThGetMaskRect's rectangles have equal sizes and lie inside both
// pictures; grey conversions leave 8 bits, black and white 1 bit.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dib/dib.h"
#include "effects/blur.h"
#include "effects/filter.h"
#include "effects/tone.h"
#include "effects/tone_tables.h"

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "filter_fuzzer: %s\n", what);
        std::abort();
    }
}

struct Pair {
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    ~Pair() {
        GlobalFree(bits);
        VellumDeleteHeader(info);
    }
};

// A picture whose pixel block is exactly stride x height bytes.
void Make(Pair& p, int width, int height, int depth, const std::uint8_t* data, std::size_t size) {
    const int entries = depth <= 8 ? 1 << depth : 0;
    p.info = VellumNewHeader(40 + 4 * std::size_t(entries));
    BITMAPINFOHEADER& h = p.info->bmiHeader;
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = WORD(depth);
    h.biSizeImage = DWORD(VellumDibImageSize(h));
    p.bits = GlobalAlloc(GPTR, h.biSizeImage);
    auto* b = static_cast<BYTE*>(p.bits);
    std::size_t k = 0;
    for (DWORD i = 0; i < h.biSizeImage && size; ++i) b[i] = data[k++ % size];
    auto* t = reinterpret_cast<BYTE*>(VellumColorTable(p.info));
    for (int i = 0; i < 4 * entries && size; ++i) t[i] = data[k++ % size];
}

int Int(const std::uint8_t* p) { return int(std::int8_t(p[0])) * 256 + p[1]; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 11) return 0;
    const int width = 1 + data[0] % 40, height = 1 + data[1] % 40;
    static const int kDepths[4] = {1, 4, 8, 24};
    const int depth = kDepths[data[2] & 3];
    const int op = (data[2] >> 2) % 12;
    const std::uint8_t* param = data + 3;
    Pair p;
    Make(p, width, height, depth, data + 11, size - 11);
    const unsigned long colour = unsigned(param[0]) | unsigned(param[1]) << 8 | unsigned(param[2]) << 16;
    switch (op) {
        case 0:
        case 1: {
            const int kind = 1 + param[3] % 16;
            const int strength = kind <= 2 ? param[4] % 5 : Int(param + 4);
            check(ThDoFilter(p.bits, p.info, kind, strength) == 1, "filter refused");
            break;
        }
        case 2:
            check(ThDoShadowBlur(p.bits, p.info, 1 + param[3] % 50) == 1, "blur refused");
            break;
        case 3:
            ThFuzzy(p.bits, p.info, colour, Int(param + 3), param[5] % 8);
            break;
        case 4: {
            BYTE r[256], g[256], b[256];
            if (vellum::GammaTables(param[3] % 102, param[4] % 102, param[5] % 102, r, g, b)) {
                check(ThCurve(p.bits, p.info, r, g, b) == 1, "curve refused");
            }
            return 0;
        }
        case 5:
            ThColorMask(p.bits, p.info, colour, Int(param + 3), param[5] % 8);
            return 0;
        case 6: {
            Pair mask;
            const int mw = 1 + param[3] % 40, mh = 1 + param[4] % 40;
            Make(mask, mw, mh, kDepths[param[5] & 3], data + 11, size - 11);
            const CPoint at(Int(param + 6) % 60, std::int8_t(param[7]) % 60);
            const CRect part(param[5] >> 4, param[6] >> 4, param[5] % 45, param[7] % 45);
            CRect ir, mr;
            if (ThGetMaskRect(width, height, mw, mh, at, part, ir, mr)) {
                check(ir.Width() == mr.Width() && ir.Height() == mr.Height(), "rect sizes");
                check(ir.left >= 0 && ir.top >= 0 && ir.right <= width && ir.bottom <= height,
                      "image rect outside");
                check(mr.left >= 0 && mr.top >= 0 && mr.right <= mw && mr.bottom <= mh,
                      "mask rect outside");
            }
            ThMask(p.bits, p.info, mask.bits, mask.info, param[4] % 7, param[3] % 120 - 5, at, part);
            return 0;
        }
        case 7:
            ThLightMask(p.bits, p.info, colour, param[3] % 3, Int(param + 4));
            return 0;
        case 8:
            ThConvertToGray(p.bits, p.info);
            check(p.info->bmiHeader.biBitCount == (depth == 24 ? 8 : depth), "gray depth");
            return 0;
        case 9:
            ThConvertTo8BitGray(p.bits, p.info);
            check(p.info->bmiHeader.biBitCount == 8, "8-bit gray depth");
            return 0;
        default:
            ThConvertToBW(p.bits, p.info, Int(param + 3));
            check(p.info->bmiHeader.biBitCount == 1, "bw depth");
            return 0;
    }
    check(p.info->bmiHeader.biBitCount == 24 && p.info->bmiHeader.biWidth == width &&
              p.info->bmiHeader.biHeight == height,
          "not 24-bit of the same size");
    return 0;
}
