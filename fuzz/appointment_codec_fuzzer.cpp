// Feeds arbitrary bytes to the desktop's decoders of appointment and task
// records. The first byte picks the data type (bit 0: task) and the form
// (bit 1: a GetRecord reply, else a written record); the rest is the
// record. Whatever decodes is encoded again, which must then be stable
// (decoding and encoding the encoding gives the same bytes), and is
// written as JSON and as iCalendar, which is read back.
#include <libical/ical.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "desktop/formats/appointment.h"
#include "desktop/formats/calendar_json.h"
#include "desktop/formats/icalendar_reader.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/formats/task.h"
#include "desktop/wire/reply_reader.h"

namespace {

template <typename Item>
void Exercise(const desktop::Result<Item>& item) {
  if (!item.ok()) return;
  std::vector<std::uint8_t> once = item->Encode();
  desktop::Result<Item> again = Item::Decode(once);
  if (!again.ok() || again->Encode() != once) std::abort();
  (void)desktop::JsonText::Write(desktop::CalendarJson::ToJson(*item));
  desktop::ICalendarWriter writer{desktop::IcalZone()};
  writer.Add(*item, "urn:uuid:00000000-0000-5000-8000-000000000000");
  (void)desktop::ICalendarReader::Parse(writer.Text(), desktop::IcalZone());
}

template <typename Item>
void Decode(bool reply, std::span<const std::uint8_t> bytes) {
  if (!reply) {
    Exercise(Item::Decode(bytes));
    return;
  }
  desktop::ReplyReader reader(bytes);
  desktop::Result<desktop::WireRecord> record =
      desktop::WireRecord::Read(reader, Item::PropertyKindOf);
  if (!record.ok()) return;
  Exercise(Item::FromWireRecord(*record));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const bool reply = (data[0] & 2) != 0;
  if (data[0] & 1) {
    Decode<desktop::Task>(reply, bytes);
  } else {
    Decode<desktop::Appointment>(reply, bytes);
  }
  // libical keeps its temporary strings in a ring that it frees only as it
  // wraps; emptied here, every input frees what it allocated, and libFuzzer
  // does not take the ring's growth for a leak to look into.
  icalmemory_free_ring();
  return 0;
}
