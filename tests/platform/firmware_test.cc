#include "platform/firmware/melskfw.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/board/board.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr char kSettings[] = "/tmp/platform.conf";
constexpr char kFirmware[] = "/tmp/firmware";
constexpr int kDebug = 1, kInfo = 5, kCritical = 9;

std::string logged;

void log_line(const char* operation, int*, int level, const char* format, ...) __attribute__((format(printf, 4, 5)));
void log_line(const char* operation, int*, int level, const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  logged += std::to_string(level) + " " + operation + ": " + line;
}

void write(const char* path, const std::string& text) { std::ofstream(path) << text; }

std::string read(const char* path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

class PlatformFirmwareTest : public testing::Test {
 protected:
  PlatformFirmwareTest() {
    logged.clear();
    setenv("COUPLER_PLATFORM", kSettings, 1);
    write(kSettings, "");
    write(kFirmware, "x");
    melskfw_initBrantixDebug(kDebug, kInfo, kCritical, log_line, &threshold_);
  }
  ~PlatformFirmwareTest() override { melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr); }

  int threshold_ = kDebug;
};

TEST_F(PlatformFirmwareTest, SettingsAreReadAsAPersonWritesThem) {
  const struct {
    const char* text;
    int board;
  } rows[] = {
      {"", 2},
      {"board_type = 3", 3},
      {"\tboard_type=1 \r\nboot_status = 5\n", 1},
      {"# board_type = 3\n", 2},
      {"board_type = 1\n\nboard_type = 3\n", 3},
      {"board_type = seven\n", 2},
      {"board_type = 99999999999\n", 2},
      {"board_type\n= 3\nboard_type_of_another = 3\n", 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    write(kSettings, row.text);
    EXPECT_EQ(get_platform_board_type(), row.board);
  }
  setenv("COUPLER_PLATFORM", "/tmp/none", 1);
  EXPECT_EQ(get_platform_board_type(), 2);
}

TEST_F(PlatformFirmwareTest, VersionTextStaysWhereItIsAndFollowsItsSetting) {
  const char* version = melskfw_readVersionRommon();
  EXPECT_STREQ(version, "1.2.3");
  write(kSettings, "rommon_version = 2.0 #4\n");
  EXPECT_EQ(melskfw_readVersionRommon(), version);
  EXPECT_STREQ(version, "2.0 #4");
  write(kSettings, "rommon_version =\nfpga_version = " + std::string(100, '7'));
  EXPECT_STREQ(melskfw_readVersionRommon(), "");
  EXPECT_EQ(melskfw_readVersionFpga(), std::string(63, '7'));
}

TEST_F(PlatformFirmwareTest, StagingIsSeenByOthersAndKeepsTheRest) {
  write(kSettings, "# mine\nupgrade_state_2 = 3\nboard_type = 1\n");
  chmod(kSettings, 0640);
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), 0);
  const std::string text = read(kSettings);
  EXPECT_THAT(text, StartsWith("# mine\nboard_type = 1\n"));
  EXPECT_THAT(text, HasSubstr("staged = /tmp/firmware\n"));
  for (int component = 0; component < 4; ++component) EXPECT_EQ(melskfw_getUpgState(component), 1);
  struct stat after {};
  stat(kSettings, &after);
  EXPECT_EQ(after.st_mode & 07777U, 0640U);
  EXPECT_EQ(logged, "");
}

TEST_F(PlatformFirmwareTest, RefusedStagingChangesNothing) {
  write("/tmp/fw\nboard_type = 1", "x");
  for (const char* path : {static_cast<const char*>(nullptr), "", "/tmp/none", "/tmp/fw\nboard_type = 1"}) {
    logged.clear();
    EXPECT_NE(melskfw_upgradeStart(path), 0);
    EXPECT_THAT(logged, StartsWith("9 melskfw_upgradeStart: cannot stage "));
    EXPECT_EQ(read(kSettings), "");
  }
  write(kSettings, "upgrade_result = -7\n");
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), -7);
  setenv("COUPLER_PLATFORM", "/none/platform.conf", 1);
  EXPECT_NE(melskfw_upgradeStart(kFirmware), 0);
  EXPECT_EQ(melskfw_getUpgState(0), 0);
}

TEST_F(PlatformFirmwareTest, WithoutASettingsFileStagingLastsAsLongAsTheProcess) {
  unsetenv("COUPLER_PLATFORM");
  EXPECT_EQ(melskfw_getUpgState(3), 0);
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), 0);
  EXPECT_EQ(melskfw_getUpgState(3), 1);
}

TEST_F(PlatformFirmwareTest, LinesPassTheHostsGate) {
  threshold_ = kCritical;
  melskfw_upgradeStart(kFirmware);
  EXPECT_EQ(logged, "");
  melskfw_upgradeStart("/tmp/none");
  EXPECT_NE(logged, "");
  logged.clear();
  melskfw_initBrantixDebug(kDebug, kInfo, kCritical, log_line, nullptr);
  melskfw_upgradeStart("/tmp/none");
  melskfw_initBrantixDebug(kDebug, kInfo, kCritical, nullptr, &threshold_);
  melskfw_upgradeStart("/tmp/none");
  EXPECT_EQ(logged, "");
}

}  // namespace
