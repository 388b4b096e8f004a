#include "desktop/formats/mail_transfer.h"

#include <algorithm>
#include <set>
#include <string>

#include "desktop/base/utf16.h"

namespace desktop {

Result<MailStore> MailTransfer::Store() {
  if (store_) return *store_;
  Result<bool> mapi = client_.CheckOsVersion();
  if (!mapi.ok()) return mapi.status();
  store_ = *mapi ? MailStore::kMapi : MailStore::kMessageStore;
  return *store_;
}

Result<std::vector<std::uint32_t>> MailTransfer::Keys() {
  Result<OidList> list = client_.GetAllRecords(protocol::DataType::kMail);
  if (!list.ok()) return list.status();
  return std::move(list->oids);
}

Result<FetchedMail> MailTransfer::Fetch(std::span<const std::uint32_t> keys,
                                        bool attachments) {
  Result<MailStore> store = Store();
  if (!store.ok()) return store.status();
  FetchedMail out;
  if (keys.empty()) return out;
  Result<RecordBatch> batch = client_.GetRecords(
      protocol::DataType::kMail, keys, MailRecord::PropertyKindOf);
  if (!batch.ok()) return batch.status();
  out.missing = std::move(batch->missing);
  // A key the handheld does not know comes back as an empty record with
  // another key (the bytes it reserved for the record's header).
  std::set<std::uint32_t> asked(keys.begin(), keys.end());
  std::set<std::uint32_t> seen;
  for (const WireRecord& record : batch->records) {
    if (asked.count(record.oid) == 0 || !seen.insert(record.oid).second) {
      continue;
    }
    Result<MailMessage> message =
        MailRecord::FromWireRecord(record, *store, clock_);
    if (!message.ok()) return message.status();
    if (attachments) {
      for (MailAttachment& attachment : message->attachments) {
        Result<std::vector<std::uint8_t>> data =
            ReadDeviceFile(attachment.device_file);
        if (!data.ok()) {
          return data.status().WithContext(
              "mail " + std::to_string(record.oid) + ": attachment " +
              Utf16ToUtf8(attachment.name));
        }
        attachment.data = std::move(*data);
      }
    }
    out.messages.push_back(std::move(*message));
  }
  for (std::uint32_t key : keys) {
    if (seen.count(key) == 0 &&
        std::find(out.missing.begin(), out.missing.end(), key) ==
            out.missing.end()) {
      out.missing.push_back(key);
    }
  }
  return out;
}

Result<std::vector<std::uint8_t>> MailTransfer::ReadDeviceFile(
    std::u16string_view path) {
  std::vector<std::uint8_t> data;
  for (;;) {
    if (data.size() > 0x7FFFFFFFU) {
      return Status::Error(Utf16ToUtf8(path) + " is too large");
    }
    Result<FileReadResult> piece =
        client_.ReadFileData(path, static_cast<std::uint32_t>(data.size()),
                             protocol::kMaxFileReadPiece);
    if (!piece.ok()) return piece.status();
    if (!piece->ok) {
      return Status::Error("the handheld could not open " + Utf16ToUtf8(path) +
                           " (error " + std::to_string(piece->error) + ")");
    }
    data.insert(data.end(), piece->data.begin(), piece->data.end());
    if (piece->data.size() < protocol::kMaxFileReadPiece) break;
  }
  return data;
}

Result<std::u16string> MailTransfer::WriteNewDeviceFile(
    std::span<const std::uint8_t> data) {
  std::u16string path;
  for (;; ++next_file_) {
    path = u"\\vorn-mail-" + Utf8ToUtf16(std::to_string(next_file_)) + u".tmp";
    Result<FileReadResult> probe = client_.ReadFileData(path, 0, 1);
    if (!probe.ok()) return probe.status();
    if (!probe->ok) break;
  }
  ++next_file_;
  std::size_t done = 0;
  do {
    const std::size_t piece =
        std::min<std::size_t>(data.size() - done, protocol::kMaxFileReadPiece);
    Result<FileWriteResult> written =
        client_.WriteFileData(path, data.subspan(done, piece));
    if (!written.ok()) return written.status();
    if (!written->ok) {
      return Status::Error("the handheld could not write " + Utf16ToUtf8(path) +
                           " (error " + std::to_string(written->error) + ")");
    }
    done += piece;
  } while (done < data.size());
  return path;
}

Result<WriteStatus> MailTransfer::Add(const MailMessage& message) {
  Result<MailStore> store = Store();
  if (!store.ok()) return store.status();
  MailMessage outgoing = message;
  if (outgoing.attachments.size() > MailRecord::kMaxAttachments) {
    return Status::Error("a message takes at most " +
                         std::to_string(MailRecord::kMaxAttachments) +
                         " attachments");
  }
  for (MailAttachment& attachment : outgoing.attachments) {
    Result<std::u16string> path = WriteNewDeviceFile(attachment.data);
    if (!path.ok()) return path.status();
    attachment.device_file = std::move(*path);
  }
  return client_.AddRecord(protocol::DataType::kMail, 0,
                           MailRecord::Encode(outgoing, *store, clock_));
}

}  // namespace desktop
