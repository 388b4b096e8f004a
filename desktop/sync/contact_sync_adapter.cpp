#include "desktop/sync/contact_sync_adapter.h"

#include "desktop/formats/contact.h"
#include "desktop/formats/vcard.h"
#include "desktop/formats/vcard_merge.h"

namespace desktop {
namespace {

Result<Contact> OneCard(std::string_view text) {
  Result<std::vector<Contact>> cards = VCard::Parse(text);
  if (!cards.ok()) return cards.status();
  if (cards->size() != 1) {
    return Status::Error("holds " + std::to_string(cards->size()) +
                         " cards, not one");
  }
  return std::move(cards->front());
}

}  // namespace

PropertyKindFn ContactSyncAdapter::layout() const {
  return Contact::PropertyKindOf;
}

Result<HandheldItem> ContactSyncAdapter::FromWire(
    const WireRecord& record) const {
  Result<Contact> contact = Contact::FromWireRecord(record);
  if (!contact.ok()) {
    return contact.status().WithContext("contact " +
                                        std::to_string(record.oid));
  }
  contact->oid.reset();
  return HandheldItem{record.oid, VCard::Write(*contact)};
}

Result<DesktopItem> ContactSyncAdapter::FromFile(std::string_view text) const {
  Result<Contact> contact = OneCard(text);
  if (!contact.ok()) return contact.status();
  DesktopItem item;
  item.uid = contact->uid;
  contact->uid.clear();
  contact->rev.clear();
  contact->oid.reset();
  item.canonical = VCard::Write(*contact);
  item.record = contact->Encode(true);
  return item;
}

Result<std::string> ContactSyncAdapter::ToFile(std::string_view canonical,
                                               std::string_view existing,
                                               const std::string& uid,
                                               const std::string& rev) const {
  // A new file is the canonical card (VCard::Write's text of the record)
  // with UID and REV where Write puts them, last: no need to parse it.
  constexpr std::string_view kEnd = "END:VCARD\r\n";
  if (existing.empty() && canonical.ends_with(kEnd) &&
      canonical.find(kEnd) == canonical.size() - kEnd.size()) {
    std::string out;
    out.reserve(canonical.size() + uid.size() + rev.size() + 16);
    out.append(canonical.substr(0, canonical.size() - kEnd.size()));
    if (!uid.empty()) VCard::AppendFolded(out, "UID:" + uid);
    if (!rev.empty()) VCard::AppendFolded(out, "REV:" + rev);
    out.append(kEnd);
    return out;
  }
  Result<Contact> contact = OneCard(canonical);
  if (!contact.ok()) return contact.status();
  contact->uid = uid;
  contact->rev = rev;
  return VCardMerge::Merge(*contact, existing);
}

}  // namespace desktop
