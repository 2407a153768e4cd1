#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string kCreate = kScripts + "tolm_snmp_create_traphost ";
const std::string kExtract = "grep 'oldEngineID' /var/lib/net-snmp/snmpd.conf | cut -d ' ' -f 2 > /tmp/SNMP_EngineId\n";

class DestinationsTest : public AgentFiles {
 protected:
  DestinationsTest() {
    write_file(kState, "engineBoots 1\noldEngineID 0x8001\n");
    set_user({"ann", "annspass", "annspriv", 0, 3});
    set_user({"bob", "bobspass", "bobspriv", 1, 0});
    set_user({"eve", "evespass", "evespriv", 3, 3});
    did(0);
  }
};

TEST_F(DestinationsTest, EveryCombinationHasItsDirective) {
  const std::pair<SCI_snmp_host_s, std::string> kRows[] = {
      {{"h", "public", 162, 1, 0, 1}, "\"trapsink h:162 public\""},
      {{"h", "a b\"", 162, 1, 3, 7}, "\"trapsink h:162 a b\"'\"'\"\""},
      {{"h", "public", 162, 2, 0, 1}, "\"trap2sink h:162 public\""},
      {{"h", "public", 162, 2, 9, 2}, "\"informsink h:162 public\""},
      {{"h", "public", 162, 2, 0, 3}, ""},
      {{"h", "ann", 162, 3, 2, 1}, "\"trapsess -r 0 -v 3 -u ann -l noAuthNoPriv h:162\""},
      {{"h", "ann", 162, 3, 1, 1}, "\"trapsess -r 0 -v 3 -e 0x8001 -u ann -l authNoPriv -a SHA -A annspass h:162\""},
      {{"h", "eve", 162, 3, 3, 1},
       "\"trapsess -r 0 -v 3 -e 0x8001 -u eve -l authPriv -a SHA-256 -A evespass -x AES -X evespriv h:162\""},
      {{"h", "bob", 162, 3, 3, 2},
       "\"trapsess -r 0 -Ci -v 3 -e 0x8001 -u bob -l authPriv -a MD5 -A bobspass -x NOPROTO -X bobspriv h:162\""},
      {{"h", "ann", 162, 3, 3, 3}, ""},
      {{"h", "ann", 162, 3, 2, 0}, ""},
      {{"h", "ann", 162, 3, 4, 2}, ""},
  };
  for (auto [host, directive] : kRows) {
    const bool authenticates = host.version == 3 && (host.v3_priv == 1 || host.v3_priv == 3);
    for (const int port : {162, 0}) {
      std::string command = kCreate + directive + " h:162\n";
      for (size_t at; port == 0 && (at = command.find(":162")) != command.npos;) command.erase(at, 4);
      host.port = port;
      EXPECT_EQ(set_host(host), 0);
      EXPECT_EQ(take_commands(), (authenticates ? kExtract : "") + command);
    }
  }
  EXPECT_EQ(hosts(), "h");
  EXPECT_EQ(read_file(kHostCount), "1");
}

TEST_F(DestinationsTest, LogsEachStep) {
  EXPECT_EQ(did(set_host({"h", "ann", 162, 3, 3, 1})),
            R"(0
info SCI_SetSnmpHostV3|SCI_SetSnmpHostV3: Adding Host: h\n
debug SCI_SetSnmpHostV3|SCI_SetSnmpHostV3: server_addr:h, commmunity:ann, port:162, Version:3, v3_priv:3, notify_type:1\n
debug SCI_SetSnmpHostV3|Searching for Username = ann\n
debug SCI_SetSnmpHostV3|Found Username = ann
critical SCI_SetSnmpHostV3|priv_type_str = AES
debug SCI_SetSnmpHostV3|Done adding SNMP host:h\n
debug is_host_found|Searching for Username = h\n
info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 1
debug SCI_SetSnmpHostV3|Return value of system () - 0
info SCI_SetSnmpHostV3|Updated SNMP config file successfully with host h:162
)" + kExtract + kCreate +
                "\"trapsess -r 0 -v 3 -e 0x8001 -u ann -l authPriv -a SHA -A annspass -x AES -X annspriv "
                "h:162\" h:162\n");
  EXPECT_THAT(did(set_host({"h", "public", 0, 1, 0, 0})), HasSubstr(R"(
debug is_host_found|Searching for Username = h\n
debug is_host_found|Found Username = h
critical add_snmpv3_host_to_list|Found Host Name = h, not adding\n
info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 1
)"));
}

// Without an id three blanks remain; of several lines only the last line end is dropped, and of a long one the last of
// the 255 bytes that are read.
TEST_F(DestinationsTest, EngineIdIsWhatTheStateFileSays) {
  const std::string of_255(255 - 1, '8');
  const std::pair<std::string, std::string> kRows[] = {{"engineBoots 1\n", " "},
                                                       {"oldEngineID 0x80\noldEngineID 0x81\n", "-e 0x80\n0x81"},
                                                       {"oldEngineID 8\n", "-e 8"},
                                                       {"oldEngineID " + of_255 + "\n", "-e " + of_255},
                                                       {"oldEngineID " + of_255 + "99\n", "-e " + of_255},
                                                       {"oldEngineID \n", " "},
                                                       {"", " "}};
  for (const auto& [state, flag] : kRows) {
    SCOPED_TRACE(state);
    write_file(kState, state);
    if (state.empty()) std::filesystem::remove(kState);
    EXPECT_EQ(set_host({"h", "ann", 0, 3, 1, 1}), 0);
    EXPECT_EQ(take_commands(),
              kExtract + kCreate + "\"trapsess -r 0 -v 3 " + flag + " -u ann -l authNoPriv -a SHA -A annspass h\" h\n");
    const std::string line = "findEngineId|EngineId not found. Please check file /var/lib/net-snmp/snmpd.conf\r\\n";
    EXPECT_EQ(log_.take_text().find("critical " + line) == std::string::npos, flag != " ");
  }
}

