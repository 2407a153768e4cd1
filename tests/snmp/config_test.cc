#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <functional>
#include <map>
#include <thread>

#include "support/handle.h"
#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using ConfigTest = AgentFiles;

std::vector<std::string> communities() {
  SCI_snmp_community_s found[8] = {};
  unsigned count = 0;
  EXPECT_EQ(SCI_GetSnmpCommunity(found, &count), 0);
  std::vector<std::string> names;
  for (unsigned i = 0; i < count; ++i) {
    names.emplace_back(found[i].community);
    EXPECT_EQ(std::string(found[i].reserved, sizeof(found[i].reserved)).find_first_not_of('\0'), std::string::npos);
  }
  return names;
}

TEST_F(ConfigTest, CommunitiesAreAppendedAndRead) {
  std::filesystem::remove(kConfig);
  EXPECT_EQ(SCI_ConfigureSnmp("public"), 0);
  EXPECT_EQ(SCI_ConfigureSnmp("$(id) 'a'"), 0);
  EXPECT_EQ(read_file(kConfig),
            "rocommunity  public\nrocommunity6  public\nrocommunity  $(id) 'a'\nrocommunity6  $(id) 'a'\n");
  EXPECT_THAT(communities(), ElementsAre("public\n", "public\n", "$(id)", "$(id)"));
}

TEST_F(ConfigTest, SecondWordsOfCommunityLines) {
  const std::string long_name(60, 'n');
  write_file(kConfig, "rocommunity\nsysName x\n#  rocommunity one\n  rocommunity6   two default\nrocommunity\ttab a\n" +
                          ("rocommunity " + long_name) + "\nx rocommunity" + std::string(510, ' ') + "rocommunity z");
  EXPECT_THAT(communities(), ElementsAre("", "rocommunity", "two", "a\n", long_name.substr(0, 40), "rocommunity", "z"));
  write_file(kConfig, "nothing\n");
  unsigned count = 77;
  EXPECT_EQ(SCI_GetSnmpCommunity(nullptr, &count), 0);
  EXPECT_EQ(count, 77u);
}

TEST_F(ConfigTest, DeletesLinesThatHoldTheCommunity) {
  const std::string piece(511, '-');
  const std::string binary("bin\0ary public\nbin\0ary\n", 23);
  write_file(kConfig, "rocommunity public\n#public\nsysLocation in public\n" + (piece + "public " + piece + "tail\n") +
                          binary + "rocommunity other");
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpCommunity("public"), 0);
  EXPECT_EQ(read_file(kConfig), piece + piece.substr(0, 7) + "tail\n" + binary.substr(15) + "rocommunity other");
  EXPECT_THAT(log.take_lines(),
              ElementsAre("debug SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed to snmpd.conf"));
}

TEST_F(ConfigTest, ContactReplacesEveryLineButComments) {
  write_file(kConfig, "sysContact a\n #sysContact b\n#sysContact c\nmy sysContact d\nsysLocation here\n");
  EXPECT_EQ(SCI_SetSnmpSysContact("me; you"), 0);
  EXPECT_EQ(read_file(kConfig), "#sysContact c\nsysLocation here\nsysContact me; you\n");
  EXPECT_EQ(SCI_SetSnmpSysContact(""), 0);
  EXPECT_EQ(read_file(kConfig), "#sysContact c\nsysLocation here\nsysContact ''\n");
  LogCapture log;
  EXPECT_EQ(GetAndDeleteSnmpSysConOrLoc("sysName"), 0);
  EXPECT_THAT(log.take_lines(), ElementsAre("debug GetAndDeleteSnmpSysConOrLoc|\nnot find a match to delete sysName"));
  EXPECT_EQ(take_commands(), "");
}

/// A part of the disk is all the process may have.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t size) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  SizeLimit(const SizeLimit&) = delete;

 private:
  rlimit before_{};
};

