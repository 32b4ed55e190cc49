#include "platform/archive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "temp_dir.h"

namespace {

using platform_test::ReadAll;
using platform_test::TempDir;
using platform_test::WriteAll;

// Stores through a fresh archive and answers the bytes that reached the file.
std::vector<BYTE> Store(const TempDir& dir, const std::function<void(CArchive&)>& body,
                        int bufSize = 4096) {
    const std::string path = dir.File("stored.bin");
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        CArchive ar(&file, CArchive::store, bufSize);
        body(ar);
        ar.Close();
    }
    return ReadAll(path);
}

// Runs body on a loading archive over bytes; returns the cause of the
// CArchiveException it threw, or -1.
int Load(const TempDir& dir, const std::vector<BYTE>& bytes,
         const std::function<void(CArchive&)>& body, int bufSize = 4096) {
    const std::string path = dir.File("loaded.bin");
    WriteAll(path, bytes);
    CFile file(path.c_str(), CFile::modeRead);
    CArchive ar(&file, CArchive::load, bufSize);
    try {
        body(ar);
    } catch (CArchiveException* e) {
        const int cause = e->m_cause;
        e->Delete();
        return cause;
    }
    return -1;
}

template <class F>
int CauseOf(F&& f) {
    try {
        f();
    } catch (CArchiveException* e) {
        const int cause = e->m_cause;
        e->Delete();
        return cause;
    }
    return -1;
}

TEST(CArchive, NumbersAreLittleEndianWithLongAsThirtyTwoBits) {
    TempDir dir;
    const std::vector<BYTE> bytes = Store(dir, [](CArchive& ar) {
        ar << BYTE{0xAB} << char{-2} << WORD{0x1234} << short{-3};
        ar << int{-4} << unsigned{0x89ABCDEFu} << LONG{0x01020304} << DWORD{0xCAFEBABEu};
        ar << long{0x1122334455667788L} << static_cast<unsigned long>(0xFFFFFFFF00000001ul);
        ar << 1.0f << -2.0;
        ar << LONGLONG{-2} << ULONGLONG{0x0102030405060708ull};
    });
    const std::vector<BYTE> expected = {
        0xAB, 0xFE,                                      // BYTE, char
        0x34, 0x12, 0xFD, 0xFF,                          // WORD, short
        0xFC, 0xFF, 0xFF, 0xFF, 0xEF, 0xCD, 0xAB, 0x89,  // int, unsigned
        0x04, 0x03, 0x02, 0x01, 0xBE, 0xBA, 0xFE, 0xCA,  // LONG, DWORD
        0x88, 0x77, 0x66, 0x55, 0x01, 0x00, 0x00, 0x00,  // long, unsigned long: low 32 bits
        0x00, 0x00, 0x80, 0x3F,                          // 1.0f
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,  // -2.0
        0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // LONGLONG -2
        0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,  // ULONGLONG
    };
    EXPECT_EQ(bytes, expected);

    BYTE b = 0;
    char c = 0;
    WORD w = 0;
    short s = 0;
    int i = 0;
    unsigned u = 0;
    LONG l32 = 0;
    DWORD d = 0;
    long l = 0;
    unsigned long ul = 0;
    float f = 0;
    double x = 0;
    LONGLONG ll = 0;
    ULONGLONG ull = 0;
    EXPECT_EQ(Load(dir, expected,
                   [&](CArchive& ar) {
                       ar >> b >> c >> w >> s >> i >> u >> l32 >> d >> l >> ul >> f >> x >> ll >>
                           ull;
                   }),
              -1);
    EXPECT_EQ(b, 0xAB);
    EXPECT_EQ(c, -2);
    EXPECT_EQ(w, 0x1234);
    EXPECT_EQ(s, -3);
    EXPECT_EQ(i, -4);
    EXPECT_EQ(u, 0x89ABCDEFu);
    EXPECT_EQ(l32, 0x01020304);
    EXPECT_EQ(d, 0xCAFEBABEu);
    EXPECT_EQ(l, 0x55667788L);
    EXPECT_EQ(ul, 1ul);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(x, -2.0);
    EXPECT_EQ(ll, -2);
    EXPECT_EQ(ull, 0x0102030405060708ull);

    // A 32-bit long field is sign-extended into long, zero-extended into
    // unsigned long.
    const std::vector<BYTE> allOnes = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(Load(dir, allOnes, [&](CArchive& ar) { ar >> l >> ul; }), -1);
    EXPECT_EQ(l, -1L);
    EXPECT_EQ(ul, 0xFFFFFFFFul);
}

