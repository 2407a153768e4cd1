// Finds the CLI processes in the process table and groups them by terminal.
#include <unistd.h>

#include <ctime>
#include <new>

#include "brantix/clikrell.hpp"
#include "sessions/proc_reader.h"
#include "sessions/proc_text.h"
#include "support/cancellation.h"
#include "support/handle.h"
#include "support/number.h"
#include "support/text.h"

namespace coupler::sessions {
namespace {

using clikrell::ProcessStatEntry_t;
using clikrell::ProcessStatusEntry_t;
using clikrell::ProcessUserEntry_t;
using clikrell::SessionIterator;
using clikrell::TermInfo;
using clikrell::TermProcessInfo;

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

/// Reads processes, each through one directory handle: what is read through it is of that process or not at all, also
/// when its number is given to another meanwhile.
class ProcessReader {
 public:
  /// Whether "comm", a fraction of the cost of the other files, tells that process `pid` below `proc` may be a CLI
  /// shell.
  bool has_shell_name(int proc, int pid) {
    char path[24];
    Text(path).format("%d/comm", pid);
    const auto name = reader_.read(proc, path, ProcReader::Until::kLineEnd);
    return name && name->ends_with('\n') && is_cli_shell(name->substr(0, name->size() - 1));
  }

  /// Takes the handle of process `pid` below `proc`.
  bool open(int proc, int pid) {
    char name[16];
    Text(name).format("%d", pid);
    process_ = open_in(proc, name, O_RDONLY | O_DIRECTORY);
    return static_cast<bool>(process_);
  }

  template <typename Entry>
  bool read(const ProcFile<Entry>& file, Entry& entry) {
    entry = {};
    const auto text = reader_.read(process_.get(), file.name);
    return text && file.parse(*text, entry);
  }

  /// Whether the process runs no more, so that its files have lost what they said.
  bool has_ended() {
    const auto text = reader_.read(process_.get(), kStat.name);
    return !text || tells_of_an_end(*text);
  }

 private:
  ProcReader reader_;
  Descriptor process_;
};

struct CliProcess {
  int32_t pid;
  ProcessStatEntry_t stat;
  ProcessUserEntry_t user;
};

bool read_cli_process(ProcessReader& reader, CliProcess& process) {
  ProcessStatusEntry_t status;
  if (!reader.read(kStatus, status) || status.tgid != process.pid) return false;
  if (!reader.read(kStat, process.stat) || !is_cli_shell(process.stat.comm)) return false;
  reader.read(kCmdline, process.user);
  if (process.user.user[0] == '\0') reader.read(kEnviron, process.user);
  return process.user.user[0] != '\0' || !reader.has_ended();
}

void learn_boot_time() {
  if (TermProcessInfo::bootTime >= 0) return;
  ProcReader reader;
  const auto text = reader.read(AT_FDCWD, "/proc/uptime");
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

Directory open_process_table() {
  DIR* table;
  do {
    table = ::opendir("/proc");
  } while (table == nullptr && errno == EINTR);
  return Directory(table);
}

const dirent* next_entry(const Directory& table) {
  const dirent* entry;
  do {
    errno = 0;
    entry = ::readdir(table.get());
  } while (entry == nullptr && errno == EINTR);
  return entry;
}

/// @return false when the process table cannot be opened
bool scan(SessionIterator& snapshot) {
  snapshot.terms.clear();
  snapshot.curTerm = snapshot.terms.end();
  const Directory table = open_process_table();
  if (!table) return false;
  const int proc = ::dirfd(table.get());
  ProcessReader reader;
  CliProcess process{};
  while (const dirent* entry = next_entry(table)) {
    process.pid = static_cast<int32_t>(leading_number(entry->d_name));
    if (process.pid == 0 || !reader.has_shell_name(proc, process.pid)) continue;
    if (!reader.open(proc, process.pid) || !read_cli_process(reader, process)) continue;
    learn_boot_time();
    add_process(snapshot, process);
  }
  return true;
}

/// One file of one process.
template <typename Entry>
int32_t read_entry(const ProcFile<Entry>& file, int pid, Entry& entry) {
  const CancellationHeldOff held_off;
  const Descriptor proc = open_in(AT_FDCWD, "/proc", O_PATH | O_DIRECTORY);
  ProcessReader reader;
  entry = {};
  return reader.open(proc.get(), pid) && reader.read(file, entry) ? 0 : -1;
}

}  // namespace
}  // namespace coupler::sessions

namespace clikrell {

namespace sessions = coupler::sessions;

int64_t TermProcessInfo::clocksPerSec = -1;
int32_t TermProcessInfo::upTime = -1;
int64_t TermProcessInfo::bootTime = -1;

int32_t SessionIterator::parseStatusEntry(int pid, ProcessStatusEntry_t& entry) {
  return sessions::read_entry(sessions::kStatus, pid, entry);
}

int32_t SessionIterator::parseStatEntry(int pid, ProcessStatEntry_t& entry) {
  return sessions::read_entry(sessions::kStat, pid, entry);
}

int32_t SessionIterator::parseCmdlineEntry(int pid, ProcessUserEntry_t& entry) {
  return sessions::read_entry(sessions::kCmdline, pid, entry);
}

int32_t SessionIterator::parseEnvEntry(int pid, ProcessUserEntry_t& entry) {
  return sessions::read_entry(sessions::kEnviron, pid, entry);
}

int32_t SessionIterator::parseProcTbl() {
  const coupler::CancellationHeldOff held_off;
  try {
    return sessions::scan(*this) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

}  // namespace clikrell
