// Device-independent bitmaps against device surfaces: CreateDIBitmap,
// GetDIBits, SetDIBitsToDevice and StretchDIBits.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/gdi_object.h"

namespace vellum::gdi {
namespace {

constexpr std::int64_t kMaxSide = std::int64_t{1} << 27;

// Reads the rows of a DIB whatever its depth. Rows are addressed from the
// bottom line (y = 0) whatever the storage order; `first` and `count` say
// which scan lines the block holds (SetDIBitsToDevice hands parts).
struct DibReader {
    const BYTE* bits = nullptr;
    std::int64_t width = 0, height = 0, stride = 0;
    std::int64_t first = 0, count = 0;  // scan lines held, in storage order
    bool topDown = false;
    int depth = 0;
    std::uint32_t table[256] = {};

    bool open(const BITMAPINFO* info, const void* data, UINT usage) {
        if (!info || !data || usage != DIB_RGB_COLORS) return false;
        const BITMAPINFOHEADER& h = info->bmiHeader;
        if (h.biSize < 40 || h.biSize > 124 || h.biPlanes != 1 || h.biCompression != BI_RGB) {
            return false;
        }
        depth = h.biBitCount;
        if (depth != 1 && depth != 4 && depth != 8 && depth != 16 && depth != 24 && depth != 32) {
            return false;
        }
        width = h.biWidth;
        height = h.biHeight < 0 ? -std::int64_t{h.biHeight} : h.biHeight;
        topDown = h.biHeight < 0;
        if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return false;
        stride = (width * depth + 31) / 32 * 4;
        bits = static_cast<const BYTE*>(data);
        first = 0;
        count = height;
        if (depth <= 8) {
            const std::int64_t full = std::int64_t{1} << depth;
            const std::int64_t n = h.biClrUsed && h.biClrUsed <= full ? h.biClrUsed : full;
            const auto* q = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const BYTE*>(info) +
                                                             h.biSize);
            for (std::int64_t i = 0; i < n; ++i) {
                table[i] = 0xFF000000u | (std::uint32_t{q[i].rgbRed} << 16) |
                           (std::uint32_t{q[i].rgbGreen} << 8) | q[i].rgbBlue;
            }
            for (std::int64_t i = n; i < 256; ++i) table[i] = 0xFF000000u;
        }
        return true;
    }

    // The stored row for bottom-up line y, or null when the block lacks it.
    const BYTE* line(std::int64_t y) const {
        if (y < 0 || y >= height) return nullptr;
        const std::int64_t stored = topDown ? height - 1 - y : y;
        if (stored < first || stored >= first + count) return nullptr;
        return bits + stride * (stored - first);
    }

