#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <thread>

#include "support/handle.h"
#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using ConfigTest = AgentFiles;

TEST_F(ConfigTest, CommunitiesAreAppendedAndRead) {
  std::filesystem::remove(kConfig);
  EXPECT_EQ(SCI_ConfigureSnmp("public"), 0);
  EXPECT_EQ(SCI_ConfigureSnmp("$(id) 'a'"), 0);
  EXPECT_EQ(read_file(kConfig),
            "rocommunity  public\nrocommunity6  public\nrocommunity  $(id) 'a'\nrocommunity6  $(id) 'a'\n");
  EXPECT_EQ(communities(), "public\n public\n $(id) $(id)");
  const std::string long_name(60, 'n');
  write_file(kConfig, "rocommunity\nsysName x\n#  rocommunity one\n  rocommunity6   two default\nrocommunity\ttab a\n" +
                          ("rocommunity " + long_name) + "\nx" + std::string(499, ' ') + "rocommunityrocommunity z");
  EXPECT_EQ(communities(), " rocommunity two a\n " + long_name.substr(0, 40) + " rocommunity z");
  write_file(kConfig, "rocommunity one");
  EXPECT_EQ(communities(), "one");
  write_file(kConfig, "nothing\n");
  EXPECT_EQ(communities(), "none");
}

// Pieces of 511 characters are judged one by one, wherever they lie in what is read at once.
TEST_F(ConfigTest, DeletesLinesThatHoldTheCommunity) {
  const std::string piece = std::string(510, '-') + '+', many = std::string(40000, '-') + '\n';
  const std::string binary("bin\0ary public\nbin\0ary\n", 23);
  write_file(kConfig, "rocommunity public\n#public\nsysLocation in public\n\n" + piece + "public " + piece + "tail\n" +
                          piece.substr(3) + "public\n" + binary + many + "in public\n" + many + "rocommunity other");
  EXPECT_EQ(did(SCI_DeleteSnmpCommunity("public")),
            "0\ndebug SCI_DeleteSnmpCommunity|\\n file snmpd.conf.new renamed to snmpd.conf\n");
  EXPECT_EQ(read_file(kConfig), "\n" + piece + piece.substr(504) + "tail\n" + piece.substr(3) + "public\n" +
                                    binary.substr(15) + many + many + "rocommunity other");
  EXPECT_EQ(SCI_DeleteSnmpCommunity(""), 0);
  EXPECT_EQ(read_file(kConfig), "");
}

TEST_F(ConfigTest, ContactReplacesEveryLineButComments) {
  write_file(kConfig, "sysContact a\n #sysContact b\n#sysContact c\nmy sysContact d\nsysLocation here\n");
  EXPECT_EQ(did(SCI_SetSnmpSysContact("me; you")), "0\n");
  EXPECT_EQ(read_file(kConfig), "#sysContact c\nsysLocation here\nsysContact me; you\n");
  EXPECT_EQ(SCI_SetSnmpSysContact(""), 0);
  EXPECT_EQ(read_file(kConfig), "#sysContact c\nsysLocation here\nsysContact ''\n");
}

// A link at the new file's name leads nowhere.
TEST_F(ConfigTest, TheNewFileIsTheOldOnesHeir) {
  write_file("/tmp/victim", "whole");
  std::filesystem::create_symlink("/tmp/victim", kNewConfig);
  write_file(kConfig, "a\nc\nrocommunity b");
  chmod(kConfig.c_str(), 0646);
  EXPECT_EQ(SCI_DeleteSnmpCommunity("b"), 0);
  EXPECT_EQ(read_file(kConfig), "a\nc\n");
  EXPECT_EQ(std::filesystem::symlink_status(kConfig).permissions(), std::filesystem::perms(0646));
  EXPECT_EQ(read_file("/tmp/victim"), "whole");
}

// What does not fit is taken back, so that no half line is left for the agent, and no signal ends the host.
TEST_F(ConfigTest, AChangeIsWholeOrNotThere) {
  write_file(kConfig, "first\n");
  rlimit before, limit;
  getrlimit(RLIMIT_FSIZE, &before);
  limit = {20, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(did(SCI_ConfigureSnmp("public")),
            "-1\ncritical SCI_ConfigureSnmp|\\n/etc/snmp/snmpd.conf not written: File too large\n");
  limit.rlim_cur = 4;
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(SCI_DeleteSnmpCommunity("none"), -1);
  EXPECT_EQ(read_file(kConfig), "first\n");
  setrlimit(RLIMIT_FSIZE, &before);
}

// In three processes of two threads each.
TEST_F(ConfigTest, ChangesAtOnceLoseNoLine) {
  const auto work = [](const std::string& name) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(SCI_ConfigureSnmp(("stays-" + name + std::to_string(i) + ".").c_str()), 0);
      EXPECT_EQ(SCI_ConfigureSnmp(("goes-" + name + ".").c_str()), 0);
      EXPECT_EQ(SCI_DeleteSnmpCommunity(("goes-" + name + ".").c_str()), 0);
      EXPECT_EQ(SCI_SetSnmpSysContact(name.c_str()), 0);
    }
    const Pipe script(popen((COUPLER_SCRIPTS "/tolm_snmp_create_traphost 'trapsink " + name + "' x").c_str(), "re"));
  };
  for (const std::string process : {"0", "1", "2"}) {
    if (fork() != 0) continue;
    std::thread other(work, process + "b");
    work(process + "a");
    other.join();
    _exit(HasFailure());
  }
  for (int status = 0; wait(&status) > 0;) EXPECT_EQ(status, 0);
  const std::string config = read_file(kConfig);
  EXPECT_EQ(std::count(config.begin(), config.end(), '\n'), 3 * 2 * (20 * 2 + 1) + 1) << config;
}

// Who holds the file for ever is waited for a few seconds.
TEST_F(ConfigTest, AHeldLockIsNotWaitedForForEver) {
  const Descriptor other = open_at_once("/etc/snmp", O_RDONLY);
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(did(SCI_ConfigureSnmp("public")),
            "-1\ncritical SCI_ConfigureSnmp|\\n/etc/snmp not locked: Resource temporarily unavailable\n");
}

TEST_F(ConfigTest, RefusesWhatIsNotThere) {
  std::filesystem::remove(kConfig);
  EXPECT_EQ(did(SCI_SetSnmpSysContact("x") + SCI_SetSnmpSysLocation("x") + SCI_GetSnmpCommunity(nullptr, nullptr)),
            R"(-3
critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed
critical SCI_SetSnmpSysContact|\nSysContact set failed
critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed
critical SCI_SetSnmpSysLocation|\nsysLocation set failed
critical SCI_GetSnmpCommunity|\nSNMPD_CONF_FILE fopen() Error!!!
)");
  std::filesystem::create_directory(kConfig);
  EXPECT_EQ(did(SCI_ConfigureSnmp("x") + SCI_DeleteSnmpCommunity("x")), R"(-2
critical SCI_ConfigureSnmp|\nSNMPD_CONF_FILE fopen() Error!!!
critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: Is a directory
)");
}

const std::string kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

// Whatever the commands end with.
TEST_F(ConfigTest, SwitchesTheFlagAndAsksForARescan) {
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
TEST_F(ConfigTest, UserScriptsThatFailStartTheAgentAgain) {
  const std::string state = "/var/lib/net-snmp", asked = "/tmp/asked";
  write_script(kScripts + "skellan_svc", "echo \"$*\" >>" + asked + "\n");
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
