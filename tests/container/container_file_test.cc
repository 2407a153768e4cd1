// Files in the container format: their size, positioned reads, and their image header, however it is nested.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>

#include "brantix/container.h"
#include "tests/common/damage.h"
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
  const std::string pipe = directory_ / "pipe", failed = "info getFileSize|ERROR: getFileSize: ";
  mkfifo(pipe.c_str(), 0600);
  write_file(path_, "12345");
  EXPECT_EQ(getFileSize(path_.c_str()), 5u);
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  for (const char* path : {static_cast<const char*>(nullptr), "/no/such", pipe.c_str()})
    EXPECT_EQ(getFileSize(path), 0u);
  EXPECT_THAT(log_.take_lines(), ElementsAre(failed + "inFilename is null",
                                             failed + "unable to open file /no/such, No such file or directory",
                                             failed + "failed to seek file " + pipe + ", rc -1, Illegal seek"));
}

TEST_F(ContainerFileTest, PositionedRead) {
  const std::string failed = "info get_orvix_descriptor|ERROR: get_orvix_descriptor: ";
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
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(failed + "inFp is null", failed + "failed to seek inOffset 7, Illegal seek"));
}

class HeaderTest : public ContainerFileTest {
 protected:
  int32_t extract(const std::string& bytes, size_t capacity = sizeof(ImageHeader)) {
    write_file(path_, bytes);
    std::memset(buf_, '-', sizeof(buf_));
    copied_ = 12345;
    return extract_header_info(path_.c_str(), buf_, capacity, &copied_);
  }
  static std::string signed_by(std::string header, Object content) {
    return render(Container{{wrap(orvix_object_zeltasignature, std::move(header), {std::move(content)})}});
  }
  static std::string line(const std::string& text) {
    return "info extract_header_info|" + text.substr(0, text.find(' ') + 1) +
           "extract_header_info: " + text.substr(text.find(' ') + 1) + "\n";
  }

  char buf_[700];
  size_t copied_ = 0;
};

const HeaderFields kFields{.version = "4.1", .filename = "fw.img"};

TEST_F(HeaderTest, FollowsEveryNesting) {
  for (const int type : {orvix_object_imagetype, orvix_object_bundletype, orvix_object_controllertype}) {
    const Object content = type == orvix_object_controllertype
                               ? wrap(type, std::string(16, 'c'), {image_header(kFields)})
                               : image_header(kFields, type);
    ASSERT_EQ(extract(signed_by(std::string(48, 's'), content)), 0);
    EXPECT_EQ(copied_, 576u);
    EXPECT_STREQ(buf_ + 16, "4.1");
    EXPECT_STREQ(buf_ + 112, "fw.img");
    EXPECT_EQ(buf_[576], '-');
    EXPECT_THAT(log_.take_lines(), ElementsAre(line("INFO: objType " + std::to_string(type))));
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
    EXPECT_EQ(extract(signed_by("", content), capacity), 0);
    EXPECT_EQ(copied_, copied) << header;
    EXPECT_EQ(std::string(buf_).find('-'), copied) << header;
  }
  EXPECT_EQ(extract(signed_by("", object(orvix_object_imagetype))), -1);
  EXPECT_EQ(copied_, 0u);
}

TEST_F(HeaderTest, AFileCutInsideTheHeaderStillCounts) {
  const std::string whole = render(image(kFields));
  EXPECT_EQ(extract(cut_at(80 + 17, whole)), 0);
  EXPECT_EQ(copied_, 576u);
  EXPECT_EQ(std::string(buf_ + 16, 2), "4-");
  EXPECT_EQ(extract(cut_at(80, whole)), -1);
}

TEST_F(HeaderTest, RefusalsTellWhy) {
  const Object controller = wrap(orvix_object_controllertype, "", {object(orvix_object_ssd)});
  const std::pair<std::string, std::vector<std::string>> rows[] = {
      {render(Container{{controller}}), {line("ERROR: not orvix_object_zeltasignature object type 3")}},
      {signed_by("", controller), {line("INFO: objType 3")}},
      {signed_by("", object(orvix_object_ssd)),
       {line("INFO: objType 11"), line("ERROR: not to handle this object type 11")}},
      {"", {line("ERROR: not orvix_object_zeltasignature object type 0")}},
  };
  for (const auto& [bytes, lines] : rows) {
    EXPECT_EQ(extract(bytes), -1);
    EXPECT_EQ(log_.take_lines(), lines);
    EXPECT_EQ(copied_, 12345u);
  }
  const std::string pipe = directory_ / "pipe";
  mkfifo(pipe.c_str(), 0600);
  for (const char* path : {static_cast<const char*>(nullptr), "/no/such", pipe.c_str()}) {
    EXPECT_EQ(extract_header_info(path, buf_, 576, &copied_), -1);
  }
  EXPECT_THAT(log_.take_lines(), ElementsAre(line("ERROR: failed to access file (null), Bad address"),
                                             line("ERROR: failed to access file /no/such, No such file or directory"),
                                             testing::HasSubstr("failed to seek inOffset 16, Illegal seek"),
                                             line("ERROR: failed to get orvix descriptor")));
}

}  // namespace
