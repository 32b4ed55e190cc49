// The lookup tables behind the tone controls.
#include "effects/tone_tables.h"

#include <cmath>
#include <cstdlib>

namespace vellum {
namespace {

BYTE ClampByte(int v) { return static_cast<BYTE>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// trunc toward zero, then 0..255; NaN gives 0.
BYTE TruncClamp(double v) {
    if (!(v > 0)) return 0;
    if (v >= 255.0) return 255;
    return static_cast<BYTE>(static_cast<int>(v));
}

}  // namespace

bool ContrastTables(double red, double green, double blue, BYTE* redTable, BYTE* greenTable,
                    BYTE* blueTable) {
    const bool neutral = std::fabs(red - 1.0) < 0.001 && std::fabs(green - 1.0) < 0.001 &&
                         std::fabs(blue - 1.0) < 0.001;
    if (neutral || red < 0) return false;
    if (green < 0.001) green = red;
    if (blue < 0.001) blue = red;
    for (int i = 0; i < 256; ++i) {
        redTable[i] = TruncClamp((i - 128) * red + 128.0);
        greenTable[i] = TruncClamp((i - 128) * green + 128.0);
        blueTable[i] = TruncClamp((i - 128) * blue + 128.0);
    }
    return true;
}

bool BalanceTables(int red, int green, int blue, BYTE* redTable, BYTE* greenTable,
                   BYTE* blueTable) {
    // Offsets beyond +-255 saturate every entry; clamping them first keeps the
    // sums inside int.
    auto fold = [](int v) { return v < -256 ? -256 : (v > 256 ? 256 : v); };
    red = fold(red);
    green = fold(green);
    blue = fold(blue);
    for (int i = 0; i < 256; ++i) {
        redTable[i] = ClampByte(i + red);
        greenTable[i] = ClampByte(i + green);
        blueTable[i] = ClampByte(i + blue);
    }
    return true;
}

bool GammaTables(int red, int green, int blue, BYTE* redTable, BYTE* greenTable,
                 BYTE* blueTable) {
    if (red < 1 || red > 100) return false;
    if (red == 50 && green == 50 && blue == 50) return false;
    if (green < 1 || green > 100) green = red;
    if (blue < 1 || blue > 100) blue = red;
    auto fill = [](int position, BYTE* table) {
        const double e = 1.0 / std::pow(10.0, position * 0.02 - 1.0);
        table[0] = 0;
        table[255] = 255;
        for (int i = 1; i < 255; ++i) {
            const double v = std::pow(i * 0.00392156862745098, e) * 255.0;
            const int t = static_cast<int>(v);
            table[i] = static_cast<BYTE>(t > 255 ? 255 : t);
        }
    };
    fill(red, redTable);
    fill(green, greenTable);
    fill(blue, blueTable);
    return true;
}

bool ColorMaskTables(unsigned long colour, int amount, int mode, BYTE* redTable,
                     BYTE* greenTable, BYTE* blueTable) {
    const int r = static_cast<int>(colour & 0xFF);
    const int g = static_cast<int>((colour >> 8) & 0xFF);
    const int b = static_cast<int>((colour >> 16) & 0xFF);
    switch (mode) {
        case 0: {
            // 64 bits: an amount far outside 0..100 must not overflow before
            // the byte store.
            const long long a = amount;
            for (int i = 0; i < 256; ++i) {
                redTable[i] = static_cast<BYTE>((r * (100 - a) + i * a) / 100);
                greenTable[i] = static_cast<BYTE>((g * (100 - a) + i * a) / 100);
                blueTable[i] = static_cast<BYTE>((b * (100 - a) + i * a) / 100);
            }
            return true;
        }
        case 1:
            for (int i = 0; i < 256; ++i) {
                redTable[i] = static_cast<BYTE>(i - r > 0 ? i - r : 0);
                greenTable[i] = static_cast<BYTE>(i - g > 0 ? i - g : 0);
                blueTable[i] = static_cast<BYTE>(i - b > 0 ? i - g : 0);
            }
            return true;
        case 2:
            for (int i = 0; i < 256; ++i) {
                redTable[i] = static_cast<BYTE>(i * r / 255);
                greenTable[i] = static_cast<BYTE>(i * g / 255);
                blueTable[i] = static_cast<BYTE>(i * b / 255);
            }
            return true;
        case 3:
            for (int i = 0; i < 256; ++i) {
                redTable[i] = static_cast<BYTE>(std::abs(i - r));
                greenTable[i] = static_cast<BYTE>(std::abs(i - g));
                blueTable[i] = static_cast<BYTE>(std::abs(i - b));
            }
            return true;
        default:
            return false;
    }
}

}  // namespace vellum
