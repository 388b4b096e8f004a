// A table of rows: a folder's contents, a message's recipients or
// attachments. Rows are asked of the row source at every call, so a
// contents table always shows the folder as it is. SetColumns narrows
// each row to the columns given (a column a row lacks comes back as
// PT_ERROR with MAPI_E_NOT_FOUND); the flags of GetContentsTable and of
// the table calls are accepted and not used.
#ifndef VORN_DEVICE_MAPI_MAPI_TABLE_H_
#define VORN_DEVICE_MAPI_MAPI_TABLE_H_

#include <functional>
#include <optional>
#include <vector>

#include "device/mapi/mail_store.h"
#include "device/mapi/mapi_object.h"

namespace device {

class Mapi;

class MapiTable final : public MapiObject<IMAPITable> {
 public:
  using RowSource = std::function<std::vector<PropList>()>;

  // `busyFolder`: the folder whose mapi-busy fault this table answers.
  MapiTable(Mapi& mapi, RowSource rows,
            std::optional<MailFolder> busyFolder = std::nullopt)
      : mapi_(mapi), rows_(std::move(rows)), busyFolder_(busyFolder) {}

  HRESULT SetColumns(SPropTagArray* columns, ULONG flags) override;
  HRESULT GetRowCount(ULONG flags, ULONG* count) override;
  HRESULT SeekRow(BOOKMARK origin, LONG rowCount, LONG* sought) override;
  HRESULT WaitForCompletion(ULONG flags, ULONG timeout,
                            ULONG* tableStatus) override;
  HRESULT QueryRows(LONG rowCount, ULONG flags, SRowSet** rows) override;

 private:
  Mapi& mapi_;
  RowSource rows_;
  std::optional<MailFolder> busyFolder_;
  std::optional<std::vector<ULONG>> columns_;
  std::size_t position_ = 0;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_TABLE_H_
