#include "desktop/sync/uid_file_stem.h"

#include "desktop/sync/content_hash.h"

namespace desktop {

std::string UidFileStem::Of(std::string_view uid) {
  constexpr std::string_view kUrn = "urn:uuid:";
  if (uid.starts_with(kUrn)) uid.remove_prefix(kUrn.size());
  std::string out;
  for (char c : uid) {
    bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '@' ||
                (c == '.' && !out.empty());
    if (keep) {
      out += c;
    } else {
      static constexpr char kHex[] = "0123456789ABCDEF";
      unsigned char u = static_cast<unsigned char>(c);
      out += '%';
      out += kHex[u >> 4];
      out += kHex[u & 15];
    }
  }
  constexpr std::size_t kMax = 120;
  if (out.empty()) return "uid-" + ContentHash::Of(uid).substr(0, 16);
  if (out.size() > kMax) {
    out = out.substr(0, kMax - 17) + "-" + ContentHash::Of(uid).substr(0, 16);
  }
  return out;
}

}  // namespace desktop
