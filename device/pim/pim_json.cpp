#include "device/pim/pim_json.h"

#include <cstdio>
#include <set>

#include "device/objstore/record_value.h"

namespace device {
namespace {

// Reads one flat object from UTF-8 text.
class ObjectReader {
 public:
  explicit ObjectReader(std::string_view text) : text_(text) {}

  Result<std::vector<PimJson::Member>> Read() {
    std::vector<PimJson::Member> members;
    std::set<std::string> seen;
    SkipSpace();
    if (!Take('{')) return Fail("expected '{'");
    SkipSpace();
    if (!Take('}')) {
      while (true) {
        SkipSpace();
        std::size_t keyAt = at_;
        std::optional<std::u16string> key = ReadString();
        if (!key) return Fail(error_.empty() ? "expected a key" : error_);
        std::string name = Utf16ToUtf8(*key);
        if (!seen.insert(name).second) {
          at_ = keyAt;
          return Fail("key \"" + name + "\" given twice");
        }
        SkipSpace();
        if (!Take(':')) return Fail("expected ':'");
        SkipSpace();
        if (text_.substr(at_).starts_with("null")) {
          at_ += 4;
          members.emplace_back(name, std::nullopt);
        } else if (Peek() == '"') {
          std::optional<std::u16string> value = ReadString();
          if (!value) return Fail(error_);
          members.emplace_back(name, std::move(*value));
        } else {
          return Fail("the value of \"" + name + "\" must be a string or null");
        }
        SkipSpace();
        if (Take('}')) break;
        if (!Take(',')) return Fail("expected ',' or '}'");
      }
    }
    SkipSpace();
    if (at_ != text_.size()) return Fail("unexpected text after the object");
    return members;
  }

 private:
  Status Fail(const std::string& message) const {
    return Status::Error("JSON: " + message + " at offset " +
                         std::to_string(at_));
  }

  int Peek() const {
    return at_ < text_.size() ? static_cast<unsigned char>(text_[at_]) : -1;
  }
  bool Take(char c) {
    if (Peek() != static_cast<unsigned char>(c)) return false;
    ++at_;
    return true;
  }
  void SkipSpace() {
    while (Peek() == ' ' || Peek() == '\t' || Peek() == '\n' || Peek() == '\r')
      ++at_;
  }

  // A string at the cursor; on failure error_ says why and the cursor stands
  // where the problem is.
  std::optional<std::u16string> ReadString() {
    error_.clear();
    if (!Take('"')) return std::nullopt;
    std::u16string out;
    while (true) {
      int c = Peek();
      if (c < 0) return Error("unterminated string");
      if (c == '"') {
        ++at_;
        return out;
      }
      if (c < 0x20) return Error("control character in a string");
      if (c == '\\') {
        if (!ReadEscape(out)) return std::nullopt;
        continue;
      }
      if (c < 0x80) {
        out.push_back(static_cast<char16_t>(c));
        ++at_;
        continue;
      }
      if (!ReadUtf8(out)) return Error("invalid UTF-8");
    }
  }

  std::nullopt_t Error(const char* message) {
    error_ = message;
    return std::nullopt;
  }

  bool ReadEscape(std::u16string& out) {
    ++at_;  // the backslash
    int c = Peek();
    ++at_;
    switch (c) {
      case '"':
      case '\\':
      case '/':
        out.push_back(static_cast<char16_t>(c));
        return true;
      case 'b':
        out.push_back(u'\b');
        return true;
      case 'f':
        out.push_back(u'\f');
        return true;
      case 'n':
        out.push_back(u'\n');
        return true;
      case 'r':
        out.push_back(u'\r');
        return true;
      case 't':
        out.push_back(u'\t');
        return true;
      case 'u': {
        char16_t unit = 0;
        for (int i = 0; i < 4; ++i) {
          int digit = HexDigit(Peek());
          if (digit < 0) {
            Error("bad \\u escape");
            return false;
          }
          unit = static_cast<char16_t>(unit * 16 + digit);
          ++at_;
        }
        out.push_back(unit);
        return true;
      }
      default:
        --at_;
        Error("bad escape");
        return false;
    }
  }

