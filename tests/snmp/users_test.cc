#include "tests/snmp/agent_files.h"

namespace coupler::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kCreate = kScripts + "tolm_snmp_create_user  ";
const std::string kDelete = kScripts + "tolm_snmp_delete_user  ";

using UsersTest = AgentFiles;

TEST_F(UsersTest, CommandLinesAreFixed) {
  const struct {
    SCI_snmp_user_s user;
    std::string command;
  } kRows[] = {
      {user("bob", "secret12", "", 2, 0), "authNoPriv bob SHA secret12  \n"},
      {user("bob", "secret12", "spare123", 1, 1), "authNoPriv bob MD5 secret12  spare123\n"},
      {user("bob", "secret12", "privacy1", 3, 3), "authPriv bob SHA-256 secret12 AES privacy1\n"},
      {user("bob", "secret12", "privacy1", 0, 2), "authNoPriv bob SHA secret12  privacy1\n"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.command);
    EXPECT_EQ(set_user(row.user), 0);
    EXPECT_EQ(take_commands(), kCreate + row.command);
    EXPECT_EQ(SCI_DeleteSnmpUser("bob", nullptr), 0);
    EXPECT_EQ(take_commands(), kDelete + "bob\n");
  }
}

TEST_F(UsersTest, LogsAUserThatIsSetTwice) {
  const SCI_snmp_user_s alice = user("alice", "secret12", "privacy1", 3, 3);
  ASSERT_EQ(set_user(user("bob", "secret12", "", 1, 0)), 0);
  ASSERT_EQ(set_user(alice), 0);
  ASSERT_EQ(set_user(user("carol", "secret12", "", 1, 0)), 0);
  take_commands();
  LogCapture log;
  ASSERT_EQ(set_user(alice), 0);
  EXPECT_THAT(
      log.take_lines(),
      ElementsAre(
          "info SCI_SetSnmpUser|SCI_SetSnmpUser: Adding User: alice\n",
          "debug SCI_SetSnmpUser|aInConf->username = alice", "debug SCI_SetSnmpUser|aInConf->password = secret12",
          "debug SCI_SetSnmpUser|aInConf->priv_pass = privacy1", "debug SCI_SetSnmpUser|aInConf->auth_type = 3",
          "debug SCI_SetSnmpUser|aInConf->priv_type = 3",
          "critical SCI_SetSnmpUser|setting snmp user: alice, auth: SHA-256, priv type: 3",
          "debug is_user_found|Searching for Username = alice\n", "debug is_user_found|Found Username = alice",
          "info SCI_SetSnmpUser|Found user alice deleting it",
          "critical delete_snmpv3_user_at_snmpd|User to delete = alice\n",
          "critical delete_snmpv3_user_at_snmpd|cmd = " + kDelete + "alice\n",
          "debug is_user_found|Searching for Username = alice\n",
          "debug add_snmpv3_user_to_list|DBG : snmpv3 Username = alice, auth type = 3\n",
          "critical add_snmpv3_user_at_snmpd|cmd = " + kCreate + "authPriv alice SHA-256 secret12 AES privacy1\n"));
  EXPECT_EQ(take_commands(), kDelete + "alice\n" + kCreate + "authPriv alice SHA-256 secret12 AES privacy1\n");
  EXPECT_THAT(users(), ElementsAre("bob", "carol", "alice"));
}

TEST_F(UsersTest, RefusesBeforeAnythingRuns) {
  const SCI_snmp_user_s nameless = user("", "secret12", "", 1, 0), open = user("bob", "", "", 1, 0),
                        bare = user("bob", "secret12", "", 1, 3);
  const struct {
    const SCI_snmp_user_s* user;
    const char* reason;
  } kRows[] = {{nullptr, "critical SCI_SetSnmpUser|SCI_SetSnmpUser:User details passed as NULL\n"},
               {&nameless, "critical SCI_SetSnmpUser|no snmp user/password to configure"},
               {&open, "critical SCI_SetSnmpUser|no snmp user/password to configure"},
               {&bare, "critical SCI_SetSnmpUser|privacy password can not be empty when AES-128 is set"}};
  for (const auto& row : kRows) {
    LogCapture log;
    char error[25];
    EXPECT_EQ(SCI_SetSnmpUser(row.user, error), 1);
    EXPECT_STREQ(error, "Error setting SNMP user");
    const std::vector<std::string> lines = log.take_lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], row.reason);
    EXPECT_EQ(lines.back(), "critical SCI_SetSnmpUser|error setting snmp users, error");
    EXPECT_EQ(take_commands(), "");
    EXPECT_THAT(users(), IsEmpty());
  }
  char error[25] = "";
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpUser(nullptr, error), 1);
  EXPECT_STREQ(error, "Error deleting SNMP user");
  EXPECT_THAT(log.take_lines(),
              ElementsAre("critical SCI_DeleteSnmpUser|SCI_DeleteSnmpUser: User name passed as NULL\n",
                          "critical SCI_DeleteSnmpUser|Error deleting snmp user"));
  EXPECT_EQ(take_commands(), "");
}

