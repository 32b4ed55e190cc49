// Shared body of the codec fuzz targets: decode the input as one format with
// a 4-megapixel budget; a decoded image must be consistent (depth 1, 4, 8 or
// 24, a palette of 2^depth entries, an alpha plane of width x height bytes,
// every row readable). Small images are then written in the same format when
// it can be written, and our own output must decode again to the same size.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "codec/ximage.h"

namespace vfuzz {

inline constexpr std::int64_t kPixelBudget = std::int64_t{1} << 22;

inline void Check(bool condition) {
    if (!condition) std::abort();
}

inline int DecodeOne(const std::uint8_t* data, std::size_t size, DWORD type) {
    CxImage image;
    image.SetMaxPixels(kPixelBudget);
    if (!image.Decode(data, size, type)) {
        Check(!image.IsValid());
        return 0;
    }
    const BITMAPINFOHEADER* h = image.GetHeader();
    const WORD bpp = image.GetBpp();
    Check(bpp == 1 || bpp == 4 || bpp == 8 || bpp == 24);
    Check(h->biWidth >= 1 && h->biHeight >= 1);
    Check(std::int64_t{h->biWidth} * h->biHeight <= kPixelBudget);
    Check(image.GetPaletteSize() == (bpp <= 8 ? 1u << bpp : 0u));
    const BYTE* last = image.GetBits(image.GetHeight() - 1) + image.GetEffWidth() - 1;
    volatile BYTE sink = *last;
    (void)sink;
    if (image.AlphaIsValid()) {
        volatile BYTE a = image.AlphaGetPointer()[std::size_t{image.GetWidth()} * image.GetHeight() - 1];
        (void)a;
    }
    Check(image.GetTransIndex() < (bpp <= 8 ? (1L << bpp) : 1L << 30));
    if (std::int64_t{h->biWidth} * h->biHeight <= 4096) {
        std::vector<BYTE> out;
        if (image.Encode(out, type)) {
            CxImage again;
            Check(again.Decode(out.data(), out.size(), type));
            Check(again.GetWidth() == image.GetWidth() && again.GetHeight() == image.GetHeight());
        }
    }
    return 0;
}

}  // namespace vfuzz
