#include "platform/archive.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

// ---- CArchiveException ----

CArchiveException::CArchiveException(int cause, LPCTSTR archiveName)
    : m_cause(cause), m_strFileName(archiveName) {}

BOOL CArchiveException::GetErrorMessage(LPTSTR text, UINT maxChars, UINT* helpContext) const {
    if (helpContext) *helpContext = 0;
    if (!text || maxChars == 0) return FALSE;
    static constexpr const char* kCauses[] = {
        "No error occurred while reading or writing %s.",
        "An unexpected error occurred while reading or writing %s.",
        "Tried to write to %s while loading it.",
        "Unexpected end of file while reading %s.",
        "Tried to read from %s while storing it.",
        "%s has an invalid format.",
        "%s contains an unexpected object.",
        "%s contains an object of an unexpected version.",
        "The archive buffer for %s is full.",
    };
    const int cause = (m_cause >= 0 && m_cause <= bufferFull) ? m_cause : genericException;
    const char* name = m_strFileName.IsEmpty() ? "an archive" : m_strFileName.GetString();
    std::snprintf(text, maxChars, kCauses[cause], name);
    return TRUE;
}

// ---- CArchive ----

namespace {

constexpr int kMinBuffer = 128;
constexpr int kMaxBuffer = 1 << 20;

}  // namespace

CArchive::CArchive(CFile* file, UINT mode, int bufSize, void*)
    : m_file(file),
      m_mode(mode),
      m_buffer(static_cast<std::size_t>(std::clamp(bufSize, kMinBuffer, kMaxBuffer))) {}

CArchive::~CArchive() {
    if (m_file && !(m_mode & bNoFlushOnDelete)) {
        try {
            Close();
        } catch (CException* e) {
            e->Delete();
        } catch (...) {
        }
    }
    Abort();
}

void CArchive::raise(int cause) const {
    throw new CArchiveException(cause, m_file ? m_file->GetFilePath().c_str() : nullptr);
}

void CArchive::checkOpen() const {
    if (!m_file) raise(CArchiveException::genericException);
}

BOOL CArchive::IsBufferEmpty() const { return IsLoading() ? m_pos == m_end : m_pos == 0; }

// Pending bytes are dropped before the write so that a failed write is not
// repeated by a later Flush or by the destructor.
void CArchive::sync() const {
    if (!m_file) return;
    if (IsStoring()) {
        const std::size_t pending = m_pos;
        m_pos = 0;
        if (pending) m_file->Write(m_buffer.data(), static_cast<UINT>(pending));
    } else {
        const std::size_t unread = m_end - m_pos;
        m_pos = m_end = 0;
        if (unread) m_file->Seek(-static_cast<LONGLONG>(unread), CFile::current);
    }
}

CFile* CArchive::GetFile() const {
    sync();
    return m_file;
}

void CArchive::Flush() {
    checkOpen();
    sync();
}

void CArchive::Close() {
    if (!m_file) return;
    struct Detach {
        CArchive* archive;
        ~Detach() { archive->Abort(); }
    } detach{this};
    sync();
}

void CArchive::Abort() {
    m_file = nullptr;
    m_pos = m_end = 0;
}

UINT CArchive::Read(void* buffer, UINT count) {
    checkOpen();
    if (IsStoring()) raise(CArchiveException::writeOnly);
    if (count == 0) return 0;
    if (!buffer) raise(CArchiveException::genericException);
    auto* out = static_cast<BYTE*>(buffer);
    UINT done = 0;
    while (done < count) {
        if (m_pos == m_end) {
            const UINT left = count - done;
            m_pos = m_end = 0;
            if (left >= m_buffer.size()) {
                // Large reads bypass the buffer.
                const UINT got = m_file->Read(out + done, left);
                if (got == 0) break;
                done += got;
                continue;
            }
            m_end = m_file->Read(m_buffer.data(), static_cast<UINT>(m_buffer.size()));
            if (m_end == 0) break;
        }
        const std::size_t take = std::min<std::size_t>(m_end - m_pos, count - done);
        std::memcpy(out + done, m_buffer.data() + m_pos, take);
        m_pos += take;
        done += static_cast<UINT>(take);
    }
    return done;
}