TEST(CArchive, StringLengthPrefixes) {
    TempDir dir;
    struct Case {
        int length;
        std::vector<BYTE> prefix;
    };
    const Case cases[] = {
        {0, {0x00}},
        {254, {0xFE}},
        {255, {0xFF, 0xFF, 0x00}},
        {0xFFFD, {0xFF, 0xFD, 0xFF}},
        // 0xFFFE is the marker of a wide string, so it takes the long form.
        {0xFFFE, {0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0x00}},
        {70000, {0xFF, 0xFF, 0xFF, 0x70, 0x11, 0x01, 0x00}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        std::string text(static_cast<std::size_t>(c.length), 'a');
        for (std::size_t k = 0; k < text.size(); k += 7) text[k] = static_cast<char>('0' + k % 10);
        const CString original(text.data(), c.length);
        // A small buffer makes the string cross many refills.
        const std::vector<BYTE> bytes = Store(dir, [&](CArchive& ar) { ar << original; }, 128);
        ASSERT_EQ(bytes.size(), c.prefix.size() + text.size());
        EXPECT_TRUE(std::equal(c.prefix.begin(), c.prefix.end(), bytes.begin()));
        EXPECT_EQ(0, std::memcmp(bytes.data() + c.prefix.size(), text.data(), text.size()));

        CString loaded("old");
        EXPECT_EQ(Load(dir, bytes, [&](CArchive& ar) { ar >> loaded; }, 128), -1);
        EXPECT_TRUE(loaded == original);
    }

    // Literals and embedded zeros go through as CStrings.
    const std::vector<BYTE> bytes = Store(dir, [](CArchive& ar) {
        ar << "hi";
        ar << CString("a\0b", 3);
    });
    EXPECT_EQ(bytes, (std::vector<BYTE>{2, 'h', 'i', 3, 'a', 0, 'b'}));
}

TEST(CArchive, WideStringsLoadAsUtf8) {
    TempDir dir;
    // "hé", U+1F600 as a surrogate pair, then an unpaired high surrogate.
    const std::vector<BYTE> wide = {0xFF, 0xFE, 0xFF, 0x05, 'h',  0x00, 0xE9,
                                    0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x3D, 0xD8};
    CString text;
    EXPECT_EQ(Load(dir, wide, [&](CArchive& ar) { ar >> text; }), -1);
    EXPECT_STREQ(text.GetString(), "h\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBD");

    // A wide string whose length takes the WORD form.
    std::vector<BYTE> longer = {0xFF, 0xFE, 0xFF, 0xFF, 0x2C, 0x01};
    for (int k = 0; k < 300; ++k) longer.insert(longer.end(), {'w', 0});
    EXPECT_EQ(Load(dir, longer, [&](CArchive& ar) { ar >> text; }), -1);
    EXPECT_EQ(text.GetLength(), 300);
    EXPECT_EQ(text.Find("ww"), 0);
}

TEST(CArchive, ShortDataThrowsEndOfFileByPointer) {
    TempDir dir;
    const std::vector<BYTE> three = {1, 2, 3};
    DWORD d = 0;
    EXPECT_EQ(Load(dir, three, [&](CArchive& ar) { ar >> d; }), CArchiveException::endOfFile);
    WORD w = 0;
    BYTE b = 0;
    EXPECT_EQ(Load(dir, three, [&](CArchive& ar) { ar >> w >> b >> b; }),
              CArchiveException::endOfFile);
    EXPECT_EQ(w, 0x0201);
    EXPECT_EQ(Load(dir, {}, [&](CArchive& ar) { ar >> b; }), CArchiveException::endOfFile);

    // Read itself reports short counts instead of throwing.
    EXPECT_EQ(Load(dir, three,
                   [&](CArchive& ar) {
                       BYTE buffer[10] = {};
                       EXPECT_EQ(ar.Read(buffer, 10), 3u);
                       EXPECT_EQ(buffer[2], 3);
                       EXPECT_EQ(ar.Read(buffer, 10), 0u);
                       EXPECT_EQ(ar.Read(buffer, 0), 0u);
                   }),
              -1);

    CString text;
    EXPECT_EQ(Load(dir, {10, 'a', 'b'}, [&](CArchive& ar) { ar >> text; }),
              CArchiveException::endOfFile);
    EXPECT_EQ(Load(dir, {0xFF, 0x00}, [&](CArchive& ar) { ar >> text; }),
              CArchiveException::endOfFile);
    // A damaged length near 2 GB runs into the end of the file, not into a
    // 2 GB allocation.
    EXPECT_EQ(Load(dir, {0xFF, 0xFF, 0xFF, 0xF0, 0xFF, 0xFF, 0x7F, 'x'},
                   [&](CArchive& ar) { ar >> text; }),
              CArchiveException::endOfFile);
    // Lengths no CString can hold are a format error.
    EXPECT_EQ(Load(dir, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80, 0, 0, 0, 0},
                   [&](CArchive& ar) { ar >> text; }),
              CArchiveException::badIndex);
    EXPECT_EQ(Load(dir, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                         0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                   [&](CArchive& ar) { ar >> text; }),
              CArchiveException::badIndex);

    // The exception names the file and explains itself.
    const std::string path = dir.File("short.bin");
    WriteAll(path, three);
    CFile file(path.c_str(), CFile::modeRead);
    CArchive ar(&file, CArchive::load);
    try {
        ar >> d;
        ADD_FAILURE() << "no exception";
    } catch (CArchiveException* e) {
        EXPECT_EQ(std::string(e->m_strFileName.GetString()), path);
        char message[256];
        EXPECT_TRUE(e->GetErrorMessage(message, sizeof message));
        EXPECT_NE(std::string(message).find(path), std::string::npos);
        e->Delete();
    }
}

