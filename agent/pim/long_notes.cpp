#include "agent/pim/long_notes.h"

#include <cstring>
#include <memory>

#include "protocol/contact_fields.h"

namespace agent {

int WriteLongNotes(CCERecordHandler& handler, LPCWSTR text, DWORD oid) {
  if (text == nullptr) return 1;
  std::size_t length = wcslen(text);
  if (length < protocol::kLongNotesThreshold) return 1;
  if (handler.database == INVALID_HANDLE_VALUE) {
    CEOID none = 0;
    handler.database = CeOpenDatabase(&none, handler.databaseName, 0, 0, 0);
  }
  std::size_t bufferSize = (length + 1) * 2;
  std::unique_ptr<char[]> buffer(new char[bufferSize]());
  // As many output bytes as the text has characters: the terminating zero
  // does not fit and is not written.
  WideCharToMultiByte(CP_ACP, 0, text, -1, buffer.get(),
                      static_cast<int>(length), nullptr, nullptr);
  CEPROPVAL value = {};
  value.propid = protocol::kLongNotesProperty;
  value.val.blob.dwCount =
      static_cast<DWORD>(strnlen(buffer.get(), bufferSize));
  value.val.blob.lpb = reinterpret_cast<LPBYTE>(buffer.get());
  CeWriteRecordProps(handler.database, oid, 1, &value);
  return 1;
}

}  // namespace agent
