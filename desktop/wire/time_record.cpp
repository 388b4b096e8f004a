#include "desktop/wire/time_record.h"

#include <cstdio>

namespace desktop {
namespace {

bool IsLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30,
                                  31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Reads exactly `width` digits at `*pos`.
bool Digits(std::string_view text, std::size_t* pos, int width, int* out) {
  if (*pos + static_cast<std::size_t>(width) > text.size()) return false;
  int value = 0;
  for (int i = 0; i < width; ++i) {
    char c = text[*pos + static_cast<std::size_t>(i)];
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  *pos += static_cast<std::size_t>(width);
  *out = value;
  return true;
}

bool Expect(std::string_view text, std::size_t* pos, char c, bool basic) {
  if (basic) return true;
  if (*pos < text.size() && text[*pos] == c) {
    ++*pos;
    return true;
  }
  return false;
}

}  // namespace

int DayOfWeek(int year, int month, int day) {
  // Days since 1970-01-01 (a Thursday) by the civil-from-days method.
  int y = month <= 2 ? year - 1 : year;
  int era = (y >= 0 ? y : y - 399) / 400;
  int yoe = y - era * 400;
  int doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  long days = static_cast<long>(era) * 146097 + doe - 719468;
  long dow = (days + 4) % 7;
  return static_cast<int>(dow < 0 ? dow + 7 : dow);
}

TimeRecord TimeRecord::FromDate(int year, int month, int day) {
  TimeRecord t;
  t.year = static_cast<std::uint16_t>(year);
  t.month = static_cast<std::uint16_t>(month);
  t.day = static_cast<std::uint16_t>(day);
  t.day_of_week = static_cast<std::uint16_t>(DayOfWeek(year, month, day));
  return t;
}

Result<TimeRecord> TimeRecord::Parse(std::string_view text) {
  const bool basic = text.size() >= 5 && text[4] != '-';
  std::size_t pos = 0;
  int y, mo, d, h = 0, mi = 0, s = 0;
  auto bad = [&] {
    return Status::Error("bad date \"" + std::string(text) +
                         "\" (expected YYYY-MM-DD or YYYY-MM-DDTHH:MM:SS)");
  };
  if (!Digits(text, &pos, 4, &y) || !Expect(text, &pos, '-', basic) ||
      !Digits(text, &pos, 2, &mo) || !Expect(text, &pos, '-', basic) ||
      !Digits(text, &pos, 2, &d)) {
    return bad();
  }
  if (pos < text.size()) {
    if (text[pos] != 'T' && text[pos] != 't' && text[pos] != ' ') return bad();
    ++pos;
    if (!Digits(text, &pos, 2, &h) || !Expect(text, &pos, ':', basic) ||
        !Digits(text, &pos, 2, &mi) || !Expect(text, &pos, ':', basic) ||
        !Digits(text, &pos, 2, &s)) {
      return bad();
    }
    if (pos < text.size() && text[pos] == 'Z') ++pos;
    if (pos != text.size()) return bad();
  }
  if (y < 1601 || mo < 1 || mo > 12 || d < 1 || d > DaysInMonth(y, mo) ||
      h > 23 || mi > 59 || s > 59) {
    return bad();
  }
  TimeRecord t = FromDate(y, mo, d);
  t.hour = static_cast<std::uint16_t>(h);
  t.minute = static_cast<std::uint16_t>(mi);
  t.second = static_cast<std::uint16_t>(s);
  return t;
}

std::string TimeRecord::ToIso() const {
  char text[64];
  if (HasTimeOfDay()) {
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u",
                  unsigned{year}, unsigned{month}, unsigned{day},
                  unsigned{hour}, unsigned{minute}, unsigned{second});
  } else {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", unsigned{year},
                  unsigned{month}, unsigned{day});
  }
  return text;
}

std::string TimeRecord::ToBasic() const {
  char text[64];
  if (HasTimeOfDay()) {
    std::snprintf(text, sizeof text, "%04u%02u%02uT%02u%02u%02u",
                  unsigned{year}, unsigned{month}, unsigned{day},
                  unsigned{hour}, unsigned{minute}, unsigned{second});
  } else {
    std::snprintf(text, sizeof text, "%04u%02u%02u", unsigned{year},
                  unsigned{month}, unsigned{day});
  }
  return text;
}

std::array<std::uint8_t, protocol::kTimeRecordSize> TimeRecord::Encode() const {
  std::array<std::uint8_t, protocol::kTimeRecordSize> out{};
  const std::uint16_t fields[8] = {year, month,  day_of_week, day,
                                   hour, minute, second,      milliseconds};
  for (int i = 0; i < 8; ++i)
    protocol::PutU16(out.data() + std::size_t{2} * static_cast<std::size_t>(i),
                     fields[i]);
  return out;
}

TimeRecord TimeRecord::Decode(const std::uint8_t* at) {
  TimeRecord t;
  t.year = protocol::GetU16(at);
  t.month = protocol::GetU16(at + 2);
  t.day_of_week = protocol::GetU16(at + 4);
  t.day = protocol::GetU16(at + 6);
  t.hour = protocol::GetU16(at + 8);
  t.minute = protocol::GetU16(at + 10);
  t.second = protocol::GetU16(at + 12);
  t.milliseconds = protocol::GetU16(at + 14);
  return t;
}

}  // namespace desktop
