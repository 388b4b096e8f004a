// The record handler of calendar appointments (data type 2). Until its
// record encoder and decoder arrive, the base operations serve it.
#ifndef VORN_AGENT_PIM_CE_APPOINTMENT_H_
#define VORN_AGENT_PIM_CE_APPOINTMENT_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEAppointment : public CCERecordHandler {
 public:
  CCEAppointment();
};

}  // namespace agent

#endif  // VORN_AGENT_PIM_CE_APPOINTMENT_H_
