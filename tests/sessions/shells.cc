#include "tests/sessions/shells.h"

#include <fcntl.h>
#include <limits.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmpx.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/common/files.h"

namespace coupler::test {
namespace {

std::vector<char*> words(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

constexpr int kReady = 3, kStarted = 4;

/// Becomes the program "idle" under the shell's name; the kernel takes a command's name from the path it was run by.
[[noreturn]] void become(const Shell& shell, const std::string& directory) {
  std::vector<std::string> arguments = {shell.name};
  arguments.insert(arguments.end(), shell.arguments.begin(), shell.arguments.end());
  ::execve((directory + "/" + shell.name).c_str(), words(arguments).data(), words(shell.environment).data());
  ::_exit(1);
}

std::filesystem::path idle_program() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "sessions_idle";
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
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // the shells are the leader's children, but to be waited for here
  const ScratchDirectory directory;
  for (const Shell& shell : shells) {
    const std::string link = directory / shell.name;
    if (!std::filesystem::is_symlink(link)) std::filesystem::create_symlink(idle_program(), link);
  }
  int ready[2], started[2];
  if (::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(started, O_CLOEXEC) != 0) std::abort();
  char name[PATH_MAX] = "";
  leader_ = where == kOnTerminal ? ::forkpty(&terminal_, name, nullptr, nullptr) : ::fork();
  if (leader_ == 0) {
    if (where == kWithoutTerminal) ::setsid();
    ::dup2(ready[1], kReady);
    ::dup2(started[1], kStarted);
    ::close_range(kStarted + 1, ~0u, 0);  // what keeps other terminals open
    for (const Shell& shell : shells) {
      const pid_t pid = ::fork();
      if (pid == 0) become(shell, directory.path());
      if (::write(kStarted, &pid, sizeof(pid)) != sizeof(pid)) ::_exit(1);
    }
    for (;;) ::pause();
  }
  ::close(ready[1]);
  ::close(started[1]);
  for (size_t i = 0; i < shells.size(); ++i) {
    pid_t pid = 0;
    char byte;
    if (::read(started[0], &pid, sizeof(pid)) != sizeof(pid) || ::read(ready[0], &byte, 1) != 1) std::abort();
    pids_.push_back(pid);
  }
  ::close(ready[0]);
  ::close(started[0]);
  if (where == kOnTerminal) line_ = std::string(name).substr(std::strlen("/dev/"));
}

Shells::~Shells() {
  end(leader_);
  for (const pid_t pid : pids_) end(pid);
  if (terminal_ != -1) ::close(terminal_);
}

void clear_logins() { std::ofstream("/var/run/utmp", std::ios::trunc); }

void add_login(const Login& login) {
  static int next_id = 0;
  utmpx record = {};
  record.ut_type = login.type;
  fill(record.ut_id, std::to_string(next_id++));
  fill(record.ut_line, login.line);
  fill(record.ut_user, login.user);
  fill(record.ut_host, login.host);
  ::setutxent();
  ::pututxline(&record);
  ::endutxent();
}

}  // namespace coupler::test
