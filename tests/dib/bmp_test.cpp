#include <gtest/gtest.h>

#include "dib/bmp.h"
#include "dib/convert.h"
#include "platform/messages.h"
#include "support/dib_fixture.h"

using vellum::bmp::ReadStatus;
using vtest::Bytes;
using vtest::BmpHeaders;
using vtest::Make;
using vtest::Pair;
using vtest::TempPath;

namespace {

int ReadFileBytes(const std::vector<BYTE>& file, Pair& p, ReadStatus* status = nullptr) {
    const std::string path = TempPath("read.bmp");
    vtest::WriteFile(path, file);
    return vellum::bmp::ReadDibDataClassified(path.c_str(), p.bits, p.info, status);
}

std::uint32_t U32(const std::vector<BYTE>& v, std::size_t at) {
    return v[at] | (v[at + 1] << 8) | (v[at + 2] << 16) | (std::uint32_t(v[at + 3]) << 24);
}

}  // namespace

TEST(BmpFile, EveryDepthRoundTripsByteForByte) {
    for (int depth : {1, 4, 8, 24}) {
        for (int width : {1, 3, 8, 13}) {
            Pair p, back;
            Make(p, width, 3, depth);
            const auto rowBytes = (width * depth + 7) / 8;
            for (int y = 0; y < 3; ++y) {
                for (int i = 0; i < rowBytes; ++i) p.row(y)[i] = BYTE(37 * y + 11 * i + 1);
            }
            const std::string path = TempPath("round.bmp");
            ASSERT_EQ(ThSaveDibData(path.c_str(), p.bits, p.info), 1);
            ASSERT_EQ(ThReadDibData(path.c_str(), back.bits, back.info), 0) << depth << "/" << width;
            EXPECT_EQ(std::memcmp(back.info, p.info, 40 + 4 * ThCalDibColorCount(p.info)), 0);
            EXPECT_EQ(back.bytes(), p.bytes()) << depth << " bits, width " << width;

            const auto file = vtest::ReadFile(path);
            const std::uint32_t table = 4u * static_cast<std::uint32_t>(ThCalDibColorCount(p.info));
            EXPECT_EQ(file[0], 'B');
            EXPECT_EQ(file[1], 'M');
            EXPECT_EQ(U32(file, 10), 54 + table);
            EXPECT_EQ(U32(file, 2), 54 + table + p.h().biSizeImage);
            EXPECT_EQ(file.size(), 54 + table + p.h().biSizeImage);
        }
    }
}

TEST(BmpFile, SaveRewritesTheCallersHeader) {
    Pair p;
    Make(p, 5, 2, 24);
    p.h().biClrUsed = 3;
    p.h().biSize = 108;
    p.h().biPlanes = 3;
    p.h().biSizeImage = 1;
    p.h().biXPelsPerMeter = 1234;
    const std::string path = TempPath("save24.bmp");
    ASSERT_EQ(ThSaveDibData(path.c_str(), p.bits, p.info), 1);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_EQ(p.h().biSize, 40u);
    EXPECT_EQ(p.h().biPlanes, 1);
    EXPECT_EQ(p.h().biSizeImage, 32u);
    const auto file = vtest::ReadFile(path);
    EXPECT_EQ(U32(file, 10), 54u);  // no table for 24 bits
    EXPECT_EQ(U32(file, 14 + 24), 1234u);

    // A palette image honours biClrUsed.
    Make(p, 2, 2, 8);
    p.h().biClrUsed = 3;
    ASSERT_EQ(ThSaveDibData(path.c_str(), p.bits, p.info), 1);
    EXPECT_EQ(U32(vtest::ReadFile(path), 10), 54u + 12u);
}

TEST(BmpFile, SaveToAnUncreatableFileReportsAndFails) {
    std::string shown;
    static std::string* sink;
    sink = &shown;
    auto previous = VellumSetMessageHandler([](const char* text, UINT) {
        *sink = text;
        return 1;
    });
    Pair p;
    Make(p, 1, 1, 24);
    EXPECT_EQ(ThSaveDibData("/nonexistent-dir/x.bmp", p.bits, p.info), 0);
    VellumSetMessageHandler(previous);
    EXPECT_NE(shown.find("/nonexistent-dir/x.bmp"), std::string::npos) << shown;
}

