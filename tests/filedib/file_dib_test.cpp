#include <gtest/gtest.h>

#include "dib/bmp.h"
#include "filedib/file_dib.h"
#include "support/dib_fixture.h"

using vtest::BmpHeaders;
using vtest::Make;
using vtest::Pair;
using vtest::TempPath;

namespace {

std::string WriteBmp(const std::string& name, int width, int height, int ppmX, int ppmY) {
    auto file = BmpHeaders(54, width, height, 24);
    // Resolution fields sit at offsets 38 and 42.
    for (int i = 0; i < 4; ++i) {
        file.v[38 + i] = static_cast<BYTE>(std::uint32_t(ppmX) >> (8 * i));
        file.v[42 + i] = static_cast<BYTE>(std::uint32_t(ppmY) >> (8 * i));
    }
    file.zeros(16);
    const std::string path = TempPath(name);
    vtest::WriteFile(path, file.v);
    return path;
}

}  // namespace

TEST(FileDibQueries, SizesAndHeaders) {
    const std::string path = WriteBmp("q.bmp", 7, 3, 2835, 2835);
    int width = 0, height = 0;
    EXPECT_EQ(CFileDib::GetInfo(path.c_str(), width, height), 1);
    EXPECT_EQ(width, 7);
    EXPECT_EQ(height, 3);
    BITMAPINFOHEADER h{};
    EXPECT_EQ(CFileDib::GetInfoHeader(path.c_str(), &h), 1);
    EXPECT_EQ(h.biBitCount, 24);
    EXPECT_EQ(h.biXPelsPerMeter, 2835);
    EXPECT_EQ(CFileDib::GetSize(path.c_str()), CSize(7, 3));
    EXPECT_EQ(CFileDib::GetFileLength(path.c_str()), 54 + 16);

    const std::string missing = TempPath("missing.bmp");
    EXPECT_EQ(CFileDib::GetInfo(missing.c_str(), width, height), 0);
    EXPECT_EQ(CFileDib::GetInfoHeader(missing.c_str(), &h), 0);
    EXPECT_EQ(CFileDib::GetSize(missing.c_str()), CSize(0, 0));
    EXPECT_EQ(CFileDib::GetLogSize(missing.c_str()), CSize(0, 0));
    EXPECT_EQ(CFileDib::GetFileLength(missing.c_str()), -1);

    const std::string notBmp = TempPath("not.bmp");
    vtest::WriteFile(notBmp, {'G', 'I', 'F', '8', '9', 'a'});
    EXPECT_EQ(CFileDib::GetSize(notBmp.c_str()), CSize(0, 0));
    EXPECT_EQ(CFileDib::GetInfoHeader(notBmp.c_str(), &h), 0);
}

TEST(FileDibQueries, PrintedSizeFitsTheSheet) {
    // 0 pixels per metre means 96 dpi: 2000 x 1000 is 2083 x 1042 hundredths
    // of an inch, fitted to 1660 wide.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("a.bmp", 2000, 1000, 0, 0).c_str()), CSize(1660, 830));
    // 3780 ppm = 96.012 -> 96 dpi; small pictures are left alone.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("b.bmp", 96, 192, 3780, 3780).c_str()), CSize(100, 200));
    // Tall: limited by the height.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("c.bmp", 960, 4800, 0, 0).c_str()), CSize(468, 2340));
    // Both too large; the wider ratio decides.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("d.bmp", 3000, 3000, 0, 0).c_str()), CSize(1660, 1660));
    // 300 dpi (11811 ppm): MulDiv rounds 1000 x 100 / 300 = 333.3 to 333.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("e.bmp", 1000, 500, 11811, 11811).c_str()),
              CSize(333, 167));
    // A negative vertical resolution falls back to 96 dpi too.
    EXPECT_EQ(CFileDib::GetLogSize(WriteBmp("f.bmp", 96, 96, 3780, -5).c_str()), CSize(100, 100));
}

TEST(FileDibHeaderWriter, AlwaysAFullTableAndFieldsAsTheyStand) {
    Pair p;
    Make(p, 3, 2, 4);
    p.h().biClrUsed = 5;
    p.h().biSize = 108;
    p.h().biCompression = 7;
    const std::string path = TempPath("hdr.bmp");
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        file.Write("xxxx", 4);
        EXPECT_EQ(CFileDib::WriteBmpHeader(&file, p.info), 1);
    }
    EXPECT_EQ(p.h().biClrUsed, 0u);
    EXPECT_EQ(p.h().biSizeImage, 8u);
    const auto bytes = vtest::ReadFile(path);
    ASSERT_EQ(bytes.size(), 14u + 40u + 64u);
    EXPECT_EQ(bytes[0], 'B');  // written from offset 0
    EXPECT_EQ(bytes[10], 54 + 64);
    EXPECT_EQ(bytes[2], 54 + 64 + 8);
    EXPECT_EQ(bytes[14], 108);  // biSize not forced
    EXPECT_EQ(bytes[14 + 16], 7);  // nor biCompression
}
