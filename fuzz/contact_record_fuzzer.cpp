// Feeds arbitrary contact records to the contact decoder, as the record of
// an AddRecord and as the records of a BatchWrite, then reads every contact
// back so the encoder meets whatever the decoder stored.
#include <cstddef>
#include <cstdint>

#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

using testing_support::Bytes;
using testing_support::PacketBuilder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  Bytes record(data, data + size);
  testing_support::InProcessHandheld handheld;
  PacketBuilder add(2, 1);
  add.U32(7).Raw(record);
  // The first byte picks how many records the batch claims to hold.
  PacketBuilder batch(15, 1);
  batch.U32(size == 0 ? 1 : data[0] % 4 + 1).U8(2).U8(1).U32(9).Raw(record);
  PacketBuilder all(13, 1);
  Bytes input = add.Frame();
  for (const Bytes& frame : {batch.Frame(), all.Frame()}) {
    input.insert(input.end(), frame.begin(), frame.end());
  }
  handheld.Converse(input);
  return 0;
}
