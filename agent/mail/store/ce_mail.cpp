#include "agent/mail/store/ce_mail.h"

namespace agent {

CCEMail::CCEMail() {
  dataType = 4;
  logName = u"\\VornMailLog";
  databaseName = u"\\PMAILDB";
}

}  // namespace agent
