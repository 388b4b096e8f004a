// What the sync engine needs to know of one data type: where its files go
// and how records and files turn into each other. Contacts are the first
// (ContactSyncAdapter); calendar, tasks, notes and mail plug in the same way
// with their own collection directory.
//
// Both sides are compared through a canonical text: the file text the
// handheld's content of an item makes, without UID and REV. Equal canonical
// texts mean equal content as far as the handheld can hold it.
#ifndef VORN_DESKTOP_SYNC_SYNC_ADAPTER_H_
#define VORN_DESKTOP_SYNC_SYNC_ADAPTER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/wire_record.h"
#include "protocol/wire.h"

namespace desktop {

// A record as the handheld holds it.
struct HandheldItem {
  std::uint32_t oid = 0;
  std::string canonical;
};

// A file of the collection as the handheld would take it.
struct DesktopItem {
  std::string uid;  // the file's own UID; empty when it has none
  std::string canonical;
  std::vector<std::uint8_t> record;  // for AddRecord/UpdateRecord/BatchWrite
};

class SyncAdapter {
 public:
  virtual ~SyncAdapter() = default;
  virtual protocol::DataType type() const = 0;
  // The collection's directory name ("contacts") and its displayname.
  virtual std::string collection() const = 0;
  virtual std::string display_name() const = 0;
  // The item files' extension (".vcf").
  virtual std::string extension() const = 0;
  virtual PropertyKindFn layout() const = 0;

  virtual Result<HandheldItem> FromWire(const WireRecord& record) const = 0;
  // Fails on a file that is not exactly one item.
  virtual Result<DesktopItem> FromFile(std::string_view text) const = 0;
  // The file for the handheld content `canonical`: merged into `existing`
  // (whose properties the handheld cannot hold are kept; empty for a new
  // file), with `uid` and `rev`.
  virtual Result<std::string> ToFile(std::string_view canonical,
                                     std::string_view existing,
                                     const std::string& uid,
                                     const std::string& rev) const = 0;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_ADAPTER_H_
