#include "cli/vorn_device/rapi_serve.h"

#include <signal.h>

#include <atomic>
#include <iostream>
#include <vector>

#include "agent/session/entry_point.h"
#include "cli/vorn_device/command_support.h"
#include "device/device.h"
#include "device/rapi/device_password.h"
#include "device/rapi/rapi_server.h"

namespace cli {
namespace {

std::atomic<device::RapiServer*> g_server = nullptr;

void OnStopSignal(int) {
  device::RapiServer* server = g_server.load();
  if (server != nullptr) server->Stop();
}

}  // namespace

std::string DefaultRapiAddress() {
  return "127.0.0.1:" + std::to_string(protocol::kRapiDefaultPort);
}

int ServeRapi(const std::string& image, const RapiServeOptions& options) {
  std::vector<device::RapiListener> listeners;
  if (options.tcp) {
    auto listener =
        device::RapiListener::Tcp(*options.tcp, options.allowRemote);
    if (!listener.ok()) {
      return ReportError("serve", listener.status().message(), kExitFailure);
    }
    listeners.push_back(std::move(*listener));
  }
  if (options.unixPath) {
    auto listener = device::RapiListener::Unix(*options.unixPath);
    if (!listener.ok()) {
      return ReportError("serve", listener.status().message(), kExitFailure);
    }
    listeners.push_back(std::move(*listener));
  }
  auto opened = device::Device::Open(image);
  if (!opened.ok()) {
    return ReportError("serve", opened.status().message(), kExitFailure);
  }
  // Password steps read the image on a connection of their own, so that a
  // desktop's step never waits for a call in progress.
  auto passwords = device::DeviceImage::Open(image);
  if (!passwords.ok()) {
    return ReportError("serve", passwords.status().message(), kExitFailure);
  }
  device::DeviceImage& passwordImage = **passwords;

  device::RapiModules modules;
  modules.Add(protocol::kAgentModule, protocol::kAgentExport, &rsCeApiMgr);
  device::RapiServerOptions serverOptions;
  serverOptions.passwordKey = options.passwordKey;
  serverOptions.log = &std::cerr;
  try {
    device::RapiServer server(
        **opened, std::move(modules),
        [&passwordImage] { return device::DevicePassword::Get(passwordImage); },
        serverOptions);
    g_server = &server;
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    for (const device::RapiListener& listener : listeners) {
      std::cerr << "listening on " << listener.address() << std::endl;
    }
    device::Status served = server.Serve(std::move(listeners));
    g_server = nullptr;
    if (!served.ok()) return ReportError("serve", served.message(), 1);
  } catch (const device::ImageError& e) {
    g_server = nullptr;
    return ReportError("serve", e.what(), kExitFailure);
  }
  return 0;
}

}  // namespace cli
