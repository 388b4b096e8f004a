// The exceptions of a recurring appointment on the wire: after the
// recurrence block, one 80-byte record per changed or deleted occurrence
// (layout in protocol/calendar_fields.h), each followed by the subject,
// location and body strings its presence words announce.
#ifndef VORN_AGENT_PIM_APPOINTMENT_EXCEPTIONS_H_
#define VORN_AGENT_PIM_APPOINTMENT_EXCEPTIONS_H_

#include <vector>

#include "agent/handler/ce_record_handler.h"
#include "protocol/calendar_fields.h"

namespace agent {

struct AppointmentException {
  // The 80 bytes as sent or to be sent; the presence words stand for the
  // strings below.
  BYTE record[protocol::kExceptionRecordSize] = {};
  OwnedString subject;
  OwnedString location;
  OwnedString body;
};

// Reads the exceptions of `pattern` and stores their count in the
// handler's recurrence block.
std::vector<AppointmentException> ReadExceptions(CCERecordHandler& handler,
                                                 IRecurrencePattern* pattern);

// Appends each record raw (80 bytes, not counted, no limit) and then its
// strings with WriteString.
void AppendExceptions(CCERecordHandler& handler,
                      const std::vector<AppointmentException>& exceptions);

// Reads `count` exception records with their strings from the request.
std::vector<AppointmentException> ParseExceptions(RequestPtr data,
                                                  DWORD& offset, DWORD count);

// Applies the exceptions to the occurrences of the saved appointment's
// `pattern`; an exception whose occurrence cannot be found is dropped.
void ApplyExceptions(CCERecordHandler& handler, IRecurrencePattern* pattern,
                     const std::vector<AppointmentException>& exceptions);

}  // namespace agent

#endif  // VORN_AGENT_PIM_APPOINTMENT_EXCEPTIONS_H_
