#pragma once

#include <string>

#include "tools/command.h"

/// couplerctl as a host of the library: initialises it and receives its log.
namespace coupler::tool {

void start_library(const Context& context);

/// Fails with `what` and the library's own reasons, its last "ERROR" lines; these are left out where the log shows
/// them.
[[noreturn]] void fail_with_reason(const std::string& what);

}  // namespace coupler::tool
