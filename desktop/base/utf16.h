// Conversions between the desktop's UTF-8 and the handheld's UTF-16.
// Malformed input never fails: each bad sequence becomes U+FFFD.
#ifndef VORN_DESKTOP_BASE_UTF16_H_
#define VORN_DESKTOP_BASE_UTF16_H_

#include <string>
#include <string_view>

namespace desktop {

// Appends one code point as UTF-8.
void AppendUtf8(std::string& out, char32_t cp);

std::u16string Utf8ToUtf16(std::string_view utf8);
std::string Utf16ToUtf8(std::u16string_view utf16);

}  // namespace desktop

#endif  // VORN_DESKTOP_BASE_UTF16_H_
