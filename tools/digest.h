// SHA-256 of a stretch of a file.
#pragma once

#include <cstdint>
#include <string>

#include "tools/tree.h"

namespace coupler::tools {

/// Where the content of a part stands, or the payload of another object.
struct Content {
  uint64_t offset;  ///< in the file, bytes
  uint64_t length;
};
Content content_of(const Node& node);

/// The digest in hexadecimal. @throws Failure when the file does not have these bytes
std::string sha256(const std::string& path, Content content);

}  // namespace coupler::tools
