#include "agent/mail/mapi/mail_recipient_block.h"

#include "platform/api.h"

namespace agent {
namespace {

constexpr WCHAR kAddressType[] = u"SMTP";

}  // namespace

std::size_t MailRecipientBlock::BlockSize(LPCWSTR to, LPCWSTR cc, LPCWSTR bcc) {
  std::size_t addresses = 0;
  std::size_t characters = 0;
  for (LPCWSTR list : {to, cc, bcc}) {
    if (list == nullptr) continue;
    std::size_t length = wcslen(list);
    addresses += 1;
    for (std::size_t i = 0; i < length; ++i) {
      if (list[i] == u';' || list[i] == u',') ++addresses;
    }
    characters += length + 3;
  }
  return (addresses * 60 + 16) + characters * 2;
}

MailRecipientBlock::MailRecipientBlock(LPCWSTR to, LPCWSTR cc, LPCWSTR bcc) {
  block_ = LocalAlloc(LMEM_ZEROINIT, BlockSize(to, cc, bcc));
  if (block_ == nullptr) return;
  Split(to, MAPI_TO);
  Split(cc, MAPI_CC);
  // A message with Bcc but no To gets no Bcc recipients.
  if (to != nullptr) Split(bcc, MAPI_BCC);
}

MailRecipientBlock::~MailRecipientBlock() {
  if (block_ != nullptr) LocalFree(block_);
}

void MailRecipientBlock::Split(LPCWSTR list, ULONG type) {
  if (list == nullptr) return;
  std::size_t length = wcslen(list);
  std::size_t i = 0;
  while (i < length) {
    while (i < length && list[i] == u' ') ++i;
    if (i == length) break;
    std::size_t start = i;
    while (i < length && list[i] != u';') ++i;
    addresses_.push_back(
        std::make_unique<std::u16string>(list + start, list + i));
    if (i < length) ++i;  // past the ";"
    values_.push_back(std::make_unique<std::array<SPropValue, 3>>());
    std::array<SPropValue, 3>& values = *values_.back();
    values = {};
    values[0].ulPropTag = PR_RECIPIENT_TYPE;
    values[0].Value.ul = type;
    values[1].ulPropTag = PR_ADDRTYPE;
    values[1].Value.lpszW = const_cast<LPWSTR>(kAddressType);
    values[2].ulPropTag = PR_EMAIL_ADDRESS;
    values[2].Value.lpszW = addresses_.back()->data();
    entries_.push_back(ADRENTRY{0, 3, values.data()});
  }
}

HRESULT MailRecipientBlock::AddTo(IMessage* message) {
  if (block_ == nullptr) return E_OUTOFMEMORY;
  ADRLIST list = {static_cast<ULONG>(entries_.size()), entries_.data()};
  return message->ModifyRecipients(MODRECIP_ADD, &list);
}

}  // namespace agent
