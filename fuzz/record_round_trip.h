// What the record decoder targets share: arbitrary bytes go to the decoder
// of one data type as the record of an AddRecord and as the records of a
// BatchWrite, and the added record is read back in the same conversation,
// so that the encoder meets whatever the decoder stored.
#ifndef VORN_FUZZ_RECORD_ROUND_TRIP_H_
#define VORN_FUZZ_RECORD_ROUND_TRIP_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "device/kernel/kernel.h"
#include "protocol/wire.h"
#include "tests/support/packet_builder.h"
#include "tests/support/reused_handheld.h"

namespace fuzzing {

// 9999-12-31 23:59:59: no appointment starts and no task is due after the
// clock, so no reminder makes a save retry or fail.
inline constexpr std::int64_t kLateClock = 253402300799000;

// A record of one string field: u32 field count 1, the field's id, the
// counted string.
inline testing_support::Bytes OneStringRecord(std::uint32_t field,
                                              std::u16string_view text) {
  testing_support::PacketBuilder builder(0, 0);
  builder.U32(1).U32(field).Str(text);
  const testing_support::Bytes& packet = builder.packet();
  return {packet.begin() + 2, packet.end()};
}

inline testing_support::ReusedHandheld& RecordHandheld() {
  static testing_support::ReusedHandheld reused(
      [](testing_support::InProcessHandheld& handheld) {
        handheld.device().kernel().SetClock([] { return kLateClock; });
      });
  return reused;
}

// The identifier the handheld gives the first record of `dataType` added
// to a fresh handheld: every input starts from the same state, so it is the
// same every time.
inline std::uint32_t FirstRecordId(std::uint8_t dataType,
                                   const testing_support::Bytes& record) {
  testing_support::InProcessHandheld& handheld = RecordHandheld().Fresh();
  auto outcome = handheld.Converse(
      testing_support::PacketBuilder(2, dataType).U32(7).Raw(record).Frame());
  auto frames = testing_support::SplitFrames(outcome.output);
  if (frames.empty() || frames[0].size() < 6) return 0;
  return protocol::GetU32(frames[0].data() + 2);
}

// One conversation: AddRecord of `data`, GetRecord of what it added,
// BatchWrite of `data` (the first byte picks how many records the batch
// claims to hold) and GetAllRecords. `valid` is a record of the type that
// the decoder accepts.
inline void RecordRoundTrip(std::uint8_t dataType,
                            const testing_support::Bytes& valid,
                            const std::uint8_t* data, std::size_t size) {
  using testing_support::Bytes;
  using testing_support::PacketBuilder;
  static const std::uint32_t added = FirstRecordId(dataType, valid);
  Bytes record(data, data + size);
  PacketBuilder add(2, dataType);
  add.U32(7).Raw(record);
  PacketBuilder get(7, dataType);
  get.U32(added);
  PacketBuilder batch(15, dataType);
  batch.U32(size == 0 ? 1 : data[0] % 4 + 1)
      .U8(2)
      .U8(dataType)
      .U32(9)
      .Raw(record);
  PacketBuilder all(13, dataType);
  Bytes input;
  for (const Bytes& frame :
       {add.Frame(), get.Frame(), batch.Frame(), all.Frame()}) {
    input.insert(input.end(), frame.begin(), frame.end());
  }
  RecordHandheld().Fresh().Converse(input);
  RecordHandheld().Release();
}

}  // namespace fuzzing

#endif  // VORN_FUZZ_RECORD_ROUND_TRIP_H_
