#include "desktop/formats/record_uid.h"

#include <uuid/uuid.h>

#include <cassert>

#include "desktop/base/utf16.h"

namespace desktop {

std::string RecordUid::NameBased(std::string_view ns, std::string_view name) {
  std::string ns_text(ns);
  uuid_t space;
  [[maybe_unused]] int parsed = uuid_parse(ns_text.c_str(), space);
  assert(parsed == 0);
  uuid_t out;
  uuid_generate_sha1(out, space, name.data(), name.size());
  char text[37];
  uuid_unparse_lower(out, text);
  return text;
}

std::string RecordUid::For(std::u16string_view machine_id,
                           protocol::DataType type, std::uint32_t oid) {
  return For(std::string_view(Utf16ToUtf8(machine_id)), type, oid);
}

std::string RecordUid::For(std::string_view machine_id, protocol::DataType type,
                           std::uint32_t oid) {
  std::string name = std::string(machine_id) + "/" +
                     std::to_string(static_cast<int>(type)) + "/" +
                     std::to_string(oid);
  return std::string(kPrefix) + NameBased(kNamespace, name);
}

}  // namespace desktop
