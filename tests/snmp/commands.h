#pragma once

#include <optional>
#include <string>

/// Takes the place of system(3) in the test program, which makes command lines visible byte for byte.
namespace coupler::test {

/// The status of the next commands in place of their own; nothing: they run.
extern std::optional<int> forced_status;

/// The command lines since the last call, one to a line.
std::string take_commands();

}  // namespace coupler::test
