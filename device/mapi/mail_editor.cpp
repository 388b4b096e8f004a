#include "device/mapi/mail_editor.h"

#include "device/mapi/mapi.h"
#include "device/mapi/mapi_folder.h"
#include "device/mapi/mapi_message.h"

namespace device {
namespace {

SPropValue TextValue(ULONG tag, std::u16string& text) {
  SPropValue value = {};
  value.ulPropTag = tag;
  value.Value.lpszW = text.data();
  return value;
}

}  // namespace

Result<DWORD> MailEditor::Add(const NewMail& mail) {
  MapiFolder folder(mapi_, mail.folder);
  IMessage* created = nullptr;
  if (FAILED(folder.CreateMessage(nullptr, 0, &created))) {
    return Status::Error("cannot create a message");
  }
  auto* message = static_cast<MapiMessage*>(created);
  std::u16string from = mail.from.value_or(u"");
  std::u16string subject = mail.subject.value_or(u"");
  std::vector<SPropValue> values;
  SPropValue flags = {};
  flags.ulPropTag = PR_MESSAGE_FLAGS;
  flags.Value.ul = mail.read ? MSGFLAG_READ : 0;
  values.push_back(flags);
  if (mail.from) values.push_back(TextValue(PR_SENDER_EMAIL_ADDRESS, from));
  if (mail.subject) values.push_back(TextValue(PR_SUBJECT, subject));
  if (mail.time) {
    SPropValue time = {};
    time.ulPropTag = PR_MESSAGE_DELIVERY_TIME;
    time.Value.ft = *mail.time;
    values.push_back(time);
  }
  message->SetProps(static_cast<ULONG>(values.size()), values.data(), nullptr);
  if (mail.body) {
    IUnknown* opened = nullptr;
    message->OpenProperty(PR_BODY, nullptr, 0, MAPI_CREATE | MAPI_MODIFY,
                          &opened);
    auto* stream = platform::MapiAs<IStream>(opened);
    std::u16string body = *mail.body;
    ULONG written = 0;
    // As the handheld's mail program writes it: the text and its NUL.
    stream->Write(body.c_str(), static_cast<ULONG>((body.size() + 1) * 2),
                  &written);
    stream->Release();
  }
  std::vector<std::u16string> addresses;
  std::vector<ULONG> types;
  for (const auto& [list, type] :
       {std::pair{&mail.to, MAPI_TO}, std::pair{&mail.cc, MAPI_CC},
        std::pair{&mail.bcc, MAPI_BCC}}) {
    for (const std::u16string& address : *list) {
      addresses.push_back(address);
      types.push_back(type);
    }
  }
  std::u16string smtp = u"SMTP";
  std::vector<std::array<SPropValue, 3>> rows(addresses.size());
  std::vector<ADRENTRY> entries;
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    rows[i] = {};
    rows[i][0].ulPropTag = PR_RECIPIENT_TYPE;
    rows[i][0].Value.ul = types[i];
    rows[i][1] = TextValue(PR_ADDRTYPE, smtp);
    rows[i][2] = TextValue(PR_EMAIL_ADDRESS, addresses[i]);
    entries.push_back(ADRENTRY{0, 3, rows[i].data()});
  }
  if (!entries.empty()) {
    ADRLIST list = {static_cast<ULONG>(entries.size()), entries.data()};
    message->ModifyRecipients(MODRECIP_ADD, &list);
  }
  message->SaveChanges(0);
  for (const NewMailAttachment& attachment : mail.attachments) {
    IAttach* attach = nullptr;
    ULONG number = 0;
    message->CreateAttach(nullptr, 0, &number, &attach);
    std::u16string name = attachment.fileName;
    SPropValue value = TextValue(PR_ATTACH_FILENAME, name);
    attach->SetProps(1, &value, nullptr);
    IUnknown* opened = nullptr;
    attach->OpenProperty(PR_ATTACH_DATA_BIN, nullptr, 0,
                         MAPI_CREATE | MAPI_MODIFY, &opened);
    auto* stream = platform::MapiAs<IStream>(opened);
    ULONG written = 0;
    stream->Write(attachment.bytes.data(),
                  static_cast<ULONG>(attachment.bytes.size()), &written);
    stream->Release();
    attach->Release();
  }
  DWORD key = message->key();
  message->Release();
  return key;
}

std::vector<MailSummary> MailEditor::List() {
  std::vector<MailSummary> result;
  MailStore& store = mapi_.store();
  for (int f = 1; f <= kMailFolderCount; ++f) {
    auto folder = static_cast<MailFolder>(f);
    for (DWORD key : store.MessageKeys(folder)) {
      std::optional<StoredMessage> message = store.LoadMessage(key);
      if (!message) continue;
      MailSummary summary;
      summary.key = key;
      summary.folder = folder;
      if (const MapiProp* p =
              MailStore::Find(message->props, PR_SENDER_EMAIL_ADDRESS)) {
        summary.from = MailStore::AsText(*p);
      }
      if (const MapiProp* p = MailStore::Find(message->props, PR_SUBJECT)) {
        summary.subject = MailStore::AsText(*p);
      }
      if (const MapiProp* p =
              MailStore::Find(message->props, PR_MESSAGE_FLAGS)) {
        summary.read = (MailStore::AsLong(*p) & MSGFLAG_READ) != 0;
      }
      summary.recipients = message->recipients.size();
      summary.attachments = store.AttachmentNumbers(key).size();
      result.push_back(std::move(summary));
    }
  }
  return result;
}

Status MailEditor::Remove(DWORD key) {
  BYTE id[MailStore::kEntryIdSize];
  MailStore::MakeEntryId(key, id);
  SBinary entry = {MailStore::kEntryIdSize, id};
  ENTRYLIST list = {1, &entry};
  MapiFolder folder(mapi_, MailFolder::kInbox);
  if (folder.DeleteMessages(&list, 0, nullptr, 0) != S_OK) {
    return Status::Error("no message with record key " + std::to_string(key));
  }
  return Status::Ok();
}

}  // namespace device
