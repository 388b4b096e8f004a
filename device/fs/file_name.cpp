#include "device/fs/file_name.h"

#include <cstdint>

#include "device/image/utf8.h"

namespace device {
namespace {

char16_t FoldUnit(char16_t c) {
  if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 0x20);
  if (c < 0x80) return c;
  // Latin-1: à..þ except ÷; ÿ folds to Ÿ.
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7)
    return static_cast<char16_t>(c - 0x20);
  if (c == 0xFF) return 0x178;
  // Latin Extended-A: pairs of upper (even) and lower (odd) forms, with the
  // runs 0x139..0x148 and 0x179..0x17E paired the other way round.
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) {
    if (c == 0x131) return c;
    return static_cast<char16_t>(c & ~char16_t{1});
  }
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) {
    return (c % 2 == 0) ? static_cast<char16_t>(c - 1) : c;
  }
  // Greek small letters (final sigma folds to sigma).
  if (c == 0x3C2) return 0x3A3;
  if (c >= 0x3B1 && c <= 0x3C9) return static_cast<char16_t>(c - 0x20);
  // Cyrillic.
  if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 0x20);
  if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 0x50);
  return c;
}

bool MatchFrom(std::u16string_view pattern, std::u16string_view name) {
  // Iterative matcher with one backtracking point for the last '*'.
  std::size_t p = 0, n = 0;
  std::size_t starP = std::u16string_view::npos, starN = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == u'*') {
      starP = p++;
      starN = n;
    } else if (p < pattern.size() &&
               (pattern[p] == u'?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (starP != std::u16string_view::npos) {
      p = starP + 1;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

}  // namespace

std::optional<std::string> FileNameToUtf8(std::u16string_view name) {
  std::string out;
  out.reserve(name.size());
  for (std::size_t i = 0; i < name.size(); ++i) {
    std::uint32_t c = name[i];
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (i + 1 >= name.size()) return std::nullopt;
      std::uint32_t low = name[i + 1];
      if (low < 0xDC00 || low > 0xDFFF) return std::nullopt;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      ++i;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return std::nullopt;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::u16string FileNameFromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    int extra = 0;
    std::uint32_t c = 0;
    if (lead < 0x80) {
      c = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      extra = 1;
      c = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      extra = 2;
      c = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      extra = 3;
      c = lead & 0x07;
    } else {
      out.push_back(u'\uFFFD');
      ++i;
      continue;
    }
    if (i + extra >= text.size()) {
      out.push_back(u'\uFFFD');
      break;
    }
    bool good = true;
    for (int k = 1; k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) {
        good = false;
        break;
      }
      c = (c << 6) | (next & 0x3F);
    }
    if (!good || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      out.push_back(u'\uFFFD');
      ++i;
      continue;
    }
    i += extra + 1;
    AppendUtf16(out, c);
  }
  return out;
}

std::u16string FoldFileName(std::u16string_view name) {
  std::u16string out(name);
  for (char16_t& c : out) c = FoldUnit(c);
  return out;
}

bool MatchFileName(std::u16string_view pattern, std::u16string_view name) {
  const std::u16string p = FoldFileName(pattern);
  const std::u16string n = FoldFileName(name);
  if (MatchFrom(p, n)) return true;
  if (p.size() >= 2 && p.ends_with(u".*") && n.find(u'.') == n.npos) {
    return MatchFrom(std::u16string_view(p).substr(0, p.size() - 2), n);
  }
  return false;
}

bool HasWildcards(std::u16string_view pattern) {
  return pattern.find_first_of(u"*?") != std::u16string_view::npos;
}

}  // namespace device
