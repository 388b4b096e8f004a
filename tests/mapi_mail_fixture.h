// The fixture of the MAPI mail tests: the agent in-process on an emulated
// handheld whose store the test fills through device::MailEditor.
#ifndef VORN_TESTS_MAPI_MAIL_FIXTURE_H_
#define VORN_TESTS_MAPI_MAIL_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/mapi/mail_editor.h"
#include "device/mapi/mapi.h"
#include "platform/api.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace mapi_mail_test {

using device::MailFolder;
using device::NewMail;
using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::InProcessHandheld;
using testing_support::LE16;
using testing_support::LE32;
using testing_support::PacketBuilder;

inline constexpr std::uint8_t kMail = 4;

inline Bytes PropLong(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}
inline Bytes PropString(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}
inline Bytes TimeRecord(std::uint16_t year, std::uint16_t month,
                        std::uint16_t dow, std::uint16_t day,
                        std::uint16_t hour, std::uint16_t minute,
                        std::uint16_t second) {
  return Cat({LE16(year), LE16(month), LE16(dow), LE16(day), LE16(hour),
              LE16(minute), LE16(second), LE16(0)});
}
inline Bytes RecordHeader(std::uint32_t key, std::uint8_t propCount) {
  return Cat({Bytes{1, 0}, LE32(key), Bytes{propCount}});
}

inline FILETIME Utc(WORD year, WORD month, WORD day, WORD hour, WORD minute,
                    WORD second) {
  SYSTEMTIME time = {year, month, 0, day, hour, minute, second, 0};
  FILETIME result = {};
  EXPECT_NE(SystemTimeToFileTime(&time, &result), FALSE);
  return result;
}

class MapiMailTest : public ::testing::Test {
 protected:
  std::uint32_t Add(const NewMail& mail) {
    device::MailEditor editor(handheld_.device().mapi());
    auto key = editor.Add(mail);
    EXPECT_TRUE(key.ok());
    return key.ok() ? key.value() : 0;
  }
  std::uint32_t AddIn(MailFolder folder, bool read = false) {
    NewMail mail;
    mail.folder = folder;
    mail.read = read;
    return Add(mail);
  }
  std::vector<Bytes> Exchange(const std::vector<Bytes>& packets) {
    std::vector<Bytes> replies = handheld_.Exchange(packets);
    EXPECT_EQ(replies.size(), packets.size() + 1);
    if (!replies.empty()) replies.pop_back();
    return replies;
  }
  Bytes One(const Bytes& packet) { return Exchange({packet}).at(0); }
  static Bytes ListOf(const std::vector<std::uint32_t>& keys) {
    Bytes reply = Cat(
        {Bytes{1, 0}, LE32(static_cast<std::uint32_t>(keys.size())), Bytes{0}});
    for (std::uint32_t key : keys) reply = Cat({reply, LE32(key)});
    return reply;
  }
  device::Mapi& mapi() { return handheld_.device().mapi(); }

  InProcessHandheld handheld_;
};

}  // namespace mapi_mail_test

#endif  // VORN_TESTS_MAPI_MAIL_FIXTURE_H_
