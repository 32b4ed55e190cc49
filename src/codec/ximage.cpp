#include "codec/ximage.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <new>

#include "codec/formats.h"
#include "dib/dib.h"

namespace vellum::codec {

bool SizeAllowed(std::int64_t width, std::int64_t height) {
    return width >= 1 && height >= 1 && width <= kCodecMaxPixels && height <= kCodecMaxPixels &&
           width * height <= kCodecMaxPixels;
}

namespace {

bool ReadWholeFile(const char* path, Bytes& out) {
    if (!path) return false;
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return false;
    bool ok = std::fseek(f, 0, SEEK_END) == 0;
    const long length = ok ? std::ftell(f) : -1;
    ok = ok && length >= 0 && std::fseek(f, 0, SEEK_SET) == 0;
    if (ok) {
        try {
            out.resize(static_cast<std::size_t>(length));
        } catch (const std::bad_alloc&) {
            ok = false;
        }
    }
    if (ok && length > 0) ok = std::fread(out.data(), 1, out.size(), f) == out.size();
    std::fclose(f);
    return ok;
}

// Median-cut palette of up to `count` colours from a 5-5-5 histogram.
struct Box {
    int lo[3], hi[3];
    std::uint64_t weight;
};

std::vector<RGBQUAD> MedianCut(const CxImage& image, int count) {
    std::vector<std::uint32_t> histogram(32768, 0);
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    for (DWORD y = 0; y < h; ++y) {
        const BYTE* row = image.GetBits(y);
        for (DWORD x = 0; x < w; ++x) {
            const BYTE* p = row + 3 * x;
            auto& bin = histogram[(p[2] >> 3) << 10 | (p[1] >> 3) << 5 | (p[0] >> 3)];
            if (bin != 0xFFFFFFFFu) ++bin;
        }
    }
    auto weightOf = [&](Box& b) {
        // Shrink the box to its occupied extent and count it.
        int lo[3] = {31, 31, 31}, hi[3] = {0, 0, 0};
        std::uint64_t total = 0;
        for (int r = b.lo[0]; r <= b.hi[0]; ++r)
            for (int g = b.lo[1]; g <= b.hi[1]; ++g)
                for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
                    const std::uint32_t n = histogram[r << 10 | g << 5 | bl];
                    if (!n) continue;
                    total += n;
                    const int c[3] = {r, g, bl};
                    for (int k = 0; k < 3; ++k) {
                        lo[k] = std::min(lo[k], c[k]);
                        hi[k] = std::max(hi[k], c[k]);
                    }
                }
        b.weight = total;
        if (total) {
            std::copy(lo, lo + 3, b.lo);
            std::copy(hi, hi + 3, b.hi);
        }
    };
    std::vector<Box> boxes;
    Box all{{0, 0, 0}, {31, 31, 31}, 0};
    weightOf(all);
    boxes.push_back(all);
    while (static_cast<int>(boxes.size()) < count) {
        // Split the box with the longest side among those with two or more cells.
        int best = -1, bestLen = 0;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            for (int k = 0; k < 3; ++k) {
                const int len = boxes[i].hi[k] - boxes[i].lo[k];
                if (len > bestLen) bestLen = len, best = static_cast<int>(i);
            }
        }
        if (best < 0) break;
        Box& b = boxes[best];
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (b.hi[k] - b.lo[k] > b.hi[axis] - b.lo[axis]) axis = k;
        // Median along the axis.
        std::vector<std::uint64_t> plane(32, 0);
        for (int r = b.lo[0]; r <= b.hi[0]; ++r)
            for (int g = b.lo[1]; g <= b.hi[1]; ++g)
                for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
                    const int c[3] = {r, g, bl};
                    plane[c[axis]] += histogram[r << 10 | g << 5 | bl];
                }
        std::uint64_t acc = 0;
        int cut = b.lo[axis];
        for (int v = b.lo[axis]; v < b.hi[axis]; ++v) {
            acc += plane[v];
            cut = v;
            if (acc * 2 >= b.weight) break;
        }
        Box upper = b;
        b.hi[axis] = cut;
        upper.lo[axis] = cut + 1;
        weightOf(b);
        weightOf(upper);
        boxes.push_back(upper);
    }
    std::vector<RGBQUAD> palette;
    for (const Box& b : boxes) {
        std::uint64_t sum[3] = {0, 0, 0}, total = 0;
        for (int r = b.lo[0]; r <= b.hi[0]; ++r)
            for (int g = b.lo[1]; g <= b.hi[1]; ++g)
                for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
                    const std::uint64_t n = histogram[r << 10 | g << 5 | bl];
                    sum[0] += n * (r * 8 + 4);
                    sum[1] += n * (g * 8 + 4);
                    sum[2] += n * (bl * 8 + 4);
                    total += n;
                }
        RGBQUAD q{};
        if (total) {
            q.rgbRed = static_cast<BYTE>(sum[0] / total);
            q.rgbGreen = static_cast<BYTE>(sum[1] / total);
            q.rgbBlue = static_cast<BYTE>(sum[2] / total);
        }
        palette.push_back(q);
    }
    return palette;
}

