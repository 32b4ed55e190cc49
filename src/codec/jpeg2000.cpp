// JPEG 2000 through OpenJPEG, over memory, with silent message handlers (an
// error fails the decode). Either type accepts both a JP2 file and a bare
// code stream: the first bytes decide. One component gives 8-bit grey, two
// grey and alpha, three or more RGB (a fourth is alpha).
//  - The picture has the first component's size (its sample grid: a
//    component sub-sampled 2:1 over a 127-wide image area is 64 wide). Every
//    other component is sampled where it covers the same point of the
//    reference grid, image-area offsets and sub-sampling included, so
//    sub-sampled components are replicated.
//  - Samples are made unsigned by adding 2^(precision-1) when signed, then
//    scaled to 0..255 as (v x 255 + max / 2) / max with max = 2^precision - 1.
//  - sYCC (said by the JP2 colour box, or taken for a bare code stream of
//    three components whose chroma is sub-sampled) becomes sRGB with
//    R = Y + 1.402 Cr, G = Y - 0.344136 Cb - 0.714136 Cr, B = Y + 1.772 Cb,
//    in double precision on the samples scaled to 0..255 (chroma centred on
//    2^(precision-1)), each result rounded half up and clamped to 0..255.
//  - ICC profiles and other colour specifications are ignored: the samples
//    are taken as sRGB (or grey).
// No image above kCodecMaxPixels is decoded. Encoding is lossless
// (reversible 5/3 wavelet): grey palette images as one component, others as
// RGB, with an alpha plane as a fourth component; type 11 writes a JP2 file,
// type 12 a code stream.
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {
namespace {

struct Stream {
    const std::uint8_t* data = nullptr;
    Bytes* out = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
};

OPJ_SIZE_T ReadFn(void* buffer, OPJ_SIZE_T n, void* user) {
    auto* s = static_cast<Stream*>(user);
    if (s->pos >= s->size) return static_cast<OPJ_SIZE_T>(-1);
    const std::size_t k = std::min<std::size_t>(n, s->size - s->pos);
    std::memcpy(buffer, s->data + s->pos, k);
    s->pos += k;
    return k;
}
OPJ_SIZE_T WriteFn(void* buffer, OPJ_SIZE_T n, void* user) {
    auto* s = static_cast<Stream*>(user);
    if (s->pos + n > s->out->size()) s->out->resize(s->pos + n);
    std::memcpy(s->out->data() + s->pos, buffer, n);
    s->pos += n;
    return n;
}
OPJ_OFF_T SkipFn(OPJ_OFF_T n, void* user) {
    auto* s = static_cast<Stream*>(user);
    const std::size_t limit = s->out ? (std::size_t{1} << 40) : s->size;
    if (n < 0) {
        if (static_cast<std::size_t>(-n) > s->pos) return -1;
    } else if (static_cast<std::uint64_t>(n) > limit - s->pos) {
        return -1;
    }
    s->pos = static_cast<std::size_t>(static_cast<OPJ_OFF_T>(s->pos) + n);
    if (s->out && s->pos > s->out->size()) s->out->resize(s->pos);
    return n;
}
OPJ_BOOL SeekFn(OPJ_OFF_T to, void* user) {
    auto* s = static_cast<Stream*>(user);
    const std::size_t limit = s->out ? (std::size_t{1} << 40) : s->size;
    if (to < 0 || static_cast<std::uint64_t>(to) > limit) return OPJ_FALSE;
    s->pos = static_cast<std::size_t>(to);
    if (s->out && s->pos > s->out->size()) s->out->resize(s->pos);
    return OPJ_TRUE;
}
void Quiet(const char*, void*) {}

struct Resources {
    opj_stream_t* stream = nullptr;
    opj_codec_t* codec = nullptr;
    opj_image_t* image = nullptr;
    ~Resources() {
        if (stream) opj_stream_destroy(stream);
        if (codec) opj_destroy_codec(codec);
        if (image) opj_image_destroy(image);
    }
};

opj_stream_t* MakeStream(Stream& s, bool input) {
    opj_stream_t* stream = opj_stream_create(1 << 16, input ? OPJ_TRUE : OPJ_FALSE);
    if (!stream) return nullptr;
    opj_stream_set_user_data(stream, &s, nullptr);
    if (input) {
        opj_stream_set_user_data_length(stream, s.size);
        opj_stream_set_read_function(stream, ReadFn);
    } else {
        opj_stream_set_write_function(stream, WriteFn);
    }
    opj_stream_set_skip_function(stream, SkipFn);
    opj_stream_set_seek_function(stream, SeekFn);
    return stream;
}

void Silence(opj_codec_t* codec) {
    opj_set_info_handler(codec, Quiet, nullptr);
    opj_set_warning_handler(codec, Quiet, nullptr);
    opj_set_error_handler(codec, Quiet, nullptr);
}

// The sample of component c that covers pixel (x, y) of the picture (the
// first component's grid): both are placed on the reference grid through
// their origin and sub-sampling, so chroma sub-sampled 2:1 is replicated
// over two pixels, and an image-area offset moves every component alike.
// Made unsigned by adding 2^(precision - 1) when signed, clamped to
// 0..2^precision - 1.
class Plane {
  public:
    // Works out, once, which sample column covers each picture column.
    Plane(const opj_image_comp_t& c, const opj_image_comp_t& first)
        : c_(&c), first_(&first), max_((std::int64_t{1} << Precision(c)) - 1), column_(first.w) {
        for (std::uint32_t x = 0; x < first.w; ++x)
            column_[x] = static_cast<std::size_t>(Cover(first.x0, first.dx, x, c.x0, c.dx, c.w));
    }
    // Moves to picture row y.
    void row(std::uint32_t y) {
        const std::int64_t cy = Cover(first_->y0, first_->dy, y, c_->y0, c_->dy, c_->h);
        row_ = c_->data + static_cast<std::size_t>(cy) * c_->w;
    }
    // Sample of picture column x of the current row.
    std::int64_t at(std::uint32_t x) const {
        std::int64_t v = row_[column_[x]];
        if (c_->sgnd) v += (max_ + 1) / 2;
        return std::clamp<std::int64_t>(v, 0, max_);
    }
    // The same scaled to 0..255 as (v x 255 + max / 2) / max.
    BYTE at8(std::uint32_t x) const { return static_cast<BYTE>((at(x) * 255 + max_ / 2) / max_); }
    // The same on a 0..255 scale, unrounded; chroma centred on 2^(p-1).
    double unit(std::uint32_t x, bool chroma) const {
        const std::int64_t v = at(x) - (chroma ? (max_ + 1) / 2 : 0);
        return static_cast<double>(v) * 255.0 / static_cast<double>(max_);
    }

  private:
    static int Precision(const opj_image_comp_t& c) {
        return static_cast<int>(std::clamp<OPJ_UINT32>(c.prec, 1, 31));
    }
    // Index, in a component of origin o, step d and n samples, of the sample
    // covering the reference-grid point of index i of the first component
    // (origin o0, step d0).
    static std::int64_t Cover(OPJ_UINT32 o0, OPJ_UINT32 d0, std::uint32_t i, OPJ_UINT32 o,
                              OPJ_UINT32 d, OPJ_UINT32 n) {
        const std::int64_t g = (std::int64_t{o0} + i) * std::max<OPJ_UINT32>(d0, 1);
        return std::clamp<std::int64_t>(g / std::max<OPJ_UINT32>(d, 1) - o, 0,
                                        std::int64_t{n} - 1);
    }

    const opj_image_comp_t* c_;
    const opj_image_comp_t* first_;
    std::int64_t max_;
    std::vector<std::size_t> column_;
    const OPJ_INT32* row_ = nullptr;
};

// sYCC to sRGB (IEC 61966-2-1 amendment 1), in double on the 0..255 scale
// of the samples, each result rounded half up and clamped to 0..255.
void SyccToRgb(double y, double cb, double cr, BYTE rgb[3]) {
    const double v[3] = {y + 1.402 * cr, y - 0.344136 * cb - 0.714136 * cr, y + 1.772 * cb};
    for (int k = 0; k < 3; ++k)
        rgb[k] = static_cast<BYTE>(std::clamp(std::floor(v[k] + 0.5), 0.0, 255.0));
}

// OpenJPEG keeps a coding record of about a kilobyte for every component of
// every tile, and sets them all up while reading the main header: a header of
// a few dozen bytes can ask for gigabytes (a 1 x 8193 picture of 1 x 1 tiles
// with 257 components). The image and tile sizes are read from the code
// stream's SIZ segment first, and more than 2^18 tile components (about
// 300 MB of records) are refused. A stream without a recognisable SIZ is left
// to the library, which refuses it.
bool TileRecordsAllowed(const std::uint8_t* data, std::size_t size) {
    static constexpr std::uint8_t kSocSiz[] = {0xFF, 0x4F, 0xFF, 0x51};
    const std::uint8_t* at = std::search(data, data + size, kSocSiz, kSocSiz + 4);
    if (at == data + size) return true;
    ByteCursor c(data, size);
    c.seek(static_cast<std::size_t>(at - data) + 4);
    c.skip(4);  // Lsiz, Rsiz
    const std::uint64_t xsiz = c.u32be(), ysiz = c.u32be();
    c.skip(8);  // XOsiz, YOsiz
    const std::uint64_t xtsiz = c.u32be(), ytsiz = c.u32be();
    const std::uint64_t xtosiz = c.u32be(), ytosiz = c.u32be();
    const std::uint64_t csiz = c.u16be();
    if (!c.ok() || xtsiz == 0 || ytsiz == 0 || xsiz <= xtosiz || ysiz <= ytosiz) return true;
    const std::uint64_t across = (xsiz - xtosiz + xtsiz - 1) / xtsiz;
    const std::uint64_t down = (ysiz - ytosiz + ytsiz - 1) / ytsiz;
    constexpr std::uint64_t kMaxTileComponents = std::uint64_t{1} << 18;
    return across <= kMaxTileComponents && down <= kMaxTileComponents &&
           across * down * std::max<std::uint64_t>(csiz, 1) <= kMaxTileComponents;
}

}  // namespace

bool DecodeJpeg2000(CxImage& image, const std::uint8_t* data, std::size_t size, bool) {
    if (size < 12) return false;
    if (!TileRecordsAllowed(data, size)) return false;
    const bool codestream = data[0] == 0xFF && data[1] == 0x4F && data[2] == 0xFF && data[3] == 0x51;
    Stream s;
    s.data = data;
    s.size = size;
    Resources r;
    r.codec = opj_create_decompress(codestream ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    if (!r.codec) return false;
    Silence(r.codec);
    opj_dparameters_t params;
    opj_set_default_decoder_parameters(&params);
    if (!opj_setup_decoder(r.codec, &params)) return false;
    r.stream = MakeStream(s, true);
    if (!r.stream) return false;
    if (!opj_read_header(r.stream, r.codec, &r.image) || !r.image) return false;
    if (r.image->numcomps < 1 || !r.image->comps) return false;
    {
        const std::int64_t gw = std::int64_t{r.image->x1} - r.image->x0;
        const std::int64_t gh = std::int64_t{r.image->y1} - r.image->y0;
        if (!image.PixelsAllowed(gw, gh)) return false;
    }
    if (!opj_decode(r.codec, r.stream, r.image) || !opj_end_decompress(r.codec, r.stream)) return false;
    const opj_image_t* img = r.image;
    const std::uint32_t n = img->numcomps;
    for (std::uint32_t i = 0; i < n && i < 4; ++i)
        if (!img->comps[i].data || img->comps[i].w == 0 || img->comps[i].h == 0) return false;
    // The picture has the first component's size.
    const opj_image_comp_t& first = img->comps[0];
    const std::int64_t w = first.w, h = first.h;
    if (!image.PixelsAllowed(w, h)) return false;
    const bool grey = n < 3;
    const bool hasAlpha = n == 2 || n >= 4;
    if (!image.Create(static_cast<DWORD>(w), static_cast<DWORD>(h), grey ? 8 : 24,
                      codestream ? CXIMAGE_FORMAT_JPC : CXIMAGE_FORMAT_JP2))
        return false;
    if (hasAlpha && !image.AlphaCreate()) return false;
    BYTE* alpha = image.AlphaGetPointer();
    // Three components with sub-sampled chroma and no colour space said (a
    // bare code stream) are taken for sYCC: RGB is not sub-sampled.
    const bool unsaid =
        img->color_space == OPJ_CLRSPC_UNSPECIFIED || img->color_space == OPJ_CLRSPC_UNKNOWN;
    const bool subsampled = n == 3 && first.dx == 1 && first.dy == 1 &&
                            (img->comps[1].dx > 1 || img->comps[1].dy > 1 || img->comps[2].dx > 1 ||
                             img->comps[2].dy > 1);
    const bool sycc = !grey && (img->color_space == OPJ_CLRSPC_SYCC || (unsaid && subsampled));
    Plane p0(first, first);
    Plane p1(img->comps[n > 1 ? 1 : 0], first);
    Plane p2(img->comps[n > 2 ? 2 : 0], first);
    Plane pa(img->comps[n == 2 ? 1 : n >= 4 ? 3 : 0], first);
    for (std::uint32_t y = 0; y < h; ++y) {
        for (Plane* p : {&p0, &p1, &p2, &pa}) p->row(y);
        const DWORD dy = static_cast<DWORD>(h - 1 - y);
        BYTE* row = image.GetBits(dy);
        for (std::uint32_t x = 0; x < w; ++x) {
            if (grey) {
                row[x] = p0.at8(x);
            } else if (sycc) {
                BYTE rgb[3];
                SyccToRgb(p0.unit(x, false), p1.unit(x, true), p2.unit(x, true), rgb);
                row[3 * x] = rgb[2];
                row[3 * x + 1] = rgb[1];
                row[3 * x + 2] = rgb[0];
            } else {
                row[3 * x] = p2.at8(x);
                row[3 * x + 1] = p1.at8(x);
                row[3 * x + 2] = p0.at8(x);
            }
            if (alpha) alpha[std::size_t{dy} * w + x] = pa.at8(x);
        }
    }
    return true;
}

bool EncodeJpeg2000(const CxImage& image, bool codestream, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    const bool grey = image.GetBpp() <= 8 && image.IsGrayScale();
    const bool alpha = image.AlphaIsValid();
    const int n = (grey ? 1 : 3) + (alpha ? 1 : 0);
    opj_image_cmptparm_t parms[4];
    std::memset(parms, 0, sizeof parms);
    for (int i = 0; i < n; ++i) {
        parms[i].dx = parms[i].dy = 1;
        parms[i].w = w;
        parms[i].h = h;
        parms[i].prec = 8;
        parms[i].sgnd = 0;
    }
    Resources r;
    r.image = opj_image_create(static_cast<OPJ_UINT32>(n), parms, grey ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
    if (!r.image) return false;
    r.image->x0 = r.image->y0 = 0;
    r.image->x1 = w;
    r.image->y1 = h;
    if (alpha) r.image->comps[n - 1].alpha = 1;
    const BYTE* plane = image.AlphaGetPointer();
    for (DWORD y = 0; y < h; ++y) {
        const DWORD sy = h - 1 - y;
        for (DWORD x = 0; x < w; ++x) {
            const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(sy));
            const std::size_t i = std::size_t{y} * w + x;
            if (grey) {
                r.image->comps[0].data[i] = c.rgbRed;
            } else {
                r.image->comps[0].data[i] = c.rgbRed;
                r.image->comps[1].data[i] = c.rgbGreen;
                r.image->comps[2].data[i] = c.rgbBlue;
            }
            if (alpha) r.image->comps[n - 1].data[i] = plane[std::size_t{sy} * w + x];
        }
    }
    opj_cparameters_t params;
    opj_set_default_encoder_parameters(&params);
    params.tcp_numlayers = 1;
    params.tcp_rates[0] = 0;
    params.cp_disto_alloc = 1;
    params.tcp_mct = grey ? 0 : 1;
    // Resolution levels must fit the smallest side.
    int levels = 6;
    while (levels > 1 && ((w >> (levels - 1)) < 1 || (h >> (levels - 1)) < 1)) --levels;
    params.numresolution = levels;
    r.codec = opj_create_compress(codestream ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    if (!r.codec) return false;
    Silence(r.codec);
    if (!opj_setup_encoder(r.codec, &params, r.image)) return false;
    Stream s;
    s.out = &out;
    r.stream = MakeStream(s, false);
    if (!r.stream) return false;
    if (!opj_start_compress(r.codec, r.image, r.stream) || !opj_encode(r.codec, r.stream) ||
        !opj_end_compress(r.codec, r.stream))
        return false;
    return true;
}

}  // namespace vellum::codec
