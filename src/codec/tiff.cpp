// TIFF through libtiff over memory, with per-handle error and warning
// handlers that print nothing. The first page is read, in strips (row by row)
// or tiles, either planar configuration, and placed by its orientation: all
// eight are honoured, and orientations 5 to 8 (rows stored as columns) give a
// picture of ImageLength x ImageWidth.
//  - Bilevel, grey and palette pages stay palette images: 1 bit stays 1 bit,
//    2 and 4 bits become 4 bits, 8 bits and 12- or 16-bit grey become 8 bits.
//    Grey gets a ramp table (reversed for white-is-zero), palette pages their
//    colour map (16-bit entries rounded to 8 bits, tables that already hold
//    8-bit values kept).
//  - RGB of 8, 12 or 16 bits per sample, with or without unassociated alpha,
//    is read as stored into 24 bits (plus an alpha plane).
//  - 12- and 16-bit samples are reduced to 8 bits as (v x 255 + max / 2) /
//    max, max = 2^bits - 1, the rounding of 16-bit PNG samples. 12 bits are
//    read uncompressed, LZW or Deflate only.
//  - Everything else (CMYK, YCbCr, Lab, JPEG-coded RGB, associated alpha,
//    grey with alpha...) goes through libtiff's RGBA reader into 24 bits plus
//    an alpha plane when the page has extra samples; associated alpha is
//    divided out.
// Damaged strips and tiles are tolerated as libtiff's RGBA reader tolerates
// them: what decoded is kept, the rest is zero.
// Encoding writes palette images as palette TIFF and 24-bit images as RGB
// (RGBA with an alpha plane), LZW compressed, orientation top-left.
#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "codec/formats.h"

namespace vellum::codec {
namespace {

struct Stream {
    const std::uint8_t* data = nullptr;
    Bytes* out = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
};

tmsize_t ReadProc(thandle_t h, void* buf, tmsize_t n) {
    auto* s = static_cast<Stream*>(h);
    if (n < 0 || s->pos >= s->size) return 0;
    const std::size_t k = std::min<std::size_t>(static_cast<std::size_t>(n), s->size - s->pos);
    std::memcpy(buf, (s->out ? s->out->data() : s->data) + s->pos, k);
    s->pos += k;
    return static_cast<tmsize_t>(k);
}
tmsize_t WriteProc(thandle_t h, void* buf, tmsize_t n) {
    auto* s = static_cast<Stream*>(h);
    if (!s->out || n < 0) return 0;
    const std::size_t end = s->pos + static_cast<std::size_t>(n);
    if (end > s->out->size()) s->out->resize(end);
    std::memcpy(s->out->data() + s->pos, buf, static_cast<std::size_t>(n));
    s->pos = end;
    s->size = s->out->size();
    return n;
}
toff_t SeekProc(thandle_t h, toff_t off, int whence) {
    auto* s = static_cast<Stream*>(h);
    std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? s->pos : s->size;
    const std::uint64_t to = base + off;
    if (to > (std::uint64_t{1} << 40)) return static_cast<toff_t>(-1);
    if (!s->out && to > s->size) return static_cast<toff_t>(-1);
    s->pos = static_cast<std::size_t>(to);
    return to;
}
int CloseProc(thandle_t) { return 0; }
toff_t SizeProc(thandle_t h) { return static_cast<Stream*>(h)->size; }
int MapProc(thandle_t, void**, toff_t*) { return 0; }
void UnmapProc(thandle_t, void*, toff_t) {}
int QuietHandler(TIFF*, void*, const char*, const char*, va_list) { return 1; }

TIFF* Open(Stream& s, const char* mode) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, QuietHandler, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, QuietHandler, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, tmsize_t{1} << 29);
    TIFF* tif = TIFFClientOpenExt("memory", mode, &s, ReadProc, WriteProc, SeekProc, CloseProc,
                                  SizeProc, MapProc, UnmapProc, options);
    TIFFOpenOptionsFree(options);
    return tif;
}

