#include "device/msgstore/store_mail.h"

#include <array>

#include "device/fs/file_system.h"
#include "platform/msgstore.h"

namespace device {
namespace {

struct FolderEntry {
  std::string_view name;
  BYTE value;
};

constexpr std::array<FolderEntry, 5> kFolders = {{
    {"inbox", kMsgStoreInbox},
    {"outbox", kMsgStoreOutbox},
    {"sent", kMsgStoreSent},
    {"drafts", kMsgStoreDrafts},
    {"deleted", kMsgStoreDeleted},
}};

constexpr std::array<std::u16string_view, 5> kHeaderNames = {
    u"From", u"To", u"Cc", u"Bcc", u"Subject"};

bool HasLineBreak(std::u16string_view text) {
  return text.find_first_of(u"\r\n") != std::u16string_view::npos;
}

std::u16string Decimal(std::uint32_t value) {
  std::u16string out;
  for (char c : std::to_string(value)) out.push_back(static_cast<char16_t>(c));
  return out;
}

}  // namespace

StoreMail::StoreMail(DeviceContext& context, MessageStore& store,
                     FileSystem& files)
    : context_(context), store_(store), files_(files) {}

std::optional<BYTE> StoreMail::FolderByte(std::string_view folder) {
  for (const FolderEntry& entry : kFolders) {
    if (entry.name == folder) return entry.value;
  }
  return std::nullopt;
}

std::string StoreMail::FolderName(BYTE folder) {
  for (const FolderEntry& entry : kFolders) {
    if (entry.value == folder) return std::string(entry.name);
  }
  return "folder " + std::to_string(folder);
}

Status StoreMail::WriteFile(const std::u16string& path,
                            const std::vector<std::uint8_t>& bytes) {
  std::u16string folder(kAttachmentFolder);
  if (files_.GetFileAttributesW(folder.c_str()) == 0xFFFFFFFFU &&
      files_.CreateDirectoryW(folder.c_str(), nullptr) == FALSE) {
    return Status::Error("cannot create the attachment folder");
  }
  HANDLE file = files_.CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) {
    return Status::Error("cannot create an attachment file");
  }
  DWORD done = 0;
  BOOL written = files_.WriteFile(
      file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
  context_.handles.Close(file);
  if (written == FALSE || done != bytes.size()) {
    return Status::Error("cannot write an attachment file");
  }
  return Status::Ok();
}

std::vector<std::uint8_t> StoreMail::ReadFile(const std::u16string& path) {
  std::vector<std::uint8_t> bytes;
  HANDLE file = files_.CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) return bytes;
  DWORD size = files_.GetFileSize(file, nullptr);
  if (size != 0xFFFFFFFFU) {
    bytes.resize(size);
    DWORD done = 0;
    if (files_.ReadFile(file, bytes.data(), size, &done, nullptr) == FALSE) {
      done = 0;
    }
    bytes.resize(done);
  }
  context_.handles.Close(file);
  return bytes;
}

Result<CEOID> StoreMail::Add(const StoreMailMessage& message) {
  std::optional<BYTE> folder = FolderByte(message.folder);
  if (!folder) return Status::Error("unknown folder '" + message.folder + "'");
  const std::array<const std::u16string*, 5> values = {
      &message.from, &message.to, &message.cc, &message.bcc, &message.subject};
  StoredMessage stored;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (HasLineBreak(*values[i])) {
      return Status::Error("a header value holds a line break");
    }
    if (!values[i]->empty()) {
      stored.headers =
          WithHeaderField(stored.headers, kHeaderNames[i], *values[i]);
    }
  }
  stored.flags = *folder | (message.read ? kMsgStoreRead : 0);
  stored.date = message.time;
  stored.service = u"Mail";
  stored.body = message.body;
  stored.further = message.further;
  Result<CEOID> added = store_.Add(stored);
  if (!added.ok() || message.attachments.empty()) return added;
  stored.oid = *added;
  std::uint32_t index = 0;
  for (const StoreMailAttachment& attachment : message.attachments) {
    std::u16string path = std::u16string(kAttachmentFolder) + u"\\" +
                          Decimal(*added) + u"-" + Decimal(++index) + u".att";
    Status written = WriteFile(path, attachment.bytes);
    if (!written.ok()) return written;
    stored.attachments.push_back(StoredAttachment{attachment.name, path});
  }
  // The message is written twice (once to learn its OID); the log keeps
  // the second write as a change.
  Status updated = store_.Update(stored);
  if (!updated.ok()) return updated;
  return added;
}

std::vector<StoreMailMessage> StoreMail::List() {
  std::vector<StoreMailMessage> out;
  for (CEOID oid : store_.List()) {
    std::optional<StoredMessage> stored = store_.Read(oid);
    if (!stored) continue;
    StoreMailMessage message;
    message.oid = oid;
    message.folder = FolderName(static_cast<BYTE>(stored->flags & 0xFF));
    const std::array<std::u16string*, 5> values = {&message.from, &message.to,
                                                   &message.cc, &message.bcc,
                                                   &message.subject};
    for (std::size_t i = 0; i < values.size(); ++i) {
      *values[i] = HeaderField(stored->headers, kHeaderNames[i]).value_or(u"");
    }
    message.body = stored->body;
    message.read = (stored->flags & kMsgStoreRead) != 0;
    message.time = stored->date;
    message.further = stored->further;
    for (const StoredAttachment& a : stored->attachments) {
      StoreMailAttachment attachment;
      attachment.name = a.first;
      attachment.devicePath = a.second;
      if (!a.second.empty()) attachment.bytes = ReadFile(a.second);
      message.attachments.push_back(std::move(attachment));
    }
    out.push_back(std::move(message));
  }
  return out;
}

Status StoreMail::Remove(CEOID oid) {
  std::optional<StoredMessage> stored = store_.Read(oid);
  if (!stored) return Status::Error("no message " + std::to_string(oid));
  std::u16string prefix = std::u16string(kAttachmentFolder) + u"\\";
  for (const StoredAttachment& a : stored->attachments) {
    if (a.second.starts_with(prefix)) files_.DeleteFileW(a.second.c_str());
  }
  return store_.Delete(oid);
}

}  // namespace device
