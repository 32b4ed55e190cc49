#include "platform/messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/file.h"

namespace {

struct Shown {
    std::string text;
    UINT type;
};
std::vector<Shown> gShown;

int Record(const char* text, UINT type) {
    gShown.push_back({text, type});
    return IDCANCEL;
}

// Installs the recorder for one test and puts the previous handler back.
class MessageBoxTest : public ::testing::Test {
protected:
    void SetUp() override {
        gShown.clear();
        m_previous = VellumSetMessageHandler(&Record);
    }
    void TearDown() override { EXPECT_EQ(VellumSetMessageHandler(m_previous), &Record); }

    VellumMessageHandler m_previous = nullptr;
};

TEST(Messages, StringTable) {
    EXPECT_STREQ(VellumLoadString(IDS_NO_ENOUGH_MEMORY),
                 "There is no enough memory.\nPlease close some programs or free some disk space "
                 "in swap disk.");
    EXPECT_STREQ(VellumLoadString(IDS_FILE_NOT_OPENED),
                 "File could not be opened.\nMake sure the special file exists and is openable.");
    EXPECT_STREQ(VellumLoadString(IDS_FILE_NOT_CREATED),
                 "File could not be created. Make sure the special file is written.");
    EXPECT_STREQ(VellumLoadString(IDS_NOT_BMP_FORMAT),
                 "The file is not bmp format. Could not open it.");
    EXPECT_STREQ(VellumLoadString(IDS_INVALID_PARAMETER), "The parameter is invalid.");
    EXPECT_EQ(VellumLoadString(0), nullptr);
    EXPECT_EQ(VellumLoadString(6), nullptr);
    EXPECT_EQ(VellumLoadString(0xFFFFFFFFu), nullptr);
}

TEST_F(MessageBoxTest, TextsGoToTheInstalledHandler) {
    EXPECT_EQ(AfxMessageBox(IDS_NOT_BMP_FORMAT, MB_ICONSTOP), IDCANCEL);
    EXPECT_EQ(AfxMessageBox("free text"), IDCANCEL);
    // An unknown id shows nothing.
    EXPECT_EQ(AfxMessageBox(UINT{42}), 0);
    EXPECT_EQ(AfxMessageBox(static_cast<LPCTSTR>(nullptr)), IDCANCEL);
    ASSERT_EQ(gShown.size(), 3u);
    EXPECT_EQ(gShown[0].text, "The file is not bmp format. Could not open it.");
    EXPECT_EQ(gShown[0].type, MB_ICONSTOP);
    EXPECT_EQ(gShown[1].text, "free text");
    EXPECT_EQ(gShown[1].type, MB_OK);
    EXPECT_EQ(gShown[2].text, "");

    // Exceptions report through the same handler.
    CFileException error(CFileException::fileNotFound, 2, "/no/such.bmp");
    EXPECT_EQ(error.ReportError(), IDCANCEL);
    ASSERT_EQ(gShown.size(), 4u);
    EXPECT_EQ(gShown[3].text, "/no/such.bmp was not found.");
    EXPECT_EQ(gShown[3].type, MB_ICONEXCLAMATION);
}

TEST_F(MessageBoxTest, NullRestoresTheDefaultHandlerWhichWritesToStandardError) {
    EXPECT_EQ(VellumSetMessageHandler(nullptr), &Record);
    testing::internal::CaptureStderr();
    EXPECT_EQ(AfxMessageBox(IDS_INVALID_PARAMETER), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "The parameter is invalid.\n");
    EXPECT_TRUE(gShown.empty());
    VellumSetMessageHandler(&Record);  // what TearDown expects to replace
}

}  // namespace
