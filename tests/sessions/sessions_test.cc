#include "brantix/sessions.h"

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstring>
#include <ctime>

#include "brantix/clikrell.hpp"
#include "support/handle.h"
#include "tests/common/files.h"
#include "tests/sessions/shells.h"

namespace {

using namespace coupler::test;
using clikrell::SessionIterator;
using clikrell::TermProcessInfo;
using std::string;
using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

string session(const string& user, const string& host, const string& tty, pid_t pid) {
  return user + '|' + host + '|' + tty + '|' + std::to_string(pid);
}

/// Takes a snapshot and walks it with get-next alone.
std::vector<string> open_sessions() {
  std::vector<string> found;
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  _SCI_cli_session_s next;
  while (SCI_cli_get_next_session(iterator, &next) == 1) {
    found.push_back(session(next.user, next.host, next.tty, next.pid));
  }
  SCI_cli_free_session_iterator(iterator);
  return found;
}

class SessionsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!has_own_process_table()) GTEST_SKIP() << "needs a process table of its own";
    clear_logins();
  }
};

TEST_F(SessionsTest, NoneIsOpen) {
  const Shells others(Shells::kOnTerminal, {{"vshx"},
                                            {"xvsh"},
                                            {"VSH"},
                                            {"vsh "},
                                            {" vsh"},
                                            {"vsh\n"},
                                            {"vsh\nvsh"},
                                            {"(vsh)"},
                                            {"vsh)"},
                                            {") S 1 (vsh"},
                                            {"wytsh2"},
                                            {"wyts"},
                                            {"bash", {"vsh"}}});
  add_login({others.line(), "alice"});
  _SCI_cli_session_s record, before;
  std::memset(&record, 'x', sizeof(record));
  before = record;
  CaptureStdout();
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  EXPECT_NE(iterator, nullptr);
  EXPECT_EQ(SCI_cli_has_next_session(iterator), 0);
  EXPECT_EQ(SCI_cli_get_next_session(iterator, &record), 0);
  EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
  SCI_cli_free_session_iterator(iterator);
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_F(SessionsTest, UserOfAProcess) {
  const Shells shells(Shells::kOnTerminal, {{"vsh", {"-p", "bob"}, {"USER=carol"}},
                                            {"wytsh", {}, {"TERM=x", "USER=", "USER=dora"}},
                                            {"vsh", {"-x", "-p"}, {"USER=erin"}},
                                            {"vsh", {"-p", ""}, {"USER=fred"}},
                                            {"vsh", {}, {"NOUSER=x"}}});
  add_login({shells.line(), "alice", "10.0.0.7"});
  EXPECT_THAT(open_sessions(), ElementsAre(session("bob", "10.0.0.7", shells.tty(), shells.pid(0)),
                                           session("dora", "10.0.0.7", shells.tty(), shells.pid(1)),
                                           session("erin", "10.0.0.7", shells.tty(), shells.pid(2)),
                                           session("fred", "10.0.0.7", shells.tty(), shells.pid(3)),
                                           session("alice", "10.0.0.7", shells.tty(), shells.pid(4))));
}

// The terminal with the lower number is taken by the later processes.
TEST_F(SessionsTest, TerminalsComeByDeviceNumber) {
  auto gone = std::make_unique<Shells>(Shells::kOnTerminal, std::vector<Shell>{{}});
  const Shells high(Shells::kOnTerminal, {{}, {"wytsh"}});
  gone.reset();
  const Shells low(Shells::kOnTerminal, {{}});
  const Shells none(Shells::kWithoutTerminal, {{"vsh", {"-p", "root"}}});
  add_login({high.line(), "alice", "a.example"});
  add_login({low.line(), "bob"});
  EXPECT_THAT(open_sessions(),
              ElementsAre(session("root", "", "", none.pid(0)), session("bob", "", low.tty(), low.pid(0)),
                          session("alice", "a.example", high.tty(), high.pid(0)),
                          session("alice", "a.example", high.tty(), high.pid(1))));
}

TEST_F(SessionsTest, LoginRecords) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const string number = shells.line().substr(std::strlen("pts/"));
  const struct {
    std::vector<Login> logins;
    string user, host, tty;
  } rows[] = {
      {{}, "", "", ""},
      {{{shells.line(), "early", "first"}, {shells.line(), "late"}}, "late", "", shells.tty()},
      {{{shells.line(), "here"}, {"pts/97", "elsewhere"}}, "here", "", shells.tty()},
      {{{shells.line(), "gone", "", 8}}, "", "", ""},  // a dead process
      {{{number, "short"}}, "short", "", shells.tty()},
      {{{shells.tty(), "whole"}}, "whole", "", shells.tty()},
      {{{shells.line(), string(32, 'u'), string(256, 'h')}}, string(32, 'u'), string(255, 'h'), shells.tty()},
      {{{"/dev/pts/../pts/../pts/../pts/" + number, "wide"}}, "wide", "", "/dev/pts/../pts/../pts/../pts/" + number},
      {{{"", "nobody"}}, "", "", ""},
  };
  for (const auto& row : rows) {
    clear_logins();
    for (const Login& login : row.logins) add_login(login);
    EXPECT_THAT(open_sessions(), ElementsAre(session(row.user, row.host, row.tty, shells.pid(0))));
  }
}

