// Reads a BMP file, converts it to 8 bits per pixel and writes the result.
//
//   convert_to_8bit INPUT.bmp OUTPUT.bmp
//
// A 24-bit picture is diffused onto the library's fixed 256-colour palette;
// a palette picture is mapped onto 256 colours. The image travels as a DIB
// pair, a header block and a pixel block, which the program releases itself.
#include <vellum/vellum.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s INPUT.bmp OUTPUT.bmp\n", argv[0]);
        return 2;
    }

    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    int status = 1;
    if (ThReadDibData(argv[1], bits, info) != 0) {
        std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[1]);
    } else if (!ThConvertToNumBit(bits, info, 8)) {
        std::fprintf(stderr, "%s: cannot convert %s to 8 bits\n", argv[0], argv[1]);
    } else if (!ThSaveDibData(argv[2], bits, info)) {
        std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[2]);
    } else {
        std::printf("%s: %d x %d, 8 bits, %ld colours\n", argv[2],
                    static_cast<int>(info->bmiHeader.biWidth),
                    static_cast<int>(info->bmiHeader.biHeight), ThCalDibColorCount(info));
        status = 0;
    }

    // Whatever the outcome, the pair's blocks are ours to release.
    if (bits) GlobalFree(bits);
    if (info) VellumDeleteHeader(info);
    return status;
}
