#include "desktop/transport/rapi_invocation.h"

#include <algorithm>
#include <charconv>

#include "desktop/base/utf16.h"
#include "desktop/transport/tcp_stream.h"
#include "desktop/transport/unix_stream.h"
#include "protocol/wire.h"

namespace desktop {
namespace {

constexpr std::string_view kTcpScheme = "rapi://";
constexpr std::string_view kUnixScheme = "rapi+unix://";

void PutU32(std::vector<std::uint8_t>& out, std::uint32_t value) {
  std::uint8_t bytes[4];
  protocol::PutU32(bytes, value);
  out.insert(out.end(), bytes, bytes + 4);
}

void PutText(std::vector<std::uint8_t>& out, std::u16string_view text) {
  for (char16_t unit : text) {
    out.push_back(static_cast<std::uint8_t>(unit));
    out.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  out.push_back(0);
  out.push_back(0);
}

void PutName(std::vector<std::uint8_t>& out, std::uint32_t command,
             std::u16string_view name) {
  auto units = static_cast<std::uint32_t>(name.size() + 1);
  if (command == protocol::kRapiInvoke) {
    PutU32(out, 1);
    PutU32(out, units);
  } else {
    PutU32(out, units * 2);
  }
  PutText(out, name);
}

Status ReadExact(HandheldStream& stream, std::uint8_t* buffer,
                 std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    Result<std::size_t> got = stream.ReadSome(buffer + done, size - done);
    if (!got.ok()) return got.status();
    if (*got == 0) return Status::Error("handheld closed the connection");
    done += *got;
  }
  return Status::Ok();
}

std::string LastErrorText(std::uint32_t error) {
  std::string text = "the handheld refused to invoke the agent (last error " +
                     std::to_string(error);
  switch (error) {
    case protocol::kRapiModuleNotFound:
      return text + ", module not found)";
    case protocol::kRapiProcNotFound:
      return text + ", function not found)";
    case protocol::kRapiBusy:
      return text + ", busy with another desktop)";
    default:
      return text + ")";
  }
}

// The agent's stream, holding on to the desktop's idle first connection.
class InvokedStream final : public HandheldStream {
 public:
  InvokedStream(std::unique_ptr<HandheldStream> idle,
                std::unique_ptr<HandheldStream> stream)
      : idle_(std::move(idle)), stream_(std::move(stream)) {}

  Status Write(std::span<const std::uint8_t> bytes) override {
    return stream_->Write(bytes);
  }
  Result<std::size_t> ReadSome(std::uint8_t* buffer,
                               std::size_t size) override {
    return stream_->ReadSome(buffer, size);
  }
  Status Close() override {
    Status closed = stream_->Close();
    Status idle = idle_->Close();
    return closed.ok() ? idle : closed;
  }

 private:
  std::unique_ptr<HandheldStream> idle_;
  std::unique_ptr<HandheldStream> stream_;
};

Result<std::unique_ptr<HandheldStream>> Connect(const RapiAddress& address) {
  if (address.unix_socket) {
    auto connected = UnixStream::Connect(address.target);
    if (!connected.ok()) return connected.status();
    return std::unique_ptr<HandheldStream>(std::move(*connected));
  }
  auto connected = TcpStream::Connect(address.target);
  if (!connected.ok()) return connected.status();
  return std::unique_ptr<HandheldStream>(std::move(*connected));
}

Status PassPassword(HandheldStream& stream, const RapiOptions& options) {
  VORN_RETURN_IF_ERROR(stream.Write(
      RapiInvocation::PasswordStep(*options.password, options.password_key)));
  std::uint8_t answer = 0;
  Status read = ReadExact(stream, &answer, 1);
  if (!read.ok() || answer != protocol::kRapiPasswordAccepted) {
    return Status::Error("the handheld refused the device password");
  }
  return Status::Ok();
}

}  // namespace

bool RapiInvocation::IsRapiAddress(std::string_view device) {
  return device.starts_with(kTcpScheme) || device.starts_with(kUnixScheme);
}

Result<RapiAddress> RapiInvocation::ParseAddress(std::string_view device) {
  RapiAddress address;
  if (device.starts_with(kUnixScheme)) {
    address.unix_socket = true;
    address.target = std::string(device.substr(kUnixScheme.size()));
    if (address.target.empty()) {
      return Status::Error("rapi+unix:// needs the socket's path");
    }
    return address;
  }
  if (!device.starts_with(kTcpScheme)) {
    return Status::Error("not a remote API address: \"" + std::string(device) +
                         "\"");
  }
  std::string rest(device.substr(kTcpScheme.size()));
  if (rest.empty()) return Status::Error("rapi:// needs a HOST");
  // A port is present when the text after the last ':' follows the host
  // (not inside a bracketed IPv6 literal).
  std::size_t colon = rest.rfind(':');
  std::size_t bracket = rest.rfind(']');
  bool hasPort = colon != std::string::npos &&
                 (bracket == std::string::npos || colon > bracket) &&
                 (rest.front() == '[' || rest.find(':') == colon);
  if (!hasPort) rest += ":" + std::to_string(protocol::kRapiDefaultPort);
  std::string host, port;
  VORN_RETURN_IF_ERROR(TcpStream::SplitHostPort(rest, &host, &port));
  address.target = rest;
  return address;
}

Result<std::uint8_t> RapiInvocation::ParsePasswordKey(std::string_view text) {
  std::string_view digits = text;
  int base = 10;
  if (digits.starts_with("0x") || digits.starts_with("0X")) {
    digits.remove_prefix(2);
    base = 16;
  }
  unsigned key = 256;
  auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), key, base);
  if (digits.empty() || error != std::errc() ||
      end != digits.data() + digits.size() || key > 255) {
    return Status::Error("bad password key \"" + std::string(text) +
                         "\" (0 to 255)");
  }
  return static_cast<std::uint8_t>(key);
}

