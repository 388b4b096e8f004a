// The ink note handler (data type 5). It has no change log and no record
// database name. Until its own operations arrive, the base operations serve
// it.
#ifndef VORN_AGENT_NOTES_CE_INK_NOTE_H_
#define VORN_AGENT_NOTES_CE_INK_NOTE_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEInkNote : public CCERecordHandler {
 public:
  CCEInkNote();
};

}  // namespace agent

#endif  // VORN_AGENT_NOTES_CE_INK_NOTE_H_
