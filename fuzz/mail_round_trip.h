// What the two mail record targets share: arbitrary bytes go to the mail
// decoder of one store as the record of an AddRecord, alone in its packet
// (the mail handlers may report no bytes consumed, so a batch would read
// the same bytes again), and the message it added is read back, updated
// with the same bytes and read again, all in one conversation. The handheld
// holds two small device files that a written attachment list can name, so that
// the attachment list inside a record reaches the copying of attachments.
#ifndef VORN_FUZZ_MAIL_ROUND_TRIP_H_
#define VORN_FUZZ_MAIL_ROUND_TRIP_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/device.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/reused_handheld.h"

namespace fuzzing {

inline constexpr std::uint8_t kMailType = 4;

// The device files that seeds name in their attachment lists.
inline constexpr std::u16string_view kMailUpload1 = u"\\up.data1";
inline constexpr std::u16string_view kMailUpload2 = u"\\up.data2";

// A handheld of operating system `os` with the two upload files in place.
inline testing_support::ReusedHandheld MakeMailHandheld(std::string os) {
  device::InitOptions options;
  options.os = std::move(os);
  return testing_support::ReusedHandheld(
      [](testing_support::InProcessHandheld& handheld) {
        using testing_support::PacketBuilder;
        testing_support::Bytes input;
        for (std::u16string_view path : {kMailUpload1, kMailUpload2}) {
          const testing_support::Bytes data = {'a', 't', 't', 0, 0xFF};
          testing_support::Bytes frame =
              PacketBuilder(18, kMailType)
                  .Str(path)
                  .U32(0)
                  .U32(static_cast<std::uint32_t>(data.size()))
                  .Raw(data)
                  .Frame();
          input.insert(input.end(), frame.begin(), frame.end());
        }
        // A listing visits every folder, so that the keys the store hands
        // out on a folder's first visit are part of the starting state.
        testing_support::Bytes list = PacketBuilder(13, kMailType).Frame();
        input.insert(input.end(), list.begin(), list.end());
        handheld.Converse(input);
      },
      options);
}

// The OID in a write status, 0 when the reply is none.
inline std::uint32_t WrittenOid(const testing_support::Bytes& output) {
  auto frames = testing_support::SplitFrames(output);
  if (frames.empty() || frames[0].size() < 6 || frames[0][0] != 1) return 0;
  return protocol::GetU32(frames[0].data() + 2);
}

// Adds `data` as a mail record; when a message came of it, reads it back
// (the read copies its attachments into device files), lists the store,
// updates the message with the same record and reads it again.
inline void MailRoundTrip(testing_support::ReusedHandheld& reused,
                          const std::uint8_t* data, std::size_t size) {
  using testing_support::Bytes;
  using testing_support::PacketBuilder;
  // Every input starts from the same handheld, so the message an AddRecord
  // makes gets the same identifier each time: once one was seen, the
  // packets that name it go in the same conversation as the AddRecord.
  static std::uint32_t expected = 0;
  const Bytes record(data, data + size);
  auto follow_up = [&record](std::uint32_t oid) {
    return std::vector<Bytes>{
        PacketBuilder(7, kMailType).U32(oid).Frame(),
        PacketBuilder(3, kMailType).U32(oid).Raw(record).Frame(),
        PacketBuilder(7, kMailType).U32(oid).Frame()};
  };
  Bytes input = PacketBuilder(2, kMailType).U32(7).Raw(record).Frame();
  if (expected != 0) {
    for (const Bytes& frame : follow_up(expected)) {
      input.insert(input.end(), frame.begin(), frame.end());
    }
  }
  testing_support::InProcessHandheld& handheld = reused.Fresh();
  const std::uint32_t oid = WrittenOid(handheld.Converse(input).output);
  if (oid != 0 && oid != expected) {
    if (expected == 0) expected = oid;
    input.clear();
    for (const Bytes& frame : follow_up(oid)) {
      input.insert(input.end(), frame.begin(), frame.end());
    }
    handheld.Converse(input);
  }
  reused.Release();
}

}  // namespace fuzzing

#endif  // VORN_FUZZ_MAIL_ROUND_TRIP_H_
