#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";

std::string line(const std::string& text) { return "info extract_fw_info|" + text; }

class BundleTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(kSsdDirectory);
    std::filesystem::create_directories(kSsdDirectory);
    std::filesystem::create_directories(out_);
  }

  int32_t read(const std::string& bytes, const char* directory = nullptr) {
    write_file(path_, bytes);
    return extract_firmware_info(path_.c_str(), header_, sizeof(header_), &header_length_, versions_[0], 8,
                                 versions_[1], 8, versions_[2], 8, versions_[3], 8, versions_[4], 8, versions_[5], 8,
                                 directory, &image_count_, list_, list_entries_, 64);
  }
  int32_t read(std::vector<Object> parts) { return read(render(bundle(std::move(parts)))); }
  int32_t unpack(std::vector<Object> parts) { return read(render(bundle(std::move(parts))), out_.c_str()); }

  /// The versions in the order of the arguments: package, rommon, FPGA, power sequencer, LAN SPI, SSD.
  std::string versions() const {
    std::string text;
    for (const char* version : versions_) text += std::string(version) + '/';
    return text;
  }
  std::string list() const {
    std::string text;
    for (int i = 0; i < 4; ++i) text += std::string(list_ + 64 * i) + '/';
    return text;
  }
  std::string unpacked(const std::string& name) const { return read_file(out_ + "/" + name); }

  LogCapture log_;
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "bundle";
  const std::string out_ = directory_ / "out";
  char header_[576] = {};
  size_t header_length_ = 0;
  char versions_[6][8] = {};
  int image_count_ = 0;
  char list_[4 * 64] = {};
  int list_entries_ = 4;
};

std::vector<Object> all_parts() {
  return {rommon("1.0.5", "rom data"),
          fpga("2.01", "fpga data"),
          pseq("3.4", "pseq"),
          lan_spi("0.9", "lan"),
          ssd("A12B", "ssd data"),
          image_header({.version = "7.1", .filename = "other.img"}),
          image_file("verify_firmware.py", "#!"),
          text_file("firmware_incomp.json", "{}"),
          image_file("fw.img", std::string(5000, 'i'))};
}

TEST_F(BundleTest, ReportsAndWritesEveryPart) {
  EXPECT_EQ(unpack(all_parts()), 0);
  EXPECT_EQ(versions(), "7.1/1.0.5/2.01/3.4/0.9/A12B/");
  EXPECT_EQ(image_count_, 1);
  EXPECT_EQ(list(), "verify_firmware.py/firmware_incomp.json/fw.img//");
  EXPECT_EQ(header_length_, 576u);
  EXPECT_EQ(names_in(out_),
            "LanSpi-0.9 PowerSequencer-3.4 firmware_incomp.json fpga-2.01 fw.img hdr rommon-1.0.5 verify_firmware.py");
  EXPECT_EQ(names_in(kSsdDirectory), "ssd-A12B");
  EXPECT_EQ(unpacked("rommon-1.0.5"), "rom data");
  EXPECT_EQ(unpacked("fw.img"), std::string(5000, 'i'));
  EXPECT_EQ(unpacked("hdr"), std::string(header_, sizeof(header_)));
  EXPECT_EQ(read_file(std::string(kSsdDirectory) + "/ssd-A12B"), "ssd data");
  EXPECT_THAT(log_.take_lines(), IsEmpty());
}

TEST_F(BundleTest, AVersionQueryWritesSsdFirmwareOnly) {
  EXPECT_EQ(read(all_parts()), 0);
  EXPECT_EQ(versions(), "7.1/1.0.5/2.01/3.4/0.9/A12B/");
  EXPECT_EQ(names_in(directory_.path()), "bundle out");
  EXPECT_EQ(names_in(out_), "");
  EXPECT_EQ(names_in(kSsdDirectory), "ssd-A12B");
}

