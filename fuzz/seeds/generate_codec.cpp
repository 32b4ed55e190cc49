// Writes the seed inputs of the codec fuzz targets with the codec's own
// writers: a small palette, grey, colour and alpha picture per format, at
// the depths each format keeps. Not part of the build; run it by hand:
//
//     c++ -std=c++20 -Isrc fuzz/seeds/generate_codec.cpp build/debug/libvellum_static.a \
//         -ljpeg -lpng -lgif -ltiff -lopenjp2 -lz -o /tmp/generate-codec-seeds
//     /tmp/generate-codec-seeds fuzz/seeds
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "codec/ximage.h"

namespace {

CxImage Picture(int bpp, bool alpha) {
    CxImage image;
    image.Create(13, 7, static_cast<WORD>(bpp));
    if (bpp <= 8) {
        const int n = 1 << bpp;
        for (int i = 0; i < n; ++i)
            image.GetPalette()[i] = RGBQUAD{BYTE(i * 40), BYTE(255 - i * 9), BYTE(i * 77), 0};
    }
    for (long y = 0; y < 7; ++y)
        for (long x = 0; x < 13; ++x) {
            if (bpp <= 8) image.SetPixelIndex(x, y, BYTE((x + 2 * y) % (1 << bpp)));
            else {
                BYTE* p = image.GetBits(static_cast<DWORD>(y)) + 3 * x;
                p[0] = BYTE(x * 19), p[1] = BYTE(y * 36), p[2] = BYTE(x * y * 3);
            }
        }
    if (alpha && image.AlphaCreate())
        for (int i = 0; i < 13 * 7; ++i) image.AlphaGetPointer()[i] = BYTE(i * 3);
    return image;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::filesystem::path root(argv[1]);
    struct Target {
        const char* name;
        DWORD type;
        const char* ext;
    };
    const Target targets[] = {
        {"jpeg_fuzzer", CXIMAGE_FORMAT_JPG, "jpg"},  {"png_fuzzer", CXIMAGE_FORMAT_PNG, "png"},
        {"gif_fuzzer", CXIMAGE_FORMAT_GIF, "gif"},   {"tiff_fuzzer", CXIMAGE_FORMAT_TIF, "tif"},
        {"ico_fuzzer", CXIMAGE_FORMAT_ICO, "ico"},   {"tga_fuzzer", CXIMAGE_FORMAT_TGA, "tga"},
        {"pcx_fuzzer", CXIMAGE_FORMAT_PCX, "pcx"},   {"wbmp_fuzzer", CXIMAGE_FORMAT_WBMP, "wbmp"},
        {"pgx_fuzzer", CXIMAGE_FORMAT_PGX, "pgx"},   {"pnm_fuzzer", CXIMAGE_FORMAT_PNM, "pnm"},
        {"ras_fuzzer", CXIMAGE_FORMAT_RAS, "ras"},   {"jpeg2000_fuzzer", CXIMAGE_FORMAT_JP2, "jp2"},
        {"jpeg2000_fuzzer", CXIMAGE_FORMAT_JPC, "j2k"},
    };
    for (const Target& t : targets) {
        std::filesystem::create_directories(root / t.name);
        for (int bpp : {1, 4, 8, 24}) {
            for (bool alpha : {false, true}) {
                if (alpha && bpp != 24) continue;
                CxImage image = Picture(bpp, alpha);
                if (bpp == 8 && t.type == CXIMAGE_FORMAT_PGX) image.SetGrayPalette();
                std::vector<BYTE> out;
                if (!image.Encode(out, t.type)) continue;
                const std::string file = std::string("seed") + std::to_string(bpp) + (alpha ? "a" : "") + "." + t.ext;
                std::ofstream(root / t.name / file, std::ios::binary)
                    .write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
            }
        }
    }
    return 0;
}
