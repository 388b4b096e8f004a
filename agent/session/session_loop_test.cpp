// The conversation spine on the emulated handheld: entry point, session
// loop, framing and the fault rule, byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/registry/registry.h"
#include "platform/services.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::FramePacket;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::ReplyFrame;

const Bytes kEmptyReply = {0, 0, 0, 0};

// Records the names of the platform calls made while it lives.
class CallLog {
 public:
  CallLog() { platform::SetCallTracer(&CallLog::Record, this); }
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;
  ~CallLog() { platform::SetCallTracer(nullptr, nullptr); }
  bool Saw(const std::string& name) const {
    for (const auto& call : calls) {
      if (call == name) return true;
    }
    return false;
  }
  // Index of the first call of `name`, or -1.
  int First(const std::string& name) const {
    for (std::size_t i = 0; i < calls.size(); ++i) {
      if (calls[i] == name) return static_cast<int>(i);
    }
    return -1;
  }
  std::vector<std::string> calls;

 private:
  static void Record(const char* name, void* self) {
    static_cast<CallLog*>(self)->calls.emplace_back(name);
  }
};

TEST(SessionLoopTest, EndOfSessionAloneSendsAnEmptyReply) {
  InProcessHandheld handheld;
  auto outcome = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.output, kEmptyReply);
  EXPECT_EQ(outcome.messages, "");
}

TEST(SessionLoopTest, CommandsWithoutOperationGetAnEmptyReplyAndGoOn) {
  InProcessHandheld handheld;
  auto outcome =
      handheld.Converse(Cat({FramePacket({21, 1}), FramePacket({0, 2}),
                             FramePacket({255, 3}), FramePacket({1, 1})}));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.output,
            Cat({kEmptyReply, kEmptyReply, kEmptyReply, kEmptyReply}));
}

TEST(SessionLoopTest, UnknownDataTypeEndsTheSessionWithoutAReply) {
  for (std::uint8_t type : {0, 6, 7, 255}) {
    InProcessHandheld handheld;
    auto outcome =
        handheld.Converse(Cat({FramePacket({20, 1}), FramePacket({20, type}),
                               FramePacket({20, 1}), FramePacket({1, 1})}));
    EXPECT_EQ(outcome.result, S_OK) << int{type};
    // Only the first packet was answered.
    EXPECT_EQ(outcome.output, ReplyFrame(LE32(1))) << int{type};
  }
}

TEST(SessionLoopTest, EndOfSessionForMailRunsTheVersionTest) {
  InProcessHandheld handheld;
  CallLog log;
  auto outcome = handheld.Converse(FramePacket({1, 4}));
  EXPECT_EQ(outcome.output, kEmptyReply);
  EXPECT_TRUE(log.Saw("GetVersionExW"));

  CallLog contacts;
  handheld.Converse(FramePacket({1, 1}));
  EXPECT_FALSE(contacts.Saw("GetVersionExW"));
}

TEST(SessionLoopTest, CheckOsVersionFollowsTheBuildNumber) {
  struct Case {
    const char* os;
    std::uint32_t answer;
  };
  for (Case c :
       {Case{"3.0.11171", 1}, Case{"3.0.11170", 0}, Case{"3.1.20000", 0},
        Case{"4.20.1081", 1}, Case{"2.12.9999", 0}, Case{"5.1.0", 1}}) {
    device::InitOptions options;
    options.os = c.os;
    InProcessHandheld handheld(options);
    auto frames = handheld.Exchange({{20, 1}});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0], LE32(c.answer)) << c.os;
  }
}

TEST(SessionLoopTest, StaleReplyBytesAreNeverSent) {
  InProcessHandheld handheld;
  ASSERT_TRUE(
      handheld.device()
          .registry()
          .SetString("HKLM\\SOFTWARE\\Orvanet", "MachineID", "ABCDEFGHIJKLMNOP")
          .ok());
  auto frames = handheld.Exchange({{14, 1}, {20, 1}});
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[0],
            Cat({LE32(0x3C), testing_support::Counted(u"ABCDEFGHIJKLMNOP")}));
  // The version answer overwrites the first four bytes only; the rest of
  // the machine identity still lies in the buffer but is not sent.
  EXPECT_EQ(frames[1], LE32(1));
  EXPECT_EQ(frames[2], Bytes());
}

TEST(SessionLoopTest, PacketShorterThanItsContentsIsAFault) {
  InProcessHandheld handheld;
  // GetRecord without its OID, a packet of one byte, an empty packet.
  for (const Bytes& bad : {Bytes{7, 1, 0x10}, Bytes{6}, Bytes{}}) {
    auto outcome = handheld.Converse(
        Cat({FramePacket({20, 1}), FramePacket(bad), FramePacket({1, 1})}));
    EXPECT_EQ(outcome.result, S_OK);
    EXPECT_EQ(outcome.output, ReplyFrame(LE32(1))) << testing_support::Hex(bad);
  }
}

TEST(SessionLoopTest, LengthThatCannotBeAllocatedIsAFault) {
  InProcessHandheld handheld;
  auto outcome = handheld.Converse(
      Cat({FramePacket({20, 1}), LE32(0xFFFFFFF0), Bytes{6, 1}}));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.output, ReplyFrame(LE32(1)));
}

