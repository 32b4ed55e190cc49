// Codec speed on the 24-megapixel picture: JPEG at quality 90 and PNG decoded
// and encoded, a JPEG thumbnail with and without the decode size hint, GIF
// encoded with the palette reduction, and libjpeg-turbo's own decode of the
// same JPEG as the wrapper's yardstick.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include "bench_common.h"
#include "codec/ximage.h"
#include "geometry/scale.h"

namespace {

using vbench::Measure;

const CxImage& Picture() {
    static const CxImage picture = [] {
        vbench::Image source(vbench::kWidth, vbench::kHeight, 24);
        CxImage image;
        image.Create(vbench::kWidth, vbench::kHeight, 24);
        std::memcpy(image.GetBits(), source.bits, std::size_t{image.GetEffWidth()} * image.GetHeight());
        return image;
    }();
    return picture;
}

const std::vector<BYTE>& Encoded(DWORD type) {
    static std::vector<BYTE> jpeg, png;
    std::vector<BYTE>& out = type == CXIMAGE_FORMAT_JPG ? jpeg : png;
    if (out.empty()) {
        CxImage image(Picture());
        image.SetJpegQuality(90);
        image.Encode(out, type);
    }
    return out;
}

void BM_JpegDecode(benchmark::State& state) {
    const auto& data = Encoded(CXIMAGE_FORMAT_JPG);
    CxImage image;
    Measure(state, [&] { image.Destroy(); }, [&] { image.Decode(data.data(), data.size(), CXIMAGE_FORMAT_JPG); });
}
BENCHMARK(BM_JpegDecode)->UseManualTime()->Unit(benchmark::kMillisecond);

// libjpeg-turbo alone: the same file into a BGR buffer, either one reused
// across runs (warm) or a fresh uninitialised one per run (what any decoder
// returning a new image pays in page faults).
void JpegLibraryOnly(benchmark::State& state, bool fresh) {
    const auto& data = Encoded(CXIMAGE_FORMAT_JPG);
    const std::size_t bytes = std::size_t{vbench::kWidth} * vbench::kHeight * 3;
    std::unique_ptr<BYTE[]> pixels(new BYTE[bytes]);
    Measure(state, [&] { if (fresh) pixels.reset(); }, [&] {
        if (!pixels) pixels.reset(new BYTE[bytes]);
        jpeg_decompress_struct cinfo;
        jpeg_error_mgr err;
        cinfo.err = jpeg_std_error(&err);
        jpeg_create_decompress(&cinfo);
        jpeg_mem_src(&cinfo, data.data(), static_cast<unsigned long>(data.size()));
        jpeg_read_header(&cinfo, TRUE);
        cinfo.out_color_space = JCS_EXT_BGR;
        jpeg_start_decompress(&cinfo);
        while (cinfo.output_scanline < cinfo.output_height) {
            JSAMPROW row = pixels.get() + std::size_t{cinfo.output_scanline} * cinfo.output_width * 3;
            jpeg_read_scanlines(&cinfo, &row, 1);
        }
        jpeg_finish_decompress(&cinfo);
        jpeg_destroy_decompress(&cinfo);
    });
}
void BM_JpegDecodeLibraryOnlyWarmBuffer(benchmark::State& state) { JpegLibraryOnly(state, false); }
void BM_JpegDecodeLibraryOnlyFreshBuffer(benchmark::State& state) { JpegLibraryOnly(state, true); }
BENCHMARK(BM_JpegDecodeLibraryOnlyWarmBuffer)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JpegDecodeLibraryOnlyFreshBuffer)->UseManualTime()->Unit(benchmark::kMillisecond);

// A 160 x 120 thumbnail of the quality-90 JPEG: decode, copy into a DIB pair,
// ThCreateThumbail. With the decode size hint libjpeg's DCT scaling gives a
// 750 x 500 picture to shrink; the goal is about 15 x the memcpy of the
// decoded 24-megapixel picture, where the full decode alone takes about 24 x.
// The hinted pixels are libjpeg's reduced transform, close to but not the
// same as the full decode scaled down.
void JpegThumbnail(benchmark::State& state, bool hinted) {
    const auto& data = Encoded(CXIMAGE_FORMAT_JPG);
    Measure(state, [] {}, [&] {
        CxImage image;
        if (hinted) image.SetDecodeSizeHint(160, 120);
        if (!image.Decode(data.data(), data.size(), CXIMAGE_FORMAT_JPG)) {
            state.SkipWithError("decode failed");
            return;
        }
        BITMAPINFO* info = VellumNewHeader(kFullHeaderBytes);
        std::memcpy(info, image.GetDIB(), 40);
        const std::int64_t bytes = std::int64_t{image.GetEffWidth()} * image.GetHeight();
        void* bits = GlobalAllocChecked(GPTR, bytes);
        std::memcpy(bits, image.GetBits(), static_cast<std::size_t>(bytes));
        CSize box(160, 120);
        ThCreateThumbail(box, bits, info);
        benchmark::DoNotOptimize(bits);
        GlobalFree(bits);
        VellumDeleteHeader(info);
    });
}
void BM_JpegThumbnail160x120(benchmark::State& state) { JpegThumbnail(state, true); }
void BM_JpegThumbnail160x120FullDecode(benchmark::State& state) { JpegThumbnail(state, false); }
BENCHMARK(BM_JpegThumbnail160x120)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JpegThumbnail160x120FullDecode)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_JpegEncodeQ90(benchmark::State& state) {
    CxImage image(Picture());
    image.SetJpegQuality(90);
    std::vector<BYTE> out;
    Measure(state, [] {}, [&] { image.Encode(out, CXIMAGE_FORMAT_JPG); });
}
BENCHMARK(BM_JpegEncodeQ90)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_PngDecode(benchmark::State& state) {
    const auto& data = Encoded(CXIMAGE_FORMAT_PNG);
    CxImage image;
    Measure(state, [&] { image.Destroy(); }, [&] { image.Decode(data.data(), data.size(), CXIMAGE_FORMAT_PNG); });
}
BENCHMARK(BM_PngDecode)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_PngEncode(benchmark::State& state) {
    const CxImage& image = Picture();
    std::vector<BYTE> out;
    Measure(state, [] {}, [&] { image.Encode(out, CXIMAGE_FORMAT_PNG); });
}
BENCHMARK(BM_PngEncode)->UseManualTime()->Unit(benchmark::kMillisecond);

// Median cut, Floyd-Steinberg onto it, then LZW.
void BM_GifEncodeWithReduction(benchmark::State& state) {
    const CxImage& image = Picture();
    std::vector<BYTE> out;
    Measure(state, [] {}, [&] { image.Encode(out, CXIMAGE_FORMAT_GIF); });
}
BENCHMARK(BM_GifEncodeWithReduction)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
