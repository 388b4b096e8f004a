#include "desktop/wire/handheld_client.h"

#include <algorithm>

#include "desktop/wire/request_builder.h"

namespace desktop {

using protocol::Command;
using protocol::DataType;

namespace {

std::string Hex(std::span<const std::uint8_t> bytes, std::size_t limit = 16) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < bytes.size() && i < limit; ++i) {
    if (i) out += ' ';
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  if (bytes.size() > limit) out += " ...";
  return out;
}

std::string OidText(std::uint32_t oid) { return std::to_string(oid); }

}  // namespace

Result<std::vector<std::uint8_t>> HandheldClient::Exchange(
    std::span<const std::uint8_t> packet) {
  VORN_RETURN_IF_ERROR(stream_.WriteFrame(packet));
  return stream_.ReadFrame();
}

Status HandheldClient::CheckStatusPair(const std::vector<std::uint8_t>& reply,
                                       const char* what) {
  if (reply.size() >= 2 && reply[0] == 1 && reply[1] == 0) return Status::Ok();
  if (reply.size() >= 2 && reply[0] == 0) {
    return Status::Error(std::string(what) + ": handheld reports failure (" +
                         Hex(reply) + ")");
  }
  return Status::Error(std::string(what) + ": unexpected reply (" +
                       (reply.empty() ? std::string("empty") : Hex(reply)) +
                       ")");
}

Result<WriteStatus> HandheldClient::ParseWriteStatus(ReplyReader& reader) {
  if (reader.remaining() < protocol::kWriteStatusSize) {
    return Status::Error("reply too short for a write status (" +
                         std::to_string(reader.remaining()) + " bytes)");
  }
  WriteStatus status;
  status.ok = *reader.Byte("write status") == 1;
  status.code = *reader.Byte("write status");
  status.oid = *reader.U32("write status");
  status.echoed = *reader.U32("write status");
  return status;
}

Result<ListHeader> HandheldClient::ParseListHeader(ReplyReader& reader) {
  if (reader.remaining() < protocol::kListHeaderSize) {
    return Status::Error("reply too short for a list header (" +
                         std::to_string(reader.remaining()) + " bytes)");
  }
  ListHeader header;
  header.complete = *reader.Byte("list header") != 0;
  header.failed = *reader.Byte("list header") != 0;
  header.count = *reader.U32("list header");
  header.property_count = *reader.Byte("list header");
  return header;
}

Status HandheldClient::EndSession(DataType type) {
  Result<std::vector<std::uint8_t>> reply =
      Exchange(RequestBuilder(Command::kEndSession, type).packet());
  return reply.ok() ? Status::Ok() : reply.status();
}

Result<WriteStatus> HandheldClient::WriteOne(
    Command command, DataType type, std::uint32_t id,
    std::span<const std::uint8_t> record) {
  RequestBuilder request(command, type);
  request.U32(id).Bytes(record);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  // The agent counts its write status twice: 20 bytes whose last ten are
  // stale, or 10 when the record writer reset the length.
  ReplyReader reader(*reply);
  return ParseWriteStatus(reader);
}

Result<WriteStatus> HandheldClient::AddRecord(
    DataType type, std::uint32_t id, std::span<const std::uint8_t> record) {
  return WriteOne(Command::kAddRecord, type, id, record);
}

Result<WriteStatus> HandheldClient::UpdateRecord(
    DataType type, std::uint32_t oid, std::span<const std::uint8_t> record) {
  return WriteOne(Command::kUpdateRecord, type, oid, record);
}

Status HandheldClient::DeleteRecord(DataType type, std::uint32_t oid) {
  RequestBuilder request(Command::kDeleteRecord, type);
  request.U32(oid);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  return CheckStatusPair(*reply, ("deleting record " + OidText(oid)).c_str());
}

Status HandheldClient::DeleteAllRecords(DataType type) {
  Result<std::vector<std::uint8_t>> reply =
      Exchange(RequestBuilder(Command::kDeleteAllRecords, type).packet());
  if (!reply.ok()) return reply.status();
  return CheckStatusPair(*reply, "deleting all records");
}

Result<std::uint32_t> HandheldClient::GetRecordCount(DataType type) {
  Result<std::vector<std::uint8_t>> reply =
      Exchange(RequestBuilder(Command::kGetRecordCount, type).packet());
  if (!reply.ok()) return reply.status();
  VORN_RETURN_IF_ERROR(CheckStatusPair(*reply, "counting records"));
  ReplyReader reader(*reply);
  (void)reader.Skip(2, "status");
  return reader.U32("record count");
}

Result<WireRecord> HandheldClient::GetRecord(DataType type, std::uint32_t oid,
                                             const PropertyKindFn& layout) {
  RequestBuilder request(Command::kGetRecord, type);
  request.U32(oid);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  if (!reply->empty() && (*reply)[0] == 0) {
    return Status::Error("handheld has no record " + OidText(oid));
  }
  ReplyReader reader(*reply);
  Result<WireRecord> record = WireRecord::Read(reader, layout);
  if (!record.ok()) {
    return record.status().WithContext("record " + OidText(oid));
  }
  return record;
}

