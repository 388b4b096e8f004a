#include "device/rapi/invoke_request.h"

#include "protocol/rapi.h"
#include "protocol/wire.h"

namespace device {
namespace {

// A bounded cursor over the packet.
class Cursor {
 public:
  explicit Cursor(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool U32(std::uint32_t* value) {
    if (bytes_.size() - at_ < 4) return false;
    *value = protocol::GetU32(bytes_.data() + at_);
    at_ += 4;
    return true;
  }
  bool Take(std::uint64_t count, std::span<const std::uint8_t>* out) {
    if (bytes_.size() - at_ < count) return false;
    *out = bytes_.subspan(at_, static_cast<std::size_t>(count));
    at_ += static_cast<std::size_t>(count);
    return true;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

// UTF-16LE text up to its first NUL (or the end).
std::u16string TextOf(std::span<const std::uint8_t> bytes) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    auto unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (unit == u'\0') break;
    text.push_back(unit);
  }
  return text;
}

Status ReadName(Cursor& cursor, std::uint32_t command, const char* what,
                std::optional<std::u16string>* name) {
  std::uint32_t count = 0;
  std::span<const std::uint8_t> text;
  if (command == protocol::kRapiInvoke) {
    std::uint32_t present = 0;
    if (!cursor.U32(&present)) {
      return Status::Error(std::string("no presence flag for the ") + what);
    }
    if (present == 0) return Status::Ok();
    if (!cursor.U32(&count) || !cursor.Take(std::uint64_t{count} * 2, &text)) {
      return Status::Error(std::string("the ") + what + " is cut short");
    }
  } else if (!cursor.U32(&count) || !cursor.Take(count, &text)) {
    return Status::Error(std::string("the ") + what + " is cut short");
  }
  *name = TextOf(text);
  return Status::Ok();
}

void PutU32(std::vector<std::uint8_t>& out, std::uint32_t value) {
  std::uint8_t bytes[4];
  protocol::PutU32(bytes, value);
  out.insert(out.end(), bytes, bytes + 4);
}

}  // namespace

Result<InvokeRequest> InvokeRequest::Parse(
    std::span<const std::uint8_t> packet) {
  Cursor cursor(packet);
  InvokeRequest request;
  if (!cursor.U32(&request.command) ||
      (request.command != protocol::kRapiInvoke &&
       request.command != protocol::kRapiInvokeCounted)) {
    return Status::Error("not an invoke request");
  }
  Status status =
      ReadName(cursor, request.command, "DLL name", &request.module);
  if (status.ok()) {
    status =
        ReadName(cursor, request.command, "function name", &request.function);
  }
  if (!status.ok()) return status;
  std::uint32_t size = 0;
  std::span<const std::uint8_t> input;
  if (!cursor.U32(&size) || !cursor.Take(size, &input)) {
    return Status::Error("the input bytes are cut short");
  }
  request.input.assign(input.begin(), input.end());
  std::uint32_t stream = 0;
  if (!cursor.U32(&stream)) return Status::Error("no stream flag");
  request.stream = stream != 0;
  return request;
}

std::vector<std::uint8_t> InvokeRequest::StreamAnswer(
    std::uint32_t lastError) const {
  std::vector<std::uint8_t> out;
  if (command == protocol::kRapiInvokeCounted) PutU32(out, 4);
  PutU32(out, lastError);
  return out;
}

std::vector<std::uint8_t> InvokeRequest::BufferAnswer(
    std::uint32_t lastError, std::uint32_t result,
    std::span<const std::uint8_t> output) const {
  bool counted = command == protocol::kRapiInvokeCounted;
  std::vector<std::uint8_t> out;
  auto body = static_cast<std::uint32_t>((counted ? 12 : 16) + output.size());
  PutU32(out, body);
  if (!counted) PutU32(out, 0);
  PutU32(out, lastError);
  PutU32(out, result);
  PutU32(out, static_cast<std::uint32_t>(output.size()));
  out.insert(out.end(), output.begin(), output.end());
  if (!counted) PutU32(out, 0);
  return out;
}

}  // namespace device