// What goes wrong is a column, and so is what each operation then says.
TEST_F(ConfigTest, EveryStepThatFailsHasItsLine) {
  enum Left { kOld, kNew, kNothing };
  const std::string copied = "critical \n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: ";
  const std::string eio = "Input/output error", unlink_old = "unlink " + kConfig, unlink_new = "unlink " + kNewConfig;
  const std::string locked = "critical \n/etc/snmp not locked: " + eio;
  const struct {
    const char* fault;
    std::map<std::string, int> failing;
    bool match;
    Left config;
    bool new_stays;
    std::string host, community, contact;  // the last line of each operation
  } kRows[] = {
      {"no configuration",
       {},
       true,
       kNothing,
       false,
       "debug SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf fopen() Error!!!\n",
       "critical \nSNMPD_CONF_FILE fopen() Error!!!",
       "critical \nSNMPD_CONF_FILE fopen failed"},
      {"not locked", {{"flock", 1}}, true, kOld, false, locked, locked, locked},
      {"a directory",
       {},
       true,
       kOld,
       true,
       "debug SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf.new fopen failed",
       "critical \n/etc/snmp/snmpd.conf.new fopen failed",
       "critical \nSNMPD_CONF_FILE.new fopen failed"},
      {"too large",
       {},
       true,
       kOld,
       false,
       copied + "File too large",
       copied + "File too large",
       copied + "File too large"},
      {"not owned", {{"fchown", 1}}, true, kOld, false, copied + eio, copied + eio, copied + eio},
      {"not synced", {{"fsync", 1}}, true, kOld, false, copied + eio, copied + eio, copied + eio},
      {"not removed",
       {{"rename", 1}, {unlink_old, 1}},
       true,
       kOld,
       true,
       "debug SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf remove failed\n",
       "critical \nFile SNMPD_CONF_FILE remove failed",
       "critical \nFile SNMPD_CONF_FILE remove failed"},
      {"not renamed",
       {{"rename", 2}},
       true,
       kNothing,
       true,
       "debug SCI_DeleteSnmpHostV3:file snmpd.conf.new renamed failed\n",
       "critical \n file snmpd.conf.new renamed failed",
       "critical \n file snmpd.conf.new renamed failed"},
      {"renamed in two steps",
       {{"rename", 1}},
       true,
       kNew,
       false,
       "debug SCI_DeleteSnmpHostV3: file snmpd.conf.new renamed to snmpd.conf\n",
       "debug \n file snmpd.conf.new renamed to snmpd.conf",
       ""},
      {"no match",
       {{"fsync", 1}},
       false,
       kOld,
       false,
       "debug SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n",
       "debug \nFile SNMPD_CONF_FILE.new  deleted",
       "debug \nnot find a match to delete sysContact"},
      {"no match, not removed",
       {{unlink_new, 2}},
       false,
       kOld,
       true,
       "debug SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf.new remove failed\n",
       "critical \nFile SNMPD_CONF_FILE.new remove failed",
       "critical \nFile SNMPD_CONF_FILE.new remove failed"},
  };
  const std::string rest = std::string(4000, '.') + "\n";
  for (const auto& row : kRows) {
    const struct {
      const char* name;
      int status;
      int (*run)();
      std::string line;
    } kOperations[] = {
        {"SCI_DeleteSnmpHostV3", 1, [] { return SCI_DeleteSnmpHostV3("KEY"); }, row.host},
        {"SCI_DeleteSnmpCommunity", -1, [] { return SCI_DeleteSnmpCommunity("KEY"); }, row.community},
        {"GetAndDeleteSnmpSysConOrLoc", -1, [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }, row.contact},
    };
    for (const auto& [name, status, run, line] : kOperations) {
      SCOPED_TRACE(std::string(name) + ": " + row.fault);
      const std::string before = (row.match ? "trapsink KEY sysContact\n" : "") + rest;
      std::filesystem::remove_all(kNewConfig);
      write_file(kConfig, before);
      if (row.config == kNothing && row.failing.empty()) std::filesystem::remove(kConfig);
      if (row.fault == std::string("a directory")) std::filesystem::create_directory(kNewConfig);
      const SizeLimit limit(row.fault == std::string("too large") ? 4000 : 1 << 20);
      failing = row.failing;
      LogCapture log;
      EXPECT_EQ(run(), row.match && row.config != kNew ? status : 0);
      failing.clear();
      EXPECT_EQ(read_file(kConfig), row.config == kOld ? before : row.config == kNew ? rest : "");
      EXPECT_EQ(std::filesystem::exists(kNewConfig), row.new_stays);
      const size_t level = line.find(' ') + 1;
      const std::vector<std::string> lines = log.take_lines();
      const std::string last = lines.empty() ? "" : lines.back();
      EXPECT_EQ(last, line.empty() ? "" : line.substr(0, level) + name + "|" + line.substr(level));
    }
  }
}

// Whatever lies at the new file's name; a link there leads nowhere.
TEST_F(ConfigTest, TheNewFileIsTheOldOnesHeir) {
  const mode_t mask = umask(0077);
  for (const char* left_over : {"nothing", "file", "link"}) {
    SCOPED_TRACE(left_over);
    write_file("/tmp/victim", "whole");
    if (left_over == std::string("file")) write_file(kNewConfig, std::string(100, 'x'));
    if (left_over == std::string("link")) std::filesystem::create_symlink("/tmp/victim", kNewConfig);
    write_file(kConfig, "a\nrocommunity b\nc");
    chmod(kConfig.c_str(), 0646);
    EXPECT_EQ(SCI_DeleteSnmpCommunity("b"), 0);
    EXPECT_EQ(read_file(kConfig), "a\nc");
    struct stat status;
    lstat(kConfig.c_str(), &status);
    EXPECT_EQ(status.st_mode, mode_t(S_IFREG | 0646));
    EXPECT_EQ(read_file("/tmp/victim"), "whole");
    EXPECT_FALSE(std::filesystem::exists(kNewConfig));
  }
  umask(mask);
}

