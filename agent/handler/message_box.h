// Failures the handheld's user should see are shown in a modal message box
// without owner, in the foreground, with an OK button.
#ifndef VORN_AGENT_HANDLER_MESSAGE_BOX_H_
#define VORN_AGENT_HANDLER_MESSAGE_BOX_H_

#include "platform/api.h"

namespace agent {

inline constexpr WCHAR kErrorCaption[] = u"ERROR";

inline void ShowMessage(LPCWSTR text, LPCWSTR caption) {
  MessageBoxW(0, text, caption, MB_SETFOREGROUND);
}

}  // namespace agent

#endif  // VORN_AGENT_HANDLER_MESSAGE_BOX_H_
