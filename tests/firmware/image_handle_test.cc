// Image handles: what a header answers, however it is wrapped.
#include "brantix/image.h"

#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <string>

#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

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
  const std::string record = image_header(kFields).header;
  for (const auto& [name, content] : {std::pair{"a.bin", render(image(kFields))},
                                      {"b.img", render(bundle({image_header(kFields)}))},
                                      {"c.img__hdr.x", record}}) {
    SCOPED_TRACE(name);
    const Handle handle = open(name, content);
    SCI_image_s* h = handle.get();
    ASSERT_NE(h, nullptr);
    EXPECT_THAT((std::vector<std::string>{SCI_imageName(h), SCI_imageVersion(h), SCI_imageInterimVersion(h),
                                          SCI_srgGetVersion(h), SCI_srgGetInterimVersion(h),
                                          SCI_srgGetPlatformVersion(h), SCI_srgGetSwid(h), SCI_srgGetBuildDate(h)}),
                ElementsAre("fw.img", "4.1", "4.1.9", "4.1", "4.1.9", "p7", "swid", "Jan  1 2031"));
    EXPECT_EQ(SCI_imagePlatform(h), 200u);
    EXPECT_EQ(SCI_imageType(h), 7u);
    EXPECT_EQ(SCI_imageSize(h), 123);
    EXPECT_EQ(SCI_verifyImageMD5(h), 0);
    EXPECT_EQ(SCI_srgOpen(h), h);
    SCI_srgClose(h);
    EXPECT_EQ(static_cast<const void*>(SCI_srgGetBuildDate(h)), h) << "the texts stand in the handle";
  }
}

TEST_F(ImageHandleTest, ANullHandleHasNoAnswers) {
  for (const auto text : {SCI_imageName, SCI_imageVersion, SCI_imageInterimVersion, SCI_srgGetVersion,
                          SCI_srgGetInterimVersion, SCI_srgGetPlatformVersion, SCI_srgGetSwid, SCI_srgGetBuildDate}) {
    EXPECT_EQ(text(nullptr), nullptr);
  }
  EXPECT_EQ(SCI_imagePlatform(nullptr), 0u);
  EXPECT_EQ(SCI_imageType(nullptr), 0u);
  EXPECT_EQ(SCI_srgOpen(nullptr), nullptr);
  SCI_imageClose(nullptr);
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

TEST_F(ImageHandleTest, FailuresTellWhy) {
  const std::string missing = directory_ / "no.img__hdr";
  EXPECT_EQ(SCI_imageOpen(nullptr), nullptr);
  EXPECT_EQ(SCI_imageOpen(missing.c_str()), nullptr);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info SCI_imageOpen|ERROR: SCI_imageOpen: aInImageName is null\n",
                                             "info getFileSize|ERROR: getFileSize: unable to open file " + missing +
                                                 ", No such file or directory",
                                             "info SCI_imageOpen|ERROR: SCI_imageOpen: hdr failed to open file " +
                                                 missing + ", No such file or directory\n"));
  EXPECT_EQ(open("text", "no container"), nullptr);
  EXPECT_EQ(log_.take_lines().back(), "info SCI_imageOpen|ERROR: SCI_imageOpen: failed to extract hdr from file " +
                                          (directory_ / "text") + ", expect size 576\n");
}

}  // namespace
