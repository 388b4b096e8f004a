#include "agent/pim/ce_contact.h"

#include "agent/pim/contact_field_table.h"
#include "agent/pim/long_notes.h"
#include "protocol/contact_fields.h"

namespace agent {
namespace {

constexpr int kReadTimeFull = 1;

}  // namespace

CCEContact::CCEContact() {
  dataType = 1;
  logName = u"\\VornContactLog";
  databaseName = u"Contacts Database";
}

int CCEContact::ReadRecord(IDispatch* item, DWORD /*oid*/) {
  IContact* contact = platform::ItemAs<IContact>(item);
  header[6] = 0;
  DWORD headerAt = replyLength;
  Append(header, sizeof(header));

  DATE date = 0;
  SYSTEMTIME time = {};
  contact->get_Anniversary(&date);
  app->VariantTimeToSystemTime(date, &time);
  WritePropTime(protocol::kContactAnniversary, time);
  date = 0;
  time = {};
  contact->get_Birthday(&date);
  app->VariantTimeToSystemTime(date, &time);
  WritePropTime(protocol::kContactBirthday, time);

  for (DWORD id = 3; id <= protocol::kContactFieldCount; ++id) {
    if (id == protocol::kContactFileAs) continue;
    const ContactStringField* field = ContactStringFieldOf(id);
    BSTR value = nullptr;
    (contact->*field->get)(&value);
    WritePropString(id, value);
    app->SysFreeString(value);
  }

  LONG oid = 0;
  contact->get_Oid(&oid);
  header[0] = 1;
  header[1] = 0;
  protocol::PutU32(header + 2, static_cast<DWORD>(oid));
  PutAt(headerAt, header, sizeof(header));
  return 1;
}

int CCEContact::WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                            BYTE* status) {
  IContact* contact = platform::ItemAs<IContact>(item);
  DWORD offset = 0;
  DWORD fields = ReadLong(data, offset);
  std::size_t nameLength = 0;
  std::size_t fileAsLength = 0;
  OwnedString firstName;
  OwnedString lastName;
  OwnedString body;
  for (DWORD i = 0; i < fields; ++i) {
    DWORD id = ReadLong(data, offset);
    if (id < 1 || id > protocol::kContactFieldCount) {
      // No value is read: the next id starts where this value would.
      continue;
    }
    if (id == protocol::kContactAnniversary ||
        id == protocol::kContactBirthday) {
      SYSTEMTIME time = {};
      DATE date = 0;
      ReadTime(&time, data, offset, kReadTimeFull);
      app->SystemTimeToVariantTime(&time, &date);
      if (id == protocol::kContactAnniversary) {
        contact->put_Anniversary(date);
      } else {
        contact->put_Birthday(date);
      }
      continue;
    }
    OwnedString text = ReadString(data, offset);
    std::size_t length = wcslen(text.get());
    if (id == protocol::kContactBody) {
      if (length < protocol::kLongNotesThreshold) contact->put_Body(text.get());
      body = std::move(text);
      continue;
    }
    (contact->*ContactStringFieldOf(id)->put)(text.get());
    if (id == protocol::kContactCompanyName ||
        id == protocol::kContactFirstName || id == protocol::kContactLastName) {
      nameLength += length;
    }
    if (id == protocol::kContactFileAs) fileAsLength = length;
    if (id == protocol::kContactFirstName) firstName = std::move(text);
    if (id == protocol::kContactLastName) lastName = std::move(text);
  }
  consumed = offset;

  if (lastName != nullptr && firstName != nullptr) {
    WCHAR fileAs[1025];
    wsprintfW(fileAs, u"%s, %s", lastName.get(), firstName.get());
    contact->put_FileAs(fileAs);
  }
  if (nameLength < 1 && fileAsLength < 1) contact->put_FileAs(u",");
  firstName.reset();
  lastName.reset();

  HRESULT saved = contact->Save();
  if (SUCCEEDED(saved)) {
    LONG oid = 0;
    contact->get_Oid(&oid);
    SetStatusOid(status, static_cast<DWORD>(oid));
    WriteLongNotes(*this, body.get(), static_cast<DWORD>(oid));
  }
  contact->Release();
  return SUCCEEDED(saved) ? 1 : 0;
}

}  // namespace agent
