// Feeds arbitrary appointment records to the appointment decoder and the
// encoder (fuzz/record_round_trip.h): recurrence, exceptions and all.
#include <cstddef>
#include <cstdint>

#include "fuzz/record_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // An appointment with a subject.
  static const testing_support::Bytes valid =
      fuzzing::OneStringRecord(1, u"Meet");
  fuzzing::RecordRoundTrip(2, valid, data, size);
  return 0;
}
