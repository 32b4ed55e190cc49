// Formats family: what the tool can read and write.
#include <cstdio>
#include <string>

#include "registry.h"

namespace {

using namespace vellum::cli;

void formats(const Args&, const std::string& path, std::ostream& out) {
    int count = 0;
    const CxFormatInfo* list = CxImageFormats(&count);
    if (!path.empty()) {
        const int type = ThFindType(CString(path.c_str()));
        const std::string name = formatName(path);
        out << path << ": " << (type ? name + " (type " + std::to_string(type) + ")" : "unknown")
            << '\n';
        return;
    }
    static const char* const kExtensions[] = {
        "", "bmp dib rgn layer", "gif", "jpg jpeg aph", "png", "ico", "tif tiff", "tga", "pcx",
        "wbmp", "wmf emf", "jp2 j2k", "jpc j2c", "pgx", "pnm pgm ppm", "ras"};
    out << "type  format                  read  write  extensions\n";
    for (int i = 0; i < count; ++i) {
        const CxFormatInfo& f = list[i];
        char line[160];
        std::snprintf(line, sizeof line, "%4u  %-22s  %-4s  %-5s  %s\n", static_cast<unsigned>(f.type),
                      f.name, f.canRead ? "yes" : "no", f.canWrite ? "yes" : "no",
                      kExtensions[f.type]);
        out << line;
    }
}

const Registrar registrar{
    {.name = "formats",
     .family = "file",
     .summary = "List the image formats the tool reads and writes",
     .help = "Without files, lists every format with its type number, whether it can be\n"
             "read and written, and its extensions. With files, names the format each\n"
             "file name's extension selects. Every operation reads and writes files in\n"
             "the format their extension names.",
     .inspect = formats,
     .filesOptional = true},
};

}  // namespace
