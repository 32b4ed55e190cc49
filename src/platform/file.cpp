#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

// ---- CFileException ----

CFileException::CFileException(int cause, LONG osError, LPCTSTR fileName)
    : m_cause(cause), m_lOsError(osError), m_strFileName(fileName ? fileName : "") {}

int CFileException::OsErrorToException(LONG osError) {
    switch (osError) {
        case 0: return none;
        case ENOENT: return fileNotFound;
        case ENOTDIR:
        case ENAMETOOLONG:
        case ELOOP: return badPath;
        case EMFILE:
        case ENFILE: return tooManyOpenFiles;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR: return accessDenied;
        case EBADF: return invalidFile;
        case EBUSY: return sharingViolation;
        case ENOSPC:
        case EDQUOT: return diskFull;
        case EFBIG: return diskFull;
        case EINVAL:
        case ESPIPE: return badSeek;
        case EIO: return hardIO;
        default: return genericException;
    }
}

void CFileException::ThrowOsError(LONG osError, LPCTSTR fileName) {
    throw new CFileException(OsErrorToException(osError), osError, fileName);
}

BOOL CFileException::GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext) const {
    if (helpContext) *helpContext = 0;
    if (!text || maxChars == 0) return FALSE;
    static constexpr const char* kCauses[] = {
        "No error occurred while accessing %s.",
        "An unexpected error occurred while accessing %s.",
        "%s was not found.",
        "%s contains an invalid path.",
        "%s could not be opened because there are too many open files.",
        "Access to %s was denied.",
        "An unsupported operation was attempted on %s.",
        "%s could not be removed because it is the current directory.",
        "%s could not be created because the directory is full.",
        "A seek failed on %s.",
        "A hardware I/O error was reported while accessing %s.",
        "A sharing violation occurred while accessing %s.",
        "A locking violation occurred while accessing %s.",
        "The disk is full while accessing %s.",
        "An attempt was made to access %s past its end.",
    };
    const int cause = (m_cause >= 0 && m_cause <= endOfFile) ? m_cause : genericException;
    const char* name = m_strFileName.empty() ? "an unnamed file" : m_strFileName.c_str();
    std::snprintf(text, maxChars, kCauses[cause], name);
    return TRUE;
}

// ---- CFile ----

namespace {

// On an open descriptor EBADF only means the file was not opened for this
// direction, which the platform reports as access denied.
int accessError(int osError) { return osError == EBADF ? EACCES : osError; }

}  // namespace

CFile::CFile() = default;

CFile::CFile(LPCTSTR path, UINT openFlags) {
    CFileException error;
    if (!Open(path, openFlags, &error)) {
        throw new CFileException(error.m_cause, error.m_lOsError, path);
    }
}

CFile::~CFile() { Abort(); }

BOOL CFile::Open(LPCTSTR path, UINT openFlags, CFileException* error) {
    Abort();
    if (!path || !*path) {
        if (error) *error = CFileException(CFileException::badPath, EINVAL, path);
        return FALSE;
    }
    int flags = O_CLOEXEC;
    switch (openFlags & 3u) {
        case modeRead: flags |= O_RDONLY; break;
        case modeWrite: flags |= O_WRONLY; break;
        default: flags |= O_RDWR; break;
    }
    if (openFlags & modeCreate) {
        flags |= O_CREAT;
        if (!(openFlags & modeNoTruncate)) flags |= O_TRUNC;
    }
    const int fd = ::open(path, flags, 0666);
    if (fd < 0) {
        const int err = errno;
        if (error) *error = CFileException(CFileException::OsErrorToException(err), err, path);
        return FALSE;
    }
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        if (error) *error = CFileException(CFileException::accessDenied, EISDIR, path);
        return FALSE;
    }
    m_fd = fd;
    m_path = path;
    return TRUE;
}

void CFile::fail(int osError) const { CFileException::ThrowOsError(osError, m_path.c_str()); }

UINT CFile::Read(void* buffer, UINT count) {
    if (m_fd < 0) fail(EBADF);
    if (count == 0) return 0;
    if (!buffer) fail(EINVAL);
    UINT done = 0;
    auto* out = static_cast<char*>(buffer);
    while (done < count) {
        const ssize_t n = ::read(m_fd, out + done, count - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(accessError(errno));
        }
        if (n == 0) break;
        done += static_cast<UINT>(n);
    }
    return done;
}

void CFile::Write(const void* buffer, UINT count) {
    if (m_fd < 0) fail(EBADF);
    if (count == 0) return;
    if (!buffer) fail(EINVAL);
    UINT done = 0;
    const auto* in = static_cast<const char*>(buffer);
    while (done < count) {
        const ssize_t n = ::write(m_fd, in + done, count - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(accessError(errno));
        }
        if (n == 0) fail(ENOSPC);
        done += static_cast<UINT>(n);
    }
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from) {
    if (m_fd < 0) fail(EBADF);
    const int whence = from == current ? SEEK_CUR : from == end ? SEEK_END : SEEK_SET;
    const off_t pos = ::lseek(m_fd, static_cast<off_t>(offset), whence);
    if (pos < 0) fail(EINVAL);
    return static_cast<ULONGLONG>(pos);
}

ULONGLONG CFile::GetPosition() const {
    if (m_fd < 0) fail(EBADF);
    const off_t pos = ::lseek(m_fd, 0, SEEK_CUR);
    if (pos < 0) fail(errno);
    return static_cast<ULONGLONG>(pos);
}

ULONGLONG CFile::GetLength() const {
    if (m_fd < 0) fail(EBADF);
    struct stat st {};
    if (::fstat(m_fd, &st) != 0) fail(errno);
    return static_cast<ULONGLONG>(st.st_size);
}

void CFile::SetLength(ULONGLONG length) {
    if (m_fd < 0) fail(EBADF);
    if (::ftruncate(m_fd, static_cast<off_t>(length)) != 0) fail(errno);
}

// Writes go straight to the descriptor, so there is nothing buffered to push.
void CFile::Flush() {
    if (m_fd < 0) fail(EBADF);
}

void CFile::Close() {
    if (m_fd < 0) return;
    const int fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0 && errno != EINTR) CFileException::ThrowOsError(errno, m_path.c_str());
}

void CFile::Abort() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

CString CFile::GetFileName() const {
    const std::size_t slash = m_path.find_last_of("/\\");
    return CString(slash == std::string::npos ? m_path.c_str() : m_path.c_str() + slash + 1);
}

CString CFile::GetFileTitle() const {
    CString name = GetFileName();
    const int dot = name.ReverseFind('.');
    return dot > 0 ? name.Left(dot) : name;
}

int _access(const char* path, int mode) {
    if (!path) return -1;
    int amode = F_OK;
    if (mode & 2) amode |= W_OK;
    if (mode & 4) amode |= R_OK;
    return ::access(path, amode) == 0 ? 0 : -1;
}
