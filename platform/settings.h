// The settings that the stand-ins of the platform libraries answer from.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

/// What the stand-ins answer from: lines `key = value` of the text file that the environment variable COUPLER_PLATFORM
/// names. Lines that begin with # are comments, the last line of a key holds. The file is read afresh at each
/// query, so a person or another process may change it at any time. Without the variable the settings live in the
/// process. A value that should be a number and is none is told once on standard error, and what it begins with holds.
std::string setting(std::string_view key, std::string_view otherwise);
int setting(std::string_view key, int otherwise);

/// Tells on standard error, once each, the keys that no stand-in knows.
void tell_unknown_keys();

using Changes = std::vector<std::pair<std::string, std::string>>;

/// Replaces the lines of the changed keys. The file changes as a whole or not at all.
/// @return whether it did; errno tells why not
bool change_settings(const Changes& changes);

}  // namespace platform
