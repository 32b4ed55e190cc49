#include "dib/flat.h"

#include <cstdlib>
#include <cstring>

#include "dib/dib.h"
#include "dib/pixel_rows.h"
#include "platform/global_memory.h"

void FreeImgMemory(HGLOBAL* bits) {
    if (!bits) return;
    if (*bits) GlobalFree(*bits);
    *bits = nullptr;
}

int ConvertTo24Bit(BITMAPINFO* info, HGLOBAL* bits) {
    if (!info || !bits || !*bits) return 0;
    BITMAPINFOHEADER& h = info->bmiHeader;
    const std::int64_t width = h.biWidth;
    const std::int64_t rows = std::llabs(std::int64_t{h.biHeight});
    const std::int64_t dstStride = VellumDibStride(24, width);
    const int depth = h.biBitCount;

    if (depth == 16 || depth == 32) {
        // As the true-colour preparation, without its checks and over |height| rows.
        const std::int64_t srcStride = VellumDibStride(depth, width);
        BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, dstStride * rows));
        if (!out) return 0;
        vellum::RowsTo24(static_cast<const BYTE*>(*bits), srcStride, out, dstStride, width, rows,
                         depth, nullptr);
        GlobalFree(*bits);
        *bits = out;
        h.biBitCount = 24;
        h.biSizeImage = static_cast<DWORD>(dstStride * rows);
        return 1;
    }
    if (depth == 24) return 1;
    if (depth != 1 && depth != 4 && depth != 8) return 0;

    const std::int64_t srcStride = VellumDibStride(depth, width);
    BYTE* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, dstStride * rows));
    if (!out) return 0;
    vellum::RowsTo24(static_cast<const BYTE*>(*bits), srcStride, out, dstStride, width, rows,
                     depth, VellumColorTable(info));
    GlobalFree(*bits);
    *bits = out;
    h.biClrUsed = 0;
    h.biSizeImage = static_cast<DWORD>(dstStride * rows);
    h.biBitCount = 24;
    return 1;
}
