// The mail handler of handhelds without MAPI (data type 4, version test
// says no). Until its own operations arrive, the base operations serve it.
#ifndef VORN_AGENT_MAIL_STORE_CE_MAIL_H_
#define VORN_AGENT_MAIL_STORE_CE_MAIL_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEMail : public CCERecordHandler {
 public:
  CCEMail();
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_STORE_CE_MAIL_H_
