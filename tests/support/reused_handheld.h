// One in-memory handheld per process for code that runs thousands of
// conversations, each on the same starting state: the handheld is built
// (and filled) once, held, and rewound before each use in the time a
// rollback of the last use's changes takes.
#ifndef VORN_TESTS_SUPPORT_REUSED_HANDHELD_H_
#define VORN_TESTS_SUPPORT_REUSED_HANDHELD_H_

#include <functional>

#include "tests/support/in_process_handheld.h"

namespace testing_support {

class ReusedHandheld {
 public:
  // Builds the handheld from `options` and lets `prepare` fill it
  // (conversations, clock); what `prepare` leaves is the state every use
  // starts from.
  explicit ReusedHandheld(
      const std::function<void(InProcessHandheld&)>& prepare = {},
      const device::InitOptions& options = {});
  ReusedHandheld(const ReusedHandheld&) = delete;
  ReusedHandheld& operator=(const ReusedHandheld&) = delete;

  // The handheld as `prepare` left it.
  InProcessHandheld& Fresh();
  // Drops what the last use changed now instead of at the next Fresh(), so
  // that a use frees what it allocated before it ends. (libFuzzer takes an
  // input that allocates more than it frees for a possible leak and runs
  // it again with leak checking.)
  void Release();

 private:
  InProcessHandheld handheld_;
};

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_REUSED_HANDHELD_H_
