// Reads the input as a BMP file through ThReadDibData. The reader takes a
// path, so the bytes go into an in-memory file reached through /proc.
//
// On success the pair must be consistent: both blocks present, a depth the
// reader promises (16 and 32 bits come back as 24), and a bits block that
// holds every row the header describes (its first and last byte are read, so
// the sanitizer also sees a block shorter than it claims). Anything else
// aborts.
//
// The reader accepts any image up to kBmpSmallImageBytes whatever the file's
// length, and converting tens of megabytes under coverage instrumentation
// takes seconds. Inputs whose pixel buffer falls between kFuzzPixelBudget and
// that limit are skipped: they run the same code as small images. Larger ones
// still go through, since a short input has them refused before allocation.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "dib/bmp.h"
#include "dib/dib.h"
#include "platform/global_memory.h"

namespace {

constexpr std::uint64_t kFuzzPixelBudget = 1u << 20;

std::uint64_t readLe(const std::uint8_t* p, int bytes) {
    std::uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

// The pixel buffer the header asks for, as the reader sizes it (the larger of
// stride x height and biSizeImage), or 0 when the header is too short to say.
std::uint64_t declaredPixelBytes(const std::uint8_t* data, std::size_t size) {
    if (size < 18) return 0;
    std::int64_t width, height;
    std::uint64_t depth, sizeImage = 0;
    if (readLe(data + 14, 4) == 12) {
        if (size < 26) return 0;
        width = std::int64_t(readLe(data + 18, 2));
        height = std::int64_t(readLe(data + 20, 2));
        depth = readLe(data + 24, 2);
    } else {
        if (size < 38) return 0;
        width = std::int32_t(readLe(data + 18, 4));
        height = std::int32_t(readLe(data + 22, 4));
        depth = readLe(data + 28, 2);
        sizeImage = readLe(data + 34, 4);
    }
    if (width <= 0) return 0;
    const auto stride = (depth * std::uint64_t(width) + 31) / 32 * 4;
    const auto rows = std::uint64_t(height < 0 ? -height : height);
    return std::max(stride * rows, sizeImage);
}

bool writeAll(int fd, const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = write(fd, data, size);
        if (n <= 0) return false;
        data += n;
        size -= std::size_t(n);
    }
    return true;
}

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "bmp_fuzzer: %s\n", what);
        std::abort();
    }
}

void checkPair(const void* bits, const BITMAPINFO* info) {
    check(info != nullptr && bits != nullptr, "success without both blocks");
    const BITMAPINFOHEADER& h = info->bmiHeader;
    const WORD depth = h.biBitCount;
    check(depth == 1 || depth == 4 || depth == 8 || depth == 24, "unexpected depth");
    check(h.biWidth > 0 && h.biHeight != 0, "empty image");
    const std::int64_t stride = (std::int64_t{depth} * h.biWidth + 31) / 32 * 4;
    const std::int64_t rows = h.biHeight < 0 ? -std::int64_t{h.biHeight} : h.biHeight;
    const std::uint64_t needed = std::uint64_t(stride) * std::uint64_t(rows);
    check(GlobalSize(const_cast<void*>(bits)) >= needed, "bits block shorter than the image");
    const auto* p = static_cast<const volatile std::uint8_t*>(bits);
    const unsigned ends = p[0] + p[needed - 1];
    (void)ends;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::uint64_t declared = declaredPixelBytes(data, size);
    if (declared > kFuzzPixelBudget && declared <= kBmpSmallImageBytes) return 0;

    const int fd = memfd_create("bmp_fuzzer", MFD_CLOEXEC);
    if (fd < 0) return 0;
    if (!writeAll(fd, data, size)) {
        close(fd);
        return 0;
    }
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);

    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    const int result = ThReadDibData(path, bits, info);
    check(result == 0 || result == -1 || result == -3, "result outside 0, -1, -3");
    if (result == 0) checkPair(bits, info);

    if (info != nullptr) VellumDeleteHeader(info);
    if (bits != nullptr) GlobalFree(bits);
    close(fd);
    return 0;
}
