#include <gtest/gtest.h>

#include <cstdlib>

#include "dib/bmp.h"
#include "support/corpus.h"
#include "dib/pixel_rows.h"
#include "support/dib_fixture.h"
#include "support/sha256.h"

namespace {

// The picture as 8-bit RGBA, top row first, alpha 255.
std::vector<std::uint8_t> TopDownRgba(vtest::Pair& p) {
    const int width = p.h().biWidth, height = p.h().biHeight, depth = p.h().biBitCount;
    std::vector<std::uint8_t> rgba;
    std::vector<BYTE> bgr(static_cast<std::size_t>(3 * width));
    for (int y = height - 1; y >= 0; --y) {
        if (depth == 24) {
            std::memcpy(bgr.data(), p.row(y), bgr.size());
        } else {
            vellum::RowIndexedTo24(p.row(y), bgr.data(), width, depth, p.table());
        }
        for (int x = 0; x < width; ++x) {
            rgba.insert(rgba.end(), {bgr[3 * x + 2], bgr[3 * x + 1], bgr[3 * x], 255});
        }
    }
    return rgba;
}

}  // namespace

TEST(BmpCorpus, GoodFilesReadAtTheirSizeAndTheRestFailCleanly) {
    const auto entries = vtest::CorpusEntries("bmp");
    if (entries.empty()) GTEST_SKIP() << "no BMP corpus at " << vtest::CorpusDir();
    int good = 0;
    for (const auto& e : entries) {
        vtest::Pair p;
        const int result = ThReadDibData(e.path.c_str(), p.bits, p.info);
        if (e.expected != "ok") {
            // Refused or read; either way the sanitizers must stay quiet and
            // a success must be a consistent pair.
            if (result == 0) {
                ASSERT_NE(p.info, nullptr) << e.name;
                ASSERT_NE(p.bits, nullptr) << e.name;
                EXPECT_GE(static_cast<std::int64_t>(GlobalSize(p.bits)),
                          VellumDibImageSize(p.h()))
                    << e.name;
            }
            continue;
        }
        if (e.name.find("topdown") != std::string::npos) {
            // Top-down rows make the written size negative: not allocatable.
            EXPECT_EQ(result, -1) << e.name;
            continue;
        }
        ASSERT_EQ(result, 0) << e.name;
        EXPECT_EQ(p.h().biWidth, e.width) << e.name;
        EXPECT_EQ(std::abs(p.h().biHeight), e.height) << e.name;
        EXPECT_EQ(p.h().biCompression, 0u) << e.name;
        const int depth = p.h().biBitCount;
        EXPECT_TRUE(depth == 1 || depth == 4 || depth == 8 || depth == 24) << e.name;
        if (!e.rgbaSha256.empty() && (depth != 24 || e.name.find("rgb16") == std::string::npos)) {
            EXPECT_EQ(vtest::Sha256Hex(TopDownRgba(p)), e.rgbaSha256) << e.name;
        }
        ++good;
    }
    EXPECT_GT(good, 0);
}
