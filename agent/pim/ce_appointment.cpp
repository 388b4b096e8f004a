#include "agent/pim/ce_appointment.h"

namespace agent {

CCEAppointment::CCEAppointment() {
  dataType = 2;
  logName = u"\\VornAppointmentLog";
  databaseName = u"Appointments Database";
}

}  // namespace agent
