#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tests/common/damage.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

namespace {

namespace fs = std::filesystem;
using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";
constexpr size_t kFirstPart = 80;

std::string line(const std::string& text) { return "info extract_fw_info|" + text; }
std::string failed_to_write(const std::string& path, const char* why) {
  return line("ERROR: failed to write file " + path + ", " + why + "\n");
}
std::string packed(std::vector<Object> parts) { return render(bundle(std::move(parts))); }

class BundleTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(kSsdDirectory);
    fs::create_directories(kSsdDirectory);
    fs::create_directories(out_);
  }

  int32_t read(const std::string& bytes, const char* directory = nullptr) {
    write_file(path_, bytes);
    return walk(path_.c_str(), directory);
  }
  int32_t walk(const char* path, const char* directory) {
    return extract_firmware_info(path, with_header_ ? header_.data() : nullptr, header_.size(),
                                 with_header_ ? &header_length_ : nullptr, versions_[0], 8, versions_[1], 8,
                                 versions_[2], 8, versions_[3], 8, versions_[4], 8, versions_[5], 8, directory,
                                 &image_count_, list_, list_entries_, entry_size_);
  }
  int32_t unpack(const std::string& bytes) { return read(bytes, out_.c_str()); }

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
  std::string files() const { return names_in(out_) + " | " + names_in(kSsdDirectory); }
  std::string unpacked(const std::string& name) const { return read_file(out_ + "/" + name); }

  LogCapture log_;
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "bundle", out_ = directory_ / "out";
  std::string header_ = std::string(576, '\0');
  bool with_header_ = true;
  size_t header_length_ = 0;
  char versions_[6][8] = {};
  int image_count_ = 0;
  char list_[4 * 64] = {};
  int list_entries_ = 4;
  int entry_size_ = 64;
};

std::vector<Object> all_parts() {
  return {rommon("1.0.5", "rom data"),
          fpga("2.01", "fpga data"),
          pseq("3.4", "pseq"),
          lan_spi("0.9", "lan"),
          ssd("A12B", "ssd data"),
          image_header({.version = "7.1", .platform_version = "p", .filename = "other.img"}),
          image_file("verify_firmware.py", "#!"),
          text_file("firmware_incomp.json", "{}"),
          image_file("fw.img", std::string(5000, 'i'))};
}

TEST_F(BundleTest, ReportsEveryPartAndWritesItWhereADirectoryIs) {
  header_ = std::string(700, 'h');
  for (const bool unpacking : {false, true}) {
    image_count_ = 0;
    EXPECT_EQ(read(packed(all_parts()), unpacking ? out_.c_str() : nullptr), 0);
    EXPECT_EQ(versions(), "7.1/1.0.5/2.01/3.4/0.9/A12B/");
    EXPECT_EQ(image_count_, 1);
    EXPECT_EQ(list(), "verify_firmware.py/firmware_incomp.json/fw.img//");
    EXPECT_EQ(header_length_, 576u);
    EXPECT_EQ(names_in(out_).empty(), !unpacking);
  }
  EXPECT_EQ(files(),
            "LanSpi-0.9 PowerSequencer-3.4 firmware_incomp.json fpga-2.01 fw.img hdr rommon-1.0.5 verify_firmware.py"
            " | ssd-A12B");
  EXPECT_EQ(unpacked("rommon-1.0.5"), "rom data");
  EXPECT_EQ(unpacked("fw.img"), std::string(5000, 'i'));
  EXPECT_EQ(unpacked("hdr"), header_) << "all of the buffer, not only the record";
  EXPECT_EQ(header_.substr(576), std::string(124, 'h'));
  EXPECT_EQ(read_file(std::string(kSsdDirectory) + "/ssd-A12B"), "ssd data");
  EXPECT_THAT(log_.take_lines(), IsEmpty());
}

