#include <unistd.h>

#include <ctime>
#include <new>

#include "brantix/clikrell.hpp"
#include "sessions/proc_reader.h"
#include "sessions/proc_text.h"
#include "support/handle.h"
#include "support/number.h"
#include "support/text.h"

namespace clikrell {

int64_t TermProcessInfo::clocksPerSec = -1;
int32_t TermProcessInfo::upTime = -1;
int64_t TermProcessInfo::bootTime = -1;

namespace {

using namespace coupler;
using namespace coupler::sessions;

/// A file of a process, and what it says.
template <typename Entry>
struct ProcFile {
  const char* name;
  bool (*parse)(std::string_view, Entry&);
};
constexpr ProcFile<ProcessStatusEntry_t> kStatus{"status", parse_status};
constexpr ProcFile<ProcessStatEntry_t> kStat{"stat", parse_stat};
constexpr ProcFile<ProcessUserEntry_t> kCmdline{"cmdline", parse_cmdline};
constexpr ProcFile<ProcessUserEntry_t> kEnviron{"environ", parse_environ};

template <typename Entry>
bool read_entry(ProcReader& reader, const ProcFile<Entry>& file, int pid, Entry& entry) {
  entry = {};
  const auto text = reader.read(pid, file.name);
  return text && file.parse(*text, entry);
}

template <typename Entry>
int32_t read_entry(const ProcFile<Entry>& file, int pid, Entry& entry) {
  ProcReader by_path;
  return read_entry(by_path, file, pid, entry) ? 0 : -1;
}

/// Whether "comm", a fraction of the cost of the other files, already tells that the process is no CLI shell.
bool has_other_name(ProcReader& reader, int pid) {
  const auto name = reader.read(pid, "comm");
  return name && !(name->ends_with('\n') && is_cli_shell(name->substr(0, name->size() - 1)));
}

struct CliProcess {
  int32_t pid;
  ProcessStatEntry_t stat;
  ProcessUserEntry_t user;
};

bool read_cli_process(ProcReader& reader, int32_t pid, CliProcess& process) {
  ProcessStatusEntry_t status;
  process.pid = pid;
  if (has_other_name(reader, pid)) return false;
  if (!read_entry(reader, kStatus, pid, status) || status.tgid != pid) return false;
  if (!read_entry(reader, kStat, pid, process.stat) || !is_cli_shell(process.stat.comm)) return false;
  read_entry(reader, kCmdline, pid, process.user);
  if (process.user.user[0] == '\0') read_entry(reader, kEnviron, pid, process.user);
  return true;
}

void learn_boot_time(ProcReader& reader) {
  if (TermProcessInfo::bootTime >= 0) return;
  const auto text = reader.read("uptime");
  TermProcessInfo::clocksPerSec = ::sysconf(_SC_CLK_TCK);
  TermProcessInfo::upTime = text ? parse_uptime(*text).value_or(-1) : -1;
  TermProcessInfo::bootTime = std::time(nullptr) - TermProcessInfo::upTime;
}

int64_t login_time(uint64_t start_ticks) {
  const uint64_t seconds = start_ticks / static_cast<uint64_t>(TermProcessInfo::clocksPerSec);
  return static_cast<int64_t>(seconds) + TermProcessInfo::bootTime;
}

void add_process(SessionIterator& snapshot, const CliProcess& found) {
  TermInfo& term = snapshot.terms[found.stat.ttyNr];
  TermProcessInfo& process = term.processes[found.pid];
  term.ttyNr = found.stat.ttyNr;
  process.term = &term;
  process.pid = found.pid;
  process.loginTime = login_time(found.stat.startTime);
  if (found.user.user[0] != '\0') Text(process.user).copy(found.user.user);
  term.curProcess = term.processes.begin();
  snapshot.curTerm = snapshot.terms.begin();
}

}  // namespace

int32_t SessionIterator::parseStatusEntry(int pid, ProcessStatusEntry_t& entry) {
  return read_entry(kStatus, pid, entry);
}
int32_t SessionIterator::parseStatEntry(int pid, ProcessStatEntry_t& entry) { return read_entry(kStat, pid, entry); }
int32_t SessionIterator::parseCmdlineEntry(int pid, ProcessUserEntry_t& entry) {
  return read_entry(kCmdline, pid, entry);
}
int32_t SessionIterator::parseEnvEntry(int pid, ProcessUserEntry_t& entry) { return read_entry(kEnviron, pid, entry); }

int32_t SessionIterator::parseProcTbl() try {
  terms.clear();
  curTerm = terms.end();
  const Directory proc(::opendir("/proc"));
  if (!proc) return -1;
  ProcReader reader(::dirfd(proc.get()));
  CliProcess process;
  while (const dirent* entry = ::readdir(proc.get())) {
    const auto pid = static_cast<int32_t>(leading_number(entry->d_name));
    if (pid == 0 || !read_cli_process(reader, pid, process)) continue;
    learn_boot_time(reader);
    add_process(*this, process);
  }
  return 0;
} catch (const std::bad_alloc&) {
  return -1;
}

}  // namespace clikrell
