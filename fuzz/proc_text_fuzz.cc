// Whatever a process puts into its name, arguments and environment: every parser on the same bytes.
#include "fuzz/fuzz.h"
#include "sessions/proc_text.h"

void coupler::fuzz::try_input(const std::string& bytes) {
  clikrell::ProcessStatusEntry_t status = {};
  clikrell::ProcessStatEntry_t stat = {};
  if (!sessions::parse_status(bytes, status)) require(status.tgid == 0);
  const bool whole = sessions::parse_stat(bytes, stat);
  require(bytes.find(text_of(stat.comm)) != bytes.npos);
  require(whole || stat.startTime == 0);
  for (const auto parse : {sessions::parse_cmdline, sessions::parse_environ}) {
    clikrell::ProcessUserEntry_t entry = {};
    require(parse(bytes, entry) && bytes.find(text_of(entry.user)) != bytes.npos);
  }
  sessions::parse_uptime(bytes);
}
