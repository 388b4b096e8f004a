#include "device/rapi/device_password.h"

#include "device/image/utf8.h"

namespace device {
namespace {

constexpr char kCreate[] =
    "CREATE TABLE IF NOT EXISTS device_password("
    "id INTEGER PRIMARY KEY CHECK (id = 1), password TEXT NOT NULL)";

bool TableExists(DeviceImage& image) {
  Statement find = image.Prepare(
      "SELECT count(*) FROM sqlite_master "
      "WHERE type='table' AND name='device_password'");
  return find.Step() && find.Int(0) == 1;
}

}  // namespace

Status DevicePassword::Validate(std::string_view text) {
  if (text.empty()) return Status::Error("the password must not be empty");
  if (text.find('\0') != std::string_view::npos) {
    return Status::Error("the password must not contain a NUL character");
  }
  if (Utf8ToUtf16(text).size() > kMaxUnits) {
    return Status::Error("the password is longer than " +
                         std::to_string(kMaxUnits) + " UTF-16 units");
  }
  return Status::Ok();
}

std::optional<std::u16string> DevicePassword::Get(DeviceImage& image) {
  if (!TableExists(image)) return std::nullopt;
  Statement read =
      image.Prepare("SELECT password FROM device_password WHERE id = 1");
  if (!read.Step()) return std::nullopt;
  return Utf8ToUtf16(read.Text(0));
}

Status DevicePassword::Set(DeviceImage& image, std::string_view text) {
  Status valid = Validate(text);
  if (!valid.ok()) return valid;
  image.Exec(kCreate);
  image.Prepare("INSERT OR REPLACE INTO device_password VALUES(1, ?)")
      .Bind(1, text)
      .Run();
  return Status::Ok();
}

void DevicePassword::Clear(DeviceImage& image) {
  if (TableExists(image)) image.Exec("DELETE FROM device_password");
}

bool DevicePassword::Matches(std::span<const std::uint8_t> sent,
                             std::uint8_t key, std::u16string_view password) {
  if (sent.size() != (password.size() + 1) * 2) return false;
  for (std::size_t unit = 0; unit <= password.size(); ++unit) {
    char16_t expected = unit < password.size() ? password[unit] : u'\0';
    auto low = static_cast<std::uint8_t>(sent[2 * unit] ^ key);
    auto high = static_cast<std::uint8_t>(sent[2 * unit + 1] ^ key);
    if (static_cast<char16_t>(low | (high << 8)) != expected) return false;
  }
  return true;
}

}  // namespace device
