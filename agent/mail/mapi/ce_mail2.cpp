#include "agent/mail/mapi/ce_mail2.h"

namespace agent {

CCEMail2::CCEMail2() {
  dataType = 4;
  logName = u"\\VornMailLog";
  databaseName = u"\\PMAILDB";
}

}  // namespace agent
