// Runs the machine's own shell under the names of CLI shells.
#include "tests/sessions/shells.h"

#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tests/common/files.h"

namespace coupler::test {
namespace {

constexpr int kReport = 3;

std::vector<char*> words(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

/// Becomes a shell that reports its id and stops. The kernel takes a command's name from the path it was run by.
[[noreturn]] void become(const Shell& shell, const std::string& path) {
  std::vector<std::string> arguments = {shell.name, "-c", "echo $$ >&3; kill -STOP $$", shell.name};
  arguments.insert(arguments.end(), shell.arguments.begin(), shell.arguments.end());
  ::execve(path.c_str(), words(arguments).data(), words(shell.environment).data());
  ::_exit(1);
}

void end(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

/// A field of fixed size, filled to its last byte if need be.
template <size_t N>
void fill(char (&field)[N], const std::string& text) {
  std::memcpy(field, text.data(), std::min(text.size(), N));
}

}  // namespace

bool has_own_process_table() {
  const char* const kind = std::getenv("APPLIANCE_KIND");
  return kind != nullptr && std::string_view(kind) == "bubblewrap";
}

Shells::Shells(Where where, const std::vector<Shell>& shells) {
  const ScratchDirectory directory;
  int report[2];
  char name[64] = "";
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // what the leader leaves is waited for here
  if (::pipe(report) != 0) std::abort();
  for (const Shell& shell : shells) {
    if (::symlink("/bin/sh", (directory / shell.name).c_str()) != 0 && errno != EEXIST) std::abort();
  }
  leader_ = where == kOnTerminal ? ::forkpty(&terminal_, name, nullptr, nullptr) : ::fork();
  if (leader_ == 0) {
    if (where == kWithoutTerminal) ::setsid();
    ::dup2(report[1], kReport);
    ::close_range(kReport + 1, ~0u, 0);  // what keeps other terminals open
    for (const Shell& shell : shells) {
      if (::fork() == 0) become(shell, directory / shell.name);
    }
    for (;;) ::pause();
  }
  ::close(report[1]);
  std::FILE* const reports = ::fdopen(report[0], "r");
  for (int pid; pids_.size() < shells.size(); pids_.push_back(pid)) {
    if (std::fscanf(reports, "%d", &pid) != 1) std::abort();
  }
  std::fclose(reports);
  std::sort(pids_.begin(), pids_.end());
  tty_ = name;
}

Shells::~Shells() {
  end(leader_);
  for (const pid_t pid : pids_) end(pid);
  if (terminal_ != -1) ::close(terminal_);
}

void set_logins(const std::vector<Login>& logins) {
  std::ofstream database(_PATH_UTMP, std::ios::trunc);
  for (const Login& login : logins) {
    utmp record = {};
    record.ut_type = login.type;
    fill(record.ut_line, login.line);
    fill(record.ut_user, login.user);
    fill(record.ut_host, login.host);
    database.write(reinterpret_cast<const char*>(&record), sizeof(record));
  }
}

}  // namespace coupler::test
