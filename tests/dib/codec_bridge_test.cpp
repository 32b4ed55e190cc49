#include "dib/codec_bridge.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "codec/ximage.h"
#include "dib/bmp.h"
#include "platform/file.h"
#include "platform/system.h"
#include "support/dib_fixture.h"

namespace {

TEST(CodecBridge, FindTypeTable) {
    struct Case {
        const char* name;
        int type;
    };
    const Case cases[] = {
        {"PICTURE.JPEG", 3}, {"a.Rgn", 1},      {"x.layer", 1},        {"noext", 0},
        {"ends.", 0},        {"dir.jpg/file", 0}, {"dir.png\\file", 0}, {"a.b.GIF", 2},
        {"f.dib", 1},        {"f.aph", 3},       {"f.png", 4},          {"f.ico", 5},
        {"f.tif", 6},        {"f.TIFF", 6},      {"f.tga", 7},          {"f.pcx", 8},
        {"f.wbmp", 9},       {"f.wmf", 10},      {"f.emf", 10},         {"f.jp2", 11},
        {"f.j2k", 11},       {"f.jpc", 12},      {"f.j2c", 12},         {"f.pgx", 13},
        {"f.pnm", 14},       {"f.pgm", 14},      {"f.ppm", 14},         {"f.ras", 15},
        {"f.pbm", 0},        {"f.jpgx", 0},      {".bmp", 1},           {"", 0},
    };
    for (const Case& c : cases) EXPECT_EQ(ThFindType(CString(c.name)), c.type) << c.name;
}

TEST(CodecBridge, CompanionNames) {
    EXPECT_EQ(VellumNarrowPath(ConRgnFileName("/tmp/a.b/pic.jpg")), "/tmp/a.b/pic.rgn");
    // The only dot is in a directory name: nothing is cut.
    EXPECT_EQ(VellumNarrowPath(ConRgnFileName("/tmp/a.b/pic")), "/tmp/a.b/pic.rgn");
    EXPECT_EQ(VellumNarrowPath(ConAphpaFileName("c:\\x.y\\pic.tar.gz")), "c:\\x.y\\pic.tar.aph");
    EXPECT_EQ(VellumNarrowPath(ConAphpaFileName("pic.")), "pic.aph");
    const std::u16string wide = ConAphpaFileName("caf\xc3\xa9.png");
    EXPECT_EQ(wide, u"caf\u00e9.aph");
    EXPECT_TRUE(ConRgnFileName(nullptr).empty());
}

TEST(CodecBridge, TempFileNames) {
    char dir[MAX_PATH + 1];
    const DWORD n = GetTempPathA(sizeof dir, dir);
    ASSERT_GT(n, 0u);
    const std::string plain = std::string(dir, n) + "vellumtmp.txt";
    std::remove(plain.c_str());
    EXPECT_EQ(std::string(ThGetTempFileName("vellumtmp", "txt", 1)), plain);
    vtest::WriteFile(plain, {1});
    // Without makeUnique the existing name comes back.
    EXPECT_EQ(std::string(ThGetTempFileName("vellumtmp", "txt", 0)), plain);
    const std::string unique(ThGetTempFileName("vellumtmp", "txt", 1));
    EXPECT_NE(unique, plain);
    EXPECT_EQ(unique.rfind(std::string(dir, n) + "vellumtmp", 0), 0u);
    EXPECT_EQ(unique.substr(unique.size() - 4), ".txt");
    EXPECT_NE(_access(unique.c_str(), 0), 0);
    std::remove(plain.c_str());
}

TEST(CodecBridge, DiskFreeSpace) {
    const ULARGE_INTEGER free = ThGetDiskFreeSpace("/");
    const auto info = std::filesystem::space("/");
    // Both read the same file system; allow for other writers in between.
    const double diff = static_cast<double>(free.QuadPart) - static_cast<double>(info.available);
    EXPECT_LT(std::abs(diff), 1e9);
}

TEST(CodecBridge, GifTransparentArea) {
    for (int depth : {1, 4, 8}) {
        SCOPED_TRACE(depth);
        vtest::Pair src;
        vtest::Make(src, 13, 3, depth);
        const int t = depth == 1 ? 1 : 5;
        // Pixel (x, y) gets index t when x % 3 == y.
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 13; ++x) {
                if (x % 3 != y) continue;
                BYTE* row = src.row(y);
                if (depth == 1) row[x / 8] |= static_cast<BYTE>(0x80 >> (x % 8));
                else if (depth == 4) row[x / 2] |= static_cast<BYTE>(x % 2 ? t : t << 4);
                else row[x] = static_cast<BYTE>(t);
            }
        src.h().biClrUsed = 7;
        vtest::Pair mask;
        vtest::Make(mask, 2, 2, 24);  // old blocks get released
        ASSERT_EQ(ThGetGifTransparentArea(mask.bits, mask.info, src.bits, src.info, t), 1);
        EXPECT_EQ(mask.h().biBitCount, 8);
        EXPECT_EQ(mask.h().biClrUsed, 7u);
        EXPECT_EQ(mask.h().biWidth, 13);
        for (int i = 0; i < 256; ++i) EXPECT_EQ(mask.table()[i].rgbGreen, i);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 13; ++x) EXPECT_EQ(mask.row(y)[x], x % 3 == y ? 0 : 255) << x;
        EXPECT_EQ(mask.row(0)[13], 255);  // padding filled too
    }
    vtest::Pair src24, mask;
    vtest::Make(src24, 4, 2, 24);
    ASSERT_EQ(ThGetGifTransparentArea(mask.bits, mask.info, src24.bits, src24.info, 0), 1);
    EXPECT_EQ(mask.row(1)[0], 255);
    EXPECT_EQ(ThGetGifTransparentArea(mask.bits, mask.info, src24.bits, src24.info, -1), 0);
    EXPECT_NE(mask.info, nullptr);  // refused before touching the mask
    EXPECT_EQ(ThGetGifTransparentArea(mask.bits, mask.info, nullptr, src24.info, 0), 0);
}

