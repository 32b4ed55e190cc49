// Runs ExpandRle / ExpandBitFields on arbitrary streams into a destination of
// exactly stride x height bytes, so that any write past it is caught.
//
// Input: byte 0 width - 1 and byte 1 height - 1 (both taken mod 64), byte 2
// the mode, bytes 3..14 three little-endian masks (red, green, blue), and the
// rest the compressed data. Mode bits 0-1 pick RLE8, RLE4, 16- or 32-bit bit
// fields; bit 2 replaces the depth with one from a table (bits 3-5), to probe
// the refusal of a wrong depth; bit 6 makes the destination one byte short.
//
// Besides the sanitizers, each result is checked: a matching depth always
// expands (ok), a wrong one is unsupported, a short destination corrupt; and
// after expansion row padding is 0, as are bit 15 of 16-bit output and the
// fourth byte of 32-bit output.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "dib/bmp_expand.h"

using vellum::bmp::ReadStatus;

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bmp_expand_fuzzer: %s\n", what);
        std::abort();
    }
}

DWORD readDword(const std::uint8_t* p) {
    return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24;
}

void checkRows(const std::vector<BYTE>& dst, std::size_t stride, std::size_t width,
               std::size_t height, unsigned bits) {
    const std::size_t usedBits = width * bits;
    for (std::size_t y = 0; y < height; ++y) {
        const BYTE* row = dst.data() + y * stride;
        for (std::size_t i = (usedBits + 7) / 8; i < stride; ++i) check(row[i] == 0, "padding");
        if (usedBits % 8 != 0) {
            check((row[usedBits / 8] & (0xFF >> (usedBits % 8))) == 0, "padding nibble");
        }
        for (std::size_t x = 0; x < width; ++x) {
            if (bits == 16) check((row[2 * x + 1] & 0x80) == 0, "bit 15 set");
            if (bits == 32) check(row[4 * x + 3] == 0, "fourth byte set");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHeaderBytes = 15;
    if (size < kHeaderBytes) return 0;
    static constexpr WORD kModeDepth[4] = {8, 4, 16, 32};
    static constexpr WORD kAnyDepth[8] = {1, 4, 8, 16, 24, 32, 0, 2};

    const std::size_t width = data[0] % 64 + 1;
    const std::size_t height = data[1] % 64 + 1;
    const unsigned mode = data[2];
    const unsigned kind = mode & 3;
    const WORD depth = (mode & 4) ? kAnyDepth[(mode >> 3) & 7] : kModeDepth[kind];
    const bool shortDst = (mode & 0x40) != 0;
    const DWORD masks[3] = {readDword(data + 3), readDword(data + 7), readDword(data + 11)};
    const std::uint8_t* src = data + kHeaderBytes;
    const std::size_t srcLength = size - kHeaderBytes;

    BITMAPINFOHEADER h{};
    h.biSize = 40;
    h.biWidth = LONG(width);
    h.biHeight = LONG(height);
    h.biPlanes = 1;
    h.biBitCount = depth;
    h.biCompression = kind == 0 ? BI_RLE8 : kind == 1 ? BI_RLE4 : BI_BITFIELDS;

    const std::size_t stride = (std::size_t{depth} * width + 31) / 32 * 4;
    const std::size_t dstSize = stride * height;  // 0 for a depth of 0
    std::vector<BYTE> dst(dstSize > 0 && shortDst ? dstSize - 1 : dstSize);

    ReadStatus status;
    bool depthFits;
    if (kind < 2) {
        status = vellum::bmp::ExpandRle(h, src, srcLength, dst.data(), dst.size());
        depthFits = depth == kModeDepth[kind];
    } else {
        status = vellum::bmp::ExpandBitFields(h, masks, src, srcLength, dst.data(), dst.size());
        depthFits = depth == 16 || depth == 32;
    }

    if (!depthFits) {
        check(status == ReadStatus::unsupported, "wrong depth not refused");
    } else if (shortDst) {  // depth fits, so dstSize > 0
        check(status == ReadStatus::corrupt, "short destination not refused");
    } else {
        check(status == ReadStatus::ok, "expansion failed");
        checkRows(dst, stride, width, height, depth);
    }
    return 0;
}
