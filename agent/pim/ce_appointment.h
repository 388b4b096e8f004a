// The record handler of calendar appointments (data type 2). Every command
// on appointments is the base's; this class encodes one appointment of the
// object model into the reply (ReadRecord) and fills one from a request
// record (WriteRecord).
//
// An appointment record on the wire: u32 field count, then per field a u32
// field id (protocol/calendar_fields.h) and its value. A recurring
// appointment carries field 19: the 98-byte recurrence block followed by
// its exception records.
#ifndef VORN_AGENT_PIM_CE_APPOINTMENT_H_
#define VORN_AGENT_PIM_CE_APPOINTMENT_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEAppointment : public CCERecordHandler {
 public:
  CCEAppointment();

  // Appends the 7-byte record header {1, 0, u32 OID, u8 property count},
  // the fields 16, 18, 5, 6, 8, 7, 4, 1, 2, 3, 9 in that order and, for a
  // recurring appointment, field 19 with its exception records. Returns 1.
  int ReadRecord(IDispatch* item, DWORD oid) override;

  // Reads one record at `data`, fills the appointment `item`, sets or
  // clears its recurrence and saves it. A save that fails with 0x80040067
  // is retried from the record's start on a new (add) or re-fetched
  // (update) item with the reminder 5, 10, then 180, 240, ... minutes
  // shorter; any other failure shows "Save FAILED". After a successful
  // save the exceptions are applied, the OID goes into `status` and long
  // notes are written. Releases the item. Returns 1 in every case.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
};

}  // namespace agent

#endif  // VORN_AGENT_PIM_CE_APPOINTMENT_H_
