#include "device/image/utf8.h"

#include <cstdint>

namespace device {

void AppendUtf8(std::string& out, char32_t point) {
  if (point < 0x80) {
    out.push_back(static_cast<char>(point));
  } else if (point < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (point >> 6)));
    out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else if (point < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (point >> 12)));
    out.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (point >> 18)));
    out.push_back(static_cast<char>(0x80 | ((point >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((point >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (point & 0x3F)));
  }
}

void AppendUtf16(std::u16string& out, char32_t point) {
  if (point >= 0x10000) {
    point -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (point >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
  } else {
    out.push_back(static_cast<char16_t>(point));
  }
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  // Most text is ASCII: copied unit for unit up to the first other unit.
  std::size_t ascii = 0;
  while (ascii < text.size() && text[ascii] < 0x80) ++ascii;
  out.resize(ascii);
  for (std::size_t i = 0; i < ascii; ++i) out[i] = static_cast<char>(text[i]);
  if (ascii == text.size()) return out;
  out.reserve(text.size() + text.size() / 2);
  for (std::size_t i = ascii; i < text.size(); ++i) {
    std::uint32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() &&
        text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::string Utf16ToValidUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() &&
        text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  std::size_t i = 0;
  while (i < text.size() && static_cast<std::uint8_t>(text[i]) < 0x80) ++i;
  out.resize(i);
  for (std::size_t k = 0; k < i; ++k) out[k] = static_cast<char16_t>(text[k]);
  if (i == text.size()) return out;
  out.reserve(text.size());
  while (i < text.size()) {
    auto byte = static_cast<std::uint8_t>(text[i]);
    std::uint32_t c = byte;
    std::size_t extra = 0;
    if (byte >= 0xF0) {
      c = byte & 0x07;
      extra = 3;
    } else if (byte >= 0xE0) {
      c = byte & 0x0F;
      extra = 2;
    } else if (byte >= 0xC0) {
      c = byte & 0x1F;
      extra = 1;
    }
    ++i;
    for (std::size_t k = 0; k < extra && i < text.size(); ++k, ++i) {
      c = (c << 6) | (static_cast<std::uint8_t>(text[i]) & 0x3F);
    }
    AppendUtf16(out, c);
  }
  return out;
}

}  // namespace device
