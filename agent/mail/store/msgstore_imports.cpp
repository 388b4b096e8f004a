#include "agent/mail/store/msgstore_imports.h"

namespace agent {

MsgStoreImports::~MsgStoreImports() {
  if (module_ != 0) FreeLibrary(module_);
}

template <typename F>
bool MsgStoreImports::Resolve(WORD ordinal, F& target) {
  FARPROC found = GetProcAddressW(module_, OrdinalName(ordinal));
  target = found == nullptr ? nullptr : FromFarProc<F>(found);
  return target != nullptr;
}

bool MsgStoreImports::Load() {
  if (loaded_) return true;
  if (module_ == 0) module_ = LoadLibraryW(u"msgstore.dll");
  if (module_ == 0) return false;
  loaded_ = Resolve(kMsgStoreLastError, lastError) &&
            Resolve(kMsgStoreOpen, open) &&
            Resolve(kMsgStoreAddMessage, addMessage) &&
            Resolve(kMsgStoreAddAttachment, addAttachment) &&
            Resolve(kMsgStoreGetMessage, getMessage) &&
            Resolve(kMsgStoreGetAttachment, getAttachment) &&
            Resolve(kMsgStoreFirstMessage, firstMessage) &&
            Resolve(kMsgStoreUpdateMessage, updateMessage) &&
            Resolve(kMsgStoreDeleteMessage, deleteMessage) &&
            Resolve(kMsgStoreDeleteAttachment, deleteAttachment) &&
            Resolve(kMsgStoreFree, free) && Resolve(kMsgStoreClose, close) &&
            Resolve(kMsgStoreGetHeader, getHeader) &&
            Resolve(kMsgStoreSetHeader, setHeader) &&
            Resolve(kMsgStoreFurtherProps, furtherProps);
  return loaded_;
}

}  // namespace agent
