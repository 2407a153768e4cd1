// The syslog operations, with a script that records its arguments.
#include <gmock/gmock.h>

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
    write_script(kScript, "printf '<%s>' \"$@\" >" + std::string(kRecord) + "\n" + ending + "\n");
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
  std::string arguments, what, shown = "";
};
const Operation kOperations[] = {
    {"SCI_EnableExternalSyslogging", [] { return SCI_EnableExternalSyslogging(1, "10.0.0.5", 3, 7); },
     "<-SyslogSetRemoteDestination><Add><1><10.0.0.5><errors><local7>", "enable remote destination syslog",
     ", hostname: 10.0.0.5, severity level: errors"},
    {"SCI_DisableExternalSyslogging", SCI_DisableExternalSyslogging, "<-SyslogSetRemoteDestination><DeleteAll>",
     "disable remote destination syslog"},
    {"SCI_EnableConsoleSyslogging", [] { return SCI_EnableConsoleSyslogging(2); }, "<-SyslogSetConsoleLevel><critical>",
     "enable console syslog", ", severity level: critical"},
    {"SCI_DisableConsoleSyslogging", SCI_DisableConsoleSyslogging, "<-SyslogDisableConsoleLevel>",
     "disable console syslog"},
    {"SCI_SetPlatformSyslogging", [] { return SCI_SetPlatformSyslogging(0); },
     "<-SyslogSetPlatformLevelToDorv><emergencies>", "set platform syslog", ", severity level: emergencies"},
    {"SCI_EnableFileSyslogging", [] { return SCI_EnableFileSyslogging(7, "messages 4096"); },
     "<-SyslogSetPlfmLogLevel><debugging><messages><4096>", "enable file syslog", ", severity level: debugging"},
    {"SCI_DisableFileSyslogging", SCI_DisableFileSyslogging, "<-SyslogDisablePlfmLogLevel>", "disable file syslog"},
};

TEST_F(SyslogTest, EveryOperationRunsTheScriptAndGivesItsStatus) {
  const std::pair<const char*, int32_t> rows[] = {{"exit 0", 0}, {"exit 2", 2}, {"kill -KILL $$", 9}};
  for (const auto& [ending, result] : rows) {
    install(ending);
    for (const Operation& operation : kOperations) {
      EXPECT_EQ(operation.run(), result);
      EXPECT_EQ(recorded(), operation.arguments);
      const std::string start = operation.name + '|' + operation.name + "(): ", debug_start = "debug " + start;
      const std::string failed =
          "critical " + start + "Error in running syslog script, code: " + std::to_string(result);
      EXPECT_EQ(log_.take_lines(), (Lines{debug_start + "entering " + operation.what + operation.shown,
                                          result == 0 ? debug_start + "finished " + operation.what : failed}));
    }
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

TEST_F(SyslogTest, HostNameIsOneArgument) {
  const std::string before = std::string(kScript) + " -SyslogSetRemoteDestination Add -3 ";
  const size_t room = 127 - before.size();
  const std::pair<std::string, std::string> rows[] = {
      {"a; echo b", "<-3><a; echo b><alerts><local0>"},
      {"", "<-3><alerts><local0>"},
      {std::string(room - 3, 'h'), "<-3><" + std::string(room - 3, 'h') + "><al>"},
      {std::string(room - 1, 'h') + ";", "<-3><" + std::string(room - 1, 'h') + ">"},
  };
  for (const auto& [host, arguments] : rows) {
    EXPECT_EQ(SCI_EnableExternalSyslogging(-3, host.c_str(), 1, 0), 0);
    EXPECT_EQ(recorded(), "<-SyslogSetRemoteDestination><Add>" + arguments);
  }
}

TEST_F(SyslogTest, RefusedBeforeAnythingRuns) {
  EXPECT_THAT((std::vector{SCI_EnableExternalSyslogging(1, "h", -1, 0), SCI_EnableExternalSyslogging(1, "h", 8, 0),
                           SCI_EnableExternalSyslogging(1, "h", 0, 8), SCI_EnableExternalSyslogging(1, "h", 0, -1),
                           SCI_EnableConsoleSyslogging(INT32_MIN), SCI_SetPlatformSyslogging(8),
                           SCI_EnableFileSyslogging(INT32_MAX, "f")}),
              testing::Each(-1));
  const Lines lines = log_.take_lines();
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[5], "critical SCI_SetPlatformSyslogging|SCI_SetPlatformSyslogging(): index 8 is not below 8");
  for (const char c : std::string(";|&<>()$`\n")) {
    EXPECT_EQ(SCI_EnableFileSyslogging(0, (std::string("messages") + c + "x").c_str()), -1) << c;
  }
  EXPECT_EQ(
      log_.take_lines().back(),
      "critical SCI_EnableFileSyslogging|SCI_EnableFileSyslogging(): argument could start a command: messages\nx");
  EXPECT_FALSE(std::filesystem::exists(kRecord));
}

TEST(StatusHelperTest, WaitStatuses) {
  const std::pair<int32_t, int32_t> rows[] = {{0, 0},      {0x0100, 1}, {0xff00, 255}, {9, 9},      {0x8b, 11},
                                              {0x137f, 0}, {0x7f, 0},   {-1, 0},       {0xffff, 0}, {0x0109, 9}};
  for (const auto& [status, result] : rows) EXPECT_EQ(statusHelper(status), result) << status;
}

TEST(SendSyslogMessageTest, HandsOverInItsOrder) {
  EXPECT_EQ(SCI_SendSyslogMessage(1, 2, 3, 4, 5, -6), 0);
  EXPECT_EQ(handed_over, (std::vector<long>{1, 0, 2, 5, -6}));
  EXPECT_EQ(handed_tag, "VTRC");
}

}  // namespace
}  // namespace coupler::test