struct Closer {
    TIFF* tif;
    ~Closer() {
        if (tif) TIFFClose(tif);
    }
};

// Where the stored pixels of one stored row show: the position (top-down) of
// its first pixel and the move per stored column, for TIFF orientations 1 to
// 8 of a stored page of w x h. Orientations 5 to 8 swap rows and columns, so
// the picture is h x w.
struct Walk {
    std::int64_t x, y, stepX, stepY;
};

Walk WalkRow(int orientation, std::uint32_t w, std::uint32_t h, std::uint32_t sy) {
    const std::int64_t right = std::int64_t{w} - 1, bottom = std::int64_t{h} - 1;
    switch (orientation) {
        case ORIENTATION_TOPRIGHT:
            return {right, sy, -1, 0};
        case ORIENTATION_BOTRIGHT:
            return {right, bottom - sy, -1, 0};
        case ORIENTATION_BOTLEFT:
            return {0, bottom - sy, 1, 0};
        case ORIENTATION_LEFTTOP:
            return {sy, 0, 0, 1};
        case ORIENTATION_RIGHTTOP:
            return {bottom - sy, 0, 0, 1};
        case ORIENTATION_RIGHTBOT:
            return {bottom - sy, right, 0, -1};
        case ORIENTATION_LEFTBOT:
            return {sy, right, 0, -1};
        default:
            return {0, sy, 1, 0};
    }
}

bool Transposed(int orientation) {
    return orientation >= ORIENTATION_LEFTTOP;
}

// One sample of `bits` (8, 12 or 16) bits from a decoded row, reduced to 8
// bits as (v x 255 + max / 2) / max, the rounding used for 16-bit PNG samples.
inline std::uint8_t Sample8(const std::uint8_t* row, std::size_t index, int bits) {
    if (bits == 8) return row[index];
    if (bits == 16) {
        std::uint16_t v;
        std::memcpy(&v, row + 2 * index, 2);  // libtiff hands samples over in host order
        return static_cast<std::uint8_t>((v * 255u + 32767u) / 65535u);
    }
    const std::size_t bit = index * 12;
    const std::uint8_t* p = row + bit / 8;
    const unsigned v = (bit & 7) ? (p[0] & 15u) << 8 | p[1] : p[0] << 4 | p[1] >> 4;
    return static_cast<std::uint8_t>((v * 255u + 2047u) / 4095u);
}

