// Feeds arbitrary streams to the agent's session loop on an in-memory
// handheld. Whatever the bytes, a conversation must end (by command 1, a
// fault or the end of the stream) without touching memory it does not own.
#include <cstddef>
#include <cstdint>

#include "tests/support/reused_handheld.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static testing_support::ReusedHandheld reused;
  reused.Fresh().Converse(testing_support::Bytes(data, data + size));
  reused.Release();
  return 0;
}
