#include "platform/system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

thread_local DWORD tLastError = ERROR_SUCCESS;

DWORD errnoToError(int err) {
    switch (err) {
        case 0: return ERROR_SUCCESS;
        case ENOENT: return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
        case ELOOP: return ERROR_PATH_NOT_FOUND;
        case ENAMETOOLONG: return ERROR_INVALID_NAME;
        case EMFILE:
        case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR: return ERROR_ACCESS_DENIED;
        case EEXIST: return ERROR_FILE_EXISTS;
        case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
        case EINVAL: return ERROR_INVALID_PARAMETER;
        case ENOSPC:
        case EDQUOT:
        case EFBIG: return ERROR_DISK_FULL;
        case EBUSY:
        case ETXTBSY: return ERROR_SHARING_VIOLATION;
        default: return ERROR_GEN_FAILURE;
    }
}

BOOL fail(DWORD error) {
    tLastError = error;
    return FALSE;
}

BOOL failErrno() { return fail(errnoToError(errno)); }

// Closes a descriptor on every way out.
struct Descriptor {
    int fd = -1;
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
};

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (n == 0) {
            errno = ENOSPC;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// Copies until the end of the source; false with errno set on an error.
bool copyBytes(int from, int to) {
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t n = ::read(from, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (n == 0) return true;
        if (!writeAll(to, buffer, static_cast<std::size_t>(n))) return false;
    }
}

}  // namespace

DWORD GetLastError() { return tLastError; }

void SetLastError(DWORD error) { tLastError = error; }

DWORD GetTempPathA(DWORD bufLen, LPSTR buf) {
    const char* dir = std::getenv("TMPDIR");
    std::string path = (dir && *dir) ? dir : "/tmp/";
    if (path.back() != '/') path += '/';
    const auto length = static_cast<DWORD>(path.size());
    if (!buf || bufLen <= length) {
        tLastError = ERROR_INSUFFICIENT_BUFFER;
        return length + 1;
    }
    std::memcpy(buf, path.c_str(), path.size() + 1);
    return length;
}

BOOL DeleteFileA(LPCSTR path) {
    if (!path || !*path) return fail(ERROR_INVALID_PARAMETER);
    if (::unlink(path) != 0) return failErrno();
    return TRUE;
}

BOOL CopyFileA(LPCSTR existing, LPCSTR newName, BOOL failIfExists) {
    if (!existing || !*existing || !newName || !*newName) return fail(ERROR_INVALID_PARAMETER);

    Descriptor source{::open(existing, O_RDONLY | O_CLOEXEC)};
    if (source.fd < 0) return failErrno();
    struct stat sourceInfo {};
    if (::fstat(source.fd, &sourceInfo) != 0) return failErrno();
    if (!S_ISREG(sourceInfo.st_mode)) return fail(ERROR_ACCESS_DENIED);

    // Truncating the source before reading it would lose it.
    struct stat targetInfo {};
    const bool targetExists = ::stat(newName, &targetInfo) == 0;
    if (targetExists && targetInfo.st_dev == sourceInfo.st_dev &&
        targetInfo.st_ino == sourceInfo.st_ino) {
        return fail(failIfExists ? ERROR_FILE_EXISTS : ERROR_SHARING_VIOLATION);
    }

    int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
    flags |= failIfExists ? O_EXCL : O_TRUNC;
    Descriptor target{::open(newName, flags, sourceInfo.st_mode & 0777)};
    if (target.fd < 0) return failErrno();

    if (!copyBytes(source.fd, target.fd)) {
        const int err = errno;
        if (!targetExists) ::unlink(newName);
        return fail(errnoToError(err));
    }
    const int fd = target.fd;
    target.fd = -1;
    if (::close(fd) != 0 && errno != EINTR) {
        const int err = errno;
        if (!targetExists) ::unlink(newName);
        return fail(errnoToError(err));
    }
    return TRUE;
}

BOOL GetDiskFreeSpaceExA(LPCSTR dir, PULARGE_INTEGER freeToCaller, PULARGE_INTEGER total,
                         PULARGE_INTEGER totalFree) {
    struct statvfs info {};
    if (::statvfs(dir ? dir : ".", &info) != 0) return failErrno();
    const ULONGLONG unit = info.f_frsize ? info.f_frsize : info.f_bsize;
    if (freeToCaller) freeToCaller->QuadPart = static_cast<ULONGLONG>(info.f_bavail) * unit;
    if (total) total->QuadPart = static_cast<ULONGLONG>(info.f_blocks) * unit;
    if (totalFree) totalFree->QuadPart = static_cast<ULONGLONG>(info.f_bfree) * unit;
    return TRUE;
}

BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                       LPDWORD freeClusters, LPDWORD totalClusters) {
    constexpr ULONGLONG kSector = 512;
    constexpr ULONGLONG kSectorsPerCluster = 8;
    constexpr ULONGLONG kCluster = kSector * kSectorsPerCluster;
    ULARGE_INTEGER available{};
    ULARGE_INTEGER size{};
    if (!GetDiskFreeSpaceExA(root, &available, &size, nullptr)) return FALSE;
    auto clusters = [](ULONGLONG bytes) {
        return static_cast<DWORD>(std::min<ULONGLONG>(bytes / kCluster, 0xFFFFFFFFu));
    };
    if (sectorsPerCluster) *sectorsPerCluster = static_cast<DWORD>(kSectorsPerCluster);
    if (bytesPerSector) *bytesPerSector = static_cast<DWORD>(kSector);
    if (freeClusters) *freeClusters = clusters(available.QuadPart);
    if (totalClusters) *totalClusters = clusters(size.QuadPart);
    return TRUE;
}

int MulDiv(int a, int b, int c) {
    if (c == 0) return -1;
    const long long product = static_cast<long long>(a) * b;
    // |product| <= 2^62 and |c| <= 2^31, so the magnitudes fit unsigned 64 bits.
    const unsigned long long num = product < 0 ? 0ull - static_cast<unsigned long long>(product)
                                               : static_cast<unsigned long long>(product);
    const unsigned long long den = c < 0 ? 0ull - static_cast<unsigned long long>(c)
                                         : static_cast<unsigned long long>(c);
    const unsigned long long magnitude = (num + den / 2) / den;
    const bool negative = (product < 0) != (c < 0) && magnitude != 0;
    if (negative) {
        if (magnitude > 2147483648ull) return -1;
        return static_cast<int>(0ll - static_cast<long long>(magnitude));
    }
    if (magnitude > 2147483647ull) return -1;
    return static_cast<int>(magnitude);
}

int wvsprintfA(LPSTR buf, LPCSTR format, va_list args) {
    if (!buf) return 0;
    if (!format) {
        buf[0] = '\0';
        return 0;
    }
    const int n = std::vsnprintf(buf, kWsprintfLimit, format, args);
    if (n < 0) {
        buf[0] = '\0';
        return 0;
    }
    return std::min(n, kWsprintfLimit - 1);
}

int wsprintfA(LPSTR buf, LPCSTR format, ...) {
    va_list args;
    va_start(args, format);
    const int n = wvsprintfA(buf, format, args);
    va_end(args);
    return n;
}

int wsprintf(LPSTR buf, LPCSTR format, ...) {
    va_list args;
    va_start(args, format);
    const int n = wvsprintfA(buf, format, args);
    va_end(args);
    return n;
}