TEST_F(SessionsTest, NoLoginDatabase) {
  const Shells shells(Shells::kOnTerminal, {{}});
  std::filesystem::remove("/var/run/utmp");
  EXPECT_THAT(open_sessions(), ElementsAre(session("", "", "", shells.pid(0))));
}

TEST_F(SessionsTest, HasNextMovesNothing) {
  const Shells first(Shells::kOnTerminal, {{}});
  const Shells second(Shells::kOnTerminal, {{}});
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  _SCI_cli_session_s next;
  for (const Shells* shells : {&first, &second}) {
    EXPECT_EQ(SCI_cli_has_next_session(iterator), 1);
    EXPECT_EQ(SCI_cli_get_next_session(iterator, nullptr), 0);
    EXPECT_EQ(SCI_cli_has_next_session(iterator), 1);
    EXPECT_EQ(SCI_cli_get_next_session(iterator, &next), 1);
    EXPECT_EQ(next.pid, shells->pid(0));
  }
  EXPECT_EQ(SCI_cli_has_next_session(iterator), 0);
  SCI_cli_free_session_iterator(iterator);
}

TEST_F(SessionsTest, RefusedHandles) {
  _SCI_cli_session_s record;
  int elsewhere;
  auto* const never = reinterpret_cast<_SCI_cli_session_iterator_s*>(&elsewhere);
  CaptureStdout();
  EXPECT_EQ(SCI_cli_has_next_session(nullptr), 0);
  EXPECT_EQ(SCI_cli_get_next_session(nullptr, &record), 0);
  SCI_cli_free_session_iterator(nullptr);
  EXPECT_EQ(GetCapturedStdout(),
            "hasNextSession: Internal error: Invalid null iterator pointer for id: 0"
            "getNextSession: Internal error: Invalid null iterator pointer for id: 0"
            "freeSessionIterator: Internal error: Invalid null iterator pointer for id: 0");

  CaptureStdout();
  _SCI_cli_session_iterator_s* const replaced = SCI_cli_get_sessions();
  _SCI_cli_session_iterator_s* const last = SCI_cli_get_sessions();
  EXPECT_EQ(SCI_cli_has_next_session(replaced), 0);
  EXPECT_EQ(SCI_cli_get_next_session(never, &record), 0);
  SCI_cli_free_session_iterator(last);
  SCI_cli_free_session_iterator(last);
  EXPECT_EQ(GetCapturedStdout(),
            "Warning: Internal error: getIterator() called for non-null iterator pointer for id: 0"
            "hasNextSession: Internal error: Invalid iterator pointer for id: 0"
            "getNextSession: Internal error: Invalid iterator pointer for id: 0"
            "freeSessionIterator: Internal error: Invalid iterator pointer for id: 0");
}

TEST_F(SessionsTest, ScanThatFailsLeavesNoSnapshot) {
  rlimit files;
  getrlimit(RLIMIT_NOFILE, &files);
  const rlimit none = {0, files.rlim_max};
  CaptureStdout();
  _SCI_cli_session_iterator_s* const older = SCI_cli_get_sessions();
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(SCI_cli_get_sessions(), nullptr);
  setrlimit(RLIMIT_NOFILE, &files);
  EXPECT_EQ(SCI_cli_has_next_session(older), 0);
  EXPECT_EQ(GetCapturedStdout(),
            "Warning: Internal error: getIterator() called for non-null iterator pointer for id: 0"
            "getSessions: Internal error in retrieving sessions"
            "hasNextSession: Internal error: Invalid iterator pointer for id: 0");
  EXPECT_EQ(SessionIterator::iterators[0], nullptr);
}

class LoginTimeTest : public SessionsTest {
 protected:
  static int64_t login_time() {
    _SCI_cli_session_s next = {};
    _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
    EXPECT_EQ(SCI_cli_get_next_session(iterator, &next), 1);
    SCI_cli_free_session_iterator(iterator);
    return next.loginTime;
  }
};

TEST_F(LoginTimeTest, StartOfTheProcess) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const auto started = static_cast<double>(std::time(nullptr));
  TermProcessInfo::bootTime = -1;
  EXPECT_NEAR(static_cast<double>(login_time()), started, 5);
}

TEST_F(LoginTimeTest, BootTimeIsLearnedOnce) {
  const Shells shells(Shells::kOnTerminal, {{}});
  TermProcessInfo::clocksPerSec = 1000;
  TermProcessInfo::bootTime = 5'000'000;
  clikrell::ProcessStatEntry_t stat;
  ASSERT_EQ(SessionIterator::parseStatEntry(shells.pid(0), stat), 0);
  EXPECT_EQ(login_time(), static_cast<int64_t>(stat.startTime) / 1000 + 5'000'000);
}

