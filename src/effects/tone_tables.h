// Lookup-table builders of the tone controls. The image object's Contrast,
// ColorBalana, Brightness and Gramma, ThColorMask and the file-to-file family
// all build their tables here, so every caller gets the same bytes.
//
// Common rules: each builder fills three 256-byte tables (red, green, blue;
// output value for each input value) and returns true, or returns false and
// leaves the tables untouched when the arguments say "change nothing". The
// caller applies the tables with ThCurve.
#pragma once

#include "platform/windows_types.h"

namespace vellum {

// Contrast: false when all three factors lie within 0.001 of 1 (|f - 1| <
// 0.001) or the red factor is negative. Otherwise a green or blue factor below
// 0.001 takes the red factor's value [quirk: red-precedence], and
// table[i] = trunc((i - 128) x f + 128.0) (toward zero), clamped to 0..255
// (a NaN factor gives 0).
VELLUM_API bool ContrastTables(double red, double green, double blue, BYTE* redTable,
                               BYTE* greenTable, BYTE* blueTable);

// Colour balance and brightness: table[i] = i + offset clamped to 0..255 for
// each channel's offset. Always true.
VELLUM_API bool BalanceTables(int red, int green, int blue, BYTE* redTable, BYTE* greenTable,
                              BYTE* blueTable);

// Gamma positions 1..100 (50 neutral): false unless 1 <= red <= 100, and false
// when all three are 50. A green or blue position outside 1..100 takes the
// red one. Per channel e = 1.0 / 10^(position x 0.02 - 1.0); table[0] = 0,
// table[255] = 255, and for i = 1..254
// table[i] = min(255, trunc(pow(i x 0.00392156862745098, e) x 255.0)).
VELLUM_API bool GammaTables(int red, int green, int blue, BYTE* redTable, BYTE* greenTable,
                            BYTE* blueTable);

// Colour-mask tables for ThColorMask modes 0..3, with R, G, B the colour's
// components (0x00BBGGRR) and a = amount:
//   0 tint:       table[i] = (C x (100 - a) + i x a) / 100 (C the channel's
//                 component; a outside 0..100 is not clamped and the result
//                 is stored as a byte [quirk: tint-wraps])
//   1 subtract:   red[i] = max(i - R, 0), green[i] = max(i - G, 0),
//                 blue[i] = byte(i - G) when i - B > 0, else 0
//                 [quirk: subtract-blue-uses-green]
//   2 multiply:   table[i] = i x C / 255
//   3 difference: table[i] = |i - C|
// Other modes: false (no tables; the library changes nothing for them).
VELLUM_API bool ColorMaskTables(unsigned long colour, int amount, int mode, BYTE* redTable,
                                BYTE* greenTable, BYTE* blueTable);

}  // namespace vellum
