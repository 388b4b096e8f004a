#include "agent/session/handler_factory.h"

#include "agent/mail/mapi/ce_mail2.h"
#include "agent/mail/store/ce_mail.h"
#include "agent/notes/ce_ink_note.h"
#include "agent/pim/ce_appointment.h"
#include "agent/pim/ce_contact.h"
#include "agent/pim/ce_task.h"
#include "agent/session/os_version.h"

namespace agent {

std::unique_ptr<CCERecordHandler> CreateHandler(BYTE dataType) {
  switch (dataType) {
    case 1:
      return std::make_unique<CCEContact>();
    case 2:
      return std::make_unique<CCEAppointment>();
    case 3:
      return std::make_unique<CCETask>();
    case 4:
      if (IsMapiCapableVersion()) return std::make_unique<CCEMail2>();
      return std::make_unique<CCEMail>();
    case 5:
      return std::make_unique<CCEInkNote>();
    default:
      return nullptr;
  }
}

}  // namespace agent
