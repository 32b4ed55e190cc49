// Depth family: changing the number of bits per pixel.
#include "registry.h"

namespace {

using namespace vellum::cli;

void convert(const Args& args, Image& image) {
    image.jpegQuality = static_cast<int>(args.integer("quality"));
    if (!args.given("depth")) {
        // A plain format conversion, file to file.
        image.convertFromSource = true;
        return;
    }
    const int depth = static_cast<int>(args.integer("depth"));
    const int ok = depth == 24 ? ThConvertTo24Bit(image.bits, image.info)
                               : ThConvertToNumBit(image.bits, image.info, depth);
    if (!ok || image.empty()) {
        throw Failure("conversion to " + std::to_string(depth) + " bits failed");
    }
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
             "Converting to the depth the picture already has changes nothing.",
     .options = {Opt::choice("depth", "Bits per pixel of the result", {"24", "8", "4", "1"}, "24"),
                 Opt::integer("quality", "JPEG quality of a JPEG output", 75, 0, 100)},
     .transform = convert},
};

}  // namespace