// The page in stored order (first stored row first) from its strips or tiles,
// either planar configuration. Samples of 1, 2, 4 or 8 bits of one-sample
// pages are kept packed as stored; otherwise every sample becomes one byte
// (12 and 16 bits reduced by Sample8) and a row holds spp bytes per pixel.
// Damaged chunks are tolerated as libtiff's own RGBA reader tolerates them:
// what decoded is kept and the rest stays zero.
bool ReadStored(TIFF* tif, std::uint32_t w, std::uint32_t h, int bits, int spp, bool separate,
                std::vector<std::uint8_t>& out, std::size_t& rowBytes) {
    const bool packed = bits < 8;
    if (packed && spp != 1) return false;
    const int planes = separate ? spp : 1;
    const int chunkSpp = separate ? 1 : spp;
    rowBytes = packed ? (std::size_t{w} * bits + 7) / 8 : std::size_t{w} * spp;
    out.assign(rowBytes * h, 0);
    const bool tiled = TIFFIsTiled(tif) != 0;
    std::uint32_t chunkW = w, chunkH = 0;
    std::uint64_t chunkBytes = 0, chunkRowBytes = 0;
    if (tiled) {
        if (!TIFFGetField(tif, TIFFTAG_TILEWIDTH, &chunkW) ||
            !TIFFGetField(tif, TIFFTAG_TILELENGTH, &chunkH) || chunkW == 0 || chunkH == 0)
            return false;
        // Tiles of packed samples must start on a byte, and a tile far
        // larger than the page is refused before it is allocated.
        if (packed && (std::uint64_t{chunkW} * bits) % 8 != 0) return false;
        if (std::uint64_t{chunkW} * chunkH >
            std::max<std::uint64_t>(std::uint64_t{w} * h * 4, std::uint64_t{1} << 20))
            return false;
        chunkBytes = TIFFTileSize64(tif);
        chunkRowBytes = TIFFTileRowSize64(tif);
    } else {
        // Strips are read a row at a time: libtiff's fax decoder accepts
        // some files row by row that it refuses strip by strip.
        chunkH = 1;
        chunkBytes = chunkRowBytes = TIFFScanlineSize64(tif);
    }
    // Every row of a chunk must hold its pixels.
    const std::uint64_t needRow = (std::uint64_t{chunkW} * chunkSpp * bits + 7) / 8;
    if (chunkRowBytes < needRow || chunkBytes < chunkRowBytes * std::min(chunkH, h) ||
        chunkBytes > (std::uint64_t{1} << 29))
        return false;
    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(chunkBytes));
    for (int plane = 0; plane < planes; ++plane) {
        for (std::uint32_t y0 = 0; y0 < h; y0 += chunkH) {
            const std::uint32_t rows = std::min(chunkH, h - y0);
            for (std::uint32_t x0 = 0; x0 < w; x0 += chunkW) {
                const std::uint32_t cols = std::min(chunkW, w - x0);
                std::fill(chunk.begin(), chunk.end(), std::uint8_t{0});
                // A chunk libtiff reports damaged keeps what was decoded of
                // it, zeros beyond.
                const auto sample = static_cast<std::uint16_t>(plane);
                if (tiled)
                    TIFFReadEncodedTile(tif, TIFFComputeTile(tif, x0, y0, 0, sample), chunk.data(),
                                        static_cast<tmsize_t>(chunkBytes));
                else
                    TIFFReadScanline(tif, chunk.data(), y0, sample);
                for (std::uint32_t r = 0; r < rows; ++r) {
                    const std::uint8_t* src = chunk.data() + r * chunkRowBytes;
                    std::uint8_t* dst = out.data() + (std::size_t{y0} + r) * rowBytes;
                    if (packed) {
                        std::memcpy(dst + std::size_t{x0} * bits / 8, src,
                                    (std::size_t{cols} * bits + 7) / 8);
                    } else if (bits == 8 && !separate) {
                        std::memcpy(dst + std::size_t{x0} * spp, src, std::size_t{cols} * spp);
                    } else {
                        for (std::uint32_t x = 0; x < cols; ++x)
                            for (int s = 0; s < chunkSpp; ++s)
                                dst[(std::size_t{x0} + x) * spp + (separate ? plane : s)] =
                                    Sample8(src, std::size_t{x} * chunkSpp + s, bits);
                    }
                }
            }
        }
    }
    return true;
}

