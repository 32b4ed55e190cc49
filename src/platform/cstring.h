// CString: the class library's string of chars, over std::string.
//
// Contract:
//  - A null LPCTSTR given anywhere counts as the empty string.
//  - Lengths and positions are ints. Out-of-range arguments are clamped the
//    way the class library clamps them and never fault: Left(-1) and Right(-1)
//    are empty, Left(n) and Right(n) past the length give the whole string,
//    Mid(first) with first past the end is empty, Mid(first, count) keeps what
//    lies inside the string. GetAt and operator[] outside [0, length) answer
//    '\0' and SetAt there does nothing (the class library throws instead).
//  - Find and ReverseFind return a zero-based position or -1. Find with a start
//    outside the string returns -1.
//  - Case changes, CompareNoCase and Trim work on ASCII only, as in the "C"
//    locale; other bytes are left alone.
//  - Format and AppendFormat take printf formats and produce any length. A
//    CString argument must be passed as (LPCTSTR)s or s.GetString(): objects
//    cannot travel through "..." here. The arguments may refer to the string
//    being formatted. A malformed format leaves the string empty (Format) or
//    unchanged (AppendFormat).
//  - GetBuffer(n) returns a writable buffer of at least n characters plus a
//    terminating zero, holding the current text; it stays valid until the next
//    call that changes the string. ReleaseBuffer(-1) takes the length up to the
//    first zero inside the buffer, ReleaseBuffer(n) takes n (clamped to the
//    buffer). GetBufferSetLength(n) sets the length to n and returns the buffer.
//  - Comparisons are byte-wise (unsigned char), like strcmp.
//  - Archive storage of CString (operator<< and >> on CArchive) lives in
//    platform/archive.h.
#pragma once

#include <compare>
#include <concepts>
#include <cstdarg>
#include <string>

#include "platform/windows_types.h"

class VELLUM_API CString {
public:
    CString() = default;
    CString(LPCTSTR text);  // NOLINT(google-explicit-constructor): as in the class library
    CString(LPCTSTR text, int length);
    explicit CString(char ch, int repeat = 1);
    CString(const CString&) = default;
    CString(CString&& other) noexcept;
    ~CString() = default;

    CString& operator=(const CString&) = default;
    CString& operator=(CString&& other) noexcept;
    CString& operator=(LPCTSTR text);
    CString& operator=(char ch);

    int GetLength() const { return static_cast<int>(m_str.size()); }
    BOOL IsEmpty() const { return m_str.empty(); }
    void Empty() { m_str.clear(); }

    char GetAt(int index) const;
    void SetAt(int index, char ch);
    // Any integer index, so that s[i] with a size_t or INT_PTR i does not
    // compete with the built-in subscript of the LPCTSTR conversion.
    template <std::integral I>
    char operator[](I index) const {
        if (index < 0 || static_cast<unsigned long long>(index) >= m_str.size()) return '\0';
        return m_str[static_cast<std::size_t>(index)];
    }

    operator LPCTSTR() const { return m_str.c_str(); }  // NOLINT(google-explicit-constructor)
    LPCTSTR GetString() const { return m_str.c_str(); }

    CString& operator+=(const CString& text);
    CString& operator+=(LPCTSTR text);
    CString& operator+=(char ch);

    friend bool operator==(const CString& a, const CString& b) { return a.Compare(b) == 0; }
    friend bool operator==(const CString& a, LPCTSTR b) { return a.Compare(b) == 0; }
    friend std::strong_ordering operator<=>(const CString& a, const CString& b) {
        return a.Compare(b) <=> 0;
    }
    friend std::strong_ordering operator<=>(const CString& a, LPCTSTR b) {
        return a.Compare(b) <=> 0;
    }

    // strcmp and _stricmp results: negative, zero or positive.
    int Compare(LPCTSTR text) const;
    int CompareNoCase(LPCTSTR text) const;

    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    int Find(char ch, int start = 0) const;
    int Find(LPCTSTR sub, int start = 0) const;
    int ReverseFind(char ch) const;

    CString& MakeUpper();
    CString& MakeLower();
    CString& MakeReverse();

    // Without an argument these remove ASCII white space; otherwise the given
    // character or any character of the given set.
    CString& Trim();
    CString& Trim(char target);
    CString& Trim(LPCTSTR targets);
    CString& TrimLeft();
    CString& TrimLeft(char target);
    CString& TrimLeft(LPCTSTR targets);
    CString& TrimRight();
    CString& TrimRight(char target);
    CString& TrimRight(LPCTSTR targets);

    // Return the number of replacements. Replacing a character by itself, or
    // an empty or null substring, replaces nothing.
    int Replace(char oldChar, char newChar);
    int Replace(LPCTSTR oldText, LPCTSTR newText);

    void Format(LPCTSTR format, ...) __attribute__((format(printf, 2, 3)));
    void AppendFormat(LPCTSTR format, ...) __attribute__((format(printf, 2, 3)));
    void FormatV(LPCTSTR format, va_list args);
    void AppendFormatV(LPCTSTR format, va_list args);

    LPTSTR GetBuffer();
    LPTSTR GetBuffer(int minLength);
    LPTSTR GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);
    void ReleaseBufferSetLength(int newLength) { ReleaseBuffer(newLength < 0 ? 0 : newLength); }

private:
    std::string m_str;
};

VELLUM_API CString operator+(const CString& a, const CString& b);
VELLUM_API CString operator+(const CString& a, LPCTSTR b);
VELLUM_API CString operator+(LPCTSTR a, const CString& b);
VELLUM_API CString operator+(const CString& a, char b);
VELLUM_API CString operator+(char a, const CString& b);
