#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

const std::string kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

using ServiceTest = AgentFiles;

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
  forced_status = -1;
  EXPECT_EQ(SCI_EnableSnmp() + SCI_DisableSnmp(), 0);
}

// Half-way: the state file is a directory by then.
TEST_F(ServiceTest, UserScriptsThatFailStartTheAgentAgain) {
  const std::string state = "/var/lib/net-snmp", asked = "/tmp/asked";
  write_script("skellan_svc", "echo \"$*\" >>" + asked + "\n");
  for (const std::string script : {"tolm_snmp_create_user authNoPriv ann SHA secret12", "tolm_snmp_delete_user ann"}) {
    std::filesystem::remove(asked);
    std::filesystem::remove_all(state);
    std::filesystem::create_directories(kState);
    EXPECT_NE(std::system((COUPLER_SCRIPTS "/" + script + " 2>/dev/null").c_str()), 0);
    EXPECT_EQ(read_file(asked), "stop snmp\nrescan snmp\n");
    EXPECT_EQ(names_in(state) + " " + names_in("/etc/snmp"), "snmpd.conf snmpd.conf");
  }
  std::filesystem::remove_all(state);
}

}  // namespace
}  // namespace coupler::test