// Bilevel, grey and palette pages as palette images: 1 bit stays 1 bit, 2
// and 4 bits become 4 bits, 8, 12 and 16 bits 8 bits. Grey gets a ramp of
// 2^bits entries (reversed for white-is-zero; 12 and 16 bits are reduced to
// 8 first); a palette page its colour map.
bool ReadIndexedPage(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h, int bits,
                     int photometric, int orientation) {
    std::vector<std::uint8_t> stored;
    std::size_t rowBytes = 0;
    if (!ReadStored(tif, w, h, bits, 1, false, stored, rowBytes)) return false;
    const int storedBits = std::min(bits, 8);
    const WORD bpp = static_cast<WORD>(storedBits == 1 ? 1 : storedBits <= 4 ? 4 : 8);
    const bool turned = Transposed(orientation);
    const std::uint32_t outW = turned ? h : w, outH = turned ? w : h;
    if (!image.Create(outW, outH, bpp, CXIMAGE_FORMAT_TIF)) return false;
    RGBQUAD* pal = image.GetPalette();
    std::memset(pal, 0, 4 * std::size_t{image.GetPaletteSize()});
    const int count = 1 << storedBits;
    if (photometric == PHOTOMETRIC_PALETTE) {
        std::uint16_t *r = nullptr, *g = nullptr, *b = nullptr;
        if (!TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b)) return false;
        // Tables written as 8-bit values are recognised and kept as they are.
        bool eight = true;
        for (int i = 0; i < count; ++i)
            if (r[i] > 255 || g[i] > 255 || b[i] > 255) eight = false;
        for (int i = 0; i < count; ++i) {
            auto cv = [&](std::uint16_t v) {
                return static_cast<BYTE>(eight ? v : (v * 255 + 32767) / 65535);
            };
            pal[i] = RGBQUAD{cv(b[i]), cv(g[i]), cv(r[i]), 0};
        }
    } else {
        for (int i = 0; i < count; ++i) {
            int v = i * 255 / (count - 1);
            if (photometric == PHOTOMETRIC_MINISWHITE) v = 255 - v;
            pal[i] = RGBQUAD{static_cast<BYTE>(v), static_cast<BYTE>(v), static_cast<BYTE>(v), 0};
        }
    }
    const std::size_t used = (std::size_t{w} * storedBits + 7) / 8;
    if (storedBits == bpp &&
        (orientation == ORIENTATION_TOPLEFT || orientation == ORIENTATION_BOTLEFT)) {
        // Rows as stored, only their order to settle.
        for (std::uint32_t sy = 0; sy < h; ++sy) {
            const std::uint32_t dy = orientation == ORIENTATION_TOPLEFT ? h - 1 - sy : sy;
            std::memcpy(image.GetBits(dy), stored.data() + sy * rowBytes, used);
        }
        return true;
    }
    const int mask = (1 << storedBits) - 1;
    for (std::uint32_t sy = 0; sy < h; ++sy) {
        const std::uint8_t* row = stored.data() + sy * rowBytes;
        Walk at = WalkRow(orientation, w, h, sy);
        for (std::uint32_t sx = 0; sx < w; ++sx, at.x += at.stepX, at.y += at.stepY) {
            const std::size_t bit = std::size_t{sx} * storedBits;
            const int index = row[bit / 8] >> (8 - storedBits - bit % 8) & mask;
            image.SetPixelIndex(static_cast<long>(at.x), static_cast<long>(outH - 1 - at.y),
                                static_cast<BYTE>(index));
        }
    }
    return true;
}

