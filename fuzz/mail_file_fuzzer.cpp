// Feeds arbitrary bytes to the desktop's mail readers. The first byte picks
// the store (bit 0: the older message store) and the reader (bits 1-2): an
// RFC 5322 file, a written mail record, a record read from the handheld
// (GetRecord reply) or an attachment list alone (bit 3: the read form).
// A message that comes of it is encoded again, which must then be stable
// (decoding and encoding the encoding gives the same bytes), and written as
// an RFC 5322 file, which must read back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/formats/mail_file.h"
#include "desktop/formats/mail_message.h"
#include "desktop/formats/mail_record.h"
#include "desktop/wire/reply_reader.h"
#include "desktop/wire/wire_record.h"

namespace {

using desktop::MailMessage;
using desktop::MailRecord;
using desktop::MailStore;

void Exercise(const desktop::Result<MailMessage>& message, MailStore store) {
  if (!message.ok()) return;
  const desktop::MailClock clock;
  std::vector<std::uint8_t> once = MailRecord::Encode(*message, store, clock);
  desktop::Result<MailMessage> again = MailRecord::Decode(once, store, clock);
  if (!again.ok() || MailRecord::Encode(*again, store, clock) != once) {
    std::abort();
  }
  if (!desktop::MailFile::Read(desktop::MailFile::Write(*message)).ok()) {
    std::abort();
  }
}

// The list as a counted string brings it: UTF-16LE up to the first NUL.
std::u16string Utf16(std::span<const std::uint8_t> bytes) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const MailStore store =
      (data[0] & 1) != 0 ? MailStore::kMessageStore : MailStore::kMapi;
  const desktop::MailClock clock;
  switch ((data[0] >> 1) & 3) {
    case 0: {
      const std::string_view text(reinterpret_cast<const char*>(bytes.data()),
                                  bytes.size());
      Exercise(desktop::MailFile::Read(text), store);
      break;
    }
    case 1:
      Exercise(MailRecord::Decode(bytes, store, clock), store);
      break;
    case 2: {
      desktop::ReplyReader reader(bytes);
      desktop::Result<desktop::WireRecord> record =
          desktop::WireRecord::Read(reader, MailRecord::PropertyKindOf);
      if (record.ok()) {
        Exercise(MailRecord::FromWireRecord(*record, store, clock), store);
      }
      break;
    }
    default: {
      const std::u16string list = Utf16(bytes);
      auto attachments =
          (data[0] & 8) != 0
              ? MailRecord::ParseReadAttachmentList(list, store)
              : MailRecord::ParseWrittenAttachmentList(list, store);
      if (attachments.ok()) {
        MailMessage message;
        message.attachments = *attachments;
        Exercise(message, store);
      }
      break;
    }
  }
  return 0;
}
