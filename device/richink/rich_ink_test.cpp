// The rich ink control through its API alone: window class, stream-in and
// stream-out through EDITSTREAM callbacks in chunks, and what is refused.
#include "device/richink/rich_ink.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "device/image/device_image.h"
#include "device/image/fault_set.h"
#include "device/image/handle_table.h"
#include "device/richink/pwi_writer.h"

namespace device {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr DWORD kUntouched = 0xBDBDBDBDU;

// What a callback saw and what it gives.
struct Source {
  explicit Source(Bytes bytes) : data(std::move(bytes)) {}
  Bytes data;
  std::size_t at = 0;
  std::vector<LONG> asked;
  DWORD failWith = 0;
};

struct Sink {
  Bytes data;
  std::vector<LONG> offered;
  LONG takeAtMost = 1 << 30;
  DWORD failWith = 0;
};

DWORD Give(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* source = reinterpret_cast<Source*>(cookie);
  source->asked.push_back(count);
  if (source->failWith != 0) return source->failWith;
  std::size_t size = std::min<std::size_t>(static_cast<std::size_t>(count),
                                           source->data.size() - source->at);
  std::memcpy(buffer, source->data.data() + source->at, size);
  source->at += size;
  *done = static_cast<LONG>(size);
  return 0;
}

DWORD Take(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* sink = reinterpret_cast<Sink*>(cookie);
  sink->offered.push_back(count);
  if (sink->failWith != 0) return sink->failWith;
  LONG size = std::min(count, sink->takeAtMost);
  sink->data.insert(sink->data.end(), buffer, buffer + size);
  *done = size;
  return 0;
}

Bytes Utf16(std::u16string_view text) {
  Bytes bytes;
  for (char16_t c : text) {
    bytes.push_back(static_cast<std::uint8_t>(c));
    bytes.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  return bytes;
}

class RichInkTest : public ::testing::Test {
 protected:
  RichInkTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_},
        control_(context_) {}

  HWND NewWindow(LPCWSTR className = u"RichInk") {
    return control_.CreateWindowExW(0, className, nullptr, 0x800, CW_USEDEFAULT,
                                    CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                    0, 0, 0, nullptr);
  }
  LRESULT In(HWND window, WPARAM format, Source& source,
             DWORD* error = nullptr) {
    EDITSTREAM stream = {reinterpret_cast<DWORD_PTR>(&source), kUntouched,
                         &Give};
    LRESULT result = control_.SendMessageW(window, EM_STREAMIN, format,
                                           reinterpret_cast<LPARAM>(&stream));
    if (error != nullptr) *error = stream.dwError;
    return result;
  }
  LRESULT Out(HWND window, WPARAM format, Sink& sink, DWORD* error = nullptr) {
    EDITSTREAM stream = {reinterpret_cast<DWORD_PTR>(&sink), kUntouched, &Take};
    LRESULT result = control_.SendMessageW(window, EM_STREAMOUT, format,
                                           reinterpret_cast<LPARAM>(&stream));
    if (error != nullptr) *error = stream.dwError;
    return result;
  }

  static constexpr WPARAM kInk = SF_PWI | SF_RTF;
  static constexpr WPARAM kText = SF_TEXT | SF_UNICODE;

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  RichInk control_;
};

TEST_F(RichInkTest, ClassExistsOnlyAfterInitRichInkDll) {
  context_.lastError = kUntouched;
  EXPECT_EQ(NewWindow(), 0U);
  EXPECT_EQ(context_.lastError, ERROR_CANNOT_FIND_WND_CLASS);
  control_.InitRichInkDLL();
  HWND window = NewWindow(u"richink");
  EXPECT_NE(window, 0U);
  context_.lastError = kUntouched;
  EXPECT_EQ(NewWindow(u"Edit"), 0U);
  EXPECT_EQ(context_.lastError, ERROR_CANNOT_FIND_WND_CLASS);
  EXPECT_EQ(control_.WindowCount(), 1U);
}

TEST_F(RichInkTest, TextGoesInAndOutInChunks) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  std::u16string text(5000, u'x');
  text += u"\nsecond\rthird";
  Source source{Utf16(text)};
  source.data.insert(source.data.end(), {0, 0, 'z', 0});  // after the NUL
  DWORD error = kUntouched;
  EXPECT_EQ(In(window, kText, source, &error), 5000 + 1 + 6 + 1 + 5);
  EXPECT_EQ(error, 0U);
  EXPECT_EQ(source.asked, (std::vector<LONG>{4096, 4096, 4096, 4096}));

