// A search of the handheld's file system: the kernel object behind a handle
// that FindFirstFileW hands out and FindClose ends. It holds the matches
// found when the search began; an entry removed since then is skipped.
#ifndef VORN_DEVICE_FS_FILE_SEARCH_H_
#define VORN_DEVICE_FS_FILE_SEARCH_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "device/image/handle_table.h"

namespace device {

class FileSearch final : public KernelObject {
 public:
  // `matches` in the order they are reported; the first one was already
  // reported by FindFirstFileW.
  explicit FileSearch(std::vector<std::uint32_t> matches);

  // The next match to report, nullopt at the end.
  std::optional<std::uint32_t> Next();

 private:
  std::vector<std::uint32_t> matches_;
  std::size_t next_ = 1;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_SEARCH_H_
