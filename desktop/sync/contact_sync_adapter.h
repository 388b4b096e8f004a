// Contacts as vCard 4.0 files in DIR/contacts/.
#ifndef VORN_DESKTOP_SYNC_CONTACT_SYNC_ADAPTER_H_
#define VORN_DESKTOP_SYNC_CONTACT_SYNC_ADAPTER_H_

#include "desktop/sync/sync_adapter.h"

namespace desktop {

class ContactSyncAdapter : public SyncAdapter {
 public:
  protocol::DataType type() const override {
    return protocol::DataType::kContacts;
  }
  std::string collection() const override { return "contacts"; }
  std::string display_name() const override { return "Contacts"; }
  std::string extension() const override { return ".vcf"; }
  PropertyKindFn layout() const override;

  Result<HandheldItem> FromWire(const WireRecord& record) const override;
  Result<DesktopItem> FromFile(std::string_view text) const override;
  Result<std::string> ToFile(std::string_view canonical,
                             std::string_view existing, const std::string& uid,
                             const std::string& rev) const override;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_CONTACT_SYNC_ADAPTER_H_
