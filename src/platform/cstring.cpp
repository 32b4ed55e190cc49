#include "platform/cstring.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

std::string_view view(LPCTSTR text) { return text ? std::string_view(text) : std::string_view(); }

char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
char asciiUpper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// Appends a printf-style expansion; returns false (and appends nothing) when
// the format is malformed.
bool appendFormatted(std::string& out, LPCTSTR format, va_list args) {
    if (!format) return true;
    char small[256];
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0) return false;
    if (static_cast<std::size_t>(needed) < sizeof small) {
        out.append(small, static_cast<std::size_t>(needed));
        return true;
    }
    std::string big(static_cast<std::size_t>(needed) + 1, '\0');
    va_copy(copy, args);
    const int written = std::vsnprintf(big.data(), big.size(), format, copy);
    va_end(copy);
    if (written < 0) return false;
    big.resize(static_cast<std::size_t>(std::min(written, needed)));
    out += big;
    return true;
}

}  // namespace

CString::CString(LPCTSTR text) : m_str(view(text)) {}

CString::CString(LPCTSTR text, int length) {
    if (text && length > 0) m_str.assign(text, static_cast<std::size_t>(length));
}

CString::CString(char ch, int repeat) {
    if (repeat > 0) m_str.assign(static_cast<std::size_t>(repeat), ch);
}

CString::CString(CString&& other) noexcept : m_str(std::move(other.m_str)) { other.m_str.clear(); }

CString& CString::operator=(CString&& other) noexcept {
    if (this != &other) {
        m_str = std::move(other.m_str);
        other.m_str.clear();
    }
    return *this;
}

// assign(string_view) copies correctly even when text points into m_str.
CString& CString::operator=(LPCTSTR text) {
    m_str.assign(view(text));
    return *this;
}

CString& CString::operator=(char ch) {
    m_str.assign(1, ch);
    return *this;
}

char CString::GetAt(int index) const { return (*this)[index]; }

void CString::SetAt(int index, char ch) {
    if (index >= 0 && index < GetLength()) m_str[static_cast<std::size_t>(index)] = ch;
}

CString& CString::operator+=(const CString& text) {
    m_str += text.m_str;
    return *this;
}

CString& CString::operator+=(LPCTSTR text) {
    m_str.append(view(text));
    return *this;
}

CString& CString::operator+=(char ch) {
    m_str += ch;
    return *this;
}

