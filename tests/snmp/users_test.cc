#include <cstring>

#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

const std::string kCreate = kScripts + "tolm_snmp_create_user  ";
const std::string kDelete = kScripts + "tolm_snmp_delete_user  ";

using UsersTest = AgentFiles;

const SCI_snmp_user_s kAlice{"alice", "secret12", "privacy1", 3, 3};
const SCI_snmp_user_s kBob{"bob", "secret12", "", 2, 0};

TEST_F(UsersTest, CommandLinesAreFixed) {
  const std::pair<SCI_snmp_user_s, std::string> kRows[] = {
      {kBob, "authNoPriv bob SHA secret12  "},
      {{"bob", "secret12", "spare123", 1, 1}, "authNoPriv bob MD5 secret12  spare123"},
      {{"bob", "it's", "$(x)", 0, 3}, "authPriv bob SHA it\"'\"s AES '$''('x')'"},
      {{"bob", "secret12", "privacy1", 0, 2}, "authNoPriv bob SHA secret12  privacy1"},
      {{"b", "p", "q", 0, 3}, "authPriv b SHA p AES q"},
  };
  for (const auto& [user, command] : kRows) {
    EXPECT_EQ(set_user(user), 0);
    EXPECT_EQ(take_commands(), kCreate + command + "\n");
    EXPECT_EQ(delete_user(user.username), 0);
    EXPECT_EQ(take_commands(), kDelete + user.username + "\n");
  }
  // 255 characters are run, wherever that cuts; fields without a terminator give up their last character.
  const std::string name(32, 'n'), password(80, 'n'), endless(300, 'n');
  SCI_snmp_user_s full;
  std::memset(&full, 'n', sizeof(full));
  full.priv_type = 3;
  EXPECT_EQ(set_user(full), 0);
  EXPECT_EQ(delete_user(endless), 0);
  EXPECT_EQ(take_commands(), (kCreate + "authPriv " + name + " SHA " + password + " AES " + endless).substr(0, 255) +
                                 "\n" + (kDelete + endless).substr(0, 255) + "\n");
  EXPECT_EQ(users(), name);
}

TEST_F(UsersTest, AUserThatIsSetTwiceIsReplaced) {
  const SCI_snmp_user_s carol{"carol", "secret12", "", 1, 0};
  for (const SCI_snmp_user_s& made : {kBob, kAlice, carol}) set_user(made);
  did(0);
  EXPECT_EQ(did(set_user(kAlice)), R"(0
info SCI_SetSnmpUser|SCI_SetSnmpUser: Adding User: alice\n
debug SCI_SetSnmpUser|aInConf->username = alice
debug SCI_SetSnmpUser|aInConf->password = secret12
debug SCI_SetSnmpUser|aInConf->priv_pass = privacy1
debug SCI_SetSnmpUser|aInConf->auth_type = 3
debug SCI_SetSnmpUser|aInConf->priv_type = 3
critical SCI_SetSnmpUser|setting snmp user: alice, auth: SHA-256, priv type: 3
debug is_user_found|Searching for Username = alice\n
debug is_user_found|Found Username = alice
info SCI_SetSnmpUser|Found user alice deleting it
critical delete_snmpv3_user_at_snmpd|User to delete = alice\n
critical delete_snmpv3_user_at_snmpd|cmd = /opt/tolm-mgmt-scripts/tolm_snmp_delete_user  alice\n
debug is_user_found|Searching for Username = alice\n
debug add_snmpv3_user_to_list|DBG : snmpv3 Username = alice, auth type = 3\n
critical add_snmpv3_user_at_snmpd|cmd = /opt/tolm-mgmt-scripts/tolm_snmp_create_user  authPriv alice SHA-256 secret12 AES privacy1\n
/opt/tolm-mgmt-scripts/tolm_snmp_delete_user  alice
/opt/tolm-mgmt-scripts/tolm_snmp_create_user  authPriv alice SHA-256 secret12 AES privacy1
)");
  EXPECT_STREQ(error_, "");
  EXPECT_EQ(users(), "bob carol alice");
}

TEST_F(UsersTest, DeletionNeedsNoEntry) {
  EXPECT_EQ(did(delete_user("nobody")), R"(0
info SCI_DeleteSnmpUser|SCI_DeleteSnmpUser: Deleting User: nobody\n
debug SCI_DeleteSnmpUser|Deleting User = nobody
critical delete_snmpv3_user_at_snmpd|User to delete = nobody\n
critical delete_snmpv3_user_at_snmpd|cmd = /opt/tolm-mgmt-scripts/tolm_snmp_delete_user  nobody\n
/opt/tolm-mgmt-scripts/tolm_snmp_delete_user  nobody
)");
  EXPECT_STREQ(error_, "old");
}

TEST_F(UsersTest, RefusesBeforeAnythingRuns) {
  const std::pair<SCI_snmp_user_s, const char*> kRows[] = {
      {{"", "p", "", 1, 0}, "no snmp user/password to configure"},
      {{"bob", "", "", 1, 0}, "no snmp user/password to configure"},
      {{"bob", "p", "", 1, 3}, "privacy password can not be empty when AES-128 is set"}};
  for (const auto& [given, reason] : kRows) {
    EXPECT_THAT(did(set_user(given)),
                testing::EndsWith(std::string("\ncritical SCI_SetSnmpUser|") + reason +
                                  "\ncritical SCI_SetSnmpUser|error setting snmp users, error\n"));
    EXPECT_STREQ(error_, "Error setting SNMP user");
    EXPECT_EQ(users(), "");
  }
}

// A user whose script failed stays in the list when it was set, and is out of it when it was deleted or replaced.
TEST_F(UsersTest, EveryStatusButZeroFails) {
  for (const int status : {-1, 1 << 8, 127 << 8, 9}) {
    SCOPED_TRACE(status);
    forced_status = status;
    EXPECT_EQ(set_user(kBob), 1);
    EXPECT_EQ(users(), "bob");
    take_commands();
    EXPECT_EQ(set_user(kBob), 1);
    EXPECT_EQ(take_commands(), kDelete + "bob\n");
    EXPECT_EQ(users(), "");
    EXPECT_EQ(delete_user("bob"), 1);
    EXPECT_STREQ(error_, "Error deleting SNMP user");
  }
}

}  // namespace
}  // namespace coupler::test
