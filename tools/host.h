// couplerctl as a host of the library: initialises it and takes what it logs and prints.
#pragma once

#include <string>

#include "tools/command.h"

namespace coupler::tools {

/// For as long as it lives, what the library and its scripts print to standard output is kept here: standard output
/// belongs to the result. At its end it shows on standard error what nobody took.
class Captured {
 public:
  Captured();
  ~Captured();
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  /// What was printed since the last call.
  static std::string take();
};

void start_library(const Context& context);

/// Fails with `what` and the library's own reasons, its last "ERROR" lines; these are left out where the log shows
/// them.
[[noreturn]] void fail_with_reason(const std::string& what, const std::string& place = "");

}  // namespace coupler::tools
