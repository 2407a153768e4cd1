#include <gmock/gmock.h>

#include "brantix/firmware.h"
#include "support/text.h"
#include "tests/common/appliance.h"

namespace coupler::firmware {
namespace {

using VersionsTest = test::ApplianceTest;

constexpr const char* kFirmware = "/etc/firmware_version.txt";
constexpr const char* kNpu = "/opt/quorva/npu/version.txt";
constexpr const char* kSystem = "/etc/version.txt";

const std::string kAtLoad[] = {gmSystemVersion, gmNpuVersion, gmBiosVersion, gmBrantixMgrVersion};

TEST_F(VersionsTest, StandAtLoadAndWhereNoFileTellsThem) {
  EXPECT_THAT(kAtLoad, testing::ElementsAre("Unknown", "88.88(88.888888)", "Unknown", "Unknown"));
  set("board_type", "1");
  for (const char* path : {kFirmware, kNpu, kSystem}) std::filesystem::remove(path);
  for (Text buffer : {Text(gmBiosVersion), Text(gmNpuVersion), Text(gmSystemVersion)}) buffer.copy("old");
  EXPECT_STREQ(SCI_getFirmwareVersion(), "old");
  EXPECT_STREQ(SCI_getKickstartVersion(), "old");
  EXPECT_STREQ(SCI_getSystemVersion(), "old");
  EXPECT_STREQ(SCI_getKickstartSwid(), "swid-kv3x-npu");
  EXPECT_STREQ(SCI_getSystemSwid(), "swid-kv3x-system");
}

TEST_F(VersionsTest, ComeFromTheirFiles) {
  const std::string full(64, 'v');
  struct {
    const char* what;
    const char* (*query)();
    char (&buffer)[65];
    const char* path;
    std::string content;
    std::string version;
  } rows[] = {
      {"line among others", SCI_getFirmwareVersion, gmBiosVersion, kFirmware,
       "bios version: 9\n rommon version: 8\nrommon version: 1.0.12\nrommon version: 7\n", "1.0.12"},
      {"label alone, without line end", SCI_getFirmwareVersion, gmBiosVersion, kFirmware, "rommon version: ", "old"},
      {"label alone, with line end", SCI_getFirmwareVersion, gmBiosVersion, kFirmware, "rommon version: \n", ""},
      {"other label", SCI_getFirmwareVersion, gmBiosVersion, kFirmware, "Rommon version: 1.0.12\n", "old"},
      {"no line end", SCI_getFirmwareVersion, gmBiosVersion, kFirmware, "rommon version: %s%n", "%s%n"},
      {"too long", SCI_getFirmwareVersion, gmBiosVersion, kFirmware, "rommon version: " + full + "w\n", full},
      {"word and version", SCI_getSystemVersion, gmSystemVersion, kSystem, "label 2.3.1.58\nother 9\n", "2.3.1.58"},
      {"spaces in the version", SCI_getSystemVersion, gmSystemVersion, kSystem, "label  2 3 \n", " 2 3 "},
      {"no space in the first line", SCI_getSystemVersion, gmSystemVersion, kSystem, "label\nlabel 2\n", "old"},
      {"empty file", SCI_getSystemVersion, gmSystemVersion, kSystem, "", "old"},
      {"too long", SCI_getSystemVersion, gmSystemVersion, kSystem, "label " + full + "w\n", full},
      {"word and version", SCI_getKickstartVersion, gmNpuVersion, kNpu, "label 88.1\n", "88.1"},
  };
  set("board_type", "1");
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.path) + ": " + row.what);
    test::write_file(row.path, row.content);
    Text(row.buffer).copy("old");
    EXPECT_EQ(row.query(), row.version);
    EXPECT_EQ(row.buffer, row.version);
  }
}

TEST_F(VersionsTest, KickstartIsEmptyWithoutNpu) {
  test::write_file(kNpu, "label 88.1\n");
  for (const char* board : {"0", "2", "3", "4"}) {
    SCOPED_TRACE(board);
    set("board_type", board);
    Text(gmNpuVersion).copy("old");
    EXPECT_EQ(SCI_getKickstartVersion(), gmNpuVersion);
    EXPECT_STREQ(gmNpuVersion, "");
  }
}

TEST_F(VersionsTest, BiosVersionIsTheCallersOwnCopy) {
  test::write_file(kFirmware, "rommon version: 1.0.12\n");
  char* copy = SCI_getBiosVersion();
  Text(gmBiosVersion).copy("later");
  EXPECT_STREQ(copy, "1.0.12");
  std::free(copy);
}

}  // namespace
}  // namespace coupler::firmware
