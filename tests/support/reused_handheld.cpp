#include "tests/support/reused_handheld.h"

namespace testing_support {

ReusedHandheld::ReusedHandheld(
    const std::function<void(InProcessHandheld&)>& prepare,
    const device::InitOptions& options)
    : handheld_(options) {
  // One conversation first, so that whatever the first conversation of a
  // handheld sets up once is part of the starting state.
  handheld_.Converse(FramePacket({1, 1}));
  if (prepare) prepare(handheld_);
  handheld_.device().Hold();
}

InProcessHandheld& ReusedHandheld::Fresh() {
  handheld_.device().Rewind();
  return handheld_;
}

void ReusedHandheld::Release() { handheld_.device().Rewind(); }

}  // namespace testing_support
