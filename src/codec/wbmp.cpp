// WBMP type 0 (our own): multi-byte type, fixed header byte, width and
// height, then 1-bit rows (1 white) padded to bytes. Decodes to a 1-bit image
// with index 0 black and 1 white. Encoding writes 1-bit images with a
// black-and-white reading of their table, and other images thresholded at
// grey (30 R + 59 G + 11 B) / 100 >= 128.
#include <cstring>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {
namespace {

bool ReadMultiByte(ByteCursor& in, std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < 5; ++i) {
        const std::uint8_t b = in.u8();
        if (!in.ok()) return false;
        value = value << 7 | (b & 0x7F);
        if (!(b & 0x80)) return true;
    }
    return false;
}

void PutMultiByte(Bytes& out, std::uint32_t v) {
    std::uint8_t tmp[5];
    int n = 0;
    do {
        tmp[n++] = v & 0x7F;
        v >>= 7;
    } while (v);
    while (n-- > 0) out.push_back(static_cast<std::uint8_t>(tmp[n] | (n ? 0x80 : 0)));
}

}  // namespace

bool DecodeWbmp(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    std::uint32_t type = 0, w = 0, h = 0;
    if (!ReadMultiByte(in, type) || type != 0) return false;
    if (in.u8() != 0 || !in.ok()) return false;  // fixed header: no extensions
    if (!ReadMultiByte(in, w) || !ReadMultiByte(in, h)) return false;
    if (!image.PixelsAllowed(w, h)) return false;
    const std::size_t rowBytes = (w + 7) / 8;
    if (in.left() < std::uint64_t{rowBytes} * h) return false;
    if (!image.Create(w, h, 1, CXIMAGE_FORMAT_WBMP)) return false;
    for (std::uint32_t y = 0; y < h; ++y) {
        BYTE* row = image.GetBits(h - 1 - y);
        in.bytes(row, rowBytes);
        if (w % 8) row[w / 8] &= static_cast<BYTE>(0xFF00 >> (w % 8));
    }
    return in.ok();
}

bool EncodeWbmp(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    out.clear();
    PutMultiByte(out, 0);
    out.push_back(0);
    PutMultiByte(out, w);
    PutMultiByte(out, h);
    for (DWORD y = 0; y < h; ++y) {
        const DWORD sy = h - 1 - y;
        BYTE acc = 0;
        for (DWORD x = 0; x < w; ++x) {
            const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(sy));
            if ((c.rgbRed * 30 + c.rgbGreen * 59 + c.rgbBlue * 11) / 100 >= 128)
                acc |= static_cast<BYTE>(0x80 >> (x % 8));
            if (x % 8 == 7 || x == w - 1) {
                out.push_back(acc);
                acc = 0;
            }
        }
    }
    return true;
}

}  // namespace vellum::codec
