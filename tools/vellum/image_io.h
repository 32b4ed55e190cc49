// Loading and saving images for the command-line tool. Every file the tool
// reads or writes goes through here, so supporting another format means
// changing this module only. The format is the file name's extension
// (ThFindType): BMP files go through the library's BMP reader and writer
// (with the codec as a fallback for BMP files the reader refuses, such as
// top-down ones), every other format through the codec.
//
// Failures are reported by throwing Failure with a one-line message that
// names the file and the reason ("cannot read 'x.bmp': truncated file").
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "vellum.h"

namespace vellum::cli {

// A failure to report as one line on stderr (the tool adds "vellum: ").
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A DIB pair owned by the tool: the header block is released with
// VellumDeleteHeader and the bits with GlobalFree. Library operations take the
// two members by reference and replace them in place.
struct Image {
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;

    Image() = default;
    Image(void* newBits, BITMAPINFO* newInfo) : bits(newBits), info(newInfo) {}
    Image(Image&& other) noexcept;
    Image& operator=(Image&& other) noexcept;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image() { reset(); }

    // Releases both blocks (whichever are non-null).
    void reset();

    bool empty() const { return bits == nullptr || info == nullptr; }

    // Where the image was loaded from. When convertFromSource is set, saving
    // converts that file straight to the target with ThConvertFileToFile at
    // jpegQuality (the pair itself is not written), which keeps what the
    // pair cannot hold, such as an alpha plane or a transparent index.
    std::string sourcePath;
    bool convertFromSource = false;
    int jpegQuality = 75;

    // Transparency the pair cannot hold, as the codec decoded it: an alpha
    // plane (width x height bytes, bottom-up rows like the pair's, 255
    // opaque; empty when none) and the transparent palette index (-1 when
    // none). An operation that moves or recolours pixels makes them stale, so
    // saving writes them only when transparencyKept is set: an operation
    // sets it after carrying them through its own change (only
    // `convert --depth` does), and every other operation drops them.
    std::vector<BYTE> alpha;
    long transIndex = -1;
    bool transparencyKept = false;
    int width() const { return info ? info->bmiHeader.biWidth : 0; }
    int height() const { return info ? info->bmiHeader.biHeight : 0; }
    int bitCount() const { return info ? info->bmiHeader.biBitCount : 0; }
};

// A new 24-bit image of the given size, zero-filled (black); throws Failure
// when the size is not positive or memory runs out.
Image makeImage24(int width, int height);

// Reads an image file; throws Failure("cannot read '<path>': <reason>").
// A hint of width x height (both above 0) says the picture is wanted no
// larger than that, as for a thumbnail: formats that can decode reduced do
// so (JPEG through DCT scaling, CxImage::SetDecodeSizeHint), never below the
// hint; the others are read in full.
Image loadImage(const std::string& path, DWORD hintWidth = 0, DWORD hintHeight = 0);

// Writes the image in the format of the path's extension (BMP through
// ThSaveDibData, which may normalise the header in place; JPEG at
// image.jpegQuality, colour raised to 24 bits; GIF reduced to 8 bits with
// error diffusion); throws Failure("cannot write '<path>': <reason>").
void saveImage(Image& image, const std::string& path);

// The extension's format name ("PNG"), or an empty string when unknown.
std::string formatName(const std::string& path);

// Routes the library's message boxes to stderr as "vellum: <text>" on one
// line. While a load or save runs, its messages are held back and dropped if
// it fails, because the tool's own line then says the same with the file name.
void installMessageHandler();

}  // namespace vellum::cli
