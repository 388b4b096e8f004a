#include "device/ui/ui.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/api.h"

namespace device {
namespace {

class UiTest : public ::testing::Test {
 protected:
  UiTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_, ERROR_SUCCESS},
        ui_(context_) {
    ui_.SetOutput(&out_);
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  Ui ui_;
  std::ostringstream out_;
};

TEST_F(UiTest, WritesOneLineAndReturnsOk) {
  EXPECT_EQ(ui_.MessageBoxW(0, u"Logon failed", u"ERROR", MB_SETFOREGROUND),
            IDOK);
  EXPECT_EQ(out_.str(), "messagebox: ERROR: Logon failed\n");
}

TEST_F(UiTest, LineFeedsBecomeBackslashN) {
  EXPECT_EQ(ui_.MessageBoxW(0, u"first\nsecond\n", u"INFO", MB_OK), IDOK);
  EXPECT_EQ(out_.str(), "messagebox: INFO: first\\nsecond\\n\n");
}

TEST_F(UiTest, TextIsUtf8AndNullCaptionReadsError) {
  EXPECT_EQ(ui_.MessageBoxW(0, u"Gr\u00FC\u00DFe \u20AC", nullptr, MB_OK),
            IDOK);
  EXPECT_EQ(out_.str(),
            "messagebox: Error: Gr\xC3\xBC\xC3\x9F"
            "e \xE2\x82\xAC\n");
}

TEST_F(UiTest, KeptInTheImage) {
  ui_.MessageBoxW(0, u"a", u"ERROR", MB_SETFOREGROUND);
  ui_.MessageBoxW(0, u"b\nc", u"Mail", MB_OK);
  Statement rows = image_->Prepare(
      "SELECT sequence, caption, text, style FROM message_boxes "
      "ORDER BY sequence");
  ASSERT_TRUE(rows.Step());
  EXPECT_EQ(rows.Text(1), "ERROR");
  EXPECT_EQ(rows.Text(2), "a");
  EXPECT_EQ(rows.Int(3), 0x10000);
  std::int64_t first = rows.Int(0);
  ASSERT_TRUE(rows.Step());
  EXPECT_GT(rows.Int(0), first);
  EXPECT_EQ(rows.Text(2), "b\nc");
  EXPECT_FALSE(rows.Step());
}

TEST_F(UiTest, OtherButtonsAreNotImplemented) {
  constexpr UINT kYesNo = 0x4;
  EXPECT_EQ(ui_.MessageBoxW(0, u"Sure?", u"Q", kYesNo), 0);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
  EXPECT_EQ(out_.str(), "");
}

}  // namespace
}  // namespace device
