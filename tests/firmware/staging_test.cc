#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "brantix/firmware.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::IsEmpty;

class StagingTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories("/mnt/boot/ssd_firmwares");
    write_file(
        bundle_,
        render(bundle({rommon("1.0", "rom"), ssd("S1", "ssd"), image_header({.version = "7"}), text_file("t", "x")})));
    std::memset(&record_, 'x', sizeof(record_));
  }

  LogCapture log_;
  ScratchDirectory directory_;
  const std::string bundle_ = directory_ / "bundle";
  FirmwareInfo record_;
};

TEST_F(StagingTest, AQueryClearsAndFillsItsFieldsOnly) {
  EXPECT_EQ(SCI_readFirmwareImageVersion(bundle_.c_str(), &record_), 0);
  EXPECT_STREQ(record_.packageVersion, "7");
  EXPECT_STREQ(record_.rommonVersion, "1.0");
  EXPECT_STREQ(record_.fpgaVersion, "");
  EXPECT_EQ(record_.fpgaVersion[1], 'x') << "only made empty";
  EXPECT_STREQ(record_.ssdVersion, "S1");
  EXPECT_EQ(record_.imageCount, 1);
  EXPECT_STREQ(record_.imageList[0], "t");
  EXPECT_EQ(record_.imageList[1][0], 'x');
  EXPECT_EQ(record_.ssdModel[0], 'x');
  EXPECT_EQ(record_.bootStatus, 0x78787878);
  EXPECT_EQ(record_.ssdMatched, 0x78787878);
  EXPECT_EQ(names_in(directory_.path()), "bundle");
  EXPECT_THAT(log_.take_lines(), IsEmpty());
}

TEST_F(StagingTest, UnpackingWritesTheParts) {
  EXPECT_EQ(SCI_extractFirmwareImagePayload(bundle_.c_str(), &record_, directory_.path().c_str()), 0);
  EXPECT_EQ(names_in(directory_.path()), "bundle hdr rommon-1.0 t");
  EXPECT_STREQ(record_.ssdModel, "");
  EXPECT_EQ(record_.ssdMatched, 0);
  EXPECT_EQ(record_.bootStatus, 0x78787878);
}

TEST_F(StagingTest, UnpackingSwitchesTheVerboseLinesOnForGood) {
  EXPECT_EQ(SCI_extractFirmwareImagePayload(bundle_.c_str(), nullptr, nullptr), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_extractFirmwareImagePayload|ERROR: aOutInfo is null\n"));
  EXPECT_EQ(SCI_readFirmwareImageVersion(bundle_.c_str(), &record_), 0);
  EXPECT_GT(log_.take_lines().size(), 5u);
}

TEST_F(StagingTest, FailuresNameThePath) {
  write_file(bundle_, render(bundle({rommon("1.0", "rom"), object(orvix_object_keystore)})));
  EXPECT_EQ(SCI_readFirmwareImageVersion(bundle_.c_str(), &record_), -1);
  EXPECT_STREQ(record_.rommonVersion, "1.0");
  EXPECT_EQ(log_.take_lines().back(),
            "info SCI_readFirmwareImageVersion|ERROR: failed to extract firmware info from file " + bundle_ + "\n");
  EXPECT_EQ(SCI_readFirmwareImageVersion(bundle_.c_str(), nullptr), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_readFirmwareImageVersion|ERROR: aOutInfo is null\n"));
}

TEST_F(StagingTest, NoPathLeavesTheRecord) {
  const FirmwareInfo before = record_;
  EXPECT_EQ(SCI_readFirmwareImageVersion(nullptr, &record_), -1);
  EXPECT_EQ(SCI_extractFirmwareImagePayload(nullptr, &record_, "/tmp"), -1);
  const std::string text = "|ERROR: failed to extract firmware info from file (null)\n";
  EXPECT_THAT(log_.take_lines(),
              ElementsAre("info SCI_readFirmwareImageVersion" + text, "info SCI_extractFirmwareImagePayload" + text));
  EXPECT_EQ(std::memcmp(&before, &record_, sizeof(record_)), 0);
  EXPECT_EQ(cs_debug_verbose, 1);
}

TEST_F(StagingTest, StagingPassesThePathOn) {
  const std::string settings = directory_ / "platform.conf";
  setenv("COUPLER_PLATFORM", settings.c_str(), 1);
  EXPECT_EQ(SCI_setFirmwareVersion(bundle_.c_str()), 0);
  EXPECT_THAT(read_file(settings), testing::HasSubstr("staged = " + bundle_ + "\n"));
  EXPECT_THAT(
      log_.take_lines(),
      testing::Contains("info SCI_setFirmwareVersion|INFO: successful set to upgrade firmware " + bundle_ + "\n"));
  for (const char* refusal : {"7", "-3"}) {
    write_file(settings, std::string("upgrade_result = ") + refusal + "\n");
    EXPECT_EQ(SCI_setFirmwareVersion(bundle_.c_str()), -1);
    EXPECT_EQ(log_.take_lines().back(),
              std::string("info SCI_setFirmwareVersion|ERROR: failed to set firmware upgrade ") + refusal + "\n");
  }
  EXPECT_EQ(SCI_setFirmwareVersion(nullptr), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_setFirmwareVersion|ERROR: inNewVersionFilePath is null\n"));
  unsetenv("COUPLER_PLATFORM");
}

}  // namespace
