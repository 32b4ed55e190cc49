// Depth family: changing the number of bits per pixel.
#include "registry.h"

namespace {

using namespace vellum::cli;

void convert(const Args& args, Image& image) {
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
     .summary = "Convert to 24, 8, 4 or 1 bits per pixel",
     .help = "Converts the picture to another number of bits per pixel.\n"
             "  24  expands a palette picture through its colour table.\n"
             "  8   from 24 bits: error diffusion onto the fixed 3-3-2 palette\n"
             "      (8 levels of red and green, 4 of blue); from 4 bits: one\n"
             "      byte per pixel with the same 16 colours.\n"
             "  4   nearest of the 16 standard colours.\n"
             "  1   black and white by luminance.\n"
             "Converting to the depth the picture already has changes nothing.",
     .options = {Opt::choice("depth", "Bits per pixel of the result", {"24", "8", "4", "1"}, "24")},
     .transform = convert},
};

}  // namespace
