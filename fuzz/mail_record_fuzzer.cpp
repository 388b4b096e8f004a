// Feeds arbitrary mail records to the MAPI mail handler of a handheld whose
// operating system has MAPI (fuzz/mail_round_trip.h): the message added,
// read back with its attachments, updated and read again.
#include <cstddef>
#include <cstdint>

#include "fuzz/mail_round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static testing_support::ReusedHandheld reused =
      fuzzing::MakeMailHandheld("3.0.11171");
  fuzzing::MailRoundTrip(reused, data, size);
  return 0;
}
