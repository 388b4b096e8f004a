// The forwarding layer: every platform call of api.h reaches the current
// handheld's services here, and only here.
#include "platform/api.h"

#include <cstdlib>
#include <cstring>

#include "platform/fault.h"
#include "platform/services.h"

namespace platform {
namespace {

Services g_services;
CallTracer g_tracer = nullptr;
void* g_tracerContext = nullptr;

template <typename Service>
Service* Require(Service* service, const char* call) {
  if (service == nullptr) {
    throw Fault(std::string("platform call without a handheld: ") + call);
  }
  return service;
}

void Trace(const char* name) {
  if (g_tracer != nullptr) g_tracer(name, g_tracerContext);
}

}  // namespace

Services SetServices(const Services& services) {
  Services previous = g_services;
  g_services = services;
  return previous;
}

const Services& CurrentServices() { return g_services; }

void SetCallTracer(CallTracer tracer, void* context) {
  g_tracer = tracer;
  g_tracerContext = context;
}

}  // namespace platform

#define VORN_DEFINE_FORWARD(Service, member) \
  (platform::Trace(__func__),                \
   platform::Require(platform::g_services.member, __func__))

#define VORN_FORWARD_KERNEL(result, name, params, args) \
  result name params { return VORN_DEFINE_FORWARD(Kernel, kernel)->name args; }
#define VORN_FORWARD_REGISTRY(result, name, params, args)      \
  result name params {                                         \
    return VORN_DEFINE_FORWARD(Registry, registry)->name args; \
  }
#define VORN_FORWARD_COM(result, name, params, args) \
  result name params { return VORN_DEFINE_FORWARD(Com, com)->name args; }
#define VORN_FORWARD_UI(result, name, params, args) \
  result name params { return VORN_DEFINE_FORWARD(Ui, ui)->name args; }
#define VORN_FORWARD_OBJECT_STORE(result, name, params, args)        \
  result name params {                                               \
    return VORN_DEFINE_FORWARD(ObjectStore, objectStore)->name args; \
  }
#define VORN_FORWARD_FILES(result, name, params, args)        \
  result name params {                                        \
    return VORN_DEFINE_FORWARD(FileSystem, files)->name args; \
  }

#define VORN_FORWARD_RICH_INK(result, name, params, args)    \
  result name params {                                       \
    return VORN_DEFINE_FORWARD(RichInk, richInk)->name args; \
  }

VORN_KERNEL_CALLS(VORN_FORWARD_KERNEL)
VORN_REGISTRY_CALLS(VORN_FORWARD_REGISTRY)
VORN_COM_CALLS(VORN_FORWARD_COM)
VORN_UI_CALLS(VORN_FORWARD_UI)
VORN_OBJECT_STORE_CALLS(VORN_FORWARD_OBJECT_STORE)
VORN_FILE_CALLS(VORN_FORWARD_FILES)
VORN_RICH_INK_CALLS(VORN_FORWARD_RICH_INK)
