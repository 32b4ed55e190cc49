// A file in memory, over the caller's buffer or a buffer of its own.
//
// Rules:
//  - Over the caller's buffer (non-null buffer given) the file has that
//    buffer's size and never grows: writes past the end are cut short and
//    set the error flag; the buffer stays the caller's.
//  - Without one, the file owns a buffer that grows as it is written (gaps
//    left by seeking past the end read as zero) and frees it on Close or
//    destruction, unless GetBuffer(true) detached it (then the caller
//    releases it with free()).
//  - Positions are 64-bit internally; Seek refuses a negative target and
//    leaves the position alone. Reading past the end gives fewer items.
//  - After Close every operation fails (Read and Write give 0, GetC -1).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/export.h"
#include "platform/windows_types.h"

class VELLUM_API CxMemFile {
  public:
    explicit CxMemFile(BYTE* buffer = nullptr, DWORD size = 0);
    ~CxMemFile();
    CxMemFile(const CxMemFile&) = delete;
    CxMemFile& operator=(const CxMemFile&) = delete;

    bool Open();  // reopens a closed file as an empty growable one
    bool Close();
    // Items of `size` bytes; returns whole items transferred.
    std::size_t Read(void* buffer, std::size_t size, std::size_t count);
    std::size_t Write(const void* buffer, std::size_t size, std::size_t count);
    // origin: SEEK_SET, SEEK_CUR or SEEK_END.
    bool Seek(long offset, int origin);
    long Tell() const;
    long Size() const;
    bool Flush();
    bool Eof() const;
    long Error() const;
    bool PutC(unsigned char c);
    long GetC();
    // The data; with detach the file lets go of its own buffer.
    BYTE* GetBuffer(bool detach = true);

  private:
    bool Reserve(std::uint64_t bytes);

    BYTE* buffer_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
    std::uint64_t position_ = 0;
    bool owned_ = true;
    bool open_ = true;
    bool error_ = false;
};
