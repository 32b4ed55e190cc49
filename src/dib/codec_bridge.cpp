#include "dib/codec_bridge.h"

#include <cstdlib>
#include <algorithm>
#include <cstring>

#include "codec/ximage.h"
#include "dib/dib.h"
#include "platform/file.h"
#include "platform/system.h"

namespace {

struct TypeEntry {
    const char* extension;
    int type;
};

// In lookup order; the first match wins.
constexpr TypeEntry kTypes[] = {
    {"bmp", 1},  {"dib", 1},  {"rgn", 1},   {"layer", 1}, {"jpg", 3},  {"jpeg", 3},
    {"aph", 3},  {"gif", 2},  {"png", 4},   {"ico", 5},   {"tiff", 6}, {"tif", 6},
    {"tga", 7},  {"pcx", 8},  {"wbmp", 9},  {"wmf", 10},  {"emf", 10}, {"jp2", 11},
    {"j2k", 11}, {"jpc", 12}, {"j2c", 12},  {"pgx", 13},  {"pnm", 14}, {"pgm", 14},
    {"ppm", 14}, {"ras", 15},
};

// Position just past the last directory separator.
std::size_t NameStart(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? 0 : slash + 1;
}

std::u16string ToUtf16(const std::string& text) {
    std::u16string out;
    std::size_t i = 0;
    while (i < text.size()) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        std::uint32_t cp = 0xFFFD;
        std::size_t len = 1;
        auto cont = [&](std::size_t k) {
            return i + k < text.size() && (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
        };
        if (c < 0x80) {
            cp = c;
        } else if ((c & 0xE0) == 0xC0 && cont(1)) {
            cp = (c & 0x1Fu) << 6 | (text[i + 1] & 0x3F);
            len = 2;
            if (cp < 0x80) cp = 0xFFFD;
        } else if ((c & 0xF0) == 0xE0 && cont(1) && cont(2)) {
            cp = (c & 0x0Fu) << 12 | (text[i + 1] & 0x3Fu) << 6 | (text[i + 2] & 0x3F);
            len = 3;
            if (cp < 0x800 || (cp >= 0xD800 && cp < 0xE000)) cp = 0xFFFD;
        } else if ((c & 0xF8) == 0xF0 && cont(1) && cont(2) && cont(3)) {
            cp = (c & 0x07u) << 18 | (text[i + 1] & 0x3Fu) << 12 | (text[i + 2] & 0x3Fu) << 6 |
                 (text[i + 3] & 0x3F);
            len = 4;
            if (cp < 0x10000 || cp > 0x10FFFF) cp = 0xFFFD;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
        i += len;
    }
    return out;
}

std::u16string CompanionName(const char* path, const char* extension) {
    if (!path) return {};
    std::string name(path);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot >= NameStart(name)) name.resize(dot);
    name += extension;
    return ToUtf16(name);
}

std::string TempDirectory() {
    char dir[MAX_PATH + 1] = {};
    const DWORD n = GetTempPathA(MAX_PATH, dir);
    if (n == 0 || n > MAX_PATH) return std::string();
    return std::string(dir, n);
}

}  // namespace

int ThFindType(const CString& fileName) {
    const std::string name(static_cast<LPCTSTR>(fileName));
    const std::size_t start = NameStart(name);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot < start) return 0;
    std::string ext = name.substr(dot + 1);
    for (char& c : ext)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    for (const TypeEntry& entry : kTypes)
        if (ext == entry.extension) return entry.type;
    return 0;
}

int ThConvertFileToFile(const char* source, const char* target, int jpegQuality) {
    if (!source || !target) return 0;
    const int sourceType = ThFindType(CString(source));
    const int targetType = ThFindType(CString(target));
    if (sourceType == 0 || targetType == 0) return 0;
    CxImage image(source, static_cast<DWORD>(sourceType));
    if (!image.IsValid()) {
        image.Destroy();
        return 0;
    }
    if (targetType == CXIMAGE_FORMAT_JPG) {
        if (!image.IsGrayScale()) image.IncreaseBpp(24);
        image.SetJpegQuality(static_cast<BYTE>(jpegQuality));
    } else if (targetType == CXIMAGE_FORMAT_GIF) {
        if (image.GetBpp() > 8) image.DecreaseBpp(8, true, nullptr, 0);
    }
    image.Save(target, static_cast<DWORD>(targetType));  // [quirk: unchecked-save]
    image.Destroy();
    return 1;
}

