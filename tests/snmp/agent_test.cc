#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "brantix/snmp.h"
#include "support/handle.h"
#include "tests/common/appliance.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"

namespace coupler::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kConfig = "/etc/snmp/snmpd.conf";
const std::string kState = "/var/lib/net-snmp/snmpd.conf";
const std::string kReceived = "/tmp/received";
const std::string kV3 = "-v 3 -u alice -l authPriv -a SHA -A secret12 -x AES -X privacy1 127.0.0.1";

bool comes_true(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

std::string output_of(const std::string& command) {
  const Pipe pipe(popen(command.c_str(), "re"));
  std::string text;
  for (int c = 0; (c = std::fgetc(pipe.get())) != EOF;) text += static_cast<char>(c);
  return text;
}

/// The agent's location, or what snmpget says instead.
std::string ask(const std::string& way) {
  return output_of("snmpget -r 0 -t 0.3 -Ov " + way + " 1.3.6.1.2.1.1.6.0 2>&1");
}

std::string as(const std::string& community, const std::string& address = "127.0.0.1") {
  return "-v 2c -c " + community + " " + address;
}

bool answers(const std::string& way, const std::string& location) {
  return comes_true([&] { return ask(way) == "STRING: \"" + location + "\"\n"; });
}

/// Debian's agent, kept running by the appliance's service.
class AgentTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!is_machine_of_its_own()) GTEST_SKIP() << "needs a network of its own";
    if (access("/usr/sbin/snmpd", X_OK) != 0) GTEST_SKIP() << "needs Debian's snmpd, snmp and snmptrapd";
    setenv("MIBS", "", 1);
    write_file(kConfig, "authtrapenable 1\nrocommunity probe\nsysLocation nowhere\n");
    std::filesystem::remove(kState);
    SCI_EnableSnmp();
    ASSERT_TRUE(answers(as("probe"), "nowhere"));
  }
  void TearDown() override {
    SCI_DisableSnmp();
    if (receiver_ > 0) {
      kill(receiver_, SIGKILL);
      waitpid(receiver_, nullptr, 0);
    }
  }

  void set_alice() {
    const SCI_snmp_user_s alice{"alice", "secret12", "privacy1", 0, 3};
    char error[25];
    ASSERT_EQ(SCI_SetSnmpUser(&alice, error), 0);
    ASSERT_TRUE(answers(kV3, "nowhere"));
  }

  void start_receiver() {
    const std::string engine = output_of("awk '/^oldEngineID/ { printf \"%s\", $2 }' " + kState);
    write_file("/tmp/receiver.conf",
               "disableAuthorization yes\ncreateUser -e " + engine + " alice SHA secret12 AES privacy1\n");
    const std::string command =
        "SNMP_PERSISTENT_DIR=/tmp/receiver exec /usr/sbin/snmptrapd -f -n -C -c /tmp/receiver.conf -F '%P\n' -Lf " +
        kReceived + " udp:127.0.0.1:1162";
    const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
    ASSERT_EQ(posix_spawn(&receiver_, "/bin/sh", nullptr, nullptr, const_cast<char**>(arguments), environ), 0);
  }

  void add_host(const char* community, int version, int notify_type) {
    SCI_snmp_host_s host{"127.0.0.1", "", 1162, version, SCI_SNMP_AUTH_PRIV, notify_type};
    std::string(community).copy(host.community, sizeof(host.community));
    ASSERT_EQ(SCI_SetSnmpHostV3(&host), 0);
  }

  /// Has the agent send until the receiver has got a line with the text, behind the first `from` bytes.
  static bool arrives(const std::string& text, size_t from = 0) {
    return comes_true([&] {
      ask(as("wrong"));
      return read_file(kReceived).find(text, from) != std::string::npos;
    });
  }

  pid_t receiver_ = 0;
};

TEST_F(AgentTest, ANewLocationAndCommunityReachTheRestartedAgent) {
  EXPECT_EQ(SCI_ConfigureSnmp("public"), 0);
  EXPECT_THAT(ask(as("public")), HasSubstr("Timeout"));
  LogCapture log;
  EXPECT_EQ(SCI_SetSnmpSysLocation("lab 7; upper shelf"), 0);
  EXPECT_THAT(log.take_lines().back(), Not(testing::EndsWith("pid:0")));
  for (const char* address : {"127.0.0.1", "udp6:[::1]"}) {
    EXPECT_TRUE(answers(as("public", address), "lab 7; upper shelf"));
  }
  EXPECT_EQ(SCI_DisableSnmp(), 0);
  EXPECT_THAT(ask(as("public")), HasSubstr("Timeout"));
}

TEST_F(AgentTest, AUserIsAnsweredUntilDeleted) {
  set_alice();
  EXPECT_EQ(SCI_DeleteSnmpUser("alice", nullptr), 0);
  EXPECT_TRUE(comes_true([] { return ask(kV3).find("Unknown user name") != std::string::npos; }));
  EXPECT_THAT(read_file(kConfig) + read_file(kState), Not(HasSubstr("alice")));
}

TEST_F(AgentTest, DestinationsReceiveUntilDeleted) {
  set_alice();
  start_receiver();
  add_host("first", 1, SCI_SNMP_TRAP);
  add_host("second", 2, SCI_SNMP_TRAP);
  add_host("third", 2, SCI_SNMP_INFORM);
  add_host("alice", 3, SCI_SNMP_TRAP);
  for (const char* line : {"TRAP, SNMP v1, community first", "TRAP2, SNMP v2c, community second",
                           "INFORM, SNMP v2c, community third", "TRAP2, SNMP v3, user alice"}) {
    EXPECT_TRUE(arrives(line)) << line << " in " << read_file(kReceived);
  }
  EXPECT_EQ(SCI_DeleteSnmpHostV3("127.0.0.1"), 0);
  EXPECT_EQ(SCI_SetSnmpSysLocation("elsewhere"), 0);
  ASSERT_TRUE(answers(kV3, "elsewhere"));
  add_host("last", 2, SCI_SNMP_TRAP);
  EXPECT_TRUE(arrives("community last"));
  const size_t seen = read_file(kReceived).size();
  EXPECT_TRUE(arrives("community last", seen));
  const std::string later = read_file(kReceived).substr(seen);
  for (const char* gone : {"first", "second", "third", "alice"}) EXPECT_THAT(later, Not(HasSubstr(gone)));
}

}  // namespace
}  // namespace coupler::test
