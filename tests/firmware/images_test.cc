// Image handles: what a header answers, however it is wrapped. Then SSD firmware files of every kind, whole and
// damaged, and the drives that they are for.
#include <gmock/gmock.h>

#include <cstring>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "brantix/image.h"
#include "firmware/fitted_ssd.h"
#include "firmware/ssd_firmware.h"
#include "support/text.h"
#include "tests/common/appliance.h"
#include "tests/common/damage.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"
#include "tools/pack/ssd_file.h"

namespace coupler::firmware {
namespace {

using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::IsEmpty;

const HeaderFields kFields{"Jan  1 2031", "4.1", "p7", "4.1.9", "fw.img", "swid", "123abc", 200, 7};

class ImageHandleTest : public testing::Test {
 protected:
  using Handle = std::unique_ptr<SCI_image_s, decltype(&SCI_imageClose)>;

  Handle open(const std::string& name, const std::string& content) {
    write_file(directory_ / name, content);
    return {SCI_imageOpen((directory_ / name).c_str()), SCI_imageClose};
  }

  LogCapture log_;
  ScratchDirectory directory_;
};

TEST_F(ImageHandleTest, AnswersFromTheHeader) {
  for (const auto& [name, content] :
       {std::pair{"a.img", render(image(kFields))}, {"b.img__hdr.x", image_header(kFields).header}}) {
    const Handle handle = open(name, content);
    SCI_image_s* h = handle.get();
    ASSERT_NE(h, nullptr);
    EXPECT_THAT((std::vector<std::string>{SCI_imageName(h), SCI_imageVersion(h), SCI_imageInterimVersion(h),
                                          SCI_srgGetVersion(h), SCI_srgGetInterimVersion(h),
                                          SCI_srgGetPlatformVersion(h), SCI_srgGetSwid(h), SCI_srgGetBuildDate(h)}),
                ElementsAre("fw.img", "4.1", "4.1.9", "4.1", "4.1.9", "p7", "swid", "Jan  1 2031"));
    EXPECT_THAT((std::vector<int64_t>{SCI_imagePlatform(h), SCI_imageType(h), SCI_imageSize(h), SCI_verifyImageMD5(h)}),
                ElementsAre(200, 7, 123, 0));
    EXPECT_EQ(SCI_srgOpen(h), h);
    SCI_srgClose(h);
    EXPECT_EQ(static_cast<const void*>(SCI_srgGetBuildDate(h)), h) << "the texts stand in the handle";
  }
}

TEST_F(ImageHandleTest, HeaderFilesOfEverySize) {
  for (const size_t size : {0u, 100u, 576u, 700u}) {
    const Handle handle = open("x.img__hdr", std::string(size, 'x'));
    ASSERT_NE(handle, nullptr);
    std::string expected(std::min<size_t>(size, 576), 'x');
    expected.resize(586);
    EXPECT_EQ(std::string(SCI_srgGetBuildDate(handle.get()), 586), expected);
    EXPECT_EQ(SCI_imageSize(handle.get()), 0);
  }
  EXPECT_THAT(log_.take_lines(), IsEmpty());
}

TEST_F(ImageHandleTest, FailuresTellWhyAndAnswerNothing) {
  const std::string missing = directory_ / "no.img__hdr";
  EXPECT_EQ(SCI_imageOpen(missing.c_str()), nullptr);
  const std::string failed = "info SCI_imageOpen|ERROR: SCI_imageOpen: ";
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(testing::StartsWith("info getFileSize|ERROR: "),
                          failed + "hdr failed to open file " + missing + ", No such file or directory\n"));
  EXPECT_EQ(open("text", "no container"), nullptr);
  EXPECT_EQ(log_.take_lines().back(),
            failed + "failed to extract hdr from file " + (directory_ / "text") + ", expect size 576\n");
}

constexpr const char* kFile = "/tmp/ssd_firmware";
constexpr const char* kEquipped = "/mnt/boot/equipped_ssd_firmware";
const std::string kBinary = "firmware of the drive";

std::string file_for(const std::vector<std::string>& models, const std::string& version = "A12B") {
  return ssd_head({"IDENT", models, version}, kBinary.size()) + kBinary;
}

class SsdFirmwareTest : public ApplianceTest {
 protected:
  int32_t extract(const std::string& content) {
    std::filesystem::remove_all(kEquipped);
    std::filesystem::create_directories(kEquipped);
    write_file(kFile, content);
    write_file(kSsdReport, "HXT7404Q\nHBLS\n");
    Text(report_.ssdModel).copy(std::string(63, 'm'));
    Text(report_.ssdVersion).copy(std::string(63, 'v'));
    report_.ssdMatched = 7;
    return SCI_extractSsdfirmwareBinary(kFile, &report_);
  }

