#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "brantix/firmware.h"
#include "support/handle.h"
#include "support/text.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"

namespace coupler::firmware {
namespace {

constexpr const char* kMissing = nullptr;
constexpr char kSocket[] = "socket";  // is there, and cannot be opened

std::string path(const char* marker) { return std::string("/mnt/boot/.boot_") + marker; }

void place(const char* marker, const char* content) {
  std::filesystem::remove(path(marker));
  if (content == kMissing) return;
  if (content != kSocket) return test::write_file(path(marker), content);
  const Descriptor descriptor(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{AF_UNIX, ""};
  Text(address.sun_path).copy(path(marker));
  ASSERT_EQ(::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

std::string line(const char* what, const char* marker) {
  return std::string("info SCI_getBootloaderSysNames|ERROR: SCI_getBootloaderSysNames: failed to ") + what + " " +
         path(marker) + "\n";
}
std::string said(const char* what, const char* marker) {
  return std::string("INFO: failed to ") + what + " " + path(marker) + "\n";
}

using Lines = std::vector<std::string>;

class BootNamesTest : public test::ApplianceTest {
 protected:
  void ask(const char* boot_string, const char* npu, const char* management) {
    place("string", boot_string);
    place("npu", npu);
    place("brantixmgr", management);
    for (Text field : {Text(names_.npuImage), Text(names_.bootStringImage), Text(names_.reserved),
                       Text(names_.managementImage), Text(names_.managementDetail), Text(message_)}) {
      field.copy("-");
    }
    result_ = SCI_getBootloaderSysNames(&names_, message_);
  }

  test::LogCapture log_;
  BootloaderSysNames names_ = {};
  char message_[256] = "";
  int32_t result_ = 0;
};

TEST_F(BootNamesTest, FailuresAreToldInTheirOrder) {
  struct {
    const char* boot_string;
    const char* npu;
    const char* management;
    int32_t result;
    Lines log;
    std::string message;
    std::string detail;
  } rows[] = {
      {"a:b\n", "n\n", "m d\n", 0, {}, "-", "d"},
      {kMissing,
       kMissing,
       kMissing,
       0,
       {line("access file", "string"), line("access file", "npu"), line("access file", "brantixmgr")},
       said("access file", "npu"),
       "-"},
      {kSocket,
       kSocket,
       kSocket,
       0,
       {line("open file", "string"), line("open file", "npu"), line("open file", "brantixmgr")},
       said("open file", "npu"),
       "-"},
      {"", "n\n", "m d\n", -1, {line("read the file", "string")}, said("read the file", "string"), "-"},
      {"a:b\n",
       "",
       "",
       0,
       {line("read the file", "npu"), line("read the file", "brantixmgr")},
       said("read the file", "npu"),
       "-"},
      {kMissing, "n\n", "m d\n", 0, {line("access file", "string")}, said("access file", "string"), "d"},
  };
  for (const auto& row : rows) {
    ask(row.boot_string, row.npu, row.management);
    SCOPED_TRACE(row.message);
    EXPECT_EQ(result_, row.result);
    EXPECT_EQ(log_.take_lines(), row.log);
    EXPECT_EQ(message_, row.message);
    EXPECT_EQ(names_.managementDetail, row.detail);
    EXPECT_STREQ(names_.reserved, "-");
    if (!row.log.empty() && row.result == 0) continue;
    const bool taken = row.result == 0;
    EXPECT_EQ(names_.npuImage, taken ? "n" : path("npu"));
    EXPECT_EQ(names_.bootStringImage, taken ? "/mnt/boot/b" : path("string"));
    EXPECT_EQ(names_.managementImage, taken ? "m" : path("brantixmgr"));
  }
}

TEST_F(BootNamesTest, MarkersAreReadAsTheyAreWritten) {
  const std::string full(255, 'x');
  const std::string longer = full + "y";
  struct {
    std::string boot_string, npu, management;
    std::string boot_image, npu_image, management_image, detail;
  } rows[] = {
      {"::a::b:c\n", "an image\nother\n", "first second third\n", "/mnt/boot/b", "an image", "first", "second"},
      {"a\nb\n", "\nother\n", "first\n", path("string"), path("npu"), "first", ""},
      {":\n", "n", "first ", path("string"), "n", "first", ""},
      {"a:b", "n", " second", "/mnt/boot/b", "n", "", "second"},
      {"a:b:", "n", "\n", "/mnt/boot/b", "n", "", ""},
      {"a:b", "n", "first  third\n", "/mnt/boot/b", "n", "first", ""},
      {"a:" + longer, longer, longer + " " + longer, "/mnt/boot/" + full.substr(10), full, full, full},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.management);
    ask(row.boot_string.c_str(), row.npu.c_str(), row.management.c_str());
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(names_.bootStringImage, row.boot_image);
    EXPECT_EQ(names_.npuImage, row.npu_image);
    EXPECT_EQ(names_.managementImage, row.management_image);
    EXPECT_EQ(names_.managementDetail, row.detail);
  }
  EXPECT_EQ(log_.take_lines(), Lines());
}

TEST_F(BootNamesTest, NothingToWriteTo) {
  EXPECT_EQ(SCI_getBootloaderSysNames(nullptr, message_), -1);
  EXPECT_EQ(SCI_getBootloaderSysNames(&names_, nullptr), -1);
  const std::string line = "info SCI_getBootloaderSysNames|ERROR: SCI_getBootloaderSysNames: null pointer\n";
  EXPECT_EQ(log_.take_lines(), (Lines{line, line}));
}

}  // namespace
}  // namespace coupler::firmware
