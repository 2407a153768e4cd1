// What the appliance tells of the firmware it has: versions, the fitted drive, the boot loader's images.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "firmware/fitted_ssd.h"
#include "firmware/package_version.h"
#include "support/text.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"

namespace coupler::firmware {
namespace {

using testing::ElementsAre;

const std::string kAtLoad[] = {gmSystemVersion, gmNpuVersion, gmBiosVersion, gmBrantixMgrVersion};

class ReportsTest : public test::ApplianceTest {
 protected:
  test::LogCapture log_;
  FirmwareInfo report_ = {};
};

struct VersionFile {
  const char* (*query)();
  char (&version)[65];
  const char* path;
};
const VersionFile kBios{SCI_getFirmwareVersion, gmBiosVersion, "/etc/firmware_version.txt"},
    kNpu{SCI_getKickstartVersion, gmNpuVersion, "/opt/quorva/npu/version.txt"},
    kSystem{SCI_getSystemVersion, gmSystemVersion, "/etc/version.txt"};

TEST_F(ReportsTest, VersionsComeFromTheirFiles) {
  EXPECT_THAT(kAtLoad, ElementsAre("Unknown", "88.88(88.888888)", "Unknown", "Unknown"));
  const std::string label = "rommon version: ", full(64, 'v');
  const std::tuple<const VersionFile&, std::string, std::string> rows[] = {
      {kBios, "bios version: 9\n rommon version: 8\n" + label + "1.0.12\n" + label + "7\n", "1.0.12"},
      {kBios, label, "old"},  // at least the line's end must follow
      {kBios, label + "\n", ""},
      {kBios, "Rommon version: 1.0.12\n", "old"},
      {kBios, label + "%s%n", "%s%n"},
      {kBios, label + full + "w\n", full},
      {kSystem, "label 2.3.1.58\nother 9\n", "2.3.1.58"},
      {kSystem, "label  2 3 \n", " 2 3 "},
      {kSystem, "label\nlabel 2\n", "old"},
      {kSystem, "", "old"},
      {kSystem, "label " + full + "w\n", full},
      {kSystem, std::string(4096, 'l') + " 2\n", "old"},
      {kNpu, "label 88.1\n", "88.1"},
      {kNpu, "label\nlabel 2\n", "old"},
  };
  set("board_type", "1");
  for (const auto& [file, content, version] : rows) {
    test::write_file(file.path, content);
    Text(file.version).copy("old");
    EXPECT_EQ(file.query(), version) << content;
    EXPECT_EQ(file.version, version);
    std::filesystem::remove(file.path);
    EXPECT_EQ(file.query(), version) << "the last answer";
  }
  set("board_type", "0");
  EXPECT_STREQ(SCI_getKickstartVersion(), "") << "there is no such unit on that board";
  EXPECT_STREQ(SCI_getKickstartSwid(), "swid-kv3x-npu");
  EXPECT_STREQ(SCI_getSystemSwid(), "swid-kv3x-system");
  Text(gmBiosVersion).copy(full);
  char* copy = SCI_getBiosVersion();
  Text(gmBiosVersion).copy("later");
  EXPECT_EQ(copy, full) << "it is the caller's own";
  std::free(copy);
}

TEST_F(ReportsTest, CurrentVersionsFollowTheBoard) {
  const struct {
    const char *board, *ssd_present, *pseq, *package, *ssd_version, *ssd_model, *printed;
  } rows[] = {
      {"1", "yes", "2.5.1", "123.", "N/A", "N/A", "invalid 23\n"},
      {"2", "yes", "2.5.1", "123.0108", "HXT7404Q\n", "QRV_MZ240HBLS\n", ""},
      {"2", "no", "2.5", "123.0108", "", "", ""},
      {"4", "yes", "2.5", "123.", "N/A", "N/A", ""},
  };
  set("boot_status", "-7");
  const char* states[] = {"256", "255", "-1", "3"};
  for (int i = 0; i < 4; ++i) set("upgrade_state_" + std::to_string(i), states[i]);
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.board) + " " + row.ssd_present);
    set("board_type", row.board);
    set("ssd_present", row.ssd_present);
    set("pseq_version", row.pseq);
    std::memset(&report_, 'x', sizeof(report_));
    testing::internal::CaptureStdout();
    EXPECT_EQ(SCI_readCurrentFirmwareVersions(&report_), 0);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_THAT((std::vector<std::string>{report_.packageVersion, report_.rommonVersion, report_.fpgaVersion,
                                          report_.pseqVersion, report_.ssdVersion, report_.ssdModel, printed}),
                ElementsAre(row.package, "1.2.3", "1.08.00", row.pseq, row.ssd_version, row.ssd_model, row.printed));
    EXPECT_EQ(report_.packageVersion[62] + report_.ssdVersion[62] + report_.ssdModel[62], 0) << "cleared to the end";
    EXPECT_EQ(report_.lanSpiVersion[0] + report_.imageList[7][0], 'x' + 'x') << "other fields stay";
    EXPECT_TRUE(report_.imageCount == 0x78787878 && report_.ssdMatched == 0x78787878);
    EXPECT_THAT(report_.upgradeState, ElementsAre(0, 255, 255, 3));
    EXPECT_EQ(report_.bootStatus, -7);
    EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_readCurrentFirmwareVersions|INFO: status -7\n"));
  }
}

