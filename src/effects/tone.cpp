// Tone and colour operations: ThCurve, colour masks, ThMask, grey and
// black-and-white conversion.
#include "effects/tone.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "dib/bmp.h"
#include "dib/convert.h"
#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "effects/tone_tables.h"
#include "platform/global_memory.h"

namespace {

inline int L100(int blue, int green, int red) { return 11 * blue + 59 * green + 30 * red; }
inline int Grey(int blue, int green, int red) { return L100(blue, green, red) / 100; }
inline int L100Of(unsigned long colour) {
    return L100(int((colour >> 16) & 0xFF), int((colour >> 8) & 0xFF), int(colour & 0xFF));
}

bool IsPalette(const BITMAPINFO* info) {
    const WORD bc = info->bmiHeader.biBitCount;
    return bc == 1 || bc == 4 || bc == 8;
}

// Colour-table entries an operation may rewrite: the colour count, at most 256.
long EntryCount(BITMAPINFO* info) {
    return std::clamp<long>(ThCalDibColorCount(info), 0, 256);
}

// Entries the header block is known to hold (the pair's rules give a palette
// header room for the larger of its count and 2^bits entries).
long ReadableEntries(BITMAPINFO* info) {
    const long full = 1L << info->bmiHeader.biBitCount;
    return std::min<long>(256, std::max(EntryCount(info), full));
}

// Grey level of every index 0..255; indices past the readable entries are 0.
void GreyOfEntries(BITMAPINFO* info, BYTE grey[256]) {
    std::memset(grey, 0, 256);
    const long n = ReadableEntries(info);
    const RGBQUAD* t = VellumColorTable(info);
    for (long i = 0; i < n; ++i) grey[i] = static_cast<BYTE>(Grey(t[i].rgbBlue, t[i].rgbGreen, t[i].rgbRed));
}

// Grey levels of a 24-bit row. (v x 20972) >> 21 equals v / 100 for every
// v <= 25500, which lets the compiler keep the whole row in vector lanes.
#if defined(__x86_64__) && defined(__GNUC__)
__attribute__((target_clones("avx2", "default")))
#endif
void GreyRow24(const BYTE* __restrict s, BYTE* __restrict o, std::int64_t width) {
    for (std::int64_t x = 0; x < width; ++x) {
        const auto v = static_cast<std::uint16_t>(11 * s[3 * x] + 59 * s[3 * x + 1] + 30 * s[3 * x + 2]);
        o[x] = static_cast<BYTE>((std::uint32_t{v} * 20972u) >> 21);
    }
}

bool Usable(const BITMAPINFO* info) {
    return info->bmiHeader.biWidth > 0 && info->bmiHeader.biHeight > 0;
}

}  // namespace

int ThCurve(void*& bits, BITMAPINFO*& info, unsigned char* red, unsigned char* green,
            unsigned char* blue) {
    if (!bits || !info || !red || !green || !blue) return 0;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 24) {
        if (!Usable(info)) return 1;
        const std::int64_t stride = VellumDibStride(24, h.biWidth);
        const std::int64_t width = h.biWidth;
        auto* base = static_cast<BYTE*>(bits);
        for (std::int64_t y = 0; y < h.biHeight; ++y) {
            BYTE* p = base + y * stride;
            BYTE* end = p + 3 * width;
            for (; p != end; p += 3) {
                p[0] = blue[p[0]];
                p[1] = green[p[1]];
                p[2] = red[p[2]];
            }
        }
        return 1;
    }
    if (IsPalette(info)) {
        RGBQUAD* t = VellumColorTable(info);
        const long n = EntryCount(info);
        for (long i = 0; i < n; ++i) {
            t[i].rgbBlue = blue[t[i].rgbBlue];
            t[i].rgbGreen = green[t[i].rgbGreen];
            t[i].rgbRed = red[t[i].rgbRed];
        }
    }
    return 1;
}

