#include "platform/global_memory.h"

#include <cstdlib>
#include <cstring>

namespace {

// Each block carries its requested size in a 16-byte prefix so that GlobalSize
// answers exactly and the user area stays 16-byte aligned.
constexpr std::size_t kPrefix = 16;

void* allocate(UINT flags, std::uint64_t bytes) {
    if (bytes > kGlobalAllocLimit) return nullptr;
    const std::size_t total = kPrefix + static_cast<std::size_t>(bytes);
    void* raw = (flags & GMEM_ZEROINIT) ? std::calloc(1, total) : std::malloc(total);
    if (!raw) return nullptr;
    std::memcpy(raw, &bytes, sizeof bytes);
    return static_cast<BYTE*>(raw) + kPrefix;
}

void release(void* block) {
    if (block) std::free(static_cast<BYTE*>(block) - kPrefix);
}

}  // namespace

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) { return allocate(flags, bytes); }

HGLOBAL GlobalAllocChecked(UINT flags, std::int64_t bytes) {
    if (bytes < 0) return nullptr;
    return allocate(flags, static_cast<std::uint64_t>(bytes));
}

HGLOBAL GlobalFree(HGLOBAL block) {
    release(block);
    return nullptr;
}

LPVOID GlobalLock(HGLOBAL block) { return block; }

BOOL GlobalUnlock(HGLOBAL) { return FALSE; }

SIZE_T GlobalSize(HGLOBAL block) {
    if (!block) return 0;
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, static_cast<BYTE*>(block) - kPrefix, sizeof bytes);
    return static_cast<SIZE_T>(bytes);
}

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) { return allocate(flags, bytes); }

HLOCAL LocalFree(HLOCAL block) {
    release(block);
    return nullptr;
}
