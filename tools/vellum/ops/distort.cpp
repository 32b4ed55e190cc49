// Distortion family: sine-driven twists, waves, ripples, swirls, the 3-D turn
// and the colour lens.
#include "registry.h"

namespace {

using namespace vellum::cli;

void check(int ok, const char* what) {
    if (!ok) throw Failure(std::string(what) + " failed");
}

BYTE background(const Args& args) { return static_cast<BYTE>(args.integer("background")); }

OptionSpec backgroundOpt() {
    return Opt::integer("background", "Grey level (0..255) of uncovered areas", 255, 0, 255);
}

const Registrar registrar{
    {.name = "twist",
     .family = "distort",
     .summary = "Shift rows sideways (or columns up and down) along a sine wave",
     .help = "Each row (with --vertical, each column) is moved along a sine wave. The\n"
             "picture grows by twice the amplitude in that direction; the new area is\n"
             "the background grey. The picture is converted to 24 bits.",
     .options = {Opt::integer("amplitude", "Size of the shift in percent of the width (height)", 10, 0, 100),
                 Opt::number("cycles", "Number of waves over the picture", 2.0, -1000, 1000),
                 Opt::integer("phase", "Phase of the wave in degrees", 0, -36000, 36000),
                 Opt::flag("vertical", "Move columns instead of rows"), backgroundOpt()},
     .transform =
         [](const Args& a, Image& im) {
             check(ThTwist(im.bits, im.info, a.integer("phase"), a.number("cycles"),
                           a.integer("amplitude"), a.flag("vertical") ? 0 : 1, background(a)),
                   "twist");
         }},
    {.name = "wave",
     .family = "distort",
     .summary = "Ripple the picture along one direction, size unchanged",
     .help = "Rows (with --columns, columns) are resampled along a sine wave with\n"
             "10-bit linear blending; the size stays the same. Amplitude 0 changes\n"
             "nothing. The picture is converted to 24 bits.",
     .options = {Opt::integer("amplitude", "Depth of the wave in percent of the height (width)", 5, 0, 100),
                 Opt::number("cycles", "Number of waves over the picture", 3.0, -1000, 1000),
                 Opt::integer("phase", "Phase of the wave in degrees", 0, -36000, 36000),
                 Opt::flag("columns", "Move columns instead of rows"), backgroundOpt()},
     .transform =
         [](const Args& a, Image& im) {
             check(ThWave(im.bits, im.info, a.integer("phase"), a.number("cycles"),
                          a.integer("amplitude"), a.flag("columns") ? 1 : 0, background(a)),
                   "wave");
         }},
    {.name = "drop",
     .family = "distort",
     .summary = "Concentric ripples around a point, like a drop falling into water",
     .help = "Ripples spread from the centre (fractions 0..1 of width and height, y\n"
             "counted from the bottom). --waves is the number of half waves across the\n"
             "width; the ripples fade with distance. The outer two rows and columns\n"
             "are kept. The picture is converted to 24 bits.",
     .options = {Opt::number("x", "Centre, fraction of the width", 0.5, 0, 1),
                 Opt::number("y", "Centre, fraction of the height from the bottom", 0.5, 0, 1),
                 Opt::integer("waves", "Half waves across the width", 20, 0, 1000),
                 Opt::integer("amplitude", "Strength of the ripples", 8, 0, 10000),
                 Opt::integer("phase", "Phase in degrees", 0, -36000, 36000)},
     .transform =
         [](const Args& a, Image& im) {
             check(ThDrop(im.bits, im.info, a.number("x"), a.number("y"), a.integer("phase"),
                          a.integer("waves"), a.integer("amplitude")),
                   "drop");
         }},
    {.name = "lens",
     .family = "distort",
     .summary = "Colour lens: reorder each colour's channels to tint the picture",
     .help = "Each colour's smallest, middle and largest channel values are moved to\n"
             "the channels chosen by --tint (1..6; 1 and 4 are the same) and the\n"
             "middle one is recomputed. Palette pictures change their colour table.",
     .options = {Opt::integer("tint", "Tint 1..6", 2, 1, 6),
                 Opt::flag("strong", "Use the stronger middle factor")},
     .transform =
         [](const Args& a, Image& im) {
             check(ThLensEffect(im.bits, im.info, static_cast<int>(a.integer("tint")),
                                a.flag("strong") ? 1 : 0, 0),
                   "lens");
         }},
    {.name = "spiral",
     .family = "distort",
     .summary = "Swirl the picture about its centre",
     .help = "Each pixel is turned about the centre by an angle growing with its\n"
             "distance: the corners turn by half of --angle. The picture is\n"
             "converted to 24 bits (unless the angle is 0).",
     .options = {Opt::number("angle", "Swirl angle in degrees", 180.0, -3600, 3600), backgroundOpt()},
     .transform =
         [](const Args& a, Image& im) {
             check(ThSpiral(im.bits, im.info, a.number("angle"), background(a)), "spiral");
         }},
    {.name = "rotate3d",
     .family = "distort",
     .summary = "Turn the picture in depth like a card, with perspective",
     .help = "Turns the picture about its vertical axis (with --horizontal-axis, about\n"
             "its horizontal axis) and projects it back. --distance is the viewer's\n"
             "distance in percent of the picture's size (0 for a flat, parallel\n"
             "projection; 150..400 looks natural). The result is the bounding box of\n"
             "the turned picture on the background grey.",
     .options = {Opt::number("angle", "Angle in degrees", 35.0, -3600, 3600),
                 Opt::integer("distance", "Viewer distance in percent (0: parallel)", 200, 0, 100000),
                 Opt::flag("horizontal-axis", "Tip the top edge towards the viewer instead"),
                 backgroundOpt()},
     .transform =
         [](const Args& a, Image& im) {
             check(ThRotate3D(im.bits, im.info, a.number("angle"), a.integer("distance"),
                              a.flag("horizontal-axis") ? 1 : 0, background(a)),
                   "rotate3d");
         }},
};

}  // namespace
