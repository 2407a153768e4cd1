#include <dlfcn.h>
#include <gmock/gmock.h>

#include "brantix/firmware.h"
#include "firmware/fitted_ssd.h"
#include "support/text.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"

namespace {

std::string commands;  // one a line

}  // namespace

/// Hides that of the C library, notes the command and runs it.
extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  commands.append(command).append("\n");
  return reinterpret_cast<decltype(&system)>(dlsym(RTLD_NEXT, "system"))(command);
}

namespace coupler::firmware {
namespace {

using testing::ElementsAre;

class CurrentTest : public test::ApplianceTest {
 protected:
  void ask() {
    testing::internal::CaptureStdout();
    EXPECT_EQ(SCI_readCurrentFirmwareVersions(&report_), 0);
    printed_ = testing::internal::GetCapturedStdout();
  }

  test::LogCapture log_;
  FirmwareInfo report_ = {};
  std::string printed_;
};

TEST_F(CurrentTest, FollowsTheBoard) {
  struct {
    const char* board;
    const char* ssd_present;
    const char* pseq;
    const char* package;
    const char* ssd_version;
    const char* ssd_model;
    const char* printed;
  } rows[] = {
      {"1", "yes", "2.5", "123.0108.0205", "N/A", "N/A", ""},
      {"1", "yes", "2.5.1", "123.", "N/A", "N/A", "invalid 23\n"},
      {"2", "yes", "2.5.1", "123.0108", "HXT7404Q\n", "QRV_MZ240HBLS\n", ""},
      {"3", "yes", "2.5", "123.0108", "HXT7404Q\n", "QRV_MZ240HBLS\n", ""},
      {"2", "no", "2.5", "123.0108", "", "", ""},
      {"4", "yes", "2.5", "123.", "N/A", "N/A", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.board) + " " + row.ssd_present);
    set("board_type", row.board);
    set("ssd_present", row.ssd_present);
    set("pseq_version", row.pseq);
    ask();
    EXPECT_STREQ(report_.packageVersion, row.package);
    EXPECT_STREQ(report_.rommonVersion, "1.2.3");
    EXPECT_STREQ(report_.fpgaVersion, "1.08.00");
    EXPECT_STREQ(report_.pseqVersion, row.pseq);
    EXPECT_STREQ(report_.ssdVersion, row.ssd_version);
    EXPECT_STREQ(report_.ssdModel, row.ssd_model);
    EXPECT_EQ(printed_, row.printed);
  }
}

TEST_F(CurrentTest, DriveIsAskedAfreshAndItsAnswerStays) {
  set("ssd_model", "XM MZ7 LH240");
  set("ssd_revision", std::string(80, 'r'));
  ask();
  EXPECT_EQ(report_.ssdVersion, std::string(63, 'r'));
  EXPECT_STREQ(report_.ssdModel, "XMMZ7LH240\n");
  set("ssd_revision", "B");
  ask();
  EXPECT_STREQ(report_.ssdVersion, "B\n");
  EXPECT_EQ(test::read_file(firmware::kSsdReport), "B\nXMMZ7LH240\n");
}

TEST_F(CurrentTest, DriveIsAskedWithTheseCommands) {
  commands.clear();
  ask();
  EXPECT_EQ(commands,
            "fdisk -l | grep /dev/sda &>/dev/null\n"
            "/sbin/hdparm -I /dev/sda | /bin/grep 'Firmware Revision:' | /usr/bin/awk -F':' '{print $2}' | "
            "/usr/bin/tr -d '[:blank:]' > /tmp/ssd_fwInfo; /sbin/hdparm -I /dev/sda | /bin/grep 'Model "
            "Number:' | /usr/bin/awk -F':' '{print $2}' | /usr/bin/tr -d '[:blank:]' >> /tmp/ssd_fwInfo\n");
}

TEST_F(CurrentTest, ShortFpgaVersionLeavesTheRest) {
  set("fpga_version", "00");
  ask();
  EXPECT_STREQ(report_.packageVersion, "");
  EXPECT_STREQ(report_.fpgaVersion, "00");
  EXPECT_STREQ(report_.ssdModel, "QRV_MZ240HBLS\n");
}

TEST_F(CurrentTest, StatesAreBytesAndOtherFieldsStay) {
  set("boot_status", "-7");
  const char* states[] = {"256", "255", "-1", "3"};
  for (int i = 0; i < 4; ++i) set("upgrade_state_" + std::to_string(i), states[i]);
  Text(report_.lanSpiVersion).copy("1.1");
  Text(report_.imageList[7]).copy("fw.img");
  report_.imageCount = 9;
  report_.ssdMatched = 1;
  ask();
  EXPECT_THAT(report_.upgradeState, ElementsAre(0, 255, 255, 3));
  EXPECT_EQ(report_.bootStatus, -7);
  EXPECT_STREQ(report_.lanSpiVersion, "1.1");
  EXPECT_STREQ(report_.imageList[7], "fw.img");
  EXPECT_EQ(report_.imageCount, 9);
  EXPECT_EQ(report_.ssdMatched, 1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_readCurrentFirmwareVersions|INFO: status -7\n"));
}

TEST_F(CurrentTest, NoRecord) {
  EXPECT_EQ(SCI_readCurrentFirmwareVersions(nullptr), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_readCurrentFirmwareVersions|ERROR: "
                                             "SCI_readCurrentFirmwareVersions: aOutInfo is null\n"));
}

}  // namespace
}  // namespace coupler::firmware
