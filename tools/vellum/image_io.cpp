#include "image_io.h"

#include <unistd.h>

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

}  // namespace

Image::Image(Image&& other) noexcept
    : bits(std::exchange(other.bits, nullptr)), info(std::exchange(other.info, nullptr)) {}

Image& Image::operator=(Image&& other) noexcept {
    if (this != &other) {
        reset();
        bits = std::exchange(other.bits, nullptr);
        info = std::exchange(other.info, nullptr);
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

Image loadImage(const std::string& path) {
    std::error_code ec;
    if (fs::is_directory(path, ec))
        throw Failure("cannot read " + quoted(path) + ": is a directory");

    HeldMessages held;
    Image image;
    auto status = bmp::ReadStatus::ok;
    const int result = bmp::ReadDibDataClassified(path.c_str(), image.bits, image.info, &status);
    if (result != 0 || image.empty()) {
        throw Failure("cannot read " + quoted(path) + ": " + readFailureReason(path, status));
    }
    held.release();
    return image;
}

void saveImage(Image& image, const std::string& path) {
    if (image.empty()) throw Failure("cannot write " + quoted(path) + ": no image");
    std::error_code ec;
    if (fs::is_directory(path, ec))
        throw Failure("cannot write " + quoted(path) + ": is a directory");

    HeldMessages held;
    if (ThSaveDibData(path.c_str(), image.bits, image.info) != 1) {
        throw Failure("cannot write " + quoted(path) + ": " + writeFailureReason(path));
    }
    held.release();
}

void installMessageHandler() {
    VellumSetMessageHandler(&printMessage);
}

}  // namespace vellum::cli