void CArchive::Write(const void* buffer, UINT count) {
    checkOpen();
    if (IsLoading()) raise(CArchiveException::readOnly);
    if (count == 0) return;
    if (!buffer) raise(CArchiveException::genericException);
    const auto* in = static_cast<const BYTE*>(buffer);
    if (count > m_buffer.size() - m_pos) {
        sync();
        if (count >= m_buffer.size()) {
            m_file->Write(in, count);
            return;
        }
    }
    std::memcpy(m_buffer.data() + m_pos, in, count);
    m_pos += count;
}

void CArchive::writeLittleEndian(ULONGLONG value, int bytes) {
    BYTE raw[8];
    for (int i = 0; i < bytes; ++i) raw[i] = static_cast<BYTE>(value >> (8 * i));
    Write(raw, static_cast<UINT>(bytes));
}

ULONGLONG CArchive::readLittleEndian(int bytes) {
    BYTE raw[8];
    if (Read(raw, static_cast<UINT>(bytes)) != static_cast<UINT>(bytes)) {
        raise(CArchiveException::endOfFile);
    }
    ULONGLONG value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<ULONGLONG>(raw[i]) << (8 * i);
    return value;
}

CArchive& CArchive::operator<<(BYTE value) {
    writeLittleEndian(value, 1);
    return *this;
}
CArchive& CArchive::operator<<(char value) {
    writeLittleEndian(static_cast<BYTE>(value), 1);
    return *this;
}
CArchive& CArchive::operator<<(WORD value) {
    writeLittleEndian(value, 2);
    return *this;
}
CArchive& CArchive::operator<<(short value) {
    writeLittleEndian(static_cast<WORD>(value), 2);
    return *this;
}
CArchive& CArchive::operator<<(int value) {
    writeLittleEndian(static_cast<DWORD>(value), 4);
    return *this;
}
CArchive& CArchive::operator<<(unsigned value) {
    writeLittleEndian(value, 4);
    return *this;
}
CArchive& CArchive::operator<<(long value) {
    writeLittleEndian(static_cast<DWORD>(value), 4);
    return *this;
}
CArchive& CArchive::operator<<(unsigned long value) {
    writeLittleEndian(static_cast<DWORD>(value), 4);
    return *this;
}
CArchive& CArchive::operator<<(LONGLONG value) {
    writeLittleEndian(static_cast<ULONGLONG>(value), 8);
    return *this;
}
CArchive& CArchive::operator<<(ULONGLONG value) {
    writeLittleEndian(value, 8);
    return *this;
}
CArchive& CArchive::operator<<(float value) {
    writeLittleEndian(std::bit_cast<DWORD>(value), 4);
    return *this;
}
CArchive& CArchive::operator<<(double value) {
    writeLittleEndian(std::bit_cast<ULONGLONG>(value), 8);
    return *this;
}

CArchive& CArchive::operator>>(BYTE& value) {
    value = static_cast<BYTE>(readLittleEndian(1));
    return *this;
}
CArchive& CArchive::operator>>(char& value) {
    value = static_cast<char>(readLittleEndian(1));
    return *this;
}
CArchive& CArchive::operator>>(WORD& value) {
    value = static_cast<WORD>(readLittleEndian(2));
    return *this;
}
CArchive& CArchive::operator>>(short& value) {
    value = static_cast<short>(readLittleEndian(2));
    return *this;
}
CArchive& CArchive::operator>>(int& value) {
    value = static_cast<int>(static_cast<DWORD>(readLittleEndian(4)));
    return *this;
}
CArchive& CArchive::operator>>(unsigned& value) {
    value = static_cast<unsigned>(readLittleEndian(4));
    return *this;
}
CArchive& CArchive::operator>>(long& value) {
    value = static_cast<LONG>(static_cast<DWORD>(readLittleEndian(4)));
    return *this;
}
CArchive& CArchive::operator>>(unsigned long& value) {
    value = static_cast<DWORD>(readLittleEndian(4));
    return *this;
}
CArchive& CArchive::operator>>(LONGLONG& value) {
    value = static_cast<LONGLONG>(readLittleEndian(8));
    return *this;
}
CArchive& CArchive::operator>>(ULONGLONG& value) {
    value = readLittleEndian(8);
    return *this;
}
CArchive& CArchive::operator>>(float& value) {
    value = std::bit_cast<float>(static_cast<DWORD>(readLittleEndian(4)));
    return *this;
}
CArchive& CArchive::operator>>(double& value) {
    value = std::bit_cast<double>(readLittleEndian(8));
    return *this;
}

