// Snapshots of shells that really run: what is in them, their order, whose handles are refused, threads. The shells are
// the machine's own, run under the names of CLI shells, with login records beside them.
#include "brantix/sessions.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <pty.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <utmp.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <thread>
#include <vector>

#include "brantix/clikrell.hpp"
#include "support/handle.h"
#include "tests/common/appliance.h"
#include "tests/common/files.h"

namespace {

using namespace coupler::test;
using clikrell::SessionIterator;
using clikrell::TermProcessInfo;
using std::string;
using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

/// A program to run under a name of its own.
struct Shell {
  /// Stops itself. The kernel takes a command's name from the path it was run by.
  [[noreturn]] void run(const ScratchDirectory& directory) const {
    std::vector<const char*> words = {name, "-c", "kill -STOP $$", name}, variables = environment;
    words.insert(words.end(), arguments.begin(), arguments.end());
    for (auto* list : {&words, &variables}) list->push_back(nullptr);
    const string path = directory / name;
    std::filesystem::create_symlink("/bin/sh", path);
    ::execve(path.c_str(), const_cast<char**>(words.data()), const_cast<char**>(variables.data()));
    ::_exit(1);
  }

  const char* name = "vsh";
  std::vector<const char*> arguments = {}, environment = {};
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
  const string& tty() const { return tty_; }
  /// The terminal as utmp names it, such as "pts/0".
  string line() const { return tty_.substr(sizeof("/dev/") - 1); }

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
  string tty_;
  pid_t leader_;
  std::vector<pid_t> pids_;
};

struct Login {
  string line, user, host = "";
  short type = 7;
};

/// Makes these the only records of the login database.
void set_logins(const std::vector<Login>& logins) {
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

constexpr const char* kWarning =
    "Warning: Internal error: getIterator() called for non-null iterator pointer for id: 0";

string session(const string& user, const string& host, const string& tty, pid_t pid) {
  return user + '|' + host + '|' + tty + '|' + std::to_string(pid);
}

/// Walks a snapshot with get-next alone and frees it.
std::vector<_SCI_cli_session_s> records_of(_SCI_cli_session_iterator_s* iterator) {
  std::vector<_SCI_cli_session_s> found(1);
  while (SCI_cli_get_next_session(iterator, &found.back()) == 1) found.emplace_back();
  found.pop_back();
  SCI_cli_free_session_iterator(iterator);
  return found;
}

std::vector<string> sessions_of(_SCI_cli_session_iterator_s* iterator = SCI_cli_get_sessions()) {
  std::vector<string> found;
  for (const auto& next : records_of(iterator)) found.push_back(session(next.user, next.host, next.tty, next.pid));
  return found;
}

/// A shell that has ended waits for its parent beside those of each test.
class SessionsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!is_machine_of_its_own()) GTEST_SKIP() << "needs a process table of its own";
    set_logins({});
    ended_ = fork();
    if (ended_ == 0) _exit(prctl(PR_SET_NAME, "vsh"));
    siginfo_t end;
    waitid(P_PID, static_cast<id_t>(ended_), &end, WEXITED | WNOWAIT);
  }
  void TearDown() override { waitpid(ended_, nullptr, 0); }

 private:
  pid_t ended_ = 0;
};

TEST_F(SessionsTest, NoneIsOpen) {
  const Shells others(Shells::kOnTerminal,
                      {{"vshx"}, {"xvsh"}, {"VSH"}, {"vsh "}, {"vsh\n"}, {"vsh\nvsh"}, {"(vsh)"}, {") S 1 (vsh"}});
  set_logins({{others.line(), "alice"}});
  string record(sizeof(_SCI_cli_session_s), 'x');
  CaptureStdout();
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  EXPECT_NE(iterator, nullptr);
  EXPECT_EQ(SCI_cli_has_next_session(iterator), 0);
  EXPECT_EQ(SCI_cli_get_next_session(iterator, reinterpret_cast<_SCI_cli_session_s*>(record.data())), 0);
  EXPECT_EQ(record, string(record.size(), 'x'));
  SCI_cli_free_session_iterator(iterator);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_THAT((std::vector<int64_t>{TermProcessInfo::bootTime, TermProcessInfo::clocksPerSec, TermProcessInfo::upTime}),
              testing::Each(-1));
}

TEST_F(SessionsTest, UserOfAProcess) {
  const Shells shells(Shells::kOnTerminal, {{"vsh", {"-p", "b"}, {"USER=carol"}},
                                            {"wytsh", {}, {"TERM=x", "USER=", "USER=dora"}},
                                            {"vsh", {"-x", "-p"}, {"USER=erin"}},
                                            {"vsh", {}, {"NOUSER=x"}}});
  set_logins({{shells.line(), "alice", "10.0.0.7"}});
  std::vector<string> expected;
  for (const string user : {"b", "dora", "erin", "alice"}) {
    expected.push_back(session(user, "10.0.0.7", shells.tty(), shells.pid(expected.size())));
  }
  EXPECT_EQ(sessions_of(), expected);
}

