// Moving a FILETIME between UTC and the handheld's local time, as the mail
// handlers exchange message times with the desktop.
//
// The zone is the handheld's TIME_ZONE_INFORMATION; its daylight-saving
// rules are evaluated for the year of the time being converted. Whether
// daylight time applies is decided by comparing the time as given with the
// zone's transition instants, which are local times, in both directions: near
// a transition a UTC time is judged against local transition times. That rule
// is deliberate and kept.
#ifndef VORN_AGENT_SESSION_TIME_ZONE_CONVERSION_H_
#define VORN_AGENT_SESSION_TIME_ZONE_CONVERSION_H_

#include "platform/types.h"

namespace agent {

// FILETIME units in one minute.
inline constexpr std::int64_t kFileTimeUnitsPerMinute = 600000000;

// Adds `minutes` (negative moves back) to the 64-bit value of `time`.
// Returns 1.
int ShiftFileTime(FILETIME& time, LONG minutes);

// Converts `time` in place from UTC to local time in `zone`. Returns 1, or 0
// when a transition date of the zone cannot be formed for the time's year;
// `time` is then left unchanged.
int UtcToLocalFileTime(const TIME_ZONE_INFORMATION& zone, FILETIME& time);

// Converts `time` in place from local time in `zone` to UTC; results as
// UtcToLocalFileTime.
int LocalToUtcFileTime(const TIME_ZONE_INFORMATION& zone, FILETIME& time);

}  // namespace agent

#endif  // VORN_AGENT_SESSION_TIME_ZONE_CONVERSION_H_