void ThColorMask(void*& bits, BITMAPINFO*& info, unsigned long colour, int amount, int mode) {
    if (!bits || !info) return;
    if (mode == 4 || mode == 5) {
        ThLightMask(bits, info, colour, mode - 4, amount);
        return;
    }
    BYTE red[256], green[256], blue[256];
    if (vellum::ColorMaskTables(colour, amount, mode, red, green, blue)) {
        ThCurve(bits, info, red, green, blue);
    }
}

void ThLightMask(void*& bits, BITMAPINFO*& info, unsigned long colour, int side, int level) {
    if (!bits || !info) return;
    level = std::clamp(level, 1, 100);
    if (side != 0 && side != 1) return;
    const double f = level < 50 ? level * 0.018 + 0.1 : (level - 50) * 0.1 + 1.0;
    const int threshold = static_cast<int>(L100Of(colour) * f);
    const BYTE cb = BYTE((colour >> 16) & 0xFF), cg = BYTE((colour >> 8) & 0xFF),
               cr = BYTE(colour & 0xFF);
    auto hit = [&](int l) { return side == 0 ? l < threshold : l > threshold; };
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 24) {
        if (!Usable(info)) return;
        const std::int64_t stride = VellumDibStride(24, h.biWidth);
        for (std::int64_t y = 0; y < h.biHeight; ++y) {
            BYTE* p = static_cast<BYTE*>(bits) + y * stride;
            for (std::int64_t x = 0; x < h.biWidth; ++x, p += 3) {
                if (hit(L100(p[0], p[1], p[2]))) {
                    p[0] = cb;
                    p[1] = cg;
                    p[2] = cr;
                }
            }
        }
    } else if (IsPalette(info)) {
        RGBQUAD* t = VellumColorTable(info);
        const long n = EntryCount(info);
        for (long i = 0; i < n; ++i) {
            if (hit(L100(t[i].rgbBlue, t[i].rgbGreen, t[i].rgbRed))) {
                t[i].rgbBlue = cb;
                t[i].rgbGreen = cg;
                t[i].rgbRed = cr;
            }
        }
    }
}

namespace {

struct Span {
    std::int64_t image = 0, mask = 0, length = 0;
};

// One axis of ThGetMaskRect: image size `size`, the part [partStart,
// partEnd) of the mask, placed at `at`.
Span PlaceAxis(std::int64_t size, std::int64_t partStart, std::int64_t partEnd, std::int64_t at) {
    const std::int64_t partSize = partEnd - partStart;
    Span s;
    if (at == kVellumMaskCentred) {
        s.length = std::min(size, partSize);
        s.image = (size - s.length) / 2;
        s.mask = partStart + (partSize - s.length) / 2;
        return s;
    }
    const std::int64_t lo = std::max<std::int64_t>(at, 0);
    const std::int64_t hi = std::min(at + partSize, size);
    if (hi <= lo) return s;
    s.length = std::min(hi - lo, partSize);
    if (at < 1) {
        s.image = hi - s.length;
        s.mask = partEnd - s.length;
    } else {
        s.image = lo;
        s.mask = partStart;
    }
    return s;
}

}  // namespace

int ThGetMaskRect(int width, int height, int maskWidth, int maskHeight, CPoint at, CRect part,
                  CRect& imageRect, CRect& maskRect) {
    imageRect = CRect(0, 0, 0, 0);
    maskRect = CRect(0, 0, 0, 0);
    if (width < 1 || height < 1 || maskWidth < 1 || maskHeight < 1) return 0;
    std::int64_t pl = 0, pt = 0, pr = maskWidth, pb = maskHeight;
    if (std::int64_t{part.right} > part.left && std::int64_t{part.bottom} > part.top) {
        pl = std::max<std::int64_t>(part.left, 0);
        pt = std::max<std::int64_t>(part.top, 0);
        pr = std::min<std::int64_t>(part.right, maskWidth);
        pb = std::min<std::int64_t>(part.bottom, maskHeight);
        if (pr <= pl || pb <= pt) return 0;
    }
    const Span x = PlaceAxis(width, pl, pr, at.x);
    const Span y = PlaceAxis(height, pt, pb, at.y);
    if (x.length <= 0 || y.length <= 0) return 0;
    imageRect = CRect(int(x.image), int(y.image), int(x.image + x.length), int(y.image + y.length));
    maskRect = CRect(int(x.mask), int(y.mask), int(x.mask + x.length), int(y.mask + y.length));
    return 1;
}

