// Artistic and colour effects: negation, roll, the HSL colour helpers,
// charcoal, implode, plasma, oil paint, solarise and shade.
//
// Common rules:
//  - Each operation takes the DIB pair by reference and either changes it in
//    place or builds a fresh zero-filled (GPTR) bits block that replaces the
//    old one; the header block is kept unless stated.
//  - Null bits or header pointers give false / 0 (ThSolarize: -1) with
//    nothing changed; so do refused depths and bits blocks smaller than their
//    rows. A failed allocation leaves the pair as it was (after the depth
//    conversion, for the operations that convert).
//  - ThCharCoal, ThPlasma and ThShade convert to 24 bits with
//    ThConvertTo24Bit first and leave a 24-bit result.
//  - Luminance is (29 x blue + 150 x green + 77 x red) >> 8 unless stated.
#pragma once

#include "platform/windows_types.h"

// Complements every channel (c becomes 255 - c): the colour table of a palette
// image (pixels untouched), or the pixels of a 24-bit image (padding
// untouched). With grayOnly set, only entries or pixels whose red, green and
// blue are equal change. Applied twice it restores the image. Returns true;
// false for null pointers or 16- and 32-bit images.
VELLUM_API bool ThNegateImage(void*& bits, BITMAPINFO*& info, unsigned grayOnly);

// Rolls the picture around: dx = (width x xPercent / 100) mod width and dy =
// (height x yPercent / 100) mod height, with integer division and signed
// remainders (a negative result gets width or height added); the pixel at
// column x of memory row y moves to column (x + dx) mod width of memory row
// (y + dy) mod height, so positive yPercent moves the picture up. Depths 1,
// 4, 8 and 24; the result is a new block. Returns true; false for null
// pointers, other depths or a failed allocation (nothing changed).
VELLUM_API bool ThRollImage(void*& bits, BITMAPINFO*& info, int xPercent, int yPercent);

// HSL (each 0..1; a hue of exactly 1.0 counts as 0) to red, green and blue:
// v = lightness x (1 + saturation) up to lightness 0.5, else lightness +
// saturation - lightness x saturation; all 0 when v <= 0; otherwise the
// sextant of hue x 6 picks the channel order, and each output is floor(value x
// 255 + 0.5). Values outside 0..1 that would leave 0..255 are clamped. Null
// output pointers are skipped.
VELLUM_API void ThHSLTransform(double hue, double saturation, double lightness, unsigned char* red,
                               unsigned char* green, unsigned char* blue);

// The inverse of ThHSLTransform. Channels are scaled by 1/255 (0.00392156862745098);
// lightness = (max + min) / 2. Grey colours (max = min) give hue 1.0 and
// saturation 0. Otherwise saturation = (max - min) / (max + min) up to
// lightness 0.5, else (max - min) / (2 - max - min); hue, in 0..1 (never 1.0),
// is the usual hexcone angle / 360: red at 0, yellow 1/6, green 1/3, cyan 1/2,
// blue 2/3, magenta 5/6. ThHSLTransform of the result gives the colour back
// within one level. Null output pointers are skipped.
VELLUM_API void ThTransformHSL(unsigned char red, unsigned char green, unsigned char blue,
                               double* hue, double* saturation, double* lightness);

// A charcoal drawing: dark strokes on white paper along the picture's edges.
// The luminance is differentiated with a 3 x 3 Sobel operator (edges
// replicated), the gradient magnitude |gx| + |gy| smoothed with a 3 x 3 box
// and stretched so that the strongest edge is 255, then inverted and written
// as grey into all three channels. A flat picture becomes white. Returns 1, or
// 0 (see the common rules).
VELLUM_API int ThCharCoal(void*& bits, BITMAPINFO*& info);

// Does nothing and returns 0: the effect is deliberately not provided.
VELLUM_API int ThImplodeImage(void*& bits, BITMAPINFO*& info, double amount, int, int, int);

// One plasma value: n = trunc(noise) (saturated to the int range), d = rand()
// mod n (0 when n is 0), v = value + 0.5 x noise - d; 0 when v < 0, 255 when
// v >= 255, else trunc(v + 0.5).
VELLUM_API unsigned char ThPlasmaPixel(unsigned char value, double noise);

// Sets pixel (x, y) of a 24-bit image, channel by channel, to
// ThPlasmaPixel((a + b + 1) / 2, noise) of the pixels a = (ax, ay) and
// b = (bx, by). Coordinates are columns and memory rows. Returns 1; 0 when a
// point lies outside the picture or the image is not 24-bit.
VELLUM_API int ThGriddingPixel(void*& bits, BITMAPINFO*& info, long x, long y, long ax, long ay,
                               long bx, long by, double noise);

