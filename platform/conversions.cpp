// Platform calls that need no handheld state: the local heap, time
// conversions, the Western code page and the string helpers.
#include <array>
#include <cstdlib>
#include <cstring>

#include "platform/api.h"

namespace {

constexpr std::uint64_t kTicksPerMillisecond = 10000;
constexpr std::uint64_t kTicksPerDay = 864000000000ULL;
// Days from 1601-01-01 to 1970-01-01 are not needed; FILETIME counts from
// 1601-01-01, the start of a 400-year Gregorian cycle.
constexpr std::int64_t kFileTimeEpochYear = 1601;

bool IsLeap(std::int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(std::int64_t year, int month) {
  static constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30,
                                                31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days since 1601-01-01 of the first day of `year`.
std::int64_t DaysBeforeYear(std::int64_t year) {
  std::int64_t y = year - kFileTimeEpochYear;
  return y * 365 + y / 4 - y / 100 + y / 400;
}

// The Western code page's bytes 0x80..0x9F.
constexpr std::array<char16_t, 32> kCp1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// The byte for `unit`, or 0 with `mapped` false when the code page lacks it.
char ToCp1252(char16_t unit, bool& mapped) {
  mapped = true;
  if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) {
    return static_cast<char>(unit);
  }
  for (std::size_t i = 0; i < kCp1252High.size(); ++i) {
    if (kCp1252High[i] == unit) return static_cast<char>(0x80 + i);
  }
  mapped = false;
  return '?';
}

}  // namespace

HLOCAL LocalAlloc(UINT flags, std::size_t bytes) {
  void* memory = std::malloc(bytes == 0 ? 1 : bytes);
  if (memory != nullptr && (flags & LMEM_ZEROINIT) != 0) {
    std::memset(memory, 0, bytes);
  }
  return memory;
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
  std::uint64_t ticks =
      (std::uint64_t{fileTime->dwHighDateTime} << 32) | fileTime->dwLowDateTime;
  if ((ticks >> 63) != 0) return FALSE;
  std::int64_t days = static_cast<std::int64_t>(ticks / kTicksPerDay);
  std::uint64_t rest = ticks % kTicksPerDay;
  SYSTEMTIME out{};
  out.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601-01-01: Monday
  std::int64_t year = kFileTimeEpochYear + days / 146097 * 400;
  while (DaysBeforeYear(year + 1) <= days) ++year;
  days -= DaysBeforeYear(year);
  int month = 1;
  while (days >= DaysInMonth(year, month)) {
    days -= DaysInMonth(year, month);
    ++month;
  }
  out.wYear = static_cast<WORD>(year);
  out.wMonth = static_cast<WORD>(month);
  out.wDay = static_cast<WORD>(days + 1);
  std::uint64_t ms = rest / kTicksPerMillisecond;
  out.wMilliseconds = static_cast<WORD>(ms % 1000);
  out.wSecond = static_cast<WORD>(ms / 1000 % 60);
  out.wMinute = static_cast<WORD>(ms / 60000 % 60);
  out.wHour = static_cast<WORD>(ms / 3600000);
  *systemTime = out;
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* st, FILETIME* fileTime) {
  if (st->wYear < 1601 || st->wYear > 30827 || st->wMonth < 1 ||
      st->wMonth > 12 || st->wDay < 1 ||
      st->wDay > DaysInMonth(st->wYear, st->wMonth) || st->wHour > 23 ||
      st->wMinute > 59 || st->wSecond > 59 || st->wMilliseconds > 999) {
    return FALSE;
  }
  std::int64_t days = DaysBeforeYear(st->wYear);
  for (int m = 1; m < st->wMonth; ++m) days += DaysInMonth(st->wYear, m);
  days += st->wDay - 1;
  std::uint64_t ms =
      ((std::uint64_t{st->wHour} * 60 + st->wMinute) * 60 + st->wSecond) *
          1000 +
      st->wMilliseconds;
  std::uint64_t ticks = static_cast<std::uint64_t>(days) * kTicksPerDay +
                        ms * kTicksPerMillisecond;
  fileTime->dwLowDateTime = static_cast<DWORD>(ticks);
  fileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return TRUE;
}

LONG CompareFileTime(const FILETIME* first, const FILETIME* second) {
  std::uint64_t a =
      (std::uint64_t{first->dwHighDateTime} << 32) | first->dwLowDateTime;
  std::uint64_t b =
      (std::uint64_t{second->dwHighDateTime} << 32) | second->dwLowDateTime;
  return a < b ? -1 : (a > b ? 1 : 0);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source,
                        int sourceLength, char* target, int targetSize,
                        const char* defaultChar, BOOL* usedDefault) {
  if (codePage != CP_ACP || flags != 0 || source == nullptr || targetSize < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::size_t count = sourceLength < 0 ? wcslen(source) + 1
                                       : static_cast<std::size_t>(sourceLength);
  if (usedDefault != nullptr) *usedDefault = FALSE;
  if (targetSize == 0) return static_cast<int>(count);
  std::size_t written = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (written == static_cast<std::size_t>(targetSize)) {
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return 0;
    }
    bool mapped = true;
    char byte = ToCp1252(source[i], mapped);
    if (!mapped) {
      if (defaultChar != nullptr) byte = *defaultChar;
      if (usedDefault != nullptr) *usedDefault = TRUE;
    }
    target[written++] = byte;
  }
  return static_cast<int>(written);
}

int wsprintfW(LPWSTR target, LPCWSTR format, LPCWSTR first, LPCWSTR second) {
  constexpr std::size_t kLimit = 1024;
  std::array<LPCWSTR, 2> args = {first, second};
  std::size_t next = 0;
  std::size_t length = 0;
  auto put = [&](WCHAR unit) {
    if (length < kLimit) target[length++] = unit;
  };
  for (LPCWSTR p = format; *p != 0; ++p) {
    if (p[0] == u'%' && p[1] == u's') {
      LPCWSTR text = next < args.size() ? args[next++] : nullptr;
      for (; text != nullptr && *text != 0; ++text) put(*text);
      ++p;
    } else if (p[0] == u'%' && p[1] == u'%') {
      put(u'%');
      ++p;
    } else {
      put(*p);
    }
  }
  target[length] = 0;
  return static_cast<int>(length);
}

std::size_t wcslen(LPCWSTR text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

int wcscmp(LPCWSTR first, LPCWSTR second) {
  while (*first != 0 && *first == *second) {
    ++first;
    ++second;
  }
  return static_cast<int>(*first) - static_cast<int>(*second);
}
