#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace coupler::test {

/// Whether no other process than the test's own can be seen, and the login database is not this machine's.
bool has_own_process_table();

/// A program to run under a name of its own.
struct Shell {
  std::string name = "vsh";
  std::vector<std::string> arguments = {};
  std::vector<std::string> environment = {};
};

/// Processes that really run, in the order of their ids, until this object goes.
class Shells {
 public:
  enum Where { kOnTerminal, kWithoutTerminal };
  /// Starts all of them on one new pseudo-terminal, or in a session without a terminal.
  Shells(Where where, const std::vector<Shell>& shells);
  ~Shells();
  Shells(const Shells&) = delete;
  Shells& operator=(const Shells&) = delete;

  pid_t pid(size_t index) const { return pids_.at(index); }
  /// The terminal as utmp names it, such as "pts/0".
  const std::string& line() const { return line_; }
  std::string tty() const { return line_.empty() ? "" : "/dev/" + line_; }

 private:
  int terminal_ = -1;
  std::string line_;
  pid_t leader_;
  std::vector<pid_t> pids_;
};

/// Leaves the utmp database empty.
void clear_logins();

struct Login {
  std::string line;
  std::string user;
  std::string host = "";
  short type = 7;
};
/// Adds a record to the utmp database.
void add_login(const Login& login);

}  // namespace coupler::test
