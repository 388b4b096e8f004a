// A path of the handheld's file system, parsed and resolved without ever
// touching the host.
//
// Rules (every one of them confines a path to the image):
//  - the text ends at its first NUL; at most MAX_PATH - 1 characters before
//    it, else ERROR_FILENAME_EXCED_RANGE;
//  - '\' and '/' both separate names; runs of separators count as one; the
//    handheld has no current directory, so a path without a leading
//    separator starts at the root as well ("/etc/passwd" is the device path
//    "\etc\passwd");
//  - "." is dropped and ".." removes the name before it, lexically; ".." at
//    the root stays at the root ("\..\x" is "\x");
//  - a name holding a control character, one of  : " < > |  or (outside the
//    last name of a search pattern) * or ?, a name made of three or more
//    dots, or an unpaired surrogate is refused with ERROR_INVALID_NAME; so a
//    drive letter ("C:\x") is refused too;
//  - the empty path is ERROR_PATH_NOT_FOUND; a null pointer is
//    ERROR_INVALID_PARAMETER.
#ifndef VORN_DEVICE_FS_FILE_PATH_H_
#define VORN_DEVICE_FS_FILE_PATH_H_

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace device {

class FilePath {
 public:
  enum class Kind {
    kName,     // names only
    kPattern,  // the last name may hold the wildcards * and ?
  };

  FilePath() = default;

  // Parses the NUL-terminated `text`. Returns ERROR_SUCCESS and sets *out,
  // or the handheld's error code and leaves *out as it was. Reads at most
  // MAX_PATH characters of `text`.
  static DWORD Parse(LPCWSTR text, Kind kind, FilePath* out);
  // The same for a text that is not NUL-terminated (it still ends at a NUL
  // inside it).
  static DWORD Parse(std::u16string_view text, Kind kind, FilePath* out);

  bool IsRoot() const { return names_.empty(); }
  // Every name from the root down, ".." and "." already resolved.
  const std::vector<std::u16string>& names() const { return names_; }
  // The names of the directory that holds the last name.
  std::span<const std::u16string> DirectoryNames() const;
  // The last name; empty for the root.
  std::u16string Leaf() const;
  // True when the text ended with a separator ("\dir\").
  bool trailingSeparator() const { return trailingSeparator_; }
  // The canonical form: "\" for the root, else "\name\name".
  std::u16string ToString() const;

 private:
  std::vector<std::u16string> names_;
  bool trailingSeparator_ = false;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_PATH_H_
