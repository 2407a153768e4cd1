#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>
#include <optional>
#include <string>

#include "brantix/container.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::IsEmpty;

class ContainerFileTest : public testing::Test {
 protected:
  LogCapture log_;
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "image";
};

TEST_F(ContainerFileTest, SizeOrOneLine) {
  write_file(path_, "12345");
  EXPECT_EQ(getFileSize(path_.c_str()), 5u);
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  EXPECT_EQ(getFileSize(nullptr), 0u);
  EXPECT_EQ(getFileSize("/no/such"), 0u);
  const std::string pipe = directory_ / "pipe";
  mkfifo(pipe.c_str(), 0600);
  EXPECT_EQ(getFileSize(pipe.c_str()), 0u);
  EXPECT_THAT(
      log_.take_lines(),
      ElementsAre("info getFileSize|ERROR: getFileSize: inFilename is null",
                  "info getFileSize|ERROR: getFileSize: unable to open file /no/such, No such file or directory",
                  "info getFileSize|ERROR: getFileSize: failed to seek file " + pipe + ", rc -1, Illegal seek"));
}

TEST_F(ContainerFileTest, PositionedRead) {
  write_file(path_, "0123456789");
  std::FILE* file = std::fopen(path_.c_str(), "rb");
  char buf[8] = "-------";
  EXPECT_EQ(get_orvix_descriptor(file, 2, buf, 3), 3);
  EXPECT_STREQ(buf, "234----");
  EXPECT_EQ(get_orvix_descriptor(file, 9, buf, 3), 1);
  EXPECT_STREQ(buf, "934----");
  EXPECT_EQ(get_orvix_descriptor(file, 4000000000, buf, 3), 0);
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  std::fclose(file);
  EXPECT_EQ(get_orvix_descriptor(nullptr, 0, buf, 1), -1);
  std::FILE* pipe = popen("true", "r");
  EXPECT_EQ(get_orvix_descriptor(pipe, 7, buf, 1), -1);
  pclose(pipe);
  EXPECT_THAT(
      log_.take_lines(),
      ElementsAre("info get_orvix_descriptor|ERROR: get_orvix_descriptor: inFp is null",
                  "info get_orvix_descriptor|ERROR: get_orvix_descriptor: failed to seek inOffset 7, Illegal seek"));
}

class HeaderTest : public ContainerFileTest {
 protected:
  int32_t extract(const Container& container, size_t capacity = sizeof(ImageHeader)) {
    write_file(path_, render(container));
    return extract_file(capacity);
  }
  int32_t extract_file(size_t capacity = sizeof(ImageHeader)) {
    std::memset(buf_, '-', sizeof(buf_));
    copied_ = 12345;
    return extract_header_info(path_.c_str(), buf_, capacity, &copied_);
  }
  std::string line(const std::string& text) { return "info extract_header_info|" + text; }

  char buf_[700];
  size_t copied_ = 0;
};

const HeaderFields kFields{.version = "4.1", .filename = "fw.img"};

TEST_F(HeaderTest, FollowsEveryNesting) {
  for (const int type : {orvix_object_imagetype, orvix_object_bundletype, orvix_object_controllertype}) {
    const Object content = type == orvix_object_controllertype
                               ? wrap(type, std::string(16, 'c'), {image_header(kFields)})
                               : image_header(kFields, type);
    ASSERT_EQ(extract(Container{{wrap(orvix_object_zeltasignature, std::string(48, 's'), {content})}}), 0);
    EXPECT_EQ(copied_, 576u);
    EXPECT_STREQ(buf_ + 16, "4.1");
    EXPECT_STREQ(buf_ + 112, "fw.img");
    EXPECT_EQ(buf_[576], '-');
    EXPECT_THAT(log_.take_lines(),
                ElementsAre(line("INFO: extract_header_info: objType " + std::to_string(type) + "\n")));
  }
}

TEST_F(HeaderTest, CopiedLength) {
  struct Row {
    size_t header, capacity, copied;
  };
  for (const auto& [header, capacity, copied] :
       {Row{592, 576, 576}, Row{608, 576, 576}, Row{400, 576, 384}, Row{32, 576, 16}, Row{16, 576, 16},
        Row{576, 576, 560}, Row{400, 399, 399}, Row{16, 8, 8}}) {
    const Object content = object(orvix_object_imagetype, std::string(header, 'x'));
    EXPECT_EQ(extract(Container{{wrap(orvix_object_zeltasignature, "", {content})}}, capacity), 0);
    EXPECT_EQ(copied_, copied) << header;
    EXPECT_EQ(std::string(buf_).find('-'), copied) << header;
  }
  EXPECT_EQ(extract(Container{{wrap(orvix_object_zeltasignature, "", {object(orvix_object_imagetype)})}}), -1);
  EXPECT_EQ(copied_, 0u);
}

TEST_F(HeaderTest, AFileCutInsideTheHeaderStillCounts) {
  const std::string whole = render(image(kFields));
  write_file(path_, whole.substr(0, 80 + 17));
  EXPECT_EQ(extract_file(), 0);
  EXPECT_EQ(copied_, 576u);
  EXPECT_EQ(std::string(buf_ + 16, 2), "4-");
  write_file(path_, whole.substr(0, 80));
  EXPECT_EQ(extract_file(), -1);
}

TEST_F(HeaderTest, RefusesOtherNestings) {
  const Object controller = wrap(orvix_object_controllertype, "", {object(orvix_object_ssd)});
  const std::string op = "extract_header_info";
  EXPECT_EQ(extract(Container{{controller}}), -1);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(line("ERROR: " + op + ": not orvix_object_zeltasignature object type 3\n")));
  EXPECT_EQ(extract(Container{{wrap(orvix_object_zeltasignature, "", {controller})}}), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre(line("INFO: " + op + ": objType 3\n")));
  EXPECT_EQ(extract(Container{{wrap(orvix_object_zeltasignature, "", {object(orvix_object_ssd)})}}), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre(line("INFO: " + op + ": objType 11\n"),
                                             line("ERROR: " + op + ": not to handle this object type 11\n")));
  write_file(path_, "");
  EXPECT_EQ(extract_file(), -1);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(line("ERROR: " + op + ": not orvix_object_zeltasignature object type 0\n")));
  EXPECT_EQ(copied_, 12345u);
}

TEST_F(HeaderTest, MissingFiles) {
  const std::string failed = "info extract_header_info|ERROR: extract_header_info: failed to access file ";
  EXPECT_EQ(extract_header_info("/no/such", buf_, 576, &copied_), -1);
  EXPECT_EQ(extract_header_info(nullptr, buf_, 576, &copied_), -1);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(failed + "/no/such, No such file or directory\n", failed + "(null), Bad address\n"));
}

}  // namespace
