#include "effects/histogram.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "dib/pixel_rows.h"
#include "effects/byte_map.h"
#include "effects/effect_frame.h"

using vellum::effects::DescribePair;
using vellum::effects::Luma;

namespace {

bool Supported(int depth) { return depth == 1 || depth == 4 || depth == 8 || depth == 24; }

// Counts `key` of every pixel: palette pixels through `tableKey` (one value
// per possible index), 24-bit pixels through `pixelKey`.
template <typename PixelKey>
void Count(const BYTE* bits, std::int64_t width, std::int64_t height, std::int64_t stride,
           int depth, const int* tableKey, PixelKey pixelKey, unsigned* histogram) {
    if (depth == 24) {
        // Four interleaved sub-counts keep neighbouring equal keys from
        // waiting on each other's increments.
        static_assert(sizeof(unsigned) == 4);
        std::vector<unsigned> part(4 * 256, 0u);
        unsigned* p0 = part.data();
        unsigned* p1 = p0 + 256;
        unsigned* p2 = p1 + 256;
        unsigned* p3 = p2 + 256;
        for (std::int64_t y = 0; y < height; ++y) {
            const BYTE* row = bits + y * stride;
            std::int64_t x = 0;
            for (; x + 4 <= width; x += 4) {
                ++p0[pixelKey(row + 3 * x)];
                ++p1[pixelKey(row + 3 * x + 3)];
                ++p2[pixelKey(row + 3 * x + 6)];
                ++p3[pixelKey(row + 3 * x + 9)];
            }
            for (; x < width; ++x) ++p0[pixelKey(row + 3 * x)];
        }
        for (int i = 0; i < 256; ++i) histogram[i] += p0[i] + p1[i] + p2[i] + p3[i];
        return;
    }
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* row = bits + y * stride;
        if (depth == 8) {
            for (std::int64_t x = 0; x < width; ++x) ++histogram[tableKey[row[x]]];
        } else {
            for (std::int64_t x = 0; x < width; ++x) {
                ++histogram[tableKey[vellum::PixelIndex(row, x, depth)]];
            }
        }
    }
}

// The keys of every possible index of a palette image (2^depth entries, the
// room the pair's rules give every palette header).
template <typename EntryKey>
void TableKeys(const BITMAPINFO* info, int depth, EntryKey key, int* keys) {
    const RGBQUAD* table = VellumColorTable(info);
    if (depth > 8) return;
    for (int i = 0; i < (1 << depth); ++i) keys[i] = key(table[i]);
}

long TableCount(BITMAPINFO* info) { return std::min<long>(ThCalDibColorCount(info), 256); }

}  // namespace

void ThFormHistogram(void*& bits, BITMAPINFO*& info, unsigned* histogram) {
    if (!histogram) return;
    std::fill(histogram, histogram + 256, 0u);
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride)) return;
    const int depth = info->bmiHeader.biBitCount;
    if (!Supported(depth)) return;
    int keys[256] = {};
    TableKeys(info, depth, [](const RGBQUAD& q) { return Luma(q.rgbBlue, q.rgbGreen, q.rgbRed); },
              keys);
    Count(static_cast<const BYTE*>(bits), width, height, stride, depth, keys,
          [](const BYTE* p) { return Luma(p[0], p[1], p[2]); }, histogram);
}

