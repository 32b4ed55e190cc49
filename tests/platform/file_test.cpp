#include "platform/file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "temp_dir.h"

namespace {

using platform_test::ReadAll;
using platform_test::TempDir;
using platform_test::WriteAll;

// Runs f and answers the cause of the CFileException it threw, or -1.
template <class F>
int CauseOf(F&& f, LONG* osError = nullptr) {
    try {
        f();
    } catch (CFileException* e) {
        const int cause = e->m_cause;
        if (osError) *osError = e->m_lOsError;
        e->Delete();
        return cause;
    }
    return -1;
}

TEST(CFile, CreateTruncatesUnlessNoTruncate) {
    TempDir dir;
    const std::string path = dir.File("modes.bin");
    WriteAll(path, {1, 2, 3, 4, 5});
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite);
        EXPECT_EQ(file.GetLength(), 5u);
        EXPECT_EQ(file.GetPosition(), 0u);
        file.Write("\x09", 1);
        EXPECT_EQ(file.GetPosition(), 1u);
    }
    EXPECT_EQ(ReadAll(path), (std::vector<BYTE>{9, 2, 3, 4, 5}));
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        EXPECT_EQ(file.GetLength(), 0u);
        file.Write("ab", 2);
    }
    EXPECT_EQ(ReadAll(path), (std::vector<BYTE>{'a', 'b'}));

    // Without modeCreate a missing file is not created.
    const std::string missing = dir.File("missing.bin");
    CFile file;
    CFileException error;
    EXPECT_FALSE(file.Open(missing.c_str(), CFile::modeReadWrite, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_lOsError, ENOENT);
    EXPECT_EQ(error.m_strFileName, missing);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.Open(missing.c_str(), CFile::modeRead));  // no exception object: still fine
    EXPECT_NE(_access(path.c_str(), 0), -1);
    EXPECT_EQ(_access(missing.c_str(), 0), -1);
}

TEST(CFile, FailuresThrowByPointerWithTheirCause) {
    TempDir dir;
    const std::string path = dir.File("data.bin");
    WriteAll(path, {1, 2, 3});
    const std::string missing = dir.File("missing.bin");

    LONG osError = 0;
    EXPECT_EQ(CauseOf([&] { CFile f(missing.c_str(), CFile::modeRead); }, &osError),
              CFileException::fileNotFound);
    EXPECT_EQ(osError, ENOENT);
    EXPECT_EQ(CauseOf([&] { CFile f(dir.File("no/such/dir.bin").c_str(), CFile::modeRead); }),
              CFileException::fileNotFound);
    EXPECT_EQ(CauseOf([&] { CFile f(dir.path().c_str(), CFile::modeRead); }),
              CFileException::accessDenied);
    EXPECT_EQ(CauseOf([&] { CFile f("", CFile::modeRead); }), CFileException::badPath);

    CFile reader(path.c_str(), CFile::modeRead);
    EXPECT_EQ(CauseOf([&] { reader.Write("x", 1); }), CFileException::accessDenied);
    CFile writer(path.c_str(), CFile::modeWrite);
    BYTE b = 0;
    EXPECT_EQ(CauseOf([&] { writer.Read(&b, 1); }), CFileException::accessDenied);

    EXPECT_EQ(CauseOf([&] { reader.Seek(-1, CFile::begin); }), CFileException::badSeek);
    EXPECT_EQ(CauseOf([&] { reader.Seek(-4, CFile::end); }), CFileException::badSeek);
    EXPECT_EQ(reader.Seek(-1, CFile::end), 2u);
    EXPECT_EQ(reader.Seek(-1, CFile::current), 1u);
    EXPECT_EQ(reader.Seek(10, CFile::begin), 10u);  // past the end is allowed
    EXPECT_EQ(reader.Read(&b, 1), 0u);
    EXPECT_EQ(reader.SeekToEnd(), 3u);
    reader.SeekToBegin();
    BYTE all[8] = {};
    EXPECT_EQ(reader.Read(all, 8), 3u);
    EXPECT_EQ(all[2], 3);

    reader.Close();
    EXPECT_FALSE(reader.IsOpen());
    EXPECT_EQ(CauseOf([&] { reader.Read(&b, 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { reader.GetLength(); }), CFileException::invalidFile);
    reader.Close();  // closing twice is harmless

    // The message names the file.
    try {
        CFile f(missing.c_str(), CFile::modeRead);
        ADD_FAILURE() << "no exception";
    } catch (CFileException* e) {
        char text[512];
        EXPECT_TRUE(e->GetErrorMessage(text, sizeof text));
        EXPECT_NE(std::string(text).find(missing), std::string::npos);
        e->Delete();
    }
}

TEST(CFile, LengthAndNames) {
    TempDir dir;
    const std::string path = dir.File("picture.final.bmp");
    CFile file(path.c_str(), CFile::modeCreate | CFile::modeReadWrite);
    file.SetLength(100);
    EXPECT_EQ(file.GetLength(), 100u);
    file.SetLength(10);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetFilePath(), path);
    EXPECT_STREQ(file.GetFileName(), "picture.final.bmp");
    EXPECT_STREQ(file.GetFileTitle(), "picture.final");
    file.Close();
    EXPECT_STREQ(file.GetFileName(), "picture.final.bmp");

    const std::string hidden = dir.File(".hidden");
    CFile dotted(hidden.c_str(), CFile::modeCreate | CFile::modeWrite);
    EXPECT_STREQ(dotted.GetFileTitle(), ".hidden");
    EXPECT_STREQ(CFile().GetFileName(), "");
}

}  // namespace
