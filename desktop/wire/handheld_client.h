// Typed operations for every command of the conversation with a handheld's
// agent. Each call sends one request frame (GetRecords may send several) and
// decodes the reply frame with bound checks.
//
// Failures come back as error values: a stream that broke, a reply that does
// not have the shape its command promises, or a handheld that answered with
// its failure status. A reply that merely reports a per-record failure (a
// WriteStatus whose ok byte is 0, a missing OID in GetRecords) is returned as
// data for the caller to judge.
#ifndef VORN_DESKTOP_WIRE_HANDHELD_CLIENT_H_
#define VORN_DESKTOP_WIRE_HANDHELD_CLIENT_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/transport/handheld_stream.h"
#include "desktop/wire/wire_record.h"
#include "protocol/wire.h"

namespace desktop {

// The 10-byte answer to one written record.
struct WriteStatus {
  bool ok = false;
  std::uint8_t code = 0;     // 3: the item could not be created or fetched
  std::uint32_t oid = 0;     // the handheld's object id of the record
  std::uint32_t echoed = 0;  // the id sent in the request
};

// The 7-byte header in front of list replies.
struct ListHeader {
  bool complete = false;
  bool failed = false;
  std::uint32_t count = 0;
  std::uint8_t property_count = 0;
};

struct ChangeEntry {
  std::uint32_t oid = 0;
  std::uint8_t kind = 0;  // protocol::ChangeKind values
};

struct ChangeList {
  ListHeader header;
  std::vector<ChangeEntry> changes;
};

struct OidList {
  ListHeader header;
  std::vector<std::uint32_t> oids;
};

// One record of a BatchWrite: an add (id is the caller's own id, echoed
// back) or an update (id is the handheld's object id). `record` is the
// encoded record as for AddRecord.
struct BatchEntry {
  bool add = true;
  std::uint32_t id = 0;
  std::vector<std::uint8_t> record;
};

struct BatchResult {
  std::vector<WriteStatus> statuses;
  // True when the handheld gave up part way (it then appends 0, 3); the
  // statuses cover the records written before that.
  bool failed = false;
};

struct RecordBatch {
  std::vector<WireRecord> records;     // in the order asked for
  std::vector<std::uint32_t> missing;  // OIDs the handheld could not fetch
};

struct FileWriteResult {
  bool ok = false;
  std::uint32_t error = 0;  // the handheld's error code as it stands
};

struct FileReadResult {
  bool ok = false;
  std::uint32_t error = 0;
  std::vector<std::uint8_t> data;
};

class HandheldClient {
 public:
  // Talks over `stream`, which the caller keeps alive and closes.
  explicit HandheldClient(HandheldStream& stream) : stream_(stream) {}
  HandheldClient(const HandheldClient&) = delete;
  HandheldClient& operator=(const HandheldClient&) = delete;

  // Sends one packet and returns the payload of its reply frame.
  Result<std::vector<std::uint8_t>> Exchange(
      std::span<const std::uint8_t> packet);

  // Command 1. Ends the conversation; the handheld answers an empty frame.
  Status EndSession(protocol::DataType type = protocol::DataType::kContacts);

  // Commands 2 and 3. `record` is an encoded record of the data type (for
  // contacts see Contact::Encode). The answer's length may be 10 or 20; the
  // status is taken from its first ten bytes.
  Result<WriteStatus> AddRecord(protocol::DataType type, std::uint32_t id,
                                std::span<const std::uint8_t> record);
  Result<WriteStatus> UpdateRecord(protocol::DataType type, std::uint32_t oid,
                                   std::span<const std::uint8_t> record);

  // Commands 4 and 5. Fail when the handheld answers 0, 3.
  Status DeleteRecord(protocol::DataType type, std::uint32_t oid);
  Status DeleteAllRecords(protocol::DataType type);

  // Command 6.
  Result<std::uint32_t> GetRecordCount(protocol::DataType type);

  // Command 7. Fails when the handheld has no such record.
  Result<WireRecord> GetRecord(protocol::DataType type, std::uint32_t oid,
                               const PropertyKindFn& layout);

  // Commands 8 to 12, on the contract named `name`.
  Status AddContract(protocol::DataType type, std::u16string_view name);
  Status DeleteContract(protocol::DataType type, std::u16string_view name);
  Result<bool> FindContract(protocol::DataType type, std::u16string_view name);
  Result<ChangeList> GetChangedRecords(protocol::DataType type,
                                       std::u16string_view name);
  Status UpdateContract(protocol::DataType type, std::u16string_view name);

  // Command 13.
  Result<OidList> GetAllRecords(protocol::DataType type);

  // Command 14.
  Result<std::u16string> GetMachineId();

  // Command 15.
  Result<BatchResult> BatchWrite(protocol::DataType type,
                                 std::span<const BatchEntry> entries);

  // Command 16, repeated until every OID has been answered: a reply that
  // counts fewer records than asked filled up, and the rest are asked for
  // again. An OID that the handheld answers with nothing is fetched alone
  // with command 7 (which sends a record too large for a list in part, or
  // reports it missing).
  Result<RecordBatch> GetRecords(protocol::DataType type,
                                 std::span<const std::uint32_t> oids,
                                 const PropertyKindFn& layout);

  // Command 17. Returns the OIDs that were deleted.
  Result<std::vector<std::uint32_t>> DeleteRecords(
      protocol::DataType type, std::span<const std::uint32_t> oids);

  // Command 18: appends `data` to the device file `path` (created when
  // missing).
  Result<FileWriteResult> WriteFileData(std::u16string_view path,
                                        std::span<const std::uint8_t> data);

  // Command 19: reads up to `count` bytes (at most kMaxFileReadPiece) at
  // `position` of the device file `path`.
  Result<FileReadResult> ReadFileData(std::u16string_view path,
                                      std::uint32_t position,
                                      std::uint32_t count);

  // Command 20: whether the handheld runs the system version with MAPI.
  Result<bool> CheckOsVersion();

  // Decoders of reply payloads, public for tests and tools.
  static Result<WriteStatus> ParseWriteStatus(ReplyReader& reader);
  static Result<ListHeader> ParseListHeader(ReplyReader& reader);

 private:
  Result<WriteStatus> WriteOne(protocol::Command command,
                               protocol::DataType type, std::uint32_t id,
                               std::span<const std::uint8_t> record);
  // Sends a command with a counted name and returns the reply payload.
  Result<std::vector<std::uint8_t>> ContractExchange(protocol::Command command,
                                                     protocol::DataType type,
                                                     std::u16string_view name);
  // Expects a status pair 1, 0; anything else fails naming `what`.
  static Status CheckStatusPair(const std::vector<std::uint8_t>& reply,
                                const char* what);

  HandheldStream& stream_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_HANDHELD_CLIENT_H_
