#include <spawn.h>
#include <sys/wait.h>

#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::ElementsAre;

const std::string kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

class ServiceTest : public AgentFiles {
 protected:
  ServiceTest() { answer(3); }

  /// What the platform's service command ends with.
  static void answer(int status) {
    write_file(kScripts + "skellan_svc", "#!/bin/sh\necho \"$*\" >>/tmp/ran\nexit " + std::to_string(status) + "\n");
    std::filesystem::permissions(kScripts + "skellan_svc", std::filesystem::perms::all);
  }
};

TEST_F(ServiceTest, SwitchesTheFlagAndAsksForARescan) {
  const struct {
    std::string name;
    int32_t (*run)();
    std::string before, after, starting, edited, finished, edit;
  } kRows[] = {
      {"SCI_EnableSnmp", SCI_EnableSnmp, "a\n enabled = False False\n", "a\n enabled = True False\n", "start snmpd",
       "enable", "started", "'/enabled = False/ s/False/True/'"},
      {"SCI_EnableSnmp", SCI_EnableSnmp, "enabled = True\n", "enabled = True\n", "start snmpd", "enable", "started",
       "'/enabled = False/ s/False/True/'"},
      {"SCI_DisableSnmp", SCI_DisableSnmp, "enabled = True\n", "enabled = False\n", "shutdown snmpd", "disable",
       "stopped", "'/enabled = True/ s/True/False/'"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.before);
    write_file(kServiceFile, row.before);
    LogCapture log;
    EXPECT_EQ(row.run(), 0);
    EXPECT_THAT(log.take_lines(), ElementsAre("info " + row.name + "|SNMPD: " + row.starting,
                                              "info " + row.name + "|SNMPD:  File updated for " + row.edited,
                                              "info " + row.name + "|SNMPD: snmpd process " + row.finished));
    EXPECT_EQ(read_file(kServiceFile), row.after);
    EXPECT_EQ(take_commands(), "sed -e " + row.edit + " -i " + kServiceFile + "\nskellan_svc rescan snmp\n");
    EXPECT_EQ(ran(), "rescan snmp\n");
  }
  std::filesystem::remove(kServiceFile);
  EXPECT_EQ(SCI_EnableSnmp(), 0);
}

// Half-way: the state file is a directory by then.
TEST_F(ServiceTest, UserScriptsThatFailStartTheAgentAgain) {
  answer(0);
  const std::string state = "/var/lib/net-snmp";
  for (const std::string script : {"tolm_snmp_create_user authNoPriv ann SHA secret12", "tolm_snmp_delete_user ann"}) {
    std::filesystem::remove_all(state);
    std::filesystem::create_directories(state + "/snmpd.conf");
    EXPECT_NE(std::system((COUPLER_SCRIPTS "/" + script + " 2>/dev/null").c_str()), 0);
    EXPECT_EQ(ran(), "stop snmp\nrescan snmp\n");
    EXPECT_EQ(names_in(state), "snmpd.conf");
    EXPECT_EQ(names_in("/etc/snmp"), "snmpd.conf");
  }
  std::filesystem::remove_all(state);
}

TEST_F(ServiceTest, ANewLocationKillsTheFirstAgentAndNothingElse) {
  if (!is_machine_of_its_own()) GTEST_SKIP() << "needs a process table of its own";
  LogCapture log;
  EXPECT_EQ(SCI_SetSnmpSysLocation("lab"), 0);
  EXPECT_EQ(log.take_lines().back(),
            "critical SCI_SetSnmpSysLocation|\nSCI_SetSnmpSysLocation: SNMPD: sending SIGKILL to pid:0");
  char agent[] = "/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf -Lf /tmp/brantix_snmp_ma_logs udp:161 udp6:161";
  char other[] = "/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf udp:161", time[] = "1000";
  char* const agent_line[] = {agent, time, nullptr};
  char* const other_line[] = {other, time, nullptr};
  pid_t agent_id = 0, other_id = 0;
  ASSERT_EQ(posix_spawn(&other_id, "/usr/bin/sleep", nullptr, nullptr, other_line, environ), 0);
  ASSERT_EQ(posix_spawn(&agent_id, "/usr/bin/sleep", nullptr, nullptr, agent_line, environ), 0);
  EXPECT_EQ(SCI_SetSnmpSysLocation(""), 0);
  EXPECT_EQ(log.take_lines().back(),
            "critical SCI_SetSnmpSysLocation|\nSCI_SetSnmpSysLocation: SNMPD: sending SIGKILL to pid:" +
                std::to_string(agent_id));
  int status = 0;
  EXPECT_EQ(waitpid(agent_id, &status, 0), agent_id);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(waitpid(other_id, &status, WNOHANG), 0);
  kill(other_id, SIGKILL);
  waitpid(other_id, &status, 0);
  EXPECT_EQ(read_file(kConfig), "sysLocation ''\n");
}

}  // namespace
}  // namespace coupler::test
