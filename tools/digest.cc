// SHA-256 of what an object holds.
#include "tools/digest.h"

#include <sha2.h>

namespace coupler::tools {

std::string sha256(const Input& file, const Node& node) {
  SHA2_CTX state;
  SHA256Init(&state);
  file.copy(node.payload(), node.content_length(), [&](std::string_view piece) {
    SHA256Update(&state, reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
  });
  char text[SHA256_DIGEST_STRING_LENGTH];
  return SHA256End(&state, text);
}

}  // namespace coupler::tools
