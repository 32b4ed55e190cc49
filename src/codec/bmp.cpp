// BMP through the library's own reader and writer (dib/bmp.h). Those work on
// files, so bytes in memory pass through a private temporary file. As a codec
// it also accepts top-down files, which ThReadDibData refuses: the height is
// read as positive and the rows are turned bottom-up afterwards.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "codec/formats.h"
#include "codec/reader.h"
#include "dib/bmp.h"
#include "dib/dib.h"
#include "platform/system.h"

namespace vellum::codec {
namespace {

// A temporary file that is removed when the object goes away.
class TempFile {
  public:
    TempFile() {
        char dir[300];
        const DWORD n = GetTempPathA(sizeof dir, dir);
        std::string pattern = (n > 0 && n < sizeof dir) ? dir : "/tmp/";
        pattern += "vellum-codec-XXXXXX";
        path_.assign(pattern.begin(), pattern.end());
        path_.push_back('\0');
        fd_ = ::mkstemp(path_.data());
    }
    ~TempFile() {
        if (fd_ >= 0) {
            ::close(fd_);
            ::unlink(path_.data());
        }
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    bool ok() const { return fd_ >= 0; }
    const char* path() const { return path_.data(); }
    bool write(const std::uint8_t* data, std::size_t size) {
        while (size > 0) {
            const ssize_t n = ::write(fd_, data, size);
            if (n <= 0) return false;
            data += n;
            size -= static_cast<std::size_t>(n);
        }
        return true;
    }
    bool readAll(Bytes& out) {
        const off_t end = ::lseek(fd_, 0, SEEK_END);
        if (end < 0 || ::lseek(fd_, 0, SEEK_SET) != 0) return false;
        out.resize(static_cast<std::size_t>(end));
        std::size_t done = 0;
        while (done < out.size()) {
            const ssize_t n = ::read(fd_, out.data() + done, out.size() - done);
            if (n <= 0) return false;
            done += static_cast<std::size_t>(n);
        }
        return true;
    }

  private:
    std::vector<char> path_;
    int fd_ = -1;
};

bool ReadPair(const char* path, void*& bits, BITMAPINFO*& info) {
    bmp::ReadStatus status = bmp::ReadStatus::ok;
    return bmp::ReadDibDataClassified(path, bits, info, &status) == 0 && bits && info;
}

void ReleasePair(void*& bits, BITMAPINFO*& info) {
    if (bits) GlobalFree(bits);
    if (info) VellumDeleteHeader(info);
    bits = nullptr;
    info = nullptr;
}

}  // namespace

bool DecodeBmp(CxImage& image, const std::uint8_t* data, std::size_t size) {
    ByteCursor in(data, size);
    if (in.u16le() != 0x4D42) return false;
    in.seek(14);
    const std::uint32_t headerSize = in.u32le();
    bool topDown = false;
    Bytes patched;
    const std::uint8_t* bytes = data;
    if (in.ok() && headerSize >= 40 && size >= 26) {
        ByteCursor h(data + 22, 4);
        const auto height = static_cast<std::int32_t>(h.u32le());
        ByteCursor c(data + 30, size >= 34 ? 4 : 0);
        const std::uint32_t compression = c.u32le();
        // Top-down rows are allowed only uncompressed (or with bit fields).
        if (height < 0 && height != INT32_MIN && c.ok() && (compression == 0 || compression == 3)) {
            topDown = true;
            patched.assign(data, data + size);
            const std::uint32_t positive = static_cast<std::uint32_t>(-height);
            for (int i = 0; i < 4; ++i) patched[22 + i] = static_cast<std::uint8_t>(positive >> (8 * i));
            bytes = patched.data();
        }
    }
    TempFile file;
    if (!file.ok() || !file.write(bytes, size)) return false;
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    if (!ReadPair(file.path(), bits, info)) {
        ReleasePair(bits, info);
        return false;
    }
    const BITMAPINFOHEADER& h = info->bmiHeader;
    const WORD bpp = h.biBitCount;
    bool ok = image.Create(static_cast<DWORD>(h.biWidth), static_cast<DWORD>(h.biHeight), bpp,
                           CXIMAGE_FORMAT_BMP);
    if (ok) {
        if (bpp <= 8) {
            const long count = std::min<long>(ThCalDibColorCount(info), 1L << bpp);
            std::memset(image.GetPalette(), 0, 4 * image.GetPaletteSize());
            std::memcpy(image.GetPalette(), VellumColorTable(info), 4 * std::max(0L, count));
        }
        const std::size_t stride = image.GetEffWidth();
        const DWORD rows = image.GetHeight();
        for (DWORD y = 0; y < rows; ++y) {
            const DWORD from = topDown ? rows - 1 - y : y;
            std::memcpy(image.GetBits(y), static_cast<const BYTE*>(bits) + from * stride, stride);
        }
        image.GetHeader()->biXPelsPerMeter = h.biXPelsPerMeter;
        image.GetHeader()->biYPelsPerMeter = h.biYPelsPerMeter;
    }
    ReleasePair(bits, info);
    return ok;
}

// Writes the image through ThSaveDibData into a private temporary file.
bool EncodeBmp(const CxImage& image, Bytes& out) {
    BITMAPINFO* info = VellumNewHeader(kFullHeaderBytes);
    if (!info) return false;
    std::memcpy(info, image.GetDIB(), 40 + 4 * image.GetPaletteSize());
    const std::size_t bytes = std::size_t{image.GetEffWidth()} * image.GetHeight();
    void* bits = GlobalAllocChecked(GPTR, static_cast<std::int64_t>(bytes));
    bool ok = bits != nullptr;
    TempFile file;
    if (ok) {
        std::memcpy(bits, image.GetBits(), bytes);
        ok = file.ok() && ThSaveDibData(file.path(), bits, info) == 1 && file.readAll(out);
    }
    ReleasePair(bits, info);
    return ok;
}

}  // namespace vellum::codec