TEST_F(BundleTest, VerboseLinesFollowTheWalk) {
  cs_debug_verbose = 1;
  EXPECT_EQ(unpack({rommon("1.0", "1234"), image_header({.version = "7", .platform_version = "p", .filename = "a.img"}),
                    image_file("x", "12"), fpga("2")}),
            0);
  char pointer[64];
  std::snprintf(pointer, sizeof(pointer), "outHeaderInfo %p\n", static_cast<void*>(header_));
  char list[64];
  std::snprintf(list, sizeof(list), "imageList %p\n", static_cast<void*>(list_));
  const std::string op = "extract_fw_info: ";
  EXPECT_THAT(
      log_.take_lines(),
      ElementsAre(HasSubstr(op + "headerLen0 0 payloadLen0 "), HasSubstr(op + "headerLen1 0 payloadLen1 "),
                  line(op + "orvix_object_firmware 1.0;4\n"), line("filesize 4, partPayloadLen 16\n"),
                  line(op + "orvix_object_imageheader numParts 1 " + pointer),
                  line(op + "orvix_object_imageheader filename a.img version 7 platform_version p imageName a.img\n"),
                  line(op + "orvix_object_imagefile x;2\n"),
                  line(op + "orvix_object_imagefile fileIdx 0 numVers 4 " + list),
                  line(op + "orvix_object_imagefile fileIdx 0 scriptName x imageName a.img-\n"),
                  line("filesize 2, partPayloadLen 16\n"), line(op + "orvix_object_firmwarehub 2\n")));
}

TEST_F(BundleTest, CutsToTheCallersFields) {
  list_entries_ = 1;
  EXPECT_EQ(
      unpack({rommon("1234567890", "x"), image_header({.version = std::string(32, 'v'), .platform_version = "pp"}),
              text_file("one", "1"), text_file(std::string(70, 'n'), "2")}),
      0);
  EXPECT_EQ(versions(), "vvvvvvv/1234567/////");
  EXPECT_EQ(list(), "one////");
  EXPECT_EQ(image_count_, 2);
  EXPECT_EQ(names_in(out_), "hdr " + std::string(63, 'n') + " one rommon-1234567890") << "a file has its whole version";
}

TEST_F(BundleTest, LooksIntoTheImageThatTheHeaderNames) {
  const Container inner = bundle({image_header({.version = "9.9", .filename = "fw.img"}), rommon("5.5", "inner rom"),
                                  ssd("S1", "inner ssd"), image_file("deep", "d")});
  EXPECT_EQ(unpack({rommon("1.1", "outer"), image_header({.version = "7.1", .filename = "fw.img"}),
                    image_file("fw.img", inner), fpga("2.2", "f"), text_file("last", "l")}),
            0);
  EXPECT_EQ(versions(), "9.9/5.5/2.2///S1/");
  EXPECT_EQ(image_count_, 2);
  EXPECT_EQ(list(), "fw.img/last///");
  EXPECT_EQ(names_in(out_), "fpga-2.2 fw.img hdr last rommon-1.1");
  EXPECT_EQ(names_in(kSsdDirectory), "ssd-S1");
  EXPECT_STREQ(header_ + 16, "7.1");
  EXPECT_THAT(log_.take_lines(), IsEmpty());

  EXPECT_EQ(
      read({image_header({.version = "8", .filename = "fw.img"}), image_file("fw.img", "not a container"), fpga("3")}),
      0);
  EXPECT_EQ(versions(), "8/5.5/3///S1/");
  EXPECT_THAT(log_.take_lines(), ElementsAre(HasSubstr("ERROR: not orvix_object_zeltasignature object type ")));
}

TEST_F(BundleTest, StopsAfterTwentyParts) {
  std::vector<Object> parts;
  for (int i = 1; i <= 25; ++i) parts.push_back(text_file("file" + std::to_string(i), "x"));
  EXPECT_EQ(unpack(parts), 0);
  EXPECT_EQ(image_count_, 20);
  EXPECT_EQ(unpacked("file20"), "x");
  EXPECT_FALSE(std::filesystem::exists(out_ + "/file21"));
}

