#include "desktop/formats/ical_recurrence.h"

#include <vector>

namespace desktop {
namespace {

constexpr const char* kDays[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

std::string ByDay(std::uint32_t mask) {
  std::string out;
  for (int d = 0; d < 7; ++d) {
    if ((mask & (1u << d)) == 0) continue;
    if (!out.empty()) out += ',';
    out += kDays[d];
  }
  return out;
}

std::string ByMonthDay(std::uint32_t day) {
  if (day < 1) day = 1;
  if (day > 31) day = 31;
  if (day <= 28) return ";BYMONTHDAY=" + std::to_string(day);
  std::string days;
  for (std::uint32_t d = 28; d <= day; ++d) {
    days += (days.empty() ? "" : ",") + std::to_string(d);
  }
  return ";BYMONTHDAY=" + days + ";BYSETPOS=-1";
}

std::string SetPos(std::uint32_t instance) {
  int position =
      instance >= 5 ? -1 : static_cast<int>(instance < 1 ? 1 : instance);
  return ";BYSETPOS=" + std::to_string(position);
}

std::string Until(const Recurrence& r, bool all_day, const IcalZone& zone) {
  TimeRecord end = r.pattern_end;
  if (all_day) return ";UNTIL=" + end.ToBasic().substr(0, 8);
  end.hour = 23;
  end.minute = 59;
  end.second = 59;
  end.milliseconds = 0;
  icaltimetype t = zone.ToIcal(end, false);
  if (zone.floating()) return ";UNTIL=" + end.ToBasic();
  t = icaltime_convert_to_zone(t, icaltimezone_get_utc_timezone());
  return std::string(";UNTIL=") + icaltime_as_ical_string(t);
}

// The values of a BY list, up to its end marker.
std::vector<short> Values(const short* list, int size) {
  std::vector<short> out;
  for (int i = 0; i < size && list[i] != ICAL_RECURRENCE_ARRAY_MAX; ++i) {
    out.push_back(list[i]);
  }
  return out;
}

}  // namespace

std::string IcalRecurrence::RuleText(const Recurrence& r,
                                     const TimeRecord& start, bool all_day,
                                     const IcalZone& zone) {
  const std::string interval =
      ";INTERVAL=" + std::to_string(r.interval < 1 ? 1 : r.interval);
  std::uint32_t mask = r.day_of_week_mask & 0x7F;
  if (mask == 0) mask = 1u << DayOfWeek(start.year, start.month, start.day);
  const std::string month =
      ";BYMONTH=" + std::to_string(r.month_of_year < 1 || r.month_of_year > 12
                                       ? start.month
                                       : r.month_of_year);
  std::string text;
  switch (static_cast<RecurrenceType>(r.type)) {
    case RecurrenceType::kDaily:
      text = "FREQ=DAILY" + interval;
      break;
    case RecurrenceType::kWeekly:
      text = "FREQ=WEEKLY" + interval + ";WKST=SU;BYDAY=" + ByDay(mask);
      break;
    case RecurrenceType::kMonthly:
      text = "FREQ=MONTHLY" + interval + ByMonthDay(r.day_of_month);
      break;
    case RecurrenceType::kMonthNth:
      text = "FREQ=MONTHLY" + interval + ";BYDAY=" + ByDay(mask) +
             SetPos(r.instance);
      break;
    case RecurrenceType::kYearly:
      text = "FREQ=YEARLY" + interval + month + ByMonthDay(r.day_of_month);
      break;
    case RecurrenceType::kYearNth:
      text = "FREQ=YEARLY" + interval + month + ";BYDAY=" + ByDay(mask) +
             SetPos(r.instance);
      break;
    default:
      text = "FREQ=DAILY" + interval;
      break;
  }
  switch (static_cast<EndKind>(r.end_kind)) {
    case EndKind::kByDate:
      text += Until(r, all_day, zone);
      break;
    case EndKind::kAfterCount:
      text += ";COUNT=" + std::to_string(r.occurrences);
      break;
    default:
      break;
  }
  return text;
}

Result<Recurrence> IcalRecurrence::FromRule(const icalrecurrencetype& rule,
                                            const TimeRecord& start,
                                            const IcalZone& zone) {
  auto refuse = [](const std::string& why) {
    return Status::Error("its repeat rule " + why);
  };
  if (!Values(rule.by_second, ICAL_BY_SECOND_SIZE).empty() ||
      !Values(rule.by_minute, ICAL_BY_MINUTE_SIZE).empty() ||
      !Values(rule.by_hour, ICAL_BY_HOUR_SIZE).empty() ||
      !Values(rule.by_year_day, ICAL_BY_YEARDAY_SIZE).empty() ||
      !Values(rule.by_week_no, ICAL_BY_WEEKNO_SIZE).empty()) {
    return refuse("picks hours, minutes, seconds, year days or week numbers");
  }
  Recurrence r;
  r.pattern_start = TimeRecord::FromDate(start.year, start.month, start.day);
  r.interval =
      rule.interval < 1 ? 1 : static_cast<std::uint32_t>(rule.interval);

  std::uint32_t mask = 0;
  int position = 0;  // an ordinal given with the days (2TU)
  for (short day : Values(rule.by_day, ICAL_BY_DAY_SIZE)) {
    int weekday = icalrecurrencetype_day_day_of_week(day);  // 1 = Sunday
    int pos = icalrecurrencetype_day_position(day);
    if (weekday < 1 || weekday > 7) return refuse("names an unknown day");
    if (pos != 0) {
      if (position != 0 && position != pos) {
        return refuse("mixes ordinals of days");
      }
      position = pos;
    }
    mask |= 1u << (weekday - 1);
  }
  std::vector<short> month_days =
      Values(rule.by_month_day, ICAL_BY_MONTHDAY_SIZE);
  std::vector<short> months = Values(rule.by_month, ICAL_BY_MONTH_SIZE);
  std::vector<short> set_pos = Values(rule.by_set_pos, ICAL_BY_SETPOS_SIZE);
  if (months.size() > 1) return refuse("names more than one month");
  if (set_pos.size() > 1) return refuse("has more than one BYSETPOS");
  if (position != 0 && !set_pos.empty()) {
    return refuse("has both day ordinals and BYSETPOS");
  }
  if (!set_pos.empty()) position = set_pos[0];
  auto instance = [&]() -> Result<std::uint32_t> {
    if (position == -1) return 5u;
    if (position >= 1 && position <= 4)
      return static_cast<std::uint32_t>(position);
    return refuse("picks occurrence " + std::to_string(position) +
                  " of a month (the handheld takes 1-4 and the last)");
  };
  // One day of the month, or the form 28,...,d with BYSETPOS=-1.
  auto month_day = [&]() -> Result<std::uint32_t> {
    if (month_days.empty()) return std::uint32_t{start.day};
    if (month_days.size() == 1 && month_days[0] >= 1 && set_pos.empty()) {
      return static_cast<std::uint32_t>(month_days[0]);
    }
    bool last_of_run = position == -1 && month_days.front() == 28;
    for (std::size_t i = 1; i < month_days.size(); ++i) {
      if (month_days[i] != month_days[i - 1] + 1) last_of_run = false;
    }
    if (last_of_run && month_days.back() <= 31) {
      return static_cast<std::uint32_t>(month_days.back());
    }
    return refuse("picks days of the month the handheld cannot express");
  };

  switch (rule.freq) {
    case ICAL_DAILY_RECURRENCE:
      if (!month_days.empty() || !months.empty() || position != 0) {
        return refuse("limits a daily rule");
      }
      if (mask != 0) {
        r.type = static_cast<std::uint8_t>(RecurrenceType::kWeekly);
        r.day_of_week_mask = mask;
        if (r.interval != 1)
          return refuse("repeats days of the week every few days");
      } else {
        r.type = static_cast<std::uint8_t>(RecurrenceType::kDaily);
      }
      break;
    case ICAL_WEEKLY_RECURRENCE:
      if (!month_days.empty() || !months.empty() || position != 0) {
        return refuse("limits a weekly rule");
      }
      r.type = static_cast<std::uint8_t>(RecurrenceType::kWeekly);
      r.day_of_week_mask =
          mask != 0 ? mask
                    : 1u << DayOfWeek(start.year, start.month, start.day);
      break;
    case ICAL_MONTHLY_RECURRENCE:
    case ICAL_YEARLY_RECURRENCE: {
      const bool yearly = rule.freq == ICAL_YEARLY_RECURRENCE;
      if (mask != 0) {
        if (!month_days.empty()) return refuse("mixes days of week and month");
        Result<std::uint32_t> nth = instance();
        if (!nth.ok()) return nth.status();
        r.type = static_cast<std::uint8_t>(yearly ? RecurrenceType::kYearNth
                                                  : RecurrenceType::kMonthNth);
        r.day_of_week_mask = mask;
        r.instance = *nth;
      } else {
        Result<std::uint32_t> day = month_day();
        if (!day.ok()) return day.status();
        r.type = static_cast<std::uint8_t>(yearly ? RecurrenceType::kYearly
                                                  : RecurrenceType::kMonthly);
        r.day_of_month = *day;
      }
      if (yearly) {
        r.month_of_year = months.empty()
                              ? start.month
                              : static_cast<std::uint32_t>(months[0]);
      } else if (!months.empty()) {
        return refuse("limits a monthly rule to a month");
      }
      break;
    }
    default:
      return refuse("repeats more often than daily or not at all");
  }

  if (rule.count > 0) {
    r.end_kind = static_cast<std::uint8_t>(EndKind::kAfterCount);
    r.occurrences = static_cast<std::uint32_t>(rule.count);
  } else if (!icaltime_is_null_time(rule.until)) {
    r.end_kind = static_cast<std::uint8_t>(EndKind::kByDate);
    TimeRecord until = zone.FromIcal(rule.until);
    r.pattern_end = TimeRecord::FromDate(until.year, until.month, until.day);
  } else {
    r.end_kind = static_cast<std::uint8_t>(EndKind::kNever);
  }
  return r;
}

}  // namespace desktop
