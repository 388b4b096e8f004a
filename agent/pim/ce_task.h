// The record handler of tasks (data type 3). Until its record encoder and
// decoder arrive, the base operations serve it.
#ifndef VORN_AGENT_PIM_CE_TASK_H_
#define VORN_AGENT_PIM_CE_TASK_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCETask : public CCERecordHandler {
 public:
  CCETask();
};

}  // namespace agent

#endif  // VORN_AGENT_PIM_CE_TASK_H_
