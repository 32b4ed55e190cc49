// DIB pair <-> device-dependent bitmap, through the screen device context.
#include "dib/ddb.h"

#include <cstdint>

#include "dib/dib.h"
#include "platform/global_memory.h"
#include "platform/user.h"

int ThBitmapToDIB(void*& bits, BITMAPINFO*& header, HBITMAP bitmap, HPALETTE palette,
                  int bitCount) {
    BITMAP bm{};
    if (!bitmap || !GetObject(bitmap, sizeof bm, &bm)) return 0;
    int depth = bitCount;
    if (depth == 0) {
        const int planeBits = bm.bmPlanes * bm.bmBitsPixel;
        depth = planeBits < 2 ? 1 : planeBits <= 4 ? 4 : planeBits < 9 ? 8 : 24;
    }
    if (!palette) palette = static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE));

    const std::int64_t stride =
        ((static_cast<std::int64_t>(bm.bmWidth) * depth + 7) / 8 + 3) / 4 * 4;
    const std::int64_t size = stride * bm.bmHeight;
    BITMAPINFO* fresh = VellumNewHeader(kFullHeaderBytes);
    if (!fresh) return 0;
    BITMAPINFOHEADER& h = fresh->bmiHeader;
    h.biSize = 40;
    h.biWidth = bm.bmWidth;
    h.biHeight = bm.bmHeight;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(depth);
    h.biCompression = BI_RGB;
    h.biSizeImage = static_cast<DWORD>(size);
    h.biXPelsPerMeter = 3780;
    h.biYPelsPerMeter = 3780;
    h.biClrUsed = 0;
    h.biClrImportant = 0;
    VellumDeleteHeader(header);
    header = fresh;

    GlobalFree(bits);
    bits = GlobalAllocChecked(GPTR, size);
    if (!bits) return 0;

    HDC dc = GetDC(nullptr);
    HPALETTE old = SelectPalette(dc, palette, FALSE);
    RealizePalette(dc);
    const int lines = GetDIBits(dc, bitmap, 0, static_cast<UINT>(bm.bmHeight), bits, header,
                                DIB_RGB_COLORS);
    if (old) SelectPalette(dc, old, TRUE);
    RealizePalette(dc);
    ReleaseDC(nullptr, dc);
    return lines != 0 ? 1 : 0;
}

HBITMAP ThDIBToBitmap(void* bits, BITMAPINFO* header) {
    HDC dc = GetDC(nullptr);
    if (!dc) return nullptr;
    RealizePalette(dc);
    HBITMAP bitmap = header ? CreateDIBitmap(dc, &header->bmiHeader, CBM_INIT, bits, header,
                                             DIB_RGB_COLORS)
                            : nullptr;
    ReleaseDC(nullptr, dc);
    return bitmap;
}