Result<std::vector<std::uint8_t>> HandheldClient::ContractExchange(
    Command command, DataType type, std::u16string_view name) {
  RequestBuilder request(command, type);
  request.String(name);
  return Exchange(request.packet());
}

Status HandheldClient::AddContract(DataType type, std::u16string_view name) {
  Result<std::vector<std::uint8_t>> reply =
      ContractExchange(Command::kAddContract, type, name);
  if (!reply.ok()) return reply.status();
  return CheckStatusPair(*reply, "adding contract");
}

Status HandheldClient::DeleteContract(DataType type, std::u16string_view name) {
  Result<std::vector<std::uint8_t>> reply =
      ContractExchange(Command::kDeleteContract, type, name);
  if (!reply.ok()) return reply.status();
  // An empty reply means the contracts database could not be opened.
  return CheckStatusPair(*reply, "deleting contract");
}

Result<bool> HandheldClient::FindContract(DataType type,
                                          std::u16string_view name) {
  Result<std::vector<std::uint8_t>> reply =
      ContractExchange(Command::kFindContract, type, name);
  if (!reply.ok()) return reply.status();
  if (reply->size() == 2 && (*reply)[0] == 1 && (*reply)[1] == 0) return true;
  if (reply->size() == 2 && (*reply)[0] == 0) return false;
  return Status::Error("finding contract: unexpected reply (" + Hex(*reply) +
                       ")");
}

Result<ChangeList> HandheldClient::GetChangedRecords(DataType type,
                                                     std::u16string_view name) {
  Result<std::vector<std::uint8_t>> reply =
      ContractExchange(Command::kGetChangedRecords, type, name);
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  ChangeList list;
  Result<ListHeader> header = ParseListHeader(reader);
  if (!header.ok()) return header.status();
  list.header = *header;
  if (reader.remaining() / protocol::kChangeEntrySize < header->count) {
    return Status::Error("change list announces " +
                         std::to_string(header->count) + " entries, has " +
                         std::to_string(reader.remaining()) + " bytes");
  }
  for (std::uint32_t i = 0; i < header->count; ++i) {
    ChangeEntry entry;
    entry.oid = *reader.U32("change entry");
    entry.kind = *reader.Byte("change entry");
    list.changes.push_back(entry);
  }
  return list;
}

Status HandheldClient::UpdateContract(DataType type, std::u16string_view name) {
  Result<std::vector<std::uint8_t>> reply =
      ContractExchange(Command::kUpdateContract, type, name);
  if (!reply.ok()) return reply.status();
  return CheckStatusPair(*reply, "updating contract");
}

