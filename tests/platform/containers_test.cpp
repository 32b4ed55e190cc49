#include "platform/containers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "temp_dir.h"

namespace {

using platform_test::ReadAll;
using platform_test::TempDir;
using platform_test::WriteAll;

std::vector<int> Values(const CArray<int, int>& a) {
    return std::vector<int>(a.GetData(), a.GetData() + a.GetSize());
}

TEST(CArray, GrowsShrinksAndShifts) {
    CArray<int, int> a;
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_EQ(a.GetUpperBound(), -1);
    EXPECT_EQ(a.Add(10), 0);
    EXPECT_EQ(a.Add(20), 1);
    EXPECT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a.GetCount(), 2);
    EXPECT_EQ(a.GetUpperBound(), 1);

    // Past the end, SetAtGrow fills the gap with zeros.
    a.SetAtGrow(4, 50);
    EXPECT_EQ(Values(a), (std::vector<int>{10, 20, 0, 0, 50}));
    a.SetAt(2, 30);
    a.ElementAt(3) = 40;
    a[0] = 11;
    EXPECT_EQ(a.GetAt(3), 40);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 20, 30, 40, 50}));

    a.InsertAt(1, 15, 2);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 15, 15, 20, 30, 40, 50}));
    a.InsertAt(7, 60);   // at the end
    a.InsertAt(10, 90);  // past the end: grows with zeros first
    EXPECT_EQ(Values(a), (std::vector<int>{11, 15, 15, 20, 30, 40, 50, 60, 0, 0, 90}));
    a.InsertAt(0, 99, 0);  // nothing to insert
    EXPECT_EQ(a.GetSize(), 11);

    a.RemoveAt(1, 2);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 20, 30, 40, 50, 60, 0, 0, 90}));
    a.RemoveAt(8);
    a.RemoveAt(6, 2);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 20, 30, 40, 50, 60}));
    a.RemoveAt(6, 0);  // an empty range at the end is fine

    a.SetSize(3);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 20, 30}));
    a.SetSize(5, 16);
    EXPECT_EQ(Values(a), (std::vector<int>{11, 20, 30, 0, 0}));
    a.RemoveAll();
    EXPECT_TRUE(a.IsEmpty());
}

TEST(CArray, CopyAppendAndInsertMayUseThemselves) {
    CArray<int, int> a;
    for (int i = 1; i <= 3; ++i) a.Add(i);
    CArray<int, int> b;
    b.Add(9);
    EXPECT_EQ(b.Append(a), 1);
    EXPECT_EQ(Values(b), (std::vector<int>{9, 1, 2, 3}));
    EXPECT_EQ(a.Append(a), 3);
    EXPECT_EQ(Values(a), (std::vector<int>{1, 2, 3, 1, 2, 3}));
    b.Copy(a);
    EXPECT_EQ(Values(b), Values(a));
    b.Copy(b);
    EXPECT_EQ(Values(b), Values(a));

    CArray<int, int> c;
    c.Add(7);
    c.Add(8);
    a.InsertAt(1, &c);
    EXPECT_EQ(Values(a), (std::vector<int>{1, 7, 8, 2, 3, 1, 2, 3}));
    c.InsertAt(1, &c);
    EXPECT_EQ(Values(c), (std::vector<int>{7, 7, 8, 8}));
    c.InsertAt(6, &c);
    EXPECT_EQ(Values(c), (std::vector<int>{7, 7, 8, 8, 0, 0, 7, 7, 8, 8}));

    // Elements passed by reference survive the reallocation they cause.
    CArray<std::string> s;
    s.Add("first, and long enough not to fit in a small string");
    for (int i = 0; i < 100; ++i) s.Add(s[0]);
    s.InsertAt(0, s[50], 3);
    s.SetAtGrow(200, s[0]);
    EXPECT_EQ(s.GetSize(), 201);
    EXPECT_EQ(s[200], s[1]);
    EXPECT_EQ(s[100], "first, and long enough not to fit in a small string");
    EXPECT_EQ(s[150], "");
}

TEST(CArray, OutOfRangeAssertsInDebugAndNeverWritesOutside) {
    CArray<int, int> a;
    a.Add(1);
    a.Add(2);
    EXPECT_DEBUG_DEATH(a.SetAt(2, 5), "out of range");
    EXPECT_DEBUG_DEATH(a.SetAt(-1, 5), "out of range");
    EXPECT_DEBUG_DEATH(a.RemoveAt(1, 2), "out of range");
    EXPECT_DEBUG_DEATH(a.RemoveAt(-1), "out of range");
    EXPECT_DEBUG_DEATH(a.InsertAt(-1, 5), "out of range");
    EXPECT_DEBUG_DEATH(a.SetSize(-1), "out of range");
    EXPECT_DEBUG_DEATH(a.SetAtGrow(-3, 5), "out of range");
    EXPECT_DEBUG_DEATH(a[2] = 7, "out of range");
    EXPECT_DEBUG_DEATH(a.ElementAt(-1) = 7, "out of range");
    // Builds without assertions get here with the array untouched.
    EXPECT_EQ(Values(a), (std::vector<int>{1, 2}));
}