// ---- CString ----

namespace {

// A string length in the form shared by the narrow and the wide strings. When
// wideMarker is given, the marker of a wide string sets it and answers 0.
ULONGLONG readStringLength(CArchive& ar, bool* wideMarker) {
    BYTE first = 0;
    ar >> first;
    if (first < 0xFF) return first;
    WORD word = 0;
    ar >> word;
    if (word == 0xFFFE && wideMarker) {
        *wideMarker = true;
        return 0;
    }
    if (word < 0xFFFF) return word;
    DWORD dword = 0;
    ar >> dword;
    if (dword < 0xFFFFFFFFu) return dword;
    ULONGLONG qword = 0;
    ar >> qword;
    return qword;
}

// Reads length bytes in pieces so that a corrupt length ends at the end of
// the file rather than in one huge allocation. Returns false when short.
bool readBytes(CArchive& ar, ULONGLONG length, std::string& bytes) {
    constexpr ULONGLONG kChunk = 1 << 16;
    bytes.clear();
    while (bytes.size() < length) {
        const auto take = static_cast<UINT>(std::min<ULONGLONG>(kChunk, length - bytes.size()));
        const std::size_t at = bytes.size();
        bytes.resize(at + take);
        if (ar.Read(bytes.data() + at, take) != take) return false;
    }
    return true;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Little-endian UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
std::string utf16ToUtf8(const std::string& units) {
    std::string out;
    const std::size_t n = units.size() / 2;
    auto unit = [&](std::size_t i) -> char32_t {
        return static_cast<BYTE>(units[2 * i]) | (static_cast<BYTE>(units[2 * i + 1]) << 8);
    };
    for (std::size_t i = 0; i < n; ++i) {
        const char32_t u = unit(i);
        if (u >= 0xD800 && u < 0xDC00 && i + 1 < n && unit(i + 1) >= 0xDC00 &&
            unit(i + 1) < 0xE000) {
            appendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (unit(i + 1) - 0xDC00));
            ++i;
        } else if (u >= 0xD800 && u < 0xE000) {
            appendUtf8(out, 0xFFFD);
        } else {
            appendUtf8(out, u);
        }
    }
    return out;
}

}  // namespace

CArchive& operator<<(CArchive& ar, const CString& text) {
    const int length = text.GetLength();
    if (length < 0xFF) {
        ar << static_cast<BYTE>(length);
    } else if (length < 0xFFFE) {
        ar << static_cast<BYTE>(0xFF) << static_cast<WORD>(length);
    } else {
        ar << static_cast<BYTE>(0xFF) << static_cast<WORD>(0xFFFF) << static_cast<DWORD>(length);
    }
    ar.Write(text.GetString(), static_cast<UINT>(length));
    return ar;
}

CArchive& operator>>(CArchive& ar, CString& text) {
    bool wide = false;
    ULONGLONG length = readStringLength(ar, &wide);
    if (wide) length = readStringLength(ar, nullptr);
    const ULONGLONG bytes = wide ? length * 2 : length;
    if (length > INT_MAX || bytes > INT_MAX) ar.raise(CArchiveException::badIndex);
    std::string raw;
    if (!readBytes(ar, bytes, raw)) ar.raise(CArchiveException::endOfFile);
    if (wide) raw = utf16ToUtf8(raw);
    if (raw.size() > INT_MAX) ar.raise(CArchiveException::badIndex);
    text = CString(raw.data(), static_cast<int>(raw.size()));
    return ar;
}
