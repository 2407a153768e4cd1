#include <sys/stat.h>

#include <map>

#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::ElementsAre;
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
  chmod(kConfig.c_str(), 0600);
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpCommunity("public"), 0);
  EXPECT_EQ(read_file(kConfig), piece + piece.substr(0, 7) + "tail\n" + binary.substr(15) + "rocommunity other");
  EXPECT_THAT(log.take_lines(),
              ElementsAre("debug SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed to snmpd.conf"));
  struct stat status;
  stat(kConfig.c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
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

// What goes wrong is one column; what the operation then says the other.
enum class Fault { kNoConfig, kNewIsDirectory, kDiskFull, kConfigPinned, kNewPinned, kNewPinnedNoMatch, kNoMatch };

class FaultTest : public AgentFiles {
 protected:
  /// @return what the operation logs; nothing where no mounts are to be had
  std::vector<std::string> run(Fault fault, int (*operation)(), int expected) {
    std::filesystem::remove_all(kNewConfig);
    std::unique_ptr<Mount> mount;
    const bool match = fault != Fault::kNoMatch && fault != Fault::kNewPinnedNoMatch;
    const bool new_pinned = fault == Fault::kNewPinned || fault == Fault::kNewPinnedNoMatch;
    if (fault == Fault::kDiskFull) mount = Mount::small_disk("/etc/snmp");
    const std::string before = std::string(match ? "trapsink KEY sysContact\n" : "") + std::string(4000, '.') + "\n";
    write_file(kConfig, before);
    if (fault == Fault::kNoConfig) std::filesystem::remove(kConfig);
    if (fault == Fault::kNewIsDirectory) std::filesystem::create_directory(kNewConfig);
    if (fault == Fault::kConfigPinned) mount = Mount::pin(kConfig);
    if (new_pinned) {
      write_file(kNewConfig, "");
      mount = Mount::pin(kNewConfig);
    }
    if (!mount && (new_pinned || fault == Fault::kDiskFull || fault == Fault::kConfigPinned)) return {};
    LogCapture log;
    EXPECT_EQ(operation(), expected);
    const bool untouched = fault != Fault::kNoConfig && fault != Fault::kNewPinned;
    EXPECT_EQ(read_file(kConfig), untouched ? before : "");
    const bool new_gone = fault == Fault::kNoConfig || fault == Fault::kDiskFull || fault == Fault::kNoMatch;
    EXPECT_EQ(std::filesystem::exists(kNewConfig), !new_gone);
    return log.take_lines();
  }
};

TEST_F(FaultTest, EveryStepThatFailsHasItsLine) {
  const std::string full = "\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: No space left on device";
  const struct {
    const char* name;
    int (*run)();
    int failure;
    std::map<Fault, std::string> last;
  } kOperations[] = {
      {"SCI_DeleteSnmpHostV3",
       [] { return SCI_DeleteSnmpHostV3("KEY"); },
       1,
       {{Fault::kNoConfig, "debug SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf fopen() Error!!!\n"},
        {Fault::kNewIsDirectory, "debug SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf.new fopen failed"},
        {Fault::kDiskFull, "critical " + full},
        {Fault::kConfigPinned, "debug SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf remove failed\n"},
        {Fault::kNewPinned, "debug SCI_DeleteSnmpHostV3:file snmpd.conf.new renamed failed\n"},
        {Fault::kNewPinnedNoMatch, "debug SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf.new remove failed\n"},
        {Fault::kNoMatch, "debug SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n"}}},
      {"SCI_DeleteSnmpCommunity",
       [] { return SCI_DeleteSnmpCommunity("KEY"); },
       -1,
       {{Fault::kNoConfig, "critical \nSNMPD_CONF_FILE fopen() Error!!!"},
        {Fault::kNewIsDirectory, "critical \n/etc/snmp/snmpd.conf.new fopen failed"},
        {Fault::kDiskFull, "critical " + full},
        {Fault::kConfigPinned, "critical \nFile SNMPD_CONF_FILE remove failed"},
        {Fault::kNewPinned, "critical \n file snmpd.conf.new renamed failed"},
        {Fault::kNewPinnedNoMatch, "critical \nFile SNMPD_CONF_FILE.new remove failed"},
        {Fault::kNoMatch, "debug \nFile SNMPD_CONF_FILE.new  deleted"}}},
      {"GetAndDeleteSnmpSysConOrLoc",
       [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); },
       -1,
       {{Fault::kNoConfig, "critical \nSNMPD_CONF_FILE fopen failed"},
        {Fault::kNewIsDirectory, "critical \nSNMPD_CONF_FILE.new fopen failed"},
        {Fault::kDiskFull, "critical " + full},
        {Fault::kConfigPinned, "critical \nFile SNMPD_CONF_FILE remove failed"},
        {Fault::kNewPinned, "critical \n file snmpd.conf.new renamed failed"},
        {Fault::kNewPinnedNoMatch, "critical \nFile SNMPD_CONF_FILE.new remove failed"},
        {Fault::kNoMatch, "debug \nnot find a match to delete sysContact"}}},
  };
  for (const auto& operation : kOperations) {
    for (const auto& [fault, line] : operation.last) {
      SCOPED_TRACE(line);
      const bool fails = fault != Fault::kNewPinnedNoMatch && fault != Fault::kNoMatch;
      const std::vector<std::string> lines = run(fault, operation.run, fails ? operation.failure : 0);
      if (lines.empty()) GTEST_SKIP() << "no mounts are to be had here";
      const size_t level = line.find(' ') + 1;
      EXPECT_EQ(lines.back(), line.substr(0, level) + operation.name + "|" + line.substr(level));
    }
  }
}

// What does not fit is taken back, so that no half line is left for the agent.
TEST_F(FaultTest, AFullDiskLeavesNoHalfLine) {
  const std::unique_ptr<Mount> disk = Mount::small_disk("/etc/snmp");
  if (!disk) GTEST_SKIP() << "no mounts are to be had here";
  const std::string before = std::string(4080, '.') + "\n";
  write_file(kConfig, before);
  LogCapture log;
  EXPECT_EQ(SCI_ConfigureSnmp("public"), -1);
  EXPECT_THAT(log.take_lines(),
              ElementsAre("critical SCI_ConfigureSnmp|\n/etc/snmp/snmpd.conf not written: No space left on device"));
  EXPECT_EQ(read_file(kConfig), before);
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
