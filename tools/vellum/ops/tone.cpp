// Tone family: lookup tables, colour masks, mask compositing, grey and black
// and white.
#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "registry.h"

namespace {

using namespace vellum::cli;

struct Tables {
    BYTE red[256], green[256], blue[256];
};

void apply(Image& image, Tables& t) {
    if (!ThCurve(image.bits, image.info, t.red, t.green, t.blue)) throw Failure("curve failed");
}

// Curve files: one line per channel, "red|green|blue|all X:Y X:Y ...", points
// joined by straight lines (rounded), flat before the first and after the
// last point; '#' starts a comment; channels not named stay unchanged.
Tables readCurve(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw Failure("cannot read '" + path + "'");
    Tables t;
    for (int i = 0; i < 256; ++i) t.red[i] = t.green[i] = t.blue[i] = BYTE(i);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::string channel;
        if (!(words >> channel)) continue;
        std::map<int, int> points;
        std::string point;
        while (words >> point) {
            int x = -1, y = -1;
            char colon = 0;
            std::istringstream p(point);
            if (!(p >> x >> colon >> y) || colon != ':' || x < 0 || x > 255 || y < 0 || y > 255) {
                throw Failure(path + ":" + std::to_string(number) + ": bad point '" + point + "'");
            }
            points[x] = y;
        }
        if (points.empty()) throw Failure(path + ":" + std::to_string(number) + ": no points");
        BYTE table[256];
        for (int i = 0; i < 256; ++i) {
            auto hi = points.lower_bound(i);
            if (hi == points.end()) {
                table[i] = BYTE(std::prev(hi)->second);
            } else if (hi->first == i || hi == points.begin()) {
                table[i] = BYTE(hi->second);
            } else {
                auto lo = std::prev(hi);
                const int span = hi->first - lo->first;
                table[i] = BYTE(lo->second + ((hi->second - lo->second) * (i - lo->first) * 2 + span) / (2 * span));
            }
        }
        const bool all = channel == "all";
        if (!all && channel != "red" && channel != "green" && channel != "blue") {
            throw Failure(path + ":" + std::to_string(number) + ": unknown channel '" + channel + "'");
        }
        if (all || channel == "red") std::copy(table, table + 256, t.red);
        if (all || channel == "green") std::copy(table, table + 256, t.green);
        if (all || channel == "blue") std::copy(table, table + 256, t.blue);
    }
    return t;
}

const std::vector<std::string> kMaskModes = {"tint", "subtract", "multiply", "difference", "darker",
                                             "lighter"};
int modeIndex(const std::string& name) {
    return int(std::find(kMaskModes.begin(), kMaskModes.end(), name) - kMaskModes.begin());
}

CPoint parseAt(const std::string& text) {
    if (text == "centre" || text == "center") return CPoint(kVellumMaskCentred, kVellumMaskCentred);
    long x = 0, y = 0;
    char comma = 0;
    std::istringstream in(text);
    if (!(in >> x >> comma >> y) || comma != ',') throw Failure("--at takes X,Y or centre");
    return CPoint(int(std::clamp(x, -1000000L, 1000000L)), int(std::clamp(y, -1000000L, 1000000L)));
}

