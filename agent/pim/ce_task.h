// The record handler of tasks (data type 3). Every command on tasks is the
// base's; this class encodes one task of the object model into the reply
// (ReadRecord) and fills one from a request record (WriteRecord).
//
// A task record on the wire: u32 field count, then per field a u32 field id
// (protocol/calendar_fields.h) and its value. A recurring task carries
// field 19, the 98-byte recurrence block (no exception records).
#ifndef VORN_AGENT_PIM_CE_TASK_H_
#define VORN_AGENT_PIM_CE_TASK_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCETask : public CCERecordHandler {
 public:
  CCETask();

  // Appends the 7-byte record header {1, 0, u32 OID, u8 property count},
  // the fields 3, 4, 7, 5, 10, 9, 6, 1, 2, 11 in that order and, for a
  // recurring task, field 19. Returns 1.
  int ReadRecord(IDispatch* item, DWORD oid) override;

  // Reads one record at `data`, fills the task `item`, applies its
  // recurrence and the reminder rule, and saves it. On success stores the
  // OID in `status`, writes long notes, releases the item and returns 1;
  // a failed save returns 0 and leaves the item unreleased.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
};

}  // namespace agent

#endif  // VORN_AGENT_PIM_CE_TASK_H_
