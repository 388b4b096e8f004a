#include "device/stream/conversation.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "device/registry/registry.h"
#include "platform/api.h"
#include "platform/fault.h"

namespace device {
namespace {

namespace fs = std::filesystem;

// What the fake entry points below observe.
struct Observed {
  DeviceImage* other = nullptr;  // a second connection to the image
  bool visibleBeforeReply = true;
  bool visibleAfterReply = false;
  bool servicesInstalled = false;
};
Observed g_observed;

bool OtherSeesValue() {
  Statement find = g_observed.other->Prepare(
      "SELECT count(*) FROM reg_values WHERE name='Seen'");
  return find.Step() && find.Int(0) == 1;
}

// Reads one length-prefixed packet, sets a registry value, replies, and
// ends at the end of the input like the agent's guard does.
HRESULT SetValueEntry(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream* stream) {
  g_observed.servicesInstalled =
      platform::CurrentServices().registry != nullptr;
  try {
    BYTE length[4];
    stream->Read(length, 4, nullptr);
    BYTE packet[2];
    stream->Read(packet, 2, nullptr);
    HKEY key = 0;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Orvanet", 0, nullptr, 0, 0,
                    nullptr, &key, nullptr);
    const BYTE one[4] = {1, 0, 0, 0};
    RegSetValueExW(key, u"Seen", 0, REG_DWORD, one, 4);
    RegCloseKey(key);
    if (g_observed.other) g_observed.visibleBeforeReply = OtherSeesValue();
    const BYTE reply[4] = {0, 0, 0, 0};
    stream->Write(reply, 4, nullptr);
    if (g_observed.other) g_observed.visibleAfterReply = OtherSeesValue();
    stream->Read(length, 4, nullptr);  // the desktop has gone: a fault
  } catch (const platform::Fault&) {
  }
  stream->Release();
  return S_OK;
}

// Fails to start: neither reads nor releases the stream.
HRESULT FailingEntry(DWORD, BYTE*, DWORD*, BYTE**, IRAPIStream*) {
  MessageBoxW(0, u"Logon failed", u"ERROR", MB_SETFOREGROUND);
  return E_FAIL;
}

TEST(ConversationTest, PacketIsCommittedWhenItsReplyIsWritten) {
  fs::path path = fs::temp_directory_path() /
                  ("vorn-conversation-" + std::to_string(::getpid()) + ".img");
  ASSERT_TRUE(Device::Init(path.string(), {}).ok());
  {
    auto device = Device::Open(path.string());
    ASSERT_TRUE(device.ok());
    auto other = DeviceImage::Open(path.string());
    ASSERT_TRUE(other.ok());
    g_observed = Observed{other.value().get()};
    MemoryChannel channel({2, 0, 0, 0, 1, 1});
    EXPECT_EQ(RunConversation(**device, channel, &SetValueEntry), S_OK);
    EXPECT_TRUE(g_observed.servicesInstalled);
    EXPECT_FALSE(g_observed.visibleBeforeReply);
    EXPECT_TRUE(g_observed.visibleAfterReply);
    EXPECT_EQ(channel.output(), std::vector<std::uint8_t>(4, 0));
    EXPECT_EQ(platform::CurrentServices().registry, nullptr);
    EXPECT_EQ((*device)->handles().OpenCount(), 0u);
    g_observed = Observed{};
  }
  for (const char* suffix : {"", "-wal", "-shm"}) {
    fs::remove(path.string() + suffix);
  }
}

TEST(ConversationTest, FailedStartReturnsEFailAndWritesNothing) {
  auto device = Device::InMemory();
  std::ostringstream messages;
  device->SetMessageOutput(&messages);
  MemoryChannel channel({1, 2, 3});
  EXPECT_EQ(RunConversation(*device, channel, &FailingEntry), E_FAIL);
  EXPECT_TRUE(channel.output().empty());
  EXPECT_EQ(channel.remaining(), 3u);
  EXPECT_EQ(messages.str(), "messagebox: ERROR: Logon failed\n");
  EXPECT_FALSE(device->image().InTransaction());
}

// Buffer mode: sets a registry value, answers its input doubled, then tries
// the stream, which faults.
bool g_streamFaulted = false;
HRESULT BufferEntry(DWORD size, BYTE* input, DWORD* outSize, BYTE** output,
                    IRAPIStream* stream) {
  HKEY key = 0;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Orvanet", 0, nullptr, 0, 0,
                  nullptr, &key, nullptr);
  const BYTE one[4] = {1, 0, 0, 0};
  RegSetValueExW(key, u"Buffered", 0, REG_DWORD, one, 4);
  RegCloseKey(key);
  auto* out = static_cast<BYTE*>(LocalAlloc(0, std::size_t{2} * size));
  for (std::size_t i = 0; i < size; ++i) out[2 * i] = out[2 * i + 1] = input[i];
  *outSize = 2 * size;
  *output = out;
  BYTE byte = 0;
  try {
    stream->Read(&byte, 1, nullptr);
  } catch (const platform::Fault&) {
    g_streamFaulted = true;
  }
  EXPECT_EQ(stream->Release(), 0u);
  return S_FALSE;
}

TEST(ConversationTest, BufferCallGetsItsInputAndGivesItsOutput) {
  auto device = Device::InMemory();
  std::vector<std::uint8_t> output = {0xBD};
  const std::uint8_t input[] = {1, 2};
  EXPECT_EQ(RunBufferCall(*device, &BufferEntry, input, &output), S_FALSE);
  EXPECT_EQ(output, (std::vector<std::uint8_t>{1, 1, 2, 2}));
  EXPECT_TRUE(g_streamFaulted);
  EXPECT_FALSE(device->image().InTransaction());
  Statement find = device->image().Prepare(
      "SELECT count(*) FROM reg_values WHERE name='Buffered'");
  ASSERT_TRUE(find.Step());
  EXPECT_EQ(find.Int(0), 1);
  EXPECT_EQ(platform::CurrentServices().registry, nullptr);
}

}  // namespace
}  // namespace device