TEST_F(DestinationsTest, RefusesBeforeAnythingChanges) {
  SCI_snmp_host_s full{{}, {}, 162, 2, 0, SCI_SNMP_TRAP};  // its command would have 512 characters
  std::fill_n(full.server_addr, 63, 'h');
  std::fill_n(full.community, 63, '$');
  const std::tuple<SCI_snmp_host_s, int, std::string> kRows[] = {
      {{"h", "public", 0, 4, 0, 1}, -1, "Unknown version of SNMP passed\\n"},
      {{"h", "mallory", 0, 3, 2, 1}, 1, "Username: mallory Not found. Cannot add trap host: h\\n"},
      {full, 1, "directive for host " + std::string(63, 'h') + " does not fit its command line\\n"},
      {{"h", "public", 0, 1, 0, 1}, 1, "\\nsnmpd conf file fopen() Error!!!"},  // where a directory is in the way
  };
  for (const auto& [made, status, reason] : kRows) {
    if (made.version == 1) {
      std::filesystem::remove(kConfig);
      std::filesystem::create_directory(kConfig);
    }
    EXPECT_THAT(did(set_host(made)), AllOf(StartsWith(std::to_string(status) + "\n"),
                                           HasSubstr("\ncritical SCI_SetSnmpHostV3|" + reason + "\n")));
    EXPECT_EQ(hosts(), "");
    EXPECT_FALSE(std::filesystem::exists(kHostCount));
  }
  std::filesystem::remove(kConfig);
  full.server_addr[62] = '\0';
  full.notify_type = SCI_SNMP_INFORM;  // 511 characters
  EXPECT_EQ(set_host(full), 0);
}

// Only -1 and 127 as system returns them count; list and count file are changed by then.
TEST_F(DestinationsTest, StatusOfTheScript) {
  for (const int status : {1 << 8, 127 << 8, 9, -1, 127}) {
    forced_status = status;
    const bool failed = status == -1 || status == 127;
    EXPECT_THAT(did(set_host({"h", "public", 0, 1, 0, 0})),
                HasSubstr("system () - " + std::to_string(status) + "\n" +
                          (failed ? "critical SCI_SetSnmpHostV3|Eror while updating SNMP config file\n"
                                  : "info SCI_SetSnmpHostV3|Updated SNMP config file successfully")));
  }
  std::filesystem::remove(kScripts + "tolm_snmp_create_traphost");
  EXPECT_THAT(did(set_host({"i", "public", 0, 1, 0, 0})),
              AllOf(StartsWith("1\n"), HasSubstr("critical SCI_SetSnmpHostV3|Script to create SNMP host - " + kScripts +
                                                 "tolm_snmp_create_traphost not found\n")));
  EXPECT_EQ(hosts(), "h i");
  EXPECT_EQ(read_file(kHostCount), "2");
}

// Lines go by parts of names, the entry by its name; the count is written when the list is empty.
TEST_F(DestinationsTest, DeletionTakesLinesAndTheEntry) {
  set_host({"10.0.0.10", "public", 0, 1, 0, 0});
  set_host({"10.0.0.1", "public", 0, 1, 0, 0});
  write_file(kHostCount, "old");
  write_file(kConfig,
             "rocommunity 10.0.0.10\ntrapsess -v 3 10.0.0.1\ntrap2sink 110.0.0.1:162 trapsink\n# trapsink 10.0.0.10\n"
             "informsink 10.0.0.1 x\ntrapsink h");
  did(0);
  EXPECT_EQ(did(SCI_DeleteSnmpHostV3("10.0.0.1")), R"(0
info SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: Delete Host: 10.0.0.1\n
debug SCI_DeleteSnmpHostV3|\nv3 trapsess match found: trapsess -v 3 10.0.0.1\n\n
debug SCI_DeleteSnmpHostV3|\n trap2sink match found: trap2sink 110.0.0.1:162 trapsink\n\n
debug SCI_DeleteSnmpHostV3|\nv1 trapsink match found: # trapsink 10.0.0.10\n\n
debug SCI_DeleteSnmpHostV3|\nv1 Inform match found: informsink 10.0.0.1 x\n\n
debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf  deleted\n
debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: file snmpd.conf.new renamed to snmpd.conf\n
info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 1
)");
  EXPECT_EQ(read_file(kConfig), "rocommunity 10.0.0.10\ntrapsink h");
  EXPECT_EQ(did(SCI_DeleteSnmpHostV3("10.0.0.10")), R"(0
info SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: Delete Host: 10.0.0.10\n
debug SCI_DeleteSnmpHostV3|\ncouldn't find a match to delete snmp host
debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n
info SCI_GetSnmpHostsV3|GetSnmpHostv3 aInCount = 1
)");
  EXPECT_EQ(hosts(), "10.0.0.10");
  EXPECT_EQ(read_file(kHostCount), "old");
  write_file(kConfig, "trapsink 10.0.0.10\n");
  EXPECT_EQ(SCI_DeleteSnmpHostV3("10.0.0.10"), 0);
  EXPECT_EQ(read_file(kHostCount), "0");
  EXPECT_EQ(hosts(), "");
}

}  // namespace
}  // namespace coupler::test
