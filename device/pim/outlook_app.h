// The handheld's contacts, calendar and tasks application object.
//
// Items, folders and collections it hands out live in its pool: each comes
// with one reference for the caller, Release returns the count left, and a
// release past zero (which the agent makes on purpose) is counted, never a
// second free. Their memory goes with the application or with
// SweepReleasedItems(). Strings from getters are allocated here and
// returned with SysFreeString.
#ifndef VORN_DEVICE_PIM_OUTLOOK_APP_H_
#define VORN_DEVICE_PIM_OUTLOOK_APP_H_

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "device/image/device_context.h"
#include "device/objstore/object_store.h"
#include "device/pim/pim_item_store.h"
#include "device/pim/pim_object.h"
#include "platform/pimstore.h"

namespace device {

class OutlookApp final : public IPOutlookApp {
 public:
  // Change kinds passed to the change hook.
  static constexpr int kItemAdded = 1;
  static constexpr int kItemChanged = 2;
  static constexpr int kItemDeleted = 3;
  using ChangeHook = std::function<void(int itemType, CEOID oid, int kind)>;

  // The application starts with one reference for its creator and deletes
  // itself on its last Release. The context and store outlive it. Creates
  // the item databases when missing.
  OutlookApp(DeviceContext& context, ObjectStore& store);
  OutlookApp(const OutlookApp&) = delete;
  OutlookApp& operator=(const OutlookApp&) = delete;

  // IID_IPOutlookApp or IUnknown: this, with a new reference.
  HRESULT QueryInterface(REFIID iid, void** object) override;
  ULONG AddRef() override;
  ULONG Release() override;

  // E_FAIL when the fault "logon-fails" is set; the application works
  // either way.
  HRESULT Logon(LONG hwnd) override;
  HRESULT Logoff() override;
  // olFolderContacts, olFolderCalendar, olFolderTasks; others E_INVALIDARG.
  HRESULT GetDefaultFolder(int folder, IFolder** result) override;
  // A new, unsaved item (OID 0) of olContactItem, olAppointmentItem or
  // olTaskItem; others E_INVALIDARG.
  HRESULT CreateItem(int itemType, IDispatch** item) override;
  // The item whose record is `oid`, of the kind its database says;
  // E_INVALIDARG when `oid` is no item.
  HRESULT GetItemFromOid(LONG oid, IDispatch** item) override;
  // E_INVALIDARG for a time or date out of range (see ole_date.h).
  HRESULT SystemTimeToVariantTime(SYSTEMTIME* time, DATE* date) override;
  HRESULT VariantTimeToSystemTime(DATE date, SYSTEMTIME* time) override;
  // Frees a string of a getter; null is fine; a string not from here is
  // refused with E_INVALIDARG and left alone.
  HRESULT SysFreeString(BSTR text) override;

  // The handheld's local time as a DATE, for the reminders that items
  // check when saved; without a clock no reminder is checked.
  using Clock = std::function<std::optional<DATE>()>;
  void SetClock(Clock clock) { clock_ = std::move(clock); }
  std::optional<DATE> Now() const { return clock_ ? clock_() : std::nullopt; }

  // Called after every successful save and delete of an item.
  void SetChangeHook(ChangeHook hook) { changeHook_ = std::move(hook); }
  // Releases made on objects whose count was already zero.
  int overReleaseCount() const { return overReleases_; }
  // Frees the pooled objects whose count is zero; returns how many.
  std::size_t SweepReleasedItems();
  // Pooled objects, released or not.
  std::size_t pooledCount() const { return pool_.size(); }
  // Strings handed out and not yet freed.
  std::size_t liveStringCount() const { return strings_.size(); }

  // For the pooled objects.
  void NoteOverRelease() { ++overReleases_; }
  BSTR AllocString(std::u16string_view text);
  void NotifyChange(int itemType, CEOID oid, int kind);
  PimItemStore& items() { return items_; }
  DeviceContext& context() { return context_; }
  // Takes `object` into the pool and returns it.
  template <typename T>
  T* Adopt(std::unique_ptr<T> object) {
    T* raw = object.get();
    pool_.push_back(std::move(object));
    return raw;
  }
  // A new item of `itemType` (loaded from `oid` unless it is 0), pooled, as
  // IDispatch; null for an unknown type.
  IDispatch* NewItem(int itemType, CEOID oid);

 private:
  ~OutlookApp();

  DeviceContext& context_;
  PimItemStore items_;
  ULONG references_ = 1;
  int overReleases_ = 0;
  bool loggedOn_ = false;
  ChangeHook changeHook_;
  Clock clock_;
  std::vector<std::unique_ptr<PimObject>> pool_;
  // Strings are handed out in buffers of whole size classes (up to
  // kStringClasses classes of kStringClassUnits units) and the buffers of
  // freed strings are kept for the next ones: a record read gets and frees
  // a string per property.
  static constexpr std::size_t kStringClassUnits = 32;
  static constexpr std::size_t kStringClasses = 8;
  static constexpr std::size_t kSparePerClass = 64;
  struct LiveString {
    BSTR text;
    std::size_t units;  // the buffer's size
  };
  // Live strings in the order they were handed out. Callers free a string
  // soon after getting it, so SysFreeString searches from the newest end
  // and usually stops at the first entry.
  std::vector<LiveString> strings_;
  std::array<std::vector<BSTR>, kStringClasses> spare_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_OUTLOOK_APP_H_
