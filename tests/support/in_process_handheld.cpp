#include "tests/support/in_process_handheld.h"

#include <gtest/gtest.h>

#include "agent/session/entry_point.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"
#include "protocol/wire.h"

namespace testing_support {

InProcessHandheld::InProcessHandheld(const device::InitOptions& options)
    : device_(device::Device::InMemory(options)) {
  device_->SetMessageOutput(&messages_);
}

ConversationOutcome InProcessHandheld::Converse(const Bytes& input) {
  return Converse(input, device_->services());
}

ConversationOutcome InProcessHandheld::Converse(
    const Bytes& input, const platform::Services& services) {
  messages_.str("");
  device::MemoryChannel channel(input);
  ConversationOutcome outcome;
  outcome.result =
      device::RunConversation(*device_, channel, &rsCeApiMgr, services);
  outcome.output = channel.output();
  outcome.messages = messages_.str();
  return outcome;
}

std::vector<Bytes> InProcessHandheld::Exchange(
    const std::vector<Bytes>& packets, std::uint8_t endType) {
  Bytes input;
  for (const Bytes& packet : packets) {
    Bytes frame = FramePacket(packet);
    input.insert(input.end(), frame.begin(), frame.end());
  }
  Bytes end = FramePacket({1, endType});
  input.insert(input.end(), end.begin(), end.end());
  ConversationOutcome outcome = Converse(input);
  EXPECT_EQ(outcome.result, S_OK);
  Bytes rest;
  std::vector<Bytes> frames = SplitFrames(outcome.output, &rest);
  EXPECT_TRUE(rest.empty()) << "trailing bytes: " << Hex(rest);
  return frames;
}

std::vector<Bytes> SplitFrames(const Bytes& output, Bytes* rest) {
  std::vector<Bytes> frames;
  std::size_t at = 0;
  while (output.size() - at >= 4) {
    std::uint32_t length = protocol::GetU32(output.data() + at);
    if (output.size() - at - 4 < length) break;
    frames.emplace_back(output.begin() + static_cast<long>(at + 4),
                        output.begin() + static_cast<long>(at + 4 + length));
    at += 4 + length;
  }
  if (rest != nullptr)
    rest->assign(output.begin() + static_cast<long>(at), output.end());
  return frames;
}

}  // namespace testing_support
