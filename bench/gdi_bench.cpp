// Software GDI on a 24-megapixel picture: DIB stretching, blits with a
// source and with a pattern, polygon region fill.
#include "bench_common.h"
#include "platform/gdi.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kMegapixels;
using vbench::kWidth;
using vbench::Measure;

// A memory device context with a w x h bitmap selected.
struct Surface {
    HDC dc;
    HBITMAP bitmap;
    HGDIOBJ old;
    Surface(int w, int h) {
        dc = CreateCompatibleDC(nullptr);
        bitmap = CreateCompatibleBitmap(dc, w, h);
        old = SelectObject(dc, bitmap);
    }
    ~Surface() {
        SelectObject(dc, old);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }
};

void BM_StretchDIBitsSameSize(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Surface target(kWidth, kHeight);
    SetStretchBltMode(target.dc, COLORONCOLOR);
    Measure(state, [] {}, [&] {
        StretchDIBits(target.dc, 0, 0, kWidth, kHeight, 0, 0, kWidth, kHeight, source.bits,
                      source.info, DIB_RGB_COLORS, SRCCOPY);
    });
}
BENCHMARK(BM_StretchDIBitsSameSize)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_StretchDIBitsHalfSize(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Surface target(kWidth / 2, kHeight / 2);
    SetStretchBltMode(target.dc, COLORONCOLOR);
    // Counted in source megapixels, the picture the call consumes.
    Measure(state, [] {}, [&] {
        StretchDIBits(target.dc, 0, 0, kWidth / 2, kHeight / 2, 0, 0, kWidth, kHeight, source.bits,
                      source.info, DIB_RGB_COLORS, SRCCOPY);
    });
}
BENCHMARK(BM_StretchDIBitsHalfSize)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_BitBltSrcCopy(benchmark::State& state) {
    Surface source(kWidth, kHeight), target(kWidth, kHeight);
    Measure(state, [] {}, [&] { BitBlt(target.dc, 0, 0, kWidth, kHeight, source.dc, 0, 0, SRCCOPY); });
}
BENCHMARK(BM_BitBltSrcCopy)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_BitBltPatternOperation(benchmark::State& state) {
    // 0xAC0744 through a checkerboard pattern brush: the gradient-fill blend.
    Surface source(kWidth, kHeight), target(kWidth, kHeight);
    const WORD rows[8] = {0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA};
    HBITMAP pattern = CreateBitmap(8, 8, 1, 1, rows);
    HBRUSH brush = CreatePatternBrush(pattern);
    HGDIOBJ old = SelectObject(target.dc, brush);
    Measure(state, [] {}, [&] {
        BitBlt(target.dc, 0, 0, kWidth, kHeight, source.dc, 0, 0, 0x00AC0744);
    });
    SelectObject(target.dc, old);
    DeleteObject(brush);
    DeleteObject(pattern);
}
BENCHMARK(BM_BitBltPatternOperation)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_PolygonRegionFill(benchmark::State& state) {
    // A diamond over the whole picture: build the region and fill it.
    Surface target(kWidth, kHeight);
    HBRUSH brush = CreateSolidBrush(RGB(10, 200, 30));
    const POINT diamond[4] = {{kWidth / 2, 0}, {kWidth, kHeight / 2}, {kWidth / 2, kHeight},
                              {0, kHeight / 2}};
    Measure(state, [] {}, [&] {
        HRGN region = CreatePolygonRgn(diamond, 4, ALTERNATE);
        FillRgn(target.dc, region, brush);
        DeleteObject(region);
    }, kMegapixels / 2);
    DeleteObject(brush);
}
BENCHMARK(BM_PolygonRegionFill)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
