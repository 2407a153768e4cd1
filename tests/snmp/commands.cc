#include "tests/snmp/commands.h"

#include <dlfcn.h>

#include <cstdlib>
#include <utility>

namespace coupler::test {

std::optional<int> forced_status;

namespace {
std::string commands;
}

std::string take_commands() { return std::exchange(commands, {}); }

}  // namespace coupler::test

extern "C" int system(const char* command) {
  using namespace coupler::test;
  commands.append(command).append("\n");
  if (forced_status) return *forced_status;
  return reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"))(command);
}
