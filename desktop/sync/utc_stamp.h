// Times of a sync run as they appear in file names and summaries.
#ifndef VORN_DESKTOP_SYNC_UTC_STAMP_H_
#define VORN_DESKTOP_SYNC_UTC_STAMP_H_

#include <cstdint>
#include <string>

namespace desktop {

// `seconds` since 1970 in ISO 8601 basic form, UTC: "20261123T150305Z",
// the form of REV and of the names of conflict copies.
std::string BasicUtcStamp(std::int64_t seconds);

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_UTC_STAMP_H_
