// JPEG 2000 pictures written losslessly by OpenJPEG with sub-sampled
// components and image-area offsets: each component must be read where it
// covers the picture's pixel, and sYCC must become sRGB by the documented
// equations.
#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "codec/ximage.h"
#include "platform/temp_dir.h"

namespace {

struct Component {
    OPJ_UINT32 dx = 1, dy = 1;
};

std::uint32_t CeilDiv(std::uint32_t a, std::uint32_t b) {
    return (a + b - 1) / b;
}

// Sample of a component at (i, j) of its own grid (absolute indices, origin
// included), any value that makes a wrong pick show.
int Value(int component, std::uint32_t i, std::uint32_t j) {
    return static_cast<int>((i * 29 + j * 53 + static_cast<std::uint32_t>(component) * 71 + i * j) %
                            256);
}

// Writes an 8-bit image of the given components over the image area
// [x0, x1) x [y0, y1) and returns the file's bytes.
std::vector<BYTE> Encode(const std::vector<Component>& comps, std::uint32_t x0, std::uint32_t y0,
                         std::uint32_t x1, std::uint32_t y1, OPJ_COLOR_SPACE space, bool jp2) {
    std::vector<opj_image_cmptparm_t> parms(comps.size());
    for (std::size_t k = 0; k < comps.size(); ++k) {
        opj_image_cmptparm_t& p = parms[k];
        p = {};
        p.dx = comps[k].dx;
        p.dy = comps[k].dy;
        p.x0 = CeilDiv(x0, p.dx);
        p.y0 = CeilDiv(y0, p.dy);
        p.w = CeilDiv(x1, p.dx) - p.x0;
        p.h = CeilDiv(y1, p.dy) - p.y0;
        p.prec = 8;
    }
    opj_image_t* image =
        opj_image_create(static_cast<OPJ_UINT32>(comps.size()), parms.data(), space);
    EXPECT_NE(image, nullptr);
    if (!image) return {};
    image->x0 = x0;
    image->y0 = y0;
    image->x1 = x1;
    image->y1 = y1;
    for (std::size_t k = 0; k < comps.size(); ++k) {
        const opj_image_cmptparm_t& p = parms[k];
        for (std::uint32_t j = 0; j < p.h; ++j)
            for (std::uint32_t i = 0; i < p.w; ++i)
                image->comps[k].data[j * p.w + i] = Value(static_cast<int>(k), p.x0 + i, p.y0 + j);
    }
    opj_cparameters_t params;
    opj_set_default_encoder_parameters(&params);
    params.tcp_numlayers = 1;
    params.tcp_rates[0] = 0;
    params.cp_disto_alloc = 1;
    params.tcp_mct = 0;
    params.numresolution = 2;
    params.image_offset_x0 = static_cast<int>(x0);
    params.image_offset_y0 = static_cast<int>(y0);
    platform_test::TempDir dir;
    const std::string path = dir.File(jp2 ? "a.jp2" : "a.j2k");
    opj_codec_t* codec = opj_create_compress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
    bool ok = codec && opj_setup_encoder(codec, &params, image);
    opj_stream_t* stream =
        ok ? opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE) : nullptr;
    ok = stream && opj_start_compress(codec, image, stream) && opj_encode(codec, stream) &&
         opj_end_compress(codec, stream);
    if (stream) opj_stream_destroy(stream);
    if (codec) opj_destroy_codec(codec);
    opj_image_destroy(image);
    EXPECT_TRUE(ok) << "OpenJPEG could not write the test picture";
    return platform_test::ReadAll(path);
}

// The component sample covering reference-grid point (gx, gy).
int Covering(int component, const Component& c, std::uint32_t x0, std::uint32_t y0,
             std::uint32_t x1, std::uint32_t y1, std::uint32_t gx, std::uint32_t gy) {
    const std::uint32_t lo = CeilDiv(x0, c.dx), hi = CeilDiv(x1, c.dx) - 1;
    const std::uint32_t top = CeilDiv(y0, c.dy), bottom = CeilDiv(y1, c.dy) - 1;
    return Value(component, std::clamp(gx / c.dx, lo, hi), std::clamp(gy / c.dy, top, bottom));
}