std::vector<std::uint8_t> RapiInvocation::PasswordStep(
    std::string_view password, std::uint8_t key) {
  std::vector<std::uint8_t> text;
  PutText(text, Utf8ToUtf16(password));
  std::vector<std::uint8_t> out(2);
  protocol::PutU16(out.data(), static_cast<std::uint16_t>(text.size()));
  for (std::uint8_t byte : text) {
    out.push_back(static_cast<std::uint8_t>(byte ^ key));
  }
  return out;
}

std::vector<std::uint8_t> RapiInvocation::InvokeRequest(
    std::uint32_t command, std::u16string_view module,
    std::u16string_view function, const std::vector<std::uint8_t>& input,
    bool stream) {
  std::vector<std::uint8_t> body;
  PutU32(body, command);
  PutName(body, command, module);
  PutName(body, command, function);
  PutU32(body, static_cast<std::uint32_t>(input.size()));
  body.insert(body.end(), input.begin(), input.end());
  PutU32(body, stream ? 1 : 0);
  std::vector<std::uint8_t> out;
  PutU32(out, static_cast<std::uint32_t>(body.size()));
  out.insert(out.end(), body.begin(), body.end());
  return out;
}

Status RapiInvocation::Invoke(HandheldStream& stream, bool password_step,
                              const RapiOptions& options) {
  if (password_step) {
    VORN_RETURN_IF_ERROR(
        stream.Write(PasswordStep(*options.password, options.password_key)));
    std::uint8_t answer = 0;
    Status read = ReadExact(stream, &answer, 1);
    if (!read.ok() || answer != protocol::kRapiPasswordAccepted) {
      return Status::Error("the handheld refused the device password");
    }
  }
  VORN_RETURN_IF_ERROR(
      stream.Write(InvokeRequest(options.command, protocol::kAgentModule,
                                 protocol::kAgentExport, {}, true)));
  std::uint8_t bytes[4];
  if (options.command == protocol::kRapiInvokeCounted) {
    VORN_RETURN_IF_ERROR(ReadExact(stream, bytes, 4));
    std::uint32_t length = protocol::GetU32(bytes);
    if (length < 4 || length > 4096) {
      return Status::Error("the handheld's invoke answer is malformed");
    }
    std::vector<std::uint8_t> body(length);
    VORN_RETURN_IF_ERROR(ReadExact(stream, body.data(), length));
    std::copy_n(body.begin(), 4, bytes);
  } else {
    Status read = ReadExact(stream, bytes, 4);
    if (!read.ok() && !password_step && !options.password) {
      return Status::Error(
          "the handheld closed the connection before invoking the agent "
          "(does it want a device password? give --password)");
    }
    VORN_RETURN_IF_ERROR(read);
  }
  std::uint32_t last_error = protocol::GetU32(bytes);
  if (last_error != 0) return Status::Error(LastErrorText(last_error));
  return Status::Ok();
}

Result<std::unique_ptr<HandheldStream>> RapiInvocation::Open(
    std::string_view device, const RapiOptions& options) {
  Result<RapiAddress> address = ParseAddress(device);
  if (!address.ok()) return address.status();
  bool password_step = !address->unix_socket && options.password.has_value();
  auto idle = Connect(*address);
  if (!idle.ok()) return idle.status();
  if (password_step) {
    VORN_RETURN_IF_ERROR(PassPassword(**idle, options));
  }
  auto stream = Connect(*address);
  if (!stream.ok()) return stream.status();
  VORN_RETURN_IF_ERROR(Invoke(**stream, password_step, options));
  return std::unique_ptr<HandheldStream>(
      new InvokedStream(std::move(*idle), std::move(*stream)));
}

}  // namespace desktop