// A user whose script failed stays in the list when it was set, and is out of it when it was deleted or replaced.
TEST_F(UsersTest, EveryStatusButZeroFails) {
  const SCI_snmp_user_s bob = user("bob", "secret12", "", 1, 0);
  for (const int status : {-1, 1 << 8, 127 << 8, 9}) {
    SCOPED_TRACE(status);
    char error[25] = "old";
    forced_status = status;
    EXPECT_EQ(SCI_SetSnmpUser(&bob, error), 1);
    EXPECT_STREQ(error, "Error setting SNMP user");
    EXPECT_THAT(users(), ElementsAre("bob"));
    take_commands();
    EXPECT_EQ(SCI_SetSnmpUser(&bob, error), 1);
    EXPECT_EQ(take_commands(), kDelete + "bob\n");
    EXPECT_THAT(users(), IsEmpty());
    EXPECT_EQ(SCI_DeleteSnmpUser("bob", error), 1);
    EXPECT_STREQ(error, "Error deleting SNMP user");
    forced_status = 0;
    EXPECT_EQ(SCI_SetSnmpUser(&bob, error), 0);
    EXPECT_STREQ(error, "");
    error[0] = '!';
    EXPECT_EQ(SCI_DeleteSnmpUser("bob", error), 0);
    EXPECT_EQ(error[0], '!');
    take_commands();
  }
}

TEST_F(UsersTest, DeletionLogsAndNeedsNoEntry) {
  LogCapture log;
  EXPECT_EQ(SCI_DeleteSnmpUser("nobody", nullptr), 0);
  EXPECT_THAT(log.take_lines(), ElementsAre("info SCI_DeleteSnmpUser|SCI_DeleteSnmpUser: Deleting User: nobody\n",
                                            "debug SCI_DeleteSnmpUser|Deleting User = nobody",
                                            "critical delete_snmpv3_user_at_snmpd|User to delete = nobody\n",
                                            "critical delete_snmpv3_user_at_snmpd|cmd = " + kDelete + "nobody\n"));
  EXPECT_EQ(ran(), "tolm_snmp_delete_user [nobody]\n");
  unsigned count = 99;
  SCI_GetSnmpUsers(nullptr, &count);
  EXPECT_EQ(count, 0u);
  EXPECT_THAT(log.take_lines(), ElementsAre("info SCI_GetSnmpUsers|GetSnmpUsers aInCount = 0"));
}

TEST_F(UsersTest, HostileValuesAreLiteralArguments) {
  for (const std::string value : {"$(touch /tmp/x)", "a; touch /tmp/x", "`id`", "it's \"q\"", "*", "#a", "~", "a\nb"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(set_user(user(value, value, value, 2, 3)), 0);
    EXPECT_EQ(ran(), "tolm_snmp_create_user [authPriv] [" + value + "] [SHA] [" + value + "] [AES] [" + value + "]\n");
    EXPECT_EQ(SCI_DeleteSnmpUser(value.c_str(), nullptr), 0);
    EXPECT_EQ(ran(), "tolm_snmp_delete_user [" + value + "]\n");
  }
  EXPECT_FALSE(std::filesystem::exists("/tmp/x"));
}

// 255 characters are run, wherever that cuts; fields without a terminator give up their last character.
TEST_F(UsersTest, LongCommandsAreCut) {
  const SCI_snmp_user_s full = user(std::string(33, 'n'), std::string(81, 'a'), std::string(81, 'p'), 2, 3);
  EXPECT_EQ(set_user(full), 0);
  const std::string whole =
      kCreate + "authPriv " + std::string(32, 'n') + " SHA " + std::string(80, 'a') + " AES " + std::string(80, 'p');
  EXPECT_EQ(take_commands(), whole.substr(0, 255) + "\n");
  EXPECT_EQ(set_user(user("n", std::string(80, '$'), std::string(80, '$'), 2, 3)), 0);
  EXPECT_EQ(take_commands().back(), '\n');
  EXPECT_THAT(users(), ElementsAre(std::string(32, 'n'), "n"));
}

}  // namespace
}  // namespace coupler::test
