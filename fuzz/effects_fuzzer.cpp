// Runs one distortion, noise, histogram or artistic effect on a small DIB
// pair built from the input: byte 0 picks the operation, bytes 1..3 the
// width, height (1..32) and depth (1, 4, 8, 16, 24 or 32), the next eight
// bytes the operation's parameters, and the rest fill the colour table and
// pixels. Afterwards the pair must be whole: both blocks present and the bits
// block holding every row the header describes (its last byte is read, so
// the sanitizer sees a short block). Anything else aborts.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dib/dib.h"
#include "effects/artistic.h"
#include "effects/distort.h"
#include "effects/histogram.h"
#include "effects/noise.h"
#include "platform/global_memory.h"

namespace {

struct Reader {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t at = 0;
    int byte() { return at < size ? data[at++] : 0; }
    int s8() { return static_cast<std::int8_t>(byte()); }
};

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader in{data, size};
    const int op = in.byte() % 30;
    const int width = in.byte() % 32 + 1;
    const int height = in.byte() % 32 + 1;
    static const int kDepths[6] = {1, 4, 8, 16, 24, 32};
    const int depth = kDepths[in.byte() % 6];
    int p[8];
    for (int& v : p) v = in.s8();

    BITMAPINFO* info = VellumNewHeader(kFullHeaderBytes);
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(depth);
    h.biSizeImage = static_cast<DWORD>(VellumDibImageSize(h));
    if (depth <= 8) h.biClrUsed = static_cast<DWORD>(in.byte() % 2 ? 0 : 1 << depth);
    auto* table = reinterpret_cast<std::uint8_t*>(VellumColorTable(info));
    for (int i = 0; i < 4 * 256 && depth <= 8; ++i) table[i] = static_cast<std::uint8_t>(in.byte());
    void* bits = GlobalAllocChecked(GPTR, h.biSizeImage);
    auto* b = static_cast<std::uint8_t*>(bits);
    for (DWORD i = 0; i < h.biSizeImage; ++i) b[i] = static_cast<std::uint8_t>(in.byte());

    unsigned histogram[256];
    unsigned char r8, g8, b8;
    double hh, ss, ll;
    RECT seg{p[0] & 31, p[1] & 31, p[2] & 31, p[3] & 31};
    switch (op) {
        case 0: ThTwist(bits, info, p[0] * 7, p[1] / 8.0, p[2], p[3] & 1, 9); break;
        case 1: ThWave(bits, info, p[0] * 7, p[1] / 8.0, p[2], p[3] & 1, 9); break;
        case 2: ThDrop(bits, info, (p[0] & 127) / 100.0, (p[1] & 127) / 100.0, p[2], p[3], p[4] * 1000); break;
        case 3: ThLensEffect(bits, info, p[0], p[1] & 1, 0); break;
        case 4: ThRotate3D(bits, info, p[0] * 3.0, p[1] * 10, p[2] & 1, 9); break;
        case 5: ThSpiral(bits, info, p[0] * 11.0, 9); break;
        case 6: ThNegateImage(bits, info, p[0] & 1); break;
        case 7: ThAddNoise(bits, info, static_cast<unsigned>(p[0]) % 7); break;
        case 8: ThGenerateNoise(bits, info, static_cast<short>(p[0]), p[1] * 3); break;
        case 9: ThFormHistogram(bits, info, histogram); break;
        case 10: ThEqualizeImage(bits, info); break;
        case 11: ThDespeckleImage(bits, info); break;
        case 12: ThRollImage(bits, info, p[0] * 9, p[1] * 9); break;
        case 13: ThReduceNoiseImage(bits, info); break;
        case 14:
            ThHSLTransform(p[0] / 50.0, p[1] / 50.0, p[2] / 50.0, &r8, &g8, &b8);
            ThTransformHSL(static_cast<BYTE>(p[0]), static_cast<BYTE>(p[1]), static_cast<BYTE>(p[2]), &hh,
                           &ss, &ll);
            break;
        case 15: ThCharCoal(bits, info); break;
        case 16: ThSpreadImage(bits, info, static_cast<unsigned>(p[0] & 0xFF)); break;
        case 17: ThImplodeImage(bits, info, 1.0, 0, 0, 0); break;
        case 18: ThPlasmaPixel(static_cast<BYTE>(p[0]), p[1] * 1e8); break;
        case 19: ThGriddingPixel(bits, info, p[0], p[1], p[2], p[3], p[4], p[5], p[6]); break;
        case 20: ThPlasmaPixels(bits, info, &seg, p[4]); break;
        case 21: ThPlasmaImage(bits, info, &seg, p[4], p[5], p[6] & 7); break;
        case 22: ThPlasma(bits, info, p[0] * 4, p[1]); break;
        case 23: ThOilPaintImage(bits, info, static_cast<unsigned>(p[0] & 15)); break;
        case 24: ThIntensity(info, static_cast<BYTE>(p[0])); break;
        case 25: ThSolarize(bits, info, static_cast<float>(p[0])); break;
        case 26: ThShade(bits, info, p[0] & 1, p[1] * 3.0, p[2]); break;
        case 27: ThNormalize(bits, info); break;
        case 28: ThWave(bits, info, 0, 1e300 * p[0], 100, p[1] & 1, 0); break;
        default: {
            BYTE f[36 * 36] = {}, g[36 * 36] = {};
            std::memcpy(f, data, size < sizeof f ? size : sizeof f);
            ThHull(p[0] % 3, p[1] % 3, p[2], static_cast<unsigned>(width), static_cast<unsigned>(height), f, g);
            break;
        }
    }

    check(bits != nullptr && info != nullptr);
    const std::int64_t need = VellumDibImageSize(info->bmiHeader);
    check(need > 0 && static_cast<std::int64_t>(GlobalSize(bits)) >= need);
    volatile std::uint8_t last = static_cast<std::uint8_t*>(bits)[need - 1];
    (void)last;
    GlobalFree(bits);
    VellumDeleteHeader(info);
    return 0;
}
