// The agent's conversion of message times between UTC and local time, on
// handhelds made with `vorn-device init --tz ZONE`, against the host's own
// conversion of the same zone (the C library under TZ=ZONE).
#include "agent/session/time_zone_conversion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "device/device.h"
#include "platform/api.h"
#include "tests/support/program.h"

namespace {

using testing_support::RunProgram;
using testing_support::TempDir;

constexpr std::int64_t kUnixEpochAsFileTime = 116444736000000000LL;
constexpr std::int64_t kUnitsPerSecond = 10000000;

FILETIME FromUnix(std::int64_t seconds) {
  auto value = static_cast<std::uint64_t>(kUnixEpochAsFileTime +
                                          seconds * kUnitsPerSecond);
  return FILETIME{static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

std::int64_t ToUnix(const FILETIME& time) {
  auto value = static_cast<std::int64_t>(
      (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
  return (value - kUnixEpochAsFileTime) / kUnitsPerSecond;
}

// The host's offset of `zone` from UTC, in seconds, at `seconds`.
class HostZone {
 public:
  explicit HostZone(const std::string& zone) {
    if (const char* tz = std::getenv("TZ"); tz != nullptr) saved_ = tz;
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  HostZone(const HostZone&) = delete;
  HostZone& operator=(const HostZone&) = delete;
  ~HostZone() {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

  static std::int64_t OffsetAt(std::int64_t seconds) {
    std::time_t t = seconds;
    std::tm local{};
    localtime_r(&t, &local);
    return local.tm_gmtoff;
  }

 private:
  std::optional<std::string> saved_;
};

// The zone description of a handheld made with `vorn-device init --tz`.
TIME_ZONE_INFORMATION HandheldZone(const std::string& zone) {
  TempDir dir;
  std::string image = dir.path("tz.vdi");
  auto init = RunProgram({"vorn-device", "init", image, "--tz", zone});
  EXPECT_EQ(init.exitCode, 0) << init.err;
  auto device = device::Device::Open(image);
  EXPECT_TRUE(device.ok());
  TIME_ZONE_INFORMATION info{};
  if (!device.ok()) return info;
  device::ScopedServices services((*device)->services());
  EXPECT_NE(GetTimeZoneInformation(&info), TIME_ZONE_ID_INVALID);
  return info;
}

// 2023-01-01 00:00 UTC to 2031-01-01, every five hours and seventeen minutes
// (so the samples fall on every hour of the day over the years). The
// handheld knows a zone's present rule only; the zones below last changed
// theirs before 2023.
constexpr std::int64_t kFirst = 1672531200;
constexpr std::int64_t kLast = 1924992000;
constexpr std::int64_t kStep = 5 * 3600 + 17 * 60;
// Far enough from a transition for the deliberate rule (UTC times judged
// against local transition times) to agree with the wall clock.
constexpr std::int64_t kMargin = std::int64_t{16} * 3600;

class HostComparisonTest : public testing::TestWithParam<const char*> {};

TEST_P(HostComparisonTest, AgreesWithTheHostAwayFromTransitions) {
  const std::string zone = GetParam();
  TIME_ZONE_INFORMATION info = HandheldZone(zone);
  HostZone host(zone);
  int compared = 0;
  int transitions = 0;
  for (std::int64_t t = kFirst; t < kLast; t += kStep) {
    std::int64_t offset = HostZone::OffsetAt(t);
    if (HostZone::OffsetAt(t - kMargin) != HostZone::OffsetAt(t + kMargin)) {
      ++transitions;
      continue;
    }
    FILETIME time = FromUnix(t);
    ASSERT_EQ(agent::UtcToLocalFileTime(info, time), 1);
    ASSERT_EQ(ToUnix(time), t + offset) << zone << " UTC " << t;
    ASSERT_EQ(agent::LocalToUtcFileTime(info, time), 1);
    ASSERT_EQ(ToUnix(time), t) << zone << " local " << t + offset;
    ++compared;
  }
  EXPECT_GT(compared, 13000);
  bool keepsDaylightTime = info.DaylightDate.wMonth != 0;
  EXPECT_EQ(transitions > 0, keepsDaylightTime) << zone;
}

INSTANTIATE_TEST_SUITE_P(Zones, HostComparisonTest,
                         testing::Values("Europe/Berlin", "America/New_York",
                                         "Australia/Sydney", "Pacific/Auckland",
                                         "America/Sao_Paulo", "Asia/Tokyo",
                                         "Asia/Kolkata", "UTC"));

// Within a zone's offset of a transition the agent's rule and the wall
// clock part: the UTC time is compared with the local transition time.
TEST(TimeZoneQuirkTest, UtcTimesNearTransitionsFollowTheLocalRule) {
  TIME_ZONE_INFORMATION berlin = HandheldZone("Europe/Berlin");
  TIME_ZONE_INFORMATION newYork = HandheldZone("America/New_York");
  struct Case {
    const TIME_ZONE_INFORMATION* zone;
    const char* name;
    std::int64_t utc;
    std::int64_t agentOffset;
  };
  const Case cases[] = {
      // 2024-03-31 01:30 UTC: Berlin's wall clock shows 03:30 (summer
      // time since 01:00 UTC); the agent still sees winter (01:30 < 02:00).
      {&berlin, "Europe/Berlin", 1711848600, 3600},
      // 2024-10-27 02:30 UTC: the wall clock is back on winter time (since
      // 01:00 UTC); the agent still sees summer (02:30 < 03:00).
      {&berlin, "Europe/Berlin", 1729996200, 7200},
      // 2024-03-10 03:00 UTC: New York is still on standard time until
      // 07:00 UTC; the agent sees daylight time (03:00 >= 02:00).
      {&newYork, "America/New_York", 1710039600, -14400},
      // 2024-11-03 03:00 UTC: still daylight time on the wall clock until
      // 06:00 UTC; the agent sees standard time (03:00 >= 02:00).
      {&newYork, "America/New_York", 1730602800, -18000},
  };
  for (const Case& c : cases) {
    HostZone host(c.name);
    std::int64_t hostOffset = HostZone::OffsetAt(c.utc);
    EXPECT_NE(hostOffset, c.agentOffset) << c.name << " " << c.utc;
    FILETIME time = FromUnix(c.utc);
    ASSERT_EQ(agent::UtcToLocalFileTime(*c.zone, time), 1);
    EXPECT_EQ(ToUnix(time), c.utc + c.agentOffset) << c.name << " " << c.utc;
  }
}

}  // namespace
