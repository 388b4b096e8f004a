// A fault inside a conversation: what the handheld's structured exception
// guard would catch (an access violation, a failed allocation that is then
// used, a read past the end of a short packet).
//
// Raised only by the platform layer and by the agent's request readers and
// reply writers; caught only by the entry point's guard and by the mail
// operations that guard themselves. Nothing else may catch it.
#ifndef VORN_PLATFORM_FAULT_H_
#define VORN_PLATFORM_FAULT_H_

#include <stdexcept>
#include <string>

namespace platform {

class Fault : public std::runtime_error {
 public:
  explicit Fault(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace platform

#endif  // VORN_PLATFORM_FAULT_H_
