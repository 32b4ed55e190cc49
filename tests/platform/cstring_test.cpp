#include "platform/cstring.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

namespace {

std::string str(const CString& s) { return std::string(s.GetString(), s.GetLength()); }

TEST(CString, ConstructionKeepsLengthsAndTreatsNullAsEmpty) {
    EXPECT_TRUE(CString().IsEmpty());
    EXPECT_TRUE(CString(static_cast<LPCTSTR>(nullptr)).IsEmpty());
    EXPECT_EQ(CString(nullptr, 4).GetLength(), 0);
    EXPECT_EQ(CString("abc", -1).GetLength(), 0);
    // A counted constructor copies exactly that many bytes, zeros included.
    const CString counted("ab\0cd", 5);
    EXPECT_EQ(counted.GetLength(), 5);
    EXPECT_EQ(str(counted), std::string("ab\0cd", 5));
    EXPECT_EQ(str(CString('x', 3)), "xxx");
    EXPECT_TRUE(CString('x', 0).IsEmpty());
    EXPECT_TRUE(CString('x', -2).IsEmpty());

    CString source("moved");
    CString target(std::move(source));
    EXPECT_EQ(str(target), "moved");
    EXPECT_TRUE(source.IsEmpty());  // NOLINT(bugprone-use-after-move): the state is promised
    source = std::move(target);
    EXPECT_EQ(str(source), "moved");
    EXPECT_TRUE(target.IsEmpty());  // NOLINT(bugprone-use-after-move)

    CString s = "abc";
    s = s.GetString() + 1;  // assigning from its own buffer
    EXPECT_EQ(str(s), "bc");
    s = 'z';
    EXPECT_EQ(str(s), "z");
    s.Empty();
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_STREQ(static_cast<LPCTSTR>(s), "");
}

TEST(CString, OutOfRangeArgumentsAreClamped) {
    const CString s("hello");
    EXPECT_EQ(str(s.Left(-1)), "");
    EXPECT_EQ(str(s.Left(2)), "he");
    EXPECT_EQ(str(s.Left(99)), "hello");
    EXPECT_EQ(str(s.Right(-1)), "");
    EXPECT_EQ(str(s.Right(2)), "lo");
    EXPECT_EQ(str(s.Right(99)), "hello");
    EXPECT_EQ(str(s.Mid(-3)), "hello");
    EXPECT_EQ(str(s.Mid(3)), "lo");
    EXPECT_EQ(str(s.Mid(5)), "");
    EXPECT_EQ(str(s.Mid(99)), "");
    EXPECT_EQ(str(s.Mid(1, 3)), "ell");
    EXPECT_EQ(str(s.Mid(2, 99)), "llo");
    EXPECT_EQ(str(s.Mid(-2, 3)), "hel");
    EXPECT_EQ(str(s.Mid(1, -1)), "");
    EXPECT_EQ(str(s.Mid(INT_MAX, INT_MAX)), "");
    EXPECT_EQ(str(s.Mid(1, INT_MAX)), "ello");

    EXPECT_EQ(s.GetAt(0), 'h');
    EXPECT_EQ(s.GetAt(-1), '\0');
    EXPECT_EQ(s.GetAt(5), '\0');
    EXPECT_EQ(s[std::size_t{4}], 'o');
    EXPECT_EQ(s[INT_PTR{5}], '\0');
    EXPECT_EQ(s[-1], '\0');

    CString t("abc");
    t.SetAt(1, 'X');
    t.SetAt(-1, 'Y');
    t.SetAt(3, 'Z');
    EXPECT_EQ(str(t), "aXc");
    EXPECT_STREQ(t.GetString(), "aXc");  // the terminating zero is intact
}

TEST(CString, FindAndReverseFind) {
    const CString s("abcabc");
    EXPECT_EQ(s.Find('b'), 1);
    EXPECT_EQ(s.Find('b', 2), 4);
    EXPECT_EQ(s.Find('b', 5), -1);
    EXPECT_EQ(s.Find('b', -1), -1);
    EXPECT_EQ(s.Find('b', 6), -1);
    EXPECT_EQ(s.Find('z'), -1);
    EXPECT_EQ(s.Find("ca"), 2);
    EXPECT_EQ(s.Find("bc", 2), 4);
    EXPECT_EQ(s.Find("abcd"), -1);
    EXPECT_EQ(s.Find(""), 0);
    EXPECT_EQ(s.Find("", 6), 6);
    EXPECT_EQ(s.Find("a", 7), -1);
    EXPECT_EQ(s.Find(static_cast<LPCTSTR>(nullptr)), -1);
    EXPECT_EQ(s.ReverseFind('a'), 3);
    EXPECT_EQ(s.ReverseFind('z'), -1);
    EXPECT_EQ(CString().ReverseFind('a'), -1);
}

TEST(CString, ComparisonsAreBytewise) {
    const CString a("apple");
    const CString b("banana");
    EXPECT_TRUE(a == "apple");
    EXPECT_TRUE("apple" == a);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a != "apples");
    EXPECT_TRUE(a < b);
    EXPECT_TRUE("aardvark" < a);
    EXPECT_TRUE(b > "apple");
    EXPECT_TRUE(a <= "apple");
    EXPECT_LT(a.Compare("b"), 0);
    EXPECT_GT(a.Compare("app"), 0);
    EXPECT_EQ(a.Compare("apple"), 0);
    EXPECT_EQ(CString().Compare(nullptr), 0);
    // Bytes above 0x7F sort after ASCII, as with strcmp.
    EXPECT_GT(CString("\xE9").Compare("z"), 0);
    EXPECT_TRUE(CString("z") < CString("\xE9"));
    // The counted length takes part: "a\0" differs from "a".
    EXPECT_FALSE(CString("a\0", 2) == CString("a"));

