// Writes many records with command 15 (BatchWrite), a packet at a time.
//
// Every packet is one transaction on the handheld, so a few large packets
// are far cheaper than one AddRecord or UpdateRecord per record. A packet
// holds at most kMaxRecords records (its reply, ten bytes a record, stays
// under a tenth of the handheld's reply buffer) and at most kMaxPacketBytes
// bytes (far below what the handheld will allocate for a packet); a single
// record larger than that goes alone.
//
// The handheld stops a batch at the first record whose item it cannot
// create or fetch (an update of an object id it does not have) and answers
// 0, 3 after the statuses of the records before it. That record is given
// the status a lone AddRecord or UpdateRecord would have had (not written,
// code 3) and the records after it go out in the next packet, so every
// record is answered exactly as if it had been written on its own.
#ifndef VORN_DESKTOP_WIRE_BATCH_WRITER_H_
#define VORN_DESKTOP_WIRE_BATCH_WRITER_H_

#include <cstddef>
#include <span>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

class BatchWriter {
 public:
  static constexpr std::size_t kMaxRecords = 2000;
  static constexpr std::size_t kMaxPacketBytes = std::size_t{512} * 1024;

  // Writes records of `type` through `client`, which outlives the writer.
  BatchWriter(HandheldClient& client, protocol::DataType type,
              std::size_t max_records = kMaxRecords,
              std::size_t max_packet_bytes = kMaxPacketBytes)
      : client_(client),
        type_(type),
        max_records_(max_records == 0 ? 1 : max_records),
        max_packet_bytes_(max_packet_bytes) {}

  // Sends one packet with the leading entries of `entries` that fit and
  // returns the statuses of the entries it settled, in order: at least
  // one when `entries` is not empty (the entry the handheld stopped at
  // counts as settled).
  Result<std::vector<WriteStatus>> WriteSome(
      std::span<const BatchEntry> entries);

  // WriteSome until every entry is settled; one status per entry.
  Result<std::vector<WriteStatus>> WriteAll(
      std::span<const BatchEntry> entries);

  // How many entries of `entries` the next packet carries.
  std::size_t FitCount(std::span<const BatchEntry> entries) const;

  std::size_t packets_sent() const { return packets_sent_; }

 private:
  HandheldClient& client_;
  protocol::DataType type_;
  std::size_t max_records_;
  std::size_t max_packet_bytes_;
  std::size_t packets_sent_ = 0;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_BATCH_WRITER_H_
