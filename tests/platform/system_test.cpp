#include "platform/system.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "temp_dir.h"

namespace {

using platform_test::ReadAll;
using platform_test::TempDir;
using platform_test::WriteAll;

TEST(MulDiv, RoundsHalfAwayFromZero) {
    EXPECT_EQ(MulDiv(1, 1, 2), 1);
    EXPECT_EQ(MulDiv(-1, 1, 2), -1);
    EXPECT_EQ(MulDiv(3, 1, 2), 2);
    EXPECT_EQ(MulDiv(-3, 1, 2), -2);
    EXPECT_EQ(MulDiv(3, -1, 2), -2);
    EXPECT_EQ(MulDiv(3, 1, -2), -2);
    EXPECT_EQ(MulDiv(-3, 1, -2), 2);
    EXPECT_EQ(MulDiv(1, 1, 3), 0);
    EXPECT_EQ(MulDiv(2, 1, 3), 1);
    EXPECT_EQ(MulDiv(-2, 1, 3), -1);
    EXPECT_EQ(MulDiv(0, 5, -7), 0);
    EXPECT_EQ(MulDiv(7, 1, 7), 1);
    // The product is 64-bit.
    EXPECT_EQ(MulDiv(2000000000, 3, 4), 1500000000);
    EXPECT_EQ(MulDiv(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(MulDiv(INT_MIN, INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(MulDiv(INT_MIN, 1, 1), INT_MIN);
    EXPECT_EQ(MulDiv(INT_MIN, -1, -1), INT_MIN);
    // Failures answer -1.
    EXPECT_EQ(MulDiv(5, 3, 0), -1);
    EXPECT_EQ(MulDiv(INT_MAX, 2, 1), -1);
    EXPECT_EQ(MulDiv(INT_MIN, -1, 1), -1);
    EXPECT_EQ(MulDiv(INT_MAX, INT_MAX, 1), -1);
    EXPECT_EQ(MulDiv(INT_MIN, INT_MIN, 2), -1);
}

// Sets or clears $TMPDIR for one scope.
class ScopedTmpDir {
public:
    explicit ScopedTmpDir(const char* value) {
        if (const char* old = std::getenv("TMPDIR")) m_old = old;
        if (value) {
            ::setenv("TMPDIR", value, 1);
        } else {
            ::unsetenv("TMPDIR");
        }
    }
    ~ScopedTmpDir() {
        if (m_old) {
            ::setenv("TMPDIR", m_old->c_str(), 1);
        } else {
            ::unsetenv("TMPDIR");
        }
    }

private:
    std::optional<std::string> m_old;
};

TEST(GetTempPathA, AnswersTmpDirWithATrailingSlash) {
    char buffer[64];
    {
        ScopedTmpDir env(nullptr);
        EXPECT_EQ(GetTempPathA(sizeof buffer, buffer), 5u);
        EXPECT_STREQ(buffer, "/tmp/");
    }
    {
        ScopedTmpDir env("");
        EXPECT_EQ(GetTempPathA(sizeof buffer, buffer), 5u);
        EXPECT_STREQ(buffer, "/tmp/");
    }
    {
        ScopedTmpDir env("/var/scratch");
        EXPECT_EQ(GetTempPathA(sizeof buffer, buffer), 13u);
        EXPECT_STREQ(buffer, "/var/scratch/");
        EXPECT_EQ(GetTempPath(sizeof buffer, buffer), 13u);
    }
    {
        ScopedTmpDir env("/var/scratch/");
        EXPECT_EQ(GetTempPathA(sizeof buffer, buffer), 13u);
        EXPECT_STREQ(buffer, "/var/scratch/");

        // Too small by one: the size needed comes back and nothing is written.
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(GetTempPathA(13, buffer), 14u);
        EXPECT_EQ(buffer[0], '#');
        EXPECT_EQ(GetTempPathA(0, nullptr), 14u);
        EXPECT_EQ(GetTempPathA(14, buffer), 13u);
        EXPECT_STREQ(buffer, "/var/scratch/");
    }
}

TEST(FileFunctions, DeleteAndCopy) {
    TempDir dir;
    const std::string source = dir.File("source.bin");
    const std::string target = dir.File("target.bin");
    const std::string missing = dir.File("missing.bin");
    std::vector<BYTE> content(200000);
    for (std::size_t k = 0; k < content.size(); ++k) content[k] = static_cast<BYTE>(k * 31 + 7);
    WriteAll(source, content);
    ::chmod(source.c_str(), 0640);

    EXPECT_TRUE(CopyFileA(source.c_str(), target.c_str(), TRUE));
    EXPECT_EQ(ReadAll(target), content);
    struct stat info {};
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0640u & ~mask);

    // failIfExists keeps an existing target; otherwise it is replaced whole.
    WriteAll(target, {1, 2, 3});
    SetLastError(0);
    EXPECT_FALSE(CopyFileA(source.c_str(), target.c_str(), TRUE));
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    EXPECT_EQ(ReadAll(target), (std::vector<BYTE>{1, 2, 3}));
    EXPECT_TRUE(CopyFile(source.c_str(), target.c_str(), FALSE));
    EXPECT_EQ(ReadAll(target), content);

    EXPECT_FALSE(CopyFileA(missing.c_str(), target.c_str(), FALSE));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ReadAll(target), content);
    EXPECT_FALSE(CopyFileA(dir.path().c_str(), dir.File("dir-copy").c_str(), FALSE));
    EXPECT_FALSE(CopyFileA(source.c_str(), dir.File("no/such/dir").c_str(), FALSE));
    EXPECT_FALSE(CopyFileA(nullptr, target.c_str(), FALSE));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    // Copying a file onto itself must not truncate it first.
    EXPECT_FALSE(CopyFileA(source.c_str(), source.c_str(), FALSE));
    EXPECT_EQ(ReadAll(source), content);

    EXPECT_TRUE(DeleteFileA(target.c_str()));
    EXPECT_EQ(ReadAll(target).size(), 0u);
    EXPECT_FALSE(DeleteFileA(target.c_str()));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(DeleteFile(dir.path().c_str()));
    EXPECT_FALSE(DeleteFileA(nullptr));
    EXPECT_TRUE(DeleteFile(source.c_str()));
}

TEST(DiskSpace, ReportsTheFileSystemOfTheDirectory) {
    TempDir dir;
    ULARGE_INTEGER available{}, total{}, totalFree{};
    ASSERT_TRUE(GetDiskFreeSpaceExA(dir.path().c_str(), &available, &total, &totalFree));
    EXPECT_GT(total.QuadPart, 0u);
    EXPECT_LE(totalFree.QuadPart, total.QuadPart);
    EXPECT_LE(available.QuadPart, totalFree.QuadPart);
    EXPECT_TRUE(GetDiskFreeSpaceExA(nullptr, nullptr, nullptr, nullptr));
    ULARGE_INTEGER totalHere{};
    EXPECT_TRUE(GetDiskFreeSpaceEx(nullptr, nullptr, &totalHere, nullptr));
    EXPECT_GT(totalHere.QuadPart, 0u);
    EXPECT_FALSE(GetDiskFreeSpaceExA(dir.File("missing").c_str(), &available, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);

    DWORD sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, totalClusters = 0;
    ASSERT_TRUE(GetDiskFreeSpaceA(dir.path().c_str(), &sectorsPerCluster, &bytesPerSector,
                                  &freeClusters, &totalClusters));
    EXPECT_EQ(sectorsPerCluster, 8u);
    EXPECT_EQ(bytesPerSector, 512u);
    const ULONGLONG expectedTotal = std::min<ULONGLONG>(total.QuadPart / 4096, 0xFFFFFFFFu);
    EXPECT_EQ(totalClusters, expectedTotal);
    EXPECT_LE(freeClusters, totalClusters);
    EXPECT_TRUE(GetDiskFreeSpace(dir.path().c_str(), nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(
        GetDiskFreeSpaceA(dir.File("missing").c_str(), nullptr, nullptr, nullptr, nullptr));
}

TEST(Wsprintf, StopsAtTheKilobyteLimit) {
    char buffer[kWsprintfLimit + 16];
    EXPECT_EQ(wsprintfA(buffer, "%s=%d/%u/%x/%c", "k", -5, 7u, 255u, 'z'), 11);
    EXPECT_STREQ(buffer, "k=-5/7/ff/z");
    EXPECT_EQ(wsprintf(buffer, "%05d", 42), 5);
    EXPECT_STREQ(buffer, "00042");

    const std::string wide(3000, 'w');
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(wsprintfA(buffer, "%s", wide.c_str()), 1023);
    EXPECT_EQ(std::strlen(buffer), 1023u);
    EXPECT_EQ(buffer[1024], '#');  // nothing past the limit
    EXPECT_EQ(wsprintfA(buffer, "%s", ""), 0);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(wsprintfA(nullptr, "%d", 1), 0);
}

TEST(LastError, IsPerThread) {
    SetLastError(1234);
    std::thread other([] {
        EXPECT_EQ(GetLastError(), 0u);
        SetLastError(99);
    });
    other.join();
    EXPECT_EQ(GetLastError(), 1234u);
}

}  // namespace
