// Feeds arbitrary task records to the task decoder and the encoder
// (fuzz/record_round_trip.h): recurrence and all.
#include <cstddef>
#include <cstdint>

#include "fuzz/record_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // A task with a subject.
  static const testing_support::Bytes valid =
      fuzzing::OneStringRecord(1, u"Do");
  fuzzing::RecordRoundTrip(3, valid, data, size);
  return 0;
}
