// Builds the record handler of a packet's data type.
#ifndef VORN_AGENT_SESSION_HANDLER_FACTORY_H_
#define VORN_AGENT_SESSION_HANDLER_FACTORY_H_

#include <memory>

#include "agent/handler/ce_record_handler.h"

namespace agent {

// 1 contacts, 2 appointments, 3 tasks, 4 mail (the MAPI handler when the
// version test says yes, else the message store handler), 5 ink notes;
// null for every other value.
std::unique_ptr<CCERecordHandler> CreateHandler(BYTE dataType);

}  // namespace agent

#endif  // VORN_AGENT_SESSION_HANDLER_FACTORY_H_
