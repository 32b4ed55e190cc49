// CFileDib: operations on BMP files on disk. The static queries below read a
// file's headers; the streaming operations that transform one BMP file into
// another band by band join this class later.
#pragma once

#include "platform/file.h"
#include "platform/object.h"
#include "platform/rect.h"
#include "platform/windows_types.h"

class VELLUM_API CFileDib : public CObject {
public:
    // Writes the file header and info header for rows the caller writes
    // itself. Sets biClrUsed 0 and biSizeImage = stride x biHeight in the
    // caller's header; always writes a full 2^bits table for 8 bits or fewer
    // and leaves biSize, biPlanes and biCompression as they stand (unlike
    // ThSaveDibData) [quirk: full-table-header]. Seeks to 0 first. Returns 1; file errors
    // propagate as CFileException.
    static int WriteBmpHeader(CFile* file, BITMAPINFO* info);

    // 1 and the dimensions when the file exists and its header reads, else 0.
    static int GetInfo(const char* path, int& width, int& height);

    // 1 and the 40 header bytes when the file exists and its header reads.
    static int GetInfoHeader(const char* path, BITMAPINFOHEADER* out);

    // (biWidth, biHeight), or (0, 0) for a missing or unreadable file.
    static CSize GetSize(const char* path);

    // Printed size in hundredths of an inch (resolution from the header, 96
    // dpi when unset), fitted into 1660 x 2340 keeping proportions; (0, 0) on
    // failure.
    static CSize GetLogSize(const char* path);

    // Length of the file in bytes; -1 when it cannot be opened.
    static long GetFileLength(const char* path);
};