int ThMask(void*& bits, BITMAPINFO*& info, void* maskBits, BITMAPINFO* maskInfo, int mode,
           int amount, CPoint at, CRect part) {
    if (!bits || !info || !maskBits || !maskInfo || mode < 0 || mode > 5) return 0;
    // A mask of another depth is converted in a private copy.
    void* copyBits = nullptr;
    BITMAPINFO* copyInfo = nullptr;
    struct Release {
        void*& b;
        BITMAPINFO*& i;
        ~Release() {
            GlobalFree(b);
            VellumDeleteHeader(i);
        }
    } release{copyBits, copyInfo};
    if (maskInfo->bmiHeader.biBitCount != 24 || !Usable(maskInfo)) {
        if (!ThCopyDibData(copyBits, copyInfo, maskBits, maskInfo)) return 0;
        if (!ThConvertTo24Bit(copyBits, copyInfo)) return 0;
        maskBits = copyBits;
        maskInfo = copyInfo;
    }
    if (amount < 0) return 0;
    if (amount > 100) amount = 100;
    if (!ThConvertTo24Bit(bits, info)) return 0;

    const std::int64_t width = info->bmiHeader.biWidth, height = info->bmiHeader.biHeight;
    const std::int64_t mw = maskInfo->bmiHeader.biWidth, mh = maskInfo->bmiHeader.biHeight;
    CRect ir, mr;
    if (!ThGetMaskRect(int(width), int(height), int(mw), int(mh), at, part, ir, mr)) return 0;

    const int k = amount >= 50 ? static_cast<int>(((amount - 50) * 0.1 + 1.0) * 100.0)
                               : static_cast<int>((amount * 9 * 0.002 + 0.1) * 100.0);
    const std::int64_t stride = VellumDibStride(24, width), mstride = VellumDibStride(24, mw);
    const std::int64_t rows = ir.bottom - ir.top, cols = ir.right - ir.left;
    for (std::int64_t j = 0; j < rows; ++j) {
        // Top-down row t is memory row height - 1 - t.
        BYTE* d = static_cast<BYTE*>(bits) + (height - 1 - (ir.top + j)) * stride + 3 * ir.left;
        const BYTE* m =
            static_cast<const BYTE*>(maskBits) + (mh - 1 - (mr.top + j)) * mstride + 3 * mr.left;
        const std::int64_t n = 3 * cols;
        switch (mode) {
            case 0:
                if (amount == 0) {
                    std::memcpy(d, m, static_cast<std::size_t>(n));
                } else {
                    for (std::int64_t i = 0; i < n; ++i) d[i] = BYTE((m[i] * (100 - amount) + d[i] * amount) / 100);
                }
                break;
            case 1:
                for (std::int64_t i = 0; i < n; ++i) d[i] = BYTE(d[i] > m[i] ? d[i] - m[i] : 0);
                break;
            case 2:
                for (std::int64_t i = 0; i < n; ++i) d[i] = BYTE(m[i] * d[i] / 255);
                break;
            case 3:
                for (std::int64_t i = 0; i < n; ++i) d[i] = BYTE(std::abs(d[i] - m[i]));
                break;
            default:
                for (std::int64_t i = 0; i < n; i += 3) {
                    const int ld = L100(d[i], d[i + 1], d[i + 2]);
                    const int lm = L100(m[i], m[i + 1], m[i + 2]) * k / 100;
                    if (mode == 4 ? ld < lm : ld > lm) {
                        d[i] = m[i];
                        d[i + 1] = m[i + 1];
                        d[i + 2] = m[i + 2];
                    }
                }
                break;
        }
    }
    return 1;
}