// 8-, 12- and 16-bit RGB, or RGB with unassociated alpha, read as stored
// (libtiff's RGBA reader would premultiply unassociated alpha).
bool ReadRgbPage(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h, int bits, int spp,
                 bool separate, int orientation) {
    std::vector<std::uint8_t> stored;
    std::size_t rowBytes = 0;
    if (!ReadStored(tif, w, h, bits, spp, separate, stored, rowBytes)) return false;
    const bool turned = Transposed(orientation);
    const std::uint32_t outW = turned ? h : w, outH = turned ? w : h;
    if (!image.Create(outW, outH, 24, CXIMAGE_FORMAT_TIF, false)) return false;
    if (spp == 4 && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    BYTE* bits0 = image.GetBits();
    const std::size_t stride = image.GetEffWidth();
    for (std::uint32_t sy = 0; sy < h; ++sy) {
        const std::uint8_t* p = stored.data() + sy * rowBytes;
        Walk at = WalkRow(orientation, w, h, sy);
        for (std::uint32_t sx = 0; sx < w; ++sx, at.x += at.stepX, at.y += at.stepY, p += spp) {
            const std::size_t dy = outH - 1 - static_cast<std::size_t>(at.y);
            BYTE* d = bits0 + dy * stride + 3 * static_cast<std::size_t>(at.x);
            d[0] = p[2];
            d[1] = p[1];
            d[2] = p[0];
            if (alpha) alpha[dy * outW + static_cast<std::size_t>(at.x)] = p[3];
        }
    }
    return true;
}

// Everything else through libtiff's RGBA reader, asked for the rows in
// stored order so that all eight orientations are placed here.
bool ReadRgbaPage(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h, int orientation) {
    std::uint16_t extra = 0;
    std::uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &extraTypes);
    char message[1024];
    if (!TIFFRGBAImageOK(tif, message)) return false;
    TIFFRGBAImage reader;
    if (!TIFFRGBAImageBegin(&reader, tif, 0, message)) return false;
    reader.req_orientation = reader.orientation;
    std::vector<std::uint32_t> raster;
    try {
        raster.resize(std::size_t{w} * h);
    } catch (const std::bad_alloc&) {
        TIFFRGBAImageEnd(&reader);
        return false;
    }
    const int got = TIFFRGBAImageGet(&reader, raster.data(), w, h);
    TIFFRGBAImageEnd(&reader);
    if (!got) return false;
    const bool turned = Transposed(orientation);
    const std::uint32_t outW = turned ? h : w, outH = turned ? w : h;
    if (!image.Create(outW, outH, 24, CXIMAGE_FORMAT_TIF, false)) return false;
    if (extra > 0 && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    BYTE* bits0 = image.GetBits();
    const std::size_t stride = image.GetEffWidth();
    const bool associated = extra > 0 && extraTypes && extraTypes[0] == EXTRASAMPLE_ASSOCALPHA;
    for (std::uint32_t sy = 0; sy < h; ++sy) {
        const std::uint32_t* src = raster.data() + std::size_t{sy} * w;
        Walk at = WalkRow(orientation, w, h, sy);
        for (std::uint32_t sx = 0; sx < w; ++sx, at.x += at.stepX, at.y += at.stepY) {
            const std::uint32_t p = src[sx];
            int r = TIFFGetR(p), g = TIFFGetG(p), b = TIFFGetB(p);
            const int a = TIFFGetA(p);
            if (associated && a > 0 && a < 255) {
                r = std::min(255, (r * 255 + a / 2) / a);
                g = std::min(255, (g * 255 + a / 2) / a);
                b = std::min(255, (b * 255 + a / 2) / a);
            }
            const std::size_t dy = outH - 1 - static_cast<std::size_t>(at.y);
            BYTE* d = bits0 + dy * stride + 3 * static_cast<std::size_t>(at.x);
            d[0] = static_cast<BYTE>(b);
            d[1] = static_cast<BYTE>(g);
            d[2] = static_cast<BYTE>(r);
            if (alpha) alpha[dy * outW + static_cast<std::size_t>(at.x)] = static_cast<BYTE>(a);
        }
    }
    return true;
}

}  // namespace

bool DecodeTiff(CxImage& image, const std::uint8_t* data, std::size_t size) {
    if (size < 8) return false;
    Stream s;
    s.data = data;
    s.size = size;
    TIFF* tif = Open(s, "rm");
    if (!tif) return false;
    Closer closer{tif};
    std::uint32_t w = 0, h = 0;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w) || !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h))
        return false;
    if (!image.PixelsAllowed(w, h)) return false;
    std::uint16_t bits = 1, spp = 1, photometric = 0, planar = PLANARCONFIG_CONTIG;
    std::uint16_t format = SAMPLEFORMAT_UINT, compression = COMPRESSION_NONE, extra = 0;
    std::uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &extraTypes);
    const bool hasPhotometric = TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric) != 0;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &orientation);
    if (orientation < ORIENTATION_TOPLEFT || orientation > ORIENTATION_LEFTBOT)
        orientation = ORIENTATION_TOPLEFT;
    const bool jpeg = compression == COMPRESSION_JPEG || compression == COMPRESSION_OJPEG;
    // 12-bit samples only where the coding is lossless and bit-oriented.
    const bool twelveOk = compression == COMPRESSION_NONE || compression == COMPRESSION_LZW ||
                          compression == COMPRESSION_ADOBE_DEFLATE ||
                          compression == COMPRESSION_DEFLATE;
    const bool uintSamples = format == SAMPLEFORMAT_UINT;
    const bool grey =
        photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    const bool indexed = hasPhotometric && uintSamples && spp == 1 &&
                         ((photometric == PHOTOMETRIC_PALETTE &&
                           (bits == 1 || bits == 2 || bits == 4 || bits == 8)) ||
                          (grey && (bits == 1 || bits == 2 || bits == 4 || bits == 8 ||
                                    bits == 16 || (bits == 12 && twelveOk))));
    if (indexed) return ReadIndexedPage(tif, image, w, h, bits, photometric, orientation);
    const bool plainAlpha = spp == 4 && extra == 1 && extraTypes && extraTypes[0] == EXTRASAMPLE_UNASSALPHA;
    const bool rgb = hasPhotometric && photometric == PHOTOMETRIC_RGB && uintSamples && !jpeg &&
                     (spp == 3 || plainAlpha) &&
                     (bits == 8 || bits == 16 || (bits == 12 && twelveOk));
    if (rgb)
        return ReadRgbPage(tif, image, w, h, bits, spp, planar == PLANARCONFIG_SEPARATE,
                           orientation);
    return ReadRgbaPage(tif, image, w, h, orientation);
}