TEST(CArray, GrowthBeyondTheThirtyTwoBitHeapThrows) {
    CArray<DWORD, DWORD> a;
    a.Add(1);
    auto expectMemoryException = [&](auto&& grow) {
        bool thrown = false;
        try {
            grow();
        } catch (CMemoryException* e) {
            thrown = true;
            e->Delete();
        }
        EXPECT_TRUE(thrown);
        EXPECT_EQ(a.GetSize(), 1);
        EXPECT_EQ(a[0], 1u);
    };
    expectMemoryException([&] { a.SetSize(INT_PTR{1} << 29); });  // exactly 2^31 bytes
    expectMemoryException([&] { a.SetAtGrow(INTPTR_MAX, 5); });
    expectMemoryException([&] { a.InsertAt(INTPTR_MAX - 1, 5, 2); });
    expectMemoryException([&] { a.InsertAt(0, 5, INTPTR_MAX); });
}

TEST(CDWordArray, SerializeWritesCountAndLittleEndianValues) {
    TempDir dir;
    const std::string path = dir.File("array.bin");
    CDWordArray out;
    out.Add(0x11223344u);
    out.Add(0u);
    out.Add(0xFFFFFFFEu);
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        CArchive ar(&file, CArchive::store);
        out.Serialize(ar);
    }
    EXPECT_EQ(ReadAll(path), (std::vector<BYTE>{3, 0, 0x44, 0x33, 0x22, 0x11, 0, 0, 0, 0,
                                                0xFE, 0xFF, 0xFF, 0xFF}));
    // 0xFFFF elements and more: the escape, then a DWORD count.
    CDWordArray big;
    big.SetSize(0x10000);
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        CArchive ar(&file, CArchive::store);
        big.Serialize(ar);
    }
    const auto bigBytes = ReadAll(path);
    ASSERT_EQ(bigBytes.size(), 6u + 4u * 0x10000);
    EXPECT_EQ((std::vector<BYTE>(bigBytes.begin(), bigBytes.begin() + 6)),
              (std::vector<BYTE>{0xFF, 0xFF, 0, 0, 1, 0}));
    {
        CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        CArchive ar(&file, CArchive::store);
        out.Serialize(ar);
    }

    CDWordArray in;
    in.Add(77);  // replaced by the loaded contents
    {
        CFile file(path.c_str(), CFile::modeRead);
        CArchive ar(&file, CArchive::load);
        in.Serialize(ar);
    }
    ASSERT_EQ(in.GetSize(), 3);
    EXPECT_EQ(in[0], 0x11223344u);
    EXPECT_EQ(in[1], 0u);
    EXPECT_EQ(in[2], 0xFFFFFFFEu);
}

TEST(CDWordArray, DamagedDataLeavesTheArrayAlone) {
    TempDir dir;
    const std::string path = dir.File("damaged.bin");
    auto load = [&](const std::vector<BYTE>& bytes) {
        WriteAll(path, bytes);
        CDWordArray a;
        a.Add(5);
        int cause = -1;
        try {
            CFile file(path.c_str(), CFile::modeRead);
            CArchive ar(&file, CArchive::load);
            a.Serialize(ar);
        } catch (CArchiveException* e) {
            cause = e->m_cause;
            e->Delete();
        }
        EXPECT_EQ(a.GetSize(), 1);
        EXPECT_EQ(a[0], 5u);
        return cause;
    };
    EXPECT_EQ(load({2, 0, 1, 0, 0, 0, 2, 0}), CArchiveException::endOfFile);
    EXPECT_EQ(load({0}), CArchiveException::endOfFile);
    EXPECT_EQ(load({0xFF, 0xFF, 0}), CArchiveException::endOfFile);
    // A count of 2^28 with no data behind it ends at the end of the file.
    EXPECT_EQ(load({0xFF, 0xFF, 0, 0, 0, 0x10}), CArchiveException::endOfFile);
    // More elements than a 32-bit process could hold.
    EXPECT_EQ(load({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), CArchiveException::badIndex);
}

}  // namespace
