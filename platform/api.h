// The handheld's API as the agent calls it, under the handheld's own names.
// Calls to the handheld's services forward to the current services
// (services.h); conversions that need no handheld state are answered here.
#ifndef VORN_PLATFORM_API_H_
#define VORN_PLATFORM_API_H_

#include "platform/calls.h"
#include "platform/com.h"
#include "platform/objstore_types.h"
#include "platform/pimstore.h"
#include "platform/rapi.h"
#include "platform/richink.h"
#include "platform/types.h"

// Registry.
inline constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000U;
inline constexpr HKEY HKEY_CURRENT_USER = 0x80000001U;
inline constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002U;
inline constexpr HKEY HKEY_USERS = 0x80000003U;
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Message boxes.
inline constexpr UINT MB_OK = 0x00000000;
inline constexpr UINT MB_SETFOREGROUND = 0x00010000;
inline constexpr int IDOK = 1;

// Code pages.
inline constexpr UINT CP_ACP = 0;

#define VORN_DECLARE_CALL(result, name, params, args) result name params;
VORN_KERNEL_CALLS(VORN_DECLARE_CALL)
VORN_REGISTRY_CALLS(VORN_DECLARE_CALL)
VORN_UI_CALLS(VORN_DECLARE_CALL)
VORN_OBJECT_STORE_CALLS(VORN_DECLARE_CALL)
VORN_FILE_CALLS(VORN_DECLARE_CALL)
VORN_RICH_INK_CALLS(VORN_DECLARE_CALL)
#undef VORN_DECLARE_CALL

// Answered by the platform layer itself.
HLOCAL LocalAlloc(UINT flags, std::size_t bytes);
HLOCAL LocalFree(HLOCAL memory);
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);
LONG CompareFileTime(const FILETIME* first, const FILETIME* second);
// Only CP_ACP (the handheld's Western code page, 1252) and flags 0.
// With sourceLength -1 the terminating NUL is converted too.
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source,
                        int sourceLength, char* target, int targetSize,
                        const char* defaultChar, BOOL* usedDefault);
// The handheld's formatter, for the one form the agent uses: "%s" fields of
// zero-terminated texts. The result is cut at 1024 characters (the
// formatter's limit) and always terminated.
int wsprintfW(LPWSTR target, LPCWSTR format, LPCWSTR first, LPCWSTR second);
std::size_t wcslen(LPCWSTR text);
int wcscmp(LPCWSTR first, LPCWSTR second);

#endif  // VORN_PLATFORM_API_H_
