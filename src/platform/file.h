// Binary files in the class library's shape: CFile, CFileException and
// _access. Paths are POSIX paths.
//
// Contract:
//  - CFile(path, flags) opens or throws a CFileException (by pointer);
//    Open(path, flags, error) returns FALSE instead and fills *error if given.
//  - Read returns the bytes read (fewer only at the end of the file) and
//    throws on an I/O error; Write writes everything or throws (diskFull when
//    the device is full); Seek returns the new position or throws badSeek for
//    a position before the start; operations on a closed file throw.
//  - Share modes are accepted and ignored: POSIX files have no mandatory
//    locking. modeCreate truncates unless modeNoTruncate is given.
//  - The destructor closes the file and never throws.
//  - GetFileName is the part of the path after the last '/' or '\\';
//    GetFileTitle is that name without its extension (from the last '.', unless
//    the name starts there). Both keep answering after Close.
#pragma once

#include <string>

#include "platform/cstring.h"
#include "platform/object.h"

class VELLUM_API CFileException : public CException {
public:
    enum {
        none,
        genericException,
        fileNotFound,
        badPath,
        tooManyOpenFiles,
        accessDenied,
        invalidFile,
        removeCurrentDir,
        directoryFull,
        badSeek,
        hardIO,
        sharingViolation,
        lockViolation,
        diskFull,
        endOfFile
    };

    explicit CFileException(int cause = none, LONG osError = -1, LPCTSTR fileName = nullptr);

    // Maps an errno value to a cause.
    static int OsErrorToException(LONG osError);
    // Throws a new CFileException for errno value osError.
    [[noreturn]] static void ThrowOsError(LONG osError, LPCTSTR fileName = nullptr);

    BOOL GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext = nullptr) const override;

    int m_cause;
    LONG m_lOsError;
    std::string m_strFileName;
};

class VELLUM_API CFile : public CObject {
public:
    enum OpenFlags : UINT {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareCompat = 0x0000,
        shareExclusive = 0x0010,
        shareDenyWrite = 0x0020,
        shareDenyRead = 0x0030,
        shareDenyNone = 0x0040,
        modeNoInherit = 0x0080,
        modeCreate = 0x1000,
        modeNoTruncate = 0x2000,
        typeText = 0x4000,
        typeBinary = 0x8000
    };
    enum SeekPosition : UINT { begin = 0, current = 1, end = 2 };

    CFile();
    CFile(LPCTSTR path, UINT openFlags);
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    ~CFile() override;

    virtual BOOL Open(LPCTSTR path, UINT openFlags, CFileException* error = nullptr);
    virtual UINT Read(void* buffer, UINT count);
    virtual void Write(const void* buffer, UINT count);
    virtual ULONGLONG Seek(LONGLONG offset, UINT from);
    ULONGLONG SeekToBegin() { return Seek(0, begin); }
    ULONGLONG SeekToEnd() { return Seek(0, end); }
    virtual ULONGLONG GetPosition() const;
    virtual ULONGLONG GetLength() const;
    virtual void SetLength(ULONGLONG length);
    virtual void Flush();
    virtual void Close();
    // Closes without throwing.
    virtual void Abort();

    BOOL IsOpen() const { return m_fd >= 0; }
    const std::string& GetFilePath() const { return m_path; }
    CString GetFileName() const;
    CString GetFileTitle() const;

private:
    [[noreturn]] void fail(int osError) const;

    int m_fd = -1;
    std::string m_path;
};

// Access modes of _access: 0 existence, 2 write, 4 read, 6 read and write.
// Returns 0 when the path allows the mode, -1 otherwise.
VELLUM_API int _access(const char* path, int mode);
