// Every decoder, fed a small valid file of its own format truncated at every
// length and with each byte changed, must either decode or refuse cleanly
// (the sanitizer build checks the "cleanly"). A decoded image must be
// consistent.
#include <gtest/gtest.h>

#include <vector>

#include "codec/ximage.h"

namespace {

CxImage Small(int bpp) {
    CxImage image;
    image.Create(9, 5, static_cast<WORD>(bpp));
    for (long y = 0; y < 5; ++y)
        for (long x = 0; x < 9; ++x) {
            if (bpp <= 8) image.SetPixelIndex(x, y, BYTE((x + y) % (1 << bpp)));
            else image.GetBits(static_cast<DWORD>(y))[3 * x + 1] = BYTE(x * 20 + y);
        }
    return image;
}

void Consistent(const CxImage& image) {
    ASSERT_TRUE(image.IsValid());
    const WORD bpp = image.GetBpp();
    ASSERT_TRUE(bpp == 1 || bpp == 4 || bpp == 8 || bpp == 24);
    ASSERT_EQ(image.GetPaletteSize(), bpp <= 8 ? 1u << bpp : 0u);
    ASSERT_GE(image.GetWidth(), 1u);
    ASSERT_GE(image.GetHeight(), 1u);
}

TEST(CodecMutation, TruncatedAndChangedFilesFailCleanly) {
    const DWORD types[] = {CXIMAGE_FORMAT_BMP, CXIMAGE_FORMAT_GIF, CXIMAGE_FORMAT_JPG,
                           CXIMAGE_FORMAT_PNG, CXIMAGE_FORMAT_ICO, CXIMAGE_FORMAT_TIF,
                           CXIMAGE_FORMAT_TGA, CXIMAGE_FORMAT_PCX, CXIMAGE_FORMAT_WBMP,
                           CXIMAGE_FORMAT_JP2, CXIMAGE_FORMAT_PGX, CXIMAGE_FORMAT_PNM,
                           CXIMAGE_FORMAT_RAS};
    for (DWORD type : types) {
        for (int bpp : {1, 8, 24}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " depth " << bpp);
            std::vector<BYTE> file;
            ASSERT_TRUE(Small(bpp).Encode(file, type));
            CxImage image;
            image.SetMaxPixels(1 << 16);
            for (std::size_t length = 0; length < file.size(); ++length) {
                if (image.Decode(file.data(), length, type)) Consistent(image);
            }
            // The BMP reader goes through a temporary file: fewer changes.
            const std::size_t step = type == CXIMAGE_FORMAT_BMP || type == CXIMAGE_FORMAT_JP2 ? 7 : 1;
            for (std::size_t i = 0; i < file.size(); i += step) {
                for (BYTE value : {BYTE(0), BYTE(0xFF), BYTE(file[i] ^ 0x55)}) {
                    std::vector<BYTE> changed = file;
                    changed[i] = value;
                    if (image.Decode(changed.data(), changed.size(), type)) Consistent(image);
                }
            }
        }
    }
}

}  // namespace