TEST(CArchive, MisuseThrowsTheMatchingCause) {
    TempDir dir;
    const std::string path = dir.File("misuse.bin");
    CFile file(path.c_str(), CFile::modeCreate | CFile::modeReadWrite);
    BYTE b = 0;
    {
        CArchive storing(&file, CArchive::store);
        EXPECT_TRUE(storing.IsStoring());
        EXPECT_FALSE(storing.IsLoading());
        EXPECT_EQ(CauseOf([&] { storing >> b; }), CArchiveException::writeOnly);
        EXPECT_EQ(CauseOf([&] { storing.Read(&b, 1); }), CArchiveException::writeOnly);
        storing.Close();
        EXPECT_EQ(storing.GetFile(), nullptr);
        EXPECT_EQ(CauseOf([&] { storing << b; }), CArchiveException::genericException);
        EXPECT_EQ(CauseOf([&] { storing.Flush(); }), CArchiveException::genericException);
        storing.Close();  // closing twice is harmless
    }
    {
        CArchive loading(&file, CArchive::load);
        EXPECT_TRUE(loading.IsLoading());
        EXPECT_EQ(CauseOf([&] { loading << b; }), CArchiveException::readOnly);
        EXPECT_EQ(CauseOf([&] { loading.Write(&b, 1); }), CArchiveException::readOnly);
        loading.Abort();
        EXPECT_EQ(CauseOf([&] { loading >> b; }), CArchiveException::genericException);
    }
    CArchive detached(nullptr, CArchive::load);
    EXPECT_EQ(CauseOf([&] { detached >> b; }), CArchiveException::genericException);
    // Closing an archive leaves its file open.
    EXPECT_TRUE(file.IsOpen());
}