  LogCapture log_;
  FirmwareInfo report_ = {};
};

TEST_F(SsdFirmwareTest, FilesOfEveryKind) {
  const std::string good = file_for({"MZ240HBLS"});
  const struct {
    const char* what;
    std::string content;
    int32_t result, matched;
    const char *model, *version, *files, *told = "";
  } rows[] = {
      {"for another drive", file_for({"OTHER"}), 0, 0, "IDENT", "", ""},
      {"model across two entries", file_for({"ABCDEFGHIJKLMNHB", "LS"}), 0, 1, "IDENT", "A12B", "ssd-A12B"},
      {"list ended by a zero byte", set_byte(kModelsAt, '\0', good), 0, 0, "IDENT", "", ""},
      {"no models", file_for({}), -1, 0, "IDENT", "", ""},
      {"count with a letter", set_bytes(kCountAt, "1x", good), -1, 0, "IDENT", "", ""},
      {"count of one digit", set_byte(kCountAt + 1, '\0', good), -1, 0, "IDENT", "", ""},
      {"most models", file_for(std::vector<std::string>(99, "ABCDEFGHIJKLHBLS")), 0, 1, "IDENT", "A12B", "ssd-A12B"},
      {"count beyond the file", set_bytes(kCountAt, "99", good), -1, 1, "IDENT", "", ""},
      {"empty", "", -1, 0, "", "", ""},
      {"nothing behind the start", cut_at(kIdentificationAt, good), -1, 0, "", "", ""},
      {"no count", cut_at(kCountAt, good), -1, 0, "IDENT", "", ""},
      {"no list", cut_at(kModelsAt, good), -1, 0, "IDENT", "", ""},
      {"no version", cut_at(version_at(1), good), -1, 1, "IDENT", "", ""},
      {"no length", cut_at(length_at(1), good), -1, 1, "IDENT", "", ""},
      {"no binary", cut_at(binary_at(1), good), -1, 1, "IDENT", "A12B", ""},
      {"length of letters", set_byte(length_at(1), 'x', good), -1, 1, "IDENT", "A12B", ""},
      {"no version but padding", file_for({"HBLS"}, ""), 0, 1, "IDENT", "", "ssd-"},
      {"a zero inside", set_bytes(kIdentificationAt, "x00", good), 0, 1, "x0000000000IDENT", "A12B", "ssd-A12B"},
      {"no zeros", file_for({"HBLS"}, "123456789ABCDEFG"), 0, 1, "IDENT", "123456789ABCDEFG", "ssd-123456789ABCDEFG"},
      {"a version with a slash", file_for({"HBLS"}, "/../../etc/x"), -1, 1, "IDENT", "/../../etc/x", "",
       "info SCI_extractSsdfirmwareBinary|ERROR: version /../../etc/x has no usable file name\\n\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(extract(row.content), row.result);
    EXPECT_EQ(report_.ssdMatched, row.matched);
    EXPECT_STREQ(report_.ssdModel, row.model);
    EXPECT_STREQ(report_.ssdVersion, row.version);
    EXPECT_EQ(names_in(kEquipped), row.files);
    EXPECT_EQ(log_.take_text(), row.told);
  }
}

TEST_F(SsdFirmwareTest, FittedDriveGetsItsFirmware) {
  Text(report_.packageVersion).copy("4.2");
  const std::string good = file_for({"OTHER", "MZ240HBLS"});
  EXPECT_EQ(extract(cut_at(good.size() - 4, good)), 0);
  EXPECT_EQ(std::string(report_.ssdModel, 64), "IDENT" + std::string(59, '\0'));
  EXPECT_EQ(std::string(report_.ssdVersion, 64), "A12B" + std::string(60, '\0'));
  EXPECT_STREQ(report_.packageVersion, "4.2");
  EXPECT_EQ(read_file(std::string(kEquipped) + "/ssd-A12B"), "firmware of the d" + std::string(4, '\0'));
  std::filesystem::remove(kSsdReport);
  equipped_ssd_model_num[0] = '\0';
  write_file(kFile, file_for({"OTHER"}));
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, &report_), 0);
  EXPECT_EQ(report_.ssdMatched, 1) << "an unknown drive fits every file";
}

TEST_F(SsdFirmwareTest, FilesThatCannotBeReadOrWritten) {
  write_file(kFile, file_for({"HBLS"}));
  std::filesystem::remove_all(kEquipped);
  std::filesystem::create_directories(std::string(kEquipped) + "/ssd-A12B");
  EXPECT_EQ(SCI_extractSsdfirmwareBinary(kFile, &report_), -1);
  for (const char* path : {static_cast<const char*>(nullptr), "/tmp/none", "/tmp"}) {
    Text(report_.ssdVersion).copy("old");
    EXPECT_EQ(SCI_extractSsdfirmwareBinary(path, &report_), -1);
    EXPECT_STREQ(report_.ssdVersion, "");
    EXPECT_EQ(report_.ssdMatched, 0);
  }
  EXPECT_THAT(log_.take_lines(), IsEmpty());
}

TEST(SsdFirmwareNumbersTest, LengthMayEndEarly) {
  for (const char* text : {"0000000000000021", "21 kB", "              21"})
    EXPECT_EQ(binary_length(text), 21u) << text;
  for (const uint64_t length : {uint64_t{1}, kLongestBinary}) EXPECT_EQ(binary_length(std::to_string(length)), length);
  for (const char* text : {"", "    ", "-21", "+21", "21x", "x21", "0", "4294967296"}) {
    EXPECT_EQ(binary_length(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace coupler::firmware
