// File family: looking at image files without changing them.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "registry.h"

namespace {

using namespace vellum::cli;

struct HeaderDeleter {
    void operator()(BITMAPINFO* info) const { VellumDeleteHeader(info); }
};

const char* compressionName(DWORD compression) {
    switch (compression) {
        case BI_RGB:
            return "none";
        case BI_RLE8:
            return "RLE8";
        case BI_RLE4:
            return "RLE4";
        case BI_BITFIELDS:
            return "bit fields";
        case BI_JPEG:
            return "JPEG";
        case BI_PNG:
            return "PNG";
        case BI_ALPHABITFIELDS:
            return "bit fields with alpha";
        default:
            return "unknown";
    }
}

long dotsPerInch(LONG pixelsPerMetre) {
    return std::lround(pixelsPerMetre * 0.0254);
}

std::string format(const char* pattern, auto... values) {
    char buffer[160];
    std::snprintf(buffer, sizeof buffer, pattern, values...);
    return buffer;
}

void printRows(const std::vector<std::pair<std::string, std::string>>& rows, std::ostream& out,
               std::size_t& width) {
    width = 0;
    for (const auto& row : rows) width = std::max(width, row.first.size());
    for (const auto& [label, value] : rows) {
        out << label << std::string(width + 2 - label.size(), ' ') << value << '\n';
    }
}

// Files other than BMP: what the codec decodes.
void codecInfo(const Args& args, const std::string& path, int type, std::ostream& out) {
    CxImage image(path.c_str(), static_cast<DWORD>(type));
    if (!image.IsValid()) {
        loadImage(path);  // says why
        throw Failure("cannot read '" + path + "'");
    }
    const BITMAPINFOHEADER& h = *image.GetHeader();
    const long t = image.GetTransIndex();
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"file", path},
        {"file length", format("%ld bytes", CFileDib::GetFileLength(path.c_str()))},
        {"format", formatName(path) + format(" (type %d)", type)},
        {"width", format("%d", static_cast<int>(h.biWidth))},
        {"height", format("%d", static_cast<int>(h.biHeight))},
        {"bit count", format("%u", static_cast<unsigned>(h.biBitCount))},
        {"grey", image.IsGrayScale() ? "yes" : "no"},
        {"palette length", format("%u", static_cast<unsigned>(image.GetPaletteSize()))},
        {"alpha", image.AlphaIsValid() ? "yes" : "no"},
        {"transparent index", t >= 0 ? format("%ld", t) : "none"},
        {"resolution",
         format("%d x %d pixels per metre (%ld x %ld dpi)", static_cast<int>(h.biXPelsPerMeter),
                static_cast<int>(h.biYPelsPerMeter), dotsPerInch(h.biXPelsPerMeter),
                dotsPerInch(h.biYPelsPerMeter))},
    };
    std::size_t width = 0;
    printRows(rows, out, width);
    if (args.flag("palette")) {
        for (DWORD i = 0; i < image.GetPaletteSize(); ++i) {
            const RGBQUAD& q = image.GetPalette()[i];
            out << format("%*ld  #%02X%02X%02X", static_cast<int>(width), static_cast<long>(i),
                          q.rgbRed, q.rgbGreen, q.rgbBlue)
                << '\n';
        }
    }
}

void info(const Args& args, const std::string& path, std::ostream& out) {
    const int fileType = ThFindType(CString(path.c_str()));
    if (fileType != CXIMAGE_FORMAT_BMP) {
        if (fileType == 0) loadImage(path);  // unknown type: says so
        codecInfo(args, path, fileType, out);
        return;
    }
    BITMAPFILEHEADER fileHeader{};
    std::unique_ptr<BITMAPINFO, HeaderDeleter> header(VellumNewHeader(kFullHeaderBytes));
    if (!header) throw Failure("out of memory");
    int read = -1;
    {
        CFile file;
        if (file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyNone | CFile::typeBinary)) {
            read = ThReadBmpInfo(&file, &fileHeader, header.get());
        }
    }
    if (read < 0) {
        // The full reader knows why the headers were refused.
        loadImage(path);
        throw Failure("cannot read '" + path + "': not a BMP file or damaged");
    }

    const BITMAPINFOHEADER& h = header->bmiHeader;
    const long colours = ThCalDibColorCount(header.get());
    const CSize printed = CFileDib::GetLogSize(path.c_str());
    const char type[3] = {static_cast<char>(fileHeader.bfType & 0xFF),
                          static_cast<char>(fileHeader.bfType >> 8), 0};

    const std::vector<std::pair<std::string, std::string>> rows = {
        {"file", path},
        {"file length", format("%ld bytes", CFileDib::GetFileLength(path.c_str()))},
        {"type", type},
        {"size in header", format("%u bytes", static_cast<unsigned>(fileHeader.bfSize))},
        {"pixel offset", format("%u", static_cast<unsigned>(fileHeader.bfOffBits))},
        {"header size", format("%u", static_cast<unsigned>(h.biSize))},
        {"width", format("%d", static_cast<int>(h.biWidth))},
        {"height",
         format("%d%s", static_cast<int>(h.biHeight), h.biHeight < 0 ? " (rows top-down)" : "")},
        {"planes", format("%u", static_cast<unsigned>(h.biPlanes))},
        {"bit count", format("%u", static_cast<unsigned>(h.biBitCount))},
        {"compression", format("%u (%s)", static_cast<unsigned>(h.biCompression),
                               compressionName(h.biCompression))},
        {"image size", format("%u bytes", static_cast<unsigned>(h.biSizeImage))},
        {"resolution",
         format("%d x %d pixels per metre (%ld x %ld dpi)", static_cast<int>(h.biXPelsPerMeter),
                static_cast<int>(h.biYPelsPerMeter), dotsPerInch(h.biXPelsPerMeter),
                dotsPerInch(h.biYPelsPerMeter))},
        {"colours used", format("%u", static_cast<unsigned>(h.biClrUsed))},
        {"colours important", format("%u", static_cast<unsigned>(h.biClrImportant))},
        {"palette length", format("%ld", colours)},
        {"printed size", format("%d x %d hundredths of an inch", static_cast<int>(printed.cx),
                                static_cast<int>(printed.cy))},
    };
    std::size_t width = 0;
    for (const auto& row : rows) width = std::max(width, row.first.size());
    for (const auto& [label, value] : rows) {
        out << label << std::string(width + 2 - label.size(), ' ') << value << '\n';
    }

    if (args.flag("palette")) {
        // Only tables of 8 bits or fewer are read from the file, at most 256 entries.
        const long stored = h.biBitCount <= 8 ? (1L << h.biBitCount) : 0;
        const long shown = std::min(colours, stored);
        const RGBQUAD* table = header->bmiColors;
        for (long i = 0; i < shown; ++i) {
            const RGBQUAD& q = table[i];
            out << format("%*ld  #%02X%02X%02X", static_cast<int>(width), i, q.rgbRed, q.rgbGreen,
                          q.rgbBlue)
                << '\n';
        }
    }
}

const Registrar registrar{
    {.name = "info",
     .family = "file",
     .summary = "Print an image file's size, depth, palette and transparency",
     .help = "For a BMP file, prints the file and bitmap header fields as a table, with the\n"
             "palette length, the file's length and its printed size (in hundredths of an\n"
             "inch at the file's resolution, or 96 dpi when unset, fitted into 1660 x 2340).\n"
             "For other formats, prints what decoding gives: size, bit count, palette,\n"
             "alpha plane and transparent index.",
     .options = {Opt::flag("palette", "Also list the colour table, one entry per line")},
     .inspect = info},
};

}  // namespace
