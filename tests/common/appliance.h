#pragma once

#include <cstdlib>
#include <string_view>

namespace coupler::test {

/// Whether network and process table are the appliance's own, not this machine's.
inline bool is_machine_of_its_own() {
  const char* const kind = std::getenv("APPLIANCE_KIND");
  return kind != nullptr && std::string_view(kind) == "bubblewrap";
}

}  // namespace coupler::test