// Nearest palette entry with a 5-5-5 cache.
class Nearest {
  public:
    Nearest(const RGBQUAD* pal, int count) : pal_(pal), count_(count), cache_(32768, -1) {}
    int operator()(int r, int g, int b) {
        const int key = (r >> 3) << 10 | (g >> 3) << 5 | (b >> 3);
        int& slot = cache_[key];
        if (slot >= 0) return slot;
        const int cr = (r & ~7) | 4, cg = (g & ~7) | 4, cb = (b & ~7) | 4;
        int best = 0;
        long bestDist = 0x7FFFFFFF;
        for (int i = 0; i < count_; ++i) {
            const long dr = pal_[i].rgbRed - cr, dg = pal_[i].rgbGreen - cg,
                       db = pal_[i].rgbBlue - cb;
            const long d = dr * dr * 3 + dg * dg * 4 + db * db * 2;
            if (d < bestDist) bestDist = d, best = i;
        }
        return slot = best;
    }

  private:
    const RGBQUAD* pal_;
    int count_;
    std::vector<int> cache_;
};

}  // namespace
}  // namespace vellum::codec

using namespace vellum::codec;

const CxFormatInfo* CxImageFormats(int* count) {
    static const CxFormatInfo kFormats[] = {
        {CXIMAGE_FORMAT_BMP, "BMP", true, true},
        {CXIMAGE_FORMAT_GIF, "GIF", true, true},
        {CXIMAGE_FORMAT_JPG, "JPEG", true, true},
        {CXIMAGE_FORMAT_PNG, "PNG", true, true},
        {CXIMAGE_FORMAT_ICO, "ICO", true, true},
        {CXIMAGE_FORMAT_TIF, "TIFF", true, true},
        {CXIMAGE_FORMAT_TGA, "TGA", true, true},
        {CXIMAGE_FORMAT_PCX, "PCX", true, true},
        {CXIMAGE_FORMAT_WBMP, "WBMP", true, true},
        {CXIMAGE_FORMAT_WMF, "WMF/EMF", false, false},
        {CXIMAGE_FORMAT_JP2, "JPEG 2000 file", true, true},
        {CXIMAGE_FORMAT_JPC, "JPEG 2000 code stream", true, true},
        {CXIMAGE_FORMAT_PGX, "PGX", true, true},
        {CXIMAGE_FORMAT_PNM, "PNM/PGM/PPM", true, true},
        {CXIMAGE_FORMAT_RAS, "Sun raster", true, true},
    };
    if (count) *count = static_cast<int>(sizeof kFormats / sizeof kFormats[0]);
    return kFormats;
}

CxImage::CxImage(DWORD imagetype) : type_(imagetype) {}

CxImage::CxImage(const char* filename, DWORD imagetype) : type_(imagetype) {
    Load(filename, imagetype);
}

CxImage::CxImage(const CxImage& src) = default;
CxImage& CxImage::operator=(const CxImage& src) = default;

WORD CxImage::GetBpp() const { return dib_.empty() ? 0 : GetHeader()->biBitCount; }
DWORD CxImage::GetWidth() const { return dib_.empty() ? 0 : GetHeader()->biWidth; }
DWORD CxImage::GetHeight() const { return dib_.empty() ? 0 : GetHeader()->biHeight; }
DWORD CxImage::GetPaletteSize() const { return dib_.empty() ? 0 : GetHeader()->biClrUsed; }
DWORD CxImage::GetEffWidth() const {
    return dib_.empty() ? 0 : static_cast<DWORD>(VellumDibStride(GetBpp(), GetWidth()));
}

