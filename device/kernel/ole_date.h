// OLE automation dates (DATE): days since 1899-12-30 as a double. For dates
// before that day the integer part counts days back while the fraction
// still counts the time of day forward (-1.25 is 1899-12-29 06:00). The
// handheld's conversions work to the second: milliseconds are ignored on
// the way in and the time is rounded to the nearest second on the way out.
// Dates run from 100-01-01 to 9999-12-31.
#ifndef VORN_DEVICE_KERNEL_OLE_DATE_H_
#define VORN_DEVICE_KERNEL_OLE_DATE_H_

#include <optional>

#include "platform/types.h"

namespace device {

// The object model's "no date": 4501-01-01.
inline constexpr double kOleNoDate = 949998.0;
// 100-01-01 and the first value past 9999-12-31 23:59:59.
inline constexpr double kOleMinDate = -657434.0;
inline constexpr double kOleDateLimit = 2958466.0;

// The DATE of `time`; nullopt when a field is out of range (month, day of
// the month, hour, minute, second) or the year is outside 100..9999. The
// day of the week and the milliseconds are ignored.
std::optional<double> SystemTimeToOleDate(const SYSTEMTIME& time);

// The SYSTEMTIME of `date` with its day of the week and zero milliseconds;
// nullopt for a date outside the range above (also after rounding) or NaN.
std::optional<SYSTEMTIME> OleDateToSystemTime(double date);

}  // namespace device

#endif  // VORN_DEVICE_KERNEL_OLE_DATE_H_
