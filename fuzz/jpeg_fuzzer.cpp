// Decodes the input through the codec as type CXIMAGE_FORMAT_JPG (see codec_fuzz.h), then
// again with a thumbnail size hint taken from the first byte, which selects a DCT reduction.
#include "codec_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vfuzz::DecodeOne(data, size, CXIMAGE_FORMAT_JPG);
    if (size == 0) return 0;
    CxImage reduced;
    reduced.SetMaxPixels(vfuzz::kPixelBudget);
    const DWORD want = 1u + data[0] % 64;
    reduced.SetDecodeSizeHint(want, want);
    if (reduced.Decode(data, size, CXIMAGE_FORMAT_JPG)) {
        vfuzz::Check(reduced.GetWidth() >= 1 && reduced.GetHeight() >= 1);
        const BYTE* last = reduced.GetBits(reduced.GetHeight() - 1) + reduced.GetEffWidth() - 1;
        volatile BYTE sink = *last;
        (void)sink;
    } else {
        vfuzz::Check(!reduced.IsValid());
    }
    return 0;
}
