// GIF through giflib. Decoding takes the first frame onto the logical screen
// (pixels outside the frame get the background index, or the transparent
// index when there is one), with the frame's local table or else the global
// one, as an 8-bit palette image (1-bit when the table has two entries); the
// transparent index of the frame's graphic control block is kept. Encoding
// writes one frame: palette images as they are, 24-bit images first reduced
// to 8 bits with a median-cut palette and Floyd-Steinberg error diffusion.
#include <gif_lib.h>

#include <algorithm>
#include <cstring>

#include "codec/formats.h"

namespace vellum::codec {
namespace {

struct Source {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t pos;
};

int ReadFn(GifFileType* gif, GifByteType* out, int length) {
    auto* s = static_cast<Source*>(gif->UserData);
    if (length < 0) return 0;
    const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(length), s->size - s->pos);
    std::memcpy(out, s->data + s->pos, n);
    s->pos += n;
    return static_cast<int>(n);
}

int WriteFn(GifFileType* gif, const GifByteType* data, int length) {
    auto* out = static_cast<Bytes*>(gif->UserData);
    out->insert(out->end(), data, data + length);
    return length;
}

}  // namespace

bool DecodeGif(CxImage& image, const std::uint8_t* data, std::size_t size) {
    if (size < 13 || std::memcmp(data, "GIF", 3) != 0) return false;
    Source src{data, size, 0};
    int error = 0;
    GifFileType* gif = DGifOpen(&src, ReadFn, &error);
    if (!gif) return false;
    struct Closer {
        GifFileType* g;
        ~Closer() {
            int e = 0;
            DGifCloseFile(g, &e);
        }
    } closer{gif};
    const long sw = gif->SWidth, sh = gif->SHeight;
    if (!image.PixelsAllowed(sw, sh)) return false;
    // Walk records to the first image, keeping its graphic control block.
    int transparent = -1;
    GifRecordType record;
    for (;;) {
        if (DGifGetRecordType(gif, &record) == GIF_ERROR) return false;
        if (record == TERMINATE_RECORD_TYPE) return false;
        if (record == EXTENSION_RECORD_TYPE) {
            int code = 0;
            GifByteType* ext = nullptr;
            if (DGifGetExtension(gif, &code, &ext) == GIF_ERROR) return false;
            while (ext) {
                if (code == GRAPHICS_EXT_FUNC_CODE && ext[0] >= 4 && (ext[1] & 1))
                    transparent = ext[4];
                if (DGifGetExtensionNext(gif, &ext) == GIF_ERROR) return false;
            }
            continue;
        }
        if (record == IMAGE_DESC_RECORD_TYPE) break;
    }
    // giflib fails the descriptor of an empty frame when no pixel data
    // follows; the screen alone is then the picture.
    const bool described = DGifGetImageDesc(gif) != GIF_ERROR;
    const bool emptyFrame = gif->Image.Width == 0 || gif->Image.Height == 0;
    if (!described && !emptyFrame) return false;
    const ColorMapObject* map =
        described && gif->Image.ColorMap ? gif->Image.ColorMap : gif->SColorMap;
    if (!map || map->ColorCount < 1 || map->ColorCount > 256) return false;
    const long fl = gif->Image.Left, ft = gif->Image.Top, fw = gif->Image.Width,
               fh = gif->Image.Height;
    // The frame is decoded line by line even where it leaves the screen, so
    // it gets the same budget as the screen.
    if (fw < 0 || fh < 0 || (fw > 0 && fh > 0 && !image.PixelsAllowed(fw, fh))) return false;
    const WORD bpp = map->ColorCount <= 2 ? 1 : map->ColorCount <= 16 ? 4 : 8;
    if (!image.Create(static_cast<DWORD>(sw), static_cast<DWORD>(sh), bpp, CXIMAGE_FORMAT_GIF))
        return false;
    RGBQUAD* pal = image.GetPalette();
    std::memset(pal, 0, 4 * image.GetPaletteSize());
    for (int i = 0; i < map->ColorCount && i < static_cast<int>(image.GetPaletteSize()); ++i)
        pal[i] = RGBQUAD{map->Colors[i].Blue, map->Colors[i].Green, map->Colors[i].Red, 0};
    const int background = transparent >= 0 ? transparent : gif->SBackGroundColor;
    if (background > 0 && background < (1 << bpp)) {
        for (long y = 0; y < sh; ++y)
            for (long x = 0; x < sw; ++x) image.SetPixelIndex(x, y, static_cast<BYTE>(background));
    }
    if (transparent >= 0 && transparent < (1 << bpp)) image.SetTransIndex(transparent);
    std::vector<GifPixelType> line(static_cast<std::size_t>(fw) + 1);
    auto putRow = [&](long fy) {
        const long y = ft + fy;
        if (y < 0 || y >= sh) return;
        for (long x = 0; x < fw; ++x) {
            const long px = fl + x;
            if (px < sw) image.SetPixelIndex(px, sh - 1 - y, line[x]);
        }
    };
    if (fw > 0 && fh > 0) {
        if (gif->Image.Interlace) {
            static const int kStart[] = {0, 4, 2, 1}, kStep[] = {8, 8, 4, 2};
            for (int pass = 0; pass < 4; ++pass)
                for (long fy = kStart[pass]; fy < fh; fy += kStep[pass]) {
                    if (DGifGetLine(gif, line.data(), static_cast<int>(fw)) == GIF_ERROR) return false;
                    putRow(fy);
                }
        } else {
            for (long fy = 0; fy < fh; ++fy) {
                if (DGifGetLine(gif, line.data(), static_cast<int>(fw)) == GIF_ERROR) return false;
                putRow(fy);
            }
        }
    }
    return true;
}