    // Pixels x0 .. x0 + n - 1 of a row (inside the width).
    void decode(const BYTE* row, std::int64_t x0, std::int64_t n, std::uint32_t* out) const {
        switch (depth) {
            case 1:
                for (std::int64_t i = 0; i < n; ++i) {
                    const std::int64_t x = x0 + i;
                    out[i] = table[(row[x >> 3] >> (7 - (x & 7))) & 1];
                }
                break;
            case 4:
                for (std::int64_t i = 0; i < n; ++i) {
                    const std::int64_t x = x0 + i;
                    out[i] = table[(x & 1) ? row[x >> 1] & 0xF : row[x >> 1] >> 4];
                }
                break;
            case 8:
                for (std::int64_t i = 0; i < n; ++i) out[i] = table[row[x0 + i]];
                break;
            case 16:
                for (std::int64_t i = 0; i < n; ++i) {
                    const unsigned w = row[2 * (x0 + i)] | (row[2 * (x0 + i) + 1] << 8);
                    const unsigned r = (w >> 10) & 31, g = (w >> 5) & 31, b = w & 31;
                    out[i] = 0xFF000000u | ((r << 3 | r >> 2) << 16) | ((g << 3 | g >> 2) << 8) |
                             (b << 3 | b >> 2);
                }
                break;
            case 24: {
                const BYTE* p = row + 3 * x0;
                for (std::int64_t i = 0; i < n; ++i, p += 3) {
                    out[i] = 0xFF000000u | (std::uint32_t{p[2]} << 16) | (std::uint32_t{p[1]} << 8) | p[0];
                }
                break;
            }
            default: {
                const BYTE* p = row + 4 * x0;
                for (std::int64_t i = 0; i < n; ++i, p += 4) {
                    std::uint32_t v;
                    std::memcpy(&v, p, 4);
                    out[i] = v | 0xFF000000u;
                }
                break;
            }
        }
    }
};

// Maps destination index i of [0, n) onto [0, m): the source pixel whose span
// holds the destination pixel's centre, reversed when mirrored.
inline std::int64_t Nearest(std::int64_t i, std::int64_t n, std::int64_t m, bool mirror) {
    // i and m reach 2^32, so the product takes 128 bits.
    __extension__ using Wide = __int128;
    const auto k = static_cast<std::int64_t>((2 * Wide{i} + 1) * m / (2 * Wide{n}));
    return mirror ? m - 1 - k : k;
}

// Draws a DIB area mapped onto a destination area (the common engine of
// StretchDIBits and SetDIBitsToDevice). Source rows and columns are in the
// DIB's bottom-up coordinates; destination in device coordinates.
int Draw(DC& dc, const DibReader& dib, std::int64_t xDest, std::int64_t yDest, std::int64_t dw,
         std::int64_t dh, std::int64_t xSrc, std::int64_t ySrc, std::int64_t sw, std::int64_t sh,
         DWORD rop) {
    const bool flipX = (dw < 0) != (sw < 0), flipY = (dh < 0) != (sh < 0);
    const std::int64_t dx0 = std::min(xDest, xDest + dw), dy0 = std::min(yDest, yDest + dh);
    const std::int64_t sx0 = std::min(xSrc, xSrc + sw), sy0 = std::min(ySrc, ySrc + sh);
    dw = std::abs(dw);
    dh = std::abs(dh);
    sw = std::abs(sw);
    sh = std::abs(sh);
    if (dw == 0 || dh == 0 || sw == 0 || sh == 0) return 0;
    const int drawn = static_cast<int>(std::min<std::int64_t>(dh, INT32_MAX));
    std::uint32_t pattern[64];
    const std::uint32_t* pat = nullptr;
    if (RopUsesPattern(rop)) {
        if (!ResolvePattern(dc, *dc.brush, pattern)) return drawn;
        pat = pattern;
    }
    Surface& s = *dc.surface;
    const std::int64_t ix0 = std::max<std::int64_t>(dx0, 0), ix1 = std::min<std::int64_t>(dx0 + dw, s.width);
    const std::int64_t iy0 = std::max<std::int64_t>(dy0, 0), iy1 = std::min<std::int64_t>(dy0 + dh, s.height);
    if (ix0 >= ix1 || iy0 >= iy1) return drawn;
    // Source column of each visible destination column, and the runs of
    // destination columns whose source is inside the DIB.
    std::vector<std::int64_t> columns(static_cast<std::size_t>(ix1 - ix0));
    std::int64_t lo = dib.width, hi = -1;
    for (std::int64_t i = ix0; i < ix1; ++i) {
        const std::int64_t c = sx0 + Nearest(i - dx0, dw, sw, flipX);
        columns[i - ix0] = c;
        if (c >= 0 && c < dib.width) lo = std::min(lo, c), hi = std::max(hi, c);
    }
    if (hi < lo) return drawn;
    const bool identity = !flipX && dw == sw;
    std::vector<std::uint32_t> decoded(static_cast<std::size_t>(hi - lo + 1));
    std::vector<std::uint32_t> line(static_cast<std::size_t>(ix1 - ix0));
    const BYTE* lastRow = nullptr;
    for (std::int64_t j = iy0; j < iy1; ++j) {
        // Destination rows run down, DIB lines up: the top destination row
        // takes the top line of the source rectangle.
        const std::int64_t k = Nearest(j - dy0, dh, sh, flipY);
        const BYTE* row = dib.line(sy0 + sh - 1 - k);
        if (!row) continue;
        std::uint32_t* drow = s.row(static_cast<int>(j));
        const bool whole = identity && columns.front() >= 0 && columns.back() < dib.width;
        if (whole && ((rop >> 16) & 0xFF) == 0xCC) {
            // A plain copy decodes straight into the surface.
            dib.decode(row, columns.front(), ix1 - ix0, drow + ix0);
            continue;
        }
        if (row != lastRow) {
            dib.decode(row, lo, hi - lo + 1, decoded.data());
            lastRow = row;
        }
        const std::uint32_t* prow = pat ? pat + 8 * (j & 7) : nullptr;
        if (whole) {
            RopSpan(drow + ix0, decoded.data() + (columns.front() - lo), prow, static_cast<int>(ix0),
                    static_cast<int>(ix1 - ix0), rop);
            continue;
        }
        std::int64_t run = ix0;
        while (run < ix1) {
            while (run < ix1 && (columns[run - ix0] < 0 || columns[run - ix0] >= dib.width)) ++run;
            std::int64_t end = run;
            while (end < ix1 && columns[end - ix0] >= 0 && columns[end - ix0] < dib.width) {
                line[end - run] = decoded[columns[end - ix0] - lo];
                ++end;
            }
            if (end > run) {
                RopSpan(drow + run, line.data(), prow, static_cast<int>(run),
                        static_cast<int>(end - run), rop);
            }
            run = end;
        }
    }
    return drawn;
}

// The 3-3-2 grid, the 16 standard colours and the reductions of GetDIBits.
constexpr BYTE kLevels8[8] = {0, 36, 73, 109, 146, 182, 219, 255};
constexpr BYTE kLevels4[4] = {0, 85, 170, 255};
constexpr BYTE kStandard16[16][3] = {
    {0, 0, 0},       {128, 0, 0},   {0, 128, 0},   {128, 128, 0},
    {0, 0, 128},     {128, 0, 128}, {0, 128, 128}, {192, 192, 192},
    {128, 128, 128}, {255, 0, 0},   {0, 255, 0},   {255, 255, 0},
    {0, 0, 255},     {255, 0, 255}, {0, 255, 255}, {255, 255, 255},
};

struct Nearest332 {
    BYTE level8[256];
    BYTE level4[256];
    constexpr Nearest332() : level8{}, level4{} {
        for (int v = 0; v < 256; ++v) {
            int b8 = 0, b4 = 0;
            for (int i = 1; i < 8; ++i) {
                const int a = v - kLevels8[i], c = v - kLevels8[b8];
                if ((a < 0 ? -a : a) < (c < 0 ? -c : c)) b8 = i;
            }
            for (int i = 1; i < 4; ++i) {
                const int a = v - kLevels4[i], c = v - kLevels4[b4];
                if ((a < 0 ? -a : a) < (c < 0 ? -c : c)) b4 = i;
            }
            level8[v] = static_cast<BYTE>(b8);
            level4[v] = static_cast<BYTE>(b4);
        }
    }
};
constexpr Nearest332 kNearest332;

inline int Standard16(std::uint32_t p) {
    const int r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
    int best = 0, bestDistance = 1 << 30;
    for (int i = 0; i < 16; ++i) {
        const int dr = r - kStandard16[i][0], dg = g - kStandard16[i][1], db = b - kStandard16[i][2];
        const int distance = dr * dr + dg * dg + db * db;
        if (distance < bestDistance) best = i, bestDistance = distance;
    }
    return best;
}

void WriteTable(BITMAPINFO* info, int depth) {
    auto* q = reinterpret_cast<RGBQUAD*>(reinterpret_cast<BYTE*>(info) + info->bmiHeader.biSize);
    if (depth == 1) {
        q[0] = RGBQUAD{0, 0, 0, 0};
        q[1] = RGBQUAD{255, 255, 255, 0};
    } else if (depth == 4) {
        for (int i = 0; i < 16; ++i) {
            q[i] = RGBQUAD{kStandard16[i][2], kStandard16[i][1], kStandard16[i][0], 0};
        }
    } else if (depth == 8) {
        for (int i = 0; i < 256; ++i) {
            q[i] = RGBQUAD{kLevels4[i & 3], kLevels8[(i >> 2) & 7], kLevels8[i >> 5], 0};
        }
    }
}

void EncodeRow(const std::uint32_t* px, std::int64_t n, int depth, BYTE* out) {
    switch (depth) {
        case 1:
            for (std::int64_t x = 0; x < n; ++x) {
                const int r = (px[x] >> 16) & 0xFF, g = (px[x] >> 8) & 0xFF, b = px[x] & 0xFF;
                if ((30 * r + 59 * g + 11 * b) / 100 >= 128) out[x >> 3] |= 0x80 >> (x & 7);
            }
            break;
        case 4:
            for (std::int64_t x = 0; x < n; ++x) {
                const int i = Standard16(px[x]);
                out[x >> 1] |= (x & 1) ? i : i << 4;
            }
            break;
        case 8:
            for (std::int64_t x = 0; x < n; ++x) {
                out[x] = static_cast<BYTE>((kNearest332.level8[(px[x] >> 16) & 0xFF] << 5) |
                                           (kNearest332.level8[(px[x] >> 8) & 0xFF] << 2) |
                                           kNearest332.level4[px[x] & 0xFF]);
            }
            break;
        case 16:
            for (std::int64_t x = 0; x < n; ++x) {
                const unsigned w = (((px[x] >> 19) & 31) << 10) | (((px[x] >> 11) & 31) << 5) |
                                   ((px[x] >> 3) & 31);
                out[2 * x] = static_cast<BYTE>(w);
                out[2 * x + 1] = static_cast<BYTE>(w >> 8);
            }
            break;
        case 24:
            for (std::int64_t x = 0; x < n; ++x) {
                out[3 * x] = static_cast<BYTE>(px[x]);
                out[3 * x + 1] = static_cast<BYTE>(px[x] >> 8);
                out[3 * x + 2] = static_cast<BYTE>(px[x] >> 16);
            }
            break;
        default:
            for (std::int64_t x = 0; x < n; ++x) {
                const std::uint32_t v = px[x] & 0xFFFFFF;
                std::memcpy(out + 4 * x, &v, 4);
            }
            break;
    }
}

}  // namespace
}  // namespace vellum::gdi

