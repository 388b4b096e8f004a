// Stable identifiers of handheld records for the desktop's files: the
// name-based UUID (version 5, SHA-1) of the handheld's machine identity,
// the data type and the record's object identifier, written as
// "urn:uuid:xxxxxxxx-xxxx-5xxx-yxxx-xxxxxxxxxxxx". The name hashed is the
// UTF-8 text "MACHINE-ID/TYPE/OID" (TYPE and OID in decimal) in the
// namespace kNamespace, so the same record of the same handheld gets the
// same identifier on every run and every desktop.
#ifndef VORN_DESKTOP_FORMATS_RECORD_UID_H_
#define VORN_DESKTOP_FORMATS_RECORD_UID_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/wire.h"

namespace desktop {

class RecordUid {
 public:
  // The namespace UUID of Vorn's record identifiers.
  static constexpr std::string_view kNamespace =
      "071aad8e-d336-45f1-94d8-82e1655dcf0d";
  static constexpr std::string_view kPrefix = "urn:uuid:";

  // "urn:uuid:..." for one record.
  static std::string For(std::u16string_view machine_id,
                         protocol::DataType type, std::uint32_t oid);
  // The same with the machine identity already in UTF-8.
  static std::string For(std::string_view machine_id, protocol::DataType type,
                         std::uint32_t oid);
  // The UUID of `name` in the namespace `ns` (both as text), lower case,
  // without the prefix. `ns` must be a valid UUID.
  static std::string NameBased(std::string_view ns, std::string_view name);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_RECORD_UID_H_
