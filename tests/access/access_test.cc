// Roles from a `groups` of our own, the fixed answers, and the operations that do nothing.
#include "brantix/access.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "brantix/noop.h"
#include "tests/common/files.h"

namespace {

using namespace coupler::test;

/// A `groups` that tells its arguments and prints a line.
class RolesTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("PATH", (directory_.path() + ":" + old_path_).c_str(), 1);
    write_file(directory_ / "groups",
               "#!/bin/sh\nprintf '<%s>' \"$@\" > " + directory_ / "arguments" + "; cat " + directory_ / "line" + "\n");
    chmod((directory_ / "groups").c_str(), 0755);
  }
  void TearDown() override { setenv("PATH", old_path_.c_str(), 1); }

  std::string role_of(const std::string& line, const std::string& user = "user", int32_t size = 32) {
    char role[32] = "untouched";
    write_file(directory_ / "line", line);
    const int32_t result = SCI_getUserRoles(user.c_str(), role, size);
    return std::to_string(result) + ' ' + role;
  }

  ScratchDirectory directory_;
  const std::string old_path_ = getenv("PATH");
};

TEST_F(RolesTest, FollowsTheFirstLineOfGroups) {
  EXPECT_EQ(role_of("user : x-read-only staff ldapgroup\n"), "0 admin read-only");
  EXPECT_EQ(role_of("user : read-only-2\n"), "0 read-only");
  EXPECT_EQ(role_of("ldapgroupie : staff"), "0 admin read-only");
  EXPECT_EQ(role_of("user : staff\nldapgroup\n"), "1 untouched");
  EXPECT_EQ(role_of(std::string(1014, 'x') + "ldapgroup\n"), "0 admin read-only");  // 1,023 characters count
  EXPECT_EQ(role_of(std::string(1015, 'x') + "ldapgroup\n"), "1 untouched");
  EXPECT_EQ(role_of(""), "1 untouched");
  EXPECT_EQ(role_of("read-only", "user", 5), "0 read");
  EXPECT_EQ(role_of("read-only", "user", 0), "0 untouched");
  EXPECT_EQ(role_of("read-only", "user", -1), "0 untouched");
  EXPECT_EQ(SCI_getUserRoles("user", nullptr, 5), 0);
  EXPECT_EQ(SCI_getUserRoles(nullptr, nullptr, 5), 1);
}

TEST_F(RolesTest, ANameIsOneArgument) {
  for (const std::string& name : {std::string("bob"), std::string(), std::string("a b"), std::string("x; touch /tmp/y"),
                                  std::string(255, '\'')}) {
    role_of("", name);
    EXPECT_EQ(read_file(directory_ / "arguments"), "<" + name + ">");
  }
  role_of("", std::string(256, '\n'));
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
