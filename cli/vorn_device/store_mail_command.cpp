#include "cli/vorn_device/store_mail_command.h"

#include "cli/vorn_device/command_support.h"
#include "device/kernel/kernel.h"
#include "device/mapi/mapi.h"
#include "device/msgstore/store_mail.h"

namespace cli {
namespace {

std::u16string Joined(const std::vector<std::u16string>& addresses) {
  std::u16string list;
  for (const std::u16string& address : addresses) {
    if (!list.empty()) list += u';';
    list += address;
  }
  return list;
}

std::size_t AddressCount(const std::u16string& list) {
  std::size_t count = 0;
  bool inAddress = false;
  for (char16_t unit : list) {
    if (unit == u';') {
      inAddress = false;
    } else if (unit != u' ' && !inAddress) {
      inAddress = true;
      ++count;
    }
  }
  return count;
}

}  // namespace

bool ImageUsesMapi(device::Device& handheld) {
  OSVERSIONINFOW info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  if (handheld.kernel().GetVersionExW(&info) == FALSE) return false;
  if (info.dwMajorVersion >= 4) return true;
  return info.dwMajorVersion == 3 && info.dwMinorVersion == 0 &&
         info.dwBuildNumber >= 11171;
}

device::Status AddStoreMail(device::Device& handheld,
                            const device::NewMail& mail, std::string* output) {
  device::StoreMailMessage message;
  message.folder = std::string(device::Mapi::FolderName(mail.folder));
  message.from = mail.from.value_or(u"");
  message.to = Joined(mail.to);
  message.cc = Joined(mail.cc);
  message.bcc = Joined(mail.bcc);
  message.subject = mail.subject.value_or(u"");
  message.body = mail.body.value_or(u"");
  message.read = mail.read;
  if (mail.time) {
    message.time = (std::uint64_t{mail.time->dwHighDateTime} << 32) |
                   mail.time->dwLowDateTime;
  }
  for (const device::NewMailAttachment& attachment : mail.attachments) {
    message.attachments.push_back(
        {attachment.fileName, u"",
         std::vector<std::uint8_t>(attachment.bytes.begin(),
                                   attachment.bytes.end())});
  }
  device::Result<CEOID> oid = handheld.storeMail().Add(message);
  if (!oid.ok()) return oid.status();
  *output = std::to_string(*oid) + "\n";
  return device::Status::Ok();
}

device::Status ListStoreMail(device::Device& handheld, std::string* output) {
  for (const device::StoreMailMessage& m : handheld.storeMail().List()) {
    std::size_t recipients =
        AddressCount(m.to) + AddressCount(m.cc) + AddressCount(m.bcc);
    *output += std::to_string(m.oid) + "\t" + m.folder + "\t" +
               (m.read ? "read" : "unread") + "\t" + ListingColumn(m.from) +
               "\t" + ListingColumn(m.subject) + "\t" +
               std::to_string(recipients) + "\t" +
               std::to_string(m.attachments.size()) + "\n";
  }
  return device::Status::Ok();
}

device::Status RemoveStoreMail(device::Device& handheld, std::uint32_t oid) {
  return handheld.storeMail().Remove(oid);
}

}  // namespace cli
