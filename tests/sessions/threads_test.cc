#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "brantix/sessions.h"
#include "tests/sessions/shells.h"

namespace {

using namespace coupler::test;

/// Processes named "vsh" that come and go as fast as they can.
class Passers {
 public:
  Passers() : parent_(fork()) {
    if (parent_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
      const pid_t child = fork();
      if (child == 0) {
        prctl(PR_SET_NAME, "vsh");
        _exit(0);
      }
      waitpid(child, nullptr, 0);
    }
  }
  ~Passers() {
    kill(parent_, SIGKILL);
    waitpid(parent_, nullptr, 0);
  }

 private:
  const pid_t parent_;
};

// Every thread takes, walks and frees, also what the others took: the handle of the last one is anyone's.
TEST(SessionThreadsTest, TakeWalkAndFreeAtOnce) {
  if (!has_own_process_table()) GTEST_SKIP() << "needs a process table of its own";
  const Shells shells(Shells::kOnTerminal, {{"vsh", {"-p", "alice"}}, {"wytsh", {"-p", "alice"}}});
  const Passers passers;
  constexpr int kThreads = 4, kRounds = 500;
  std::atomic<_SCI_cli_session_iterator_s*> shared = nullptr;
  std::atomic<int> handed_out = 0, damaged = 0;
  const auto run = [&] {
    for (int round = 0; round < kRounds; ++round) {
      shared = SCI_cli_get_sessions();
      _SCI_cli_session_iterator_s* const iterator = shared;
      _SCI_cli_session_s next;
      SCI_cli_has_next_session(iterator);
      while (SCI_cli_get_next_session(iterator, &next) == 1) {
        ++handed_out;
        const bool ours = next.pid == shells.pid(0) || next.pid == shells.pid(1);
        if (ours ? std::strcmp(next.user, "alice") != 0 : next.pid <= 0) ++damaged;
      }
      SCI_cli_free_session_iterator(iterator);
    }
  };
  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(run);
  for (std::thread& thread : threads) thread.join();
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_GT(handed_out, 0);
  EXPECT_EQ(damaged, 0);
  EXPECT_EQ(printed.find('\n'), std::string::npos);
  SCI_cli_free_session_iterator(SCI_cli_get_sessions());
}

}  // namespace
