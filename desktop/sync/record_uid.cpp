#include "desktop/sync/record_uid.h"

#include <uuid/uuid.h>

#include "desktop/sync/content_hash.h"

namespace desktop {

std::string RecordUid::ForRecord(std::string_view machine_id,
                                 protocol::DataType type, std::uint32_t oid) {
  uuid_t space;
  uuid_parse(kNamespace, space);
  std::string name(machine_id);
  name += '/';
  name += std::to_string(static_cast<int>(type));
  name += '/';
  name += std::to_string(oid);
  uuid_t out;
  uuid_generate_sha1(out, space, name.data(), name.size());
  char text[37];
  uuid_unparse_lower(out, text);
  return std::string("urn:uuid:") + text;
}

std::string RecordUid::FileStem(std::string_view uid) {
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
