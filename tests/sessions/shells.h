// The machine's own shell, run under the names of CLI shells, and the login records beside it.
#pragma once

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <cstring>
#include <vector>

#include "tests/common/files.h"

namespace coupler::test {

/// A program to run under a name of its own.
struct Shell {
  /// Stops itself. The kernel takes a command's name from the path it was run by.
  [[noreturn]] void run(const ScratchDirectory& directory) const {
    std::vector<const char*> words = {name.c_str(), "-c", "kill -STOP $$", name.c_str()}, variables;
    for (const std::string& argument : arguments) words.push_back(argument.c_str());
    for (const std::string& variable : environment) variables.push_back(variable.c_str());
    for (auto* list : {&words, &variables}) list->push_back(nullptr);
    const std::string path = directory / name;
    std::filesystem::create_symlink("/bin/sh", path);
    ::execve(path.c_str(), const_cast<char**>(words.data()), const_cast<char**>(variables.data()));
    ::_exit(1);
  }

  std::string name = "vsh";
  std::vector<std::string> arguments = {};
  std::vector<std::string> environment = {};
};

/// Processes in the order of their ids, until this object goes.
class Shells {
 public:
  enum Where { kOnTerminal, kWithoutTerminal };
  /// Starts all of them on one new pseudo-terminal, or in a session without a terminal.
  Shells(Where where, const std::vector<Shell>& shells) {
    char name[64] = "";
    int report[2];
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // what the leader leaves is waited for here
    if (::pipe(report) != 0) std::abort();
    const std::vector<ScratchDirectory> directories(shells.size());
    leader_ = where == kOnTerminal ? ::forkpty(&terminal_, name, nullptr, nullptr) : ::fork();
    if (leader_ == 0) lead(where, shells, directories, report[1]);
    tty_ = name;
    ::close(report[1]);
    for (pid_t pid; ::read(report[0], &pid, sizeof(pid)) == sizeof(pid);) pids_.push_back(pid);
    ::close(report[0]);
  }
  ~Shells() {
    ::kill(-leader_, SIGKILL);
    while (::waitpid(-leader_, nullptr, 0) > 0) {
    }
    if (terminal_ != -1) ::close(terminal_);
  }
  Shells(const Shells&) = delete;
  Shells& operator=(const Shells&) = delete;

  pid_t pid(size_t index) const { return pids_.at(index); }
  /// The terminal's device, such as "/dev/pts/0".
  const std::string& tty() const { return tty_; }
  /// The terminal as utmp names it, such as "pts/0".
  std::string line() const { return tty_.substr(sizeof("/dev/") - 1); }

 private:
  /// Starts the shells and reports their ids. The report ends when each of them has become what it is.
  [[noreturn]] static void lead(Where where, const std::vector<Shell>& shells,
                                const std::vector<ScratchDirectory>& directories, int report) {
    constexpr int kReport = 3;
    if (where == kWithoutTerminal) ::setsid();
    ::dup2(report, kReport);
    ::fcntl(kReport, F_SETFD, FD_CLOEXEC);
    ::close_range(kReport + 1, ~0u, 0);  // what keeps other terminals open
    for (size_t i = 0; i < shells.size(); ++i) {
      const pid_t pid = ::fork();
      if (pid == 0) shells[i].run(directories[i]);
      if (::write(kReport, &pid, sizeof(pid)) < 0) ::_exit(1);
    }
    ::close(kReport);
    for (;;) ::pause();
  }

  int terminal_ = -1;
  std::string tty_;
  pid_t leader_;
  std::vector<pid_t> pids_;
};

struct Login {
  std::string line, user, host = "";
  short type = 7;
};

/// Makes these the only records of the login database.
inline void set_logins(const std::vector<Login>& logins) {
  std::ofstream database(_PATH_UTMP, std::ios::trunc);
  for (const Login& login : logins) {
    utmp record = {};
    record.ut_type = login.type;
    login.line.copy(record.ut_line, sizeof(record.ut_line));  // to a field's last byte, if need be
    login.user.copy(record.ut_user, sizeof(record.ut_user));
    login.host.copy(record.ut_host, sizeof(record.ut_host));
    database.write(reinterpret_cast<const char*>(&record), sizeof(record));
  }
}

}  // namespace coupler::test
