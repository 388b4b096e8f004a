#include "desktop/wire/batch_writer.h"

namespace desktop {

namespace {

// Command, data type and record count in front of the entries.
constexpr std::size_t kPacketHead = 6;
// Operation, data type and id in front of each record.
constexpr std::size_t kEntryHead = 6;

}  // namespace

std::size_t BatchWriter::FitCount(std::span<const BatchEntry> entries) const {
  std::size_t bytes = kPacketHead;
  std::size_t count = 0;
  for (const BatchEntry& entry : entries) {
    if (count == max_records_) break;
    bytes += kEntryHead + entry.record.size();
    if (count > 0 && bytes > max_packet_bytes_) break;
    ++count;
  }
  return count;
}

Result<std::vector<WriteStatus>> BatchWriter::WriteSome(
    std::span<const BatchEntry> entries) {
  std::vector<WriteStatus> settled;
  if (entries.empty()) return settled;
  std::span<const BatchEntry> packet = entries.first(FitCount(entries));
  Result<BatchResult> result = client_.BatchWrite(type_, packet);
  ++packets_sent_;
  if (!result.ok()) return result.status();
  settled = std::move(result->statuses);
  if (result->failed && settled.size() < packet.size()) {
    // The handheld stopped at the next entry without writing it.
    const BatchEntry& stopped = packet[settled.size()];
    WriteStatus status;
    status.code = protocol::kCodeNoItem;
    status.oid = stopped.add ? 0 : stopped.id;
    status.echoed = stopped.id;
    settled.push_back(status);
  }
  return settled;
}

Result<std::vector<WriteStatus>> BatchWriter::WriteAll(
    std::span<const BatchEntry> entries) {
  std::vector<WriteStatus> statuses;
  statuses.reserve(entries.size());
  while (statuses.size() < entries.size()) {
    Result<std::vector<WriteStatus>> some =
        WriteSome(entries.subspan(statuses.size()));
    if (!some.ok()) return some.status();
    statuses.insert(statuses.end(), some->begin(), some->end());
  }
  return statuses;
}

}  // namespace desktop