CString operator+(const CString& a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, LPCTSTR b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(LPCTSTR a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, char b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(char a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

int CString::Compare(LPCTSTR text) const { return std::string_view(m_str).compare(view(text)); }

int CString::CompareNoCase(LPCTSTR text) const {
    const std::string_view other = view(text);
    const std::size_t common = std::min(m_str.size(), other.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto a = static_cast<unsigned char>(asciiLower(m_str[i]));
        const auto b = static_cast<unsigned char>(asciiLower(other[i]));
        if (a != b) return a < b ? -1 : 1;
    }
    if (m_str.size() == other.size()) return 0;
    return m_str.size() < other.size() ? -1 : 1;
}

CString CString::Left(int count) const {
    if (count <= 0) return CString();
    if (count >= GetLength()) return *this;
    return CString(m_str.data(), count);
}

CString CString::Right(int count) const {
    if (count <= 0) return CString();
    if (count >= GetLength()) return *this;
    return CString(m_str.data() + (m_str.size() - static_cast<std::size_t>(count)), count);
}

CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const {
    const long long length = GetLength();
    const long long start = std::max(first, 0);
    if (start >= length || count <= 0) return CString();
    const long long take = std::min<long long>(count, length - start);
    return CString(m_str.data() + start, static_cast<int>(take));
}

int CString::Find(char ch, int start) const {
    if (start < 0 || start >= GetLength()) return -1;
    const std::size_t at = m_str.find(ch, static_cast<std::size_t>(start));
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

int CString::Find(LPCTSTR sub, int start) const {
    if (!sub || start < 0 || start > GetLength()) return -1;
    const std::size_t at = m_str.find(sub, static_cast<std::size_t>(start));
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

int CString::ReverseFind(char ch) const {
    const std::size_t at = m_str.rfind(ch);
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

CString& CString::MakeUpper() {
    for (char& c : m_str) c = asciiUpper(c);
    return *this;
}

CString& CString::MakeLower() {
    for (char& c : m_str) c = asciiLower(c);
    return *this;
}

CString& CString::MakeReverse() {
    std::reverse(m_str.begin(), m_str.end());
    return *this;
}

CString& CString::Trim() { return TrimRight().TrimLeft(); }
CString& CString::Trim(char target) { return TrimRight(target).TrimLeft(target); }
CString& CString::Trim(LPCTSTR targets) { return TrimRight(targets).TrimLeft(targets); }

CString& CString::TrimLeft() {
    const std::size_t at = m_str.find_first_not_of(kWhiteSpace);
    m_str.erase(0, at);
    return *this;
}

CString& CString::TrimLeft(char target) {
    const std::size_t at = m_str.find_first_not_of(target);
    m_str.erase(0, at);
    return *this;
}

CString& CString::TrimLeft(LPCTSTR targets) {
    const std::string_view set = view(targets);
    if (set.empty()) return *this;
    const std::size_t at = m_str.find_first_not_of(set);
    m_str.erase(0, at);
    return *this;
}

// find_last_not_of answers npos when everything goes, and npos + 1 wraps to 0.
CString& CString::TrimRight() {
    m_str.erase(m_str.find_last_not_of(kWhiteSpace) + 1);
    return *this;
}

CString& CString::TrimRight(char target) {
    m_str.erase(m_str.find_last_not_of(target) + 1);
    return *this;
}

CString& CString::TrimRight(LPCTSTR targets) {
    const std::string_view set = view(targets);
    if (set.empty()) return *this;
    m_str.erase(m_str.find_last_not_of(set) + 1);
    return *this;
}

int CString::Replace(char oldChar, char newChar) {
    if (oldChar == newChar) return 0;
    int count = 0;
    for (char& c : m_str) {
        if (c == oldChar) {
            c = newChar;
            ++count;
        }
    }
    return count;
}

int CString::Replace(LPCTSTR oldText, LPCTSTR newText) {
    const std::string_view from = view(oldText);
    if (from.empty()) return 0;
    // The replacement may point into this string, so build the result apart.
    const std::string to(view(newText));
    std::string result;
    int count = 0;
    std::size_t pos = 0;
    for (std::size_t at = m_str.find(from); at != std::string::npos; at = m_str.find(from, pos)) {
        result.append(m_str, pos, at - pos);
        result += to;
        pos = at + from.size();
        ++count;
    }
    if (count == 0) return 0;
    result.append(m_str, pos);
    m_str.swap(result);
    return count;
}

void CString::Format(LPCTSTR format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CString::AppendFormat(LPCTSTR format, ...) {
    va_list args;
    va_start(args, format);
    AppendFormatV(format, args);
    va_end(args);
}

void CString::FormatV(LPCTSTR format, va_list args) {
    std::string result;
    if (!appendFormatted(result, format, args)) result.clear();
    m_str.swap(result);
}

void CString::AppendFormatV(LPCTSTR format, va_list args) {
    std::string tail;
    if (appendFormatted(tail, format, args)) m_str += tail;
}

LPTSTR CString::GetBuffer() { return m_str.data(); }

// std::string keeps a zero after its last character, so a buffer of n
// characters is the string resized to n; the caller may write n characters
// and the terminating zero.
LPTSTR CString::GetBuffer(int minLength) {
    if (minLength > GetLength()) m_str.resize(static_cast<std::size_t>(minLength));
    return m_str.data();
}

LPTSTR CString::GetBufferSetLength(int length) {
    m_str.resize(static_cast<std::size_t>(std::max(length, 0)));
    return m_str.data();
}

void CString::ReleaseBuffer(int newLength) {
    std::size_t length = m_str.size();
    if (newLength < 0) {
        const void* zero = std::memchr(m_str.data(), '\0', m_str.size());
        if (zero) length = static_cast<std::size_t>(static_cast<const char*>(zero) - m_str.data());
    } else {
        length = std::min(length, static_cast<std::size_t>(newLength));
    }
    m_str.resize(length);
}
