// Depth family: changing the number of bits per pixel.
#include <algorithm>
#include <vector>

#include "registry.h"

namespace {

using namespace vellum::cli;

// Palette index of pixel x of bottom-up row y of a 1-, 4- or 8-bit pair.
int indexAt(const Image& image, long x, long y) {
    const int bpp = image.bitCount();
    const BYTE* row =
        static_cast<const BYTE*>(image.bits) +
        static_cast<std::size_t>(y) * static_cast<std::size_t>(VellumDibStride(bpp, image.width()));
    if (bpp == 8) return row[x];
    if (bpp == 4) return (x & 1) ? row[x / 2] & 15 : row[x / 2] >> 4;
    return row[x / 8] >> (7 - x % 8) & 1;
}

// Carries the loaded transparency through a change of depth (the pixels stay
// where they are). The transparent pixels are those of the transparent index,
// or those of alpha 0 when the alpha plane holds only 0 and 255.
//  - To 24 bits: an alpha plane is kept; a transparent index becomes an alpha
//    plane, 0 on its pixels.
//  - To a palette depth: when the transparent pixels all end on one index
//    that no other pixel uses, that index is the transparent index.
//    Otherwise the transparency is dropped: the reduced table has no entry
//    of their own for them, and keeping an alpha plane instead would make
//    every format store the picture at 32 bits, undoing the reduction. A
//    partial alpha plane (values between 0 and 255) is dropped for the same
//    reason.
void carryTransparency(Image& image, const std::vector<bool>& transparent, bool hadAlpha) {
    const long w = image.width(), h = image.height();
    const std::size_t pixels = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
    image.transIndex = -1;
    if (image.bitCount() == 24) {
        if (!hadAlpha) {
            image.alpha.assign(pixels, 255);
            for (std::size_t i = 0; i < pixels; ++i)
                if (transparent[i]) image.alpha[i] = 0;
        }
        return;
    }
    image.alpha.clear();
    int shared = -1;
    std::vector<bool> usedOpaque(256, false);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            const int index = indexAt(image, x, y);
            if (!transparent[static_cast<std::size_t>(y) * static_cast<std::size_t>(w) +
                             static_cast<std::size_t>(x)]) {
                usedOpaque[index] = true;
            } else if (shared < 0) {
                shared = index;
            } else if (shared != index) {
                return;
            }
        }
    if (shared >= 0 && !usedOpaque[shared]) image.transIndex = shared;
}

void convert(const Args& args, Image& image) {
    image.jpegQuality = static_cast<int>(args.integer("quality"));
    if (!args.given("depth")) {
        // A plain format conversion, file to file.
        image.convertFromSource = true;
        return;
    }
    const int depth = static_cast<int>(args.integer("depth"));
    const int before = image.bitCount();
    // Which pixels are transparent, found before the depth changes.
    const std::size_t pixels =
        static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height());
    const bool hadAlpha = image.alpha.size() == pixels && pixels > 0;
    if (!hadAlpha) image.alpha.clear();
    const bool binaryAlpha = hadAlpha && std::all_of(image.alpha.begin(), image.alpha.end(),
                                                     [](BYTE a) { return a == 0 || a == 255; });
    const bool hadIndex = before <= 8 && image.transIndex >= 0;
    std::vector<bool> transparent;
    if (hadIndex || binaryAlpha) {
        transparent.assign(pixels, false);
        for (long y = 0; y < image.height(); ++y)
            for (long x = 0; x < image.width(); ++x) {
                const std::size_t i =
                    static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width()) +
                    static_cast<std::size_t>(x);
                transparent[i] =
                    hadAlpha ? image.alpha[i] == 0 : indexAt(image, x, y) == image.transIndex;
            }
    }
    const int ok = depth == 24 ? ThConvertTo24Bit(image.bits, image.info)
                               : ThConvertToNumBit(image.bits, image.info, depth);
    if (!ok || image.empty()) {
        throw Failure("conversion to " + std::to_string(depth) + " bits failed");
    }
    image.transparencyKept = true;
    if (image.bitCount() == before) return;  // nothing changed: all is kept as it was
    if (image.bitCount() == 24 && hadAlpha) return;
    if (transparent.empty()) {
        image.alpha.clear();
        image.transIndex = -1;
        return;
    }
    carryTransparency(image, transparent, hadAlpha);
}

const Registrar registrar{
    {.name = "convert",
     .family = "depth",
     .summary = "Convert between formats, or to 24, 8, 4 or 1 bits per pixel",
     .help = "Without --depth, converts INPUT to OUTPUT's format (by extension) as\n"
             "ThConvertFileToFile does: a JPEG target gets colour raised to 24 bits and\n"
             "--quality, a GIF target gets more than 8 bits reduced to a median-cut\n"
             "palette with error diffusion; transparency is kept where both formats\n"
             "carry it. With --depth, converts the picture to that many bits per pixel:\n"
             "  24  expands a palette picture through its colour table.\n"
             "  8   from 24 bits: error diffusion onto the fixed 3-3-2 palette\n"
             "      (8 levels of red and green, 4 of blue); from 4 bits: one\n"
             "      byte per pixel with the same 16 colours.\n"
             "  4   nearest of the 16 standard colours.\n"
             "  1   black and white by luminance.\n"
             "Converting to the depth the picture already has changes nothing.\n"
             "Transparency is kept: at 24 bits an alpha plane stays and a transparent\n"
             "index becomes an alpha plane; at 8, 4 or 1 bits the transparent pixels\n"
             "keep a transparent index when they all end on one colour no other pixel\n"
             "takes, and lose their transparency otherwise (a partial alpha plane is\n"
             "always lost there, as it would make the output 32-bit again).",
     .options = {Opt::choice("depth", "Bits per pixel of the result", {"24", "8", "4", "1"}, "24"),
                 Opt::integer("quality", "JPEG quality of a JPEG output", 75, 0, 100)},
     .transform = convert},
};

}  // namespace