RGBQUAD* CxImage::GetPalette() {
    return GetPaletteSize() ? reinterpret_cast<RGBQUAD*>(dib_.data() + 40) : nullptr;
}
const RGBQUAD* CxImage::GetPalette() const {
    return GetPaletteSize() ? reinterpret_cast<const RGBQUAD*>(dib_.data() + 40) : nullptr;
}
BYTE* CxImage::GetBits(DWORD row) {
    if (dib_.empty()) return nullptr;
    return dib_.data() + 40 + 4 * GetPaletteSize() + std::size_t{row} * GetEffWidth();
}
const BYTE* CxImage::GetBits(DWORD row) const {
    if (dib_.empty()) return nullptr;
    return dib_.data() + 40 + 4 * GetPaletteSize() + std::size_t{row} * GetEffWidth();
}

bool CxImage::Create(DWORD width, DWORD height, WORD bpp, DWORD imagetype, bool zeroFill) {
    Destroy();
    if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 24) return false;
    if (!SizeAllowed(width, height) || std::int64_t{width} * height > maxPixels_) return false;
    const std::int64_t stride = VellumDibStride(bpp, width);
    const DWORD colors = bpp <= 8 ? 1u << bpp : 0;
    const std::int64_t total = 40 + 4 * std::int64_t{colors} + stride * height;
    try {
        dib_.resize(static_cast<std::size_t>(total));
    } catch (const std::bad_alloc&) {
        dib_.clear();
        return false;
    }
    const std::size_t head = 40 + 4 * std::size_t{colors};
    if (zeroFill) {
        std::memset(dib_.data(), 0, dib_.size());
    } else {
        std::memset(dib_.data(), 0, head);
        const std::size_t used = (std::size_t{width} * bpp + 7) / 8;
        if (used < static_cast<std::size_t>(stride)) {
            for (DWORD y = 0; y < height; ++y)
                std::memset(dib_.data() + head + y * stride + used, 0, stride - used);
        }
    }
    BITMAPINFOHEADER& h = *GetHeader();
    h.biSize = 40;
    h.biWidth = static_cast<LONG>(width);
    h.biHeight = static_cast<LONG>(height);
    h.biPlanes = 1;
    h.biBitCount = bpp;
    h.biCompression = BI_RGB;
    h.biSizeImage = static_cast<DWORD>(stride * height);
    h.biXPelsPerMeter = h.biYPelsPerMeter = 3780;
    h.biClrUsed = colors;
    if (imagetype) type_ = imagetype;
    if (bpp == 1) {
        RGBQUAD* pal = GetPalette();
        pal[1].rgbRed = pal[1].rgbGreen = pal[1].rgbBlue = 255;
    } else if (bpp <= 8) {
        SetGrayPalette();
    }
    return true;
}

bool CxImage::Destroy() {
    dib_.clear();
    dib_.shrink_to_fit();
    alpha_.clear();
    alpha_.shrink_to_fit();
    transIndex_ = -1;
    return true;
}

void CxImage::SetGrayPalette() {
    RGBQUAD* pal = GetPalette();
    const DWORD n = GetPaletteSize();
    if (!pal || n < 2) return;
    for (DWORD i = 0; i < n; ++i) {
        const BYTE v = static_cast<BYTE>(i * 255 / (n - 1));
        pal[i] = RGBQUAD{v, v, v, 0};
    }
}

bool CxImage::IsGrayScale() const {
    const RGBQUAD* pal = GetPalette();
    if (!pal) return false;
    for (DWORD i = 0; i < GetPaletteSize(); ++i)
        if (pal[i].rgbRed != pal[i].rgbGreen || pal[i].rgbGreen != pal[i].rgbBlue) return false;
    return true;
}

BYTE CxImage::GetPixelIndex(long x, long y) const {
    if (dib_.empty() || x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) ||
        y >= static_cast<long>(GetHeight()))
        return 0;
    const BYTE* row = GetBits(static_cast<DWORD>(y));
    switch (GetBpp()) {
        case 1:
            return (row[x >> 3] >> (7 - (x & 7))) & 1;
        case 4:
            return (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4;
        case 8:
            return row[x];
        default:
            return 0;
    }
}

