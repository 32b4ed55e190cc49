#include "image_io.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace vellum::cli {
namespace {

namespace fs = std::filesystem;

// Messages shown while a load or save is under way on this thread; null when
// none is, and messages go straight to stderr.
thread_local std::vector<std::string>* tHeldMessages = nullptr;

std::string oneLine(const char* text) {
    std::string line;
    for (const char* p = text; *p; ++p) {
        const char c = (*p == '\n' || *p == '\r' || *p == '\t') ? ' ' : *p;
        if (c == ' ' && (line.empty() || line.back() == ' ')) continue;
        line += c;
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

int printMessage(const char* text, UINT) {
    std::string line = oneLine(text ? text : "");
    if (tHeldMessages) {
        tHeldMessages->push_back(std::move(line));
    } else {
        std::fprintf(stderr, "vellum: %s\n", line.c_str());
    }
    return IDOK;
}

// Holds the library's messages back for the length of one load or save.
class HeldMessages {
  public:
    HeldMessages() : previous_(tHeldMessages) { tHeldMessages = &messages_; }
    ~HeldMessages() { tHeldMessages = previous_; }
    HeldMessages(const HeldMessages&) = delete;
    HeldMessages& operator=(const HeldMessages&) = delete;

    // After a success the messages are still worth seeing.
    void release() {
        tHeldMessages = previous_;
        for (const auto& m : messages_) printMessage(m.c_str(), MB_OK);
        messages_.clear();
    }

  private:
    std::vector<std::string> messages_;
    std::vector<std::string>* previous_;
};

std::string lowerFirst(std::string text) {
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z')
        text[0] = static_cast<char>(text[0] + 32);
    return text;
}

// Why a file cannot be opened for reading, in the system's words.
std::string openFailureReason(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return lowerFirst(std::strerror(errno));
    std::fclose(file);
    return "cannot open";
}

std::string readFailureReason(const std::string& path, bmp::ReadStatus status) {
    using bmp::ReadStatus;
    switch (status) {
        case ReadStatus::cannotOpen:
            return openFailureReason(path);
        case ReadStatus::truncated:
            return "truncated file";
        case ReadStatus::corrupt:
            return "not a BMP file or damaged";
        case ReadStatus::unsupported:
            return "unsupported kind of BMP file";
        case ReadStatus::tooLarge:
            return "image too large for its file";
        case ReadStatus::outOfMemory:
            return "out of memory";
        case ReadStatus::ok:
            break;
    }
    return "not a BMP file or damaged";
}

std::string writeFailureReason(const std::string& path) {
    std::error_code ec;
    const fs::path target(path);
    fs::path parent = target.parent_path();
    if (parent.empty()) parent = ".";
    if (fs::is_directory(target, ec)) return "is a directory";
    if (!fs::is_directory(parent, ec)) return "no such directory";
    const bool exists = fs::exists(target, ec);
    if (exists ? ::access(path.c_str(), W_OK) != 0 : ::access(parent.c_str(), W_OK) != 0) {
        return "permission denied";
    }
    return "write failed";
}

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

int fileType(const std::string& path) {
    return ThFindType(CString(fs::path(path).filename().string().c_str()));
}

std::string extensionOf(const std::string& path) {
    const std::string ext = fs::path(path).extension().string();
    return ext.empty() ? "no extension" : "'" + ext + "'";
}

// The codec's image copied into a fresh pair.
Image fromCodec(const CxImage& codec) {
    Image image;
    image.info = VellumNewHeader(kFullHeaderBytes);
    if (!image.info) throw Failure("out of memory");
    std::memcpy(image.info, codec.GetDIB(), 40 + 4 * std::size_t{codec.GetPaletteSize()});
    const std::int64_t bytes = std::int64_t{codec.GetEffWidth()} * codec.GetHeight();
    image.bits = GlobalAllocChecked(GPTR, bytes);
    if (!image.bits) throw Failure("out of memory");
    std::memcpy(image.bits, codec.GetBits(), static_cast<std::size_t>(bytes));
    image.info->bmiHeader.biSizeImage = static_cast<DWORD>(bytes);
    if (codec.AlphaIsValid()) {
        const BYTE* plane = codec.AlphaGetPointer();
        image.alpha.assign(plane, plane + std::size_t{codec.GetWidth()} * codec.GetHeight());
    }
    image.transIndex = codec.GetBpp() <= 8 ? codec.GetTransIndex() : -1;
    return image;
}

// The pair copied into a codec image (16- and 32-bit pairs are not made by
// the library's readers and are refused).
bool toCodec(const Image& image, CxImage& codec) {
    const BITMAPINFOHEADER& h = image.info->bmiHeader;
    if (h.biHeight < 1 || !codec.Create(static_cast<DWORD>(h.biWidth), static_cast<DWORD>(h.biHeight), h.biBitCount))
        return false;
    if (h.biBitCount <= 8) {
        const long count = std::min<long>(ThCalDibColorCount(image.info), 1L << h.biBitCount);
        std::memset(codec.GetPalette(), 0, 4 * std::size_t{codec.GetPaletteSize()});
        std::memcpy(codec.GetPalette(), VellumColorTable(image.info), 4 * static_cast<std::size_t>(count));
    }
    std::memcpy(codec.GetBits(), image.bits, std::size_t{codec.GetEffWidth()} * codec.GetHeight());
    codec.GetHeader()->biXPelsPerMeter = h.biXPelsPerMeter;
    codec.GetHeader()->biYPelsPerMeter = h.biYPelsPerMeter;
    if (image.transparencyKept) {
        const std::size_t pixels = std::size_t{codec.GetWidth()} * codec.GetHeight();
        if (image.alpha.size() == pixels && codec.AlphaCreate())
            std::memcpy(codec.AlphaGetPointer(), image.alpha.data(), pixels);
        if (h.biBitCount <= 8 && image.transIndex >= 0 && image.transIndex < (1L << h.biBitCount))
            codec.SetTransIndex(image.transIndex);
    }
    return true;
}

}  // namespace

Image::Image(Image&& other) noexcept
    : bits(std::exchange(other.bits, nullptr)),
      info(std::exchange(other.info, nullptr)),
      sourcePath(std::move(other.sourcePath)),
      convertFromSource(other.convertFromSource),
      jpegQuality(other.jpegQuality),
      alpha(std::move(other.alpha)),
      transIndex(other.transIndex),
      transparencyKept(other.transparencyKept) {}

Image& Image::operator=(Image&& other) noexcept {
    if (this != &other) {
        reset();
        bits = std::exchange(other.bits, nullptr);
        info = std::exchange(other.info, nullptr);
        sourcePath = std::move(other.sourcePath);
        convertFromSource = other.convertFromSource;
        jpegQuality = other.jpegQuality;
        alpha = std::move(other.alpha);
        transIndex = other.transIndex;
        transparencyKept = other.transparencyKept;
    }
    return *this;
}

void Image::reset() {
    if (bits) GlobalFree(bits);
    if (info) VellumDeleteHeader(info);
    bits = nullptr;
    info = nullptr;
}

Image makeImage24(int width, int height) {
    if (width < 1 || height < 1) throw Failure("image size must be at least 1 x 1");
    Image image;
    // A full-size header block, like the ones the BMP reader hands out.
    image.info = VellumNewHeader(kFullHeaderBytes);
    if (!image.info) throw Failure("out of memory");
    BITMAPINFOHEADER& h = image.info->bmiHeader;
    h.biSize = sizeof(BITMAPINFOHEADER);
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = 24;
    h.biCompression = BI_RGB;
    const std::int64_t bytes = VellumDibImageSize(h);
    image.bits = GlobalAllocChecked(GPTR, bytes);
    if (!image.bits)
        throw Failure("out of memory for a " + std::to_string(width) + " x " +
                      std::to_string(height) + " image");
    h.biSizeImage = static_cast<DWORD>(bytes);
    h.biXPelsPerMeter = 3780;  // 96 dpi
    h.biYPelsPerMeter = 3780;
    return image;
}

Image loadImage(const std::string& path, DWORD hintWidth, DWORD hintHeight) {
    std::error_code ec;
    if (fs::is_directory(path, ec))
        throw Failure("cannot read " + quoted(path) + ": is a directory");

    const int type = fileType(path);
    if (type == 0) {
        throw Failure("cannot read " + quoted(path) + ": unknown file type (" + extensionOf(path) +
                      "; 'vellum formats' lists them)");
    }
    HeldMessages held;
    Image image;
    if (type == CXIMAGE_FORMAT_BMP) {
        auto status = bmp::ReadStatus::ok;
        const int result = bmp::ReadDibDataClassified(path.c_str(), image.bits, image.info, &status);
        if (result != 0 || image.empty()) {
            image.reset();
            CxImage codec(path.c_str(), CXIMAGE_FORMAT_BMP);
            if (!codec.IsValid())
                throw Failure("cannot read " + quoted(path) + ": " + readFailureReason(path, status));
            image = fromCodec(codec);
        }
    } else {
        CxImage codec(static_cast<DWORD>(type));
        codec.SetDecodeSizeHint(hintWidth, hintHeight);
        codec.Load(path.c_str(), static_cast<DWORD>(type));
        if (!codec.IsValid()) {
            std::FILE* file = std::fopen(path.c_str(), "rb");
            if (!file) throw Failure("cannot read " + quoted(path) + ": " + openFailureReason(path));
            std::fclose(file);
            throw Failure("cannot read " + quoted(path) + ": not a " + formatName(path) +
                          " file, damaged or unsupported");
        }
        image = fromCodec(codec);
    }
    image.sourcePath = path;
    held.release();
    return image;
}

void saveImage(Image& image, const std::string& path) {
    if (image.empty()) throw Failure("cannot write " + quoted(path) + ": no image");
    std::error_code ec;
    if (fs::is_directory(path, ec))
        throw Failure("cannot write " + quoted(path) + ": is a directory");

    const int type = fileType(path);
    if (type == 0 || type == CXIMAGE_FORMAT_WMF) {
        throw Failure("cannot write " + quoted(path) + ": " +
                      (type ? std::string("WMF/EMF cannot be written")
                            : "unknown file type (" + extensionOf(path) +
                                  "; 'vellum formats' lists them)"));
    }
    HeldMessages held;
    if (image.convertFromSource && !image.sourcePath.empty()) {
        // The conversion reports only whether the source decoded; the result
        // is checked by reading its header back.
        std::remove(path.c_str());
        BITMAPINFOHEADER header{};
        if (ThConvertFileToFile(image.sourcePath.c_str(), path.c_str(), image.jpegQuality) != 1)
            throw Failure("cannot convert '" + image.sourcePath + "'");
        if (GetImageFileInfo(&header, path.c_str()) != 1)
            throw Failure("cannot write " + quoted(path) + ": " + writeFailureReason(path));
    } else if (type == CXIMAGE_FORMAT_BMP) {
        if (ThSaveDibData(path.c_str(), image.bits, image.info) != 1)
            throw Failure("cannot write " + quoted(path) + ": " + writeFailureReason(path));
    } else {
        CxImage codec;
        if (!toCodec(image, codec))
            throw Failure("cannot write " + quoted(path) + ": unsupported image depth");
        if (type == CXIMAGE_FORMAT_JPG) {
            if (!codec.IsGrayScale()) codec.IncreaseBpp(24);
            codec.SetJpegQuality(static_cast<BYTE>(image.jpegQuality));
        } else if (type == CXIMAGE_FORMAT_GIF && codec.GetBpp() > 8) {
            codec.DecreaseBpp(8, true);
        }
        std::vector<BYTE> bytes;
        if (!codec.Encode(bytes, static_cast<DWORD>(type)))
            throw Failure("cannot write " + quoted(path) + ": the image cannot be stored as " +
                          formatName(path) + " (size or depth)");
        std::FILE* file = std::fopen(path.c_str(), "wb");
        const bool ok = file && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
        if ((file && std::fclose(file) != 0) || !ok)
            throw Failure("cannot write " + quoted(path) + ": " + writeFailureReason(path));
    }
    held.release();
}

std::string formatName(const std::string& path) {
    const int type = fileType(path);
    int count = 0;
    const CxFormatInfo* formats = CxImageFormats(&count);
    for (int i = 0; i < count; ++i)
        if (static_cast<int>(formats[i].type) == type) return formats[i].name;
    return "";
}

void installMessageHandler() {
    VellumSetMessageHandler(&printMessage);
}

}  // namespace vellum::cli
