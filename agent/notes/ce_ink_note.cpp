#include "agent/notes/ce_ink_note.h"

namespace agent {

CCEInkNote::CCEInkNote() { dataType = 5; }

}  // namespace agent
