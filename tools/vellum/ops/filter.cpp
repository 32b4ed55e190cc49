// Filter family: convolution filters, emboss, shadow blur and soft frames.
#include <string>

#include "registry.h"

namespace {

using namespace vellum::cli;

void check(int ok, const std::string& what) {
    if (!ok) throw Failure(what + " failed");
}

int emboss(const std::string& direction) {
    static const char* const names[] = {"sw", "s", "se", "w", "e", "nw", "n", "ne", "far-nw", "far-n"};
    for (int i = 0; i < 10; ++i) {
        if (direction == names[i]) return 7 + i;
    }
    return 7;
}

const Registrar registrar{
    {.name = "filter",
     .family = "filter",
     .summary = "3 x 3 filters: blur, sharpen, smoothing, edges and emboss (ThDoFilter)",
     .help = "Applies filter KIND of the numbered family; the result is 24 bits.\n"
             "  1 blur, 2 sharpen (strength 0..4 picks the kernel)\n"
             "  3 smoothing (brightens a uniform area by 28/20)\n"
             "  4, 5, 6 horizontal edge filters\n"
             "  7..16 directional emboss around grey 128 (strength is the gain)\n"
             "The first and last pixel of each row, and for most kinds the first and\n"
             "last row, keep their value (128 for the emboss kinds).",
     .options = {Opt::operand(Opt::required(Opt::integer("kind", "Filter number", 1, 1, 16))),
                 Opt::integer("strength", "Kernel row (kinds 1, 2) or gain (7..16)", 1, -1000, 1000)},
     .transform =
         [](const Args& args, Image& image) {
             const int kind = int(args.integer("kind"));
             const int strength = int(args.integer("strength"));
             if ((kind == 1 || kind == 2) && (strength < 0 || strength > 4)) {
                 throw Failure("kinds 1 and 2 take a strength of 0..4");
             }
             check(ThDoFilter(image.bits, image.info, kind, strength), "filter");
         }},
    {.name = "emboss",
     .family = "filter",
     .summary = "Directional emboss (ThDoFilter kinds 7..16)",
     .help = "Relief around grey 128: each byte becomes (A - B) x level + 128, A being\n"
             "the neighbour the direction names on screen and B the opposite one\n"
             "(n: the pixel above minus the pixel below). Directions sw s se w e nw n\n"
             "ne are kinds 7..14; far-nw and far-n are kinds 15 and 16, whose pairs\n"
             "reach past the 3 x 3 window.",
     .options = {Opt::choice("direction", "Light direction",
                             {"sw", "s", "se", "w", "e", "nw", "n", "ne", "far-nw", "far-n"}, "n"),
                 Opt::integer("level", "Gain", 2, -255, 255)},
     .transform =
         [](const Args& args, Image& image) {
             check(ThDoFilter(image.bits, image.info, emboss(args.text("direction")),
                              int(args.integer("level"))),
                   "emboss");
         }},
    {.name = "shadowblur",
     .family = "filter",
     .summary = "Box blur that darkens toward the border (ThDoShadowBlur)",
     .help = "Averages each pixel over a (2 x radius + 1) square window, always dividing\n"
             "by the full window area, so the picture fades to black near its edges.",
     .options = {Opt::operand(Opt::required(Opt::integer("radius", "Window radius in pixels", 3, 1, 100000)))},
     .transform =
         [](const Args& args, Image& image) {
             check(ThDoShadowBlur(image.bits, image.info, int(args.integer("radius"))), "shadow blur");
         }},
    {.name = "fuzzy",
     .family = "filter",
     .summary = "Soft-edged frame in a colour (ThFuzzy)",
     .help = "Fills everything outside a shape with the colour and blends a soft band\n"
             "inside its outline. Shapes: circle, ellipse, rectangle, square, diamond,\n"
             "disc, glow (a colour glow growing toward the corners).",
     .options = {Opt::choice("shape", "Frame shape",
                             {"circle", "ellipse", "rectangle", "square", "diamond", "disc", "glow"},
                             "ellipse"),
                 Opt::integer("softness", "Width of the soft band, percent", 30, 0, 100),
                 Opt::colour("colour", "Frame colour", "255,255,255")},
     .transform =
         [](const Args& args, Image& image) {
             static const char* const shapes[] = {"circle", "ellipse", "rectangle", "square",
                                                  "diamond", "disc", "glow"};
             int shape = 0;
             while (args.text("shape") != shapes[shape]) ++shape;
             ThFuzzy(image.bits, image.info, args.colour("colour"), int(args.integer("softness")),
                     shape);
             if (image.bitCount() != 24) throw Failure("fuzzy failed");
         }},
};

}  // namespace
