#include "device/fs/file_search.h"

#include <utility>

namespace device {

FileSearch::FileSearch(std::vector<std::uint32_t> matches)
    : matches_(std::move(matches)) {}

std::optional<std::uint32_t> FileSearch::Next() {
  if (next_ >= matches_.size()) return std::nullopt;
  return matches_[next_++];
}

}  // namespace device