TEST(CArchive, BufferingIsInvisible) {
    TempDir dir;
    const std::string path = dir.File("buffered.bin");
    std::vector<BYTE> big(1000);
    for (std::size_t k = 0; k < big.size(); ++k) big[k] = static_cast<BYTE>(k * 7);
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeReadWrite);
        {
            CArchive ar(&file, CArchive::store, 128);
            ar << DWORD{0x01020304};
            // GetFile hands over a file that already holds everything stored.
            EXPECT_EQ(ar.GetFile()->GetLength(), 4u);
            ar.GetFile()->Write("\xAA", 1);
            ar << WORD{0x0506};
            ar.Write(big.data(), 100);   // fits the buffer
            ar.Write(big.data(), 1000);  // larger than the buffer
            ar << BYTE{0xEE};
            // No Close: the destructor must flush.
        }
        EXPECT_EQ(file.GetLength(), 4u + 1 + 2 + 100 + 1000 + 1);

        file.SeekToBegin();
        CArchive ar(&file, CArchive::load, 128);
        DWORD d = 0;
        ar >> d;
        EXPECT_EQ(d, 0x01020304u);
        // The file's position follows the archive, not its read-ahead.
        EXPECT_EQ(ar.GetFile()->GetPosition(), 4u);
        BYTE marker = 0;
        EXPECT_EQ(ar.GetFile()->Read(&marker, 1), 1u);
        EXPECT_EQ(marker, 0xAA);
        WORD w = 0;
        ar >> w;
        EXPECT_EQ(w, 0x0506);
        std::vector<BYTE> back(1100);
        EXPECT_EQ(ar.Read(back.data(), 1100), 1100u);
        EXPECT_TRUE(std::equal(big.begin(), big.begin() + 100, back.begin()));
        EXPECT_TRUE(std::equal(big.begin(), big.end(), back.begin() + 100));
        BYTE last = 0;
        ar >> last;
        EXPECT_EQ(last, 0xEE);
        EXPECT_TRUE(ar.IsBufferEmpty());
        ar.Close();
        EXPECT_EQ(file.GetPosition(), file.GetLength());
    }

    // Abort drops what was not flushed; bNoFlushOnDelete skips the flush.
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        CArchive aborted(&file, CArchive::store);
        aborted << DWORD{1};
        aborted.Abort();
        CArchive noFlush(&file, CArchive::store | CArchive::bNoFlushOnDelete);
        noFlush << DWORD{2};
    }
    EXPECT_TRUE(ReadAll(path).empty());
}

// A file whose writes always fail, as on a full disk.
class FullFile : public CFile {
public:
    void Write(const void*, UINT) override { throw new CFileException(CFileException::diskFull); }
};

TEST(CArchive, FailedFlushesAreReportedOnceAndNotFromTheDestructor) {
    TempDir dir;
    FullFile file;
    ASSERT_TRUE(file.Open(dir.File("full.bin").c_str(), CFile::modeCreate | CFile::modeWrite));
    {
        CArchive ar(&file, CArchive::store);
        ar << DWORD{1};
        int cause = -1;
        try {
            ar.Close();
        } catch (CFileException* e) {
            cause = e->m_cause;
            e->Delete();
        }
        EXPECT_EQ(cause, CFileException::diskFull);
        EXPECT_EQ(ar.GetFile(), nullptr);
        ar.Close();
    }
    {
        CArchive ar(&file, CArchive::store);
        ar << DWORD{2};
        // The destructor swallows (and frees) the exception.
    }
}

}  // namespace