void CxImage::SetPixelIndex(long x, long y, BYTE index) {
    if (dib_.empty() || x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) ||
        y >= static_cast<long>(GetHeight()))
        return;
    BYTE* row = GetBits(static_cast<DWORD>(y));
    switch (GetBpp()) {
        case 1: {
            const BYTE m = static_cast<BYTE>(0x80 >> (x & 7));
            row[x >> 3] = (index & 1) ? row[x >> 3] | m : row[x >> 3] & ~m;
            break;
        }
        case 4:
            row[x >> 1] = (x & 1) ? (row[x >> 1] & 0xF0) | (index & 15)
                                  : static_cast<BYTE>((row[x >> 1] & 0x0F) | (index & 15) << 4);
            break;
        case 8:
            row[x] = index;
            break;
        default:
            break;
    }
}

RGBQUAD CxImage::GetPixelColor(long x, long y) const {
    RGBQUAD c{};
    if (dib_.empty() || x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) ||
        y >= static_cast<long>(GetHeight()))
        return c;
    if (GetBpp() == 24) {
        const BYTE* p = GetBits(static_cast<DWORD>(y)) + 3 * x;
        c.rgbBlue = p[0];
        c.rgbGreen = p[1];
        c.rgbRed = p[2];
        return c;
    }
    const BYTE index = GetPixelIndex(x, y);
    if (index < GetPaletteSize()) c = GetPalette()[index];
    c.rgbReserved = 0;
    return c;
}

BYTE CxImage::GetAlpha(long x, long y) const {
    if (dib_.empty() || x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) ||
        y >= static_cast<long>(GetHeight()))
        return 0;
    if (alpha_.empty()) return 255;
    return alpha_[static_cast<std::size_t>(y) * GetWidth() + x];
}

bool CxImage::AlphaCreate() {
    if (dib_.empty()) return false;
    try {
        alpha_.assign(std::size_t{GetWidth()} * GetHeight(), 255);
    } catch (const std::bad_alloc&) {
        alpha_.clear();
        return false;
    }
    return true;
}

bool CxImage::IncreaseBpp(DWORD nbit) {
    if (dib_.empty()) return false;
    const WORD bpp = GetBpp();
    if (nbit == bpp) return true;
    if (nbit < bpp || (nbit != 4 && nbit != 8 && nbit != 24)) return false;
    CxImage out(type_);
    out.maxPixels_ = maxPixels_;
    if (!out.Create(GetWidth(), GetHeight(), static_cast<WORD>(nbit))) return false;
    const long w = static_cast<long>(GetWidth()), h = static_cast<long>(GetHeight());
    if (nbit == 24) {
        for (long y = 0; y < h; ++y) {
            BYTE* dst = out.GetBits(static_cast<DWORD>(y));
            for (long x = 0; x < w; ++x) {
                const RGBQUAD c = GetPixelColor(x, y);
                dst[3 * x] = c.rgbBlue;
                dst[3 * x + 1] = c.rgbGreen;
                dst[3 * x + 2] = c.rgbRed;
            }
        }
    } else {
        std::memcpy(out.GetPalette(), GetPalette(), 4 * GetPaletteSize());
        for (long y = 0; y < h; ++y)
            for (long x = 0; x < w; ++x) out.SetPixelIndex(x, y, GetPixelIndex(x, y));
        out.transIndex_ = transIndex_;
    }
    std::memcpy(out.dib_.data() + 24, dib_.data() + 24, 8);  // resolution
    out.alpha_ = std::move(alpha_);
    out.jpegQuality_ = jpegQuality_;
    *this = std::move(out);
    return true;
}

