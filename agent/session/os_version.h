// The version test: does the handheld run the message store with MAPI?
// Yes for 3.0 from build 11171 on and for every version from 4 on; no for
// other 3.x versions, for versions below 3, and when the query fails.
#ifndef VORN_AGENT_SESSION_OS_VERSION_H_
#define VORN_AGENT_SESSION_OS_VERSION_H_

namespace agent {

bool IsMapiCapableVersion();

}  // namespace agent

#endif  // VORN_AGENT_SESSION_OS_VERSION_H_
