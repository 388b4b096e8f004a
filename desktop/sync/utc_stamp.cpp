#include "desktop/sync/utc_stamp.h"

#include <ctime>

namespace desktop {

std::string BasicUtcStamp(std::int64_t seconds) {
  std::time_t t = static_cast<std::time_t>(seconds);
  std::tm utc{};
  gmtime_r(&t, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return text;
}

}  // namespace desktop
