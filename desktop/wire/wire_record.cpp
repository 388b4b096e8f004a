#include "desktop/wire/wire_record.h"

#include "protocol/calendar_fields.h"
#include "protocol/wire.h"

namespace desktop {
namespace {

// Reads the exception records that follow an appointment's recurrence
// block and appends their bytes to `value`.
Status ReadExceptions(ReplyReader& reader, std::vector<std::uint8_t>& value) {
  const std::uint32_t count =
      protocol::GetU32(value.data() + protocol::kRecurExceptionCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    Result<std::vector<std::uint8_t>> record =
        reader.Bytes(protocol::kExceptionRecordSize, "exception record");
    if (!record.ok()) return record.status();
    value.insert(value.end(), record->begin(), record->end());
    for (std::size_t at :
         {protocol::kExceptSubjectPresent, protocol::kExceptLocationPresent,
          protocol::kExceptBodyPresent}) {
      if (protocol::GetU32(record->data() + at) == 0) continue;
      Result<std::uint32_t> size = reader.U32("exception string");
      if (!size.ok()) return size.status();
      Result<std::vector<std::uint8_t>> text =
          reader.Bytes(*size, "exception string");
      if (!text.ok()) return text.status();
      std::uint8_t word[4];
      protocol::PutU32(word, *size);
      value.insert(value.end(), word, word + 4);
      value.insert(value.end(), text->begin(), text->end());
    }
  }
  return Status::Ok();
}

}  // namespace

Result<WireRecord> WireRecord::Read(ReplyReader& reader,
                                    const PropertyKindFn& layout) {
  const std::size_t start = reader.offset();
  Result<std::uint8_t> tag = reader.Byte("record header");
  if (!tag.ok()) return tag.status();
  Result<std::uint8_t> zero = reader.Byte("record header");
  if (!zero.ok()) return zero.status();
  if (*tag != 1 || *zero != 0) {
    return Status::Error("not a record at offset " + std::to_string(start) +
                         " (starts " + std::to_string(*tag) + ", " +
                         std::to_string(*zero) + ")");
  }
  WireRecord record;
  Result<std::uint32_t> oid = reader.U32("record object id");
  if (!oid.ok()) return oid.status();
  record.oid = *oid;
  Result<std::uint8_t> count = reader.Byte("record property count");
  if (!count.ok()) return count.status();
  record.properties.reserve(*count);
  for (unsigned i = 0; i < *count; ++i) {
    Result<std::uint32_t> id = reader.U32("property id");
    if (!id.ok()) return id.status();
    std::optional<PropertyKind> kind = layout(*id);
    if (!kind) {
      return Status::Error("record " + std::to_string(record.oid) +
                           " has property " + std::to_string(*id) +
                           ", unknown for this data type");
    }
    WireProperty& property = record.properties.emplace_back();
    property.id = *id;
    switch (*kind) {
      case PropertyKind::kLong: {
        Result<std::uint32_t> v = reader.U32("long property");
        if (!v.ok()) return v.status();
        property.value = *v;
        break;
      }
      case PropertyKind::kString: {
        Result<std::u16string> v = reader.String("string property");
        if (!v.ok()) return v.status();
        property.value.emplace<std::u16string>(std::move(*v));
        break;
      }
      case PropertyKind::kTime: {
        Result<TimeRecord> v = reader.Time("time property");
        if (!v.ok()) return v.status();
        property.value = *v;
        break;
      }
      case PropertyKind::kBlob:
      case PropertyKind::kBlobAndExceptions: {
        Result<std::vector<std::uint8_t>> v =
            reader.Bytes(protocol::kRecurrenceBlockSize, "blob property");
        if (!v.ok()) return v.status();
        if (*kind == PropertyKind::kBlobAndExceptions) {
          VORN_RETURN_IF_ERROR(ReadExceptions(reader, *v));
        }
        property.value = std::move(*v);
        break;
      }
    }
  }
  return record;
}

}  // namespace desktop
