#include "tests/snmp/commands.h"

#include <dlfcn.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace coupler::test {

std::optional<int> forced_status;
std::map<std::string, int> failing;

namespace {

std::string commands;

bool fails(const std::string& call) {
  const auto planned = failing.find(call);
  if (planned == failing.end() || planned->second == 0) return false;
  --planned->second;
  errno = EIO;
  return true;
}

template <typename... Arguments>
int call(const char* name, Arguments... arguments) {
  return reinterpret_cast<int (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

}  // namespace

std::string take_commands() { return std::exchange(commands, {}); }

}  // namespace coupler::test

using namespace coupler::test;

extern "C" int system(const char* command) {
  commands.append(command).append("\n");
  return forced_status ? *forced_status : call("system", command);
}

extern "C" int rename(const char* from, const char* to) noexcept {
  return fails("rename") ? -1 : call("rename", from, to);
}

extern "C" int unlink(const char* path) noexcept {
  return fails("unlink " + std::string(path)) ? -1 : call("unlink", path);
}

extern "C" int fsync(int file) { return fails("fsync") ? -1 : call("fsync", file); }

extern "C" int flock(int file, int operation) noexcept { return fails("flock") ? -1 : call("flock", file, operation); }

extern "C" int fchown(int file, uid_t owner, gid_t group) noexcept {
  return fails("fchown") ? -1 : call("fchown", file, owner, group);
}
