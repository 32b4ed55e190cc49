#include "dib/bmp_expand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

using vellum::bmp::ExpandBitFields;
using vellum::bmp::ExpandRle;
using vellum::bmp::ReadStatus;
using Bytes = std::vector<BYTE>;

namespace {

BITMAPINFOHEADER makeHeader(LONG width, LONG height, WORD bits, DWORD compression) {
    BITMAPINFOHEADER h{};
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = bits;
    h.biCompression = compression;
    return h;
}

std::size_t strideOf(LONG width, WORD bits) {
    return std::size_t((bits * width + 31) / 32 * 4);
}

// Expands into a buffer of exactly stride x height bytes, filled with garbage
// first so that pixels the stream skips are seen to come out 0.
Bytes rle(LONG width, LONG height, WORD bits, const Bytes& stream,
          ReadStatus expected = ReadStatus::ok) {
    const auto h = makeHeader(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
    Bytes dst(strideOf(width, bits) * std::size_t(height), 0xCD);
    EXPECT_EQ(ExpandRle(h, stream.data(), stream.size(), dst.data(), dst.size()), expected);
    return dst;
}

Bytes fields(LONG width, LONG height, WORD bits, const DWORD (&masks)[3], const Bytes& src) {
    const auto h = makeHeader(width, height, bits, BI_BITFIELDS);
    Bytes dst(strideOf(width, bits) * std::size_t(height), 0xCD);
    EXPECT_EQ(ExpandBitFields(h, masks, src.data(), src.size(), dst.data(), dst.size()),
              ReadStatus::ok);
    return dst;
}

Bytes words(std::initializer_list<unsigned> values) {
    Bytes out;
    for (unsigned v : values) out.insert(out.end(), {BYTE(v), BYTE(v >> 8)});
    return out;
}

Bytes dwords(std::initializer_list<DWORD> values) {
    Bytes out;
    for (DWORD v : values)
        out.insert(out.end(), {BYTE(v), BYTE(v >> 8), BYTE(v >> 16), BYTE(v >> 24)});
    return out;
}

// Pixel-at-a-time decoder used as the reference for the packed fast paths.
Bytes referenceRle(LONG width, LONG height, WORD bits, const Bytes& s) {
    const std::size_t stride = strideOf(width, bits);
    Bytes out(stride * std::size_t(height), 0);
    std::size_t i = 0;
    long x = 0, y = 0;
    auto put = [&](unsigned v) {
        if (x >= width) return;
        const std::size_t row = std::size_t(y) * stride;
        if (bits == 8) out[row + std::size_t(x)] = BYTE(v);
        if (bits == 4) out[row + std::size_t(x) / 2] |= BYTE(v << (x & 1 ? 0 : 4));
        ++x;
    };
    auto nibble = [&](unsigned byte, unsigned k) { return k & 1 ? byte & 15 : byte >> 4; };
    while (y < height && i + 1 < s.size()) {
        const unsigned count = s[i], value = s[i + 1];
        i += 2;
        if (count) {
            for (unsigned k = 0; k < count; ++k) put(bits == 8 ? value : nibble(value, k));
        } else if (value == 0) {
            x = 0, ++y;
        } else if (value == 1) {
            break;
        } else if (value == 2) {
            if (i + 1 >= s.size()) break;
            x = std::min<long>(x + s[i], width), y += s[i + 1], i += 2;
        } else {
            const std::size_t bytes = bits == 8 ? value : (value + 1) / 2;
            for (unsigned k = 0; k < value; ++k) {
                const std::size_t at = i + (bits == 8 ? k : k / 2);
                if (at >= s.size()) break;
                put(bits == 8 ? s[at] : nibble(s[at], k));
            }
            i += bytes + (bytes & 1);
        }
    }
    return out;
}

}  // namespace

TEST(ExpandRle, Rle8RunsEndOfLineAndEndOfBitmap) {
    // 5 x 3, stride 8. Rows are bottom-up: the first row decoded is row 0.
    const Bytes stream = {
        0x02, 0x11, 0x00, 0x03, 0x21, 0x22, 0x23, 0x00,  // run, odd absolute run + pad
        0x00, 0x00,                                      // end of line
        0x00, 0x04, 0x31, 0x32, 0x33, 0x34, 0x01, 0x41,  // even absolute run, no pad
        0x00, 0x00,                                      //
        0x01, 0x51, 0x00, 0x01,                          // end of bitmap
        0x05, 0x99,                                      // ignored
    };
    EXPECT_EQ(rle(5, 3, 8, stream), (Bytes{0x11, 0x11, 0x21, 0x22, 0x23, 0, 0, 0,  //
                                           0x31, 0x32, 0x33, 0x34, 0x41, 0, 0, 0,  //
                                           0x51, 0,    0,    0,    0,    0, 0, 0}));
}

TEST(ExpandRle, Rle8DeltaSkipsPixelsAndRunsAreCutAtTheRowEnd) {
    // Delta right 3 and up 1, then right 1 and up 2; skipped pixels are 0.
    EXPECT_EQ(rle(4, 4, 8,
                  {0x01, 0x07, 0x00, 0x02, 0x02, 0x01, 0x01, 0x08, 0x00, 0x00, 0x00, 0x02, 0x01,
                   0x01, 0x01, 0x09, 0x00, 0x01}),
              (Bytes{7, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 9, 0, 0}));

    // Width 3: runs and an absolute run (with its pad) stop at the row end and
    // do not wrap; a delta past the row end leaves nothing more on that row.
    EXPECT_EQ(
        rle(3, 3, 8, {0x05, 0x07, 0x00, 0x05, 1,    2,    3,    4,    5,    0x00, 0x00, 0x00,  //
                      0x01, 0x06, 0x00, 0x04, 1,    2,    3,    4,    0x00, 0x00,              //
                      0x00, 0x02, 0x09, 0x00, 0x02, 0x05, 0x00, 0x00, 0x01, 0x04}),
        (Bytes{7, 7, 7, 0, 6, 1, 2, 0, 0, 0, 0, 0}));

    // Past the last row (by end of line or by delta) decoding ends.
    EXPECT_EQ(
        rle(2, 2, 8, {0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x02, 0x05, 0x00, 0x00, 0x02, 0x05}),
        (Bytes{3, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rle(2, 2, 8, {0x00, 0x02, 0x01, 0x05, 0x02, 0x05, 0x00, 0x00, 0x02, 0x05}),
              Bytes(8, 0));
}

TEST(ExpandRle, Rle4AlternatesNibblesAndPadsAbsoluteRuns) {
    // 7 x 4, stride 4; the last nibble of each row is padding and stays 0.
    const Bytes stream = {
        0x03, 0x12, 0x00, 0x03, 0x34, 0x50, 0x01, 0x6A, 0x00, 0x00,  // odd-start absolute run
        0x00, 0x05, 0x9A, 0xBC, 0xD0, 0x00, 0x02, 0xEF, 0x00, 0x00,  // 3 bytes + pad; odd-start run
        0x01, 0x70, 0x00, 0x03, 0x12, 0x30, 0x04, 0x45, 0x00, 0x00,  // run cut at the row end
        0x01, 0x10, 0x06, 0xAB, 0x00, 0x01,                          // long odd-start run
    };
    EXPECT_EQ(rle(7, 4, 4, stream), (Bytes{0x12, 0x13, 0x45, 0x60, 0x9A, 0xBC, 0xDE, 0xF0,  //
                                           0x71, 0x23, 0x45, 0x40, 0x1A, 0xBA, 0xBA, 0xB0}));
    EXPECT_EQ(referenceRle(7, 4, 4, stream), rle(7, 4, 4, stream));
}

TEST(ExpandRle, TruncatedStreamsKeepWhatWasDecoded) {
    // An absolute run cut short keeps the pixels that arrived.
    EXPECT_EQ(rle(6, 1, 8, {0x01, 0x09, 0x00, 0x05, 0x21, 0x22}),
              (Bytes{9, 0x21, 0x22, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rle(6, 1, 4, {0x00, 0x05, 0x21}), (Bytes{0x21, 0, 0, 0}));
    // A lone count, a delta without its offsets, nothing at all.
    EXPECT_EQ(rle(2, 1, 8, {0x02}), Bytes(4, 0));
    EXPECT_EQ(rle(2, 2, 8, {0x01, 0x04, 0x00, 0x02, 0x01}), (Bytes{4, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rle(2, 1, 8, {}), Bytes(4, 0));
}

TEST(ExpandRle, AgreesWithPixelAtATimeDecodingOnRandomStreams) {
    std::mt19937 rng(20240611);
    for (int c = 0; c < 3000; ++c) {
        const WORD bits = (c & 1) ? 4 : 8;
        const LONG width = LONG(rng() % 19 + 1), height = LONG(rng() % 6 + 1);
        Bytes s;
        for (int t = int(rng() % 24); t > 0; --t) {
            switch (rng() % 6) {
                case 0:
                    s.insert(s.end(), {0, 0});
                    break;
                case 1:
                    s.insert(s.end(), {0, 2, BYTE(rng() % 8), BYTE(rng() % 3)});
                    break;
                case 2: {
                    const BYTE n = BYTE(rng() % 12 + 3);
                    s.insert(s.end(), {0, n});
                    const std::size_t b = bits == 8 ? n : (n + 1) / 2;
                    for (std::size_t k = 0; k < b + (b & 1); ++k) s.push_back(BYTE(rng()));
                    break;
                }
                default:
                    s.insert(s.end(), {BYTE(rng() % 24 + 1), BYTE(rng())});
                    break;
            }
        }
        if (rng() % 4 == 0 && !s.empty()) s.resize(rng() % s.size());
        ASSERT_EQ(rle(width, height, bits, s), referenceRle(width, height, bits, s))
            << "case " << c << ", " << width << " x " << height << " at " << bits;
    }
}

TEST(ExpandRle, RefusesShapesItCannotTake) {
    const Bytes s = {0x01, 0x01};
    Bytes dst(64);
    auto run = [&](LONG w, LONG h, WORD bits, DWORD comp, std::size_t dstLength) {
        return ExpandRle(makeHeader(w, h, bits, comp), s.data(), s.size(), dst.data(), dstLength);
    };
    EXPECT_EQ(run(4, 2, 4, BI_RLE8, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(4, 2, 8, BI_RLE4, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(4, 2, 8, BI_RGB, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(4, -2, 8, BI_RLE8, 64), ReadStatus::unsupported);  // top-down
    EXPECT_EQ(run(0, 2, 8, BI_RLE8, 64), ReadStatus::corrupt);
    EXPECT_EQ(run(4, 0, 8, BI_RLE8, 64), ReadStatus::corrupt);
    EXPECT_EQ(run(5, 2, 8, BI_RLE8, 15), ReadStatus::corrupt);  // needs 16
    EXPECT_EQ(run(5, 2, 8, BI_RLE8, 16), ReadStatus::ok);
    // Products that overflow 32 or 64 bits are still seen to be too large.
    EXPECT_EQ(run(0x7FFFFFFF, 0x7FFFFFFF, 8, BI_RLE8, 64), ReadStatus::corrupt);
    EXPECT_EQ(ExpandRle(makeHeader(4, 1, 8, BI_RLE8), nullptr, 2, dst.data(), 64),
              ReadStatus::corrupt);
}

TEST(ExpandBitFields, SixteenBitFieldsBecomeFiveFiveFive) {
    // 5-6-5, width 5 (stride 12, two padding bytes per row that must be 0).
    const DWORD m565[3] = {0xF800, 0x07E0, 0x001F};
    EXPECT_EQ(fields(5, 2, 16, m565,
                     words({0xFFFF, 0xF800, 0x07E0, 0x0020, 0x0040, 0xFFFF, 0x001F, 0x8410, 0x0841,
                            0x1234, 0x5678, 0xFFFF})),
              words({0x7FFF, 0x7C00, 0x03E0, 0x0000, 0x0020, 0, 0x001F, 0x4210, 0x0421, 0x0914,
                     0x2B38, 0}));

    // 2-3-1 fields are shifted up, not replicated; a zero mask gives 0; a
    // mask with a gap spans its lowest to highest bit.
    const DWORD m231[3] = {0x0030, 0x000E, 0x0001};
    EXPECT_EQ(fields(2, 1, 16, m231, words({0x003F, 0x0012})), words({0x6390, 0x2080}));
    const DWORD mZero[3] = {0x7C00, 0, 0x001F};
    EXPECT_EQ(fields(2, 1, 16, mZero, words({0xFFFF, 0x7C1F})), words({0x7C1F, 0x7C1F}));
    const DWORD mGap[3] = {0x8001, 0, 0};  // 16 bits wide; top five are 15..11
    EXPECT_EQ(fields(2, 1, 16, mGap, words({0x8001, 0x7FFF})), words({0x4000, 0}));
}

TEST(ExpandBitFields, ThirtyTwoBitFieldsBecomeBlueGreenRedZero) {
    // 10-10-10 with two alpha bits that are dropped.
    const DWORD m101010[3] = {0x3FF00000, 0x000FFC00, 0x000003FF};
    EXPECT_EQ(fields(2, 1, 32, m101010, dwords({0xFFF00000 | (0x200u << 10) | 0x003, 0x000FFFFF})),
              (Bytes{0x00, 0x80, 0xFF, 0, 0xFF, 0xFF, 0x00, 0}));

    // 8-8-8 in unusual places: red in byte 1, green in byte 2, blue in byte 3.
    const DWORD mMoved[3] = {0x0000FF00, 0x00FF0000, 0xFF000000};
    EXPECT_EQ(fields(1, 2, 32, mMoved, dwords({0x332211AA, 0xCCBBAA00})),
              (Bytes{0x33, 0x22, 0x11, 0, 0xCC, 0xBB, 0xAA, 0}));

    // 4-bit and 1-bit fields are shifted up; zero masks give 0.
    const DWORD mNarrow[3] = {0x0F00, 0x00F0, 0x0001};
    EXPECT_EQ(fields(1, 1, 32, mNarrow, dwords({0xFFFFFF5F})), (Bytes{0x80, 0x50, 0xF0, 0}));
    const DWORD mNone[3] = {0, 0, 0};
    EXPECT_EQ(fields(1, 1, 32, mNone, dwords({0xFFFFFFFF})), Bytes(4, 0));
}

TEST(ExpandBitFields, ShortSourceAndRefusedShapes) {
    // Three and a half pixels of a 2 x 2 image: whole pixels only, rest 0.
    const DWORD m555[3] = {0x7C00, 0x03E0, 0x001F};
    EXPECT_EQ(fields(2, 2, 16, m555, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}),
              (Bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0, 0}));

    Bytes src(64), dst(64);
    auto run = [&](LONG w, LONG h, WORD bits, std::size_t dstLength) {
        return ExpandBitFields(makeHeader(w, h, bits, BI_BITFIELDS), m555, src.data(), src.size(),
                               dst.data(), dstLength);
    };
    EXPECT_EQ(run(2, 2, 24, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(2, 2, 8, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(2, -2, 32, 64), ReadStatus::unsupported);
    EXPECT_EQ(run(3, 2, 32, 23), ReadStatus::corrupt);
    EXPECT_EQ(run(3, 2, 16, 15), ReadStatus::corrupt);  // stride 8
    EXPECT_EQ(run(3, 2, 16, 16), ReadStatus::ok);
    EXPECT_EQ(run(0x40000000, 0x7FFFFFFF, 32, 64), ReadStatus::corrupt);
}