namespace {

// A new 1064-byte header: the first 40 bytes of `old`, the grey table, 8 bits.
BITMAPINFO* GreyHeader(const BITMAPINFO* old) {
    BITMAPINFO* h = VellumNewHeader(kFullHeaderBytes);
    if (!h) return nullptr;
    std::memcpy(h, old, sizeof(BITMAPINFOHEADER));
    RGBQUAD* t = VellumColorTable(h);
    for (int k = 0; k < 256; ++k) t[k] = RGBQUAD{BYTE(k), BYTE(k), BYTE(k), 0};
    h->bmiHeader.biBitCount = 8;
    return h;
}

}  // namespace

void ThConvertToGray(void*& bits, BITMAPINFO*& info) {
    if (!bits || !info) return;
    BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 24) {
        if (!Usable(info)) return;
        const std::int64_t width = h.biWidth, height = h.biHeight;
        const std::int64_t size = ((width + 3) & ~std::int64_t{3}) * height;
        BITMAPINFO* grey = GreyHeader(info);
        if (!grey) return;
        grey->bmiHeader.biSizeImage = static_cast<DWORD>(size);
        VellumDeleteHeader(info);
        info = grey;  // [quirk: gray-header-first]
        auto* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, size));
        if (!out) return;
        const std::int64_t stride = VellumDibStride(24, width), ostride = VellumDibStride(8, width);
        for (std::int64_t y = 0; y < height; ++y) {
            const BYTE* s = static_cast<const BYTE*>(bits) + y * stride;
            BYTE* o = out + y * ostride;
            GreyRow24(s, o, width);
            vellum::ZeroRowPadding(o, width, ostride);
        }
        GlobalFree(bits);
        bits = out;
        return;
    }
    if (!IsPalette(info)) return;
    RGBQUAD* t = VellumColorTable(info);
    const long n = EntryCount(info);
    if (n == 2) {
        const int g0 = Grey(t[0].rgbBlue, t[0].rgbGreen, t[0].rgbRed);
        const int g1 = Grey(t[1].rgbBlue, t[1].rgbGreen, t[1].rgbRed);
        const int dark = g0 <= g1 ? 0 : 1;
        t[dark].rgbBlue = t[dark].rgbGreen = t[dark].rgbRed = 0;
        t[1 - dark].rgbBlue = t[1 - dark].rgbGreen = t[1 - dark].rgbRed = 255;
        return;
    }
    for (long i = 0; i < n; ++i) {
        const BYTE g = BYTE(Grey(t[i].rgbBlue, t[i].rgbGreen, t[i].rgbRed));
        t[i].rgbBlue = t[i].rgbGreen = t[i].rgbRed = g;
    }
}

