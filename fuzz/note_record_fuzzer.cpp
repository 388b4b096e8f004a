// Feeds arbitrary ink note records to the note decoder and the encoder
// (fuzz/record_round_trip.h): the note file written, read back and listed.
#include <cstddef>
#include <cstdint>

#include "fuzz/record_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // A note with a title.
  static const testing_support::Bytes valid = fuzzing::OneStringRecord(1, u"N");
  fuzzing::RecordRoundTrip(5, valid, data, size);
  return 0;
}
