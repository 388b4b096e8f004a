// The emulated handheld's files as its user handles them (writing, reading,
// renaming, protecting and removing files), for tests of the note files.
#ifndef VORN_TESTS_SUPPORT_DEVICE_FILES_H_
#define VORN_TESTS_SUPPORT_DEVICE_FILES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/device.h"
#include "tests/support/packet_builder.h"

namespace testing_support {

class DeviceFiles {
 public:
  explicit DeviceFiles(device::Device& device) : device_(device) {}

  // Creates or replaces the file `path` with `content`; its identifier, 0
  // when it could not be written.
  std::uint32_t Put(const std::u16string& path, const Bytes& content);
  // The whole content of `path`; nullopt when it cannot be opened.
  std::optional<Bytes> Get(const std::u16string& path);
  // The identifier of `path`; 0 when there is no such file.
  std::uint32_t OidOf(const std::u16string& path);
  // The names in `directory` ("\My Documents" by default), sorted.
  std::vector<std::u16string> Names(
      const std::u16string& directory = u"\\My Documents");
  bool SetReadOnly(const std::u16string& path);
  bool Rename(const std::u16string& from, const std::u16string& to);
  bool Remove(const std::u16string& path);
  bool MakeDirectory(const std::u16string& path);

 private:
  device::Device& device_;
};

// "\My Documents\NAME".
std::u16string NotePath(const std::u16string& name);

// Pieces of note records and replies: a property with a counted string,
// the seven-byte list header {1, 0, u32 count, propCount} and a five-byte
// change entry {u32 oid, kind}.
Bytes NoteProp(std::uint32_t id, std::u16string_view text);
Bytes ListHeader(std::uint32_t count, std::uint8_t propCount = 0);
Bytes ChangeEntry(std::uint32_t oid, std::uint8_t kind);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_DEVICE_FILES_H_
