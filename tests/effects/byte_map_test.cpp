#include "effects/byte_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using vellum::effects::ByteMap;

TEST(ByteMap, BothWaysMapEveryByteAndStopAtTheEnd) {
    // Lengths around the 8- and 64-byte blocks, unaligned starts, in place
    // and into a separate row; the byte after the end must stay as it was.
    std::mt19937 rng(99);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        BYTE table[256];
        for (BYTE& t : table) t = static_cast<BYTE>(rng());
        const std::size_t n = round < 140 ? static_cast<std::size_t>(round) : rng() % 1000;
        const std::size_t start = rng() % 64;
        std::vector<BYTE> src(start + n + 1);
        for (BYTE& b : src) b = static_cast<BYTE>(rng());
        std::vector<BYTE> expect = src;
        for (std::size_t i = 0; i < n; ++i) expect[start + i] = table[src[start + i]];
        for (bool permute : {true, false}) {
            const ByteMap map(table, permute);
            std::vector<BYTE> inPlace = src;
            map.apply(inPlace.data() + start, inPlace.data() + start, n);
            EXPECT_EQ(inPlace, expect) << permute;
            std::vector<BYTE> out(src.size(), 0xA5);
            map.apply(src.data() + start, out.data() + start, n);
            EXPECT_TRUE(
                std::equal(out.begin() + start, out.begin() + start + n, expect.begin() + start));
            EXPECT_EQ(out[start + n], 0xA5);
        }
    }
}