int ThGetGifTransparentArea(void*& maskBits, BITMAPINFO*& maskInfo, void* srcBits,
                            BITMAPINFO* srcInfo, int transparentIndex) {
    if (!srcBits || !srcInfo || transparentIndex < 0) return 0;
    VellumDeleteHeader(maskInfo);
    maskInfo = VellumNewHeader(kFullHeaderBytes);
    if (!maskInfo) {
        if (maskBits) GlobalFree(maskBits);
        maskBits = nullptr;
        return 0;
    }
    const std::int64_t copy =
        std::min<std::int64_t>(40 + 4 * std::int64_t{ThCalDibColorCount(srcInfo)}, kFullHeaderBytes);
    std::memcpy(maskInfo, srcInfo, static_cast<std::size_t>(std::max<std::int64_t>(copy, 40)));
    maskInfo->bmiHeader.biBitCount = 8;
    RGBQUAD* grey = VellumColorTable(maskInfo);
    for (int i = 0; i < 256; ++i) {
        grey[i].rgbBlue = grey[i].rgbGreen = grey[i].rgbRed = static_cast<BYTE>(i);
    }
    const std::int64_t width = srcInfo->bmiHeader.biWidth;
    const std::int64_t height = srcInfo->bmiHeader.biHeight;
    const std::int64_t maskStride = (8 * width + 31) / 32 * 4;
    const std::int64_t size = maskStride * height;
    if (maskBits) GlobalFree(maskBits);
    maskBits = size > 0 ? GlobalAllocChecked(GPTR, size) : nullptr;
    if (!maskBits) {
        VellumDeleteHeader(maskInfo);
        maskInfo = nullptr;
        return 0;
    }
    BYTE* mask = static_cast<BYTE*>(maskBits);
    std::memset(mask, 255, static_cast<std::size_t>(size));
    const int bits = srcInfo->bmiHeader.biBitCount;
    if (bits != 1 && bits != 4 && bits != 8) return 1;
    const std::int64_t srcStride = VellumDibStride(bits, width);
    const BYTE* src = static_cast<const BYTE*>(srcBits);
    for (std::int64_t y = 0; y < height; ++y) {
        const BYTE* row = src + y * srcStride;
        BYTE* out = mask + y * maskStride;
        for (std::int64_t x = 0; x < width; ++x) {
            int index;
            if (bits == 1) index = (row[x / 8] >> (7 - x % 8)) & 1;
            else if (bits == 4) index = (x % 2 == 0) ? row[x / 2] >> 4 : row[x / 2] & 15;
            else index = row[x];
            if (index == transparentIndex) out[x] = 0;
        }
    }
    return 1;
}

CString ThGetTempFileName(const char* prefix, const char* extension, int makeUnique) {
    const std::string dir = TempDirectory();
    const std::string pre = prefix ? prefix : "";
    const std::string ext = extension ? extension : "";
    std::string candidate = dir + pre + "." + ext;
    if (makeUnique == 0 || _access(candidate.c_str(), 0) != 0) return CString(candidate.c_str());
    do {
        char number[16];
        wsprintfA(number, "%d", std::rand());
        candidate = dir + pre + number + "." + ext;
    } while (_access(candidate.c_str(), 0) == 0);
    return CString(candidate.c_str());
}

std::u16string ConRgnFileName(const char* path) { return CompanionName(path, ".rgn"); }
std::u16string ConAphpaFileName(const char* path) { return CompanionName(path, ".aph"); }

std::string VellumNarrowPath(const std::u16string& path) {
    std::string out;
    for (std::size_t i = 0; i < path.size(); ++i) {
        std::uint32_t cp = path[i];
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < path.size() && path[i + 1] >= 0xDC00 &&
            path[i + 1] < 0xE000) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (path[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp < 0xE000) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | cp >> 6);
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | cp >> 12);
            out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | cp >> 18);
            out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
            out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

ULARGE_INTEGER ThGetDiskFreeSpace(const char* path) {
    ULARGE_INTEGER result{};
    ULARGE_INTEGER toCaller{}, total{}, free{};
    if (GetDiskFreeSpaceExA(path, &toCaller, &total, &free) && toCaller.u.LowPart != 0xFFFFFFFFu) {
        return toCaller;
    }
    DWORD sectors = 0, bytes = 0, freeClusters = 0, totalClusters = 0;
    GetDiskFreeSpaceA(path, &sectors, &bytes, &freeClusters, &totalClusters);
    const double value = static_cast<double>(freeClusters) * sectors * bytes;
    const double high = static_cast<double>(static_cast<std::uint64_t>(value / 4294967296.0));
    result.u.HighPart = static_cast<DWORD>(high);
    result.u.LowPart = static_cast<DWORD>(value - high * 4294967296.0);
    return result;
}

extern "C" int GetImageFileInfo(BITMAPINFOHEADER* out, const char* path) {
    if (!out || !path) return 0;
    const int type = ThFindType(CString(path));
    if (type == 0) return 0;
    CxImage image(path, static_cast<DWORD>(type));
    if (!image.IsValid()) return 0;
    std::memcpy(out, image.GetDIB(), sizeof(BITMAPINFOHEADER));
    image.Destroy();
    return 1;
}
