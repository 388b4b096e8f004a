// The list of platform calls that go through the forwarding layer, grouped
// by the service of the handheld that answers them. Each entry is
//   X(result type, name, (parameters), (arguments))
// and produces the free function the agent calls (api.h), the virtual
// operation of the service interface (services.h) and its pass-through in the
// service's wrapper. Adding a call means adding one line here and an
// implementation in the emulated handheld.
#ifndef VORN_PLATFORM_CALLS_H_
#define VORN_PLATFORM_CALLS_H_

#include "platform/objstore_types.h"
#include "platform/rapi.h"
#include "platform/richink.h"
#include "platform/types.h"

// Core kernel services: errors, handles, versions, time, modules, private
// heaps.
#define VORN_KERNEL_CALLS(X)                                                  \
  X(DWORD, GetLastError, (), ())                                              \
  X(void, SetLastError, (DWORD error), (error))                               \
  X(BOOL, CloseHandle, (HANDLE handle), (handle))                             \
  X(BOOL, GetVersionExW, (OSVERSIONINFOW * info), (info))                     \
  X(DWORD, GetTimeZoneInformation, (TIME_ZONE_INFORMATION * zone), (zone))    \
  X(void, GetSystemTime, (SYSTEMTIME * time), (time))                         \
  X(void, GetLocalTime, (SYSTEMTIME * time), (time))                          \
  X(HMODULE, LoadLibraryW, (LPCWSTR name), (name))                            \
  X(FARPROC, GetProcAddressW, (HMODULE module, LPCWSTR name), (module, name)) \
  X(BOOL, FreeLibrary, (HMODULE module), (module))                            \
  X(HANDLE, HeapCreate,                                                       \
    (DWORD options, std::size_t initialSize, std::size_t maximumSize),        \
    (options, initialSize, maximumSize))                                      \
  X(void*, HeapAlloc, (HANDLE heap, DWORD flags, std::size_t bytes),          \
    (heap, flags, bytes))                                                     \
  X(BOOL, HeapFree, (HANDLE heap, DWORD flags, void* block),                  \
    (heap, flags, block))                                                     \
  X(BOOL, HeapDestroy, (HANDLE heap), (heap))

#define VORN_REGISTRY_CALLS(X)                                                 \
  X(LONG, RegOpenKeyExW,                                                       \
    (HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY * result),   \
    (key, subKey, options, access, result))                                    \
  X(LONG, RegCreateKeyExW,                                                     \
    (HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options, \
     REGSAM access, void* security, HKEY* result, DWORD* disposition),         \
    (key, subKey, reserved, keyClass, options, access, security, result,       \
     disposition))                                                             \
  X(LONG, RegQueryValueExW,                                                    \
    (HKEY key, LPCWSTR name, DWORD * reserved, DWORD * type, BYTE * data,      \
     DWORD * size),                                                            \
    (key, name, reserved, type, data, size))                                   \
  X(LONG, RegSetValueExW,                                                      \
    (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,     \
     DWORD size),                                                              \
    (key, name, reserved, type, data, size))                                   \
  X(LONG, RegDeleteValueW, (HKEY key, LPCWSTR name), (key, name))              \
  X(LONG, RegCloseKey, (HKEY key), (key))

#define VORN_COM_CALLS(X)                                         \
  X(HRESULT, CoInitializeEx, (void* reserved, DWORD coinit),      \
    (reserved, coinit))                                           \
  X(HRESULT, CoCreateInstance,                                    \
    (REFCLSID clsid, IUnknown * outer, DWORD context, REFIID iid, \
     void** object),                                              \
    (clsid, outer, context, iid, object))                         \
  X(void, CoFreeUnusedLibraries, (), ())

#define VORN_UI_CALLS(X)                                                      \
  X(int, MessageBoxW, (HWND owner, LPCWSTR text, LPCWSTR caption, UINT type), \
    (owner, text, caption, type))

