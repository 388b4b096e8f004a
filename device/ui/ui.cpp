#include "device/ui/ui.h"

#include <iostream>

#include "device/objstore/record_value.h"
#include "platform/api.h"

namespace device {
namespace {

// The button bits of a message box style; 0 is the OK button alone.
constexpr UINT kButtonMask = 0x0000000F;

std::u16string_view ZeroTerminated(LPCWSTR text) {
  if (text == nullptr) return {};
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return std::u16string_view(text, length);
}

std::string OneLine(std::u16string_view text) {
  std::string utf8 = Utf16ToUtf8(text);
  std::string out;
  for (char c : utf8) {
    if (c == '\n') {
      out += "\\n";
    } else {
      out.push_back(c);
    }
  }
  return out;
}

}  // namespace

Ui::Ui(DeviceContext& context) : context_(context), out_(&std::cerr) {
  context_.image.Exec(
      "CREATE TABLE IF NOT EXISTS message_boxes(sequence INTEGER PRIMARY KEY "
      "AUTOINCREMENT, caption TEXT NOT NULL, text TEXT NOT NULL, "
      "style INTEGER NOT NULL)");
}

std::string Ui::FormatLine(std::u16string_view caption,
                           std::u16string_view text) {
  return "messagebox: " + OneLine(caption) + ": " + OneLine(text);
}

int Ui::MessageBoxW(HWND /*owner*/, LPCWSTR text, LPCWSTR caption, UINT type) {
  if ((type & kButtonMask) != MB_OK) {
    context_.lastError = ERROR_CALL_NOT_IMPLEMENTED;
    return 0;
  }
  std::u16string_view shownCaption = caption == nullptr
                                         ? std::u16string_view(u"Error")
                                         : ZeroTerminated(caption);
  std::u16string_view shownText = ZeroTerminated(text);
  context_.image
      .Cached("INSERT INTO message_boxes(caption, text, style) VALUES(?, ?, ?)")
      .Bind(1, Utf16ToUtf8(shownCaption))
      .Bind(2, Utf16ToUtf8(shownText))
      .Bind(3, std::int64_t{type})
      .Run();
  if (out_ != nullptr) {
    *out_ << FormatLine(shownCaption, shownText) << '\n' << std::flush;
  }
  return IDOK;
}

}  // namespace device
