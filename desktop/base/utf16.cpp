#include "desktop/base/utf16.h"

#include <cstdint>

namespace desktop {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

}  // namespace

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

std::u16string Utf8ToUtf16(std::string_view utf8) {
  std::u16string out;
  out.reserve(utf8.size());
  std::size_t i = 0;
  while (i < utf8.size()) {
    unsigned char lead = static_cast<unsigned char>(utf8[i]);
    int extra;
    char32_t cp;
    if (lead < 0x80) {
      extra = 0, cp = lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1, cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2, cp = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3, cp = lead & 0x07;
    } else {
      out += static_cast<char16_t>(kReplacement);
      ++i;
      continue;
    }
    bool good = i + static_cast<std::size_t>(extra) < utf8.size();
    int taken = 1;
    for (int k = 1; good && k <= extra; ++k) {
      unsigned char c = static_cast<unsigned char>(utf8[i + k]);
      if ((c & 0xC0) != 0x80) {
        good = false;
        break;
      }
      cp = (cp << 6) | (c & 0x3F);
      ++taken;
    }
    if (good && ((extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) ||
                 cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))) {
      good = false;
    }
    if (!good) {
      out += static_cast<char16_t>(kReplacement);
      i += static_cast<std::size_t>(taken);
      continue;
    }
    i += static_cast<std::size_t>(extra) + 1;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view utf16) {
  // Most text is ASCII: copied unit for unit up to the first other unit.
  std::size_t ascii = 0;
  while (ascii < utf16.size() && utf16[ascii] < 0x80) ++ascii;
  std::string out(ascii, '\0');
  for (std::size_t i = 0; i < ascii; ++i) {
    out[i] = static_cast<char>(utf16[i]);
  }
  if (ascii == utf16.size()) return out;
  out.reserve(utf16.size() + utf16.size() / 2);
  for (std::size_t i = ascii; i < utf16.size(); ++i) {
    char32_t unit = utf16[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < utf16.size() &&
        utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF) {
      char32_t cp = 0x10000 + ((unit - 0xD800) << 10) + (utf16[i + 1] - 0xDC00);
      AppendUtf8(out, cp);
      ++i;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      AppendUtf8(out, kReplacement);
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

}  // namespace desktop