// The terminal with the lower number is taken by the later processes.
TEST_F(SessionsTest, TerminalsComeByDeviceNumberAndProcessesById) {
  auto gone = std::make_unique<Shells>(Shells::kOnTerminal, std::vector<Shell>{{}});
  const Shells high(Shells::kOnTerminal, {{}, {"wytsh"}});
  gone.reset();
  const Shells low(Shells::kOnTerminal, {{}});
  const Shells none(Shells::kWithoutTerminal, {{"vsh", {"-p", "root"}}});
  set_logins({{high.line(), "alice", "a.example"}, {low.line(), "bob"}});
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(SCI_cli_has_next_session(iterator), 1);  // moves nothing, nor does this
  EXPECT_EQ(SCI_cli_get_next_session(iterator, nullptr), 0);
  EXPECT_THAT(sessions_of(iterator),
              ElementsAre(session("root", "", "", none.pid(0)), session("bob", "", low.tty(), low.pid(0)),
                          session("alice", "a.example", high.tty(), high.pid(0)),
                          session("alice", "a.example", high.tty(), high.pid(1))));
}

TEST_F(SessionsTest, LoginRecords) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const string full = string(32 - shells.tty().size(), '/') + shells.tty();
  const std::tuple<std::vector<Login>, string, string, string> rows[] = {
      {{{shells.line(), "early", "first"}, {shells.line(), "late"}}, "late", "", shells.tty()},
      {{{shells.line(), "here"}, {"pts/97", "elsewhere"}}, "here", "", shells.tty()},
      {{{shells.line(), "gone", "", 8}, {"", "nobody"}}, "", "", ""},  // a dead process
      {{{shells.tty(), string(32, 'u'), string(256, 'h')}}, string(32, 'u'), string(255, 'h'), shells.tty()},
      {{{full, "full"}}, "full", "", full.substr(0, 31)},
  };
  for (const auto& [logins, user, host, tty] : rows) {
    set_logins(logins);
    EXPECT_THAT(sessions_of(), ElementsAre(session(user, host, tty, shells.pid(0))));
  }
  SessionIterator snapshot;
  EXPECT_EQ(snapshot.parseProcTbl(), 0);
  clikrell::TermInfo& terminal = snapshot.curTerm->second;
  ++terminal.curProcess;
  EXPECT_EQ(snapshot.parseUtmpTbl(), 0);
  EXPECT_EQ(terminal.curProcess, terminal.processes.begin());
  std::filesystem::remove("/var/run/utmp");
  EXPECT_THAT(sessions_of(), ElementsAre(session("", "", "", shells.pid(0))));
}

TEST_F(SessionsTest, WhatIsRefusedIsPrinted) {
  _SCI_cli_session_s record;
  CaptureStdout();
  _SCI_cli_session_iterator_s *const replaced = SCI_cli_get_sessions(), *const freed = SCI_cli_get_sessions();
  EXPECT_EQ(SCI_cli_get_next_session(replaced, &record), 0);
  SCI_cli_free_session_iterator(freed);
  string printed = kWarning + string("getNextSession: Internal error: Invalid iterator pointer for id: 0");
  for (_SCI_cli_session_iterator_s* const handle : {freed, static_cast<_SCI_cli_session_iterator_s*>(nullptr)}) {
    EXPECT_EQ(SCI_cli_has_next_session(handle), 0);
    EXPECT_EQ(SCI_cli_get_next_session(handle, &record), 0);
    SCI_cli_free_session_iterator(handle);
    for (const string operation : {"hasNextSession", "getNextSession", "freeSessionIterator"}) {
      printed +=
          operation + ": Internal error: Invalid " + (handle == nullptr ? "null " : "") + "iterator pointer for id: 0";
    }
  }
  rlimit files;
  getrlimit(RLIMIT_NOFILE, &files);
  const rlimit none = {0, files.rlim_max};
  SCI_cli_get_sessions();
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(SCI_cli_get_sessions(), nullptr);
  EXPECT_EQ(SessionIterator().parseProcTbl(), -1);
  setrlimit(RLIMIT_NOFILE, &files);
  EXPECT_EQ(SessionIterator::iterators[0], nullptr);
  EXPECT_EQ(GetCapturedStdout(), printed + kWarning + "getSessions: Internal error in retrieving sessions");
}

int64_t login_time() { return records_of(SCI_cli_get_sessions()).at(0).loginTime; }