TEST(BmpFile, ReaderRefusesBadHeaders) {
    Pair p;
    Make(p, 1, 1, 8);
    void* oldBits = p.bits;
    auto file = BmpHeaders(54 + 8, 1, 1, 1).zeros(8 + 4);
    file.v[0] = 'X';
    ReadStatus status;
    EXPECT_EQ(ReadFileBytes(file.v, p, &status), -1);
    EXPECT_EQ(p.info, nullptr);   // released
    EXPECT_EQ(p.bits, oldBits);   // untouched by a bad header
    EXPECT_EQ(status, ReadStatus::corrupt);

    const struct {
        const char* what;
        Bytes file;
    } bad[] = {
        {"planes 2", [] { auto b = BmpHeaders(62, 1, 1, 1).zeros(12); b.v[26] = 2; return b; }()},
        {"depth 2", BmpHeaders(70, 1, 1, 2).zeros(20)},
        {"width 0", BmpHeaders(62, 0, 1, 1).zeros(12)},
        {"negative width", BmpHeaders(62, -5, 1, 1).zeros(12)},
        {"empty", Bytes{}},
        {"short file header", Bytes{}.raw({'B', 'M', 0, 0})},
        {"short info header", BmpHeaders(62, 1, 1, 1).zeros(0)},
        {"short table", [] { auto b = BmpHeaders(1078, 1, 1, 8); b.zeros(100); return b; }()},
        {"offset below 14", BmpHeaders(3, 1, 1, 24).zeros(4)},
    };
    for (const auto& c : bad) {
        Pair q;
        EXPECT_EQ(ReadFileBytes(c.file.v, q), -1) << c.what;
        EXPECT_EQ(q.info, nullptr) << c.what;
    }
    EXPECT_EQ(ThReadDibData("/nonexistent/file.bmp", p.bits, p.info), -1);
    EXPECT_EQ(ThReadDibData(nullptr, p.bits, p.info), -1);
}

TEST(BmpFile, TableLengthIgnoresClrUsed) {
    // An 8-bit file saying two colours: 256 entries are still read, running on
    // into the pixel data, and biClrUsed keeps the file's value.
    auto file = BmpHeaders(54 + 8, 4, 1, 8, 0, 2);
    file.raw({10, 20, 30, 0, 40, 50, 60, 0});
    file.raw({2, 1, 0, 3});  // pixels: also entry 2 of the table as read
    file.zeros(1016);
    Pair p;
    ASSERT_EQ(ReadFileBytes(file.v, p), 0);
    EXPECT_EQ(p.h().biClrUsed, 2u);
    EXPECT_EQ(p.table()[1].rgbBlue, 40);
    EXPECT_EQ(p.table()[2].rgbBlue, 2);
    EXPECT_EQ(p.table()[2].rgbGreen, 1);
    EXPECT_EQ(p.table()[2].rgbReserved, 3);
    EXPECT_EQ(p.row(0)[0], 2);
    EXPECT_EQ(p.row(0)[3], 3);
}

TEST(BmpFile, LargerHeaderVersionsAndCoreHeaders) {
    for (std::uint32_t size : {108u, 124u}) {
        auto file = BmpHeaders(14 + size + 8, 2, 1, 1, 0, 0, size);
        file.zeros(size - 40);
        file.raw({1, 2, 3, 0, 4, 5, 6, 0});
        file.raw({0x40, 0, 0, 0});
        Pair p;
        ASSERT_EQ(ReadFileBytes(file.v, p), 0) << size;
        EXPECT_EQ(p.h().biSize, 40u);
        EXPECT_EQ(p.table()[1].rgbRed, 6);
        EXPECT_EQ(p.row(0)[0], 0x40);
    }

    Bytes core;
    core.u16(0x4D42).u32(0).u32(0).u32(14 + 12 + 768);
    core.u32(12).u16(3).u16(2).u16(1).u16(8);
    for (int i = 0; i < 256; ++i) core.raw({unsigned(i), 0, 255u - i});
    core.raw({0, 1, 2, 0, 3, 4, 5, 0});
    Pair p;
    ASSERT_EQ(ReadFileBytes(core.v, p), 0);
    EXPECT_EQ(p.h().biSize, 40u);
    EXPECT_EQ(p.h().biWidth, 3);
    EXPECT_EQ(p.h().biHeight, 2);
    EXPECT_EQ(p.table()[200].rgbBlue, 200);
    EXPECT_EQ(p.table()[200].rgbRed, 55);
    EXPECT_EQ(p.row(1)[2], 5);
}

