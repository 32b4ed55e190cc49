#include "dib/bmp.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "dib/bmp_expand.h"
#include "dib/convert.h"
#include "dib/dib.h"
#include "platform/global_memory.h"

namespace {

using vellum::bmp::ReadStatus;

constexpr DWORD kCoreHeaderSize = 12;
constexpr DWORD kInfoHeaderSize = 40;
// Bit-field masks sit right behind the 40 bytes every header version starts
// with: after a 40-byte header, or as the next fields of a larger one.
constexpr LONGLONG kMaskOffset = 14 + 40;

bool acceptedDepth(WORD bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

// Reads exactly `count` bytes or reports a short read.
bool readAll(CFile& file, void* buffer, UINT count) { return file.Read(buffer, count) == count; }

// The header reader with the failure class kept; -1 on failure.
int readBmpInfo(CFile* file, BITMAPFILEHEADER* fileHeader, BITMAPINFO* out, ReadStatus* status) {
    *status = ReadStatus::corrupt;
    if (!file || !fileHeader || !out) return -1;

    file->Seek(0, CFile::begin);
    if (!readAll(*file, fileHeader, sizeof *fileHeader)) {
        *status = ReadStatus::truncated;
        return -1;
    }
    if (fileHeader->bfType != kBitmapFileType) return -1;

    // The scratch block spans the bytes between the file header and the pixel
    // data (at least 1064). Only its first 1064 bytes are ever looked at, so
    // that is all we keep; a span a 32-bit process could not allocate (which
    // includes a bfOffBits below 14) still fails as it would there.
    const DWORD span = fileHeader->bfOffBits - 14u;
    if (span > kGlobalAllocLimit) {
        *status = ReadStatus::tooLarge;
        return -1;
    }
    BYTE scratch[kFullHeaderBytes] = {};
    auto* info = reinterpret_cast<BITMAPINFO*>(scratch);

    DWORD headerSize = 0;
    file->Read(&headerSize, sizeof headerSize);
    file->Seek(14, CFile::begin);

    int count = 0;
    if (headerSize == kCoreHeaderSize) {
        file->Read(scratch, sizeof scratch);  // short reads are accepted here
        count = ThConvertOSInfo(info);
    } else {
        if (!readAll(*file, scratch, kInfoHeaderSize)) {
            *status = ReadStatus::truncated;
            return -1;
        }
        file->Seek(static_cast<DWORD>(14u + headerSize), CFile::begin);
        info->bmiHeader.biSize = kInfoHeaderSize;
        // The table length ignores biClrUsed on purpose.
        count = info->bmiHeader.biBitCount <= 8 ? 1 << info->bmiHeader.biBitCount : 0;
        if (!readAll(*file, scratch + kInfoHeaderSize, static_cast<UINT>(4 * count))) {
            *status = ReadStatus::truncated;
            return -1;
        }
    }

    const BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biWidth < 1 || h.biPlanes != 1) return -1;
    if (!acceptedDepth(h.biBitCount)) {
        *status = ReadStatus::unsupported;
        return -1;
    }

    file->Seek(fileHeader->bfOffBits, CFile::begin);
    std::memcpy(out, scratch, static_cast<std::size_t>(40 + 4 * count));
    *status = ReadStatus::ok;
    return static_cast<int>(h.biCompression);
}

// Expands compressed data in place in `bits` (a block of `blockSize` bytes
// holding the `got` bytes read from the file) as the display driver's round
// trip would. The header is rewritten as uncompressed first.
ReadStatus expand(BITMAPINFOHEADER& h, const DWORD masks[3], BYTE* bits, std::size_t blockSize,
                  std::size_t got) {
    const DWORD compression = h.biCompression;
    const auto rowsSize = static_cast<std::size_t>(VellumDibImageSize(h));
    h.biCompression = BI_RGB;
    h.biSizeImage = static_cast<DWORD>(rowsSize);

    std::vector<BYTE> packed(bits, bits + got);
    // The expanders clear the rows they fill; the rest of the block goes too.
    std::memset(bits + rowsSize, 0, blockSize - rowsSize);
    switch (compression) {
        case BI_RLE8:
        case BI_RLE4: {
            // The expander checks that the depth fits the compression.
            BITMAPINFOHEADER asFiled = h;
            asFiled.biCompression = compression;
            return vellum::bmp::ExpandRle(asFiled, packed.data(), packed.size(), bits, rowsSize);
        }
        case BI_BITFIELDS:
            return vellum::bmp::ExpandBitFields(h, masks, packed.data(), packed.size(), bits,
                                                rowsSize);
        default: return ReadStatus::unsupported;
    }
}

int readDibData(const char* path, void*& bits, BITMAPINFO*& info, ReadStatus* status) {
    *status = ReadStatus::cannotOpen;
    CFile file;
    if (!path || !file.Open(path, CFile::modeRead | CFile::shareDenyWrite)) return -1;

    VellumDeleteHeader(info);
    info = VellumNewHeader(kFullHeaderBytes);
    if (!info) {
        *status = ReadStatus::outOfMemory;
        return -1;
    }
    BITMAPFILEHEADER fileHeader{};
    const int compression = readBmpInfo(&file, &fileHeader, info, status);
    if (compression == -1) {
        VellumDeleteHeader(info);
        info = nullptr;
        return -1;
    }
    BITMAPINFOHEADER& h = info->bmiHeader;
    // A block holds at most 256 entries; a larger count would send later
    // copies of this header past its end.
    if (h.biClrUsed > 256) h.biClrUsed = 256;

    // The buffer is the larger of the stride-based size and biSizeImage. A
    // size that is negative (top-down rows) or beyond 32 bits could not be
    // allocated by a 32-bit process, and neither can one far larger than the
    // file could ever describe.
    const std::int64_t rowsSize = VellumDibImageSize(h);
    const std::uint64_t fileLength = file.GetLength();
    std::int64_t bufferSize = -1;
    if (rowsSize >= 0 && rowsSize <= 0xFFFFFFFFll) {
        bufferSize = std::max<std::int64_t>(rowsSize, h.biSizeImage);
    }
    const bool hostile = bufferSize > static_cast<std::int64_t>(kBmpSmallImageBytes) &&
                         static_cast<std::uint64_t>(bufferSize) > kBmpMaxExpansion * fileLength;

    GlobalFree(bits);
    bits = nullptr;
    if (bufferSize < 0 || hostile) {
        // Top-down rows (a negative height) are not read here; the codec
        // path turns them bottom-up.
        *status = h.biHeight < 0 ? ReadStatus::unsupported : ReadStatus::tooLarge;
        return -1;
    }
    // Not cleared here: the read fills the block and the tail a short read
    // leaves is cleared after it.
    bits = GlobalAllocChecked(GMEM_FIXED, bufferSize);
    if (!bits) {
        *status = bufferSize > static_cast<std::int64_t>(kGlobalAllocLimit) ? ReadStatus::tooLarge
                                                                           : ReadStatus::outOfMemory;
        return -1;
    }

    file.Seek(fileHeader.bfOffBits, CFile::begin);
    const UINT got = file.Read(bits, static_cast<UINT>(bufferSize));  // short reads are kept
    std::memset(static_cast<BYTE*>(bits) + got, 0, static_cast<std::size_t>(bufferSize - got));

    if (compression != BI_RGB) {
        DWORD masks[3] = {};
        if (compression == BI_BITFIELDS) {
            file.Seek(kMaskOffset, CFile::begin);
            if (file.Read(masks, sizeof masks) != sizeof masks) std::memset(masks, 0, sizeof masks);
        }
        file.Close();
        *status = expand(h, masks, static_cast<BYTE*>(bits), static_cast<std::size_t>(bufferSize),
                         got);
        if (*status != ReadStatus::ok) return -3;
    } else {
        file.Close();
    }

    if (!ThPrepareTrueImg(bits, info)) {
        *status = h.biHeight < 1 ? ReadStatus::corrupt : ReadStatus::outOfMemory;
        return -3;
    }
    if (info->bmiHeader.biBitCount == 24) info->bmiHeader.biClrUsed = 0;
    info->bmiHeader.biSizeImage = static_cast<DWORD>(bufferSize);
    *status = ReadStatus::ok;
    return 0;
}

}  // namespace

