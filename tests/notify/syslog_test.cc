#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include "brantix/notify.h"
#include "platform/syslog/tolm_syslog.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"

namespace {
std::vector<long> handed_over;
std::string handed_tag;
}  // namespace

// In front of the platform library's own.
int tolm_syslog(long a1, const char* tag, long zero, long a2, long a5, long a6) {
  handed_over = {a1, zero, a2, a5, a6};
  handed_tag = tag;
  return 77;
}

namespace coupler::test {
namespace {

constexpr const char* kScript = "/opt/tolm-mgmt-scripts/syslog_utils.sh";
constexpr const char* kRecord = "/tmp/syslog_arguments";
using Lines = std::vector<std::string>;

/// Puts a script that records its arguments in the place of the appliance's.
class SyslogTest : public testing::Test {
 protected:
  SyslogTest() { install("exit 0"); }

  void install(const std::string& ending) {
    write_file(kScript, "#!/bin/sh\nprintf '<%s>' \"$@\" >" + std::string(kRecord) + "\n" + ending + "\n");
    chmod(kScript, 0755);
    std::filesystem::remove(kRecord);
  }

  std::string recorded() {
    const std::string arguments = read_file(kRecord);
    std::filesystem::remove(kRecord);
    return arguments;
  }

  LogCapture log_;
};

struct Operation {
  std::string name;
  int32_t (*run)();
  std::string arguments;
  std::string entering;
  std::string finished;
};

const Operation kOperations[] = {
    {"SCI_EnableExternalSyslogging", [] { return SCI_EnableExternalSyslogging(1, "10.0.0.5", 3, 7); },
     "<-SyslogSetRemoteDestination><Add><1><10.0.0.5><errors><local7>",
     "entering enable remote destination syslog, hostname: 10.0.0.5, severity level: errors",
     "finished enable remote destination syslog"},
    {"SCI_DisableExternalSyslogging", SCI_DisableExternalSyslogging, "<-SyslogSetRemoteDestination><DeleteAll>",
     "entering disable remote destination syslog", "finished disable remote destination syslog"},
    {"SCI_EnableConsoleSyslogging", [] { return SCI_EnableConsoleSyslogging(2); }, "<-SyslogSetConsoleLevel><critical>",
     "entering enable console syslog, severity level: critical", "finished enable console syslog"},
    {"SCI_DisableConsoleSyslogging", SCI_DisableConsoleSyslogging, "<-SyslogDisableConsoleLevel>",
     "entering disable console syslog", "finished disable console syslog"},
    {"SCI_SetPlatformSyslogging", [] { return SCI_SetPlatformSyslogging(0); },
     "<-SyslogSetPlatformLevelToDorv><emergencies>", "entering set platform syslog, severity level: emergencies",
     "finished set platform syslog"},
    {"SCI_EnableFileSyslogging", [] { return SCI_EnableFileSyslogging(7, "messages 4096"); },
     "<-SyslogSetPlfmLogLevel><debugging><messages><4096>", "entering enable file syslog, severity level: debugging",
     "finished enable file syslog"},
    {"SCI_DisableFileSyslogging", SCI_DisableFileSyslogging, "<-SyslogDisablePlfmLogLevel>",
     "entering disable file syslog", "finished disable file syslog"},
};

TEST_F(SyslogTest, EveryOperationRunsTheScript) {
  for (const Operation& operation : kOperations) {
    EXPECT_EQ(operation.run(), 0);
    EXPECT_EQ(recorded(), operation.arguments);
    const std::string line = "debug " + operation.name + '|' + operation.name + "(): ";
    EXPECT_EQ(log_.take_lines(), (Lines{line + operation.entering, line + operation.finished}));
  }
}

TEST_F(SyslogTest, EverySeverityAndFacility) {
  const char* const severities[] = {"emergencies", "alerts",        "critical",    "errors",
                                    "warnings",    "notifications", "information", "debugging"};
  for (int32_t i = 0; i < 8; ++i) {
    const std::string severity = '<' + std::string(severities[i]) + '>';
    EXPECT_EQ(SCI_EnableExternalSyslogging(i, "h", i, i), 0);
    EXPECT_THAT(recorded(), testing::EndsWith("<h>" + severity + "<local" + std::to_string(i) + ">"));
    EXPECT_EQ(SCI_SetPlatformSyslogging(i), 0);
    EXPECT_THAT(recorded(), testing::EndsWith(severity));
    EXPECT_EQ(SCI_EnableConsoleSyslogging(i), i < 3 ? 0 : -1);
    EXPECT_EQ(recorded(), i < 3 ? "<-SyslogSetConsoleLevel>" + severity : "");
  }
}

TEST_F(SyslogTest, CancelledThreadFinishesItsCalls) {
  int calls = 0;
  std::thread([&calls] {
    pthread_cancel(pthread_self());
    EXPECT_EQ(SCI_DisableFileSyslogging(), 0);
    SCI_SendSyslogMessage(1, 2, 3, 4, 5, 6);
    ++calls;
  }).join();
  EXPECT_EQ(calls, 1);
}

TEST_F(SyslogTest, ScriptThatFails) {
  const struct {
    const char* ending;
    int32_t result;
  } rows[] = {{"exit 2", 2}, {"exit 255", 255}, {"kill -KILL $$", 9}, {"kill -TERM $$", 15}};
  for (const auto& row : rows) {
    install(row.ending);
    for (const Operation& operation : kOperations) {
      EXPECT_EQ(operation.run(), row.result);
      EXPECT_EQ(log_.take_lines().back(),
                "critical " + operation.name + '|' + operation.name +
                    "(): Error in running syslog script, code: " + std::to_string(row.result));
    }
  }
}

// A host that ignores its children gets no status from the shell, just as if none had started.
TEST_F(SyslogTest, NoStatusCountsAsSuccess) {
  std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(SCI_DisableConsoleSyslogging(), 0);
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(log_.take_lines().back(),
            "debug SCI_DisableConsoleSyslogging|SCI_DisableConsoleSyslogging(): finished disable console syslog");
}

TEST_F(SyslogTest, HostNameIsOneArgument) {
  const std::string before = std::string(kScript) + " -SyslogSetRemoteDestination Add -3 ";
  const size_t room = 127 - before.size();
  const struct {
    std::string host, arguments;
  } rows[] = {
      {"a; echo b", "<-3><a; echo b><alerts><local0>"},
      {"$(id)", "<-3><$(id)><alerts><local0>"},
      {"", "<-3><alerts><local0>"},
      {std::string(200, 'h'), "<-3><" + std::string(room, 'h') + ">"},
      {std::string(room - 3, 'h'), "<-3><" + std::string(room - 3, 'h') + "><al>"},
      {std::string(room - 1, 'h') + ";", "<-3><" + std::string(room - 1, 'h') + ">"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SCI_EnableExternalSyslogging(-3, row.host.c_str(), 1, 0), 0);
    EXPECT_EQ(recorded(), "<-SyslogSetRemoteDestination><Add>" + row.arguments);
  }
}

TEST_F(SyslogTest, RefusedBeforeAnythingRuns) {
  std::vector<int32_t (*)()> calls = {
      [] { return SCI_EnableExternalSyslogging(1, "h", -1, 0); },
      [] { return SCI_EnableExternalSyslogging(1, "h", 8, 0); },
      [] { return SCI_EnableExternalSyslogging(1, "h", 0, 8); },
      [] { return SCI_EnableExternalSyslogging(1, "h", 0, -1); },
      [] { return SCI_EnableExternalSyslogging(1, nullptr, 0, 0); },
      [] { return SCI_EnableConsoleSyslogging(INT32_MIN); },
      [] { return SCI_SetPlatformSyslogging(8); },
      [] { return SCI_EnableFileSyslogging(INT32_MAX, "f"); },
      [] { return SCI_EnableFileSyslogging(0, nullptr); },
  };
  for (const auto call : calls) {
    EXPECT_EQ(call(), -1);
    const Lines lines = log_.take_lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].substr(0, 13), "critical SCI_");
  }
  for (const char c : std::string(";|&<>()$`\n")) {
    EXPECT_EQ(SCI_EnableFileSyslogging(0, (std::string("messages") + c + "x").c_str()), -1) << c;
  }
  EXPECT_FALSE(std::filesystem::exists(kRecord));
}

TEST(StatusHelperTest, WaitStatuses) {
  const struct {
    int32_t status, result;
  } rows[] = {{0, 0},      {0x0100, 1}, {0xff00, 255}, {9, 9},      {0x8b, 11},
              {0x137f, 0}, {0x7f, 0},   {-1, 0},       {0xffff, 0}, {0x0109, 9}};
  for (const auto& row : rows) EXPECT_EQ(statusHelper(row.status), row.result) << row.status;
}

TEST(SendSyslogMessageTest, HandsOverInItsOrder) {
  EXPECT_EQ(SCI_SendSyslogMessage(1, 2, 3, 4, 5, -6), 0);
  EXPECT_EQ(handed_over, (std::vector<long>{1, 0, 2, 5, -6}));
  EXPECT_EQ(handed_tag, "VTRC");
}

}  // namespace
}  // namespace coupler::test
