// JPEG through libjpeg-turbo. Errors and warnings long-jump back here and
// fail the decode (a corrupt-data warning would otherwise give a grey
// picture); nothing is printed. Grey files become 8-bit grey images, colour
// files 24 bits; CMYK and YCCK (Adobe inverted or not) are converted to RGB.
// With a decode size hint (CxImage::SetDecodeSizeHint) the picture comes out
// of libjpeg's DCT scaling at 1/2, 1/4 or 1/8 of its size.
#include <csetjmp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include "codec/formats.h"

namespace vellum::codec {
namespace {

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

[[noreturn]] void OnError(j_common_ptr cinfo) {
    auto* err = reinterpret_cast<ErrorManager*>(cinfo->err);
    std::longjmp(err->jump, 1);
}

void OnMessage(j_common_ptr cinfo, int level) {
    // Warnings (level -1) mean damaged data: give up on the image.
    if (level < 0) OnError(cinfo);
}

void OnOutput(j_common_ptr) {}

void InstallHandlers(ErrorManager& err) {
    jpeg_std_error(&err.pub);
    err.pub.error_exit = OnError;
    err.pub.emit_message = OnMessage;
    err.pub.output_message = OnOutput;
}

// Everything the long jump may skip lives here, outside the jumping frame.
struct DecodeState {
    jpeg_decompress_struct cinfo{};
    ErrorManager err{};
    std::vector<JSAMPLE> row;
    bool created = false;
    ~DecodeState() {
        if (created) jpeg_destroy_decompress(&cinfo);
    }
};

bool DecodeInto(DecodeState& s, CxImage& image, const std::uint8_t* data, std::size_t size) {
    if (setjmp(s.err.jump)) return false;
    jpeg_create_decompress(&s.cinfo);
    s.created = true;
    jpeg_mem_src(&s.cinfo, data, static_cast<unsigned long>(size));
    if (jpeg_read_header(&s.cinfo, TRUE) != JPEG_HEADER_OK) return false;
    const J_COLOR_SPACE in = s.cinfo.jpeg_color_space;
    const bool grey = in == JCS_GRAYSCALE;
    const bool cmyk = in == JCS_CMYK || in == JCS_YCCK;
    s.cinfo.out_color_space = grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_EXT_BGR;
    if (!image.PixelsAllowed(s.cinfo.image_width, s.cinfo.image_height)) return false;
    // A thumbnail hint: the largest DCT reduction whose output still covers
    // the wanted size (libjpeg rounds the reduced size up).
    const DWORD wantW = image.GetDecodeHintWidth(), wantH = image.GetDecodeHintHeight();
    if (wantW > 0 && wantH > 0) {
        for (unsigned denom : {8u, 4u, 2u}) {
            if ((s.cinfo.image_width + denom - 1) / denom >= wantW &&
                (s.cinfo.image_height + denom - 1) / denom >= wantH) {
                s.cinfo.scale_num = 1;
                s.cinfo.scale_denom = denom;
                break;
            }
        }
    }
    jpeg_start_decompress(&s.cinfo);
    const DWORD w = s.cinfo.output_width, h = s.cinfo.output_height;
    // Every pixel is written below (or the decode fails).
    if (!image.Create(w, h, grey ? 8 : 24, CXIMAGE_FORMAT_JPG, false)) return false;
    if (cmyk) s.row.resize(std::size_t{w} * 4);
    // Adobe writes CMYK inverted; libjpeg reports that through the marker.
    const bool inverted = s.cinfo.saw_Adobe_marker;
    while (s.cinfo.output_scanline < h) {
        BYTE* dst = image.GetBits(h - 1 - s.cinfo.output_scanline);
        JSAMPROW rowPtr = cmyk ? s.row.data() : dst;
        if (jpeg_read_scanlines(&s.cinfo, &rowPtr, 1) != 1) return false;
        if (cmyk) {
            for (DWORD x = 0; x < w; ++x) {
                int c = s.row[4 * x], m = s.row[4 * x + 1], y = s.row[4 * x + 2],
                    k = s.row[4 * x + 3];
                if (!inverted) c = 255 - c, m = 255 - m, y = 255 - y, k = 255 - k;
                dst[3 * x] = static_cast<BYTE>((y * k + 127) / 255);
                dst[3 * x + 1] = static_cast<BYTE>((m * k + 127) / 255);
                dst[3 * x + 2] = static_cast<BYTE>((c * k + 127) / 255);
            }
        }
    }
    jpeg_finish_decompress(&s.cinfo);
    const int units = s.cinfo.density_unit;
    if (units == 1 || units == 2) {
        const double perMeter = units == 1 ? 39.3700787 : 100.0;
        image.GetHeader()->biXPelsPerMeter = static_cast<LONG>(s.cinfo.X_density * perMeter + 0.5);
        image.GetHeader()->biYPelsPerMeter = static_cast<LONG>(s.cinfo.Y_density * perMeter + 0.5);
    }
    return true;
}

struct EncodeState {
    jpeg_compress_struct cinfo{};
    ErrorManager err{};
    unsigned char* buffer = nullptr;
    unsigned long length = 0;
    std::vector<JSAMPLE> row;
    bool created = false;
    ~EncodeState() {
        if (created) jpeg_destroy_compress(&cinfo);
        std::free(buffer);
    }
};

bool EncodeFrom(EncodeState& s, const CxImage& image, int quality) {
    if (setjmp(s.err.jump)) return false;
    jpeg_create_compress(&s.cinfo);
    s.created = true;
    jpeg_mem_dest(&s.cinfo, &s.buffer, &s.length);
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    if (w > JPEG_MAX_DIMENSION || h > JPEG_MAX_DIMENSION) return false;
    const bool grey = image.GetBpp() <= 8 && image.IsGrayScale();
    s.cinfo.image_width = w;
    s.cinfo.image_height = h;
    s.cinfo.input_components = grey ? 1 : 3;
    s.cinfo.in_color_space = grey ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(&s.cinfo);
    jpeg_set_quality(&s.cinfo, quality < 1 ? 1 : quality, TRUE);
    const BITMAPINFOHEADER* hd = image.GetHeader();
    if (hd->biXPelsPerMeter > 0 && hd->biYPelsPerMeter > 0) {
        s.cinfo.density_unit = 2;
        s.cinfo.X_density = static_cast<UINT16>(std::min<LONG>(hd->biXPelsPerMeter / 100 ? (hd->biXPelsPerMeter + 50) / 100 : 1, 65535));
        s.cinfo.Y_density = static_cast<UINT16>(std::min<LONG>(hd->biYPelsPerMeter / 100 ? (hd->biYPelsPerMeter + 50) / 100 : 1, 65535));
    }
    jpeg_start_compress(&s.cinfo, TRUE);
    const bool direct = image.GetBpp() == 24;
    s.row.resize(std::size_t{w} * 3);
    while (s.cinfo.next_scanline < h) {
        const DWORD y = h - 1 - s.cinfo.next_scanline;
        JSAMPROW rowPtr;
        if (direct) {
            rowPtr = const_cast<JSAMPROW>(image.GetBits(y));
        } else if (grey) {
            // Grey means the palette's entries, not the indices.
            for (DWORD x = 0; x < w; ++x)
                s.row[x] = image.GetPixelColor(static_cast<long>(x), static_cast<long>(y)).rgbRed;
            rowPtr = s.row.data();
        } else {
            for (DWORD x = 0; x < w; ++x) {
                const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(y));
                s.row[3 * x] = c.rgbBlue;
                s.row[3 * x + 1] = c.rgbGreen;
                s.row[3 * x + 2] = c.rgbRed;
            }
            rowPtr = s.row.data();
        }
        jpeg_write_scanlines(&s.cinfo, &rowPtr, 1);
    }
    jpeg_finish_compress(&s.cinfo);
    return true;
}

}  // namespace

bool DecodeJpeg(CxImage& image, const std::uint8_t* data, std::size_t size) {
    if (size < 4) return false;
    DecodeState state;
    InstallHandlers(state.err);
    state.cinfo.err = &state.err.pub;
    return DecodeInto(state, image, data, size);
}

bool EncodeJpeg(const CxImage& image, int quality, Bytes& out) {
    EncodeState state;
    InstallHandlers(state.err);
    state.cinfo.err = &state.err.pub;
    if (!EncodeFrom(state, image, quality)) return false;
    out.assign(state.buffer, state.buffer + state.length);
    return true;
}

}  // namespace vellum::codec
