// A scratch directory per test, and whole-file helpers, for the platform tests.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/windows_types.h"

namespace platform_test {

// A fresh directory under $VELLUM_TEST_TMP (set by ctest) or the test
// framework's temporary folder, removed with its contents at the end.
class TempDir {
public:
    TempDir() {
        const char* base = std::getenv("VELLUM_TEST_TMP");
        const std::filesystem::path root = (base && *base) ? base : ::testing::TempDir();
        std::error_code ignored;
        std::filesystem::create_directories(root, ignored);
        std::string pattern = (root / "platform-XXXXXX").string();
        if (::mkdtemp(pattern.data())) {
            m_path = pattern;
        } else {
            ADD_FAILURE() << "cannot create a directory under " << root;
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
    }

    const std::filesystem::path& path() const { return m_path; }
    std::string File(const char* name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

inline std::vector<BYTE> ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<BYTE>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteAll(const std::string& path, const std::vector<BYTE>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

}  // namespace platform_test