int ThReadBmpInfo(CFile* file, BITMAPFILEHEADER* fileHeader, BITMAPINFO* out) {
    ReadStatus status;
    try {
        return readBmpInfo(file, fileHeader, out, &status);
    } catch (CException* e) {
        e->Delete();
        return -1;
    }
}

namespace vellum::bmp {

int ReadDibDataClassified(const char* path, void*& bits, BITMAPINFO*& info, ReadStatus* status) {
    ReadStatus local;
    ReadStatus* s = status ? status : &local;
    try {
        return readDibData(path, bits, info, s);
    } catch (CException* e) {
        // Only a failing device gets here; what was built so far is still a
        // consistent pair for the caller to release.
        e->Delete();
        *s = ReadStatus::truncated;
        return -1;
    }
}

}  // namespace vellum::bmp

int ThReadDibData(const char* path, void*& bits, BITMAPINFO*& info) {
    return vellum::bmp::ReadDibDataClassified(path, bits, info, nullptr);
}

int ThSaveDibData(const char* path, const void* bits, BITMAPINFO* info) {
    if (!path || !info) return 0;
    CFile file;
    CFileException error;
    if (!file.Open(path, CFile::modeCreate | CFile::modeWrite, &error)) {
        error.ReportError();
        return 0;
    }
    BITMAPINFOHEADER& h = info->bmiHeader;
    if (h.biBitCount == 24) h.biClrUsed = 0;
    const std::int64_t size =
        (std::int64_t{h.biWidth} * h.biBitCount + 31) / 32 * h.biHeight * 4;
    if (size < 0 || size > static_cast<std::int64_t>(kGlobalAllocLimit) || (size > 0 && !bits)) {
        return 0;
    }
    h.biSizeImage = static_cast<DWORD>(size);
    const long count = ThCalDibColorCount(info);
    BITMAPFILEHEADER fileHeader{};
    fileHeader.bfType = kBitmapFileType;
    fileHeader.bfOffBits = static_cast<DWORD>(54 + 4 * count);
    fileHeader.bfSize = fileHeader.bfOffBits + h.biSizeImage;
    h.biSize = 40;
    h.biPlanes = 1;
    h.biCompression = BI_RGB;
    try {
        file.Write(&fileHeader, sizeof fileHeader);
        file.Write(info, static_cast<UINT>(40 + 4 * count));
        file.Write(bits, h.biSizeImage);
        file.Close();
    } catch (CException* e) {
        e->Delete();
        return 0;
    }
    return 1;
}
