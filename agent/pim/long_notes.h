// Notes of 4096 characters or more are not given to the object model: they
// go straight into the item's record of the handler's record database, as
// the Western-code-page blob property 0x00170041 without a terminating zero.
#ifndef VORN_AGENT_PIM_LONG_NOTES_H_
#define VORN_AGENT_PIM_LONG_NOTES_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

// Does nothing for a missing text or one shorter than 4096 characters.
// Opens the handler's record database into handler.database when it is not
// open yet (the handler's destructor closes it). Failures are ignored.
// Returns 1.
int WriteLongNotes(CCERecordHandler& handler, LPCWSTR text, DWORD oid);

}  // namespace agent

#endif  // VORN_AGENT_PIM_LONG_NOTES_H_