TEST_F(BundleTest, RefusesWhatIsNotABundle) {
  struct Row {
    std::string bytes;
    std::string line;
  };
  const std::string good = render(bundle({rommon("1", "x"), object(orvix_object_keystore), fpga("2")}));
  for (const auto& [bytes, text] :
       {Row{"", "ERROR: not orvix_object_zeltasignature object type 0\n"},
        Row{render(image({})), "ERROR: expect controller type but got 22\n"},
        Row{good.substr(0, 48), "ERROR: expect controller type but got 0\n"},
        Row{good, "extract_fw_info: invalid object type 15\n"},
        Row{render(bundle({object(orvix_object_null)})), "extract_fw_info: invalid object type 0\n"},
        Row{good.substr(0, 80 + 4), "extract_fw_info: invalid object type 99999\n"}}) {
    EXPECT_EQ(read(bytes), -1);
    EXPECT_THAT(log_.take_lines(), ElementsAre(line(text)));
  }
  EXPECT_EQ(versions(), "/1/////") << "what was read before stays";
  EXPECT_EQ(
      extract_firmware_info("/no/such", nullptr, 0, nullptr, versions_[0], 8, versions_[0], 8, versions_[0], 8,
                            versions_[0], 8, versions_[0], 8, versions_[0], 8, nullptr, &image_count_, nullptr, 0, 0),
      -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre("info extract_firmware_info|ERROR: failed to access file /no/such\n"));
}

TEST_F(BundleTest, ASizeThatThePayloadDoesNotHold) {
  for (const char* text : {"1.0;17", "1.0;-1", "1.0;99999999999999999999"}) {
    EXPECT_EQ(unpack({object(orvix_object_firmware, text, "data"), fpga("2")}), -1);
    EXPECT_THAT(log_.take_lines(), ElementsAre(HasSubstr(std::string("ERROR: part ") + text + " has size ")));
    EXPECT_EQ(names_in(out_), "");
    EXPECT_EQ(versions(), "/1.0/////");
    EXPECT_EQ(read({object(orvix_object_firmware, text, "data")}), 0) << "no file, no size to look at";
  }
  EXPECT_EQ(unpack({object(orvix_object_firmware, "1.0;16 bytes", "data"),
                    object(orvix_object_firmwarehub, "2;x;y", "data")}),
            0);
  EXPECT_EQ(unpacked("rommon-1.0"), std::string("data\0\0\0\0\0\0\0\0\0\0\0\0", 16));
  EXPECT_EQ(unpacked("fpga-2"), "");
}

TEST_F(BundleTest, NamesThatWouldLeaveTheDirectory) {
  for (const char* name : {"", ".", "..", "a/b", "../x", "/etc/passwd"}) {
    SCOPED_TRACE(name);
    const Object file = object(orvix_object_imagefile, std::string(name) + ";4", "data");
    EXPECT_EQ(unpack({file}), -1);
    EXPECT_EQ(names_in(out_), "");
    EXPECT_EQ(names_in(directory_.path()), "bundle out");
    EXPECT_EQ(log_.take_lines().size(), 1u);
    EXPECT_EQ(read({file}), 0);
    EXPECT_EQ(list(), std::string(name) + "////");
  }
  EXPECT_EQ(unpack({rommon("../1", "data")}), -1);
  EXPECT_EQ(versions(), "/../1/////");
  EXPECT_EQ(read({ssd("/../../x", "data")}), -1) << "SSD firmware is written in any case";
  EXPECT_EQ(names_in("/mnt/boot"), "equipped_ssd_firmware ssd_firmwares");
}

TEST_F(BundleTest, TargetsThatCannotBeWritten) {
  std::filesystem::create_directories(out_ + "/rommon-1.0");
  EXPECT_EQ(unpack({fpga("2", "f"), rommon("1.0", "x"), lan_spi("3", "l")}), -1);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(line("ERROR: failed to write file " + out_ + "/rommon-1.0, Is a directory\n")));
  EXPECT_EQ(names_in(out_), "fpga-2 rommon-1.0");

  std::filesystem::remove_all(kSsdDirectory);
  EXPECT_EQ(read({ssd("A", "x"), rommon("1.1", "y")}), 0) << "only the versions were asked for";
  EXPECT_EQ(versions(), "/1.1/2///A/");
  EXPECT_EQ(log_.take_lines().size(), 1u);
  EXPECT_EQ(unpack({ssd("A", "x")}), -1);
}

TEST_F(BundleTest, ABundleIsNotWrittenOver) {
  for (const char* name : {"hdr", "fw.img"}) {
    const std::string place = out_ + "/" + name;
    const std::string bytes = render(bundle({image_header({.version = "7"}), image_file("fw.img", "data")}));
    write_file(place, bytes);
    FirmwareInfo record;
    EXPECT_EQ(SCI_extractFirmwareImagePayload(place.c_str(), &record, out_.c_str()), -1);
    EXPECT_EQ(read_file(place), bytes);
    EXPECT_THAT(log_.take_lines(), testing::Contains(line("ERROR: failed to write file " + place + ", File exists\n")));
  }
}

