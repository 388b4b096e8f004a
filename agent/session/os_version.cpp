#include "agent/session/os_version.h"

#include "platform/api.h"

namespace agent {

bool IsMapiCapableVersion() {
  OSVERSIONINFOW info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  if (GetVersionExW(&info) == FALSE) return false;
  if (info.dwMajorVersion >= 4) return true;
  return info.dwMajorVersion == 3 && info.dwMinorVersion == 0 &&
         info.dwBuildNumber >= 11171;
}

}  // namespace agent