// One midpoint-displacement step on a segment whose corners (left, top),
// (right, top), (left, bottom), (right, bottom) are set (left <= right, top <=
// bottom; columns and memory rows, inclusive): the midpoints of its four edges
// are set from their edge's two corners and the centre from the midpoints of
// the top and bottom edges, each through ThGriddingPixel with `noise`. Points
// that coincide with a corner are left alone. Returns 1 when the segment had
// points between its corners, 0 when it is fully set (or refused).
VELLUM_API int ThPlasmaPixels(void*& bits, BITMAPINFO*& info, const RECT* segment, double noise);

// The plasma pass of one level: `depth` 0 runs ThPlasmaPixels on `segment`
// with `noise`; a greater depth splits the segment at its midpoints (only
// along sides longer than one pixel) and runs each part at depth - 1 with
// noise x attenuate / 100. Calling it for depth 0, 1, 2, ... fills the
// segment coarse to fine. noise is in grey levels (100..300 looks like
// clouds), attenuate the percent of it kept at each finer level (clamped
// to 0..100; 40..70 is natural: lower is smoother). Returns 1 while some
// part at that depth still had points to fill, else 0.
VELLUM_API int ThPlasmaImage(void*& bits, BITMAPINFO*& info, RECT* segment, int noise,
                             int attenuate, int depth);

// Renders a plasma cloud over the whole picture (its content is replaced):
// the four corners get random colours, then ThPlasmaImage fills the picture
// level by level. Seeds rand() with the current time. noise and attenuate as
// for ThPlasmaImage (sensible: 200 and 55). Returns 1, or 0 (see the common
// rules).
VELLUM_API int ThPlasma(void*& bits, BITMAPINFO*& info, int noise, int attenuate);

// Oil paint: every pixel takes the value of the most frequent intensity in a
// disc of the given radius around it (the pixels whose offsets satisfy
// dx^2 + dy^2 <= radius^2). Intensities are (29 x blue + 150 x green + 77 x
// red) >> 8 through the table of a palette image but (77 x blue + 150 x green
// + 29 x red) >> 8 for 24-bit pixels [quirk: oil-swapped-weights]. The disc is
// walked row by row (memory order) and left to right, and the first pixel
// whose count becomes strictly the highest is the one copied. Pixels closer
// than radius to an edge are copied unchanged; radius 0 copies the picture.
// Depths 1, 4, 8 and 24 (palette pixels copy their index). Returns 1; 0 for
// null pointers, other depths or failed allocations (nothing changed).
// Radius 2..5 gives a painted look.
VELLUM_API int ThOilPaintImage(void*& bits, BITMAPINFO*& info, unsigned radius);

// Luminance of colour-table entry `index`; 0 for a null header.
VELLUM_API unsigned char ThIntensity(BITMAPINFO* info, unsigned char index);

// Inverts the bright levels: threshold = trunc(percent x 256.0 x 0.01) and each
// channel c above it becomes 255 - c. Images of 8 bits or fewer change their
// table's red, green and blue; deeper images every byte of each row's first
// 3 x width bytes, rows being (size of the bits block / height) bytes apart
// [quirk: solarize-rows] (a 32-bit image, which only exists before
// conversion, is therefore not treated pixel by pixel). Percent 100 changes
// nothing; 0 inverts every non-zero byte. Returns 1; -1 for a null pointer.
VELLUM_API int ThSolarize(void*& bits, BITMAPINFO*& info, float percent);

// Shades the picture as a relief lit from one direction: the luminance is read
// as a height field, each pixel's surface normal (from a 3 x 3 Sobel gradient,
// edges replicated, against a vertical component of 2 x 255) is lit by a
// distant light, and the shade is 255 x the cosine of the angle between them
// (0 when the surface faces away).
//  - azimuth: direction the light comes from, in degrees counterclockwise from
//    the right of the picture as seen on screen (90 is from the top, 135 the
//    classic upper left).
//  - elevation: the light's height above the picture in degrees (90 straight
//    down, where a flat area is white; 30..45 gives clear relief).
//  - gray non-zero writes the shade as grey; zero multiplies each colour by
//    shade / 255, keeping the colours in the relief.
// Returns 1, or 0 (see the common rules).
VELLUM_API int ThShade(void*& bits, BITMAPINFO*& info, int gray, double azimuth, double elevation);
