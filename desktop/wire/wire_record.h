// One record as the handheld sends it in GetRecord and GetRecords replies:
//   0  u8  1
//   1  u8  0
//   2  u32 the record's object id
//   6  u8  number of property records that follow
// then per property a u32 id and its value. The value's encoding follows from
// the id alone, so reading needs the data type's layout (a PropertyKindFn).
#ifndef VORN_DESKTOP_WIRE_WIRE_RECORD_H_
#define VORN_DESKTOP_WIRE_WIRE_RECORD_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/reply_reader.h"
#include "desktop/wire/time_record.h"

namespace desktop {

enum class PropertyKind {
  kLong,    // u32
  kString,  // counted UTF-16 string
  kTime,    // 16-byte time record
  kBlob,    // the 98-byte recurrence block
  // The 98-byte recurrence block of an appointment, then as many exception
  // records as its u32 at offset 94 counts: each 80 bytes, then a counted
  // string for each of its presence words (offsets 68, 72, 76) that is not
  // zero. The value holds all of these bytes as they came.
  kBlobAndExceptions,
};

// The kind of a property id of one data type; nullopt for an id the type
// does not have (which makes the record unreadable).
using PropertyKindFn =
    std::function<std::optional<PropertyKind>(std::uint32_t)>;

struct WireProperty {
  std::uint32_t id = 0;
  std::variant<std::uint32_t, std::u16string, TimeRecord,
               std::vector<std::uint8_t>>
      value;
};

struct WireRecord {
  static constexpr std::size_t kHeaderSize = 7;

  std::uint32_t oid = 0;
  std::vector<WireProperty> properties;

  // Reads one record (header and properties) at the reader's position.
  // Fails when the reply ends early, the header is not {1, 0, ...}, or a
  // property id is unknown to `layout`.
  static Result<WireRecord> Read(ReplyReader& reader,
                                 const PropertyKindFn& layout);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_WIRE_RECORD_H_