const Registrar registrar{
    {.name = "curve",
     .family = "tone",
     .summary = "Per-channel tone curves from a text file (ThCurve)",
     .help = "Reads curves from --tables FILE: one line per channel,\n"
             "  red|green|blue|all X:Y X:Y ...\n"
             "points joined by straight lines; '#' starts a comment. Palette pictures\n"
             "have their colour table changed, 24-bit pictures their pixels.",
     .options = {Opt::required(Opt::text("tables", "Curve file"))},
     .transform =
         [](const Args& args, Image& image) {
             Tables t = readCurve(args.text("tables"));
             apply(image, t);
         }},
    {.name = "contrast",
     .family = "tone",
     .summary = "Contrast factors around 128 per channel",
     .help = "Each channel value v becomes (v - 128) x factor + 128, truncated and\n"
             "clamped. Green or blue below 0.001 take the red factor; nothing changes\n"
             "when all three are within 0.001 of 1.",
     .options = {Opt::operand(Opt::number("red", "Red factor", 1.5, 0, 100)),
                 Opt::operand(Opt::number("green", "Green factor (0: as red)", 0, 0, 100)),
                 Opt::operand(Opt::number("blue", "Blue factor (0: as red)", 0, 0, 100))},
     .transform =
         [](const Args& args, Image& image) {
             Tables t;
             if (vellum::ContrastTables(args.number("red"), args.number("green"), args.number("blue"),
                                        t.red, t.green, t.blue)) {
                 apply(image, t);
             }
         }},
    {.name = "brightness",
     .family = "tone",
     .summary = "Add a value to every channel",
     .help = "Adds VALUE to red, green and blue, clamped to 0..255.",
     .options = {Opt::operand(Opt::integer("value", "Offset", 30, -255, 255))},
     .transform =
         [](const Args& args, Image& image) {
             Tables t;
             const int v = int(args.integer("value"));
             vellum::BalanceTables(v, v, v, t.red, t.green, t.blue);
             apply(image, t);
         }},
    {.name = "colorbalance",
     .family = "tone",
     .summary = "Add an offset to each channel",
     .help = "Adds the red, green and blue offsets to their channels, clamped to 0..255.",
     .options = {Opt::operand(Opt::integer("red", "Red offset", 0, -255, 255)),
                 Opt::operand(Opt::integer("green", "Green offset", 0, -255, 255)),
                 Opt::operand(Opt::integer("blue", "Blue offset", 0, -255, 255))},
     .transform =
         [](const Args& args, Image& image) {
             Tables t;
             vellum::BalanceTables(int(args.integer("red")), int(args.integer("green")),
                                   int(args.integer("blue")), t.red, t.green, t.blue);
             apply(image, t);
         }},
    {.name = "gamma",
     .family = "tone",
     .summary = "Gamma by position 1..100 (50 neutral) per channel",
     .help = "Position p gives the exponent 1 / 10^(p x 0.02 - 1): below 50 darkens,\n"
             "above 50 lightens. Green and blue default to the red position.",
     .options = {Opt::operand(Opt::integer("red", "Red position", 70, 1, 100)),
                 Opt::operand(Opt::integer("green", "Green position (0: as red)", 0, 0, 100)),
                 Opt::operand(Opt::integer("blue", "Blue position (0: as red)", 0, 0, 100))},
     .transform =
         [](const Args& args, Image& image) {
             Tables t;
             if (vellum::GammaTables(int(args.integer("red")), int(args.integer("green")),
                                     int(args.integer("blue")), t.red, t.green, t.blue)) {
                 apply(image, t);
             }
         }},
    {.name = "colormask",
     .family = "tone",
     .summary = "Colour masks: tint, subtract, multiply, difference, darker, lighter",
     .help = "tint keeps AMOUNT percent of the picture over the colour; subtract,\n"
             "multiply and difference combine each channel with the colour's; darker\n"
             "and lighter replace pixels darker or lighter than the colour (AMOUNT is\n"
             "the level 1..100, 50 = the colour itself).",
     .options = {Opt::choice("mode", "Mask mode", kMaskModes, "tint"),
                 Opt::integer("amount", "Percent kept (tint) or level", 50, 0, 100),
                 Opt::colour("colour", "Mask colour", "255,128,0")},
     .transform =
         [](const Args& args, Image& image) {
             ThColorMask(image.bits, image.info, args.colour("colour"), int(args.integer("amount")),
                         modeIndex(args.text("mode")));
         }},
    {.name = "lightmask",
     .family = "tone",
     .summary = "Replace pixels darker or lighter than a colour (ThLightMask)",
     .help = "Pixels whose luminance is below (side darker) or above (side lighter)\n"
             "the colour's luminance scaled by the level (50 = 1.0) take the colour.",
     .options = {Opt::choice("side", "Which pixels", {"darker", "lighter"}, "darker"),
                 Opt::integer("level", "Level 1..100", 50, 1, 100),
                 Opt::colour("colour", "Colour", "64,64,64")},
     .transform =
         [](const Args& args, Image& image) {
             ThLightMask(image.bits, image.info, args.colour("colour"),
                         args.text("side") == "darker" ? 0 : 1, int(args.integer("level")));
         }},
    {.name = "mask",
     .family = "tone",
     .summary = "Blend a mask picture into the image (ThMask)",
     .help = "Places the picture MASKFILE (--mask) with its top-left corner at X,Y (or\n"
             "centred) and blends the overlap: tint (amount = percent of the image\n"
             "kept), subtract, multiply, difference, darker, lighter (the mask's pixel\n"
             "wins where the image is darker / lighter than it, scaled by amount).",
     .options = {Opt::operand(Opt::required(Opt::text("mask", "Mask picture file"))),
                 Opt::choice("mode", "Blend mode", kMaskModes, "tint"),
                 Opt::integer("amount", "Amount 0..100", 50, 0, 100),
                 Opt::text("at", "Top-left corner X,Y in the image, or centre", "0,0")},
     .transform =
         [](const Args& args, Image& image) {
             Image mask = loadImage(args.text("mask"));
             if (!ThMask(image.bits, image.info, mask.bits, mask.info, modeIndex(args.text("mode")),
                         int(args.integer("amount")), parseAt(args.text("at")), CRect())) {
                 throw Failure("mask failed (no overlap?)");
             }
         }},
    {.name = "grey",
     .family = "tone",
     .summary = "Grey picture (ThConvertToGray, or 8 bits with --8bit)",
     .help = "Without --8bit, a 24-bit picture becomes an 8-bit grey one and a palette\n"
             "picture has its colour table made grey. With --8bit every picture becomes\n"
             "8-bit grey (ThConvertTo8BitGray).",
     .options = {Opt::flag("8bit", "Always produce an 8-bit grey picture")},
     .transform =
         [](const Args& args, Image& image) {
             if (args.flag("8bit")) {
                 ThConvertTo8BitGray(image.bits, image.info);
             } else {
                 ThConvertToGray(image.bits, image.info);
             }
             if (image.bitCount() == 24) throw Failure("grey conversion failed");
         }},
    {.name = "bw",
     .family = "tone",
     .summary = "Black and white by a grey threshold (ThConvertToBW)",
     .help = "Pixels whose grey level is greater than the threshold become white, the\n"
             "others black; the result is 1 bit per pixel.",
     .options = {Opt::integer("threshold", "Grey threshold", 127, -1, 255)},
     .transform =
         [](const Args& args, Image& image) {
             ThConvertToBW(image.bits, image.info, args.integer("threshold"));
             if (image.bitCount() != 1) throw Failure("black and white conversion failed");
         }},
};

}  // namespace
