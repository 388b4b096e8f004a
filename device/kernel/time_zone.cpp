#include "device/kernel/time_zone.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace device {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr std::int64_t kSecondsPerDay = 86400;
// Zone files are a few kilobytes; anything much larger is not one.
constexpr std::uintmax_t kMaxZoneFileSize = 1 << 20;
// Names in TIME_ZONE_INFORMATION hold 31 characters and a terminating zero.
constexpr std::size_t kMaxNameLength = 31;

std::int64_t FloorDiv(std::int64_t value, std::int64_t divisor) {
  std::int64_t quotient = value / divisor;
  return (value % divisor != 0 && (value < 0) != (divisor < 0)) ? quotient - 1
                                                                : quotient;
}

// One transition of a POSIX rule: Mm.w.d/time, or a Julian day (Jn or n).
struct Transition {
  bool julian = false;
  bool julianCountsLeapDay = false;  // the "n" form counts February 29
  int day = 0;                       // Julian day
  int month = 0;
  int week = 0;                     // 1..5, 5 = last
  int weekday = 0;                  // 0 = Sunday
  std::int32_t seconds = 2 * 3600;  // local time of day, may leave 0..24h
};

class RuleParser {
 public:
  explicit RuleParser(std::string_view text) : text_(text) {}

  bool AtEnd() const { return pos_ == text_.size(); }
  bool Accept(char c) {
    if (AtEnd() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  bool NextIsDigitOrSign() const {
    if (AtEnd()) return false;
    char c = text_[pos_];
    return (c >= '0' && c <= '9') || c == '+' || c == '-';
  }

  // A zone abbreviation: three or more letters, or anything but '>' in <>.
  std::optional<std::string> Name() {
    std::size_t start = pos_;
    if (Accept('<')) {
      while (!AtEnd() && text_[pos_] != '>') ++pos_;
      if (AtEnd()) return std::nullopt;
      std::string name(text_.substr(start + 1, pos_ - start - 1));
      ++pos_;
      return name.empty() ? std::nullopt : std::optional<std::string>(name);
    }
    while (!AtEnd() && ((text_[pos_] >= 'A' && text_[pos_] <= 'Z') ||
                        (text_[pos_] >= 'a' && text_[pos_] <= 'z'))) {
      ++pos_;
    }
    if (pos_ - start < 3) return std::nullopt;
    return std::string(text_.substr(start, pos_ - start));
  }

  // [+-]h[h][:mm[:ss]] in seconds, hours up to `maxHours`.
  std::optional<std::int32_t> Duration(int maxHours) {
    int sign = 1;
    if (Accept('-')) {
      sign = -1;
    } else {
      Accept('+');
    }
    std::optional<int> hours = Number(0, maxHours);
    if (!hours) return std::nullopt;
    std::int32_t seconds = *hours * 3600;
    if (Accept(':')) {
      std::optional<int> minutes = Number(0, 59);
      if (!minutes) return std::nullopt;
      seconds += *minutes * 60;
      if (Accept(':')) {
        std::optional<int> secs = Number(0, 59);
        if (!secs) return std::nullopt;
        seconds += *secs;
      }
    }
    return sign * seconds;
  }

  std::optional<Transition> Rule() {
    Transition t;
    if (Accept('M')) {
      std::optional<int> month = Number(1, 12);
      if (!month || !Accept('.')) return std::nullopt;
      std::optional<int> week = Number(1, 5);
      if (!week || !Accept('.')) return std::nullopt;
      std::optional<int> weekday = Number(0, 6);
      if (!weekday) return std::nullopt;
      t.month = *month;
      t.week = *week;
      t.weekday = *weekday;
    } else {
      t.julian = true;
      t.julianCountsLeapDay = !Accept('J');
      std::optional<int> day =
          t.julianCountsLeapDay ? Number(0, 365) : Number(1, 365);
      if (!day) return std::nullopt;
      t.day = *day;
    }
    if (Accept('/')) {
      // Transition times may run from -167 to 167 hours.
      std::optional<std::int32_t> time = Duration(167);
      if (!time) return std::nullopt;
      t.seconds = *time;
    }
    return t;
  }

 private:
  std::optional<int> Number(int min, int max) {
    std::size_t start = pos_;
    int value = 0;
    while (!AtEnd() && text_[pos_] >= '0' && text_[pos_] <= '9' &&
           pos_ - start < 4) {
      value = value * 10 + (text_[pos_] - '0');
      ++pos_;
    }
    if (pos_ == start || value < min || value > max) return std::nullopt;
    return value;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

void CopyName(const std::string& name, WCHAR (&target)[32]) {
  std::size_t i = 0;
  for (; i < name.size() && i < kMaxNameLength; ++i) {
    target[i] = static_cast<unsigned char>(name[i]);
  }
  target[i] = 0;
}

// The handheld's day-in-month form of `t`, with a time of day outside one
// day moved to the neighbouring weekday.
SYSTEMTIME DayInMonth(const Transition& t) {
  std::int64_t dayShift = FloorDiv(t.seconds, kSecondsPerDay);
  std::int64_t secondsOfDay = t.seconds - dayShift * kSecondsPerDay;
  SYSTEMTIME date{};
  date.wMonth = static_cast<WORD>(t.month);
  date.wDay = static_cast<WORD>(t.week);
  date.wDayOfWeek = static_cast<WORD>(((t.weekday + dayShift) % 7 + 7) % 7);
  date.wHour = static_cast<WORD>(secondsOfDay / 3600);
  date.wMinute = static_cast<WORD>(secondsOfDay / 60 % 60);
  date.wSecond = static_cast<WORD>(secondsOfDay % 60);
  return date;
}

// Local seconds since 1970 of the transition `date` (day-in-month form) in
// `year`.
std::int64_t TransitionSeconds(int year, const SYSTEMTIME& date) {
  std::chrono::year y{year};
  std::chrono::month m{date.wMonth};
  std::chrono::weekday wd{date.wDayOfWeek};
  sys_days day = date.wDay >= 5
                     ? sys_days(std::chrono::year_month_weekday_last(
                           y, m, std::chrono::weekday_last(wd)))
                     : sys_days(std::chrono::year_month_weekday(
                           y, m, std::chrono::weekday_indexed(wd, date.wDay)));
  return std::int64_t{day.time_since_epoch().count()} * kSecondsPerDay +
         std::int64_t{date.wHour} * 3600 + std::int64_t{date.wMinute} * 60 +
         date.wSecond;
}

bool IsAllYearDaylight(const Transition& start, const Transition& end) {
  bool startsAtNewYear =
      start.julian && start.seconds == 0 &&
      (start.julianCountsLeapDay ? start.day == 0 : start.day == 1);
  bool endsAfterYearEnd = end.julian && !end.julianCountsLeapDay &&
                          end.day == 365 && end.seconds >= 24 * 3600;
  return startsAtNewYear && endsAfterYearEnd;
}

}  // namespace

Result<TimeZone> TimeZone::FromPosixRule(std::string_view rule) {
  auto bad = [&](std::string_view why) {
    return Status::Error("time zone rule '" + std::string(rule) +
                         "': " + std::string(why));
  };
  RuleParser parser(rule);
  std::optional<std::string> standardName = parser.Name();
  if (!standardName) return bad("missing or bad zone name");
  std::optional<std::int32_t> standardOffset = parser.Duration(24);
  if (!standardOffset) return bad("missing or bad UTC offset");

  TimeZone zone;
  zone.info_.Bias = *standardOffset / 60;
  CopyName(*standardName, zone.info_.StandardName);
  if (parser.AtEnd()) return zone;

  std::optional<std::string> daylightName = parser.Name();
  if (!daylightName) return bad("bad daylight zone name");
  std::int32_t daylightOffset = *standardOffset - 3600;
  if (parser.NextIsDigitOrSign()) {
    std::optional<std::int32_t> offset = parser.Duration(24);
    if (!offset) return bad("bad daylight UTC offset");
    daylightOffset = *offset;
  }
  Transition start;
  Transition end;
  if (parser.AtEnd()) {
    // POSIX leaves the default rule to the system; the usual one.
    start = {false, false, 0, 3, 2, 0, 2 * 3600};
    end = {false, false, 0, 11, 1, 0, 2 * 3600};
  } else {
    std::optional<Transition> first;
    std::optional<Transition> second;
    if (!parser.Accept(',') || !(first = parser.Rule()) ||
        !parser.Accept(',') || !(second = parser.Rule())) {
      return bad("bad transition rule");
    }
    start = *first;
    end = *second;
  }
  if (!parser.AtEnd()) return bad("unexpected text at the end");

  if (IsAllYearDaylight(start, end)) {
    zone.info_.Bias = daylightOffset / 60;
    CopyName(*daylightName, zone.info_.StandardName);
    return zone;
  }
  if (start.julian || end.julian) {
    return bad("Julian-day transitions cannot be expressed on the handheld");
  }
  CopyName(*daylightName, zone.info_.DaylightName);
  zone.info_.StandardBias = 0;
  zone.info_.DaylightBias = (daylightOffset - *standardOffset) / 60;
  zone.info_.DaylightDate = DayInMonth(start);
  zone.info_.StandardDate = DayInMonth(end);
  return zone;
}

Result<TimeZone> TimeZone::Load(std::string_view name,
                                std::string_view zoneInfoDir) {
  std::string quoted(1, '\'');
  quoted.append(name);
  quoted += '\'';
  bool wellFormed = !name.empty() && name.front() != '/' && name.back() != '/';
  for (char c : name) {
    bool allowed = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                   (c >= '0' && c <= '9') || c == '/' || c == '_' || c == '-' ||
                   c == '+';
    wellFormed = wellFormed && allowed;
  }
  if (!wellFormed || name.find("//") != std::string_view::npos) {
    return Status::Error("bad time zone name " + quoted);
  }
  std::filesystem::path path =
      std::filesystem::path(std::string(zoneInfoDir)) / std::string(name);
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    return Status::Error("unknown time zone " + quoted);
  }
  std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > kMaxZoneFileSize) {
    return Status::Error("unknown time zone " + quoted);
  }
  std::ifstream file(path, std::ios::binary);
  std::string data((std::istreambuf_iterator<char>(file)),
                   std::istreambuf_iterator<char>());
  if (!file.good() && !file.eof()) {
    return Status::Error("time zone " + quoted + ": cannot read " +
                         path.string());
  }
  if (data.size() < 5 || data.compare(0, 4, "TZif") != 0) {
    return Status::Error("unknown time zone " + quoted + " (not zone data)");
  }
  // Version 1 files carry no rule for the years after their table.
  if (data[4] < '2' || data.back() != '\n') {
    return Status::Error("time zone " + quoted + " has no rule for today");
  }
  std::size_t begin = data.rfind('\n', data.size() - 2);
  if (begin == std::string::npos) {
    return Status::Error("time zone " + quoted + " has no rule for today");
  }
  std::string rule = data.substr(begin + 1, data.size() - begin - 2);
  if (rule.empty()) {
    return Status::Error("time zone " + quoted + " has no rule for today");
  }
  return FromPosixRule(rule);
}

bool TimeZone::IsDaylightAt(std::int64_t unixSeconds) const {
  if (!HasDaylightTime()) return false;
  std::int64_t local = unixSeconds - std::int64_t{info_.Bias} * 60;
  std::chrono::year_month_day date{
      sys_days(days(FloorDiv(local, kSecondsPerDay)))};
  int year = static_cast<int>(date.year());
  // DaylightDate is given in standard time, StandardDate in daylight time.
  std::int64_t start = TransitionSeconds(year, info_.DaylightDate);
  std::int64_t end = TransitionSeconds(year, info_.StandardDate) +
                     std::int64_t{info_.DaylightBias} * 60;
  if (start < end) return start <= local && local < end;
  return local >= start || local < end;  // southern hemisphere
}

DWORD TimeZone::IdAt(std::int64_t unixSeconds) const {
  if (!HasDaylightTime()) return TIME_ZONE_ID_UNKNOWN;
  return IsDaylightAt(unixSeconds) ? TIME_ZONE_ID_DAYLIGHT
                                   : TIME_ZONE_ID_STANDARD;
}

std::int32_t TimeZone::OffsetMinutesAt(std::int64_t unixSeconds) const {
  std::int32_t bias =
      info_.Bias +
      (IsDaylightAt(unixSeconds) ? info_.DaylightBias : info_.StandardBias);
  return -bias;
}

SYSTEMTIME SystemTimeFromUnixMilliseconds(std::int64_t milliseconds) {
  std::int64_t dayNumber = FloorDiv(milliseconds, kSecondsPerDay * 1000);
  std::int64_t rest = milliseconds - dayNumber * kSecondsPerDay * 1000;
  sys_days day{days(dayNumber)};
  std::chrono::year_month_day date{day};
  std::chrono::weekday weekday{day};
  SYSTEMTIME time{};
  time.wYear = static_cast<WORD>(static_cast<int>(date.year()));
  time.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
  time.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
  time.wDayOfWeek = static_cast<WORD>(weekday.c_encoding());
  time.wHour = static_cast<WORD>(rest / 3600000);
  time.wMinute = static_cast<WORD>(rest / 60000 % 60);
  time.wSecond = static_cast<WORD>(rest / 1000 % 60);
  time.wMilliseconds = static_cast<WORD>(rest % 1000);
  return time;
}

}  // namespace device