TEST_F(SessionsTest, LoginTimeCountsFromTheBootTimeThatIsLearnedOnce) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const auto started = static_cast<double>(std::time(nullptr));
  TermProcessInfo::bootTime = -1;
  EXPECT_NEAR(static_cast<double>(login_time()), started, 5);
  EXPECT_EQ(TermProcessInfo::clocksPerSec, sysconf(_SC_CLK_TCK));

  TermProcessInfo::clocksPerSec = 1000;
  TermProcessInfo::bootTime = 0;
  clikrell::ProcessStatEntry_t stat;
  ASSERT_EQ(SessionIterator::parseStatEntry(shells.pid(0), stat), 0);
  EXPECT_EQ(login_time(), static_cast<int64_t>(stat.startTime) / 1000);

  TermProcessInfo::bootTime = -1;
  if (mount("/dev/null", "/proc/uptime", nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "may not mount here";
  const time_t before = std::time(nullptr);
  login_time();
  umount("/proc/uptime");
  EXPECT_EQ(TermProcessInfo::upTime, -1);
  EXPECT_TRUE(TermProcessInfo::bootTime > before && TermProcessInfo::bootTime <= std::time(nullptr) + 1);
}

TEST_F(SessionsTest, EntriesOfOneProcess) {
  const Shells shells(Shells::kOnTerminal, {{"a) b (c", {"-p", "alice"}, {"USER=bob"}}});
  struct stat terminal;
  ASSERT_EQ(stat(shells.tty().c_str(), &terminal), 0);
  clikrell::ProcessStatusEntry_t status = {};
  clikrell::ProcessStatEntry_t entry = {};
  clikrell::ProcessUserEntry_t argument = {}, variable = {};
  const auto parse = [&](int pid) {
    return std::vector<int32_t>{
        SessionIterator::parseStatusEntry(pid, status), SessionIterator::parseStatEntry(pid, entry),
        SessionIterator::parseCmdlineEntry(pid, argument), SessionIterator::parseEnvEntry(pid, variable)};
  };
  EXPECT_THAT(parse(shells.pid(0)), testing::Each(0));
  EXPECT_EQ(status.tgid, shells.pid(0));
  EXPECT_EQ(entry.ttyNr, static_cast<int32_t>(terminal.st_rdev));
  EXPECT_EQ(entry.comm + string("|") + argument.user + '|' + variable.user, "a) b (c|alice|bob");
  EXPECT_THAT(parse(1 << 30), testing::Each(-1));
  EXPECT_EQ(string(entry.comm) + argument.user + variable.user, "");
}

TEST_F(SessionsTest, DeviceOfATerminalLine) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const string number = shells.line().substr(sizeof("pts/") - 1);
  struct stat terminal;
  ASSERT_EQ(stat(shells.tty().c_str(), &terminal), 0);
  write_file("/dev/ttyfile", "");
  const auto pts = static_cast<int32_t>(terminal.st_rdev);
  const auto null = static_cast<int32_t>(makedev(1, 3));
  const std::tuple<string, unsigned, int32_t, string> rows[] = {
      {"null", 10, null, "/dev/null"},
      {"null", 9, -1, "/dev/pts"},  // its path does not fit
      {"null", 0, -1, "####"},
      {"/dev/null", 6, null, "/dev/"},
      {"/null", 32, null, "/dev//null"},
      {shells.line(), 32, pts, shells.tty()},
      {"file", 32, 0, "/dev/ttyfile"},
      {number, 32, pts, shells.tty()},
      {"no such line", 32, -1, "/dev/pts/no such line"},
  };
  for (const auto& [line, size, device, shown] : rows) {
    char path[64] = "####";
    EXPECT_EQ(SessionIterator::ttyToDevNum(line.c_str(), path, size), device) << line;
    EXPECT_EQ(path, shown);
  }
  EXPECT_EQ(SessionIterator::ttyToDevNum("null", nullptr, 0), -1);
  EXPECT_EQ(SessionIterator::ttyToDevNum(nullptr, nullptr, 0), -1);
}

// Every thread takes, walks and frees, and ends the others' snapshots.
TEST_F(SessionsTest, ThreadsTakeWalkAndFreeAtOnce) {
  const Shells shells(Shells::kWithoutTerminal, {{"vsh", {"-p", "alice"}}});
  const string alice = session("alice", "", "", shells.pid(0));
  std::atomic<int> handed_out = 0, damaged = 0;
  const auto run = [&] {
    for (int round = 0; round < 500; ++round) {
      for (const string& found : sessions_of()) ++(found == alice ? handed_out : damaged);
    }
  };
  CaptureStdout();
  { const std::jthread threads[] = {std::jthread(run), std::jthread(run), std::jthread(run), std::jthread(run)}; }
  EXPECT_EQ(GetCapturedStdout().find('\n'), string::npos);
  EXPECT_GT(handed_out, 0);
  EXPECT_EQ(damaged, 0);
}

TEST_F(SessionsTest, ACancelledThreadFinishesItsCall) {
  const Shells shells(Shells::kWithoutTerminal, {{}});
  int state = PTHREAD_CANCEL_DISABLE;
  std::vector<string> found;
  std::thread([&] {
    pthread_cancel(pthread_self());
    { const coupler::Descriptor closed(::dup(0)); }
    found = sessions_of();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  }).join();
  EXPECT_THAT(found, ElementsAre(session("", "", "", shells.pid(0))));
  EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE) << "it can be cancelled again";
}

}  // namespace
