#include "device/pim/contact_item.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "device/pim/outlook_app.h"

namespace device {
namespace {

// The HRESULT a fault value names: "0x80004005" or a decimal number.
HRESULT ParseHresult(const std::string& text) {
  try {
    std::size_t used = 0;
    long long value = std::stoll(text, &used, 0);
    if (used != text.size()) return E_FAIL;
    return static_cast<HRESULT>(static_cast<std::uint32_t>(value));
  } catch (const std::exception&) {
    return E_FAIL;
  }
}

}  // namespace

HRESULT ContactItem::GetField(ContactField field, BSTR* value) {
  return field == ContactField::Body
             ? GetBody(value)
             : GetText(ContactFieldProperty(field), value);
}

HRESULT ContactItem::PutField(ContactField field, LPCWSTR value) {
  return field == ContactField::Body
             ? PutBody(value)
             : PutText(ContactFieldProperty(field), value);
}

HRESULT ContactItem::Save() {
  if (std::optional<std::string> fault =
          app_.context().faults.Value("contact-save")) {
    return ParseHresult(*fault);
  }
  return SaveItem();
}

}  // namespace device
