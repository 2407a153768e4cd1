#include <gmock/gmock.h>

#include "brantix/coupler.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"
#include "tools/pack/ssd_file.h"

namespace coupler {
namespace {

class UpgradeTest : public test::ApplianceTest {
 protected:
  test::LogCapture log_;
  FirmwareInfo info_ = {};
};

std::string drive_firmware() {
  const std::string binary(3'000'000, 's');
  return pack::ssd_head({"QRV", {"MZ120HBLS", "MZ240HBLS"}, "HXT7405Q"}, binary.size()) + binary;
}

pack::Container firmware_bundle() {
  const pack::Container image = pack::image({.version = "4.2(1)", .filename = "fw.img"});
  return pack::bundle({pack::image_header({.version = "4.2(1)", .filename = "fw.img"}), pack::rommon("1.0.5", "rommon"),
                       pack::fpga("2.04.00", "fpga"), pack::pseq("2.6", "pseq"), pack::lan_spi("1.1", "lan"),
                       pack::ssd("HXT7405Q", drive_firmware()), pack::image_file("fw.img", image),
                       pack::text_file("verify_firmware.py", "pass")});
}

TEST_F(UpgradeTest, FromBundleToStagedFirmware) {
  const test::ScratchDirectory scratch;
  const std::string bundle = scratch / "bundle.img";
  const std::string parts = scratch / "parts";
  std::filesystem::create_directory(parts);
  pack::write_file(firmware_bundle(), bundle);

  ASSERT_EQ(SCI_extractFirmwareImagePayload(bundle.c_str(), &info_, parts.c_str()), 0);
  EXPECT_STREQ(info_.packageVersion, "4.2(1)");
  EXPECT_STREQ(info_.ssdVersion, "HXT7405Q");
  EXPECT_EQ(info_.imageCount, 1);
  EXPECT_EQ(test::names_in(parts),
            "LanSpi-1.1 PowerSequencer-2.6 fpga-2.04.00 fw.img hdr rommon-1.0.5 verify_firmware.py");
  EXPECT_EQ(test::names_in("/mnt/boot/ssd_firmwares"), "ssd-HXT7405Q");

  ASSERT_EQ(SCI_readCurrentFirmwareVersions(&info_), 0);
  EXPECT_STREQ(info_.packageVersion, "123.0108");
  EXPECT_STREQ(info_.ssdModel, "QRV_MZ240HBLS\n");
  EXPECT_THAT(info_.upgradeState, testing::Each(0));

  ASSERT_EQ(SCI_extractSsdfirmwareBinary("/mnt/boot/ssd_firmwares/ssd-HXT7405Q", &info_), 0);
  EXPECT_EQ(info_.ssdMatched, 1);
  EXPECT_STREQ(equipped_ssd_model_num, "MZ240HBLS");
  EXPECT_TRUE(test::read_file("/mnt/boot/equipped_ssd_firmware/ssd-HXT7405Q") == std::string(3'000'000, 's'));

  log_.take_lines();
  ASSERT_EQ(SCI_setFirmwareVersion(bundle.c_str()), 0);
  ASSERT_EQ(SCI_readCurrentFirmwareVersions(&info_), 0);
  EXPECT_THAT(info_.upgradeState, testing::Each(1));
  EXPECT_THAT(
      log_.take_lines(),
      testing::ElementsAre("info SCI_setFirmwareVersion|INFO: successful set to upgrade firmware " + bundle + "\n",
                           "info SCI_readCurrentFirmwareVersions|INFO: status 0\n"));
}

}  // namespace
}  // namespace coupler
