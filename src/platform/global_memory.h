// The global heap of the 32-bit platform: zero-filled blocks whose handle is
// the block pointer. Pixel blocks of every DIB pair come from here.
//
// Contract:
//  - GlobalAlloc(flags, n) returns a block of n bytes, zero-filled when
//    GMEM_ZEROINIT (part of GPTR and GHND) is given, or null. A request above
//    kGlobalAllocLimit (2^31 - 1 bytes, what a 32-bit process can hold) fails
//    with null, as does a failed system allocation. A request of 0 bytes
//    returns a distinct valid block.
//  - The handle is the pointer: GlobalLock returns it, GlobalUnlock does
//    nothing, GlobalSize returns the size asked for (0 for null).
//  - GlobalFree(null) and GlobalFree(block) return null; the block is gone.
//  - Without GMEM_ZEROINIT a block's contents are unspecified; the library's
//    own operations ask for that only where they write every byte.
//  - Blocks of 4 MiB and more are mapped directly; freed ones are kept for
//    reuse (at most four, 512 MiB in all), as image work frees a picture and
//    soon asks for another of about the same size.
//  - GlobalAllocChecked takes a 64-bit size so that callers compute products
//    of width, depth and height without overflow and let the cap reject them.
#pragma once

#include <cstdint>

#include "platform/windows_types.h"

#define GMEM_FIXED 0x0000u
#define GMEM_MOVEABLE 0x0002u
#define GMEM_ZEROINIT 0x0040u
#define GPTR (GMEM_FIXED | GMEM_ZEROINIT)
#define GHND (GMEM_MOVEABLE | GMEM_ZEROINIT)
#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

inline constexpr std::uint64_t kGlobalAllocLimit = 0x7FFFFFFFu;

VELLUM_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
VELLUM_API HGLOBAL GlobalFree(HGLOBAL block);
VELLUM_API LPVOID GlobalLock(HGLOBAL block);
VELLUM_API BOOL GlobalUnlock(HGLOBAL block);
VELLUM_API SIZE_T GlobalSize(HGLOBAL block);
VELLUM_API HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
VELLUM_API HLOCAL LocalFree(HLOCAL block);

// 64-bit request; negative or oversized requests give null.
VELLUM_API HGLOBAL GlobalAllocChecked(UINT flags, std::int64_t bytes);