TEST_F(LoginTimeTest, NoShellNoBootTime) {
  TermProcessInfo::bootTime = -1;
  open_sessions();
  EXPECT_EQ(TermProcessInfo::bootTime, -1);
}

TEST_F(LoginTimeTest, UptimeThatTellsNothing) {
  const Shells shells(Shells::kOnTerminal, {{}});
  TermProcessInfo::bootTime = -1;
  if (mount("/dev/null", "/proc/uptime", nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "may not mount here";
  const time_t before = std::time(nullptr);
  login_time();
  umount("/proc/uptime");
  EXPECT_EQ(TermProcessInfo::upTime, -1);
  const int64_t boot = TermProcessInfo::bootTime;
  EXPECT_TRUE(boot > before && boot <= std::time(nullptr) + 1) << boot;
  login_time();
  EXPECT_EQ(TermProcessInfo::bootTime, boot);
}

TEST_F(SessionsTest, EntriesOfOneProcess) {
  const Shells shells(Shells::kOnTerminal, {{"a) b (c", {"-p", "alice"}, {"USER=bob"}}});
  struct stat terminal;
  ASSERT_EQ(stat(shells.tty().c_str(), &terminal), 0);
  clikrell::ProcessStatusEntry_t status;
  clikrell::ProcessStatEntry_t entry;
  clikrell::ProcessUserEntry_t user;
  EXPECT_EQ(SessionIterator::parseStatusEntry(shells.pid(0), status), 0);
  EXPECT_EQ(status.tgid, shells.pid(0));
  EXPECT_EQ(SessionIterator::parseStatEntry(shells.pid(0), entry), 0);
  EXPECT_STREQ(entry.comm, "a) b (c");
  EXPECT_EQ(entry.ttyNr, static_cast<int32_t>(terminal.st_rdev));
  EXPECT_EQ(SessionIterator::parseCmdlineEntry(shells.pid(0), user), 0);
  EXPECT_STREQ(user.user, "alice");
  EXPECT_EQ(SessionIterator::parseEnvEntry(shells.pid(0), user), 0);
  EXPECT_STREQ(user.user, "bob");
  for (const int pid : {-1, 0, 1 << 30}) {
    std::memset(&user, 'x', sizeof(user));
    EXPECT_EQ(SessionIterator::parseStatusEntry(pid, status), -1);
    EXPECT_EQ(SessionIterator::parseStatEntry(pid, entry), -1);
    EXPECT_EQ(SessionIterator::parseCmdlineEntry(pid, user), -1);
    EXPECT_STREQ(user.user, "");
    EXPECT_EQ(SessionIterator::parseEnvEntry(pid, user), -1);
  }
}

TEST_F(SessionsTest, DeviceOfATerminalLine) {
  const Shells shells(Shells::kOnTerminal, {{}});
  const string number = shells.line().substr(std::strlen("pts/"));
  const ScratchDirectory scratch;
  write_file(scratch / "file", "");
  struct stat terminal;
  ASSERT_EQ(stat(shells.tty().c_str(), &terminal), 0);
  const auto pts = static_cast<int32_t>(terminal.st_rdev);
  const auto null = static_cast<int32_t>(makedev(1, 3));
  const struct {
    string line;
    unsigned size;
    int32_t device;
    string path;
  } rows[] = {
      {"null", 32, null, "/dev/null"},
      {"null", 9, -1, ""},  // its path does not fit
      {"null", 0, -1, ""},
      {"/dev/null", 32, null, "/dev/null"},
      {"/dev/null", 6, null, "/dev/"},
      {"/null", 32, null, "/dev//null"},
      {shells.line(), 32, pts, shells.tty()},
      {number, 32, pts, shells.tty()},
      {scratch / "file", 64, 0, scratch / "file"},
      {"no such line", 32, -1, ""},
      {string(300, 'x'), 32, -1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    char path[65];
    std::memset(path, '#', sizeof(path));
    EXPECT_EQ(SessionIterator::ttyToDevNum(row.line.c_str(), path, row.size), row.device);
    if (row.device != -1) {
      EXPECT_STREQ(path, row.path.c_str());
    }
    EXPECT_EQ(path[row.size], '#');
  }
  write_file("/dev/tty" + number, "");
  char path[32];
  EXPECT_EQ(SessionIterator::ttyToDevNum(number.c_str(), path, sizeof(path)), 0);
  EXPECT_EQ(path, "/dev/tty" + number);
  std::filesystem::remove("/dev/tty" + number);
  EXPECT_EQ(SessionIterator::ttyToDevNum(nullptr, path, sizeof(path)), -1);
  EXPECT_EQ(SessionIterator::ttyToDevNum("null", nullptr, 0), -1);
}

}  // namespace
