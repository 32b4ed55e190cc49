// Generate family: pictures made in code rather than read from a file.
#include "registry.h"
#include "scene.h"

namespace {

using namespace vellum::cli;

const Registrar registrar{
    {.name = "sample",
     .family = "generate",
     .summary = "Write the sample scene, a colourful 24-bit test picture",
     .help = "Draws a landscape with a sky gradient, a sun, clouds, hills, a house and\n"
             "trees, four saturated shapes, and a test panel of one-pixel stripes,\n"
             "checkerboards, a zone plate, colour bars, hue and grey ramps and small\n"
             "text: enough to see what filters, scaling and colour reduction do.",
     .options = {Opt::integer("width", "Width in pixels", 640, 1, 8192),
                 Opt::integer("height", "Height in pixels", 480, 1, 8192)},
     .generate =
         [](const Args& args) {
             return makeSampleScene(static_cast<int>(args.integer("width")),
                                    static_cast<int>(args.integer("height")));
         }},
};

}  // namespace
