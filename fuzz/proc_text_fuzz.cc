// Whatever a process puts into its name, arguments and environment: every parser on the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sessions/proc_text.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

template <size_t N>
bool is_terminated(const char (&text)[N]) {
  return std::memchr(text, '\0', N) != nullptr;
}

/// A user is a piece of the file.
void check_user(bool (*parse)(std::string_view, clikrell::ProcessUserEntry_t&), std::string_view file) {
  clikrell::ProcessUserEntry_t entry = {};
  require(parse(file, entry) && is_terminated(entry.user));
  require(file.find(entry.user) != file.npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace coupler::sessions;
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  clikrell::ProcessStatusEntry_t status = {};
  clikrell::ProcessStatEntry_t stat = {};
  if (!parse_status(file, status)) require(status.tgid == 0);
  const bool whole = parse_stat(file, stat);
  require(is_terminated(stat.comm) && file.find(stat.comm) != file.npos);
  require(whole || stat.startTime == 0);
  check_user(parse_cmdline, file);
  check_user(parse_environ, file);
  parse_uptime(file);
  return 0;
}
