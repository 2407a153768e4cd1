// Roles from a `groups` of our own, the fixed answers, and the operations that do nothing.
#include "brantix/access.h"

#include <gtest/gtest.h>

#include "brantix/noop.h"
#include "tests/common/files.h"

namespace {

using namespace coupler::test;

TEST(RolesTest, FollowTheFirstLineOfGroupsWhichGetsTheNameAsOneArgument) {
  write_script("/tmp/groups", "printf '<%s>' \"$@\" > /tmp/arguments; cat /tmp/line\n");
  setenv("PATH", (std::string("/tmp:") + getenv("PATH")).c_str(), 1);
  const std::string x(1014, 'x');
  const struct {
    std::string user, line, role;
    int32_t size = 32;
  } rows[] = {
      {"bob", "bob : x-read-only staff ldapgroup\n", "0 admin read-only"},
      {"x; touch /tmp/y", "x : read-only-2\n", "0 read-only"},
      {std::string(256, '\n'), "user : staff\nldapgroup\n", "1 untouched"},
      {"", x + "ldapgroup\n", "0 admin read-only"},  // 1,023 characters count
      {"", x + "xldapgroup\n", "1 untouched"},
      {"", "", "1 untouched"},
      {"", "read-only", "0 read", 5},
      {"", "read-only", "0 ", 1},
      {"", "read-only", "0 untouched", -1},
  };
  for (const auto& [user, line, wanted, size] : rows) {
    write_file("/tmp/line", line);
    char role[32] = "untouched";
    const int32_t result = SCI_getUserRoles(user.c_str(), role, size);
    EXPECT_EQ(std::to_string(result) + ' ' + role, wanted) << line;
    EXPECT_EQ(read_file("/tmp/arguments"), "<" + user.substr(0, 255) + ">");
  }
  EXPECT_EQ(SCI_getUserRoles("user", nullptr, 5), 0);
  EXPECT_EQ(SCI_getUserRoles(nullptr, nullptr, 5), 1);
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
