#include "agent/pim/ce_task.h"

namespace agent {

CCETask::CCETask() {
  dataType = 3;
  logName = u"\\VornTaskLog";
  databaseName = u"Tasks Database";
}

}  // namespace agent
