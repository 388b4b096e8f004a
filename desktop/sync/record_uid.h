// Stable identities of handheld records as vCard/iCalendar UIDs.
//
// A record's UID is "urn:uuid:" and a name-based UUID (version 5, SHA-1)
// over kNamespace of "<machine id>/<data type>/<object id>": the same
// record of the same handheld always gets the same UID, and records of two
// handhelds (different machine ids) never share one.
#ifndef VORN_DESKTOP_SYNC_RECORD_UID_H_
#define VORN_DESKTOP_SYNC_RECORD_UID_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol/wire.h"

namespace desktop {

class RecordUid {
 public:
  // Vorn's own namespace for record UIDs (a random version 4 UUID).
  static constexpr char kNamespace[] = "6f1d4c2a-93b8-4e57-a0c1-5d2b7e9f3a61";

  static std::string ForRecord(std::string_view machine_id,
                               protocol::DataType type, std::uint32_t oid);

  // A file name stem for `uid`: the UUID of a "urn:uuid:" UID; otherwise
  // letters, digits, '-', '_', '.' and '@' kept and every other byte as
  // %XX, at most 120 bytes (longer ones end in a hash of the whole UID).
  // Never empty, never starts with '.'.
  static std::string FileStem(std::string_view uid);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_RECORD_UID_H_
