// SSD firmware files of every kind, whole and damaged, and the drives that they are for.
#include "firmware/ssd_firmware.h"

#include <gmock/gmock.h>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "firmware/fitted_ssd.h"
#include "support/text.h"
#include "tests/common/appliance.h"
#include "tests/common/damage.h"
#include "tests/common/log_capture.h"
#include "tools/pack/ssd_file.h"

namespace coupler::firmware {
namespace {

using test::cut_at;
using test::set_byte;
using test::set_bytes;

constexpr const char* kFile = "/tmp/ssd_firmware";
constexpr const char* kEquipped = "/mnt/boot/equipped_ssd_firmware";
const std::string kBinary = "firmware of the drive";

std::string file_for(const std::vector<std::string>& models, const std::string& version = "A12B") {
  return pack::ssd_head({"IDENT", models, version}, kBinary.size()) + kBinary;
}

class SsdFirmwareTest : public test::ApplianceTest {
 protected:
  int32_t extract(const std::string& content) {
    std::filesystem::remove_all(kEquipped);
    std::filesystem::create_directories(kEquipped);
    test::write_file(kFile, content);
    test::write_file(kSsdReport, "HXT7404Q\nHBLS\n");
    Text(report_.ssdModel).copy(std::string(63, 'm'));
    Text(report_.ssdVersion).copy(std::string(63, 'v'));
    report_.ssdMatched = 7;
    return SCI_extractSsdfirmwareBinary(kFile, &report_);
  }

  test::LogCapture log_;
  FirmwareInfo report_ = {};
};

TEST_F(SsdFirmwareTest, FilesOfEveryKind) {
  const std::string good = file_for({"MZ240HBLS"});
  const struct {
    const char* what;
    std::string content;
    int32_t result, matched;
    const char *model, *version, *files;
  } rows[] = {
      {"for another drive", file_for({"OTHER"}), 0, 0, "IDENT", "", ""},
      {"model across two entries", file_for({"ABCDEFGHIJKLMNHB", "LS"}), 0, 1, "IDENT", "A12B", "ssd-A12B"},
      {"list ended by a zero byte", set_byte(kModelsAt, '\0', good), 0, 0, "IDENT", "", ""},
      {"no models", file_for({}), -1, 0, "IDENT", "", ""},
      {"count with a sign", set_bytes(kCountAt, "+1", good), -1, 0, "IDENT", "", ""},
      {"count with a letter", set_bytes(kCountAt, "1x", good), -1, 0, "IDENT", "", ""},
      {"count beyond the file", set_bytes(kCountAt, "99", good), -1, 1, "IDENT", "", ""},
      {"empty", "", -1, 0, "", "", ""},
      {"nothing behind the start", cut_at(kIdentificationAt, good), -1, 0, "", "", ""},
      {"no count", cut_at(kCountAt, good), -1, 0, "IDENT", "", ""},
      {"no list", cut_at(kModelsAt, good), -1, 0, "IDENT", "", ""},
      {"no version", cut_at(version_at(1), good), -1, 1, "IDENT", "", ""},
      {"no length", cut_at(length_at(1), good), -1, 1, "IDENT", "", ""},
      {"no binary", cut_at(binary_at(1), good), -1, 1, "IDENT", "A12B", ""},
      {"length of letters", set_byte(length_at(1), 'x', good), -1, 1, "IDENT", "A12B", ""},
      {"length out of all proportion", set_byte(length_at(1), '9', good), -1, 1, "IDENT", "A12B", ""},
      {"no version but padding", file_for({"HBLS"}, ""), 0, 1, "IDENT", "", "ssd-"},
      {"a zero inside", set_bytes(kIdentificationAt, "x00", good), 0, 1, "x0000000000IDENT", "A12B", "ssd-A12B"},
      {"no zeros", file_for({"HBLS"}, "123456789ABCDEFG"), 0, 1, "IDENT", "123456789ABCDEFG", "ssd-123456789ABCDEFG"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(extract(row.content), row.result);
    EXPECT_EQ(report_.ssdMatched, row.matched);
    EXPECT_STREQ(report_.ssdModel, row.model);
    EXPECT_STREQ(report_.ssdVersion, row.version);
    EXPECT_EQ(test::names_in(kEquipped), row.files);
    EXPECT_EQ(log_.take_lines(), std::vector<std::string>());
  }
}

TEST_F(SsdFirmwareTest, FittedDriveGetsItsFirmware) {
  Text(report_.packageVersion).copy("4.2");
  const std::string good = file_for({"OTHER", "MZ240HBLS"});
  for (const size_t lacking : {0u, 4u}) {
    EXPECT_EQ(extract(cut_at(good.size() - lacking, good)), 0);
    EXPECT_EQ(std::string(report_.ssdModel, 64), "IDENT" + std::string(59, '\0'));
    EXPECT_EQ(std::string(report_.ssdVersion, 64), "A12B" + std::string(60, '\0'));
    EXPECT_STREQ(report_.packageVersion, "4.2");
    EXPECT_EQ(test::read_file(std::string(kEquipped) + "/ssd-A12B"),
              cut_at(kBinary.size() - lacking, kBinary) + std::string(lacking, '\0'));
  }
}

TEST_F(SsdFirmwareTest, FilesThatCannotBeReadOrWritten) {
  EXPECT_EQ(extract(""), -1);
  test::write_file(kFile, file_for({"HBLS"}));
  std::filesystem::remove(kEquipped);
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, &report_), -1);
  std::filesystem::create_directories(std::string(kEquipped) + "/ssd-A12B");
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, &report_), -1);
  for (const char* path : {static_cast<const char*>(nullptr), "/tmp/none", "/tmp"}) {
    Text(report_.ssdVersion).copy("old");
    EXPECT_EQ(SCI_extractSsdfirmwareBinary(path, &report_), -1);
    EXPECT_STREQ(report_.ssdVersion, "");
    EXPECT_EQ(report_.ssdMatched, 0);
  }
  EXPECT_THAT(log_.take_lines(), testing::IsEmpty());
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, nullptr), -1);
  EXPECT_EQ(extract(file_for({"HBLS"}, "/../../etc/x")), -1);
  EXPECT_STREQ(report_.ssdVersion, "/../../etc/x");
  EXPECT_EQ(test::names_in(kEquipped), "");
  const std::string operation = "info SCI_extractSsdfirmwareBinary|ERROR: ";
  EXPECT_THAT(log_.take_lines(), testing::ElementsAre(operation + "aOutInfo is null\n",
                                                      operation + "version /../../etc/x has no usable file name\n"));
  std::filesystem::remove(kSsdReport);
  equipped_ssd_model_num[0] = '\0';
  test::write_file(kFile, file_for({"OTHER"}));
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, &report_), 0);
  EXPECT_EQ(report_.ssdMatched, 1) << "an unknown drive fits every file";
}

TEST(SsdFirmwareNumbersTest, LengthMayEndEarly) {
  using namespace std::literals;
  for (const auto text : {"0000000000000021"sv, "21"sv, "21 "sv, "21 kB"sv, "              21"sv}) {
    EXPECT_EQ(binary_length(text), 21) << text;
  }
  EXPECT_EQ(binary_length("4294967295"), kLongestBinary);
  for (const auto text : {""sv, "    "sv, "-21"sv, "+21"sv, "21x"sv, "x21"sv, "0"sv, "4294967296"sv}) {
    EXPECT_EQ(binary_length(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace coupler::firmware