TEST_F(BundleTest, VerboseLinesFollowTheWalk) {
  cs_debug_verbose = 1;
  EXPECT_EQ(unpack(packed(all_parts())), 0);
  char header[64], list[64];
  std::snprintf(header, sizeof(header), "outHeaderInfo %p\n", static_cast<void*>(header_.data()));
  std::snprintf(list, sizeof(list), "imageList %p\n", static_cast<void*>(list_));
  std::vector<std::string> expected;
  const auto expect = [&](const std::string& text) { expected.push_back(line("extract_fw_info: " + text)); };
  const auto expect_file = [&](int size, int payload) {
    expected.push_back(line("filesize " + std::to_string(size) + ", partPayloadLen " + std::to_string(payload) + "\n"));
  };
  const auto expect_firmware = [&](const std::string& kind, const std::string& text, int size) {
    expect("orvix_object_" + kind + " " + text + "\n");
    expect_file(size, 16);
  };
  const auto expect_listed = [&](const std::string& name, int index, int size, int payload) {
    const std::string at = "orvix_object_imagefile fileIdx " + std::to_string(index);
    expect("orvix_object_imagefile " + name + ";" + std::to_string(size) + "\n");
    expect(at + " numVers 4 " + list);
    expect(at + " scriptName " + name + " imageName other.img-\n");
    expect_file(size, payload);
  };
  expect_firmware("firmware", "1.0.5;8", 8);
  expect_firmware("firmwarehub", "2.01;9", 9);
  expect_firmware("firmwareimageone", "3.4;4", 4);
  expect_firmware("firmwareimagetwo", "0.9;3", 3);
  expect_firmware("ssd", "A12B;8", 8);
  expect("orvix_object_imageheader numParts 5 " + std::string(header));
  expect("orvix_object_imageheader filename other.img version 7.1 platform_version p imageName other.img\n");
  expect_listed("verify_firmware.py", 0, 2, 16);
  expect_listed("firmware_incomp.json", 1, 2, 16);
  expect_listed("fw.img", 2, 5000, 5008);
  auto lines = log_.take_lines();
  EXPECT_THAT(lines[0], HasSubstr("extract_fw_info: headerLen0 0 payloadLen0 "));
  EXPECT_THAT(lines[1], HasSubstr("extract_fw_info: headerLen1 0 payloadLen1 "));
  lines.erase(lines.begin(), lines.begin() + 2);
  EXPECT_EQ(lines, expected);
}

TEST_F(BundleTest, CutsToTheCallersFields) {
  list_entries_ = 2;
  entry_size_ = 3;
  EXPECT_EQ(unpack(packed({rommon("1234567890", "x"),
                           image_header({.version = std::string(32, 'v'), .platform_version = "pp"}),
                           text_file("one", "1"), text_file(std::string(70, 'n'), "2"), text_file("3", "3")})),
            0);
  EXPECT_EQ(versions(), "vvvvvvv/1234567/////");
  EXPECT_EQ(list(), "on/nn///");
  EXPECT_EQ(image_count_, 3);
  EXPECT_EQ(files(), "3 hdr " + std::string(63, 'n') + " one rommon-1234567890 | ") << "a file has its whole version";
}

TEST_F(BundleTest, WithoutAHeaderBufferTheImageHeaderIsSkipped) {
  with_header_ = false;
  EXPECT_EQ(unpack(packed({image_header({.version = "7", .filename = "a"}), image_file("a", bundle({rommon("9")}))})),
            0);
  EXPECT_EQ(versions(), "//////") << "and no image is known to look into";
  EXPECT_EQ(files(), "a | ");
}

TEST_F(BundleTest, ComparesWholeNames) {
  std::vector<Object> parts{image_header({.version = "7", .filename = "fw.img"})};
  for (const char* name : {"verify_firmware.py2", "verify_firmware.p", "xfirmware_incomp.json", "fw.imgx", "fw.im"}) {
    parts.push_back(image_file(name, bundle({rommon("inner")})));
  }
  EXPECT_EQ(read(packed(parts)), 0);
  EXPECT_EQ(image_count_, 5);
  EXPECT_EQ(versions(), "7//////");
}