    EXPECT_EQ(CString("Hello").CompareNoCase("hELLO"), 0);
    EXPECT_LT(CString("abc").CompareNoCase("ABD"), 0);
    EXPECT_GT(CString("abcd").CompareNoCase("ABC"), 0);
    // Folding is to lower case, so '_' (0x5F) sorts before 'A'.
    EXPECT_LT(CString("_").CompareNoCase("A"), 0);
    EXPECT_NE(CString("\xC9").CompareNoCase("\xE9"), 0);  // non-ASCII is not folded
}

TEST(CString, Concatenation) {
    CString s("ab");
    s += 'c';
    s += static_cast<LPCTSTR>(nullptr);
    s += s;  // appending itself
    EXPECT_EQ(str(s), "abcabc");
    const CString x("x");
    EXPECT_EQ(str("y" + x + 'z' + CString("!")), "yxz!");
}

TEST(CString, CaseTrimAndReplace) {
    CString s("Mixed Case \xE9t\xC9");
    s.MakeUpper();
    EXPECT_EQ(str(s), "MIXED CASE \xE9T\xC9");
    s.MakeLower();
    EXPECT_EQ(str(s), "mixed case \xE9t\xC9");
    EXPECT_EQ(str(CString("abc").MakeReverse()), "cba");

    EXPECT_EQ(str(CString(" \t\r\n text \v\f").Trim()), "text");
    EXPECT_EQ(str(CString("  left  ").TrimLeft()), "left  ");
    EXPECT_EQ(str(CString("  right  ").TrimRight()), "  right");
    EXPECT_EQ(str(CString(" \t ").Trim()), "");
    EXPECT_EQ(str(CString("xxhixx").Trim('x')), "hi");
    EXPECT_EQ(str(CString("xxxx").TrimRight('x')), "");
    EXPECT_EQ(str(CString("-=a=-").Trim("=-")), "a");
    EXPECT_EQ(str(CString("ab").Trim("")), "ab");
    EXPECT_EQ(str(CString("ab").TrimLeft(static_cast<LPCTSTR>(nullptr))), "ab");

    CString r("a.b.c");
    EXPECT_EQ(r.Replace('.', '/'), 2);
    EXPECT_EQ(str(r), "a/b/c");
    EXPECT_EQ(r.Replace('/', '/'), 0);
    EXPECT_EQ(r.Replace("/", "::"), 2);
    EXPECT_EQ(str(r), "a::b::c");
    EXPECT_EQ(r.Replace("::", ""), 2);
    EXPECT_EQ(str(r), "abc");
    EXPECT_EQ(r.Replace("", "x"), 0);
    EXPECT_EQ(r.Replace(nullptr, "x"), 0);
    EXPECT_EQ(r.Replace("b", nullptr), 1);
    EXPECT_EQ(str(r), "ac");

    // Matches do not overlap and are taken from the left.
    CString a("aaaaa");
    EXPECT_EQ(a.Replace("aa", "b"), 2);
    EXPECT_EQ(str(a), "bba");
    // The replacement may come from the string itself.
    CString self("ab");
    EXPECT_EQ(self.Replace("a", self.GetString()), 1);
    EXPECT_EQ(str(self), "abb");
}

TEST(CString, FormatHasNoLengthLimit) {
    CString s;
    s.Format("%d-%s-%c-%.2f", 42, "text", 'q', 1.5);
    EXPECT_EQ(str(s), "42-text-q-1.50");

    const std::string wide(5000, 'w');
    s.Format("[%s]", wide.c_str());
    EXPECT_EQ(s.GetLength(), 5002);
    EXPECT_EQ(str(s), "[" + wide + "]");

    s = "start";
    s.AppendFormat(" %04x", 0xBEEF);
    EXPECT_EQ(str(s), "start beef");
    s.AppendFormat("%s", wide.c_str());
    EXPECT_EQ(s.GetLength(), 10 + 5000);

    // The arguments may be the string being formatted.
    CString echo("echo");
    echo.Format("%s+%s", echo.GetString(), static_cast<LPCTSTR>(echo));
    EXPECT_EQ(str(echo), "echo+echo");
    echo.AppendFormat("/%s", echo.GetString());
    EXPECT_EQ(str(echo), "echo+echo/echo+echo");
    echo.Format(nullptr);
    EXPECT_TRUE(echo.IsEmpty());
}

TEST(CString, BufferAccess) {
    CString s("abc");
    char* buffer = s.GetBuffer(10);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    std::snprintf(buffer, 11, "0123456789");  // n characters and the zero fit
    s.ReleaseBuffer();
    EXPECT_EQ(str(s), "0123456789");

    buffer = s.GetBuffer(0);  // never shrinks
    EXPECT_EQ(std::string(buffer), "0123456789");
    buffer[4] = '\0';
    s.ReleaseBuffer();
    EXPECT_EQ(str(s), "0123");

    s.GetBuffer(8);
    s.ReleaseBuffer(2);
    EXPECT_EQ(str(s), "01");
    s.GetBuffer();
    s.ReleaseBuffer(99);  // clamped to the buffer
    EXPECT_EQ(str(s), "01");

    buffer = s.GetBufferSetLength(4);
    buffer[2] = 'x';
    buffer[3] = 'y';
    EXPECT_EQ(s.GetLength(), 4);
    EXPECT_EQ(str(s), std::string("01xy"));
    s.ReleaseBufferSetLength(3);
    EXPECT_EQ(str(s), "01x");
    s.GetBufferSetLength(-5);
    EXPECT_TRUE(s.IsEmpty());
}

}  // namespace
