// Paints a picture into a pixel buffer the program owns, the way a host
// paints into a window's surface, and writes the buffer out as a BMP file.
//
//   host_surface INPUT.bmp OUTPUT.bmp
//
// The buffer is what cairo (CAIRO_FORMAT_RGB24), Qt (QImage::Format_RGB32)
// and SDL (SDL_PIXELFORMAT_XRGB8888) hand out: 32-bit pixels 0xXXRRGGBB,
// rows top-down. VellumCreateHostDC wraps it as a device context; every GDI
// call on that context draws straight into the buffer. The output is the
// picture at twice its size on a grey frame with a red triangle in the
// top-left corner, (2 x width + 16) x (2 x height + 16) pixels, 32 bits.
#include <vellum/vellum.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

// A BMP whose rows are stored top-down (negative height), 32 bits per
// pixel: the buffer is written as it is.
bool WriteTopDownBmp(const char* path, const std::vector<std::uint32_t>& pixels, int width,
                     int height) {
    const std::uint32_t imageBytes = static_cast<std::uint32_t>(pixels.size() * 4);
    BITMAPFILEHEADER file{};
    file.bfType = kBitmapFileType;
    file.bfOffBits = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
    file.bfSize = file.bfOffBits + imageBytes;
    BITMAPINFOHEADER info{};
    info.biSize = sizeof info;
    info.biWidth = width;
    info.biHeight = -height;
    info.biPlanes = 1;
    info.biBitCount = 32;
    info.biSizeImage = imageBytes;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&file), sizeof file);
    out.write(reinterpret_cast<const char*>(&info), sizeof info);
    out.write(reinterpret_cast<const char*>(pixels.data()), imageBytes);
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s INPUT.bmp OUTPUT.bmp\n", argv[0]);
        return 2;
    }
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    if (ThReadDibData(argv[1], bits, info) != 0) {
        std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[1]);
        return 1;
    }
    const int width = info->bmiHeader.biWidth, height = info->bmiHeader.biHeight;
    const int canvasWidth = 2 * width + 16, canvasHeight = 2 * height + 16;

    // The host's surface: its own memory, its own row stride.
    std::vector<std::uint32_t> surface(static_cast<std::size_t>(canvasWidth) * canvasHeight);
    HDC dc = VellumCreateHostDC(surface.data(), canvasWidth, canvasHeight, 4 * canvasWidth);
    int status = 1;
    if (!dc) {
        std::fprintf(stderr, "%s: cannot wrap the surface\n", argv[0]);
    } else {
        CDC cdc;
        cdc.Attach(dc);
        cdc.FillSolidRect(0, 0, canvasWidth, canvasHeight, RGB(128, 128, 128));
        cdc.SetStretchBltMode(COLORONCOLOR);
        StretchDIBits(cdc.m_hDC, 8, 8, 2 * width, 2 * height, 0, 0, width, height, bits, info,
                      DIB_RGB_COLORS, SRCCOPY);
        const POINT corner[3] = {{0, 0}, {24, 0}, {0, 24}};
        CRgn triangle;
        triangle.CreatePolygonRgn(corner, 3, ALTERNATE);
        CBrush red(RGB(255, 0, 0));
        cdc.FillRgn(&triangle, &red);
        cdc.DeleteDC();  // the buffer stays ours and keeps what was drawn
        if (WriteTopDownBmp(argv[2], surface, canvasWidth, canvasHeight)) {
            std::printf("%s: %d x %d, 32 bits\n", argv[2], canvasWidth, canvasHeight);
            status = 0;
        } else {
            std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[2]);
        }
    }
    GlobalFree(bits);
    VellumDeleteHeader(info);
    return status;
}