// A few hundred bytes must not become terabytes.
TEST_F(BundleTest, LacksAtMostTwoGigabytes) {
  constexpr uint64_t kMost = uint64_t{2} << 30;
  for (const uint64_t lacking : {kMost, kMost + 1, (uint64_t{1} << 44) - 32}) {
    const std::string size = std::to_string(16 + lacking);
    std::string bytes = render(bundle({object(orvix_object_firmware, "1;" + size, "data")}));
    for (size_t i = 80 + 19; i < 80 + 24; ++i) bytes[i] = '\xff';
    EXPECT_EQ(read(bytes, out_.c_str()), lacking == kMost ? 0 : -1);
    EXPECT_EQ(names_in(out_), lacking == kMost ? "rommon-1" : "");
    std::filesystem::remove(out_ + "/rommon-1");
    if (lacking == kMost) continue;
    EXPECT_THAT(log_.take_lines(),
                ElementsAre(line("ERROR: part 1;" + size + " lacks " + std::to_string(lacking) + " of its bytes\n")));
  }
}

TEST_F(BundleTest, AVersionQueryDoesNotWriteAgain) {
  const std::string place = std::string(kSsdDirectory) + "/ssd-A";
  for (const char* older : {"data", "date"}) {
    write_file(place, older);
    const auto written = std::filesystem::last_write_time(place) - std::chrono::hours(1);
    std::filesystem::last_write_time(place, written);
    EXPECT_EQ(read({ssd("A", "data")}), 0);
    EXPECT_EQ(std::filesystem::last_write_time(place) == written, older == std::string("data"));
    EXPECT_EQ(read_file(place), "data");
  }
}

// A file that outgrows the process's limit would end the process with SIGXFSZ, were it written.
TEST_F(BundleTest, WhatDoesNotFitLeavesNoPartOfAPart) {
  const std::string whole = render(bundle({fpga("2", "fits"), rommon("1", std::string(9000, 'x'))}));
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  for (const size_t held : {whole.size(), size_t{400}}) {
    write_file(path_, whole.substr(0, held));
    const rlimit small{8192, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    char version[8];
    const int32_t result =
        extract_firmware_info(path_.c_str(), nullptr, 0, nullptr, version, 8, version, 8, version, 8, version, 8,
                              version, 8, version, 8, out_.c_str(), &image_count_, nullptr, 0, 0);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(names_in(out_), "fpga-2");
    EXPECT_THAT(log_.take_lines(),
                ElementsAre(line("ERROR: failed to write file " + out_ + "/rommon-1, File too large\n")));
  }
}

// Wherever a bundle is cut, the walk ends without a crash, and what it wrote has the declared size.
TEST_F(BundleTest, BundlesCutAnywhere) {
  const std::string whole =
      render(bundle({rommon("1", "0123456789abcdef"), image_header({.filename = "a"}), text_file("t", "text")}));
  for (size_t size = 0; size <= whole.size(); size += 4) {
    bool whole_types = size >= 64;  // of the two wrapping objects
    for (const size_t part : {80u, 144u, 768u}) whole_types = whole_types && (size <= part || size >= part + 16);
    EXPECT_EQ(read(whole.substr(0, size), out_.c_str()), whole_types ? 0 : -1) << size;
  }
  EXPECT_EQ(read(whole.substr(0, 112 + 16 + 4), out_.c_str()), 0);
  EXPECT_EQ(unpacked("rommon-1"), std::string("0123") + std::string(12, '\0'));
}

TEST_F(BundleTest, HostileLengthsEndTheWalk) {
  std::string bytes = render(bundle({rommon("1", "data"), fpga("2", "more")}));
  for (size_t i = 80 + 19; i < 80 + 24; ++i) bytes[i] = '\xff';  // the first part's payload: 2^44 - 16 bytes
  EXPECT_EQ(read(bytes, out_.c_str()), 0);
  EXPECT_EQ(versions(), "/1/////");
  EXPECT_EQ(names_in(out_), "rommon-1");
  bytes[80 + 16] = bytes[80 + 17] = '\xff';  // and its header: 1 MiB - 16 bytes
  EXPECT_EQ(read(bytes), 0);
}

}  // namespace