// What does not fit is taken back, so that no half line is left for the agent, and no signal ends the host.
TEST_F(ConfigTest, AnAdditionIsWholeOrNotThere) {
  write_file(kConfig, "first\n");
  const SizeLimit limit(20);
  LogCapture log;
  EXPECT_EQ(SCI_ConfigureSnmp("public"), -1);
  EXPECT_THAT(log.take_lines(),
              ElementsAre("critical SCI_ConfigureSnmp|\n/etc/snmp/snmpd.conf not written: File too large"));
  failing["flock"] = 1;
  EXPECT_EQ(SCI_ConfigureSnmp(""), -1);
  EXPECT_THAT(log.take_lines(), ElementsAre("critical SCI_ConfigureSnmp|\n/etc/snmp not locked: Input/output error"));
  EXPECT_EQ(read_file(kConfig), "first\n");
}

/// Runs `work` in processes of two threads each, and waits for them.
void at_once(int processes, const std::function<void(std::string name)>& work) {
  for (int i = 0; i < processes; ++i) {
    if (fork() != 0) continue;
    std::thread other(work, std::to_string(i) + "b");
    work(std::to_string(i) + "a");
    other.join();
    _exit(testing::Test::HasFailure());
  }
  for (int status = 0; processes > 0; --processes) {
    wait(&status);
    EXPECT_EQ(status, 0);
  }
}

TEST_F(ConfigTest, ChangesAtOnceLoseNoLine) {
  at_once(3, [](const std::string& name) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(SCI_ConfigureSnmp(("stays-" + name + std::to_string(i) + ".").c_str()), 0);
      EXPECT_EQ(SCI_ConfigureSnmp(("goes-" + name + ".").c_str()), 0);
      EXPECT_EQ(SCI_DeleteSnmpCommunity(("goes-" + name + ".").c_str()), 0);
      EXPECT_EQ(SCI_SetSnmpSysContact(name.c_str()), 0);
    }
    const Pipe script(popen((COUPLER_SCRIPTS "/tolm_snmp_create_traphost 'trapsink " + name + "' x").c_str(), "re"));
  });
  const std::string config = read_file(kConfig);
  for (const std::string name : {"0a", "0b", "1a", "1b", "2a", "2b"}) {
    for (int i = 0; i < 20; ++i)
      EXPECT_THAT(config, testing::HasSubstr("6  stays-" + name + std::to_string(i) + ".\n"));
  }
  EXPECT_EQ(std::count(config.begin(), config.end(), '\n'), 3 * 2 * (20 * 2 + 1) + 1) << config;
}

// Who holds the file for ever is waited for a few seconds.
TEST_F(ConfigTest, AHeldLockIsNotWaitedForForEver) {
  const Descriptor other = open_at_once("/etc/snmp", O_RDONLY);
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  LogCapture log;
  EXPECT_EQ(SCI_ConfigureSnmp("public"), -1);
  EXPECT_THAT(log.take_lines(), ElementsAre("critical SCI_ConfigureSnmp|\n/etc/snmp not locked: Resource temporarily "
                                            "unavailable"));
}

TEST_F(ConfigTest, RefusesWhatIsNotThere) {
  const struct {
    std::string operation;
    int (*run)();
  } kRows[] = {
      {"SCI_ConfigureSnmp", [] { return SCI_ConfigureSnmp(nullptr); }},
      {"SCI_DeleteSnmpCommunity", [] { return SCI_DeleteSnmpCommunity(nullptr); }},
      {"GetAndDeleteSnmpSysConOrLoc", [] { return GetAndDeleteSnmpSysConOrLoc(nullptr); }},
      {"SCI_SetSnmpSysContact", [] { return SCI_SetSnmpSysContact(nullptr); }},
      {"SCI_SetSnmpSysLocation", [] { return SCI_SetSnmpSysLocation(nullptr); }},
  };
  for (const auto& row : kRows) {
    LogCapture log;
    EXPECT_EQ(row.run(), -1);
    EXPECT_EQ(log.take_lines().at(0).find("critical " + row.operation + "|"), 0u);
  }
  std::filesystem::remove(kConfig);
  LogCapture log;
  EXPECT_EQ(SCI_SetSnmpSysContact("x"), -1);
  EXPECT_EQ(SCI_SetSnmpSysLocation("x"), -1);
  EXPECT_EQ(SCI_GetSnmpCommunity(nullptr, nullptr), -1);
  EXPECT_THAT(log.take_lines(), ElementsAre("critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed",
                                            "critical SCI_SetSnmpSysContact|\nSysContact set failed",
                                            "critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed",
                                            "critical SCI_SetSnmpSysLocation|\nsysLocation set failed",
                                            "critical SCI_GetSnmpCommunity|\nSNMPD_CONF_FILE fopen() Error!!!"));
  std::filesystem::create_directory(kConfig);
  EXPECT_EQ(SCI_ConfigureSnmp("x"), -1);
  EXPECT_EQ(SCI_DeleteSnmpCommunity("x"), -1);
  EXPECT_THAT(log.take_lines(), ElementsAre("critical SCI_ConfigureSnmp|\nSNMPD_CONF_FILE fopen() Error!!!",
                                            "critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to "
                                            "/etc/snmp/snmpd.conf.new: Is a directory"));
}

}  // namespace
}  // namespace coupler::test
