#include "filedib/file_dib.h"

#include <cstring>

#include "dib/bmp.h"
#include "dib/dib.h"
#include "platform/system.h"

namespace {

// Reads the headers of `path` into `out` (a 1064-byte block). Mirrors the
// queries' opening rules: existence first, then a read-only open.
bool readHeader(const char* path, BITMAPINFO* out, UINT share) {
    if (!path || _access(path, 0) != 0) return false;
    CFile file;
    if (!file.Open(path, CFile::modeRead | share)) return false;
    BITMAPFILEHEADER fileHeader{};
    return ThReadBmpInfo(&file, &fileHeader, out) != -1;
}

struct HeaderBlock {
    BITMAPINFO* info = VellumNewHeader(kFullHeaderBytes);
    ~HeaderBlock() { VellumDeleteHeader(info); }
};

}  // namespace

int CFileDib::WriteBmpHeader(CFile* file, BITMAPINFO* info) {
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biClrUsed = 0;
    const std::int64_t rowBytes = (std::int64_t{h.biWidth} * h.biBitCount + 7) / 8;
    h.biSizeImage = static_cast<DWORD>((rowBytes + 3) / 4 * 4 * h.biHeight);
    const DWORD tableBytes = h.biBitCount <= 8 ? 4u << h.biBitCount : 0u;
    BITMAPFILEHEADER fileHeader{};
    fileHeader.bfType = kBitmapFileType;
    fileHeader.bfOffBits = 54 + tableBytes;
    fileHeader.bfSize = fileHeader.bfOffBits + h.biSizeImage;
    file->Seek(0, CFile::begin);
    file->Write(&fileHeader, sizeof fileHeader);
    file->Write(info, 40 + tableBytes);
    return 1;
}

int CFileDib::GetInfo(const char* path, int& width, int& height) {
    HeaderBlock block;
    if (!block.info || !readHeader(path, block.info, CFile::shareCompat)) return 0;
    width = block.info->bmiHeader.biWidth;
    height = block.info->bmiHeader.biHeight;
    return 1;
}

int CFileDib::GetInfoHeader(const char* path, BITMAPINFOHEADER* out) {
    HeaderBlock block;
    if (!out || !block.info || !readHeader(path, block.info, CFile::shareCompat)) return 0;
    std::memcpy(out, &block.info->bmiHeader, sizeof *out);
    return 1;
}

CSize CFileDib::GetSize(const char* path) {
    HeaderBlock block;
    if (!block.info || !readHeader(path, block.info, CFile::shareDenyWrite)) return CSize(0, 0);
    return CSize(block.info->bmiHeader.biWidth, block.info->bmiHeader.biHeight);
}

CSize CFileDib::GetLogSize(const char* path) {
    HeaderBlock block;
    if (!block.info || !readHeader(path, block.info, CFile::shareDenyWrite)) return CSize(0, 0);
    const BITMAPINFOHEADER& h = block.info->bmiHeader;
    int dpiX = static_cast<int>(h.biXPelsPerMeter * 0.0254 + 0.5);
    if (dpiX < 1) dpiX = 96;
    int dpiY = static_cast<int>(h.biYPelsPerMeter * 0.0254 + 0.5);
    if (dpiY <= 0) dpiY = 96;
    std::int64_t width = MulDiv(h.biWidth, 100, dpiX);
    std::int64_t height = MulDiv(h.biHeight, 100, dpiY);

    // Fit into 16.6 x 23.4 inches keeping proportions; the ratios are
    // compared as real numbers.
    constexpr int kMaxWidth = 1660;
    constexpr int kMaxHeight = 2340;
    if (width > kMaxWidth && (height <= kMaxHeight || static_cast<double>(height) / kMaxHeight <
                                                          static_cast<double>(width) / kMaxWidth)) {
        height = height * kMaxWidth / width;
        width = kMaxWidth;
    } else if (height > kMaxHeight) {
        width = width * kMaxHeight / height;
        height = kMaxHeight;
    }
    return CSize(static_cast<int>(width), static_cast<int>(height));
}

long CFileDib::GetFileLength(const char* path) {
    CFile file;
    if (!path || !file.Open(path, CFile::modeRead)) return -1;
    try {
        return static_cast<long>(file.GetLength());
    } catch (CException* e) {
        e->Delete();
        return -1;
    }
}