using namespace vellum::gdi;

int GetDIBits(HDC dc, HBITMAP bitmap, UINT start, UINT lines, LPVOID bits, BITMAPINFO* info,
              UINT usage) {
    auto d = Get<DC>(dc, Kind::DC);
    auto s = Get<Surface>(bitmap, Kind::Bitmap);
    if (!d || !s || !info || usage != DIB_RGB_COLORS) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biSize < 40 || h.biSize > 124) return 0;
    if (!bits && h.biBitCount == 0) {
        h.biWidth = s->width;
        h.biHeight = s->height;
        h.biPlanes = 1;
        h.biBitCount = 32;
        h.biCompression = BI_RGB;
        h.biSizeImage = static_cast<DWORD>(std::int64_t{s->width} * 4 * s->height);
        return s->height;
    }
    const int depth = h.biBitCount;
    if (depth != 1 && depth != 4 && depth != 8 && depth != 16 && depth != 24 && depth != 32) return 0;
    if (h.biCompression != BI_RGB || h.biWidth < 1 || h.biHeight == 0) return 0;
    const std::int64_t width = h.biWidth;
    const std::int64_t height = h.biHeight < 0 ? -std::int64_t{h.biHeight} : h.biHeight;
    if (width > kMaxSide || height > kMaxSide) return 0;
    const std::int64_t stride = (width * depth + 31) / 32 * 4;
    if (stride * height > 0x7FFFFFFF) return 0;
    if (!bits) {
        h.biSizeImage = static_cast<DWORD>(stride * height);
        WriteTable(info, depth);
        return static_cast<int>(height);
    }
    const std::int64_t first = std::min<std::int64_t>(start, height);
    const std::int64_t last = std::min<std::int64_t>(first + std::int64_t{lines}, height);
    const bool topDown = h.biHeight < 0;
    std::vector<std::uint32_t> px(static_cast<std::size_t>(width));
    BYTE* out = static_cast<BYTE*>(bits);
    for (std::int64_t line = first; line < last; ++line) {
        // DIB line (bottom-up index) -> bitmap row, bottom lines aligned.
        const std::int64_t fromBottom = topDown ? height - 1 - line : line;
        const std::int64_t sy = s->height - 1 - fromBottom;
        std::fill(px.begin(), px.end(), 0xFF000000u);
        if (sy >= 0 && sy < s->height) {
            const std::int64_t n = std::min<std::int64_t>(width, s->width);
            std::memcpy(px.data(), s->row(static_cast<int>(sy)), sizeof(std::uint32_t) * n);
        }
        BYTE* row = out + stride * (line - first);
        std::memset(row, 0, static_cast<std::size_t>(stride));
        EncodeRow(px.data(), width, depth, row);
    }
    WriteTable(info, depth);
    return static_cast<int>(last - first);
}

