// Kernel and USER services outside GDI: the temporary folder, deleting and
// copying files, free disk space, MulDiv, wsprintf and the thread's last
// error. The names without the A suffix are the ones a host built for
// single-byte characters calls; they forward to the A functions.
//
// Contract:
//  - GetTempPathA answers $TMPDIR when it is set and not empty, else "/tmp/",
//    always ending in '/'. With room for the path and its terminating zero it
//    copies both and returns the length without the zero; otherwise it writes
//    nothing and returns the size needed including the zero.
//  - DeleteFileA removes a file (not a directory). CopyFileA copies the bytes
//    of a file, creating the target with the source's permission bits or
//    replacing the target's contents; it fails when failIfExists is set and
//    the target exists, when the source is missing or not a regular file, and
//    when source and target are the same file. A copy that fails half-way
//    removes a target it created.
//  - GetDiskFreeSpaceExA reports through statvfs on the given directory (the
//    current one when null): bytes free to the caller, total bytes and total
//    free bytes. Any out pointer may be null.
//  - GetDiskFreeSpaceA reports 512-byte sectors and clusters of 8 sectors;
//    cluster counts (free to the caller, and total) are clamped to DWORD.
//  - Functions returning BOOL set the thread's last error (the platform's
//    ERROR_ codes below) when they fail.
//  - MulDiv(a, b, c) computes a * b / c with a 64-bit product, rounding half
//    away from zero. It returns -1 when c is 0 or the result does not fit in
//    an int (and so also for a true result of -1).
//  - wsprintfA and wvsprintfA format with printf formats into a buffer that
//    must hold 1024 characters, the platform's limit: the output is cut at
//    1023 characters plus the terminating zero. They return the number of
//    characters stored without the zero; 0 with a null buffer or format or
//    a malformed format (the buffer, when given, then holds "").
#pragma once

#include <cstdarg>

#include "platform/windows_types.h"

#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_TOO_MANY_OPEN_FILES 4L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_GEN_FAILURE 31L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_DISK_FULL 112L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L

// The size of the buffer wsprintfA writes into, terminating zero included.
inline constexpr int kWsprintfLimit = 1024;

VELLUM_API DWORD GetLastError();
VELLUM_API void SetLastError(DWORD error);

VELLUM_API DWORD GetTempPathA(DWORD bufLen, LPSTR buf);
VELLUM_API BOOL DeleteFileA(LPCSTR path);
VELLUM_API BOOL CopyFileA(LPCSTR existing, LPCSTR newName, BOOL failIfExists);
VELLUM_API BOOL GetDiskFreeSpaceExA(LPCSTR dir, PULARGE_INTEGER freeToCaller, PULARGE_INTEGER total,
                                    PULARGE_INTEGER totalFree);
VELLUM_API BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                                  LPDWORD freeClusters, LPDWORD totalClusters);

VELLUM_API int MulDiv(int a, int b, int c);

VELLUM_API int wvsprintfA(LPSTR buf, LPCSTR format, va_list args);
VELLUM_API int wsprintfA(LPSTR buf, LPCSTR format, ...) __attribute__((format(printf, 2, 3)));

inline DWORD GetTempPath(DWORD bufLen, LPSTR buf) { return GetTempPathA(bufLen, buf); }
inline BOOL DeleteFile(LPCSTR path) { return DeleteFileA(path); }
inline BOOL CopyFile(LPCSTR existing, LPCSTR newName, BOOL failIfExists) {
    return CopyFileA(existing, newName, failIfExists);
}
inline BOOL GetDiskFreeSpaceEx(LPCSTR dir, PULARGE_INTEGER freeToCaller, PULARGE_INTEGER total,
                               PULARGE_INTEGER totalFree) {
    return GetDiskFreeSpaceExA(dir, freeToCaller, total, totalFree);
}
inline BOOL GetDiskFreeSpace(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                             LPDWORD freeClusters, LPDWORD totalClusters) {
    return GetDiskFreeSpaceA(root, sectorsPerCluster, bytesPerSector, freeClusters, totalClusters);
}
inline int wvsprintf(LPSTR buf, LPCSTR format, va_list args) {
    return wvsprintfA(buf, format, args);
}
VELLUM_API int wsprintf(LPSTR buf, LPCSTR format, ...) __attribute__((format(printf, 2, 3)));