TEST_F(BundleTest, LooksIntoTheImageThatTheHeaderNames) {
  const Container inner = bundle({image_header({.version = "9.9", .filename = "fw.img"}), rommon("5.5", "inner rom"),
                                  ssd("S1", "inner ssd"), image_file("deep", "d")});
  EXPECT_EQ(unpack(packed({rommon("1.1", "outer"), image_header({.version = "7.1", .filename = "fw.img"}),
                           image_file("fw.img", inner), fpga("2.2", "f"), text_file("last", "l")})),
            0);
  EXPECT_EQ(versions(), "9.9/5.5/2.2///S1/");
  EXPECT_EQ(image_count_, 2);
  EXPECT_EQ(list(), "fw.img/last///");
  EXPECT_EQ(files(), "fpga-2.2 fw.img hdr last rommon-1.1 | ssd-S1");
  EXPECT_STREQ(header_.c_str() + 16, "7.1");
  EXPECT_THAT(log_.take_lines(), IsEmpty());

  EXPECT_EQ(read(packed({image_header({.version = "8", .filename = "fw.img"}), image_file("fw.img", "no container"),
                         fpga("3")})),
            0);
  EXPECT_EQ(versions(), "8/5.5/3///S1/");
  EXPECT_THAT(log_.take_lines(), ElementsAre(HasSubstr("ERROR: not orvix_object_zeltasignature object type ")));
}

// The inner walk ends where the outer bundle ends, after at most 20 parts of its own.
TEST_F(BundleTest, TheInnerWalkGoesOnOverTheOuterObjects) {
  cs_debug_verbose = 1;
  std::vector<Object> inner(18, text_file("t", "x"));
  EXPECT_EQ(read(packed({image_header({.filename = "fw.img"}), image_file("fw.img", bundle(inner)), fpga("2.2"),
                         pseq("3.3"), lan_spi("4.4")})),
            0);
  std::string seen;
  for (const std::string& text : log_.take_lines()) {
    for (const char* kind : {"firmwarehub", "firmwareimageone", "firmwareimagetwo"}) {
      if (text.find(std::string("object_") + kind + " ") != text.npos) seen += std::string(kind) + " ";
    }
  }
  EXPECT_EQ(seen, "firmwarehub firmwareimageone firmwarehub firmwareimageone firmwareimagetwo ");
}

TEST_F(BundleTest, StopsAfterTwentyParts) {
  std::vector<Object> parts;
  for (int i = 1; i <= 25; ++i) parts.push_back(text_file("file" + std::to_string(i), "x"));
  EXPECT_EQ(unpack(packed(parts)), 0);
  EXPECT_EQ(image_count_, 20);
  EXPECT_EQ(unpacked("file20"), "x");
  EXPECT_FALSE(fs::exists(out_ + "/file21"));
}

TEST_F(BundleTest, RefusesWhatIsNotABundle) {
  const std::string good = packed({rommon("1", "x"), object(orvix_object_keystore), fpga("2")});
  for (const auto& [bytes, text] : std::initializer_list<std::pair<std::string, std::string>>{
           {"", "ERROR: not orvix_object_zeltasignature object type 0\n"},
           {render(image({})), "ERROR: expect controller type but got 22\n"},
           {cut_at(48, good), "ERROR: expect controller type but got 0\n"},
           {good, "extract_fw_info: invalid object type 15\n"},
           {packed({object(orvix_object_null)}), "extract_fw_info: invalid object type 0\n"},
           {cut_at(kFirstPart + 4, good), "extract_fw_info: invalid object type 99999\n"}}) {
    EXPECT_EQ(read(bytes), -1);
    EXPECT_THAT(log_.take_lines(), ElementsAre(line(text)));
  }
  EXPECT_EQ(versions(), "/1/////") << "what was read before stays";
}

