// Runs the geometry operations on small pictures of every depth with
// parameters taken from the input, including sizes, rectangles and angles
// far outside the picture.
//
// Input: byte 0 width - 1 and byte 1 height - 1 (mod 40), byte 2 the depth
// (index into 1, 4, 8, 16, 24, 32), byte 3 the operation, bytes 4..19 four
// little-endian 32-bit parameters, the rest the pixels and colour table.
//
// Besides the sanitizers, each success is checked: the pair holds bits at
// least stride x height bytes long for the header it carries.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dib/dib.h"
#include "geometry/crop.h"
#include "geometry/mirror.h"
#include "geometry/rotate.h"
#include "geometry/scale.h"
#include "geometry/scale_crop.h"
#include "platform/global_memory.h"

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "geometry_fuzzer: %s\n", what);
        std::abort();
    }
}

std::int32_t readInt(const std::uint8_t* p) {
    return static_cast<std::int32_t>(std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 |
                                     std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24);
}

// Keeps sizes small enough for the fuzzer's memory budget.
long small(std::int32_t v) { return v % 300; }

void checkPair(void* bits, BITMAPINFO* info) {
    check(bits != nullptr && info != nullptr, "success without a pair");
    const BITMAPINFOHEADER& h = info->bmiHeader;
    const std::int64_t need = VellumDibStride(h.biBitCount, h.biWidth) *
                              (h.biHeight < 0 ? -std::int64_t{h.biHeight} : h.biHeight);
    check(need >= 0 && static_cast<std::uint64_t>(need) <= GlobalSize(bits), "bits too short");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kPrefix = 20;
    if (size < kPrefix) return 0;
    static constexpr WORD kDepths[6] = {1, 4, 8, 16, 24, 32};
    const int width = data[0] % 40 + 1;
    const int height = data[1] % 40 + 1;
    const WORD depth = kDepths[data[2] % 6];
    const int op = data[3] % 12;
    const std::int32_t a = readInt(data + 4), b = readInt(data + 8), c = readInt(data + 12),
                       d = readInt(data + 16);

    BITMAPINFO* info = VellumNewHeader(kFullHeaderBytes);
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = depth;
    const std::int64_t bytes = VellumDibImageSize(h);
    h.biSizeImage = static_cast<DWORD>(bytes);
    void* bits = GlobalAllocChecked(GPTR, bytes);
    const std::uint8_t* rest = data + kPrefix;
    const std::size_t restSize = size - kPrefix;
    std::memcpy(bits, rest, std::min<std::size_t>(restSize, static_cast<std::size_t>(bytes)));
    if (restSize > static_cast<std::size_t>(bytes)) {
        std::memcpy(VellumColorTable(info), rest + bytes,
                    std::min<std::size_t>(restSize - bytes, 1024));
    }
    if (d & 1) h.biClrUsed = static_cast<DWORD>(d >> 1) % 300;
    if (d & 2) {
        h.biXPelsPerMeter = a & 0xFFF;
        h.biYPelsPerMeter = b & 0xFFF;
    }

    int result = 0;
    switch (op) {
        case 0: result = ThScale(bits, info, small(a), small(b), c & 1); break;
        case 1: result = ThScale1Bit(bits, info, small(a), small(b), c & 1); break;
        case 2: result = ThScaleAll(bits, info, small(a), small(b), c & 1); break;
        case 3:
            result = ThScaleCrop(bits, info, static_cast<int>(small(a)), static_cast<int>(small(b)),
                                 CRect(c % 400 - 50, d % 400 - 50, c / 7 % 400, d / 7 % 400));
            if (result) checkPair(bits, info);
            result = 0;
            break;
        case 4: {
            CSize box(small(a), small(b));
            result = ThCreateThumbail(box, bits, info);
            break;
        }
        case 5:
        case 6: {
            BITMAPINFO* out = VellumNewHeader(kFullHeaderBytes);
            void* outBits = nullptr;
            SIZE sz{static_cast<LONG>(small(a)), static_cast<LONG>(small(b))};
            if (VellumScaleCropEngine(out, &outBits, info, bits, &sz, c % 100 - 20, d % 100 - 20,
                                      c / 100 % 300, d / 100 % 300, op == 5 ? 1 : (a >> 20) & 3)) {
                checkPair(outBits, out);
            }
            GlobalFree(outBits);
            VellumDeleteHeader(out);
            break;
        }
        case 7:
            result = ThCrop(bits, info, CRect(a % 60 - 10, b % 60 - 10, c % 60, d % 60), 0);
            break;
        case 8: result = ThRotate(bits, info, a / 1000.0, b); break;
        case 9: result = ThRotateFreeAngle(bits, info, a / 100000.0, b); break;
        case 10: result = ThRotateBmp90(bits, info, a % 3 - 1); break;
        default: result = ThMirror(bits, info, a % 3); break;
    }
    if (result) checkPair(bits, info);
    GlobalFree(bits);
    VellumDeleteHeader(info);
    return 0;
}
