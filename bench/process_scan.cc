// The scan for CLI sessions against "pgrep -x vsh", which finds the same processes and prints their ids.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <vector>

#include "brantix/sessions.h"

namespace {

/// Other processes, and one shell, for as long as this lives.
class Crowd {
 public:
  explicit Crowd(int64_t count) {
    for (int64_t i = 0; i < count; ++i) members_.push_back(start(i == count / 2 ? "vsh" : "worker"));
  }
  ~Crowd() {
    for (const pid_t member : members_) kill(member, SIGKILL);
    for (const pid_t member : members_) waitpid(member, nullptr, 0);
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

 private:
  static pid_t start(const char* name) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, name);
    for (;;) pause();
  }

  std::vector<pid_t> members_;
};

bool scan() {
  _SCI_cli_session_iterator_s* const sessions = SCI_cli_get_sessions();
  const bool found = SCI_cli_has_next_session(sessions) == 1;
  SCI_cli_free_session_iterator(sessions);
  return found;
}

bool pgrep() {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  char name[] = "pgrep", exact[] = "-x", pattern[] = "vsh";
  char* const arguments[] = {name, exact, pattern, nullptr};
  pid_t pid = 0;
  int status = -1;
  if (posix_spawnp(&pid, name, &actions, nullptr, arguments, environ) == 0) waitpid(pid, &status, 0);
  posix_spawn_file_actions_destroy(&actions);
  return status == 0;
}

double seconds_of(benchmark::State& state, bool (*find)()) {
  const auto start = std::chrono::steady_clock::now();
  if (!find()) state.SkipWithError("the shell is not found");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Time is the scan's; `of_pgrep` is its share of the time that pgrep takes, both in turn in the same run.
void ScanAmong(benchmark::State& state) {
  const Crowd crowd(state.range(0));
  double scans = 0, pgreps = 0;
  for (auto round : state) {
    const double once = seconds_of(state, scan);
    state.SetIterationTime(once);
    scans += once;
    pgreps += seconds_of(state, pgrep);
  }
  state.counters["of_pgrep"] = scans / pgreps;
}
BENCHMARK(ScanAmong)->Arg(1000)->Arg(4000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
