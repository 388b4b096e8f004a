// Feeds arbitrary bytes to the note file reader. Whatever it accepts must
// survive being written again: the writer's file of those paragraphs is
// read back, and reading is the same both times.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "device/richink/pwi_reader.h"
#include "device/richink/pwi_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  std::span<const std::uint8_t> file(data, size);
  auto read = device::ReadPwiParagraphs(file);
  if (read != device::ReadPwiParagraphs(file)) std::abort();
  if (!read) return 0;
  auto again = device::ReadPwiParagraphs(device::WritePwi(*read));
  if (!again || again->empty()) std::abort();
  return 0;
}
