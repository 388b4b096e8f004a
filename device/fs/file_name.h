// Names in the handheld's file system: text conversion for storage,
// case-insensitive comparison and wildcard matching.
#ifndef VORN_DEVICE_FS_FILE_NAME_H_
#define VORN_DEVICE_FS_FILE_NAME_H_

#include <optional>
#include <string>
#include <string_view>

namespace device {

// UTF-8 of a UTF-16 name. nullopt when `name` holds an unpaired surrogate
// (such a name is never stored).
std::optional<std::string> FileNameToUtf8(std::u16string_view name);

// UTF-16 of a stored UTF-8 name. Malformed bytes become U+FFFD.
std::u16string FileNameFromUtf8(std::string_view text);

// The key under which names are compared: every character in its upper case
// form (ASCII, Latin-1, Latin Extended-A, basic Greek and Cyrillic; other
// characters compare as they are).
std::u16string FoldFileName(std::u16string_view name);

// True when `name` matches `pattern`, ignoring case: '*' stands for any run
// of characters, '?' for exactly one. A pattern ending in ".*" also matches
// a name without a dot ("*.*" matches every name).
bool MatchFileName(std::u16string_view pattern, std::u16string_view name);

// True when `pattern` holds '*' or '?'.
bool HasWildcards(std::u16string_view pattern);

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_NAME_H_
