// UTF-8 and UTF-16 text of the emulated handheld. The handheld's text is
// UTF-16; the device image and the command line keep UTF-8.
#ifndef VORN_DEVICE_IMAGE_UTF8_H_
#define VORN_DEVICE_IMAGE_UTF8_H_

#include <string>
#include <string_view>

namespace device {

// Appends one code point (a lone surrogate too, in its three-byte form).
void AppendUtf8(std::string& out, char32_t point);
// Appends one code point, as a surrogate pair above the basic plane.
void AppendUtf16(std::u16string& out, char32_t point);

// UTF-16 to UTF-8 and back. Unpaired surrogates are kept (encoded as their
// three-byte form), so every UTF-16 text survives the round trip.
std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

// UTF-16 to well-formed UTF-8 for the world outside the handheld (JSON
// output): as Utf16ToUtf8, but each unpaired surrogate becomes U+FFFD.
std::string Utf16ToValidUtf8(std::u16string_view text);

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_UTF8_H_