void ThConvertTo8BitGray(void*& bits, BITMAPINFO*& info) {
    if (!bits || !info) return;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (!Usable(info)) return;
    const std::int64_t width = h.biWidth, height = h.biHeight;
    const int depth = h.biBitCount;
    const std::int64_t ostride = VellumDibStride(8, width);
    BITMAPINFO* grey = GreyHeader(info);
    if (!grey) return;
    grey->bmiHeader.biClrUsed = 256;
    grey->bmiHeader.biSizeImage = static_cast<DWORD>(ostride * height);
    const bool known = depth == 1 || depth == 4 || depth == 8 || depth == 24;
    // Known depths fill every byte, padding included.
    auto* out = static_cast<BYTE*>(GlobalAllocChecked(known ? GMEM_FIXED : GPTR, ostride * height));
    if (!out) {
        VellumDeleteHeader(grey);
        return;
    }
    BYTE lut[256];
    if (IsPalette(info)) GreyOfEntries(info, lut);
    const std::int64_t stride = VellumDibStride(depth, width);
    const auto* src = static_cast<const BYTE*>(bits);
    for (std::int64_t y = 0; y < height && known; ++y) {
        const BYTE* s = src + y * stride;
        BYTE* o = out + y * ostride;
        switch (depth) {
            case 24:
                GreyRow24(s, o, width);
                break;
            case 8:
                for (std::int64_t x = 0; x < width; ++x) o[x] = lut[s[x]];
                break;
            case 4:
                for (std::int64_t x = 0; x < width; ++x) {
                    const int shift = 4 * int(x % 2);
                    o[x] = lut[(s[x / 2] & (255 << shift)) >> shift];  // [quirk: 4bit-gray-index]
                }
                break;
            default: {
                const bool setIsWhite = lut[0] < 129;
                for (std::int64_t x = 0; x < width; ++x) {
                    const bool set = vellum::PixelIndex(s, x, 1) != 0;
                    o[x] = BYTE(set == setIsWhite ? 255 : 0);
                }
                break;
            }
        }
        vellum::ZeroRowPadding(o, width, ostride);
    }
    GlobalFree(bits);
    VellumDeleteHeader(info);
    bits = out;
    info = grey;
}

int ThConvertTo8BitGray(const char* sourcePath, const char* targetPath) {
    if (!sourcePath || !targetPath) return 0;
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    if (ThReadDibData(sourcePath, bits, info) != 0) {
        GlobalFree(bits);
        VellumDeleteHeader(info);
        return 0;
    }
    ThConvertTo8BitGray(bits, info);
    ThSaveDibData(targetPath, bits, info);
    GlobalFree(bits);
    VellumDeleteHeader(info);
    return 1;
}

void ThConvertToBW(void*& bits, BITMAPINFO*& info, long threshold) {
    if (!bits || !info) return;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 1 || !Usable(info)) return;
    const std::int64_t width = h.biWidth, height = h.biHeight;
    const int depth = h.biBitCount;
    const std::int64_t ostride = ((width + 7) / 8 + 3) & ~std::int64_t{3};
    BITMAPINFO* bw = VellumNewHeader(kFullHeaderBytes);
    if (!bw) return;
    auto* out = static_cast<BYTE*>(GlobalAllocChecked(GPTR, ostride * height));
    if (!out) {
        VellumDeleteHeader(bw);
        return;
    }
    BYTE lut[256];
    if (IsPalette(info)) GreyOfEntries(info, lut);
    const std::int64_t stride = VellumDibStride(depth, width);
    const auto* src = static_cast<const BYTE*>(bits);
    if (depth == 4 || depth == 8 || depth == 24) {
        std::vector<BYTE> grey(static_cast<std::size_t>(width));
        for (std::int64_t y = 0; y < height; ++y) {
            const BYTE* s = src + y * stride;
            BYTE* o = out + y * ostride;
            if (depth == 24) {
                GreyRow24(s, grey.data(), width);
            } else {
                for (std::int64_t x = 0; x < width; ++x) grey[x] = lut[vellum::PixelIndex(s, x, depth)];
            }
            for (std::int64_t x = 0; x < width; ++x) {
                if (grey[x] > threshold) o[x >> 3] = BYTE(o[x >> 3] | (0x80 >> (x & 7)));
            }
        }
    }
    std::memcpy(bw, info, sizeof(BITMAPINFOHEADER));
    bw->bmiHeader.biSizeImage = static_cast<DWORD>(ostride * height);
    bw->bmiHeader.biBitCount = 1;
    bw->bmiHeader.biClrUsed = 0;
    VellumColorTable(bw)[0] = RGBQUAD{0, 0, 0, 0};
    VellumColorTable(bw)[1] = RGBQUAD{255, 255, 255, 0};
    GlobalFree(bits);
    VellumDeleteHeader(info);
    bits = out;
    info = bw;
}