bool ThEqualizeImage(void*& bits, BITMAPINFO*& info) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride)) return false;
    const int depth = info->bmiHeader.biBitCount;
    if (!Supported(depth)) return false;
    unsigned histogram[256];
    ThFormHistogram(bits, info, histogram);
    unsigned map[256];
    unsigned sum = 0;
    for (int i = 0; i < 256; ++i) map[i] = sum += histogram[i];
    if (map[255] == 0) return false;
    const unsigned low = map[0];
    unsigned range = map[255] - low;
    if (range < 2) range = 1;
    BYTE level[256];
    for (int i = 0; i < 256; ++i) {
        level[i] = static_cast<BYTE>(static_cast<int>((map[i] - low) * 255.0 / range));
    }

    if (depth == 24) {
        const vellum::effects::ByteMap levels(level);
        for (std::int64_t y = 0; y + 1 < height; ++y) {
            BYTE* row = static_cast<BYTE*>(bits) + y * stride;
            levels.apply(row, row, static_cast<std::size_t>(3 * width));
        }
        return true;
    }
    RGBQUAD* table = VellumColorTable(info);
    for (long i = 0, n = TableCount(info); i < n; ++i) {
        table[i].rgbRed = level[table[i].rgbRed];
        table[i].rgbGreen = level[table[i].rgbGreen];
        table[i].rgbBlue = level[table[i].rgbBlue];
    }
    return true;
}

int ThNormalize(void*& bits, BITMAPINFO*& info) {
    std::int64_t width = 0, height = 0, stride = 0;
    if (!DescribePair(bits, info, width, height, stride)) return 0;
    const int depth = info->bmiHeader.biBitCount;
    if (!Supported(depth)) return 0;
    const auto blockSize = static_cast<std::int64_t>(GlobalSize(bits));
    const std::int64_t rowBytes = blockSize / height;

    unsigned histogram[256] = {};
    int keys[256] = {};
    TableKeys(info, depth,
              [](const RGBQUAD& q) { return (77 * q.rgbBlue + 150 * q.rgbGreen + 29 * q.rgbRed) >> 8; },
              keys);
    // 24-bit rows are stepped by the block size / height, as they are written.
    Count(static_cast<const BYTE*>(bits), width, height, depth == 24 ? rowBytes : stride, depth,
          keys, [](const BYTE* p) { return p[0]; }, histogram);

    auto search = [&](std::int64_t threshold, int& low, int& high) {
        std::int64_t sum = 0;
        low = 0;
        while (low < 255 && sum + histogram[low] <= threshold) sum += histogram[low++];
        sum = 0;
        int counted = 0;
        while (counted < 255 && sum + histogram[255 - counted] <= threshold) {
            sum += histogram[255 - counted++];
        }
        high = 255 - counted;
    };
    int low = 0, high = 0;
    search(width * height / 100, low, high);
    if (low == high) search(0, low, high);
    if (low == high) return 0;
    BYTE level[256];
    for (int i = 0; i < 256; ++i) {
        level[i] = i < low ? 0 : (i > high ? 255 : static_cast<BYTE>(254 * (i - low) / (high - low)));
    }

    BYTE* work = static_cast<BYTE*>(GlobalAllocChecked(GPTR, blockSize));
    if (!work) return 0;
    BITMAPINFO* header = ThCreateNewBitmapInfo(info);
    if (!header) {
        GlobalFree(work);
        return 0;
    }
    if (depth == 24) {
        // One table for all three channels; the rest of each row keeps the
        // zeros of the new block.
        const vellum::effects::ByteMap levels(level);
        for (std::int64_t y = 0; y < height; ++y) {
            levels.apply(static_cast<const BYTE*>(bits) + y * rowBytes, work + y * rowBytes,
                         static_cast<std::size_t>(3 * width));
        }
    } else {
        std::memcpy(work, bits, static_cast<std::size_t>(blockSize));
        RGBQUAD* table = VellumColorTable(header);
        const long n = header->bmiHeader.biClrUsed ? std::min<long>(header->bmiHeader.biClrUsed, 256)
                                                   : (1L << depth);
        for (long i = 0; i < n; ++i) {
            table[i].rgbRed = level[table[i].rgbRed];
            table[i].rgbGreen = level[table[i].rgbGreen];
            table[i].rgbBlue = level[table[i].rgbBlue];
        }
    }
    VellumDeleteHeader(info);
    info = header;
    GlobalFree(bits);
    bits = work;
    return 1;
}
