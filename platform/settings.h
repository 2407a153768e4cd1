#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

/// What the stand-ins answer from: lines `key = value` of the text file that the environment variable COUPLER_PLATFORM
/// names. Lines that begin with # are comments, the last line of a key holds. The file is read afresh at each
/// query, so a person or another process may change it at any time. Without the variable the settings live in the
/// process.
std::string setting(std::string_view key, std::string_view otherwise);
int setting(std::string_view key, int otherwise);

using Changes = std::vector<std::pair<std::string, std::string>>;

/// Replaces the lines of the changed keys. The file changes as a whole or not at all.
/// @return whether it did; errno tells why not
bool change_settings(const Changes& changes);

}  // namespace platform