TEST(BmpFile, CompressedAndTrueColourFilesComeBackPlain) {
    // RLE8: a run of three 7s, end of line, two literal bytes, end of bitmap.
    auto rle = BmpHeaders(54 + 1024, 4, 2, 8, BI_RLE8, 0, 40, 12);
    rle.zeros(1024);
    rle.raw({3, 7, 0, 0, 0, 3, 9, 8, 6, 0, 0, 1});
    Pair p;
    ASSERT_EQ(ReadFileBytes(rle.v, p), 0);
    EXPECT_EQ(p.h().biCompression, 0u);
    EXPECT_EQ(p.h().biBitCount, 8);
    const std::vector<BYTE> expected = {7, 7, 7, 0, 9, 8, 6, 0};
    EXPECT_EQ(p.bytes(), expected);

    // 32 bits: alpha dropped, 24-bit result, biSizeImage the 32-bit buffer size.
    auto rgba = BmpHeaders(54, 2, 1, 32);
    rgba.raw({1, 2, 3, 200, 4, 5, 6, 100});
    ASSERT_EQ(ReadFileBytes(rgba.v, p), 0);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    EXPECT_EQ(p.h().biClrUsed, 0u);
    const std::vector<BYTE> bgr = {1, 2, 3, 4, 5, 6, 0, 0};
    EXPECT_EQ(p.bytes(), bgr);

    // 16-bit bit fields 5-6-5: white stays white (top bits of each field).
    auto fields = BmpHeaders(54 + 12, 1, 1, 16, BI_BITFIELDS);
    fields.u32(0xF800).u32(0x07E0).u32(0x001F);
    fields.raw({0xFF, 0xFF, 0, 0});
    ASSERT_EQ(ReadFileBytes(fields.v, p), 0);
    EXPECT_EQ(p.h().biBitCount, 24);
    EXPECT_EQ(p.row(0)[0], 248);
    EXPECT_EQ(p.row(0)[1], 248);
    EXPECT_EQ(p.row(0)[2], 248);

    // A compression the display driver does not know fails with -3.
    auto jpeg = BmpHeaders(54, 1, 1, 24, BI_JPEG).zeros(4);
    ReadStatus status;
    EXPECT_EQ(ReadFileBytes(jpeg.v, p, &status), -3);
    EXPECT_EQ(status, ReadStatus::unsupported);
}

TEST(BmpFile, HostileSizesFailBeforeAllocating) {
    ReadStatus status;
    Pair p;
    // Top-down rows make the size negative: nothing can be allocated.
    ASSERT_EQ(ReadFileBytes(BmpHeaders(54, 2, -2, 24).zeros(16).v, p, &status), -1);
    EXPECT_NE(p.info, nullptr);  // the header read fine
    EXPECT_EQ(p.bits, nullptr);
    EXPECT_EQ(status, ReadStatus::unsupported);

    const struct {
        const char* what;
        Bytes file;
    } hostile[] = {
        {"huge dimensions", BmpHeaders(54, 0x7FFFFFFF, 0x7FFFFFFF, 24).zeros(16)},
        {"wide and deep", BmpHeaders(54, 0x7FFFFFFF, 0x7FFFFFFF, 32).zeros(16)},
        {"image far larger than file", BmpHeaders(54, 30000, 30000, 24).zeros(16)},
        {"huge biSizeImage", BmpHeaders(54, 1, 1, 24, 0, 0, 40, 0x7FFFFFF0).zeros(16)},
        {"huge offset", BmpHeaders(0xFFFFFFF0, 1, 1, 24).zeros(16)},
    };
    for (const auto& c : hostile) {
        Pair q;
        EXPECT_EQ(ReadFileBytes(c.file.v, q, &status), -1) << c.what;
        EXPECT_EQ(q.bits, nullptr) << c.what;
        EXPECT_EQ(status, ReadStatus::tooLarge) << c.what;
    }
    Pair q;
    EXPECT_EQ(ReadFileBytes(BmpHeaders(54, 1, INT32_MIN, 24).zeros(16).v, q, &status), -1);
    EXPECT_EQ(q.bits, nullptr);
}

TEST(BmpFile, TruncatedRowsReadAsZero) {
    auto file = BmpHeaders(54, 2, 2, 24);
    file.raw({1, 2, 3, 4, 5});  // the file stops inside the first row
    Pair p;
    ASSERT_EQ(ReadFileBytes(file.v, p), 0);
    const std::vector<BYTE> expected = {1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(p.bytes(), expected);

    // bfOffBits past the end: the header reads, the rows are all zero.
    Pair q;
    ASSERT_EQ(ReadFileBytes(BmpHeaders(5000, 1, 1, 24).v, q), 0);
    EXPECT_EQ(q.bytes(), std::vector<BYTE>(4, 0));
}

TEST(BmpFile, HeaderReaderLeavesTheFileAtThePixels) {
    auto file = BmpHeaders(54 + 8 + 6, 1, 1, 1);
    file.raw({0, 0, 0, 0, 255, 255, 255, 0}).zeros(6).raw({0x80, 0, 0, 0});
    const std::string path = TempPath("info.bmp");
    vtest::WriteFile(path, file.v);
    CFile f(path.c_str(), CFile::modeRead);
    BITMAPFILEHEADER fh{};
    BITMAPINFO* out = VellumNewHeader(kFullHeaderBytes);
    EXPECT_EQ(ThReadBmpInfo(&f, &fh, out), 0);
    EXPECT_EQ(f.GetPosition(), 68u);
    const DWORD offBits = fh.bfOffBits;  // packed field: copy before binding
    EXPECT_EQ(offBits, 68u);
    EXPECT_EQ(VellumColorTable(out)[1].rgbRed, 255);
    EXPECT_EQ(ThReadBmpInfo(nullptr, &fh, out), -1);
    EXPECT_EQ(ThReadBmpInfo(&f, nullptr, out), -1);
    EXPECT_EQ(ThReadBmpInfo(&f, &fh, nullptr), -1);
    VellumDeleteHeader(out);
}
