#include "codec/memfile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
// Owned buffers stay below 2 GB so that Tell and Size fit a long everywhere.
constexpr std::uint64_t kMaxBytes = 0x7FFFFFFF;
}  // namespace

CxMemFile::CxMemFile(BYTE* buffer, DWORD size) {
    if (buffer) {
        buffer_ = buffer;
        size_ = capacity_ = size;
        owned_ = false;
    }
}

CxMemFile::~CxMemFile() { Close(); }

bool CxMemFile::Open() {
    if (open_) return false;
    buffer_ = nullptr;
    size_ = capacity_ = position_ = 0;
    owned_ = true;
    open_ = true;
    error_ = false;
    return true;
}

bool CxMemFile::Close() {
    if (!open_) return false;
    if (owned_) std::free(buffer_);
    buffer_ = nullptr;
    size_ = capacity_ = position_ = 0;
    open_ = false;
    return true;
}

bool CxMemFile::Reserve(std::uint64_t bytes) {
    if (bytes <= capacity_) return true;
    if (!owned_ || bytes > kMaxBytes) return false;
    std::uint64_t grown = capacity_ ? capacity_ : 4096;
    while (grown < bytes) grown *= 2;
    if (grown > kMaxBytes) grown = kMaxBytes;
    auto* bigger = static_cast<BYTE*>(std::realloc(buffer_, static_cast<std::size_t>(grown)));
    if (!bigger) return false;
    std::memset(bigger + capacity_, 0, static_cast<std::size_t>(grown - capacity_));
    buffer_ = bigger;
    capacity_ = grown;
    return true;
}

std::size_t CxMemFile::Read(void* buffer, std::size_t size, std::size_t count) {
    if (!open_ || !buffer || size == 0 || count == 0 || position_ >= size_) return 0;
    const std::uint64_t left = size_ - position_;
    const std::uint64_t items = std::min<std::uint64_t>(count, left / size);
    const std::size_t bytes = static_cast<std::size_t>(items * size);
    std::memcpy(buffer, buffer_ + position_, bytes);
    position_ += bytes;
    return static_cast<std::size_t>(items);
}

std::size_t CxMemFile::Write(const void* buffer, std::size_t size, std::size_t count) {
    if (!open_ || !buffer || size == 0 || count == 0) return 0;
    std::uint64_t items = count;
    if (items > kMaxBytes / size) items = kMaxBytes / size;
    std::uint64_t end = position_ + items * size;
    if (!Reserve(end)) {
        // Cut to what fits.
        items = position_ < capacity_ ? (capacity_ - position_) / size : 0;
        end = position_ + items * size;
        error_ = true;
    }
    if (items == 0) return 0;
    std::memcpy(buffer_ + position_, buffer, static_cast<std::size_t>(items * size));
    position_ = end;
    if (end > size_) size_ = end;
    return static_cast<std::size_t>(items);
}

bool CxMemFile::Seek(long offset, int origin) {
    if (!open_) return false;
    std::int64_t base;
    switch (origin) {
        case SEEK_SET: base = 0; break;
        case SEEK_CUR: base = static_cast<std::int64_t>(position_); break;
        case SEEK_END: base = static_cast<std::int64_t>(size_); break;
        default: return false;
    }
    const std::int64_t to = base + offset;
    if (to < 0 || static_cast<std::uint64_t>(to) > kMaxBytes) return false;
    position_ = static_cast<std::uint64_t>(to);
    return true;
}

long CxMemFile::Tell() const { return open_ ? static_cast<long>(position_) : -1; }
long CxMemFile::Size() const { return open_ ? static_cast<long>(size_) : -1; }
bool CxMemFile::Flush() { return open_; }
bool CxMemFile::Eof() const { return !open_ || position_ >= size_; }
long CxMemFile::Error() const { return (!open_ || error_) ? 1 : 0; }

bool CxMemFile::PutC(unsigned char c) { return Write(&c, 1, 1) == 1; }

long CxMemFile::GetC() {
    unsigned char c = 0;
    return Read(&c, 1, 1) == 1 ? c : -1;
}

BYTE* CxMemFile::GetBuffer(bool detach) {
    if (!open_) return nullptr;
    BYTE* data = buffer_;
    if (detach && owned_) {
        buffer_ = nullptr;
        size_ = capacity_ = position_ = 0;
    }
    return data;
}
