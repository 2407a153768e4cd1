#pragma once

#include <map>
#include <optional>
#include <string>

/// Takes the place of some calls of the C library in the test program: system(3), which makes command lines visible
/// byte for byte, and those that a full or broken disk lets fail.
namespace coupler::test {

/// The status of the next commands in place of their own; nothing: they run.
extern std::optional<int> forced_status;

/// The command lines since the last call, one to a line.
std::string take_commands();

/// How many of the next calls fail with EIO: of "rename", "fsync", "flock" or "fchown", or "unlink" and a path.
extern std::map<std::string, int> failing;

}  // namespace coupler::test