Result<OidList> HandheldClient::GetAllRecords(DataType type) {
  Result<std::vector<std::uint8_t>> reply =
      Exchange(RequestBuilder(Command::kGetAllRecords, type).packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  OidList list;
  Result<ListHeader> header = ParseListHeader(reader);
  if (!header.ok()) return header.status();
  list.header = *header;
  if (reader.remaining() / 4 < header->count) {
    return Status::Error("record list announces " +
                         std::to_string(header->count) + " OIDs, has " +
                         std::to_string(reader.remaining()) + " bytes");
  }
  for (std::uint32_t i = 0; i < header->count; ++i) {
    list.oids.push_back(*reader.U32("object id"));
  }
  return list;
}

Result<std::u16string> HandheldClient::GetMachineId() {
  Result<std::vector<std::uint8_t>> reply = Exchange(
      RequestBuilder(Command::kGetMachineId, DataType::kContacts).packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  Result<std::uint32_t> tag = reader.U32("machine id tag");
  if (!tag.ok()) return tag.status();
  if (*tag != protocol::kMachineIdTag) {
    return Status::Error("machine id reply starts with " +
                         std::to_string(*tag) + ", expected 60");
  }
  return reader.String("machine id");
}

Result<BatchResult> HandheldClient::BatchWrite(
    DataType type, std::span<const BatchEntry> entries) {
  RequestBuilder request(Command::kBatchWrite, type);
  request.U32(static_cast<std::uint32_t>(entries.size()));
  for (const BatchEntry& entry : entries) {
    request
        .Byte(static_cast<std::uint8_t>(entry.add ? Command::kAddRecord
                                                  : Command::kUpdateRecord))
        .Byte(static_cast<std::uint8_t>(type))
        .U32(entry.id)
        .Bytes(entry.record);
  }
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  BatchResult result;
  while (reader.remaining() >= protocol::kWriteStatusSize &&
         result.statuses.size() < entries.size()) {
    result.statuses.push_back(*ParseWriteStatus(reader));
  }
  if (reader.remaining() != 2 && !reader.AtEnd()) {
    return Status::Error("batch write reply has " +
                         std::to_string(reader.remaining()) +
                         " bytes left over");
  }
  // A failure ends the reply with 00 03, or leaves records unanswered.
  result.failed =
      reader.remaining() == 2 || result.statuses.size() < entries.size();
  return result;
}

Result<RecordBatch> HandheldClient::GetRecords(
    DataType type, std::span<const std::uint32_t> oids,
    const PropertyKindFn& layout) {
  RecordBatch batch;
  std::size_t next = 0;
  while (next < oids.size()) {
    std::span<const std::uint32_t> ask = oids.subspan(next);
    RequestBuilder request(Command::kGetRecords, type);
    request.U32(static_cast<std::uint32_t>(ask.size()));
    for (std::uint32_t oid : ask) request.U32(oid);
    Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
    if (!reply.ok()) return reply.status();
    ReplyReader reader(*reply);
    Result<ListHeader> header = ParseListHeader(reader);
    if (!header.ok()) return header.status();
    if (header->count > ask.size()) {
      return Status::Error("handheld sent " + std::to_string(header->count) +
                           " records for " + std::to_string(ask.size()) +
                           " asked");
    }
    for (std::uint32_t i = 0; i < header->count; ++i) {
      Result<WireRecord> record = WireRecord::Read(reader, layout);
      if (!record.ok()) return record.status();
      batch.records.push_back(std::move(*record));
    }
    next += header->count;
    if (header->count == 0) {
      // Either the first OID asked for cannot be fetched (the list then
      // carries no count at all) or its record alone overflows a list.
      // Ask for it on its own and go on after it.
      Result<WireRecord> alone = GetRecord(type, oids[next], layout);
      if (alone.ok()) {
        batch.records.push_back(std::move(*alone));
      } else if (alone.status().message().starts_with("handheld has no")) {
        batch.missing.push_back(oids[next]);
      } else {
        return alone.status();
      }
      ++next;
    }
  }
  return batch;
}

Result<std::vector<std::uint32_t>> HandheldClient::DeleteRecords(
    DataType type, std::span<const std::uint32_t> oids) {
  RequestBuilder request(Command::kDeleteRecords, type);
  request.U32(static_cast<std::uint32_t>(oids.size()));
  for (std::uint32_t oid : oids) request.U32(oid);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  if (reply->size() % 4 != 0 || reply->size() / 4 > oids.size()) {
    return Status::Error("delete reply of " + std::to_string(reply->size()) +
                         " bytes is not a list of deleted OIDs");
  }
  ReplyReader reader(*reply);
  std::vector<std::uint32_t> deleted;
  while (!reader.AtEnd()) deleted.push_back(*reader.U32("deleted OID"));
  return deleted;
}

Result<FileWriteResult> HandheldClient::WriteFileData(
    std::u16string_view path, std::span<const std::uint8_t> data) {
  RequestBuilder request(Command::kWriteFileData, DataType::kContacts);
  request.String(path).U32(0).U32(static_cast<std::uint32_t>(data.size()));
  request.Bytes(data);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  if (reply->size() < 6) {
    return Status::Error("file write reply too short (" + Hex(*reply) + ")");
  }
  FileWriteResult result;
  result.ok = *reader.Byte("file status") == 1;
  (void)reader.Skip(1, "file status");
  result.error = *reader.U32("file error");
  return result;
}

Result<FileReadResult> HandheldClient::ReadFileData(std::u16string_view path,
                                                    std::uint32_t position,
                                                    std::uint32_t count) {
  count = std::min(count, protocol::kMaxFileReadPiece);
  RequestBuilder request(Command::kReadFileData, DataType::kContacts);
  request.String(path).U32(0).U32(position).U32(count);
  Result<std::vector<std::uint8_t>> reply = Exchange(request.packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  if (reply->size() < 10) {
    return Status::Error("file read reply too short (" + Hex(*reply) + ")");
  }
  FileReadResult result;
  result.ok = *reader.Byte("file status") == 1;
  (void)reader.Skip(1, "file status");
  result.error = *reader.U32("file error");
  std::uint32_t got = *reader.U32("byte count");
  if (!result.ok) return result;
  if (got > count) {
    return Status::Error("handheld sent " + std::to_string(got) +
                         " file bytes for " + std::to_string(count) + " asked");
  }
  Result<std::vector<std::uint8_t>> data = reader.Bytes(got, "file data");
  if (!data.ok()) return data.status();
  result.data = std::move(*data);
  return result;
}

Result<bool> HandheldClient::CheckOsVersion() {
  Result<std::vector<std::uint8_t>> reply = Exchange(
      RequestBuilder(Command::kCheckOsVersion, DataType::kContacts).packet());
  if (!reply.ok()) return reply.status();
  ReplyReader reader(*reply);
  Result<std::uint32_t> answer = reader.U32("version answer");
  if (!answer.ok()) return answer.status();
  return *answer != 0;
}

}  // namespace desktop
