#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

const std::string kCreate = kScripts + "tolm_snmp_create_traphost ";
const std::string kExtract = "grep 'oldEngineID' /var/lib/net-snmp/snmpd.conf | cut -d ' ' -f 2 > /tmp/SNMP_EngineId\n";

class DestinationsTest : public AgentFiles {
 protected:
  DestinationsTest() {
    write_file("/var/lib/net-snmp/snmpd.conf", "engineBoots 1\noldEngineID 0x8001\n");
    set_user(user("ann", "annspass", "annspriv", 0, 3));
    set_user(user("bob", "bobspass", "bobspriv", 1, 0));
    set_user(user("eve", "evespass", "evespriv", 3, 3));
    take_commands();
    ran();
  }
};

TEST_F(DestinationsTest, EveryCombinationHasItsDirective) {
  const struct {
    int version, level, notify;
    const char* user;
    std::string directive;
    bool with_engine = false;
  } kRows[] = {
      {1, 0, 1, "public", "\"trapsink 10.0.0.1:162 public\""},
      {1, 3, 7, "public", "\"trapsink 10.0.0.1:162 public\""},
      {2, 0, 1, "public", "\"trap2sink 10.0.0.1:162 public\""},
      {2, 9, 2, "public", "\"informsink 10.0.0.1:162 public\""},
      {2, 0, 3, "public", ""},
      {3, 2, 1, "ann", "\"trapsess -r 0 -v 3 -u ann -l noAuthNoPriv 10.0.0.1:162\""},
      {3, 2, 2, "ann", "\"trapsess -r 0 -Ci -v 3 -u ann -l noAuthNoPriv 10.0.0.1:162\""},
      {3, 1, 1, "ann", "\"trapsess -r 0 -v 3 -e 0x8001 -u ann -l authNoPriv -a SHA -A annspass 10.0.0.1:162\"", true},
      {3, 1, 2, "bob", "\"trapsess -r 0 -Ci -v 3 -e 0x8001 -u bob -l authNoPriv -a MD5 -A bobspass 10.0.0.1:162\"",
       true},
      {3, 3, 1, "eve",
       "\"trapsess -r 0 -v 3 -e 0x8001 -u eve -l authPriv -a SHA-256 -A evespass -x AES -X evespriv 10.0.0.1:162\"",
       true},
      {3, 3, 2, "bob",
       "\"trapsess -r 0 -Ci -v 3 -e 0x8001 -u bob -l authPriv -a MD5 -A bobspass -x NOPROTO -X bobspriv "
       "10.0.0.1:162\"",
       true},
      {3, 3, 3, "ann", "", true},
      {3, 0, 1, "ann", ""},
      {3, 4, 2, "ann", ""},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.directive);
    EXPECT_EQ(set_host(host("10.0.0.1", row.user, 162, row.version, row.level, row.notify)), 0);
    const std::string extraction = row.with_engine ? kExtract : "";
    EXPECT_EQ(take_commands(), extraction + kCreate + row.directive + " 10.0.0.1:162\n");
    EXPECT_EQ(set_host(host("10.0.0.1", row.user, 0, row.version, row.level, row.notify)), 0);
    std::string portless = extraction + kCreate + row.directive + " 10.0.0.1\n";
    if (const size_t port = portless.find(":162"); port != portless.npos) portless.erase(port, 4);
    EXPECT_EQ(take_commands(), portless);
  }
  EXPECT_THAT(hosts(), ElementsAre("10.0.0.1"));
  EXPECT_EQ(read_file(kHostCount), "1");
}

TEST_F(DestinationsTest, LogsEachStepOfAVersion3Destination) {
  LogCapture log;
  ASSERT_EQ(set_host(host("10.0.0.1", "ann", 162, 3, 3)), 0);
  EXPECT_THAT(
      log.take_lines(),
      ElementsAre(
          "info SCI_SetSnmpHostV3|SCI_SetSnmpHostV3: Adding Host: 10.0.0.1\n",
          "debug SCI_SetSnmpHostV3|SCI_SetSnmpHostV3: server_addr:10.0.0.1, commmunity:ann, port:162, "
          "Version:3, v3_priv:3, notify_type:1\n",
          "debug SCI_SetSnmpHostV3|Searching for Username = ann\n", "debug SCI_SetSnmpHostV3|Found Username = ann",
          "critical SCI_SetSnmpHostV3|priv_type_str = AES", "debug SCI_SetSnmpHostV3|Done adding SNMP host:10.0.0.1\n",
          "debug is_host_found|Searching for Username = 10.0.0.1\n",
          "info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 1", "debug SCI_SetSnmpHostV3|Return value of system () - 0",
          "info SCI_SetSnmpHostV3|Updated SNMP config file successfully with host 10.0.0.1:162"));
  ASSERT_EQ(set_host(host("10.0.0.1", "public", 0, 1)), 0);
  EXPECT_THAT(log.take_lines(),
              IsSupersetOf({"debug is_host_found|Found Username = 10.0.0.1",
                            "critical add_snmpv3_host_to_list|Found Host Name = 10.0.0.1, not adding\n",
                            "info SCI_SetSnmpHostV3|Updated SNMP config file successfully with host 10.0.0.1:0"}));
}