TEST_F(BundleTest, FilesThatCannotBeOpenedOrMeasured) {
  const std::string pipe = directory_ / "pipe";
  mkfifo(pipe.c_str(), 0600);
  for (const char* path : {"/no/such", static_cast<const char*>(nullptr), pipe.c_str()}) {
    EXPECT_EQ(walk(path, nullptr), -1);
  }
  const std::string failed = "info extract_firmware_info|ERROR: failed to access file ";
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(failed + "/no/such\n", failed + "(null)\n",
                          "info getFileSize|ERROR: getFileSize: failed to seek file " + pipe + ", rc -1, Illegal seek",
                          "info get_orvix_descriptor|ERROR: get_orvix_descriptor: failed to seek inOffset 16, Illegal "
                          "seek"));
}

TEST_F(BundleTest, ASizeThatThePayloadDoesNotHold) {
  for (const char* text : {"1.0;17", "1.0;-1", "1.0;99999999999999999999"}) {
    EXPECT_EQ(unpack(packed({object(orvix_object_firmware, text, "data"), fpga("2")})), -1);
    EXPECT_THAT(log_.take_lines(), ElementsAre(HasSubstr(std::string("ERROR: part ") + text + " has size ")));
    EXPECT_EQ(files(), " | ");
    EXPECT_EQ(versions(), "/1.0/////");
    EXPECT_EQ(read(packed({object(orvix_object_firmware, text, "data")})), 0) << "no file, no size to look at";
  }
  EXPECT_EQ(unpack(packed({object(orvix_object_firmware, "1.0;16 bytes", "data"),
                           object(orvix_object_firmwarehub, "2;x;y", "data"), fpga("3")})),
            0);
  EXPECT_EQ(unpacked("rommon-1.0"), std::string("data\0\0\0\0\0\0\0\0\0\0\0\0", 16));
  EXPECT_EQ(unpacked("fpga-2"), "");
  EXPECT_FALSE(fs::exists(out_ + "/fpga-3")) << "no size, no file";
}

// A few hundred bytes must not become terabytes.
TEST_F(BundleTest, LacksAtMostTwoGigabytes) {
  constexpr uint64_t kMost = uint64_t{2} << 30;
  for (const uint64_t lacking : {kMost, kMost + 1, (uint64_t{1} << 44) - 32}) {
    const std::string size = std::to_string(16 + lacking);
    const std::string bytes = packed({object(orvix_object_firmware, "1;" + size, "data")});
    const bool allowed = lacking == kMost;
    EXPECT_EQ(unpack(grow_length(kFirstPart, bytes)), allowed ? 0 : -1);
    EXPECT_EQ(files(), allowed ? "rommon-1 | " : " | ");
    fs::remove(out_ + "/rommon-1");
    EXPECT_EQ(log_.take_lines(), allowed ? std::vector<std::string>()
                                         : std::vector{line("ERROR: part 1;" + size + " lacks " +
                                                            std::to_string(lacking) + " of its bytes\n")});
  }
}

TEST_F(BundleTest, NamesThatWouldLeaveTheDirectory) {
  for (const char* name : {"", ".", "..", "a/b", "../x", "/etc/passwd"}) {
    SCOPED_TRACE(name);
    const std::string bytes = packed({object(orvix_object_imagefile, std::string(name) + ";4", "data")});
    EXPECT_EQ(unpack(bytes), -1);
    EXPECT_EQ(files() + names_in(directory_.path()), " | bundle out");
    EXPECT_EQ(log_.take_lines().size(), 1u);
    EXPECT_EQ(read(bytes), 0);
    EXPECT_EQ(list(), std::string(name) + "////");
  }
  EXPECT_EQ(unpack(packed({rommon("../1", "data")})), -1);
  EXPECT_EQ(versions(), "/../1/////");
  EXPECT_EQ(read(packed({ssd("/../../x", "data")})), -1) << "SSD firmware is written in any case";
  EXPECT_EQ(names_in("/mnt/boot"), "equipped_ssd_firmware ssd_firmwares");
}