bool CxImage::DecreaseBpp(DWORD nbit, bool errordiffusion, RGBQUAD* ppal, DWORD clrimportant) {
    if (dib_.empty()) return false;
    if (nbit != 1 && nbit != 4 && nbit != 8) return false;
    const WORD bpp = GetBpp();
    if (bpp < nbit) return false;
    if (bpp == nbit && !ppal) return true;
    const int maxColors = 1 << nbit;
    int count = ppal ? static_cast<int>(clrimportant ? std::min<DWORD>(clrimportant, maxColors)
                                                     : static_cast<DWORD>(maxColors))
                     : maxColors;
    // Work on 24-bit colour.
    CxImage source(*this);
    if (source.GetBpp() != 24 && !source.IncreaseBpp(24)) return false;
    std::vector<RGBQUAD> palette;
    if (ppal) {
        palette.assign(ppal, ppal + count);
    } else if (nbit == 1) {
        palette = {RGBQUAD{0, 0, 0, 0}, RGBQUAD{255, 255, 255, 0}};
    } else {
        palette = MedianCut(source, maxColors);
    }
    count = static_cast<int>(palette.size());
    CxImage out(type_);
    out.maxPixels_ = maxPixels_;
    if (!out.Create(GetWidth(), GetHeight(), static_cast<WORD>(nbit))) return false;
    std::memset(out.GetPalette(), 0, 4 * out.GetPaletteSize());
    std::memcpy(out.GetPalette(), palette.data(), 4 * palette.size());
    Nearest nearest(palette.data(), count);
    const long w = static_cast<long>(GetWidth()), h = static_cast<long>(GetHeight());
    // Error rows for Floyd-Steinberg, rows processed top to bottom on screen.
    std::vector<int> errCur(errordiffusion ? 3 * (w + 2) : 0),
        errNext(errordiffusion ? 3 * (w + 2) : 0);
    for (long sy = h - 1; sy >= 0; --sy) {
        const BYTE* src = source.GetBits(static_cast<DWORD>(sy));
        if (errordiffusion) std::fill(errNext.begin(), errNext.end(), 0);
        for (long x = 0; x < w; ++x) {
            int c[3] = {src[3 * x + 2], src[3 * x + 1], src[3 * x]};
            if (errordiffusion) {
                for (int k = 0; k < 3; ++k)
                    c[k] = std::clamp(c[k] + errCur[3 * (x + 1) + k] / 16, 0, 255);
            }
            int index;
            if (nbit == 1 && !ppal) {
                index = (c[0] * 30 + c[1] * 59 + c[2] * 11) / 100 >= 128 ? 1 : 0;
            } else {
                index = nearest(c[0], c[1], c[2]);
            }
            out.SetPixelIndex(x, sy, static_cast<BYTE>(index));
            if (errordiffusion) {
                const RGBQUAD& q = palette[index];
                const int e[3] = {c[0] - q.rgbRed, c[1] - q.rgbGreen, c[2] - q.rgbBlue};
                for (int k = 0; k < 3; ++k) {
                    errCur[3 * (x + 2) + k] += e[k] * 7;
                    errNext[3 * x + k] += e[k] * 3;
                    errNext[3 * (x + 1) + k] += e[k] * 5;
                    errNext[3 * (x + 2) + k] += e[k];
                }
            }
        }
        if (errordiffusion) std::swap(errCur, errNext);
    }
    std::memcpy(out.dib_.data() + 24, dib_.data() + 24, 8);
    out.alpha_ = std::move(alpha_);
    out.jpegQuality_ = jpegQuality_;
    *this = std::move(out);
    return true;
}

bool CxImage::Filter(long* kernel, long Ksize, long Kfactor, long Koffset) {
    if (dib_.empty() || !kernel || Ksize < 1) return false;
    const bool grey8 = GetBpp() == 8 && IsGrayScale();
    if (!grey8 && GetBpp() != 24 && !IncreaseBpp(24)) return false;
    if (Kfactor == 0) Kfactor = 1;
    const long w = static_cast<long>(GetWidth()), h = static_cast<long>(GetHeight());
    const int channels = grey8 ? 1 : 3;
    const CxImage src(*this);
    const long half = Ksize / 2;
    for (long y = 0; y < h; ++y) {
        BYTE* dst = GetBits(static_cast<DWORD>(y));
        for (long x = 0; x < w; ++x) {
            for (int ch = 0; ch < channels; ++ch) {
                long long sum = 0;
                for (long j = 0; j < Ksize; ++j) {
                    // Kernel row 0 is the top row on screen, which is the
                    // higher stored row.
                    const long sy = std::clamp(y + half - j, 0L, h - 1);
                    const BYTE* row = src.GetBits(static_cast<DWORD>(sy));
                    for (long i = 0; i < Ksize; ++i) {
                        const long sx = std::clamp(x - half + i, 0L, w - 1);
                        sum += static_cast<long long>(kernel[j * Ksize + i]) *
                               row[sx * channels + ch];
                    }
                }
                const long long v = sum / Kfactor + Koffset;
                dst[x * channels + ch] = static_cast<BYTE>(std::clamp<long long>(v, 0, 255));
            }
        }
    }
    return true;
}

