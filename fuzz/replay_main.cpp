// Replays saved inputs through a fuzz target without libFuzzer, so that the
// ordinary test run (and the sanitizer run) exercise every seed. Arguments are
// files or directories (searched recursively); missing ones are skipped.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

static void runFile(const fs::path& path, int& count) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++count;
}

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        const fs::path root(argv[i]);
        if (fs::is_regular_file(root, ec)) {
            runFile(root, count);
        } else if (fs::is_directory(root, ec)) {
            for (const auto& entry : fs::recursive_directory_iterator(root, ec)) {
                if (entry.is_regular_file()) runFile(entry.path(), count);
            }
        }
    }
    std::printf("replayed %d inputs\n", count);
    return 0;
}