TEST_F(ReportsTest, DriveIsAskedAfreshAndItsAnswerStays) {
  set("ssd_model", "XM MZ7 LH240");
  set("ssd_revision", std::string(80, 'r'));
  SCI_readCurrentFirmwareVersions(&report_);
  EXPECT_EQ(report_.ssdVersion, std::string(63, 'r'));
  EXPECT_STREQ(report_.ssdModel, "XMMZ7LH240\n");
  set("ssd_revision", "B");
  test::take_commands();
  SCI_readCurrentFirmwareVersions(&report_);
  EXPECT_STREQ(report_.ssdVersion, "B\n");
  EXPECT_EQ(test::read_file(kSsdReport), "B\nXMMZ7LH240\n");
  EXPECT_EQ(test::take_commands(),
            "fdisk -l | grep /dev/sda &>/dev/null\n"
            "/sbin/hdparm -I /dev/sda | /bin/grep 'Firmware Revision:' | /usr/bin/awk -F':' '{print $2}' | "
            "/usr/bin/tr -d '[:blank:]' > /tmp/ssd_fwInfo; /sbin/hdparm -I /dev/sda | /bin/grep 'Model "
            "Number:' | /usr/bin/awk -F':' '{print $2}' | /usr/bin/tr -d '[:blank:]' >> /tmp/ssd_fwInfo\n");
}

TEST(PackageVersionTest, FollowsTheBoard) {
  const std::string full(63, '7');
  const struct {
    int board;
    std::string rommon, fpga, pseq, package;
    bool valid = true;
  } rows[] = {
      {1, "1.2.3", "1.08.00", "12.15", "123.0108.1215"},
      {1, "1.2.3", "1.08.00", "2", "123.", false},
      {1, "1.2.3", "9999999999.00", "-9999999999.1.2", "123.2147483647-2147483648.0102"},
      {2, "1.2.3", "2.03.00", "2.5", "123.0203"},
      {3, "1.2.3", "12.345.00", "2.5", "123.12345"},
      {2, "1.2.3", "20300", "2.5", "123."},
      {2, "1.2.3", "x.y00", "", "123.0000"},
      {1, "1.2.3", "00", "2.5", ""},
      {2, full, "203", "", full},
      {2, "1", "1." + std::string(58, '0') + "500", "", "1.0105"},
      {1, "1", "1.2.300", '.' + std::string(57, '0') + '5', "1.0102.0300"},  // 63 characters of both count
      {1, "1", "1.2.3." + full, ".4", "1.", false},
  };
  for (const auto& row : rows) {
    char package[64] = "old";
    const bool valid =
        compose_package_version(row.board, row.rommon.c_str(), row.fpga.c_str(), row.pseq.c_str(), package);
    EXPECT_EQ(valid, row.valid) << row.board << " " << row.fpga << " " << row.pseq;
    EXPECT_EQ(package, row.package) << row.board << " " << row.fpga << " " << row.pseq;
  }
}

