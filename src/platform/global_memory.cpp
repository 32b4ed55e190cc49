#include "platform/global_memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

// Large blocks are mapped directly and marked for huge pages: a fresh
// multi-megabyte picture then costs a few dozen page faults instead of
// thousands, and mapped memory arrives zero-filled. Under AddressSanitizer
// every block goes through calloc so that overruns are caught.
#if defined(__SANITIZE_ADDRESS__)
#define VELLUM_PLAIN_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define VELLUM_PLAIN_ALLOCATOR 1
#endif
#endif
#ifndef VELLUM_PLAIN_ALLOCATOR
#define VELLUM_PLAIN_ALLOCATOR 0
#endif

namespace {

// Each block carries a 32-byte prefix: the size asked for, and for mapped
// blocks the mapping's start and length. The user area stays 16-byte aligned.
struct Prefix {
    std::uint64_t size;
    void* mapping;
    std::uint64_t mappingLength;
    std::uint64_t reserved;
};
static_assert(sizeof(Prefix) == 32);

constexpr std::uint64_t kMapThreshold = 4u << 20;
constexpr std::uint64_t kHugePage = 2u << 20;

Prefix* prefixOf(void* block) {
    return reinterpret_cast<Prefix*>(static_cast<BYTE*>(block) - sizeof(Prefix));
}

void* mapBlock(std::uint64_t bytes) {
    // One spare huge page lets the user area start on a huge-page boundary.
    const std::uint64_t length = bytes + sizeof(Prefix) + kHugePage;
    void* mapping = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                           -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    auto start = reinterpret_cast<std::uintptr_t>(mapping) + sizeof(Prefix);
    start = (start + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
    ::madvise(reinterpret_cast<void*>(start & ~(std::uintptr_t{kHugePage} - 1)),
              static_cast<std::size_t>(bytes + kHugePage), MADV_HUGEPAGE);
    auto* block = reinterpret_cast<void*>(start);
    *prefixOf(block) = Prefix{bytes, mapping, length, 0};
    return block;
}

void* allocate(UINT flags, std::uint64_t bytes) {
    if (bytes > kGlobalAllocLimit) return nullptr;
    if (!VELLUM_PLAIN_ALLOCATOR && bytes >= kMapThreshold) return mapBlock(bytes);
    const std::size_t total = sizeof(Prefix) + static_cast<std::size_t>(bytes);
    void* raw = (flags & GMEM_ZEROINIT) ? std::calloc(1, total) : std::malloc(total);
    if (!raw) return nullptr;
    void* block = static_cast<BYTE*>(raw) + sizeof(Prefix);
    *prefixOf(block) = Prefix{bytes, nullptr, 0, 0};
    return block;
}

void release(void* block) {
    if (!block) return;
    const Prefix prefix = *prefixOf(block);
    if (prefix.mapping) {
        ::munmap(prefix.mapping, static_cast<std::size_t>(prefix.mappingLength));
    } else {
        std::free(prefixOf(block));
    }
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

SIZE_T GlobalSize(HGLOBAL block) { return block ? static_cast<SIZE_T>(prefixOf(block)->size) : 0; }

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) { return allocate(flags, bytes); }

HLOCAL LocalFree(HLOCAL block) {
    release(block);
    return nullptr;
}
