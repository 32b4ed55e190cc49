// Noise, histogram and artistic families.
#include "registry.h"

namespace {

using namespace vellum::cli;

void check(bool ok, const char* what) {
    if (!ok) throw Failure(std::string(what) + " failed");
}

void noise(const Args& a, Image& im) {
    const std::string& kind = a.text("kind");
    const int amount = static_cast<int>(a.integer("amount"));
    if (kind == "grain" || kind == "mono-grain") {
        const short type = kind == "grain" ? 1 : 3;
        check(ThGenerateNoise(im.bits, im.info, type, amount) == 1, "noise");
        return;
    }
    static const char* const kKinds[] = {"uniform", "gaussian", "multiplicative", "impulse",
                                         "laplacian", "poisson"};
    unsigned code = 0;
    for (unsigned i = 0; i < 6; ++i) {
        if (kind == kKinds[i]) code = i;
    }
    check(ThAddNoise(im.bits, im.info, code), "noise");
}

const Registrar registrar{
    {.name = "negate",
     .family = "artistic",
     .summary = "Photographic negative",
     .help = "Every channel c becomes 255 - c. Palette pictures change their colour\n"
             "table; with --grey-only only grey colours change.",
     .options = {Opt::flag("grey-only", "Change only colours whose red, green and blue are equal")},
     .transform = [](const Args& a, Image& im) {
         check(ThNegateImage(im.bits, im.info, a.flag("grey-only") ? 1 : 0), "negate");
     }},
    {.name = "noise",
     .family = "noise",
     .summary = "Add noise of a chosen kind",
     .help = "Kinds of the classic noise generator: uniform (very faint), gaussian,\n"
             "multiplicative, impulse (salt and pepper, 5 % each), laplacian and\n"
             "poisson (replaces levels by multiples of 20). grain and mono-grain add\n"
             "Gaussian film grain of --amount grey levels, per channel or per pixel.\n"
             "The picture is converted to 24 bits; results differ from run to run.",
     .options = {Opt::choice("kind", "Kind of noise",
                             {"uniform", "gaussian", "multiplicative", "impulse", "laplacian",
                              "poisson", "grain", "mono-grain"},
                             "gaussian"),
                 Opt::integer("amount", "Strength of grain in grey levels", 24, 0, 255)},
     .transform = noise},
    {.name = "equalize",
     .family = "histogram",
     .summary = "Spread the luminance levels evenly",
     .help = "Histogram equalisation by luminance; each channel is mapped through the\n"
             "same table. The top row of a 24-bit picture is left as it was (kept\n"
             "behaviour). Palette pictures change their colour table.",
     .options = {},
     .transform = [](const Args&, Image& im) { check(ThEqualizeImage(im.bits, im.info), "equalize"); }},
    {.name = "normalize",
     .family = "histogram",
     .summary = "Stretch the levels between the 1 % points",
     .help = "Levels below the darkest 1 % become 0 and above the brightest 1 %\n"
             "become 255, with a linear stretch between. Fails on a picture of a\n"
             "single level.",
     .options = {},
     .transform = [](const Args&, Image& im) { check(ThNormalize(im.bits, im.info) == 1, "normalize"); }},
    {.name = "despeckle",
     .family = "noise",
     .summary = "Remove isolated specks, keeping edges",
     .help = "Hull-based despeckling of each channel. The picture is converted to 24\n"
             "bits.",
     .options = {},
     .transform = [](const Args&, Image& im) { check(ThDespeckleImage(im.bits, im.info) == 1, "despeckle"); }},
    {.name = "denoise",
     .family = "noise",
     .summary = "Reduce noise with a 3 x 3 median",
     .help = "Each channel is replaced by the median of its 3 x 3 neighbourhood;\n"
             "removes salt-and-pepper noise. The picture is converted to 24 bits.",
     .options = {},
     .transform = [](const Args&, Image& im) { check(ThReduceNoiseImage(im.bits, im.info), "denoise"); }},
    {.name = "spread",
     .family = "noise",
     .summary = "Scatter pixels by random offsets",
     .help = "Each pixel is taken from a random nearby pixel; --amount is the reach\n"
             "in percent of the smaller side. Needs 8 bits or more.",
     .options = {Opt::integer("amount", "Reach in percent of the smaller side", 2, 0, 100)},
     .transform = [](const Args& a, Image& im) {
         check(ThSpreadImage(im.bits, im.info, static_cast<unsigned>(a.integer("amount"))) == 1, "spread");
     }},
    {.name = "roll",
     .family = "artistic",
     .summary = "Roll the picture around, wrapping at the edges",
     .help = "Moves the picture right by --x and up by --y percent of its size;\n"
             "what leaves one edge comes back at the other.",
     .options = {Opt::integer("x", "Percent of the width to the right", 50, -1000, 1000),
                 Opt::integer("y", "Percent of the height upwards", 0, -1000, 1000)},
     .transform = [](const Args& a, Image& im) {
         check(ThRollImage(im.bits, im.info, static_cast<int>(a.integer("x")),
                           static_cast<int>(a.integer("y"))),
               "roll");
     }},
    {.name = "charcoal",
     .family = "artistic",
     .summary = "Charcoal drawing of the picture's edges",
     .help = "Dark strokes on white along the edges, in grey. The picture is converted\n"
             "to 24 bits.",
     .options = {},
     .transform = [](const Args&, Image& im) { check(ThCharCoal(im.bits, im.info) == 1, "charcoal"); }},
    {.name = "plasma",
     .family = "artistic",
     .summary = "Render a plasma cloud over the picture",
     .help = "Replaces the picture with a random plasma fractal of the same size.\n"
             "--noise is the roughness in grey levels at the coarsest scale,\n"
             "--attenuate the percent of it kept at each finer scale (lower is\n"
             "smoother). Results differ from run to run.",
     .options = {Opt::integer("noise", "Roughness in grey levels", 200, 0, 1000),
                 Opt::integer("attenuate", "Percent of roughness kept per level", 55, 0, 100)},
     .transform = [](const Args& a, Image& im) {
         check(ThPlasma(im.bits, im.info, static_cast<int>(a.integer("noise")),
                        static_cast<int>(a.integer("attenuate"))) == 1,
               "plasma");
     }},
    {.name = "oilpaint",
     .family = "artistic",
     .summary = "Oil painting: most frequent intensity in a disc",
     .help = "Each pixel takes the colour of the most frequent intensity within\n"
             "--radius; pixels nearer the edge than the radius are kept.",
     .options = {Opt::integer("radius", "Radius of the brush in pixels", 3, 0, 50)},
     .transform = [](const Args& a, Image& im) {
         check(ThOilPaintImage(im.bits, im.info, static_cast<unsigned>(a.integer("radius"))) == 1,
               "oilpaint");
     }},
    {.name = "solarize",
     .family = "artistic",
     .summary = "Invert the levels above a threshold",
     .help = "Every channel above --percent of 256 is inverted, as an overexposed\n"
             "film would be. 100 changes nothing, 0 inverts every non-zero level.",
     .options = {Opt::number("percent", "Threshold in percent of 256", 50.0, 0, 100)},
     .transform = [](const Args& a, Image& im) {
         check(ThSolarize(im.bits, im.info, static_cast<float>(a.number("percent"))) == 1, "solarize");
     }},
    {.name = "shade",
     .family = "artistic",
     .summary = "Relief lit by a distant light",
     .help = "Reads the luminance as a height field and lights it from --azimuth\n"
             "(degrees counterclockwise from the right; 135 is the upper left) at\n"
             "--elevation degrees. --grey writes the shading alone; otherwise the\n"
             "colours are shaded. The picture is converted to 24 bits.",
     .options = {Opt::number("azimuth", "Light direction in degrees", 135.0, -360, 360),
                 Opt::number("elevation", "Light height in degrees", 35.0, 0, 90),
                 Opt::flag("grey", "Write the shading as grey")},
     .transform = [](const Args& a, Image& im) {
         check(ThShade(im.bits, im.info, a.flag("grey") ? 1 : 0, a.number("azimuth"),
                       a.number("elevation")) == 1,
               "shade");
     }},
};

}  // namespace