  static int HexDigit(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  // One UTF-8 sequence of two to four bytes (no overlong forms, no
  // surrogates, nothing past U+10FFFF).
  bool ReadUtf8(std::u16string& out) {
    auto lead = static_cast<unsigned char>(text_[at_]);
    int extra = 0;
    char32_t point = 0;
    char32_t least = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1;
      point = lead & 0x1F;
      least = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2;
      point = lead & 0x0F;
      least = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3;
      point = lead & 0x07;
      least = 0x10000;
    } else {
      return false;
    }
    if (at_ + extra >= text_.size()) return false;
    for (int i = 1; i <= extra; ++i) {
      auto next = static_cast<unsigned char>(text_[at_ + i]);
      if ((next & 0xC0) != 0x80) return false;
      point = (point << 6) | (next & 0x3F);
    }
    if (point < least || point > 0x10FFFF ||
        (point >= 0xD800 && point <= 0xDFFF)) {
      return false;
    }
    at_ += extra + 1;
    if (point >= 0x10000) {
      point -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (point >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(point));
    }
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string error_;
};

void AppendEscape(std::string& out, char16_t unit) {
  char escaped[8];
  std::snprintf(escaped, sizeof(escaped), "\\u%04x",
                static_cast<unsigned>(unit));
  out += escaped;
}

bool IsLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30,
                                  31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// The number of `width` digits at `at`, or -1.
int Digits(std::u16string_view text, std::size_t at, std::size_t width) {
  if (at + width > text.size()) return -1;
  int value = 0;
  for (std::size_t i = at; i < at + width; ++i) {
    if (text[i] < u'0' || text[i] > u'9') return -1;
    value = value * 10 + (text[i] - u'0');
  }
  return value;
}

}  // namespace

Result<std::vector<PimJson::Member>> PimJson::ParseObject(
    std::string_view text) {
  return ObjectReader(text).Read();
}

std::string PimJson::Quote(std::u16string_view text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t unit = text[i];
    switch (unit) {
      case u'"':
        out += "\\\"";
        continue;
      case u'\\':
        out += "\\\\";
        continue;
      case u'\n':
        out += "\\n";
        continue;
      case u'\r':
        out += "\\r";
        continue;
      case u'\t':
        out += "\\t";
        continue;
      default:
        break;
    }
    bool pair = unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() &&
                text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
    bool lone = !pair && unit >= 0xD800 && unit <= 0xDFFF;
    if (unit < 0x20 || unit == 0x7F || lone) {
      AppendEscape(out, unit);
    } else if (pair) {
      char32_t point = 0x10000 +
                       ((static_cast<char32_t>(unit) - 0xD800) << 10) +
                       (text[i + 1] - 0xDC00);
      AppendUtf8(out, point);
      ++i;
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out + "\"";
}

Result<SYSTEMTIME> PimJson::ParseDate(std::u16string_view text) {
  auto bad = [&text]() {
    return Status::Error("bad date '" + Utf16ToUtf8(text) +
                         "' (YYYY-MM-DD or YYYY-MM-DDTHH:MM:SS)");
  };
  if (text.size() != 10 && text.size() != 19) return bad();
  int year = Digits(text, 0, 4);
  int month = Digits(text, 5, 2);
  int day = Digits(text, 8, 2);
  if (year < 0 || month < 1 || month > 12 || day < 1 || text[4] != u'-' ||
      text[7] != u'-' || day > DaysInMonth(year, month)) {
    return bad();
  }
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (text.size() == 19) {
    hour = Digits(text, 11, 2);
    minute = Digits(text, 14, 2);
    second = Digits(text, 17, 2);
    if (text[10] != u'T' || text[13] != u':' || text[16] != u':' || hour < 0 ||
        hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
      return bad();
    }
  }
  SYSTEMTIME time = {};
  time.wYear = static_cast<WORD>(year);
  time.wMonth = static_cast<WORD>(month);
  time.wDay = static_cast<WORD>(day);
  time.wHour = static_cast<WORD>(hour);
  time.wMinute = static_cast<WORD>(minute);
  time.wSecond = static_cast<WORD>(second);
  return time;
}

std::string PimJson::FormatDate(const SYSTEMTIME& time) {
  char text[64];
  if (time.wHour == 0 && time.wMinute == 0 && time.wSecond == 0) {
    std::snprintf(text, sizeof(text), "%04u-%02u-%02u", unsigned{time.wYear},
                  unsigned{time.wMonth}, unsigned{time.wDay});
  } else {
    std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u",
                  unsigned{time.wYear}, unsigned{time.wMonth},
                  unsigned{time.wDay}, unsigned{time.wHour},
                  unsigned{time.wMinute}, unsigned{time.wSecond});
  }
  return text;
}

}  // namespace device