TEST_F(BundleTest, TargetsThatCannotBeWritten) {
  fs::create_directories(out_ + "/rommon-1.0");
  EXPECT_EQ(unpack(packed({fpga("2", "f"), rommon("1.0", "x"), lan_spi("3", "l")})), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre(failed_to_write(out_ + "/rommon-1.0", "Is a directory")));
  EXPECT_EQ(files(), "fpga-2 rommon-1.0 | ");

  fs::remove_all(kSsdDirectory);
  EXPECT_EQ(read(packed({ssd("A", "x"), rommon("1.1", "y")})), 0) << "only the versions were asked for";
  EXPECT_EQ(versions(), "/1.1/2///A/");
  EXPECT_EQ(log_.take_lines().size(), 1u);
  EXPECT_EQ(unpack(packed({ssd("A", "x")})), -1);
}

TEST_F(BundleTest, ABundleIsNotWrittenOver) {
  for (const char* name : {"hdr", "fw.img"}) {
    const std::string place = out_ + "/" + name;
    const std::string bytes = packed({image_header({.version = "7"}), image_file("fw.img", "data")});
    write_file(place, bytes);
    FirmwareInfo record;
    EXPECT_EQ(SCI_extractFirmwareImagePayload(place.c_str(), &record, out_.c_str()), -1);
    EXPECT_EQ(read_file(place), bytes);
    EXPECT_THAT(log_.take_lines(), testing::Contains(failed_to_write(place, "File exists")));
  }
}

TEST_F(BundleTest, AVersionQueryDoesNotWriteAgain) {
  const std::string place = std::string(kSsdDirectory) + "/ssd-A";
  for (const char* older : {"data", "date"}) {
    write_file(place, older);
    const auto written = fs::last_write_time(place) - std::chrono::hours(1);
    fs::last_write_time(place, written);
    EXPECT_EQ(read(packed({ssd("A", "data")})), 0);
    EXPECT_EQ(fs::last_write_time(place) == written, older == std::string("data"));
    EXPECT_EQ(read_file(place), "data");
  }
}

// A file that outgrows the process's limit would end the process with SIGXFSZ, were it written.
TEST_F(BundleTest, WhatDoesNotFitLeavesNoPartOfAPart) {
  const std::string whole = packed({fpga("2", "fits"), rommon("1", std::string(9000, 'x'))});
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  for (const size_t held : {whole.size(), size_t{400}}) {
    write_file(path_, cut_at(held, whole));
    const rlimit small{8192, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const int32_t result = walk(path_.c_str(), out_.c_str());
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(files(), "fpga-2 | ");
    EXPECT_THAT(log_.take_lines(), ElementsAre(failed_to_write(out_ + "/rommon-1", "File too large")));
  }
}

// Wherever a bundle is cut, the walk ends without a crash, and what it wrote has the declared size.
TEST_F(BundleTest, BundlesCutAnywhere) {
  const std::string whole =
      packed({rommon("1", "0123456789abcdef"), image_header({.filename = "a"}), text_file("t", "text")});
  for (size_t size = 0; size <= whole.size(); size += 4) {
    bool whole_types = size >= 64;  // of the two wrapping objects
    for (const size_t part : {80u, 144u, 768u}) whole_types = whole_types && (size <= part || size >= part + 16);
    EXPECT_EQ(unpack(cut_at(size, whole)), whole_types ? 0 : -1) << size;
  }
  EXPECT_EQ(unpack(cut_at(kFirstPart + 32 + 16 + 4, whole)), 0);
  EXPECT_EQ(unpacked("rommon-1"), std::string("0123") + std::string(12, '\0'));
}

TEST_F(BundleTest, HostileLengthsEndTheWalk) {
  const std::string long_payload = grow_length(kFirstPart, packed({rommon("1", "data"), fpga("2", "more")}));
  EXPECT_EQ(unpack(long_payload), 0);
  EXPECT_EQ(versions(), "/1/////");
  EXPECT_EQ(files(), "rommon-1 | ");
  EXPECT_EQ(read(set_bytes(kFirstPart + 16, "\xff\xff", long_payload)), 0) << "and a header of 1 MiB - 16 bytes";
}

}  // namespace
