// Helpers shared by the effect tests.
#pragma once

#include <cmath>
#include <random>
#include <vector>

#include "support/dib_fixture.h"

namespace vtest {

// A 24-bit picture whose pixel (x, memory row y) holds channel c =
// (30 x + 3 y + 7 c) mod 256.
inline void MakePattern(Pair& p, int width, int height) {
    Make(p, width, height, 24);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            SetBgr(p, x, y, static_cast<BYTE>((30 * x + 3 * y) % 256),
                   static_cast<BYTE>((30 * x + 3 * y + 7) % 256),
                   static_cast<BYTE>((30 * x + 3 * y + 14) % 256));
        }
    }
}

// A 24-bit picture of random bytes, row padding included, so that a result
// that touches the padding or reads a wrong neighbour shows.
inline void MakeRandom(Pair& p, int width, int height, std::mt19937& rng) {
    Make(p, width, height, 24);
    auto* b = static_cast<BYTE*>(p.bits);
    for (std::int64_t i = 0; i < VellumDibImageSize(p.h()); ++i) b[i] = static_cast<BYTE>(rng());
}

inline void Fill24(Pair& p, int width, int height, BYTE b, BYTE g, BYTE r) {
    Make(p, width, height, 24);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) SetBgr(p, x, y, b, g, r);
    }
}

inline std::vector<int> Px(Pair& p, int x, int y) {
    const BYTE* q = p.row(y) + 3 * x;
    return {q[0], q[1], q[2]};
}

// Mean and standard deviation of every channel byte of a 24-bit picture.
inline void Stats(Pair& p, double& mean, double& sd) {
    double s = 0, s2 = 0, n = 0;
    for (int y = 0; y < p.h().biHeight; ++y) {
        for (int b = 0; b < 3 * p.h().biWidth; ++b) {
            const double v = p.row(y)[b];
            s += v;
            s2 += v * v;
            ++n;
        }
    }
    mean = s / n;
    sd = std::sqrt(s2 / n - mean * mean);
}

}  // namespace vtest
