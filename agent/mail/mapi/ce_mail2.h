// The mail handler of handhelds with MAPI (data type 4, version test says
// yes). Until its own operations arrive, the base operations serve it.
#ifndef VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_
#define VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEMail2 : public CCERecordHandler {
 public:
  CCEMail2();
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_
