// Feeds arbitrary contact records to the contact decoder and the
// encoder (fuzz/record_round_trip.h).
#include <cstddef>
#include <cstdint>

#include "fuzz/record_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // A contact with a first name.
  static const testing_support::Bytes valid =
      fuzzing::OneStringRecord(31, u"Ann");
  fuzzing::RecordRoundTrip(1, valid, data, size);
  return 0;
}
