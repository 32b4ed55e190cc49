// Small helpers for tests that build DIB pairs in code and write files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "dib/dib.h"
#include "platform/global_memory.h"

namespace vtest {

// Owns a DIB pair the way a caller of the library does.
struct Pair {
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;

    Pair() = default;
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;
    ~Pair() { reset(); }
    void reset() {
        VellumDeleteHeader(info);
        GlobalFree(bits);
        info = nullptr;
        bits = nullptr;
    }
    BITMAPINFOHEADER& h() { return info->bmiHeader; }
    BYTE* row(int y) {
        return static_cast<BYTE*>(bits) + VellumDibStride(h().biBitCount, h().biWidth) * y;
    }
    RGBQUAD* table() { return VellumColorTable(info); }
    std::vector<BYTE> bytes() {
        const auto* b = static_cast<const BYTE*>(bits);
        return std::vector<BYTE>(b, b + VellumDibImageSize(h()));
    }
};

// A zero-filled image with a 1064-byte header block; palette depths get a
// grey ramp table unless told otherwise.
inline void Make(Pair& p, int width, int height, int depth, bool greyTable = true) {
    p.reset();
    p.info = VellumNewHeader(kFullHeaderBytes);
    BITMAPINFOHEADER& h = p.h();
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(depth);
    h.biSizeImage = static_cast<DWORD>(VellumDibImageSize(h));
    if (depth <= 8 && greyTable) {
        const int n = 1 << depth;
        for (int i = 0; i < n; ++i) {
            const BYTE v = static_cast<BYTE>(n == 1 ? 0 : i * 255 / (n - 1));
            p.table()[i] = RGBQUAD{v, v, v, 0};
        }
    }
    p.bits = GlobalAllocChecked(GPTR, VellumDibImageSize(h) < 0 ? 0 : VellumDibImageSize(h));
}

inline void SetBgr(Pair& p, int x, int y, BYTE b, BYTE g, BYTE r) {
    BYTE* px = p.row(y) + 3 * x;
    px[0] = b;
    px[1] = g;
    px[2] = r;
}

// A fresh directory per test binary run, removed by nobody (it lives under the
// build tree or the system temporary folder).
inline std::string TempPath(const std::string& name) {
    static const std::string dir = [] {
        const char* base = std::getenv("VELLUM_TEST_TMP");
        std::filesystem::path root = base ? base : std::filesystem::temp_directory_path();
        root /= "vellum-tests-" + std::to_string(::getpid());
        std::filesystem::create_directories(root);
        return root.string();
    }();
    return dir + "/" + name;
}

inline void WriteFile(const std::string& path, const std::vector<BYTE>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<BYTE> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<BYTE>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Little-endian byte builder for hand-made files.
struct Bytes {
    std::vector<BYTE> v;
    Bytes& u8(unsigned x) {
        v.push_back(static_cast<BYTE>(x));
        return *this;
    }
    Bytes& u16(unsigned x) { return u8(x & 0xFF).u8(x >> 8); }
    Bytes& u32(std::uint32_t x) { return u16(x & 0xFFFF).u16(x >> 16); }
    Bytes& raw(std::initializer_list<unsigned> xs) {
        for (unsigned x : xs) u8(x);
        return *this;
    }
    Bytes& zeros(std::size_t n) {
        v.insert(v.end(), n, 0);
        return *this;
    }
    std::size_t size() const { return v.size(); }
};

// The 14-byte file header and a 40-byte info header.
inline Bytes BmpHeaders(std::uint32_t offBits, std::int32_t width, std::int32_t height, int bits,
                        std::uint32_t compression = 0, std::uint32_t clrUsed = 0,
                        std::uint32_t headerSize = 40, std::uint32_t sizeImage = 0) {
    Bytes b;
    b.u16(0x4D42).u32(0).u16(0).u16(0).u32(offBits);
    b.u32(headerSize).u32(static_cast<std::uint32_t>(width)).u32(static_cast<std::uint32_t>(height));
    b.u16(1).u16(static_cast<unsigned>(bits)).u32(compression).u32(sizeImage);
    b.u32(2835).u32(2835).u32(clrUsed).u32(0);
    return b;
}

}  // namespace vtest