bool EncodeTiff(const CxImage& image, Bytes& out) {
    Stream s;
    s.out = &out;
    TIFF* tif = Open(s, "w");
    if (!tif) return false;
    Closer closer{tif};
    const std::uint32_t w = image.GetWidth(), h = image.GetHeight();
    const WORD bpp = image.GetBpp();
    const bool alpha = image.AlphaIsValid();
    const bool indexed = bpp <= 8 && !alpha;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
    const BITMAPINFOHEADER* hd = image.GetHeader();
    if (hd->biXPelsPerMeter > 0 && hd->biYPelsPerMeter > 0) {
        TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        TIFFSetField(tif, TIFFTAG_XRESOLUTION, hd->biXPelsPerMeter / 100.0);
        TIFFSetField(tif, TIFFTAG_YRESOLUTION, hd->biYPelsPerMeter / 100.0);
    }
    std::vector<std::uint8_t> line;
    if (indexed) {
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bpp);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
        const int count = 1 << bpp;
        std::vector<std::uint16_t> r(count), g(count), b(count);
        const RGBQUAD* pal = image.GetPalette();
        for (int i = 0; i < count; ++i) {
            r[i] = static_cast<std::uint16_t>(pal[i].rgbRed * 257);
            g[i] = static_cast<std::uint16_t>(pal[i].rgbGreen * 257);
            b[i] = static_cast<std::uint16_t>(pal[i].rgbBlue * 257);
        }
        TIFFSetField(tif, TIFFTAG_COLORMAP, r.data(), g.data(), b.data());
        line.resize((std::size_t{w} * bpp + 7) / 8);
        for (std::uint32_t y = 0; y < h; ++y) {
            std::memcpy(line.data(), image.GetBits(h - 1 - y), line.size());
            if (TIFFWriteScanline(tif, line.data(), y, 0) < 0) return false;
        }
    } else {
        const int channels = alpha ? 4 : 3;
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        if (alpha) {
            std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
            TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &kind);
        }
        const BYTE* plane = image.AlphaGetPointer();
        line.resize(std::size_t{w} * channels);
        for (std::uint32_t y = 0; y < h; ++y) {
            const DWORD sy = h - 1 - y;
            for (std::uint32_t x = 0; x < w; ++x) {
                const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(sy));
                std::uint8_t* d = line.data() + std::size_t{x} * channels;
                d[0] = c.rgbRed;
                d[1] = c.rgbGreen;
                d[2] = c.rgbBlue;
                if (alpha) d[3] = plane[std::size_t{sy} * w + x];
            }
            if (TIFFWriteScanline(tif, line.data(), y, 0) < 0) return false;
        }
    }
    if (!TIFFWriteDirectory(tif)) return false;
    TIFFClose(tif);
    closer.tif = nullptr;
    return true;
}

}  // namespace vellum::codec
