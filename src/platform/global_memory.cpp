#include "platform/global_memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

// Large blocks are mapped directly and marked for huge pages: a fresh
// multi-megabyte picture then costs a few dozen page faults instead of
// thousands, and mapped memory arrives zero-filled. Freed mappings are kept
// for reuse (a few, up to kCacheLimit bytes in all), because image work frees
// a picture and at once asks for one of about the same size; a reused block is
// zero-filled again only when GMEM_ZEROINIT asks for it. Under
// AddressSanitizer every block goes through calloc so that overruns are
// caught.
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

// The mapping cache. The platform's heap is a process-wide service, so this
// is guarded like one.
constexpr std::uint64_t kCacheLimit = 512u << 20;
constexpr int kCacheSlots = 4;
struct Mapping {
    void* start = nullptr;
    std::uint64_t length = 0;
};
std::mutex gCacheMutex;
Mapping gCache[kCacheSlots];

// Takes a cached mapping of at least `length` bytes and at most twice that.
Mapping takeCached(std::uint64_t length) {
    std::lock_guard<std::mutex> lock(gCacheMutex);
    int best = -1;
    for (int i = 0; i < kCacheSlots; ++i) {
        const Mapping& m = gCache[i];
        if (m.start && m.length >= length && m.length <= 2 * length &&
            (best < 0 || m.length < gCache[best].length)) {
            best = i;
        }
    }
    if (best < 0) return {};
    const Mapping found = gCache[best];
    gCache[best] = {};
    return found;
}

// Keeps a mapping for reuse, or unmaps it; older entries make room.
void putCached(Mapping mapping) {
    Mapping evicted[kCacheSlots] = {};
    int evictedCount = 0;
    if (mapping.length <= kCacheLimit) {
        std::lock_guard<std::mutex> lock(gCacheMutex);
        std::uint64_t total = mapping.length;
        for (const Mapping& m : gCache) total += m.length;
        int slot = 0;
        for (int i = 0; i < kCacheSlots; ++i) {
            if (!gCache[i].start) slot = i;
        }
        // Evict from the first slots until the new mapping fits in count and size.
        for (int i = 0; i < kCacheSlots && (gCache[slot].start || total > kCacheLimit); ++i) {
            if (!gCache[i].start) continue;
            total -= gCache[i].length;
            evicted[evictedCount++] = gCache[i];
            gCache[i] = {};
            slot = i;
        }
        gCache[slot] = mapping;
        mapping = {};
    }
    for (int i = 0; i < evictedCount; ++i) {
        ::munmap(evicted[i].start, static_cast<std::size_t>(evicted[i].length));
    }
    if (mapping.start) ::munmap(mapping.start, static_cast<std::size_t>(mapping.length));
}

void* mapBlock(UINT flags, std::uint64_t bytes) {
    // One spare huge page lets the user area start on a huge-page boundary.
    const std::uint64_t length = bytes + sizeof(Prefix) + kHugePage;
    Mapping mapping = takeCached(length);
    const bool reused = mapping.start != nullptr;
    if (!reused) {
        void* start = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                             -1, 0);
        if (start == MAP_FAILED) return nullptr;
        mapping = Mapping{start, length};
    }
    auto start = reinterpret_cast<std::uintptr_t>(mapping.start) + sizeof(Prefix);
    start = (start + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
    auto* block = reinterpret_cast<void*>(start);
    if (!reused) {
        ::madvise(mapping.start, static_cast<std::size_t>(mapping.length), MADV_HUGEPAGE);
    } else if (flags & GMEM_ZEROINIT) {
        std::memset(block, 0, static_cast<std::size_t>(bytes));
    }
    *prefixOf(block) = Prefix{bytes, mapping.start, mapping.length, 0};
    return block;
}

void* allocate(UINT flags, std::uint64_t bytes) {
    if (bytes > kGlobalAllocLimit) return nullptr;
    if (!VELLUM_PLAIN_ALLOCATOR && bytes >= kMapThreshold) return mapBlock(flags, bytes);
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
        putCached(Mapping{prefix.mapping, prefix.mappingLength});
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