bool CxImage::Decode(const BYTE* data, std::size_t size, DWORD imagetype) {
    Destroy();
    if (!data && size) return false;
    type_ = imagetype;
    bool ok = false;
    try {
        switch (imagetype) {
            case CXIMAGE_FORMAT_BMP: ok = DecodeBmp(*this, data, size); break;
            case CXIMAGE_FORMAT_GIF: ok = DecodeGif(*this, data, size); break;
            case CXIMAGE_FORMAT_JPG: ok = DecodeJpeg(*this, data, size); break;
            case CXIMAGE_FORMAT_PNG: ok = DecodePng(*this, data, size); break;
            case CXIMAGE_FORMAT_ICO: ok = DecodeIco(*this, data, size); break;
            case CXIMAGE_FORMAT_TIF: ok = DecodeTiff(*this, data, size); break;
            case CXIMAGE_FORMAT_TGA: ok = DecodeTga(*this, data, size); break;
            case CXIMAGE_FORMAT_PCX: ok = DecodePcx(*this, data, size); break;
            case CXIMAGE_FORMAT_WBMP: ok = DecodeWbmp(*this, data, size); break;
            case CXIMAGE_FORMAT_JP2: ok = DecodeJpeg2000(*this, data, size, false); break;
            case CXIMAGE_FORMAT_JPC: ok = DecodeJpeg2000(*this, data, size, true); break;
            case CXIMAGE_FORMAT_PGX: ok = DecodePgx(*this, data, size); break;
            case CXIMAGE_FORMAT_PNM: ok = DecodePnm(*this, data, size); break;
            case CXIMAGE_FORMAT_RAS: ok = DecodeRas(*this, data, size); break;
            default: ok = false; break;  // WMF/EMF and unknown types
        }
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    if (ok && !dib_.empty() && !alpha_.empty() &&
        alpha_.size() != std::size_t{GetWidth()} * GetHeight())
        ok = false;
    if (!ok) Destroy();
    return ok;
}

bool CxImage::Load(const char* filename, DWORD imagetype) {
    Destroy();
    type_ = imagetype;
    if (imagetype == CXIMAGE_FORMAT_UNKNOWN || imagetype == CXIMAGE_FORMAT_WMF) return false;
    Bytes data;
    if (!ReadWholeFile(filename, data)) return false;
    return Decode(data.data(), data.size(), imagetype);
}

bool CxImage::Encode(std::vector<BYTE>& out, DWORD imagetype) const {
    out.clear();
    if (dib_.empty()) return false;
    try {
        switch (imagetype) {
            case CXIMAGE_FORMAT_BMP: return EncodeBmp(*this, out);
            case CXIMAGE_FORMAT_GIF: return EncodeGif(*this, out);
            case CXIMAGE_FORMAT_JPG: return EncodeJpeg(*this, jpegQuality_, out);
            case CXIMAGE_FORMAT_PNG: return EncodePng(*this, out);
            case CXIMAGE_FORMAT_ICO: return EncodeIco(*this, out);
            case CXIMAGE_FORMAT_TIF: return EncodeTiff(*this, out);
            case CXIMAGE_FORMAT_TGA: return EncodeTga(*this, out);
            case CXIMAGE_FORMAT_PCX: return EncodePcx(*this, out);
            case CXIMAGE_FORMAT_WBMP: return EncodeWbmp(*this, out);
            case CXIMAGE_FORMAT_JP2: return EncodeJpeg2000(*this, false, out);
            case CXIMAGE_FORMAT_JPC: return EncodeJpeg2000(*this, true, out);
            case CXIMAGE_FORMAT_PGX: return EncodePgx(*this, out);
            case CXIMAGE_FORMAT_PNM: return EncodePnm(*this, out);
            case CXIMAGE_FORMAT_RAS: return EncodeRas(*this, out);
            default: return false;
        }
    } catch (const std::bad_alloc&) {
        out.clear();
        return false;
    }
}

bool CxImage::Save(const char* filename, DWORD imagetype) {
    if (!filename) return false;
    Bytes data;
    if (!Encode(data, imagetype)) return false;
    std::FILE* f = std::fopen(filename, "wb");
    if (!f) return false;
    const bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    return std::fclose(f) == 0 && ok;
}
