#include "brantix/commands.h"

#include <gmock/gmock.h>

#include "tests/common/log_capture.h"

namespace {

using coupler::test::LogCapture;
using testing::ElementsAre;

class CommandsTest : public testing::Test {
 protected:
  void SetUp() override { grand_daddy_of_all_commands[0] = nullptr; }
  void TearDown() override { VER_0_CMDS[BRANTIX_COMMAND_COUNT] = guard_; }

  LogCapture log_;
  const char* guard_ = VER_0_CMDS[BRANTIX_COMMAND_COUNT];
};

TEST_F(CommandsTest, SelectsTheTable) {
  CUR_VER = 7;
  EXPECT_EQ(SC_Get_command(0), nullptr);
  log_.take_lines();
  EXPECT_EQ(SC_Initialize_commands(), 0);
  EXPECT_EQ(CUR_VER, 0);
  EXPECT_EQ(grand_daddy_of_all_commands[0], VER_0_CMDS);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre("info SC_Initialize_commands|Number of commands in array = 447 and in enums = 447",
                          "info SC_Initialize_commands|Command array and enum matches!"));
}

TEST_F(CommandsTest, RefusesADamagedTable) {
  for (const char* guard : {"Array Guard ", "Array Guar", "", static_cast<const char*>(nullptr)}) {
    VER_0_CMDS[BRANTIX_COMMAND_COUNT] = guard;
    log_.take_lines();
    EXPECT_EQ(SC_Initialize_commands(), -1);
    EXPECT_EQ(log_.take_lines().at(1),
              "info SC_Initialize_commands|Looks like command array for version 0 is corrupted!");
    EXPECT_EQ(grand_daddy_of_all_commands[0], nullptr);
    EXPECT_EQ(SC_Get_command(0), nullptr);
  }
}

TEST_F(CommandsTest, HandsOutTemplates) {
  SC_Initialize_commands();
  log_.take_lines();
  EXPECT_STREQ(SC_Get_command(0), "configure terminal");
  EXPECT_STREQ(SC_Get_command(38), "fex associate %u chassis-serial \"%s\" module-serial \"%s\" module-slot %s");
  EXPECT_STREQ(SC_Get_command(120), SC_Get_command(314));
  EXPECT_STREQ(SC_Get_command(316), "no switchport access vlan ");
  EXPECT_STREQ(SC_Get_command(446), "show pkt-capture-sessions");
  EXPECT_THAT(log_.take_lines(), ElementsAre());
  EXPECT_EQ(SC_Get_command(447), nullptr);
  EXPECT_EQ(SC_Get_command(static_cast<unsigned>(-1)), nullptr);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre("info SC_Get_command|Invalid cmd (447)", "info SC_Get_command|Invalid cmd (-1)"));
}

// The application fills the placeholders by their count, so a lost or doubled one would shift its arguments.
TEST_F(CommandsTest, HoldsOnlyKnownPlaceholders) {
  std::map<std::string, int> count;
  for (int i = 0; i < BRANTIX_COMMAND_COUNT; ++i) {
    const std::string text = VER_0_CMDS[i];
    for (size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
      ++count[text.substr(at, text.compare(at, 4, "%02x") == 0 ? 4 : 2)];
    }
  }
  EXPECT_EQ(count, (std::map<std::string, int>{{"%u", 203}, {"%s", 181}, {"%d", 18}, {"%02x", 12}}));
}

}  // namespace
