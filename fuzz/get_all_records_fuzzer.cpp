// Feeds arbitrary data type bytes and arguments to the list command
// GetAllRecords: every record's identifier, on a handheld that holds records of
// every type (fuzz/list_command.h).
#include <cstddef>
#include <cstdint>

#include "fuzz/list_command.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  fuzzing::ListCommand(13, data, size);
  return 0;
}
