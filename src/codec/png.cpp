// PNG through libpng, reading from and writing to memory. libpng's errors
// long-jump back here and its warnings are dropped; nothing is printed.
//
// Decoding: palette images with 1, 2, 4 or 8 bits stay palette images (2-bit
// ones widened to 4 bits); grey images of 8 bits or fewer become 8-bit grey
// (values scaled to 0..255); 16-bit samples are reduced to 8 by rounding,
// (v * 255 + 32767) / 65535; RGB becomes 24 bits. Transparency: a tRNS that
// makes exactly one palette entry fully transparent and leaves the others
// opaque becomes the transparent index, any other palette tRNS an alpha
// plane; grey or colour tRNS and alpha channels become an alpha plane.
// Interlaced files are read whole. Gamma and colour chunks are ignored.
#include <png.h>

#include <cstring>

#include "codec/formats.h"

namespace vellum::codec {
namespace {

struct Source {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t pos;
};

void ReadFn(png_structp png, png_bytep out, png_size_t length) {
    auto* s = static_cast<Source*>(png_get_io_ptr(png));
    if (length > s->size - s->pos) png_error(png, "short");
    std::memcpy(out, s->data + s->pos, length);
    s->pos += length;
}

void WriteFn(png_structp png, png_bytep data, png_size_t length) {
    auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
    out->insert(out->end(), data, data + length);
}
void FlushFn(png_structp) {}

[[noreturn]] void ErrorFn(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void WarningFn(png_structp, png_const_charp) {}

struct ReadState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<png_bytep> rows;
    std::vector<png_byte> pixels;
    ~ReadState() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

BYTE Round16(const png_byte* p) { return static_cast<BYTE>(((p[0] << 8 | p[1]) * 255 + 32767) / 65535); }

bool DecodeInto(ReadState& s, CxImage& image, Source& src) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_set_read_fn(s.png, &src, ReadFn);
    png_set_user_limits(s.png, 0x7FFFFFFF, 0x7FFFFFFF);
    png_read_info(s.png, s.info);
    png_uint_32 w = 0, h = 0;
    int depth = 0, colorType = 0, interlace = 0;
    png_get_IHDR(s.png, s.info, &w, &h, &depth, &colorType, &interlace, nullptr, nullptr);
    if (!image.PixelsAllowed(w, h)) return false;
    const bool palette = colorType == PNG_COLOR_TYPE_PALETTE;
    if (!palette && depth < 8) png_set_expand_gray_1_2_4_to_8(s.png);
    if (palette && depth == 2) png_set_packing(s.png);  // to one byte per pixel
    png_set_interlace_handling(s.png);
    png_read_update_info(s.png, s.info);
    const std::size_t rowBytes = png_get_rowbytes(s.png, s.info);
    const std::uint64_t total = std::uint64_t{rowBytes} * h;
    if (rowBytes == 0 || total > (std::uint64_t{1} << 33)) return false;
    s.pixels.resize(static_cast<std::size_t>(total));
    s.rows.resize(h);
    for (png_uint_32 y = 0; y < h; ++y) s.rows[y] = s.pixels.data() + std::size_t{y} * rowBytes;
    png_read_image(s.png, s.rows.data());
    png_read_end(s.png, nullptr);

    png_bytep trans = nullptr;
    int transCount = 0;
    png_color_16p transColor = nullptr;
    const bool hasTrns = png_get_tRNS(s.png, s.info, &trans, &transCount, &transColor) != 0;
    const int channels = png_get_channels(s.png, s.info);
    const int bitDepth = png_get_bit_depth(s.png, s.info);
    const int bytesPerSample = bitDepth == 16 ? 2 : 1;

    if (palette) {
        const WORD bpp = static_cast<WORD>(depth == 1 ? 1 : depth <= 4 ? 4 : 8);
        if (!image.Create(w, h, bpp, CXIMAGE_FORMAT_PNG)) return false;
        png_colorp pal = nullptr;
        int count = 0;
        if (!png_get_PLTE(s.png, s.info, &pal, &count)) return false;
        RGBQUAD* table = image.GetPalette();
        std::memset(table, 0, 4 * image.GetPaletteSize());
        for (int i = 0; i < count && i < static_cast<int>(image.GetPaletteSize()); ++i)
            table[i] = RGBQUAD{pal[i].blue, pal[i].green, pal[i].red, 0};
        for (png_uint_32 y = 0; y < h; ++y) {
            const png_byte* row = s.rows[y];
            const long dy = static_cast<long>(h - 1 - y);
            for (png_uint_32 x = 0; x < w; ++x) {
                BYTE index;
                if (depth == 1) index = (row[x >> 3] >> (7 - (x & 7))) & 1;
                else if (depth == 4) index = (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4;
                else index = row[x];
                image.SetPixelIndex(static_cast<long>(x), dy, index);
            }
        }
        if (hasTrns && transCount > 0) {
            int zero = -1, partial = 0;
            for (int i = 0; i < transCount; ++i) {
                if (trans[i] == 0 && zero < 0) zero = i;
                else if (trans[i] != 255) ++partial;
            }
            if (zero >= 0 && partial == 0) {
                image.SetTransIndex(zero);
            } else if (image.AlphaCreate()) {
                BYTE* alpha = image.AlphaGetPointer();
                for (png_uint_32 y = 0; y < h; ++y)
                    for (png_uint_32 x = 0; x < w; ++x) {
                        const BYTE i = image.GetPixelIndex(static_cast<long>(x), static_cast<long>(y));
                        alpha[std::size_t{y} * w + x] = i < transCount ? trans[i] : 255;
                    }
            }
        }
        return true;
    }

    const bool grey = colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA;
    const bool hasAlpha = (colorType & PNG_COLOR_MASK_ALPHA) != 0;
    if (!image.Create(w, h, grey ? 8 : 24, CXIMAGE_FORMAT_PNG)) return false;
    const bool keyed = hasTrns && transColor && !hasAlpha;
    if ((hasAlpha || keyed) && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    // The key colour compares raw samples (expanded grey keys are scaled like the samples).
    int keyGrey = -1;
    if (keyed && grey) {
        keyGrey = transColor->gray;
        if (depth < 8) keyGrey = keyGrey * 255 / ((1 << depth) - 1);
    }
    for (png_uint_32 y = 0; y < h; ++y) {
        const png_byte* row = s.rows[y];
        const DWORD dy = h - 1 - y;
        BYTE* dst = image.GetBits(dy);
        BYTE* a = alpha ? alpha + std::size_t{dy} * w : nullptr;
        for (png_uint_32 x = 0; x < w; ++x) {
            const png_byte* p = row + std::size_t{x} * channels * bytesPerSample;
            auto sample = [&](int c) {
                return bytesPerSample == 2 ? Round16(p + 2 * c) : p[c];
            };
            auto raw = [&](int c) {
                return bytesPerSample == 2 ? (p[2 * c] << 8 | p[2 * c + 1]) : p[c];
            };
            if (grey) {
                dst[x] = sample(0);
                if (hasAlpha) a[x] = sample(1);
                else if (keyed) a[x] = raw(0) == keyGrey ? 0 : 255;
            } else {
                dst[3 * x] = sample(2);
                dst[3 * x + 1] = sample(1);
                dst[3 * x + 2] = sample(0);
                if (hasAlpha) a[x] = sample(3);
                else if (keyed)
                    a[x] = (raw(0) == transColor->red && raw(1) == transColor->green &&
                            raw(2) == transColor->blue) ? 0 : 255;
            }
        }
    }
    return true;
}

struct WriteState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<png_byte> row;
    ~WriteState() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

bool EncodeFrom(WriteState& s, const CxImage& image, Bytes& out) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_set_write_fn(s.png, &out, WriteFn, FlushFn);
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    const WORD bpp = image.GetBpp();
    const bool alpha = image.AlphaIsValid();
    const BYTE* plane = image.AlphaGetPointer();
    int colorType;
    int depth = 8;
    if (bpp <= 8 && !alpha) {
        colorType = PNG_COLOR_TYPE_PALETTE;
        depth = bpp;
    } else {
        colorType = alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
    }
    png_set_IHDR(s.png, s.info, w, h, depth, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colorType == PNG_COLOR_TYPE_PALETTE) {
        png_color pal[256];
        const RGBQUAD* table = image.GetPalette();
        const int count = static_cast<int>(image.GetPaletteSize());
        for (int i = 0; i < count; ++i) pal[i] = png_color{table[i].rgbRed, table[i].rgbGreen, table[i].rgbBlue};
        png_set_PLTE(s.png, s.info, pal, count);
        const long t = image.GetTransIndex();
        if (t >= 0 && t < count) {
            png_byte trans[256];
            std::memset(trans, 255, sizeof trans);
            trans[t] = 0;
            png_set_tRNS(s.png, s.info, trans, static_cast<int>(t) + 1, nullptr);
        }
    }
    const BITMAPINFOHEADER* hd = image.GetHeader();
    if (hd->biXPelsPerMeter > 0 && hd->biYPelsPerMeter > 0)
        png_set_pHYs(s.png, s.info, hd->biXPelsPerMeter, hd->biYPelsPerMeter, PNG_RESOLUTION_METER);
    png_set_compression_level(s.png, 6);
    png_write_info(s.png, s.info);
    const int channels = alpha ? 4 : 3;
    s.row.resize(std::size_t{w} * channels + 4);
    for (DWORD y = 0; y < h; ++y) {
        const DWORD sy = h - 1 - y;
        png_bytep rowPtr;
        if (colorType == PNG_COLOR_TYPE_PALETTE) {
            rowPtr = const_cast<png_bytep>(image.GetBits(sy));
        } else {
            for (DWORD x = 0; x < w; ++x) {
                const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(sy));
                png_byte* d = s.row.data() + std::size_t{x} * channels;
                d[0] = c.rgbRed;
                d[1] = c.rgbGreen;
                d[2] = c.rgbBlue;
                if (alpha) d[3] = plane[std::size_t{sy} * w + x];
            }
            rowPtr = s.row.data();
        }
        png_write_row(s.png, rowPtr);
    }
    png_write_end(s.png, nullptr);
    return true;
}

}  // namespace

bool DecodePng(CxImage& image, const std::uint8_t* data, std::size_t size) {
    if (size < 8 || png_sig_cmp(data, 0, 8) != 0) return false;
    ReadState s;
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, ErrorFn, WarningFn);
    if (!s.png) return false;
    s.info = png_create_info_struct(s.png);
    if (!s.info) return false;
    Source src{data, size, 0};
    return DecodeInto(s, image, src);
}

bool EncodePng(const CxImage& image, Bytes& out) {
    WriteState s;
    s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ErrorFn, WarningFn);
    if (!s.png) return false;
    s.info = png_create_info_struct(s.png);
    if (!s.info) return false;
    return EncodeFrom(s, image, out);
}

}  // namespace vellum::codec
