#include <spawn.h>
#include <sys/wait.h>

#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

const std::string kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

class ServiceTest : public AgentFiles {
 protected:
  ServiceTest() { write_script("skellan_svc", "echo \"$*\" >>/tmp/ran\n"); }
};

// Whatever the commands end with.
TEST_F(ServiceTest, SwitchesTheFlagAndAsksForARescan) {
  write_file(kServiceFile, "a\n enabled = False False\n");
  EXPECT_EQ(did(SCI_EnableSnmp()), R"(0
info SCI_EnableSnmp|SNMPD: start snmpd
info SCI_EnableSnmp|SNMPD:  File updated for enable
info SCI_EnableSnmp|SNMPD: snmpd process started
sed -e '/enabled = False/ s/False/True/' -i /opt/quorva/tolmos_skellan/etc/snmp.conf
skellan_svc rescan snmp
)");
  EXPECT_EQ(read_file(kServiceFile), "a\n enabled = True False\n");
  EXPECT_EQ(did(SCI_DisableSnmp()), R"(0
info SCI_DisableSnmp|SNMPD: shutdown snmpd
info SCI_DisableSnmp|SNMPD:  File updated for disable
info SCI_DisableSnmp|SNMPD: snmpd process stopped
sed -e '/enabled = True/ s/True/False/' -i /opt/quorva/tolmos_skellan/etc/snmp.conf
skellan_svc rescan snmp
)");
  EXPECT_EQ(read_file(kServiceFile), "a\n enabled = False False\n");
  EXPECT_EQ(ran(), "rescan snmp\nrescan snmp\n");
  forced_status = -1;
  EXPECT_EQ(SCI_EnableSnmp() + SCI_DisableSnmp(), 0);
}

// Half-way: the state file is a directory by then.
TEST_F(ServiceTest, UserScriptsThatFailStartTheAgentAgain) {
  const std::string state = "/var/lib/net-snmp";
  for (const std::string script : {"tolm_snmp_create_user authNoPriv ann SHA secret12", "tolm_snmp_delete_user ann"}) {
    std::filesystem::remove_all(state);
    std::filesystem::create_directories(kState);
    EXPECT_NE(std::system((COUPLER_SCRIPTS "/" + script + " 2>/dev/null").c_str()), 0);
    EXPECT_EQ(ran(), "stop snmp\nrescan snmp\n");
    EXPECT_EQ(names_in(state) + " " + names_in("/etc/snmp"), "snmpd.conf snmpd.conf");
  }
  std::filesystem::remove_all(state);
}

/// A process that the process table shows with `line` as its first argument.
pid_t start(std::string line) {
  char time[] = "1000";
  char* const arguments[] = {line.data(), time, nullptr};
  pid_t id = 0;
  EXPECT_EQ(posix_spawn(&id, "/usr/bin/sleep", nullptr, nullptr, arguments, environ), 0);
  return id;
}

// The first of several, and nothing else.
TEST_F(ServiceTest, ANewLocationKillsTheAgent) {
  if (!is_machine_of_its_own()) GTEST_SKIP() << "needs a process table of its own";
  const std::string killed =
      "critical SCI_SetSnmpSysLocation|\\nSCI_SetSnmpSysLocation: SNMPD: sending SIGKILL to pid:";
  EXPECT_EQ(last_line(SCI_SetSnmpSysLocation("lab")), killed + "0\n");
  const std::string line = "/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf ",
                    rest = "-Lf /tmp/brantix_snmp_ma_logs udp:161 udp6:161";
  const pid_t other = start(line + "udp:161"), agent = start(line + rest), second = start(line + rest);
  EXPECT_EQ(last_line(SCI_SetSnmpSysLocation("")), killed + std::to_string(agent) + "\n");
  int status = 0;
  EXPECT_EQ(waitpid(agent, &status, 0), agent);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  for (const pid_t left : {other, second}) {
    EXPECT_EQ(waitpid(left, &status, WNOHANG), 0);
    kill(left, SIGKILL);
    waitpid(left, &status, 0);
  }
  EXPECT_EQ(read_file(kConfig), "sysLocation ''\n");
}

}  // namespace
}  // namespace coupler::test