TEST(SessionLoopTest, StreamThatEndsEarlyEndsTheSession) {
  InProcessHandheld handheld;
  auto outcome =
      handheld.Converse(Cat({FramePacket({20, 1}), LE32(10), Bytes{6, 1}}));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.output, ReplyFrame(LE32(1)));
}

TEST(SessionLoopTest, SecondConversationInTheSameAgentWorks) {
  InProcessHandheld handheld;
  for (int i = 0; i < 3; ++i) {
    // One ends by a fault, the next one normally.
    auto faulted = handheld.Converse(FramePacket({20, 9}));
    EXPECT_EQ(faulted.result, S_OK);
    EXPECT_TRUE(faulted.output.empty());
    auto frames = handheld.Exchange({{6, 1}});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0], Cat({Bytes{1, 0}, LE32(0)}));
  }
}

// Start-up.

device::RegistryValue OutlookSwitch(InProcessHandheld& handheld, bool* found) {
  auto value = handheld.device().registry().Get(
      "HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook");
  *found = value.ok();
  return value.ok() ? value.value() : device::RegistryValue{};
}

TEST(StartUpTest, OutlookSwitchOffIsTurnedOnBeforeCreation) {
  InProcessHandheld handheld;
  auto& registry = handheld.device().registry();
  ASSERT_TRUE(
      registry.SetDword("HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook", 0)
          .ok());
  CallLog log;
  handheld.Converse(FramePacket({1, 1}));
  bool found = false;
  auto value = OutlookSwitch(handheld, &found);
  ASSERT_TRUE(found);
  EXPECT_EQ(value.type, 4U);
  EXPECT_EQ(value.data, LE32(1));
  ASSERT_GE(log.First("RegSetValueExW"), 0);
  EXPECT_LT(log.First("RegSetValueExW"), log.First("CoCreateInstance"));
}

TEST(StartUpTest, OutlookSwitchAbsentStaysAbsentAndOtherValuesStay) {
  InProcessHandheld handheld;
  auto& registry = handheld.device().registry();
  (void)registry.Delete("HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook");
  handheld.Converse(FramePacket({1, 1}));
  bool found = true;
  OutlookSwitch(handheld, &found);
  EXPECT_FALSE(found);

  ASSERT_TRUE(
      registry.SetDword("HKLM\\SOFTWARE\\Microsoft\\Pim\\Outlook", "Outlook", 5)
          .ok());
  handheld.Converse(FramePacket({1, 1}));
  auto value = OutlookSwitch(handheld, &found);
  EXPECT_EQ(value.data, LE32(5));
}

TEST(StartUpTest, FailedCreationRecoveredByRegistrationShowsNothing) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device().faults().Set("cocreate-fails", "").ok());
  CallLog log;
  auto outcome = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.output, kEmptyReply);
  EXPECT_EQ(outcome.messages, "");
  EXPECT_TRUE(log.Saw("LoadLibraryW"));
  EXPECT_TRUE(log.Saw("FreeLibrary"));
}

TEST(StartUpTest, MissingServerLibraryFailsRegistration) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device().faults().Set("cocreate-fails", "").ok());
  ASSERT_TRUE(handheld.device().faults().Set("pimstore-missing", "").ok());
  auto outcome = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(outcome.result, E_FAIL);
  EXPECT_TRUE(outcome.output.empty());
  EXPECT_EQ(outcome.messages, "messagebox: ERROR: RegisterPOOM failed\n");
}

TEST(StartUpTest, FailingRegistrationFails) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device().faults().Set("cocreate-fails", "").ok());
  ASSERT_TRUE(handheld.device().faults().Set("register-fails", "").ok());
  auto outcome = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(outcome.result, E_FAIL);
  EXPECT_TRUE(outcome.output.empty());
  EXPECT_EQ(outcome.messages, "messagebox: ERROR: RegisterPOOM failed\n");
}

TEST(StartUpTest, CreationFailingTwiceFails) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device().faults().Set("cocreate-fails-always", "").ok());
  auto outcome = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(outcome.result, E_FAIL);
  EXPECT_TRUE(outcome.output.empty());
  EXPECT_EQ(outcome.messages, "messagebox: ERROR: CoCreateInstance failed\n");
}

TEST(StartUpTest, FailedLogonKeepsTheApplicationForTheNextCall) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device().faults().Set("logon-fails", "").ok());
  auto first = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(first.result, E_FAIL);
  EXPECT_TRUE(first.output.empty());
  EXPECT_EQ(first.messages, "messagebox: ERROR: Logon failed\n");
  // The session object and its application object survive the failed
  // start: the next call starts at once, without a logon, and serves.
  CallLog log;
  auto second = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(second.result, S_OK);
  EXPECT_EQ(second.output, kEmptyReply);
  EXPECT_EQ(second.messages, "");
  EXPECT_FALSE(log.Saw("CoCreateInstance"));
  // That session ended with Logoff and Release of the application; the
  // next call builds everything anew.
  CallLog third;
  auto again = handheld.Converse(FramePacket({1, 1}));
  EXPECT_EQ(again.result, E_FAIL);
  EXPECT_TRUE(third.Saw("CoCreateInstance"));
  // The agent still holds that session object and its application object;
  // a served conversation ends it before this handheld goes away.
  ASSERT_TRUE(handheld.device().faults().Clear("logon-fails").ok());
  EXPECT_EQ(handheld.Converse(FramePacket({1, 1})).result, S_OK);
}

}  // namespace
}  // namespace agent