  Sink sink;
  EXPECT_EQ(Out(window, kText, sink, &error), 5000 + 2 + 6 + 2 + 5);
  EXPECT_EQ(error, 0U);
  std::u16string expected(5000, u'x');
  expected += u"\r\nsecond\r\nthird";
  EXPECT_EQ(sink.data, Utf16(expected));
  EXPECT_EQ(sink.offered, (std::vector<LONG>{4096, 4096, 10030 - 8192}));
}

TEST_F(RichInkTest, InkFileInTextOutAndBack) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  Source source{WritePwi({u"Hello", u"World"})};
  EXPECT_EQ(In(window, kInk, source), 11);
  Sink text;
  Out(window, kText, text);
  EXPECT_EQ(text.data, Utf16(u"Hello\r\nWorld"));
  Sink ink;
  EXPECT_EQ(Out(window, kInk, ink), 572);
  EXPECT_EQ(ink.data, source.data);
}

TEST_F(RichInkTest, StreamThatIsNoInkFileLeavesTheContent) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  Source text{Utf16(u"kept")};
  In(window, kText, text);
  Source rtf(Bytes{'{', '\\', 'r', 't', 'f', '1', ' ', 'x', '}'});
  EXPECT_EQ(In(window, kInk, rtf), 0);
  Sink sink;
  Out(window, kText, sink);
  EXPECT_EQ(sink.data, Utf16(u"kept"));
}

TEST_F(RichInkTest, CallbackErrorEndsTheStreamAndIsKept) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  Source failing{Utf16(u"never")};
  failing.failWith = 29;
  DWORD error = 0;
  In(window, kText, failing, &error);
  EXPECT_EQ(error, 29U);
  EXPECT_EQ(failing.asked.size(), 1U);

  Source text{Utf16(std::u16string(3000, u'y'))};
  In(window, kText, text);
  Sink refusing;
  refusing.failWith = 112;
  Out(window, kText, refusing, &error);
  EXPECT_EQ(error, 112U);
  EXPECT_EQ(refusing.offered.size(), 1U);
  Sink partial;
  partial.takeAtMost = 100;
  Out(window, kText, partial, &error);
  EXPECT_EQ(error, 0U);
  EXPECT_EQ(partial.offered.size(), 1U);
  EXPECT_EQ(partial.data.size(), 100U);
}

TEST_F(RichInkTest, OtherFormatsAndMessagesAreNotImplemented) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  Source source{Utf16(u"a")};
  context_.lastError = kUntouched;
  EXPECT_EQ(In(window, SF_TEXT, source), 0);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
  EXPECT_EQ(In(window, SF_RTF, source), 0);
  EXPECT_EQ(control_.SendMessageW(window, 0x000C, 0, 0), 0);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
  EXPECT_TRUE(source.asked.empty());
}

TEST_F(RichInkTest, DestroyedWindowIsGone) {
  control_.InitRichInkDLL();
  HWND window = NewWindow();
  EXPECT_EQ(control_.DestroyWindow(window), TRUE);
  context_.lastError = kUntouched;
  EXPECT_EQ(control_.DestroyWindow(window), FALSE);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_WINDOW_HANDLE);
  Source source{Utf16(u"a")};
  EXPECT_EQ(In(window, kText, source), 0);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_WINDOW_HANDLE);
}

}  // namespace
}  // namespace device