#define VORN_OBJECT_STORE_CALLS(X)                                             \
  X(CEOID, CeCreateDatabase,                                                   \
    (LPCWSTR name, DWORD type, WORD sortCount, SORTORDERSPEC * sorts),         \
    (name, type, sortCount, sorts))                                            \
  X(CEOID, CeCreateDatabaseEx, (PCEGUID volume, CEDBASEINFO * info),           \
    (volume, info))                                                            \
  X(HANDLE, CeOpenDatabase,                                                    \
    (PCEOID oid, LPCWSTR name, CEPROPID sortProp, DWORD flags, HWND notify),   \
    (oid, name, sortProp, flags, notify))                                      \
  X(HANDLE, CeOpenDatabaseEx,                                                  \
    (PCEGUID volume, PCEOID oid, LPCWSTR name, CEPROPID sortProp, DWORD flags, \
     void* notify),                                                            \
    (volume, oid, name, sortProp, flags, notify))                              \
  X(CEOID, CeSeekDatabase,                                                     \
    (HANDLE database, DWORD seekType, DWORD_PTR value, LPDWORD index),         \
    (database, seekType, value, index))                                        \
  X(CEOID, CeReadRecordProps,                                                  \
    (HANDLE database, DWORD flags, LPWORD propCount, CEPROPID * propIds,       \
     LPBYTE * buffer, LPDWORD bufferSize),                                     \
    (database, flags, propCount, propIds, buffer, bufferSize))                 \
  X(CEOID, CeReadRecordPropsEx,                                                \
    (HANDLE database, DWORD flags, LPWORD propCount, CEPROPID * propIds,       \
     LPBYTE * buffer, LPDWORD bufferSize, HANDLE heap),                        \
    (database, flags, propCount, propIds, buffer, bufferSize, heap))           \
  X(CEOID, CeWriteRecordProps,                                                 \
    (HANDLE database, CEOID record, WORD propCount, CEPROPVAL * values),       \
    (database, record, propCount, values))                                     \
  X(BOOL, CeDeleteRecord, (HANDLE database, CEOID record), (database, record)) \
  X(BOOL, CeDeleteDatabase, (CEOID database), (database))                      \
  X(BOOL, CeDeleteDatabaseEx, (PCEGUID volume, CEOID database),                \
    (volume, database))                                                        \
  X(BOOL, CeOidGetInfo, (CEOID oid, CEOIDINFO * info), (oid, info))            \
  X(BOOL, CeOidGetInfoEx, (PCEGUID volume, CEOID oid, CEOIDINFO * info),       \
    (volume, oid, info))

#define VORN_FILE_CALLS(X)                                                    \
  X(HANDLE, CreateFileW,                                                      \
    (LPCWSTR path, DWORD access, DWORD share, void* security, DWORD creation, \
     DWORD flags, HANDLE templateFile),                                       \
    (path, access, share, security, creation, flags, templateFile))           \
  X(DWORD, SetFilePointer,                                                    \
    (HANDLE file, LONG distance, LONG * distanceHigh, DWORD method),          \
    (file, distance, distanceHigh, method))                                   \
  X(BOOL, ReadFile,                                                           \
    (HANDLE file, void* buffer, DWORD count, DWORD* done, void* overlapped),  \
    (file, buffer, count, done, overlapped))                                  \
  X(BOOL, WriteFile,                                                          \
    (HANDLE file, const void* buffer, DWORD count, DWORD* done,               \
     void* overlapped),                                                       \
    (file, buffer, count, done, overlapped))                                  \
  X(DWORD, GetFileSize, (HANDLE file, DWORD * sizeHigh), (file, sizeHigh))    \
  X(HANDLE, FindFirstFileW, (LPCWSTR pattern, WIN32_FIND_DATAW * found),      \
    (pattern, found))                                                         \
  X(BOOL, FindNextFileW, (HANDLE search, WIN32_FIND_DATAW * found),           \
    (search, found))                                                          \
  X(BOOL, FindClose, (HANDLE search), (search))                               \
  X(BOOL, DeleteFileW, (LPCWSTR path), (path))                                \
  X(BOOL, MoveFileW, (LPCWSTR from, LPCWSTR to), (from, to))                  \
  X(BOOL, CreateDirectoryW, (LPCWSTR path, void* security), (path, security)) \
  X(BOOL, RemoveDirectoryW, (LPCWSTR path), (path))                           \
  X(DWORD, GetFileAttributesW, (LPCWSTR path), (path))                        \
  X(BOOL, SetFileAttributesW, (LPCWSTR path, DWORD attributes),               \
    (path, attributes))                                                       \
  X(UINT, GetTempFileNameW,                                                   \
    (LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR result),          \
    (directory, prefix, unique, result))

// Windows and the rich ink control: the hidden control that converts note
// files to text and back.
#define VORN_RICH_INK_CALLS(X)                                                 \
  X(void, InitRichInkDLL, (), ())                                              \
  X(HWND, CreateWindowExW,                                                     \
    (DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, \
     int y, int width, int height, HWND parent, HMENU menu,                    \
     HINSTANCE instance, void* param),                                         \
    (exStyle, className, windowName, style, x, y, width, height, parent, menu, \
     instance, param))                                                         \
  X(BOOL, DestroyWindow, (HWND window), (window))                              \
  X(LRESULT, SendMessageW,                                                     \
    (HWND window, UINT message, WPARAM wParam, LPARAM lParam),                 \
    (window, message, wParam, lParam))

// Every service, with the member of platform::Services that answers it.
#define VORN_ALL_SERVICES(S)                           \
  S(Kernel, kernel, VORN_KERNEL_CALLS)                 \
  S(Registry, registry, VORN_REGISTRY_CALLS)           \
  S(Com, com, VORN_COM_CALLS)                          \
  S(Ui, ui, VORN_UI_CALLS)                             \
  S(ObjectStore, objectStore, VORN_OBJECT_STORE_CALLS) \
  S(FileSystem, files, VORN_FILE_CALLS)                \
  S(RichInk, richInk, VORN_RICH_INK_CALLS)

#endif  // VORN_PLATFORM_CALLS_H_
