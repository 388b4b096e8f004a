// The reused handheld of the fuzz targets: built from init options, and
// rewound to the state its preparation left before every use.
#include "tests/support/reused_handheld.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "tests/support/packet_builder.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::ReusedHandheld;

constexpr std::uint8_t kMail = 4;

Bytes OsVersionAnswer(InProcessHandheld& handheld) {
  std::vector<Bytes> replies =
      handheld.Exchange({PacketBuilder(20, kMail).packet()});
  return replies.empty() ? Bytes() : replies[0];
}

TEST(ReusedHandheldTest, TheDefaultHandheldHasMapi) {
  ReusedHandheld reused;
  EXPECT_EQ(OsVersionAnswer(reused.Fresh()), LE32(1));
}

TEST(ReusedHandheldTest, AnOlderOperatingSystemHasNoMapi) {
  device::InitOptions options;
  options.os = "3.0.9348";
  ReusedHandheld reused({}, options);
  EXPECT_EQ(OsVersionAnswer(reused.Fresh()), LE32(0));
}

Bytes AddMail(std::u16string_view subject) {
  return PacketBuilder(2, kMail)
      .U32(1)
      .U32(1)
      .U32(0)
      .U32(0xFE)
      .U32(5)
      .Str(subject)
      .packet();
}

TEST(ReusedHandheldTest, EveryUseStartsFromThePreparedState) {
  ReusedHandheld reused([](InProcessHandheld& handheld) {
    handheld.Exchange({AddMail(u"kept")});
  });
  const Bytes count = PacketBuilder(6, kMail).packet();
  const Bytes one = Cat({Bytes{1, 0}, LE32(1)});
  EXPECT_EQ(reused.Fresh().Exchange({count})[0], one);
  EXPECT_EQ(reused.Fresh().Exchange({AddMail(u"dropped"), count})[1],
            Cat({Bytes{1, 0}, LE32(2)}));
  EXPECT_EQ(reused.Fresh().Exchange({count})[0], one);
}

}  // namespace
