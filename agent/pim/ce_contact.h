// The record handler of contacts (data type 1). Every command on contacts is
// the base's; this class encodes one contact of the object model into the
// reply (ReadRecord) and fills one from a request record (WriteRecord).
//
// A contact record on the wire: u32 field count, then per field a u32 field
// id (protocol/contact_fields.h) and its value: a 16-byte time record for
// ids 1 and 2, a counted UTF-16 string for the others.
#ifndef VORN_AGENT_PIM_CE_CONTACT_H_
#define VORN_AGENT_PIM_CE_CONTACT_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEContact : public CCERecordHandler {
 public:
  CCEContact();

  // Appends the 7-byte record header {1, 0, u32 OID, u8 property count} and
  // the properties of the contact `item` (every field but 26). Returns 1.
  int ReadRecord(IDispatch* item, DWORD oid) override;

  // Reads one record at `data`, fills the contact `item`, applies the
  // file-as rule, saves it and, when the save succeeded, stores its OID in
  // `status` and writes long notes to its record. Releases the item in every
  // case. Returns 1 when the save succeeded, else 0. `consumed` receives the
  // record's length.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
};

}  // namespace agent

#endif  // VORN_AGENT_PIM_CE_CONTACT_H_
