// The message store library's exports the mail handler uses, imported from
// "msgstore.dll" by ordinal. The module stays loaded as long as the object.
#ifndef VORN_AGENT_MAIL_STORE_MSGSTORE_IMPORTS_H_
#define VORN_AGENT_MAIL_STORE_MSGSTORE_IMPORTS_H_

#include "platform/api.h"
#include "platform/msgstore.h"

namespace agent {

class MsgStoreImports {
 public:
  MsgStoreImports() = default;
  MsgStoreImports(const MsgStoreImports&) = delete;
  MsgStoreImports& operator=(const MsgStoreImports&) = delete;
  ~MsgStoreImports();

  // Loads the library and resolves every export once; true when all are
  // there (also on later calls).
  bool Load();

  MsgStoreLastErrorFn lastError = nullptr;
  MsgStoreOpenFn open = nullptr;
  MsgStoreMessageFn addMessage = nullptr;
  MsgStoreAttachmentFn addAttachment = nullptr;
  MsgStoreMessageFn getMessage = nullptr;
  MsgStoreGetAttachmentFn getAttachment = nullptr;
  MsgStoreMessageFn firstMessage = nullptr;
  MsgStoreUpdateFn updateMessage = nullptr;
  MsgStoreMessageFn deleteMessage = nullptr;
  MsgStoreDeleteAttachmentFn deleteAttachment = nullptr;
  MsgStoreFreeFn free = nullptr;
  MsgStoreCloseFn close = nullptr;
  MsgStoreGetHeaderFn getHeader = nullptr;
  MsgStoreSetHeaderFn setHeader = nullptr;
  MsgStoreFurtherPropsFn furtherProps = nullptr;

 private:
  template <typename F>
  bool Resolve(WORD ordinal, F& target);

  HMODULE module_ = 0;
  bool loaded_ = false;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_STORE_MSGSTORE_IMPORTS_H_
