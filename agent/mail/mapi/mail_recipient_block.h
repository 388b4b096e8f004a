// The recipients of an incoming mail record as ModifyRecipients takes
// them: the To, Cc and Bcc lists split at ";" into entries of three values
// (PR_RECIPIENT_TYPE, PR_ADDRTYPE "SMTP", PR_EMAIL_ADDRESS).
//
// Splitting: spaces before an address are skipped; an address runs to the
// next ";" (a "," does not split, and spaces before the ";" stay part of
// the address). The Bcc list is taken only when a To list is present.
//
// The handheld sizes one zeroed block for the whole list at (addresses ×
// 60 + 16) + characters × 2 bytes, counting each present list as 1 + its
// ";" and "," characters addresses and its length + 3 characters; when
// that block cannot be had no recipients are set (E_OUTOFMEMORY). The
// block is allocated at that size here too and decides the same way; the
// entries themselves are kept in the object.
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_RECIPIENT_BLOCK_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_RECIPIENT_BLOCK_H_

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/mapi.h"

namespace agent {

class MailRecipientBlock {
 public:
  // Null lists are absent.
  MailRecipientBlock(LPCWSTR to, LPCWSTR cc, LPCWSTR bcc);
  MailRecipientBlock(const MailRecipientBlock&) = delete;
  MailRecipientBlock& operator=(const MailRecipientBlock&) = delete;
  ~MailRecipientBlock();

  // The handheld's block size for these lists.
  static std::size_t BlockSize(LPCWSTR to, LPCWSTR cc, LPCWSTR bcc);

  // ModifyRecipients(MODRECIP_ADD) with the entries; E_OUTOFMEMORY when
  // the block could not be had.
  HRESULT AddTo(IMessage* message);

  std::size_t size() const { return entries_.size(); }

 private:
  void Split(LPCWSTR list, ULONG type);

  void* block_ = nullptr;
  // Owned one by one, so that the pointers in the entries stay valid.
  std::vector<std::unique_ptr<std::u16string>> addresses_;
  std::vector<std::unique_ptr<std::array<SPropValue, 3>>> values_;
  std::vector<ADRENTRY> entries_;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_RECIPIENT_BLOCK_H_
