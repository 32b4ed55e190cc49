#include "dib/dib.h"

#include <algorithm>
#include <cstring>
#include <new>

std::int64_t VellumDibStride(std::int64_t bitCount, std::int64_t width) {
    return (bitCount * width + 31) / 32 * 4;
}

std::int64_t VellumDibImageSize(const BITMAPINFOHEADER& header) {
    // A stride is below 2^46 and a height below 2^31 in magnitude; the product
    // is saturated at +-2^62, far beyond anything allocatable.
    constexpr std::int64_t kLimit = std::int64_t{1} << 62;
    const std::int64_t stride = VellumDibStride(header.biBitCount, header.biWidth);
    const std::int64_t height = header.biHeight;
    std::int64_t size = 0;
    if (__builtin_mul_overflow(stride, height, &size) || size > kLimit || size < -kLimit) {
        return (stride < 0) != (height < 0) ? -kLimit : kLimit;
    }
    return size;
}

BITMAPINFO* VellumNewHeader(std::size_t bytes) {
    void* block = ::operator new(bytes, std::nothrow);
    if (block) std::memset(block, 0, bytes);
    return static_cast<BITMAPINFO*>(block);
}

void VellumDeleteHeader(BITMAPINFO* header) { ::operator delete(header); }

long ThCalDibColorCount(BITMAPINFO* info) {
    if (!info) return 0;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biClrUsed != 0) return static_cast<long>(h.biClrUsed);
    switch (h.biBitCount) {
        case 1: return 2;
        case 4: return 16;
        case 8: return 256;
        default: return 0;
    }
}

namespace {

// Copies 40 + 4 x count bytes. The block itself is made large enough for a
// full table at the header's depth (the extra entries zero), so that a pixel
// index beyond a short table never reads past the block.
BITMAPINFO* copyHeader(const BITMAPINFO* src, std::int64_t count) {
    if (count < 0 || count > (std::int64_t{1} << 28)) return nullptr;
    const auto bytes = static_cast<std::size_t>(40 + 4 * count);
    const WORD depth = src->bmiHeader.biBitCount;
    const std::size_t full = depth <= 8 ? static_cast<std::size_t>(40 + 4 * (1 << depth)) : 0;
    BITMAPINFO* copy = VellumNewHeader(std::max(bytes, full));
    if (copy) std::memcpy(copy, src, bytes);
    return copy;
}

}  // namespace

BITMAPINFO* ThCreateNewBitmapInfo(BITMAPINFO* src) {
    if (!src) return nullptr;
    std::int64_t count = src->bmiHeader.biClrUsed;
    if (count == 0) {
        count = src->bmiHeader.biBitCount < 16 ? std::int64_t{1} << src->bmiHeader.biBitCount : 1;
    }
    return copyHeader(src, count);
}

BITMAPINFO* ThCreateNewBitmapInfo(BITMAPINFO* src, int count) {
    if (!src) return nullptr;
    BITMAPINFO* copy = copyHeader(src, count);
    if (copy) copy->bmiHeader.biClrUsed = static_cast<DWORD>(count);
    return copy;
}

int ThCopyDibData(void*& bits, BITMAPINFO*& info, void* srcBits, BITMAPINFO* srcInfo) {
    if (!srcBits || !srcInfo) return 0;
    // Everything is read from the source before the old blocks go, so a pair
    // copied onto itself survives.
    const long count = ThCalDibColorCount(srcInfo);
    const std::int64_t size = VellumDibImageSize(srcInfo->bmiHeader);
    BITMAPINFO* header = copyHeader(srcInfo, count);
    // The copy below fills the whole block.
    void* block = header ? GlobalAllocChecked(GMEM_FIXED, size) : nullptr;
    if (block) std::memcpy(block, srcBits, static_cast<std::size_t>(size));

    VellumDeleteHeader(info);
    GlobalFree(bits);
    if (!block) {
        VellumDeleteHeader(header);
        info = nullptr;
        bits = nullptr;
        return 0;
    }
    header->bmiHeader.biSizeImage = static_cast<DWORD>(size);
    info = header;
    bits = block;
    return 1;
}

int ThConvertOSInfo(BITMAPINFO* block) {
    if (!block) return 0;
    BYTE copy[kFullHeaderBytes];
    std::memcpy(copy, block, sizeof copy);
    BITMAPCOREHEADER core;
    std::memcpy(&core, copy, sizeof core);

    BITMAPINFOHEADER& h = block->bmiHeader;
    h.biSize = 40;
    h.biWidth = core.bcWidth;
    h.biHeight = core.bcHeight;
    h.biPlanes = core.bcPlanes;
    h.biBitCount = core.bcBitCount;
    h.biCompression = BI_RGB;
    const std::int64_t rowBytes = (std::int64_t{core.bcWidth} * core.bcBitCount + 7) / 8;
    h.biSizeImage = static_cast<DWORD>((rowBytes + 3) / 4 * 4 * core.bcHeight);
    h.biXPelsPerMeter = 0;
    h.biYPelsPerMeter = 0;
    h.biClrUsed = 0;
    h.biClrImportant = 0;

    if (core.bcBitCount > 8) return 0;
    const int count = 1 << core.bcBitCount;
    // 256 three-byte entries end at byte 780, well inside the 1064-byte copy.
    for (int i = 0; i < count; ++i) {
        const BYTE* entry = copy + 12 + 3 * i;
        VellumColorTable(block)[i] = RGBQUAD{entry[0], entry[1], entry[2], 0};
    }
    return count;
}
