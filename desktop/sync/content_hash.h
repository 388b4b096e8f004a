// Content hashes the sync state keeps to tell whether a file or a record
// changed since the last run: SHA-256 in lower-case hexadecimal.
#ifndef VORN_DESKTOP_SYNC_CONTENT_HASH_H_
#define VORN_DESKTOP_SYNC_CONTENT_HASH_H_

#include <string>
#include <string_view>

namespace desktop {

class ContentHash {
 public:
  static std::string Of(std::string_view bytes);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_CONTENT_HASH_H_
