// What the list command targets share: a handheld built once per process
// with two records of each data type and a contract per type whose snapshot
// is older than some changes, and one conversation per input that sends the
// target's command with the input as its data type byte and arguments,
// then lists the records of that type and ends.
#ifndef VORN_FUZZ_LIST_COMMAND_H_
#define VORN_FUZZ_LIST_COMMAND_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tests/support/packet_builder.h"
#include "tests/support/reused_handheld.h"

namespace fuzzing {

// One record of one string field of `dataType`: the first string field of
// contacts (FirstName is 31), appointments, tasks and notes.
inline testing_support::Bytes OneFieldAdd(std::uint8_t dataType,
                                          std::u16string_view text) {
  std::uint32_t field = dataType == 1 ? 31 : 1;
  return testing_support::PacketBuilder(2, dataType)
      .U32(0)
      .U32(1)
      .U32(field)
      .Str(text)
      .Frame();
}

inline void FillHandheld(testing_support::InProcessHandheld& handheld) {
  using testing_support::Bytes;
  using testing_support::PacketBuilder;
  Bytes input;
  auto append = [&input](const Bytes& frame) {
    input.insert(input.end(), frame.begin(), frame.end());
  };
  for (std::uint8_t type : {1, 2, 3, 5}) {
    append(OneFieldAdd(type, u"first"));
    append(PacketBuilder(8, type).Str(u"desk").Frame());
    append(PacketBuilder(12, type).Str(u"desk").Frame());
    append(OneFieldAdd(type, u"second"));
  }
  append(PacketBuilder(1, 1).Frame());
  handheld.Converse(input);
}

inline void ListCommand(std::uint8_t command, const std::uint8_t* data,
                        std::size_t size) {
  using testing_support::Bytes;
  static testing_support::ReusedHandheld reused(FillHandheld);
  Bytes packet{command};
  packet.insert(packet.end(), data, data + size);
  std::uint8_t type = size == 0 ? 1 : data[0];
  Bytes input = testing_support::FramePacket(packet);
  for (const Bytes& frame : {testing_support::FramePacket({13, type}),
                             testing_support::FramePacket({1, type})}) {
    input.insert(input.end(), frame.begin(), frame.end());
  }
  reused.Fresh().Converse(input);
  reused.Release();
}

}  // namespace fuzzing

#endif  // VORN_FUZZ_LIST_COMMAND_H_
