// SHA-256 of what an object holds.
#pragma once

#include <string>

#include "tools/tree.h"

namespace coupler::tools {

/// The digest of the content of a part, or of the payload of another object, in hexadecimal.
///
/// @throws Failure when the file does not have it
std::string sha256(const Input& file, const Node& node);

}  // namespace coupler::tools
