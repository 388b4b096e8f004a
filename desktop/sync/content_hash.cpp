#include "desktop/sync/content_hash.h"

#include <openssl/evp.h>

namespace desktop {

std::string ContentHash::Of(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr);
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(std::size_t{2} * size);
  for (unsigned int i = 0; i < size; ++i) {
    out += kHex[digest[i] >> 4];
    out += kHex[digest[i] & 15];
  }
  return out;
}

}  // namespace desktop
