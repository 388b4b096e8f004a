// The handheld's object store: record databases of property records, kept in
// the device image. Databases and records take their object identifiers from
// the image's one OID space, which files and directories share.
//
// Every call returns what the handheld's API returns and sets the context's
// last error as the handheld documents it. Not emulated (they fail with
// ERROR_CALL_NOT_IMPLEMENTED): database volumes other than the object store
// (a non-zero CEGUID), change notifications (a notification window or
// request), and private heaps for CeReadRecordPropsEx.
#ifndef VORN_DEVICE_OBJSTORE_OBJECT_STORE_H_
#define VORN_DEVICE_OBJSTORE_OBJECT_STORE_H_

#include <functional>
#include <map>
#include <memory>

#include "device/image/device_context.h"
#include "device/objstore/record_table.h"
#include "platform/services.h"

namespace device {

class ObjectStore final : public platform::ObjectStore {
 public:
  // Creates the store's tables in the context's image when missing. The
  // context outlives the store; database handles may outlive it (they then
  // refuse every call).
  explicit ObjectStore(DeviceContext& context);
  ObjectStore(const ObjectStore&) = delete;
  ObjectStore& operator=(const ObjectStore&) = delete;
  ~ObjectStore() override;

  // Answers CeOidGetInfo for object identifiers that are no database and no
  // record (files and directories). Without a source such identifiers are
  // unknown (ERROR_INVALID_HANDLE).
  void SetFileInfoSource(std::function<BOOL(CEOID, CEOIDINFO*)> source);

  // The storage the object model keeps its items in.
  RecordTable& records() { return *records_; }

#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_OBJECT_STORE_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

  // What the handles of open databases share with the store.
  struct Shared {
    RecordTable* records = nullptr;  // null once the store is gone
    std::map<CEOID, int> openCounts;
  };

 private:
  class Cursor;

  CEOID Fail(DWORD error);
  Cursor* CursorOf(HANDLE database);
  bool IsObjectStoreVolume(const CEGUID* volume);
  CEOID ReadProps(HANDLE database, DWORD flags, LPWORD propCount,
                  CEPROPID* propIds, LPBYTE* buffer, LPDWORD bufferSize);

  DeviceContext& context_;
  std::unique_ptr<RecordTable> records_;
  std::shared_ptr<Shared> shared_;
  std::function<BOOL(CEOID, CEOIDINFO*)> fileInfoSource_;
};

}  // namespace device

#endif  // VORN_DEVICE_OBJSTORE_OBJECT_STORE_H_
