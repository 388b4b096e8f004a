#include "device/rapi/rapi_connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <mutex>
#include <vector>

#include "device/image/utf8.h"
#include "device/rapi/device_password.h"
#include "device/rapi/rapi_server.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"
#include "protocol/wire.h"

namespace device {
namespace {

std::string Hex32(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", value);
  return text;
}

std::uint32_t HresultFromWin32(std::uint32_t error) {
  return error == 0 ? 0 : (0x80070000u | (error & 0xFFFFu));
}

std::string NameOf(const InvokeRequest& request) {
  return Utf16ToUtf8(request.module.value_or(u"(none)")) + "!" +
         Utf16ToUtf8(request.function.value_or(u"(none)"));
}

}  // namespace

void RapiConnection::Run() {
  try {
    if (!local_ && !CheckPassword()) return;
    while (true) {
      std::uint8_t frame[4];
      if (!ReadExact(frame)) return;
      std::uint32_t length = protocol::GetU32(frame);
      if (length < 4 || length > protocol::kRapiMaxPacket) {
        Log("request of " + std::to_string(length) +
            " bytes refused; connection closed");
        return;
      }
      std::vector<std::uint8_t> packet(length);
      if (!ReadExact(packet)) return;
      std::uint32_t command = protocol::GetU32(packet.data());
      if (command != protocol::kRapiInvoke &&
          command != protocol::kRapiInvokeCounted) {
        Log("remote API command " + Hex32(command) +
            " is not served; connection closed");
        return;
      }
      Result<InvokeRequest> request = InvokeRequest::Parse(packet);
      if (!request.ok()) {
        Log("malformed invoke request (" + request.status().message() +
            "); connection closed");
        return;
      }
      if (!Invoke(*request)) return;
    }
  } catch (const std::exception& e) {
    Log(std::string(e.what()) + "; connection closed");
  }
}

bool RapiConnection::CheckPassword() {
  bool failed = false;
  std::optional<std::u16string> password = server_.Password(&failed);
  if (failed) return false;
  if (!password) return true;
  std::uint8_t count[2];
  if (!ReadExact(count)) return false;
  std::vector<std::uint8_t> sent(protocol::GetU16(count));
  if (!ReadExact(sent)) return false;
  bool accepted =
      DevicePassword::Matches(sent, server_.options_.passwordKey, *password);
  const std::uint8_t answer = accepted ? protocol::kRapiPasswordAccepted
                                       : protocol::kRapiPasswordRefused;
  if (!WriteAll({&answer, 1})) return false;
  if (!accepted) Log("wrong device password; connection closed");
  return accepted;
}

bool RapiConnection::Invoke(const InvokeRequest& request) {
  RapiModules::Lookup found = server_.modules_.Find(
      request.module.value_or(u""), request.function.value_or(u""));
  if (!request.module) found = {nullptr, protocol::kRapiModuleNotFound};
  if (found.entry == nullptr) {
    Refuse(request, found.lastError,
           found.lastError == protocol::kRapiModuleNotFound
               ? "no such module"
               : "no such function");
    return false;
  }
  std::unique_lock<std::timed_mutex> call(server_.callLock_, std::defer_lock);
  if (!call.try_lock_for(server_.options_.busyTimeout)) {
    Refuse(request, protocol::kRapiBusy, "another call is still running");
    return false;
  }
  Device& device = server_.device_;
  std::string function = Utf16ToUtf8(*request.function);
  if (request.stream) {
    if (!WriteAll(request.StreamAnswer(0))) return false;
    FdChannel channel(fd_, fd_);
    HRESULT result = RunConversation(device, channel, found.entry);
    if (result != S_OK) {
      Log(function + " returned " + Hex32(static_cast<std::uint32_t>(result)));
    }
    return false;
  }
  std::vector<std::uint8_t> output;
  HRESULT result = RunBufferCall(device, found.entry, request.input, &output);
  call.unlock();
  return WriteAll(
      request.BufferAnswer(0, static_cast<std::uint32_t>(result), output));
}

void RapiConnection::Refuse(const InvokeRequest& request,
                            std::uint32_t lastError, const std::string& why) {
  Log("invoke of " + NameOf(request) + " refused with last error " +
      std::to_string(lastError) + " (" + why + "); connection closed");
  if (request.stream) {
    (void)WriteAll(request.StreamAnswer(lastError));
  } else {
    (void)WriteAll(
        request.BufferAnswer(lastError, HresultFromWin32(lastError), {}));
  }
}

bool RapiConnection::ReadExact(std::span<std::uint8_t> buffer) {
  while (!buffer.empty()) {
    ssize_t got = ::recv(fd_, buffer.data(), buffer.size(), 0);
    if (got > 0) {
      buffer = buffer.subspan(static_cast<std::size_t>(got));
    } else if (got < 0 && errno == EINTR) {
      continue;
    } else {
      return false;
    }
  }
  return true;
}

bool RapiConnection::WriteAll(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    ssize_t put = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (put > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(put));
    } else if (put < 0 && errno == EINTR) {
      continue;
    } else {
      return false;
    }
  }
  return true;
}

void RapiConnection::Log(const std::string& text) {
  server_.Log("remote API connection " + std::to_string(id_) + ": " + text);
}

}  // namespace device