TEST(Jpeg2000, SyccWithSubsampledChromaAndOffsetBecomesRgb) {
    // 4:2:0 chroma over an image area that starts at (3, 1).
    const std::vector<Component> comps = {{1, 1}, {2, 2}, {2, 2}};
    const std::uint32_t x0 = 3, y0 = 1, x1 = 30, y1 = 20;
    for (bool jp2 : {true, false}) {
        SCOPED_TRACE(jp2 ? "JP2 file saying sYCC" : "bare code stream");
        const std::vector<BYTE> bytes = Encode(comps, x0, y0, x1, y1, OPJ_CLRSPC_SYCC, jp2);
        CxImage image;
        ASSERT_TRUE(image.Decode(bytes.data(), bytes.size(),
                                 jp2 ? CXIMAGE_FORMAT_JP2 : CXIMAGE_FORMAT_JPC));
        ASSERT_EQ(image.GetWidth(), x1 - x0);
        ASSERT_EQ(image.GetHeight(), y1 - y0);
        ASSERT_EQ(image.GetBpp(), 24);
        for (std::uint32_t y = 0; y < y1 - y0; ++y)
            for (std::uint32_t x = 0; x < x1 - x0; ++x) {
                const std::uint32_t gx = x0 + x, gy = y0 + y;
                const double luma = Value(0, gx, gy);
                const double cb = Covering(1, comps[1], x0, y0, x1, y1, gx, gy) - 128;
                const double cr = Covering(2, comps[2], x0, y0, x1, y1, gx, gy) - 128;
                auto round = [](double v) {
                    return static_cast<int>(std::clamp(std::floor(v + 0.5), 0.0, 255.0));
                };
                const RGBQUAD c =
                    image.GetPixelColor(static_cast<long>(x), static_cast<long>(y1 - y0 - 1 - y));
                ASSERT_EQ(c.rgbRed, round(luma + 1.402 * cr)) << x << "," << y;
                ASSERT_EQ(c.rgbGreen, round(luma - 0.344136 * cb - 0.714136 * cr)) << x << "," << y;
                ASSERT_EQ(c.rgbBlue, round(luma + 1.772 * cb)) << x << "," << y;
            }
    }
}

TEST(Jpeg2000, ComponentsMeetOnTheReferenceGrid) {
    // Grey sub-sampled 2:1 across, alpha at full size, over an area that
    // starts at x = 5: the picture is the grey component's 61 x 9 samples,
    // and pixel x takes the alpha sample at reference point 2 x (3 + x).
    const std::vector<Component> comps = {{2, 1}, {1, 1}};
    const std::uint32_t x0 = 5, y0 = 2, x1 = 127, y1 = 11;
    const std::vector<BYTE> bytes = Encode(comps, x0, y0, x1, y1, OPJ_CLRSPC_GRAY, false);
    CxImage image;
    ASSERT_TRUE(image.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_JPC));
    ASSERT_EQ(image.GetWidth(), 61u);
    ASSERT_EQ(image.GetHeight(), 9u);
    ASSERT_TRUE(image.AlphaIsValid());
    for (std::uint32_t y = 0; y < 9; ++y)
        for (std::uint32_t x = 0; x < 61; ++x) {
            const long dy = static_cast<long>(8 - y);
            ASSERT_EQ(image.GetPixelColor(static_cast<long>(x), dy).rgbRed,
                      Value(0, 3 + x, y0 + y));
            ASSERT_EQ(image.GetAlpha(static_cast<long>(x), dy), Value(1, 2 * (3 + x), y0 + y)) << x;
        }
}

}  // namespace

// A main header of under a kilobyte asking for 8193 tiles of 257 components
// each: the decoder's per-tile records alone would take gigabytes, so the
// stream is refused before the library sets them up.
TEST(Jpeg2000, HeaderAskingForMillionsOfTileRecordsIsRefused) {
    auto put32 = [](std::vector<BYTE>& v, std::uint32_t x) {
        for (int s = 24; s >= 0; s -= 8) v.push_back(static_cast<BYTE>(x >> s));
    };
    const std::uint16_t components = 257;
    std::vector<BYTE> bytes = {0xFF, 0x4F, 0xFF, 0x51};
    const int length = 38 + 3 * components;
    bytes.push_back(static_cast<BYTE>(length >> 8));
    bytes.push_back(static_cast<BYTE>(length));
    bytes.insert(bytes.end(), {0x00, 0x00});  // Rsiz
    for (std::uint32_t v : {1u, 8193u, 0u, 0u, 1u, 1u, 0u, 0u}) put32(bytes, v);
    bytes.push_back(static_cast<BYTE>(components >> 8));
    bytes.push_back(static_cast<BYTE>(components));
    for (int k = 0; k < components; ++k) bytes.insert(bytes.end(), {0x07, 0x01, 0x01});
    bytes.insert(bytes.end(), 64, 0xFF);
    CxImage image;
    EXPECT_FALSE(image.Decode(bytes.data(), bytes.size(), CXIMAGE_FORMAT_JPC));
    EXPECT_FALSE(image.IsValid());
}