// Without an id three blanks remain; of several lines only the last line end is dropped.
TEST_F(DestinationsTest, EngineIdIsWhatTheStateFileSays) {
  const std::string state = "/var/lib/net-snmp/snmpd.conf";
  const std::string rest = " -u ann -l authNoPriv -a SHA -A annspass h\" h\n";
  const char* const missing =
      "critical findEngineId|EngineId not found. Please check file /var/lib/net-snmp/snmpd.conf\r\n";
  LogCapture log;
  for (const bool there : {true, false}) {
    write_file(state, "engineBoots 1\n");
    if (!there) std::filesystem::remove(state);
    EXPECT_EQ(set_host(host("h", "ann", 0, 3, 1)), 0);
    EXPECT_EQ(take_commands(), kExtract + kCreate + "\"trapsess -r 0 -v 3  " + rest);
    EXPECT_THAT(log.take_lines(), testing::Contains(missing));
  }
  write_file(state, "oldEngineID 0x80\noldEngineID 0x81\n");
  EXPECT_EQ(set_host(host("h", "ann", 0, 3, 1)), 0);
  EXPECT_EQ(take_commands(), kExtract + kCreate + "\"trapsess -r 0 -v 3 -e 0x80\n0x81" + rest);
}

TEST_F(DestinationsTest, RefusesBeforeAnythingChanges) {
  const SCI_snmp_host_s plain = host("h", "public", 0, 1), unknown = host("h", "public", 0, 4),
                        stranger = host("h", "mallory", 0, 3, 2);
  set_user(user(std::string(32, '$'), std::string(80, '$'), std::string(80, '$'), 0, 3));
  const SCI_snmp_host_s too_long = host(std::string(63, '"'), std::string(32, '$'), 162, 3, 3);
  const struct {
    const SCI_snmp_host_s* host;
    int status;
    const char* reason;
    bool config_in_the_way = false;
  } kRows[] = {
      {nullptr, 1, "critical SCI_SetSnmpHostV3|SCI_SetSnmpHostV3: Host passed as NULL\n"},
      {&plain, 1, "critical SCI_SetSnmpHostV3|\nsnmpd conf file fopen() Error!!!", true},
      {&unknown, -1, "critical SCI_SetSnmpHostV3|Unknown version of SNMP passed\n"},
      {&stranger, 1, "critical SCI_SetSnmpHostV3|Username: mallory Not found. Cannot add trap host: h\n"},
      {&too_long, 1, "critical SCI_SetSnmpHostV3|directive for host \"\"\""},
  };
  for (const auto& row : kRows) {
    take_commands();
    if (row.config_in_the_way) {
      std::filesystem::remove(kConfig);
      std::filesystem::create_directory(kConfig);
    }
    LogCapture log;
    EXPECT_EQ(SCI_SetSnmpHostV3(row.host), row.status);
    const std::vector<std::string> lines = log.take_lines();
    EXPECT_THAT(lines.back(), testing::StartsWith(row.reason));
    EXPECT_EQ(take_commands(), row.host == &too_long ? kExtract : "");
    EXPECT_THAT(hosts(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(kHostCount));
    if (row.config_in_the_way) std::filesystem::remove(kConfig);
  }
}

// Only -1 and 127 as system returns them count; list and count file are changed by then.
TEST_F(DestinationsTest, StatusOfTheScript) {
  const char* const kReturned = "debug SCI_SetSnmpHostV3|Return value of system () - ";
  LogCapture log;
  for (const int status : {1 << 8, 127 << 8, 9, -1, 127}) {
    SCOPED_TRACE(status);
    forced_status = status;
    const bool failed = status == -1 || status == 127;
    EXPECT_EQ(set_host(host("h", "public", 0, 1)), failed ? 1 : 0);
    std::vector<std::string> lines = log.take_lines();
    EXPECT_EQ(lines[lines.size() - 2], kReturned + std::to_string(status));
    EXPECT_EQ(lines.back(), failed ? "critical SCI_SetSnmpHostV3|Eror while updating SNMP config file"
                                   : "info SCI_SetSnmpHostV3|Updated SNMP config file successfully with host h:0");
  }
  std::filesystem::remove(kScripts + "tolm_snmp_create_traphost");
  EXPECT_EQ(set_host(host("i", "public", 0, 1)), 1);
  EXPECT_EQ(log.take_lines().back(),
            "critical SCI_SetSnmpHostV3|Script to create SNMP host - "
            "/opt/tolm-mgmt-scripts/tolm_snmp_create_traphost not found");
  EXPECT_THAT(hosts(), ElementsAre("h", "i"));
  EXPECT_EQ(read_file(kHostCount), "2");
}

TEST_F(DestinationsTest, HostileValuesAreLiteralArguments) {
  for (const std::string value : {"$(touch /tmp/x)", "a; touch /tmp/x", "`id`", "it's \"q\\\"", "*", "#a"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(set_host(host(value, value, 7, 2)), 0);
    EXPECT_EQ(ran(), "tolm_snmp_create_traphost [trap2sink " + value + ":7 " + value + "] [" + value + ":7]\n");
  }
  EXPECT_FALSE(std::filesystem::exists("/tmp/x"));
}

class DeletionTest : public DestinationsTest {
 protected:
  DeletionTest() {
    for (const char* name : {"10.0.0.10", "10.0.0.1", "h"}) set_host(host(name, "public", 0, 1));
    write_file(kHostCount, "old");
    write_file(kConfig, kBefore);
  }

  const std::string kBefore =
      "rocommunity 10.0.0.1\n"
      "trapsess -v 3 10.0.0.1\n"
      "trap2sink 110.0.0.1:162 trapsink\n"
      "# trapsink 10.0.0.10\n"
      "informsink 10.0.0.1 x\n"
      "trapsink h";
};

TEST_F(DeletionTest, DropsLinesByPartsOfNamesAndTheEntryByItsName) {
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpHostV3("10.0.0.1"), 0);
  EXPECT_THAT(
      log.take_lines(),
      ElementsAre("info SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: Delete Host: 10.0.0.1\n",
                  "debug SCI_DeleteSnmpHostV3|\nv3 trapsess match found: trapsess -v 3 10.0.0.1\n\n",
                  "debug SCI_DeleteSnmpHostV3|\n trap2sink match found: trap2sink 110.0.0.1:162 trapsink\n\n",
                  "debug SCI_DeleteSnmpHostV3|\nv1 trapsink match found: # trapsink 10.0.0.10\n\n",
                  "debug SCI_DeleteSnmpHostV3|\nv1 Inform match found: informsink 10.0.0.1 x\n\n",
                  "debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf  deleted\n",
                  "debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: file snmpd.conf.new renamed to snmpd.conf\n",
                  "info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 2"));
  EXPECT_EQ(read_file(kConfig), "rocommunity 10.0.0.1\ntrapsink h");
  EXPECT_THAT(hosts(), ElementsAre("10.0.0.10", "h"));
  EXPECT_EQ(read_file(kHostCount), "old");
}

TEST_F(DeletionTest, TheLastOneWritesTheCount) {
  for (const char* name : {"10.0.0.1", "h"}) EXPECT_EQ(SCI_DeleteSnmpHostV3(name), 0);
  EXPECT_EQ(read_file(kHostCount), "old");
  write_file(kConfig, "trapsink 10.0.0.10\n");
  EXPECT_EQ(SCI_DeleteSnmpHostV3("10.0.0.10"), 0);
  EXPECT_EQ(read_file(kHostCount), "0");
  LogCapture log;
  EXPECT_THAT(hosts(), IsEmpty());
  EXPECT_THAT(log.take_lines(), IsEmpty());
}

TEST_F(DeletionTest, NothingMatchedLeavesListAndFile) {
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpHostV3("10.9.9.9"), 0);
  EXPECT_EQ(log.take_lines()[1], "debug SCI_DeleteSnmpHostV3|\ncouldn't find a match to delete snmp host");
  EXPECT_EQ(SCI_DeleteSnmpHostV3(nullptr), 1);
  EXPECT_EQ(read_file(kConfig), kBefore);
  EXPECT_EQ(hosts().size(), 3u);
}

}  // namespace
}  // namespace coupler::test
