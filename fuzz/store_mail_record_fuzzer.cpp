// Feeds arbitrary mail records to the message store mail handler of a
// handheld whose operating system predates MAPI (fuzz/mail_round_trip.h):
// the message added, read back, updated and read again.
#include <cstddef>
#include <cstdint>

#include "fuzz/mail_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static testing_support::ReusedHandheld reused =
      fuzzing::MakeMailHandheld("3.0.9348");
  fuzzing::MailRoundTrip(reused, data, size);
  return 0;
}
