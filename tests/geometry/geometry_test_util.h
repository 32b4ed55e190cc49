// Helpers shared by the geometry tests.
#pragma once

#include <cstdint>
#include <vector>

#include "support/dib_fixture.h"

namespace gtest_geo {

// Grey 24-bit pixel (all three channels v).
inline void SetGrey(vtest::Pair& p, int x, int y, BYTE v) { vtest::SetBgr(p, x, y, v, v, v); }

inline BYTE Blue(vtest::Pair& p, int x, int y) { return p.row(y)[3 * x]; }

// The blue bytes of memory row y of a 24-bit image.
inline std::vector<int> BlueRow(vtest::Pair& p, int y) {
    std::vector<int> v;
    for (int x = 0; x < p.h().biWidth; ++x) v.push_back(p.row(y)[3 * x]);
    return v;
}

// The bytes of memory row y of an 8-bit image.
inline std::vector<int> ByteRow(vtest::Pair& p, int y) {
    std::vector<int> v;
    for (int x = 0; x < p.h().biWidth; ++x) v.push_back(p.row(y)[x]);
    return v;
}

inline void SetIndex(vtest::Pair& p, int x, int y, int v) {
    BYTE* row = p.row(y);
    switch (p.h().biBitCount) {
        case 1:
            if (v) row[x >> 3] |= static_cast<BYTE>(0x80 >> (x & 7));
            else row[x >> 3] &= static_cast<BYTE>(~(0x80 >> (x & 7)));
            break;
        case 4:
            row[x >> 1] = static_cast<BYTE>((x & 1) ? (row[x >> 1] & 0xF0) | v
                                                    : (row[x >> 1] & 0x0F) | (v << 4));
            break;
        default: row[x] = static_cast<BYTE>(v);
    }
}

inline int GetIndex(vtest::Pair& p, int x, int y) {
    const BYTE* row = p.row(y);
    switch (p.h().biBitCount) {
        case 1: return (row[x >> 3] >> (7 - (x & 7))) & 1;
        case 4: return (x & 1) ? row[x >> 1] & 15 : row[x >> 1] >> 4;
        default: return row[x];
    }
}

// Deterministic pseudo-random bytes (fixed seed per call site).
struct Lcg {
    std::uint32_t s;
    BYTE next() {
        s = s * 1664525u + 1013904223u;
        return static_cast<BYTE>(s >> 24);
    }
};

inline void Fill(vtest::Pair& p, std::uint32_t seed) {
    Lcg g{seed};
    const std::int64_t stride = VellumDibStride(p.h().biBitCount, p.h().biWidth);
    const std::int64_t used = (std::int64_t{p.h().biBitCount} * p.h().biWidth + 7) / 8;
    for (int y = 0; y < p.h().biHeight; ++y) {
        for (std::int64_t k = 0; k < used; ++k) p.row(y)[k] = g.next();
        (void)stride;
    }
    // Bits past the last pixel of a packed row stay 0.
    const int spare = static_cast<int>(used * 8 - std::int64_t{p.h().biBitCount} * p.h().biWidth);
    if (spare) {
        for (int y = 0; y < p.h().biHeight; ++y) {
            p.row(y)[used - 1] &= static_cast<BYTE>(0xFF << spare);
        }
    }
}

}  // namespace gtest_geo
