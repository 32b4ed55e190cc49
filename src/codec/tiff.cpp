// TIFF through libtiff over memory, with per-handle error and warning
// handlers that print nothing (an error fails the decode). The first page is
// read. Bilevel, grey and palette pages of 1, 4 or 8 bits in strips stay
// palette images (grey and bilevel with a grey table, white-is-zero
// inverted); 8-bit RGB and RGB with unassociated alpha in strips are read
// as stored; everything else (RGB, RGBA, CMYK, YCbCr, tiles, 16-bit samples,
// JPEG, LZW, Deflate, PackBits...) goes through libtiff's RGBA reader into
// 24 bits plus an alpha plane when the page has extra samples. Encoding
// writes palette images as palette TIFF and 24-bit images as RGB (RGBA with
// an alpha plane), LZW compressed.
#include <tiffio.h>

#include <algorithm>
#include <cstring>

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

bool ReadPalettePage(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h, int bits,
                     int photometric) {
    const WORD bpp = static_cast<WORD>(bits == 1 ? 1 : bits == 4 ? 4 : 8);
    if (!image.Create(w, h, bpp, CXIMAGE_FORMAT_TIF)) return false;
    RGBQUAD* pal = image.GetPalette();
    const int count = 1 << bits;
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
    const tmsize_t lineBytes = TIFFScanlineSize(tif);
    const std::size_t need = (std::size_t{w} * bits + 7) / 8;
    if (lineBytes <= 0 || static_cast<std::size_t>(lineBytes) < need) return false;
    std::vector<std::uint8_t> line(static_cast<std::size_t>(lineBytes));
    for (std::uint32_t y = 0; y < h; ++y) {
        if (TIFFReadScanline(tif, line.data(), y, 0) < 0) return false;
        std::memcpy(image.GetBits(h - 1 - y), line.data(), need);
    }
    return true;
}

// 8-bit RGB or RGBA in contiguous strips, read as stored (libtiff's RGBA
// reader would premultiply unassociated alpha).
bool ReadRgbStrips(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h, int spp,
                   bool unassociated) {
    const tmsize_t lineBytes = TIFFScanlineSize(tif);
    if (lineBytes <= 0 || static_cast<std::uint64_t>(lineBytes) < std::uint64_t{w} * spp) return false;
    if (!image.Create(w, h, 24, CXIMAGE_FORMAT_TIF)) return false;
    if (unassociated && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    std::vector<std::uint8_t> line(static_cast<std::size_t>(lineBytes));
    for (std::uint32_t y = 0; y < h; ++y) {
        if (TIFFReadScanline(tif, line.data(), y, 0) < 0) return false;
        const DWORD dy = h - 1 - y;
        BYTE* row = image.GetBits(dy);
        for (std::uint32_t x = 0; x < w; ++x) {
            const std::uint8_t* p = line.data() + std::size_t{x} * spp;
            row[3 * x] = p[2];
            row[3 * x + 1] = p[1];
            row[3 * x + 2] = p[0];
            if (alpha) alpha[std::size_t{dy} * w + x] = p[3];
        }
    }
    return true;
}

bool ReadRgbaPage(TIFF* tif, CxImage& image, std::uint32_t w, std::uint32_t h) {
    std::uint16_t extra = 0;
    std::uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &extraTypes);
    char message[1024];
    if (!TIFFRGBAImageOK(tif, message)) return false;
    std::vector<std::uint32_t> raster(std::size_t{w} * h);
    // Bottom-left origin: row 0 of the raster is the bottom row.
    if (!TIFFReadRGBAImageOriented(tif, w, h, raster.data(), ORIENTATION_BOTLEFT, 0)) return false;
    if (!image.Create(w, h, 24, CXIMAGE_FORMAT_TIF)) return false;
    if (extra > 0 && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    const bool associated = extra > 0 && extraTypes && extraTypes[0] == EXTRASAMPLE_ASSOCALPHA;
    for (std::uint32_t y = 0; y < h; ++y) {
        BYTE* dst = image.GetBits(y);
        const std::uint32_t* src = raster.data() + std::size_t{y} * w;
        for (std::uint32_t x = 0; x < w; ++x) {
            const std::uint32_t p = src[x];
            int r = TIFFGetR(p), g = TIFFGetG(p), b = TIFFGetB(p);
            const int a = TIFFGetA(p);
            if (associated && a > 0 && a < 255) {
                r = std::min(255, (r * 255 + a / 2) / a);
                g = std::min(255, (g * 255 + a / 2) / a);
                b = std::min(255, (b * 255 + a / 2) / a);
            }
            dst[3 * x] = static_cast<BYTE>(b);
            dst[3 * x + 1] = static_cast<BYTE>(g);
            dst[3 * x + 2] = static_cast<BYTE>(r);
            if (alpha) alpha[std::size_t{y} * w + x] = static_cast<BYTE>(a);
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
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    const bool hasPhotometric = TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric) != 0;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &orientation);
    const bool indexed = hasPhotometric && spp == 1 && (bits == 1 || bits == 4 || bits == 8) &&
                         !TIFFIsTiled(tif) && orientation == ORIENTATION_TOPLEFT &&
                         (photometric == PHOTOMETRIC_PALETTE ||
                          photometric == PHOTOMETRIC_MINISBLACK ||
                          photometric == PHOTOMETRIC_MINISWHITE);
    if (indexed && ReadPalettePage(tif, image, w, h, bits, photometric)) return true;
    std::uint16_t compression = COMPRESSION_NONE, extra = 0;
    std::uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &extraTypes);
    const bool plainAlpha = spp == 4 && extra == 1 && extraTypes && extraTypes[0] == EXTRASAMPLE_UNASSALPHA;
    const bool plainRgb = hasPhotometric && photometric == PHOTOMETRIC_RGB && bits == 8 &&
                          (spp == 3 || plainAlpha) && planar == PLANARCONFIG_CONTIG &&
                          !TIFFIsTiled(tif) && orientation == ORIENTATION_TOPLEFT &&
                          compression != COMPRESSION_JPEG && compression != COMPRESSION_OJPEG;
    if (plainRgb && ReadRgbStrips(tif, image, w, h, spp, plainAlpha)) return true;
    return ReadRgbaPage(tif, image, w, h);
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
