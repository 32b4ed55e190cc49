#include "codec/memfile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

TEST(CxMemFile, GrowingFile) {
    CxMemFile f;
    EXPECT_EQ(f.Size(), 0);
    EXPECT_TRUE(f.Eof());
    const char text[] = "abcdef";
    EXPECT_EQ(f.Write(text, 2, 3), 3u);
    EXPECT_EQ(f.Tell(), 6);
    EXPECT_TRUE(f.Seek(10, SEEK_SET));  // past the end: the gap reads as zero
    EXPECT_TRUE(f.PutC('z'));
    EXPECT_EQ(f.Size(), 11);
    EXPECT_TRUE(f.Seek(-6, SEEK_END));
    EXPECT_EQ(f.GetC(), 'f');
    EXPECT_EQ(f.GetC(), 0);
    EXPECT_FALSE(f.Seek(-100, SEEK_CUR));
    EXPECT_EQ(f.Tell(), 7);
    EXPECT_TRUE(f.Seek(0, SEEK_SET));
    char buf[8] = {};
    // Whole items only: 11 bytes hold two items of 4.
    EXPECT_EQ(f.Read(buf, 4, 5), 2u);
    EXPECT_EQ(std::string(buf, 4), "abcd");
    EXPECT_EQ(f.Tell(), 8);
    EXPECT_FALSE(f.Eof());
    EXPECT_TRUE(f.Seek(0, SEEK_END));
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(f.GetC(), -1);
    EXPECT_EQ(f.Error(), 0);
    EXPECT_TRUE(f.Flush());
    BYTE* data = f.GetBuffer(true);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data[10], 'z');
    std::free(data);
    EXPECT_EQ(f.Size(), 0);
    EXPECT_TRUE(f.Close());
    EXPECT_EQ(f.Write(text, 1, 1), 0u);
    EXPECT_EQ(f.GetC(), -1);
    EXPECT_EQ(f.Error(), 1);
    EXPECT_TRUE(f.Open());
    EXPECT_TRUE(f.PutC('q'));
}

TEST(CxMemFile, CallersBufferNeverGrows) {
    BYTE buf[5] = {1, 2, 3, 4, 5};
    {
        CxMemFile f(buf, sizeof buf);
        EXPECT_EQ(f.Size(), 5);
        EXPECT_EQ(f.GetC(), 1);
        const BYTE more[6] = {9, 9, 9, 9, 9, 9};
        EXPECT_EQ(f.Write(more, 1, 6), 4u);  // cut at the end
        EXPECT_EQ(f.Error(), 1);
        EXPECT_EQ(f.Size(), 5);
        EXPECT_EQ(f.GetBuffer(true), buf);  // not detached: the caller's
    }
    EXPECT_EQ(buf[0], 1);
    EXPECT_EQ(buf[4], 9);
}

}  // namespace
