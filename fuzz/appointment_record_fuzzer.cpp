// Feeds arbitrary appointment records to the appointment decoder, as the
// record of an AddRecord and as the records of a BatchWrite, then reads the
// added appointment back so the encoder meets whatever the decoder stored
// (recurrence, exceptions and all).
#include <cstddef>
#include <cstdint>

#include "device/kernel/kernel.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

using testing_support::Bytes;
using testing_support::PacketBuilder;

namespace {

// 9999-12-31 23:59:59: no appointment starts after the clock, so no
// reminder makes the save retry (a reminder the handheld cannot keep
// retries without bound).
constexpr std::int64_t kLateClock = 253402300799000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  Bytes record(data, data + size);
  testing_support::InProcessHandheld handheld;
  handheld.device().kernel().SetClock([] { return kLateClock; });
  PacketBuilder add(2, 2);
  add.U32(7).Raw(record);
  // The first byte picks how many records the batch claims to hold.
  PacketBuilder batch(15, 2);
  batch.U32(size == 0 ? 1 : data[0] % 4 + 1).U8(2).U8(2).U32(9).Raw(record);
  Bytes input = add.Frame();
  Bytes second = batch.Frame();
  input.insert(input.end(), second.begin(), second.end());
  auto outcome = handheld.Converse(input);
  auto frames = testing_support::SplitFrames(outcome.output);
  if (!frames.empty() && frames[0].size() >= 6) {
    std::uint32_t oid = protocol::GetU32(frames[0].data() + 2);
    handheld.Converse(PacketBuilder(7, 2).U32(oid).Frame());
  }
  return 0;
}
