// An emulated handheld in memory with the agent loaded: conversations run
// in-process through the agent's entry point, byte for byte as over a
// stream.
#ifndef VORN_TESTS_SUPPORT_IN_PROCESS_HANDHELD_H_
#define VORN_TESTS_SUPPORT_IN_PROCESS_HANDHELD_H_

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "device/device.h"
#include "tests/support/packet_builder.h"

namespace testing_support {

struct ConversationOutcome {
  HRESULT result = 0;
  // Every byte the agent wrote on the stream.
  Bytes output;
  // The message box lines shown during the conversation.
  std::string messages;
};

class InProcessHandheld {
 public:
  explicit InProcessHandheld(const device::InitOptions& options = {});

  // One call of the entry point that reads `input` from the stream.
  ConversationOutcome Converse(const Bytes& input);
  // The same with `services` in place of the device's own.
  ConversationOutcome Converse(const Bytes& input,
                               const platform::Services& services);
  // Frames each packet, appends {1, dataType} to end the session, converses
  // and returns the reply frames' payloads in order (the end-of-session
  // reply included). Fails the test when the output is not whole frames.
  std::vector<Bytes> Exchange(const std::vector<Bytes>& packets,
                              std::uint8_t endType = 1);

  device::Device& device() { return *device_; }

 private:
  std::unique_ptr<device::Device> device_;
  std::ostringstream messages_;
};

// Splits a stream of reply frames; the rest that is no whole frame goes to
// `rest` when given.
std::vector<Bytes> SplitFrames(const Bytes& output, Bytes* rest = nullptr);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_IN_PROCESS_HANDHELD_H_
