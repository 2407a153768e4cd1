#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "brantix/access.h"
#include "brantix/noop.h"
#include "tests/common/files.h"

namespace {

using namespace coupler::test;

/// A `groups` of our own, that tells its arguments and prints the line of a user.
class RolesTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("PATH", (directory_.path() + ":" + old_path_).c_str(), 1);
    write_file(directory_ / "line", "");
    script("printf '<%s>' \"$@\" > " + directory_ / "arguments" + "; cat " + directory_ / "line");
  }
  void TearDown() override { setenv("PATH", old_path_.c_str(), 1); }

  void script(const std::string& body) {
    write_file(directory_ / "groups", "#!/bin/sh\n" + body + "\n");
    chmod((directory_ / "groups").c_str(), 0755);
  }
  std::string role_of(const std::string& line, int32_t size = 32) {
    char role[32] = "untouched";
    write_file(directory_ / "line", line);
    const int32_t result = SCI_getUserRoles("user", role, size);
    return std::to_string(result) + ' ' + role;
  }

  ScratchDirectory directory_;
  const std::string old_path_ = getenv("PATH");
};

TEST_F(RolesTest, FollowsTheLineOfGroups) {
  EXPECT_EQ(role_of("user : staff ldapgroup x-read-only\n"), "0 admin read-only");
  EXPECT_EQ(role_of("user : read-only-2\n"), "0 read-only");
  EXPECT_EQ(role_of("ldapgroupie : staff"), "0 admin read-only");
  EXPECT_EQ(role_of("user : staff\nldapgroup\n"), "1 untouched");
  EXPECT_EQ(role_of(std::string(1020, 'x') + "ldapgroup\n"), "1 untouched");
  EXPECT_EQ(role_of(""), "1 untouched");
  EXPECT_EQ(role_of("read-only", 5), "0 read");
  EXPECT_EQ(role_of("read-only", 0), "0 untouched");
  EXPECT_EQ(SCI_getUserRoles("user", nullptr, 5), 0);
  EXPECT_EQ(SCI_getUserRoles(nullptr, nullptr, 5), 1);
}

TEST_F(RolesTest, ANameIsOneArgument) {
  for (const std::string name : {"bob", "a b", "$(reboot)", "x; touch /tmp/pwned", "'\"`", "a\nb"}) {
    char role[16];
    SCI_getUserRoles(name.c_str(), role, sizeof(role));
    EXPECT_EQ(read_file(directory_ / "arguments"), "<" + name + ">");
  }
  char role[16];
  SCI_getUserRoles(std::string(300, '\n').c_str(), role, sizeof(role));
  EXPECT_EQ(read_file(directory_ / "arguments"), "<" + std::string(255, '\n') + ">");
}

TEST(AccessTest, FixedAnswers) {
  char locale[4] = "xyz";
  EXPECT_EQ(SCI_getUserLocales("user", locale, sizeof(locale)), 0);
  EXPECT_EQ(std::string(locale, 4), std::string("\0yz\0", 4));
  EXPECT_EQ(is_active_supervisor(), 1);
  EXPECT_EQ(SCI_waitForKRELLAGEvents(), -1);
  EXPECT_EQ(std::string(USER_ADMINBACKUP) + '/' + USER_PELK_DME + '/' + PELK_APPL_TYPE_LOGIN + '/' +
                PELK_APPL_TYPE_DEFAULT + '/' + PELK_APPL_SUB_TYPE_DEFAULT + '/' + PELK_APPL_SUB_TYPE_CONSOLE,
            "adminbackup/pelkdme/login/default/default/console");
}

// A result narrower than the register would leave rubbish in its upper half for a host that expects a pointer.
TEST(NoopTest, ReturnsZeroInTheWholeRegisterWhateverItGets) {
  int marker = 7;
#define ZERO(operation) EXPECT_EQ(operation(&marker, "text", 1L, 2.0, &marker, 3, 4, 5, 6), 0L);
#define NOTHING(operation) operation(&marker, "text", 1, nullptr);
#define OWN(operation)
#define NOOP(operation, result) result(operation)
#include "brantix/noop.def"
#undef NOOP
#undef OWN
#undef NOTHING
#undef ZERO
  EXPECT_EQ(marker, 7);
  static_assert(sizeof(SCI_getLdapServers()) == sizeof(void*));
}

}  // namespace