int SetDIBitsToDevice(HDC dc, int xDest, int yDest, DWORD width, DWORD height, int xSrc, int ySrc,
                      UINT start, UINT lines, const void* bits, const BITMAPINFO* info, UINT usage) {
    auto d = Get<DC>(dc, Kind::DC);
    DibReader dib;
    if (!d || !dib.open(info, bits, usage)) return 0;
    dib.first = std::min<std::int64_t>(start, dib.height);
    dib.count = std::min<std::int64_t>(lines, dib.height - dib.first);
    if (dib.count <= 0) return 0;
    const std::int64_t w = width, h = height;
    Draw(*d, dib, xDest, yDest, w, h, xSrc, ySrc, w, h, SRCCOPY);
    return static_cast<int>(dib.count);
}

int StretchDIBits(HDC dc, int xDest, int yDest, int destWidth, int destHeight, int xSrc, int ySrc,
                  int srcWidth, int srcHeight, const void* bits, const BITMAPINFO* info, UINT usage,
                  DWORD rop) {
    auto d = Get<DC>(dc, Kind::DC);
    if (!d) return 0;
    DibReader dib;
    if (!RopUsesSource(rop)) {
        if (!info) return 0;
        if (!PatBlt(dc, xDest, yDest, destWidth, destHeight, rop)) return 0;
        return static_cast<int>(std::min<std::int64_t>(std::abs(std::int64_t{destHeight}), INT32_MAX));
    }
    if (!dib.open(info, bits, usage)) return 0;
    if (destWidth == 0 || destHeight == 0 || srcWidth == 0 || srcHeight == 0) return 0;
    return Draw(*d, dib, xDest, yDest, destWidth, destHeight, xSrc, ySrc, srcWidth, srcHeight, rop);
}

HBITMAP CreateDIBitmap(HDC dc, const BITMAPINFOHEADER* header, DWORD init, const void* bits,
                       const BITMAPINFO* info, UINT usage) {
    if (!Lookup(dc, Kind::DC) || !header) return nullptr;
    const std::int64_t height = header->biHeight < 0 ? -std::int64_t{header->biHeight} : header->biHeight;
    DibReader dib;
    if ((init & CBM_INIT) && !dib.open(info, bits, usage)) return nullptr;
    auto s = NewSurface(header->biWidth, height, 32);
    if (!s) return nullptr;
    if (init & CBM_INIT) {
        auto temp = std::make_shared<DC>();
        temp->surface = s;
        temp->brush = StockBrush(WHITE_BRUSH);
        Draw(*temp, dib, 0, 0, dib.width, dib.height, 0, 0, dib.width, dib.height, SRCCOPY);
    }
    return static_cast<HBITMAP>(Register(s));
}
