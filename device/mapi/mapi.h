// The handheld's messaging library "CEMAPI.DLL": its three exports
// (MAPILogonEx, MAPIFreeBuffer, FreeProws), the pool of the objects it
// hands out, the buffers of its allocator, the default message store kept
// in the image, and the faults that change what the library does:
//   mapi-missing          the library cannot be loaded
//   mapi-busy FOLDER N    WaitForCompletion on FOLDER's contents table
//                         returns MAPI_E_TIMEOUT the next N times
//                         (FOLDER: deleted, drafts, sent, outbox, inbox)
// Every change of a message (saved: kind 1 new, 2 changed; deleted: kind 3)
// is reported to the change hook, which the assembled handheld points at
// its change-log writer.
#ifndef VORN_DEVICE_MAPI_MAPI_H_
#define VORN_DEVICE_MAPI_MAPI_H_

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "device/image/device_context.h"
#include "device/mapi/mail_store.h"
#include "device/mapi/mapi_allocator.h"
#include "device/mapi/mapi_object.h"
#include "platform/mapi.h"
#include "platform/types.h"

namespace device {

class Mapi {
 public:
  static constexpr std::u16string_view kModuleName = u"cemapi.dll";
  static constexpr std::string_view kMissingFault = "mapi-missing";
  static constexpr std::string_view kBusyFault = "mapi-busy";
  static constexpr int kChangeAdded = 1;
  static constexpr int kChangeChanged = 2;
  static constexpr int kChangeDeleted = 3;

  // The context outlives the library.
  explicit Mapi(DeviceContext& context);
  Mapi(const Mapi&) = delete;
  Mapi& operator=(const Mapi&) = delete;
  ~Mapi();

  // Whether the library is on this handheld (the fault mapi-missing).
  bool Present() const;
  // The export `name` of the library, or null; makes this library the one
  // the exports reach.
  FARPROC Resolve(std::u16string_view name);

  MailStore& store() { return store_; }
  MapiAllocator& allocator() { return allocator_; }
  DeviceContext& context() { return context_; }

  void SetChangeHook(std::function<void(DWORD key, int kind)> hook) {
    changeHook_ = std::move(hook);
  }
  void ReportChange(DWORD key, int kind) {
    if (changeHook_) changeHook_(key, kind);
  }

  // Contents tables list their rows in descending key order (tests of the
  // index's ordering).
  void SetDescendingRows(bool descending) { descendingRows_ = descending; }
  bool descendingRows() const { return descendingRows_; }

  // Makes `folder`'s contents table also list the entry identifier of
  // `key` (tests of a key that two folders list).
  void AddExtraRow(MailFolder folder, DWORD key) {
    extraRows_.emplace_back(folder, key);
  }
  const std::vector<std::pair<MailFolder, DWORD>>& extraRows() const {
    return extraRows_;
  }

  // DeleteMessages calls seen, and entries among them that held a null
  // identifier (tests of what the agent asks for).
  struct DeleteCalls {
    std::size_t calls = 0;
    std::size_t nullEntries = 0;
  };
  DeleteCalls& deleteCalls() { return deleteCalls_; }

  // Takes one time-out of the mapi-busy fault for `folder`: true when the
  // table must answer MAPI_E_TIMEOUT now.
  bool TakeBusy(MailFolder folder);

  // A new object in the pool with one reference for the caller.
  template <typename T, typename... Args>
  T* Make(Args&&... args) {
    auto object = std::make_unique<T>(std::forward<Args>(args)...);
    T* raw = object.get();
    pool_.push_back(std::move(object));
    return raw;
  }
  std::size_t PoolSize() const { return pool_.size(); }

  // The conversation's process ends: objects and buffers go.
  void EndConversation();

  // The GetIDsFromNames of every object of the store.
  HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                          SPropTagArray** tags);

  // GetProps over `props`: the tags asked for in their order (a tag the
  // object lacks as PT_ERROR with MAPI_E_NOT_FOUND, and then the result
  // MAPI_W_ERRORS_RETURNED), or every property for a null tag array.
  HRESULT AnswerProps(const PropList& props, SPropTagArray* tags, ULONG* count,
                      SPropValue** values);

  // OpenEntry of the store (folders and messages) and of a folder
  // (messages of any folder of the store, as the handheld's store allows).
  HRESULT OpenEntry(ULONG idSize, const ENTRYID* id, ULONG flags,
                    ULONG* objectType, IUnknown** object, bool folders);

  // Folder names as the fault and `vorn-device mail` write them.
  static std::optional<MailFolder> FolderFromName(std::string_view name);
  static std::string_view FolderName(MailFolder folder);

 private:
  static HRESULT LogonExport(ULONG uiParam, LPWSTR profile, LPWSTR password,
                             ULONG flags, IMAPISession** session);
  static ULONG FreeBufferExport(void* buffer);
  static void FreeRowsExport(SRowSet* rows);
  static Mapi& Owner();

  DeviceContext& context_;
  MailStore store_;
  MapiAllocator allocator_;
  std::vector<std::unique_ptr<PooledMapiObject>> pool_;
  std::function<void(DWORD, int)> changeHook_;
  bool descendingRows_ = false;
  DeleteCalls deleteCalls_;
  std::vector<std::pair<MailFolder, DWORD>> extraRows_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_H_
