// The in-process clipboard and the window stand-ins.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "platform/global_memory.h"
#include "platform/user.h"

TEST(Clipboard, RoundTripAndOwnership) {
    // Closed: nothing works.
    EXPECT_FALSE(EmptyClipboard());
    EXPECT_EQ(GetClipboardData(CF_DIB), nullptr);
    HGLOBAL block = GlobalAlloc(GPTR, 16);
    std::memcpy(block, "vellum", 7);
    EXPECT_EQ(SetClipboardData(CF_DIB, block), nullptr);  // still ours then
    EXPECT_FALSE(CloseClipboard());

    CWnd window(reinterpret_cast<HWND>(0x10));
    ASSERT_TRUE(OpenClipboard(window));
    EXPECT_TRUE(OpenClipboard(window));  // the same owner again
    EXPECT_FALSE(OpenClipboard(reinterpret_cast<HWND>(0x20)));
    bool otherThread = true;
    std::thread([&] { otherThread = OpenClipboard(window); }).join();
    EXPECT_FALSE(otherThread);
    ASSERT_TRUE(EmptyClipboard());
    EXPECT_EQ(SetClipboardData(CF_DIB, block), block);  // now the clipboard's
    // Setting the format again frees the previous block.
    HGLOBAL second = GlobalAlloc(GPTR, 8);
    std::memcpy(second, "second", 7);
    EXPECT_EQ(SetClipboardData(CF_DIB, second), second);
    EXPECT_TRUE(CloseClipboard());
    EXPECT_TRUE(IsClipboardFormatAvailable(CF_DIB));
    EXPECT_FALSE(IsClipboardFormatAvailable(CF_TEXT));

    ASSERT_TRUE(OpenClipboard(nullptr));
    void* got = GetClipboardData(CF_DIB);
    ASSERT_EQ(got, second);
    EXPECT_STREQ(static_cast<const char*>(GlobalLock(got)), "second");
    EXPECT_EQ(GetClipboardData(CF_TEXT), nullptr);
    EXPECT_TRUE(EmptyClipboard());  // frees the block
    EXPECT_EQ(GetClipboardData(CF_DIB), nullptr);
    EXPECT_TRUE(CloseClipboard());
    EXPECT_FALSE(IsClipboardFormatAvailable(CF_DIB));
}

TEST(Windows, TheThreadsMainWindow) {
    EXPECT_EQ(AfxGetMainWnd(), nullptr);
    CWnd main(reinterpret_cast<HWND>(0x42));
    AfxGetThread()->m_pMainWnd = &main;
    EXPECT_EQ(AfxGetThread()->GetMainWnd()->GetSafeHwnd(), reinterpret_cast<HWND>(0x42));
    CWnd* other = &main;
    std::thread([&] { other = AfxGetMainWnd(); }).join();
    EXPECT_EQ(other, nullptr);  // each thread has its own thread object
    AfxGetThread()->m_pMainWnd = nullptr;
}
