// Geometry family: scaling, thumbnails, cropping, rotation and mirroring.
#include <cmath>
#include <cstdio>
#include <string>

#include "registry.h"

namespace {

using namespace vellum::cli;

// "L,T,R,B" as a rectangle; throws Failure naming the option.
CRect parseRect(const std::string& text, const char* option) {
    int l = 0, t = 0, r = 0, b = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%d,%d,%d,%d%c", &l, &t, &r, &b, &tail) != 4) {
        throw Failure(std::string("--") + option + " wants L,T,R,B (four whole numbers)");
    }
    return CRect(l, t, r, b);
}

void check(int ok, Image& image, const std::string& what) {
    if (!ok || image.empty()) throw Failure(what + " failed");
}

void scale(const Args& args, Image& image) {
    check(ThScale(image.bits, image.info, args.integer("width"), args.integer("height"),
                  static_cast<int>(args.integer("mode"))),
          image, "scaling");
}

CSize thumbnailBox(const Args& args) {
    int w = 0, h = 0;
    char tail = 0;
    if (std::sscanf(args.text("size").c_str(), "%dx%d%c", &w, &h, &tail) != 2 || w < 1 || h < 1) {
        throw Failure("SIZE wants WxH, for example 160x120");
    }
    return {w, h};
}

void thumbnail(const Args& args, Image& image) {
    CSize box = thumbnailBox(args);
    check(ThCreateThumbail(box, image.bits, image.info), image, "thumbnail");
}

// --fast: JPEG files are decoded at the smallest DCT scale still at least the
// box in both directions, then fitted as usual.
std::pair<DWORD, DWORD> thumbnailHint(const Args& args) {
    if (!args.flag("fast")) return {0, 0};
    const CSize box = thumbnailBox(args);
    return {static_cast<DWORD>(box.cx), static_cast<DWORD>(box.cy)};
}

void scalecrop(const Args& args, Image& image) {
    const CRect keep = args.given("keep") ? parseRect(args.text("keep"), "keep")
                                          : CRect(0, 0, static_cast<int>(args.integer("width")),
                                                  static_cast<int>(args.integer("height")));
    check(ThScaleCrop(image.bits, image.info, static_cast<int>(args.integer("width")),
                      static_cast<int>(args.integer("height")), keep),
          image, "scale and crop");
}

void crop(const Args& args, Image& image) {
    check(ThCrop(image.bits, image.info, parseRect(args.text("rect"), "rect"), 0), image,
          "cropping (the rectangle misses the picture?)");
}

void rotate(const Args& args, Image& image) {
    const double radians = args.number("degrees") * M_PI / 180.0;
    check(ThRotate(image.bits, image.info, radians, static_cast<int>(args.integer("background"))),
          image, "rotation");
}

void rotate90(const Args& args, Image& image) {
    check(ThRotateBmp90(image.bits, image.info, args.flag("ccw") ? -1 : 1), image,
          "quarter turn");
}

void mirror(const Args& args, Image& image) {
    const bool horizontal = args.flag("horizontal"), vertical = args.flag("vertical");
    if (horizontal == vertical) throw Failure("give exactly one of --horizontal and --vertical");
    check(ThMirror(image.bits, image.info, vertical ? 1 : 0), image, "mirroring");
}

const Registrar registrar{
    {.name = "scale",
     .family = "geometry",
     .summary = "Resize to a given width and height",
     .help = "Resizes the picture. 24-bit pictures are resampled per axis: averaging\n"
             "when the new side is at most half the old one, interpolation otherwise\n"
             "(sides below 2 become 2). 1-bit pictures become 8-bit grey mixes of\n"
             "their two colours when they shrink, and stay 1-bit when they grow.\n"
             "4- and 8-bit pictures use nearest neighbour in mode 0 and the streaming\n"
             "scaler (24-bit or grey result) in mode 1.",
     .options = {Opt::operand(Opt::required(Opt::integer("width", "New width in pixels", 0, 1, 65535))),
                 Opt::operand(Opt::required(Opt::integer("height", "New height in pixels", 0, 1, 65535))),
                 Opt::integer("mode", "Palette pictures: 0 nearest neighbour, 1 resample", 0,
                              0, 1)},
     .transform = scale},
    {.name = "thumbnail",
     .family = "geometry",
     .summary = "Fit into a box keeping the aspect ratio, never enlarging",
     .help = "Shrinks the picture so that it fits into WxH with its aspect ratio kept.\n"
             "A picture already inside the box is left as it is.\n"
             "--fast decodes JPEG files at a reduced scale (a power of two no smaller than\n"
             "the box) before fitting: many times faster on large photographs, and close to,\n"
             "but not the same bytes as, the thumbnail of the full decode.",
     .options = {Opt::operand(Opt::required(Opt::text("size", "Box as WxH, for example 160x120"))),
                 Opt::flag("fast", "JPEG: decode at a reduced scale first")},
     .transform = thumbnail,
     .decodeHint = thumbnailHint},
    {.name = "scalecrop",
     .family = "geometry",
     .summary = "Scale to a size, then keep a rectangle of the scaled picture",
     .help = "Scales the whole picture to WIDTH x HEIGHT with the streaming scaler and\n"
             "keeps the rectangle L,T,R,B of the scaled picture (top-down, right and\n"
             "bottom exclusive). Without --keep the whole scaled picture is kept.\n"
             "The result is 24-bit, or 8-bit grey for grey and 1-bit pictures.",
     .options = {Opt::operand(Opt::required(Opt::integer("width", "Scaled width", 0, 1, 65535))),
                 Opt::operand(Opt::required(Opt::integer("height", "Scaled height", 0, 1, 65535))),
                 Opt::text("keep", "Rectangle of the scaled picture to keep, L,T,R,B")},
     .transform = scalecrop},
    {.name = "crop",
     .family = "geometry",
     .summary = "Keep a rectangle of the picture",
     .help = "Keeps the rectangle L,T,R,B (top-down, right and bottom exclusive),\n"
             "clipped to the picture. Depth and colours are unchanged.",
     .options = {Opt::operand(Opt::required(Opt::text("rect", "Rectangle to keep, L,T,R,B")))},
     .transform = crop},
    {.name = "rotate",
     .family = "geometry",
     .summary = "Rotate clockwise by any angle in degrees",
     .help = "Rotates the picture clockwise. Angles within one degree of a quarter\n"
             "turn are served exactly; others enlarge the canvas, interpolating\n"
             "24-bit pictures (edges blend into the background grey) and taking the\n"
             "nearest pixel for palette pictures. The background is a grey level at\n"
             "24 bits and a palette index at 8 bits; 1- and 4-bit pictures fill with\n"
             "their last index.",
     .options = {Opt::operand(Opt::required(Opt::number("degrees", "Angle, clockwise", 0, -36000, 36000))),
                 Opt::integer("background", "Fill for the uncovered corners", 255, 0, 255)},
     .transform = rotate},
    {.name = "rotate90",
     .family = "geometry",
     .summary = "Quarter turn, clockwise or anticlockwise",
     .help = "Turns the picture by exactly 90 degrees, clockwise unless --ccw is given.",
     .options = {Opt::flag("ccw", "Turn anticlockwise")},
     .transform = rotate90},
    {.name = "mirror",
     .family = "geometry",
     .summary = "Mirror left to right or top to bottom",
     .help = "--horizontal swaps left and right; --vertical swaps top and bottom.",
     .options = {Opt::flag("horizontal", "Swap left and right"),
                 Opt::flag("vertical", "Swap top and bottom")},
     .transform = mirror},
};

}  // namespace
