// CLI shells that really run, and the login records beside them.
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

/// Processes in the order of their ids, until this object goes.
class Shells {
 public:
  enum Where { kOnTerminal, kWithoutTerminal };
  /// Starts all of them on one new pseudo-terminal, or in a session without a terminal.
  Shells(Where where, const std::vector<Shell>& shells);
  ~Shells();
  Shells(const Shells&) = delete;
  Shells& operator=(const Shells&) = delete;

  pid_t pid(size_t index) const { return pids_.at(index); }
  /// The terminal's device, such as "/dev/pts/0".
  const std::string& tty() const { return tty_; }
  /// The terminal as utmp names it, such as "pts/0".
  std::string line() const { return tty_.substr(sizeof("/dev/") - 1); }

 private:
  int terminal_ = -1;
  std::string tty_;
  pid_t leader_;
  std::vector<pid_t> pids_;
};

struct Login {
  std::string line;
  std::string user;
  std::string host = "";
  short type = 7;
};
/// Makes these the only records of the login database.
void set_logins(const std::vector<Login>& logins);

}  // namespace coupler::test