TEST(CodecBridge, ConvertFileToFile) {
    // A 4-bit colour BMP to JPEG is raised to 24 bits; a grey one stays grey.
    vtest::Pair colour;
    vtest::Make(colour, 16, 8, 4, false);
    for (int i = 0; i < 16; ++i) colour.table()[i] = RGBQUAD{BYTE(i * 16), BYTE(255 - i * 16), 40, 0};
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) colour.row(y)[x] = static_cast<BYTE>((x + y) * 17 % 256);
    const std::string bmp = vtest::TempPath("conv4.bmp");
    ASSERT_EQ(ThSaveDibData(bmp.c_str(), colour.bits, colour.info), 1);
    const std::string jpg = vtest::TempPath("conv4.jpg");
    EXPECT_EQ(ThConvertFileToFile(bmp.c_str(), jpg.c_str(), 90), 1);
    BITMAPINFOHEADER h{};
    ASSERT_EQ(GetImageFileInfo(&h, jpg.c_str()), 1);
    EXPECT_EQ(h.biBitCount, 24);
    EXPECT_EQ(h.biWidth, 16);
    EXPECT_EQ(h.biHeight, 8);

    vtest::Pair grey;
    vtest::Make(grey, 16, 8, 4);
    const std::string greyBmp = vtest::TempPath("grey4.bmp");
    ASSERT_EQ(ThSaveDibData(greyBmp.c_str(), grey.bits, grey.info), 1);
    const std::string greyJpg = vtest::TempPath("grey4.jpg");
    EXPECT_EQ(ThConvertFileToFile(greyBmp.c_str(), greyJpg.c_str(), 75), 1);
    ASSERT_EQ(GetImageFileInfo(&h, greyJpg.c_str()), 1);
    EXPECT_EQ(h.biBitCount, 8);

    // 24-bit PNG to GIF: reduced to 8 bits.
    vtest::Pair rgb;
    vtest::Make(rgb, 40, 30, 24);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) vtest::SetBgr(rgb, x, y, BYTE(x * 6), BYTE(y * 8), BYTE(x * y));
    const std::string rgbBmp = vtest::TempPath("rgb.bmp"), png = vtest::TempPath("rgb.png"),
                      gif = vtest::TempPath("rgb.gif");
    ASSERT_EQ(ThSaveDibData(rgbBmp.c_str(), rgb.bits, rgb.info), 1);
    EXPECT_EQ(ThConvertFileToFile(rgbBmp.c_str(), png.c_str(), 75), 1);
    EXPECT_EQ(ThConvertFileToFile(png.c_str(), gif.c_str(), 75), 1);
    ASSERT_EQ(GetImageFileInfo(&h, gif.c_str()), 1);
    EXPECT_EQ(h.biBitCount, 8);

    // Unknown types fail without touching either file; a missing source fails.
    const std::string unknown = vtest::TempPath("out.xyz");
    EXPECT_EQ(ThConvertFileToFile(png.c_str(), unknown.c_str(), 75), 0);
    EXPECT_NE(_access(unknown.c_str(), 0), 0);
    EXPECT_EQ(ThConvertFileToFile(vtest::TempPath("missing.png").c_str(), gif.c_str(), 75), 0);
    // WMF is recognised but never decodes.
    const std::string wmf = vtest::TempPath("x.wmf");
    vtest::WriteFile(wmf, {0xD7, 0xCD, 0xC6, 0x9A, 0, 0});
    EXPECT_EQ(ThConvertFileToFile(wmf.c_str(), gif.c_str(), 75), 0);
    // A failed save still reports the decode [quirk: unchecked-save].
    EXPECT_EQ(ThConvertFileToFile(png.c_str(), "/nonexistent-dir/x.png", 75), 1);
}

TEST(CodecBridge, GetImageFileInfoFailures) {
    BITMAPINFOHEADER h{};
    h.biWidth = 77;
    EXPECT_EQ(GetImageFileInfo(&h, "/nonexistent/a.unknown"), 0);
    EXPECT_EQ(GetImageFileInfo(&h, vtest::TempPath("nothing.png").c_str()), 0);
    EXPECT_EQ(GetImageFileInfo(nullptr, "a.png"), 0);
    EXPECT_EQ(h.biWidth, 77);
}

}  // namespace
