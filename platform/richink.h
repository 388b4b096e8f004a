// Types and constants of the handheld's windows as far as the rich ink
// control needs them: window creation, messages, and the stream-in and
// stream-out messages with their EDITSTREAM callbacks.
#ifndef VORN_PLATFORM_RICHINK_H_
#define VORN_PLATFORM_RICHINK_H_

#include <cstdint>

#include "platform/types.h"

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;
using HMENU = std::uintptr_t;

// Called by the control for every chunk it streams. `buffer` holds (stream
// out) or receives (stream in) at most `count` bytes; the callback stores
// the number of bytes it took or gave in `*done`. A non-zero result ends the
// stream and becomes EDITSTREAM::dwError.
using EDITSTREAMCALLBACK = DWORD (*)(DWORD_PTR cookie, LPBYTE buffer,
                                     LONG count, LONG* done);

struct EDITSTREAM {
  DWORD_PTR dwCookie;
  DWORD dwError;
  EDITSTREAMCALLBACK pfnCallback;
};

// Messages.
inline constexpr UINT EM_STREAMIN = 0x0449;
inline constexpr UINT EM_STREAMOUT = 0x044A;

// Stream formats (the WPARAM of EM_STREAMIN and EM_STREAMOUT).
inline constexpr WPARAM SF_TEXT = 0x0001;
inline constexpr WPARAM SF_RTF = 0x0002;
inline constexpr WPARAM SF_UNICODE = 0x0010;
// The rich ink control's own file format (note files, "pwi").
inline constexpr WPARAM SF_PWI = 0x00010800;

// Window creation.
inline constexpr int CW_USEDEFAULT = static_cast<int>(0x80000000U);
inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr DWORD ERROR_CANNOT_FIND_WND_CLASS = 1407;

#endif  // VORN_PLATFORM_RICHINK_H_
