// PGX (our own; the JPEG 2000 test format): "PG", byte order "ML" (big
// endian) or "LM", an optional sign "+" or "-", the bit depth (1 to 16),
// width and height, one white-space byte, then samples of 1 or 2 bytes.
// Decodes to 8-bit grey: signed samples are offset by 2^(depth-1), then
// scaled as (v x 255 + max / 2) / max with max = 2^depth - 1. Encoding
// writes "PG ML +8" from the image's grey values.
#include <string>

#include "codec/formats.h"
#include "codec/reader.h"

namespace vellum::codec {
namespace {

void SkipBlanks(ByteCursor& in) {
    while (in.need(1) && (in.data()[in.pos()] == ' ' || in.data()[in.pos()] == '\t')) in.skip(1);
}

bool Number(ByteCursor& in, std::uint32_t& v) {
    SkipBlanks(in);
    v = 0;
    int digits = 0;
    while (in.need(1) && in.data()[in.pos()] >= '0' && in.data()[in.pos()] <= '9' && digits < 9) {
        v = v * 10 + (in.data()[in.pos()] - '0');
        in.skip(1);
        ++digits;
    }
    return digits > 0;
}

}  // namespace

bool DecodePgx(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    if (in.u8() != 'P' || in.u8() != 'G' || !in.ok()) return false;
    SkipBlanks(in);
    const std::uint8_t o1 = in.u8(), o2 = in.u8();
    if (!in.ok()) return false;
    bool bigEndian;
    if (o1 == 'M' && o2 == 'L') bigEndian = true;
    else if (o1 == 'L' && o2 == 'M') bigEndian = false;
    else return false;
    SkipBlanks(in);
    bool isSigned = false;
    if (in.need(1) && (in.data()[in.pos()] == '+' || in.data()[in.pos()] == '-')) {
        isSigned = in.data()[in.pos()] == '-';
        in.skip(1);
    }
    std::uint32_t depth = 0, w = 0, h = 0;
    if (!Number(in, depth) || !Number(in, w) || !Number(in, h)) return false;
    if (depth < 1 || depth > 16 || !image.PixelsAllowed(w, h)) return false;
    // The header line ends with one white-space byte (or CR LF).
    SkipBlanks(in);
    if (in.need(1) && in.data()[in.pos()] == '\r') in.skip(1);
    if (!in.need(1) || in.data()[in.pos()] != '\n') return false;
    in.skip(1);
    const int bytes = depth > 8 ? 2 : 1;
    if (in.left() < std::uint64_t{w} * h * bytes) return false;
    if (!image.Create(w, h, 8, CXIMAGE_FORMAT_PGX)) return false;
    const std::uint32_t max = (1u << depth) - 1;
    for (std::uint32_t y = 0; y < h; ++y) {
        BYTE* row = image.GetBits(h - 1 - y);
        for (std::uint32_t x = 0; x < w; ++x) {
            std::uint32_t v = bytes == 2 ? (bigEndian ? in.u16be() : in.u16le()) : in.u8();
            v &= max | (isSigned ? 0xFFFF : 0);
            if (isSigned) {
                // Two's complement of `depth` bits, shifted to 0..max.
                std::int32_t s = static_cast<std::int32_t>(v & max);
                if (s & (1 << (depth - 1))) s -= (1 << depth);
                v = static_cast<std::uint32_t>(s + (1 << (depth - 1)));
            }
            if (v > max) v = max;
            row[x] = static_cast<BYTE>((v * 255 + max / 2) / max);
        }
    }
    return in.ok();
}

bool EncodePgx(const CxImage& image, Bytes& out) {
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    const std::string header = "PG ML +8 " + std::to_string(w) + " " + std::to_string(h) + "\n";
    out.assign(header.begin(), header.end());
    for (DWORD y = 0; y < h; ++y)
        for (DWORD x = 0; x < w; ++x) {
            const RGBQUAD c = image.GetPixelColor(static_cast<long>(x), static_cast<long>(h - 1 - y));
            out.push_back(static_cast<std::uint8_t>((c.rgbRed * 30 + c.rgbGreen * 59 + c.rgbBlue * 11) / 100));
        }
    return true;
}

}  // namespace vellum::codec
