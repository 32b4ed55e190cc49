#include "geometry/crop.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "platform/global_memory.h"

int ThCrop(void*& bits, BITMAPINFO*& info, CRect rect, int) {
    using i64 = std::int64_t;
    if (i64{rect.right} - rect.left < 1 || i64{rect.bottom} - rect.top < 1) return 0;
    if (!info || !bits) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const i64 width = h.biWidth, height = h.biHeight;
    if (width < 1 || height < 1) return 0;
    const i64 left = std::max<i64>(rect.left, 0), top = std::max<i64>(rect.top, 0);
    const i64 right = std::min<i64>(rect.right, width), bottom = std::min<i64>(rect.bottom, height);
    if (right - left < 1 || bottom - top < 1) return 0;
    if (left == 0 && top == 0 && right == width && bottom == height) return 1;

    const int bitCount = h.biBitCount;
    const i64 newWidth = right - left, newHeight = bottom - top;
    const i64 dstStride = ((newWidth * bitCount + 7) / 8 + 3) & ~i64{3};
    const i64 srcStride = VellumDibStride(bitCount, width);
    // 8- and 24-bit rows are copied whole and their padding cleared here; the
    // packed depths or their bits into a cleared block.
    const bool wholeBytes = bitCount == 8 || bitCount == 24;
    BYTE* out = static_cast<BYTE*>(
        GlobalAllocChecked(wholeBytes ? GMEM_FIXED : GPTR, dstStride * newHeight));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);
    if (wholeBytes) {
        const i64 used = newWidth * bitCount / 8;
        for (i64 y = 0; y < newHeight; ++y) {
            std::memset(out + dstStride * y + used, 0, static_cast<std::size_t>(dstStride - used));
        }
    }
    const i64 blockBytes = srcStride * height;
    // A byte of the source block, 0 past its end.
    auto at = [&](i64 offset) -> BYTE { return offset < blockBytes ? src[offset] : 0; };

    for (i64 y = 0; y < newHeight; ++y) {
        const i64 rowOffset = srcStride * (height - bottom + y);
        const BYTE* s = src + rowOffset;
        BYTE* d = out + dstStride * y;
        switch (bitCount) {
            case 8:
            case 24:
                std::memcpy(d, s + left * bitCount / 8,
                            static_cast<std::size_t>(newWidth * bitCount / 8));
                break;
            case 4:
                for (i64 x = 0; x < newWidth; ++x) {
                    const int v = vellum::PixelIndex(s, left + x, 4);
                    d[x >> 1] |= static_cast<BYTE>((x & 1) ? v : v << 4);
                }
                break;
            case 1: {
                const i64 first = left / 8;
                const int shift = static_cast<int>(left % 8);
                for (i64 k = 0; k < dstStride; ++k) {
                    const i64 j = first + k;
                    const BYTE cur = at(rowOffset + j);
                    if (shift == 0) {
                        d[k] = cur;
                        continue;
                    }
                    const BYTE next = j == srcStride - 1 ? 255 : at(rowOffset + j + 1);
                    d[k] = static_cast<BYTE>((cur << shift) | (next >> (8 - shift)));
                }
                break;
            }
            default: break;
        }
    }
    h.biSizeImage = static_cast<DWORD>(dstStride * newHeight);
    h.biHeight = static_cast<LONG>(newHeight);
    h.biWidth = static_cast<LONG>(newWidth);
    GlobalFree(bits);
    bits = out;
    return 1;
}
