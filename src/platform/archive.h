// CArchive: the class library's binary stream over a CFile, and the
// CArchiveException it throws.
//
// Contract:
//  - An archive either stores (CArchive::store) or loads (CArchive::load).
//    Writing to a loading archive throws readOnly, reading from a storing one
//    writeOnly; any use of a closed archive (after Close or Abort, or built on
//    a null file) throws genericException. Archive exceptions are thrown by
//    pointer like the file exceptions; errors of the file itself arrive as the
//    file's own CFileException.
//  - Numbers are little-endian: BYTE and char 1 byte; WORD and short 2; int,
//    unsigned, LONG, DWORD, float, long and unsigned long 4; double, LONGLONG
//    and ULONGLONG 8. long and unsigned long are 32-bit fields, as in the
//    32-bit process the format comes from: storing keeps the low 32 bits,
//    loading sign-extends a long and zero-extends an unsigned long.
//  - CString is stored as its length (a BYTE when below 255; else 0xFF and a
//    WORD when below 0xFFFE; else 0xFF, 0xFFFF and a DWORD) and then its bytes,
//    without a terminator. Loading also accepts the wide form (the marker
//    0xFF 0xFFFE, a length in the same form, UTF-16 code units), which it
//    converts to UTF-8, and the 64-bit length that follows a DWORD 0xFFFFFFFF;
//    a length beyond what a CString can hold throws badIndex.
//  - Read returns the number of bytes read, fewer only at the end of the file.
//    operator>> needs the whole value and throws endOfFile when the file ends
//    first; what it had consumed is gone.
//  - Buffering is internal: the bytes reach the file, and the file's position
//    comes back to the archive's position, on Flush, Close, GetFile and
//    destruction. After GetFile the caller may use the file directly and then
//    go on with the archive. The caller's buffer argument is accepted and not
//    used; the buffer size is clamped to [128, 1 MiB].
//  - Close flushes and detaches the file without closing it; Abort detaches
//    without flushing. Both leave the archive closed even when the flush
//    throws; pending bytes are dropped after a failed write, not retried.
//  - The destructor closes an open archive (unless bNoFlushOnDelete was given)
//    and never throws: an error there is lost, so callers that must know call
//    Close first.
#pragma once

#include <vector>

#include "platform/cstring.h"
#include "platform/file.h"
#include "platform/object.h"

class VELLUM_API CArchiveException : public CException {
public:
    enum {
        none,
        genericException,
        readOnly,
        endOfFile,
        writeOnly,
        badIndex,
        badClass,
        badSchema,
        bufferFull
    };

    explicit CArchiveException(int cause = none, LPCTSTR archiveName = nullptr);

    BOOL GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext = nullptr) const override;

    int m_cause;
    CString m_strFileName;
};

class CArchive;
VELLUM_API CArchive& operator<<(CArchive& ar, const CString& text);
VELLUM_API CArchive& operator>>(CArchive& ar, CString& text);
class VELLUM_API CArchive {
public:
    enum Mode : UINT { store = 0, load = 1, bNoFlushOnDelete = 2, bNoByteSwap = 4 };

    CArchive(CFile* file, UINT mode, int bufSize = 4096, void* buf = nullptr);
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;
    ~CArchive();

    BOOL IsLoading() const { return (m_mode & load) != 0; }
    BOOL IsStoring() const { return (m_mode & load) == 0; }
    BOOL IsBufferEmpty() const;
    // Brings the file up to date with the archive (see above) and returns it;
    // null once the archive is closed.
    CFile* GetFile() const;

    UINT Read(void* buffer, UINT count);
    void Write(const void* buffer, UINT count);
    void Flush();
    void Close();
    void Abort();

    CArchive& operator<<(BYTE value);
    CArchive& operator<<(char value);
    CArchive& operator<<(WORD value);
    CArchive& operator<<(short value);
    CArchive& operator<<(int value);
    CArchive& operator<<(unsigned value);
    CArchive& operator<<(long value);
    CArchive& operator<<(unsigned long value);
    CArchive& operator<<(LONGLONG value);
    CArchive& operator<<(ULONGLONG value);
    CArchive& operator<<(float value);
    CArchive& operator<<(double value);

    CArchive& operator>>(BYTE& value);
    CArchive& operator>>(char& value);
    CArchive& operator>>(WORD& value);
    CArchive& operator>>(short& value);
    CArchive& operator>>(int& value);
    CArchive& operator>>(unsigned& value);
    CArchive& operator>>(long& value);
    CArchive& operator>>(unsigned long& value);
    CArchive& operator>>(LONGLONG& value);
    CArchive& operator>>(ULONGLONG& value);
    CArchive& operator>>(float& value);
    CArchive& operator>>(double& value);

private:
    friend CArchive& operator>>(CArchive& ar, CString& text);

    void checkOpen() const;
    [[noreturn]] void raise(int cause) const;
    void writeLittleEndian(ULONGLONG value, int bytes);
    ULONGLONG readLittleEndian(int bytes);
    void sync() const;

    CFile* m_file;
    UINT m_mode;
    // Storing: m_buffer[0, m_pos) waits for the file. Loading: m_buffer
    // [m_pos, m_end) was read ahead and not yet consumed.
    mutable std::vector<BYTE> m_buffer;
    mutable std::size_t m_pos = 0;
    mutable std::size_t m_end = 0;
};
