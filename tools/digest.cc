// SHA-256 of a stretch of a file.
#include "tools/digest.h"

#include <sha2.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <vector>

#include "brantix/container.h"
#include "tools/command.h"

namespace coupler::tools {

Content content_of(const Node& node) {
  const uint64_t offset = node.offset + sizeof(orvix_object) + node.header_length;
  const size_t mark = node.text.find(';');
  uint64_t length = node.payload_length;
  if (mark != node.text.npos) {
    std::from_chars(node.text.data() + mark + 1, node.text.data() + node.text.size(), length);
  }
  return {offset, length};
}

std::string sha256(const std::string& path, Content content) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(content.offset));
  SHA2_CTX state;
  SHA256Init(&state);
  std::vector<char> piece(size_t{1} << 18);
  for (uint64_t left = content.length; left > 0;) {
    const auto count = static_cast<std::streamsize>(std::min<uint64_t>(left, piece.size()));
    if (!file.read(piece.data(), count)) throw Failure(path + " ends within what is to be read of it");
    SHA256Update(&state, reinterpret_cast<const uint8_t*>(piece.data()), static_cast<size_t>(count));
    left -= static_cast<uint64_t>(count);
  }
  char text[SHA256_DIGEST_STRING_LENGTH];
  return SHA256End(&state, text);
}

}  // namespace coupler::tools
