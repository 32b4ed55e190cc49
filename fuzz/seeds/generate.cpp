// Writes the seed inputs of the BMP fuzz targets. Not part of the build (the
// fuzz targets are the *_fuzzer.cpp files directly in fuzz/); run it by hand
// after changing a seed:
//
//     c++ -std=c++20 fuzz/seeds/generate.cpp -o /tmp/generate-seeds
//     /tmp/generate-seeds fuzz/seeds
//
// Every seed is small and valid, so the fuzzer starts from inputs that reach
// the pixel paths rather than stopping at the header checks.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

void put16(Bytes& b, unsigned v) {
    b.insert(b.end(), {std::uint8_t(v), std::uint8_t(v >> 8)});
}
void put32(Bytes& b, std::uint32_t v) {
    b.insert(b.end(),
             {std::uint8_t(v), std::uint8_t(v >> 8), std::uint8_t(v >> 16), std::uint8_t(v >> 24)});
}
void append(Bytes& b, std::initializer_list<std::uint8_t> v) {
    b.insert(b.end(), v);
}

std::uint32_t stride(int bits, int width) {
    return std::uint32_t((bits * width + 31) / 32 * 4);
}

// A file with a 40-byte header; `extra` (masks) and `table` follow the header.
Bytes infoFile(int width, int height, int bits, std::uint32_t compression, const Bytes& extra,
               const Bytes& table, const Bytes& pixels) {
    const std::uint32_t offset = 14 + 40 + std::uint32_t(extra.size() + table.size());
    Bytes f;
    put16(f, 0x4D42);
    put32(f, offset + std::uint32_t(pixels.size()));
    put32(f, 0);
    put32(f, offset);
    put32(f, 40);
    put32(f, std::uint32_t(width));
    put32(f, std::uint32_t(height));
    put16(f, 1);
    put16(f, unsigned(bits));
    put32(f, compression);
    put32(f, std::uint32_t(pixels.size()));
    put32(f, 2835);
    put32(f, 2835);
    put32(f, 0);
    put32(f, 0);
    f.insert(f.end(), extra.begin(), extra.end());
    f.insert(f.end(), table.begin(), table.end());
    f.insert(f.end(), pixels.begin(), pixels.end());
    return f;
}

// A grey ramp of 2^bits RGBQUAD entries (3-byte entries for core headers).
Bytes greyTable(int bits, int entryBytes) {
    Bytes t;
    const int n = 1 << bits;
    for (int i = 0; i < n; ++i) {
        const auto v = std::uint8_t(i * 255 / (n - 1));
        append(t, {v, v, v});
        if (entryBytes == 4) t.push_back(0);
    }
    return t;
}

// Uncompressed rows where pixel (x, y) has byte pattern x + 3y.
Bytes rows(int bits, int width, int height) {
    Bytes p(std::size_t(stride(bits, width)) * std::size_t(height), 0);
    for (int y = 0; y < height; ++y) {
        for (std::uint32_t i = 0; i < std::uint32_t(bits * width + 7) / 8; ++i) {
            p[std::size_t(y) * stride(bits, width) + i] =
                std::uint8_t(i * 37 + std::uint32_t(y) * 3);
        }
    }
    return p;
}

// RLE8, 8 x 4: runs, odd absolute run with pad, delta, end of line and bitmap.
const Bytes kRle8 = {2,  1,  0, 3, 4, 5, 6, 0,  3, 7, 0, 0,  0, 4,  9, 10,
                     11, 12, 0, 2, 2, 1, 2, 13, 0, 0, 7, 14, 1, 15, 0, 1};
// RLE4, 7 x 4: alternating nibbles, odd absolute runs, an odd start.
const Bytes kRle4 = {3,    0x12, 0, 3,    0x34, 0x50, 1, 0x6A, 0, 0, 0, 5,    0x9A, 0xBC,
                     0xD0, 0,    2, 0xEF, 0,    0,    0, 2,    1, 1, 6, 0xAB, 0,    1};

Bytes masks(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    Bytes m;
    put32(m, r);
    put32(m, g);
    put32(m, b);
    return m;
}

// Input of bmp_expand_fuzzer: width - 1, height - 1, mode, masks, data.
Bytes expandInput(int width, int height, std::uint8_t mode, const Bytes& m, const Bytes& data) {
    Bytes b = {std::uint8_t(width - 1), std::uint8_t(height - 1), mode};
    const Bytes zero = masks(0, 0, 0);
    const Bytes& useMasks = m.empty() ? zero : m;
    b.insert(b.end(), useMasks.begin(), useMasks.end());
    b.insert(b.end(), data.begin(), data.end());
    return b;
}

bool write(const fs::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SEEDS_DIR\n", argv[0]);
        return 2;
    }
    const fs::path root = argv[1];
    const fs::path bmp = root / "bmp_fuzzer";
    const fs::path expand = root / "bmp_expand_fuzzer";
    fs::create_directories(bmp);
    fs::create_directories(expand);

    const Bytes m565 = masks(0xF800, 0x07E0, 0x001F);
    const Bytes m101010 = masks(0x3FF00000, 0x000FFC00, 0x000003FF);

    // OS/2 core header, 4 bits, 5 x 3, 3-byte table entries.
    Bytes core;
    {
        const Bytes table = greyTable(4, 3);
        const Bytes pixels = rows(4, 5, 3);
        const auto offset = std::uint32_t(14 + 12 + table.size());
        put16(core, 0x4D42);
        put32(core, offset + std::uint32_t(pixels.size()));
        put32(core, 0);
        put32(core, offset);
        put32(core, 12);
        put16(core, 5);
        put16(core, 3);
        put16(core, 1);
        put16(core, 4);
        core.insert(core.end(), table.begin(), table.end());
        core.insert(core.end(), pixels.begin(), pixels.end());
    }

    const struct {
        fs::path path;
        Bytes bytes;
    } seeds[] = {
        {bmp / "pal8rle.bmp", infoFile(8, 4, 8, 1, {}, greyTable(8, 4), kRle8)},
        {bmp / "pal4rle.bmp", infoFile(7, 4, 4, 2, {}, greyTable(4, 4), kRle4)},
        {bmp / "rgb16-565.bmp", infoFile(5, 3, 16, 3, m565, {}, rows(16, 5, 3))},
        {bmp / "rgb32-101010.bmp", infoFile(3, 2, 32, 3, m101010, {}, rows(32, 3, 2))},
        {bmp / "pal1.bmp", infoFile(13, 3, 1, 0, {}, greyTable(1, 4), rows(1, 13, 3))},
        {bmp / "rgb24.bmp", infoFile(5, 3, 24, 0, {}, {}, rows(24, 5, 3))},
        {bmp / "rgb24-topdown.bmp", infoFile(3, -2, 24, 0, {}, {}, rows(24, 3, 2))},
        {bmp / "pal4os2.bmp", core},
        {expand / "rle8", expandInput(8, 4, 0, {}, kRle8)},
        {expand / "rle4", expandInput(7, 4, 1, {}, kRle4)},
        {expand / "bitfields16-565", expandInput(5, 3, 2, m565, rows(16, 5, 3))},
        {expand / "bitfields32-101010", expandInput(3, 2, 3, m101010, rows(32, 3, 2))},
        {expand / "rle8-at-24-bits", expandInput(4, 2, 4 | (4 << 3), {}, kRle8)},
    };
    for (const auto& s : seeds) {
        if (!write(s.path, s.bytes)) {
            std::fprintf(stderr, "cannot write %s\n", s.path.c_str());
            return 1;
        }
    }
    return 0;
}
