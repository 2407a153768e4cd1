// The stand-ins of firmware library and board query: what they make of the settings, and what staging leaves there.
#include "platform/firmware/melskfw.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "platform/board/board.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"

namespace coupler::test {
namespace {

constexpr const char *kSettings = "/tmp/platform.conf", *kFirmware = "/tmp/firmware";

TEST(PlatformFirmwareTest, SettingsAreReadAsAPersonWritesThemAndMistakesToldOnce) {
  setenv("COUPLER_PLATFORM", kSettings, 1);
  const std::tuple<std::string, int, std::string> rows[] = {
      {"", 2, ""},
      {"\tboard_type=1 \r\n", 1, ""},
      {"# board_type = 3\n# bord = 1\n", 2, ""},
      {"board_type = 1\n\nboard_type = 3", 3, ""},
      {"board_type = x\nboard_type = seven\n", 2, "board_type = seven is no number"},
      {"board_type = 3x\n", 3, "board_type = 3x is no number"},
      {"board_type = 99999999999\n", 2, "board_type = 99999999999 is no number"},
      {"board_type\n= 3\nbord = 3\nbord = 1\n", 2, "no key bord"},
      {read_file("/etc/platform.conf"), 2, ""},
  };
  for (const auto& [text, board, told] : rows) {
    SCOPED_TRACE(text);
    write_file(kSettings, text);
    testing::internal::CaptureStderr();
    melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr);
    for (int again = 0; again < 2; ++again) EXPECT_EQ(get_platform_board_type(), board);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told.empty() ? "" : "platform settings: " + told + "\n");
  }
}

TEST(PlatformFirmwareTest, StagingKeepsTheRestAndTheModeAndARefusedOneEverything) {
  LogCapture log;
  setenv("COUPLER_PLATFORM", kSettings, 1);
  write_file(kFirmware, "x");
  melskfw_initBrantixDebug(debug, info, critical, gLogPelkFn, gLogPelkModuleOffset);
  write_file(kSettings, "# mine\nupgrade_state_2 = 3\nboard_type = 1\n");
  chmod(kSettings, 0640);
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), 0);
  const std::string staged = read_file(kSettings);
  EXPECT_THAT(staged, testing::StartsWith("# mine\nboard_type = 1\nstaged = /tmp/firmware\n"));
  for (int component = 0; component < 4; ++component) EXPECT_EQ(melskfw_getUpgState(component), 1);
  EXPECT_EQ(std::filesystem::status(kSettings).permissions(), std::filesystem::perms(0640));

  write_file("/tmp/fw\nboard_type = 1", "x");
  for (const char* path : {static_cast<const char*>(nullptr), "", "/tmp/none", "/tmp/fw\nboard_type = 1"}) {
    EXPECT_NE(melskfw_upgradeStart(path), 0);
    EXPECT_THAT(log.take_lines(),
                testing::ElementsAre(testing::StartsWith("critical melskfw_upgradeStart|cannot stage ")));
  }
  EXPECT_EQ(read_file(kSettings), staged);

  const char* version = melskfw_readVersionRommon();
  write_file(kSettings, "rommon_version = " + std::string(100, '7'));
  EXPECT_EQ(melskfw_readVersionRommon(), version);
  EXPECT_EQ(version, std::string(63, '7')) << "the text stays where it is and follows its setting";
  log.set_threshold(critical + 1);
  EXPECT_NE(melskfw_upgradeStart("/tmp/none"), 0);
  setenv("COUPLER_PLATFORM", "/none/platform.conf", 1);
  EXPECT_NE(melskfw_upgradeStart(kFirmware), 0);
  unsetenv("COUPLER_PLATFORM");
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), 0);
  EXPECT_EQ(melskfw_getUpgState(3), 1);
  EXPECT_THAT(log.take_lines(), testing::IsEmpty());
  melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr);
}

}  // namespace
}  // namespace coupler::test
