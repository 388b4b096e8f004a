// COM as the handheld offers it: GUIDs, IUnknown and the start-up calls.
#ifndef VORN_PLATFORM_COM_H_
#define VORN_PLATFORM_COM_H_

#include "platform/types.h"

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];

  friend bool operator==(const GUID&, const GUID&) = default;
};
using CLSID = GUID;
using IID = GUID;
using REFCLSID = const CLSID&;
using REFIID = const IID&;

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;

// The base of every interface. Release returns the reference count left;
// the emulated handheld records releases past zero instead of freeing twice.
class IUnknown {
 public:
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  IUnknown() = default;
  IUnknown(const IUnknown&) = default;
  IUnknown& operator=(const IUnknown&) = default;
  ~IUnknown() = default;
};

// Automation objects. The object model hands its items out as IDispatch.
class IDispatch : public IUnknown {
 protected:
  IDispatch() = default;
  IDispatch(const IDispatch&) = default;
  IDispatch& operator=(const IDispatch&) = default;
  ~IDispatch() = default;
};

HRESULT CoInitializeEx(void* reserved, DWORD coinit);
// On success *object receives an interface pointer of the type `iid` names,
// with one reference for the caller.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context,
                         REFIID iid, void** object);
void CoFreeUnusedLibraries();

#endif  // VORN_PLATFORM_COM_H_
