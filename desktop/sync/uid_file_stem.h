// File names of the mirror's items, made from their UIDs.
#ifndef VORN_DESKTOP_SYNC_UID_FILE_STEM_H_
#define VORN_DESKTOP_SYNC_UID_FILE_STEM_H_

#include <string>
#include <string_view>

namespace desktop {

class UidFileStem {
 public:
  // A file name stem for `uid`: the UUID of a "urn:uuid:" UID; otherwise
  // letters, digits, '-', '_', '.' and '@' kept and every other byte as
  // %XX, at most 120 bytes (longer ones end in a hash of the whole UID).
  // Never empty, never starts with '.'.
  static std::string Of(std::string_view uid);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_UID_FILE_STEM_H_