bool EncodeGif(const CxImage& source, Bytes& out) {
    CxImage image(source);
    if (image.GetBpp() > 8 && !image.DecreaseBpp(8, true)) return false;
    const DWORD w = image.GetWidth(), h = image.GetHeight();
    if (w > 65535 || h > 65535) return false;
    const int colors = static_cast<int>(image.GetPaletteSize());
    int error = 0;
    GifFileType* gif = EGifOpen(&out, WriteFn, &error);
    if (!gif) return false;
    std::vector<GifColorType> entries(static_cast<std::size_t>(colors));
    const RGBQUAD* pal = image.GetPalette();
    for (int i = 0; i < colors; ++i) entries[i] = GifColorType{pal[i].rgbRed, pal[i].rgbGreen, pal[i].rgbBlue};
    ColorMapObject* map = GifMakeMapObject(colors, entries.data());
    bool ok = map != nullptr;
    const long t = image.GetTransIndex();
    if (ok) {
        EGifSetGifVersion(gif, t >= 0);
        ok = EGifPutScreenDesc(gif, static_cast<int>(w), static_cast<int>(h), 8, 0, map) != GIF_ERROR;
    }
    if (ok && t >= 0 && t < colors) {
        GifByteType gce[4] = {1, 0, 0, static_cast<GifByteType>(t)};
        ok = EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, 4, gce) != GIF_ERROR;
    }
    if (ok) ok = EGifPutImageDesc(gif, 0, 0, static_cast<int>(w), static_cast<int>(h), false, nullptr) != GIF_ERROR;
    std::vector<GifPixelType> line(w);
    for (DWORD y = 0; ok && y < h; ++y) {
        const DWORD sy = h - 1 - y;
        for (DWORD x = 0; x < w; ++x) line[x] = image.GetPixelIndex(static_cast<long>(x), static_cast<long>(sy));
        ok = EGifPutLine(gif, line.data(), static_cast<int>(w)) != GIF_ERROR;
    }
    if (map) GifFreeMapObject(map);
    int closeError = 0;
    if (EGifCloseFile(gif, &closeError) == GIF_ERROR) ok = false;
    return ok;
}

}  // namespace vellum::codec
