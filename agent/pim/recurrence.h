// The recurrence block of appointments and tasks (field 19): a fixed
// 98-byte block held in the handler while a record is encoded or written
// (layout in protocol/calendar_fields.h).
#ifndef VORN_AGENT_PIM_RECURRENCE_H_
#define VORN_AGENT_PIM_RECURRENCE_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

// Fills the handler's block from `pattern`: type, dates, interval, the
// type's fields and the end kind (never when NoEndDate is VARIANT_TRUE,
// else after a count when get_Occurrences succeeds, else by date); the
// exception count becomes 0. Fields the type does not use keep what the
// block held. Returns 1.
int ReadRecurrence(CCERecordHandler& handler, IRecurrencePattern* pattern);

// Applies the handler's block to `pattern`: the type and its fields, the
// interval, the start date at 00:00:00, and the end (the end date at
// 23:59:59, the occurrences capped at 999, or no end). An interval above
// 999 after writing is cut to 999. Failures of put_PatternEndDate and the
// cut interval are shown in message boxes ("put_PatternEndDate",
// "put_Interval"; caption "ERROR"). Returns 1.
int WriteRecurrence(CCERecordHandler& handler, IRecurrencePattern* pattern);

// Corrects the block's end kind from the pattern that the handler's record
// database stores for the record `oid` as the blob property `propId`: its
// end-type word 0x2021 gives 1, 0x2022 gives 2, any other 3. A record or
// property that cannot be read leaves the end kind alone. Opens the
// handler's database when it is not open yet. Returns 1.
int ReadStoredEndKind(CCERecordHandler& handler, DWORD oid, CEPROPID propId);

}  // namespace agent

#endif  // VORN_AGENT_PIM_RECURRENCE_H_