TEST_F(ReportsTest, FittedSsdIsTheLastWordOfTheSecondLine) {
  const std::string before = "before and longer";
  const std::pair<std::string, std::string> rows[] = {
      {"HXT7404Q\nXM_MZ7LH240 HBLS\n", "HBLS"},
      {"HXT7404Q\n" + std::string(4093, 'x') + "_ABC\n", "A"},
      {"HXT7404Q\nMZ240\n", "MZ240"},
      {"HXT7404Q\n_XM__MZ7 _\n", "MZ7"},
      {"HXT7404Q\nXM_ABCDEFGHIJKLMNOPQRSTUVWXYZ\n", "ABCDEFGHIJKLMNOPQRSTUVW"},
      {"HXT7404Q\nMZ240", "MZ24"},  // the last character is the line's end, whatever it is
      {"HXT7404Q\n_ _\n", before},
      {"HXT7404Q\n\n", before},
      {"HXT7404Q\n", before},
      {"", before},
  };
  for (auto [report, model] : rows) {
    test::write_file(kSsdReport, report);
    Text(equipped_ssd_model_num).fill(before);
    get_equipped_ssd_modelNumber();
    model.resize(sizeof(equipped_ssd_model_num));
    EXPECT_EQ(std::string(equipped_ssd_model_num, sizeof(equipped_ssd_model_num)), model) << report;
  }
  std::filesystem::remove(kSsdReport);
  get_equipped_ssd_modelNumber();
  EXPECT_EQ(equipped_ssd_model_num, before);
}

constexpr const char *kMissing = nullptr, *kUnopenable = "a socket";
constexpr const char* kMarkers[] = {"/mnt/boot/.boot_string", "/mnt/boot/.boot_npu", "/mnt/boot/.boot_brantixmgr"};

void place(const char* path, const char* content) {
  std::filesystem::remove(path);
  if (content == kMissing) return;
  if (content != kUnopenable) return test::write_file(path, content);
  ASSERT_EQ(::mknod(path, S_IFSOCK | 0600, 0), 0);
}

/// @return its images and its detail, each with a '|'; an image that is its marker's own path is "own"
std::string told_by(const BootloaderSysNames& names) {
  const char* const images[] = {names.bootStringImage, names.npuImage, names.managementImage};
  std::string told;
  for (int i = 0; i < 3; ++i) told += std::string(images[i] == std::string(kMarkers[i]) ? "own" : images[i]) + '|';
  return told + names.managementDetail + '|';
}

TEST_F(ReportsTest, BootMarkersAreReadAsTheyAreWrittenAndFailuresToldInTheirOrder) {
  const std::string full(255, 'x'), longer = full + "y", boot = "a:" + longer, management = longer + " " + longer;
  constexpr const char *kAccess = "access file ", *kOpen = "open file ", *kRead = "read the file ", *kNone = nullptr;
  const struct {
    const char* contents[3];
    std::string names;
    const char* failures[3] = {};
    int32_t result = 0;
  } rows[] = {
      {{"::a::b:c\n", "an image\nother\n", "first second third\n"}, "/mnt/boot/b|an image|first|second|"},
      {{"a\nb\n", "\nother\n", "first\n"}, "own|own|first||"},
      {{":\n", "n", "first "}, "own|n|first||"},
      {{"a:b", "n", " second"}, "/mnt/boot/b|n||second|"},
      {{"a:b:", "n", "\n"}, "/mnt/boot/b|n|||"},
      {{"a:b", "n", "first  third\n"}, "/mnt/boot/b|n|first||"},
      {{boot.c_str(), longer.c_str(), management.c_str()},
       "/mnt/boot/" + full.substr(10) + '|' + full + '|' + full + '|' + full + '|'},
      {{kMissing, kMissing, kMissing}, "own|own|own|-|", {kAccess, kAccess, kAccess}},
      {{kUnopenable, kUnopenable, kUnopenable}, "own|own|own|-|", {kOpen, kOpen, kOpen}},
      {{"", "n\n", "m d\n"}, "own|own|own|-|", {kRead, kNone, kNone}, -1},
      {{"a:b\n", "", ""}, "/mnt/boot/b|own|own|-|", {kNone, kRead, kRead}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> log;
    std::string last = "-";
    for (int i = 0; i < 3; ++i) {
      place(kMarkers[i], row.contents[i]);
      if (row.failures[i] == kNone) continue;
      const std::string failed = std::string("failed to ") + row.failures[i] + kMarkers[i] + "\n";
      log.push_back("info SCI_getBootloaderSysNames|ERROR: SCI_getBootloaderSysNames: " + failed);
      if (i < 2) last = "INFO: " + failed;
    }
    BootloaderSysNames names;
    char message[256];
    for (Text field : {Text(names.reserved), Text(names.managementDetail), Text(message)}) field.copy("-");
    EXPECT_EQ(SCI_getBootloaderSysNames(&names, message), row.result);
    EXPECT_EQ(told_by(names) + names.reserved, row.names + '-');
    EXPECT_EQ(log_.take_lines(), log);
    EXPECT_EQ(message, last);
  }
}

}  // namespace
}  // namespace coupler::firmware
