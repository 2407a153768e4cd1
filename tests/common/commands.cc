// Takes the place of system(3) in the test program.
#include <dlfcn.h>

#include <utility>

#include "tests/common/appliance.h"

namespace coupler::test {

std::optional<int> forced_status;

namespace {

std::string commands;

}  // namespace

std::string take_commands() { return std::exchange(commands, {}); }

}  // namespace coupler::test

extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  coupler::test::commands.append(command).append("\n");
  if (coupler::test::forced_status) return *coupler::test::forced_status;
  return reinterpret_cast<decltype(&system)>(dlsym(RTLD_NEXT, "system"))(command);
}
