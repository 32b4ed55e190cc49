// Every byte of a few small valid files flipped, every bit toggled, and every
// truncation: the reader must succeed or fail cleanly (the sanitizer build
// turns any stray access into a failure), and a success must be a pair whose
// bits block covers its rows.
#include <gtest/gtest.h>

#include "dib/bmp.h"
#include "support/dib_fixture.h"

using vtest::BmpHeaders;
using vtest::Bytes;

namespace {

std::vector<Bytes> SmallFiles() {
    std::vector<Bytes> files;
    // 4-bit RLE, 5 x 3: runs, an absolute run, a delta, end of line and bitmap.
    auto rle4 = BmpHeaders(54 + 64, 5, 3, 4, BI_RLE4, 0, 40, 20);
    for (int i = 0; i < 16; ++i) rle4.raw({unsigned(i * 16), unsigned(i * 8), unsigned(i), 0});
    rle4.raw({3, 0x12, 0, 0, 0, 3, 0x45, 0x60, 0, 2, 1, 1, 2, 0x77, 0, 0, 0, 1});
    files.push_back(rle4);

    // 1-bit, 9 x 2, uncompressed.
    auto mono = BmpHeaders(54 + 8, 9, 2, 1);
    mono.raw({0, 0, 0, 0, 255, 255, 255, 0, 0xAA, 0x80, 0, 0, 0x55, 0x00, 0, 0});
    files.push_back(mono);

    // 16-bit bit fields 5-6-5, 3 x 2.
    auto fields = BmpHeaders(54 + 12, 3, 2, 16, BI_BITFIELDS, 0, 40, 16);
    fields.u32(0xF800).u32(0x07E0).u32(0x001F);
    for (int i = 0; i < 8; ++i) fields.u16(0x1234u * i);
    files.push_back(fields);

    // OS/2 core header, 1 bit, 3 x 2.
    Bytes core;
    core.u16(0x4D42).u32(0).u32(0).u32(14 + 12 + 6);
    core.u32(12).u16(3).u16(2).u16(1).u16(1);
    core.raw({0, 0, 0, 255, 255, 255, 0xA0, 0, 0, 0, 0x40, 0, 0, 0});
    files.push_back(core);

    return files;
}

void ReadExpectingCleanResult(const std::vector<BYTE>& file, const std::string& path,
                              const std::string& what) {
    vtest::WriteFile(path, file);
    vtest::Pair p;
    const int result = ThReadDibData(path.c_str(), p.bits, p.info);
    ASSERT_TRUE(result == 0 || result == -1 || result == -3) << what;
    if (result == 0) {
        ASSERT_NE(p.info, nullptr) << what;
        ASSERT_NE(p.bits, nullptr) << what;
        ASSERT_GE(static_cast<std::int64_t>(GlobalSize(p.bits)), VellumDibImageSize(p.h())) << what;
        const int depth = p.h().biBitCount;
        ASSERT_TRUE(depth == 1 || depth == 4 || depth == 8 || depth == 24) << what;
    }
}

}  // namespace

TEST(BmpMutation, FlippedBytesBitsAndTruncationsFailCleanly) {
    const std::string path = vtest::TempPath("mutant.bmp");
    int fileIndex = 0;
    for (const Bytes& original : SmallFiles()) {
        // The unmutated file must read.
        {
            vtest::WriteFile(path, original.v);
            vtest::Pair p;
            ASSERT_EQ(ThReadDibData(path.c_str(), p.bits, p.info), 0) << "file " << fileIndex;
        }
        for (std::size_t at = 0; at < original.size(); ++at) {
            std::vector<BYTE> mutant = original.v;
            for (BYTE value : {BYTE(0), BYTE(0xFF), BYTE(original.v[at] ^ 0x80), BYTE(1)}) {
                mutant[at] = value;
                ReadExpectingCleanResult(mutant, path,
                                         "file " + std::to_string(fileIndex) + " byte " +
                                             std::to_string(at) + " = " + std::to_string(value));
            }
            for (int bit = 0; bit < 8; ++bit) {
                mutant = original.v;
                mutant[at] ^= BYTE(1u << bit);
                ReadExpectingCleanResult(mutant, path,
                                         "file " + std::to_string(fileIndex) + " byte " +
                                             std::to_string(at) + " bit " + std::to_string(bit));
            }
        }
        for (std::size_t length = 0; length < original.size(); ++length) {
            ReadExpectingCleanResult(
                std::vector<BYTE>(original.v.begin(), original.v.begin() + long(length)), path,
                "file " + std::to_string(fileIndex) + " cut at " + std::to_string(length));
        }
        ++fileIndex;
    }
}
