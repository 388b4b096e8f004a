// The services of the current handheld, as interfaces the emulated handheld
// implements, and the one forwarding layer that the free platform functions
// of api.h go through.
//
// Every call the agent makes reaches the service installed with
// SetServices(). A test that wants one call to behave differently wraps the
// service: derive from its Wrapper, override that call, and install the
// wrapper in place of the service; every other call passes through.
#ifndef VORN_PLATFORM_SERVICES_H_
#define VORN_PLATFORM_SERVICES_H_

#include "platform/calls.h"
#include "platform/com.h"

namespace platform {

#define VORN_DECLARE_PURE(result, name, params, args) \
  virtual result name params = 0;
#define VORN_DECLARE_FORWARD(result, name, params, args) \
  result name params override { return target_->name args; }

#define VORN_DECLARE_SERVICE(Service, member, CALLS)                \
  class Service {                                                   \
   public:                                                          \
    virtual ~Service() = default;                                   \
    CALLS(VORN_DECLARE_PURE)                                        \
  };                                                                \
  class Service##Wrapper : public Service {                         \
   public:                                                          \
    explicit Service##Wrapper(Service* target) : target_(target) {} \
    CALLS(VORN_DECLARE_FORWARD)                                     \
    Service* target() const { return target_; }                     \
                                                                    \
   private:                                                         \
    Service* target_;                                               \
  };

VORN_ALL_SERVICES(VORN_DECLARE_SERVICE)

#undef VORN_DECLARE_SERVICE
#undef VORN_DECLARE_FORWARD
#undef VORN_DECLARE_PURE

// The services of one handheld. None is owned here.
struct Services {
#define VORN_DECLARE_MEMBER(Service, member, CALLS) Service* member = nullptr;
  VORN_ALL_SERVICES(VORN_DECLARE_MEMBER)
#undef VORN_DECLARE_MEMBER
};

// Installs the services that the platform calls reach from now on and
// returns the ones installed before. A call made while a service is missing
// is a fault.
Services SetServices(const Services& services);
const Services& CurrentServices();

// Called with the name of every platform call before it is forwarded, when
// set. Used to trace a conversation's platform calls.
using CallTracer = void (*)(const char* name, void* context);
void SetCallTracer(CallTracer tracer, void* context);

}  // namespace platform

#endif  // VORN_PLATFORM_SERVICES_H_
