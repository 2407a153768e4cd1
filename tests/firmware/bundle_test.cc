// What a bundle holds, where its parts go and how damaged ones end; then the operations that unpack and stage one.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "support/handle.h"
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

template <size_t kCount, size_t kSize>
std::string joined(const char (&texts)[kCount][kSize]) {
  std::string all;
  for (const char* text : texts) all += std::string(text) + '/';
  return all;
}

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
  int32_t walk(const char* path, const char* directory) { return call(extract_firmware_info, directory, path); }
  template <typename Walk, typename... Bundle>
  int32_t call(Walk* operation, const char* directory, Bundle... bundle) {
    return operation(bundle..., header_, header_capacity_, header_ == nullptr ? nullptr : &header_length_, versions_[0],
                     8, versions_[1], 8, versions_[2], 8, versions_[3], 8, versions_[4], 8, versions_[5], 8, directory,
                     &image_count_, list_[0], list_entries_, entry_size_);
  }
  int32_t unpack(const std::string& bytes) { return read(bytes, out_.c_str()); }
  int32_t read(std::vector<Object> parts, const char* directory = nullptr) { return read(packed(parts), directory); }
  int32_t unpack(std::vector<Object> parts) { return unpack(packed(parts)); }

  /// The versions in the order of the arguments: package, rommon, FPGA, power sequencer, LAN SPI, SSD.
  std::string versions() const { return joined(versions_); }
  /// The versions, the number of images and the list.
  std::string told() const { return versions() + ' ' + std::to_string(image_count_) + ' ' + joined(list_); }
  std::string files() const { return names_in(out_) + " | " + names_in(kSsdDirectory); }
  std::string unpacked(const std::string& name) const { return read_file(out_ + "/" + name); }

  LogCapture log_;
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "bundle", out_ = directory_ / "out";
  std::string record_ = std::string(700, 'h');
  char* header_ = record_.data();
  size_t header_capacity_ = 576;
  size_t header_length_ = 0;
  char versions_[6][8] = {};
  int image_count_ = 0;
  char list_[4][64] = {};
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
  header_capacity_ = 700;
  const std::string bytes = packed(all_parts());
  write_file(directory_ / "larger", "before" + bytes + "behind");
  const coupler::File larger = coupler::open_for_reading((directory_ / "larger").c_str());
  const auto size = static_cast<uint32_t>(bytes.size());
  for (const std::string how : {"asked", "inside another", "unpacked"}) {
    SCOPED_TRACE(how);
    const bool unpacking = how == "unpacked";
    image_count_ = 0;
    std::memset(versions_, 0, sizeof(versions_));
    EXPECT_EQ(how == "inside another" ? call(extract_fw_info, nullptr, larger.get(), 6 + size, 6u)
                                      : read(bytes, unpacking ? out_.c_str() : nullptr),
              0);
    EXPECT_EQ(told(), "7.1/1.0.5/2.01/3.4/0.9/A12B/ 1 verify_firmware.py/firmware_incomp.json/fw.img//");
    EXPECT_EQ(header_length_, 576u);
    EXPECT_EQ(files(), (unpacking ? "LanSpi-0.9 PowerSequencer-3.4 firmware_incomp.json fpga-2.01 fw.img hdr "
                                    "rommon-1.0.5 verify_firmware.py"
                                  : "") +
                           std::string(" | ssd-A12B"));
  }
  EXPECT_EQ(unpacked("rommon-1.0.5"), "rom data");
  EXPECT_EQ(unpacked("fw.img"), std::string(5000, 'i'));
  EXPECT_EQ(unpacked("hdr"), record_) << "all of the buffer, not only the record";
  EXPECT_EQ(record_.substr(576), std::string(124, 'h'));
  EXPECT_EQ(read_file(std::string(kSsdDirectory) + "/ssd-A12B"), "ssd data");
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  EXPECT_EQ(call(extract_fw_info, nullptr, larger.get(), 7 + size, 6u), -1) << "something stands at its end";
}

TEST_F(BundleTest, VerboseLinesFollowTheWalk) {
  cs_debug_verbose = 1;
  std::vector<Object> parts = all_parts();
  parts.resize(7);
  EXPECT_EQ(unpack(parts), 0);
  std::string said;
  for (const std::string& text : log_.take_lines()) said += text.substr(line("").size());
  const auto at = [](void* place) { return (std::ostringstream() << place).str(); };
  const std::string walk = "extract_fw_info: ", object = walk + "orvix_object_", file = object + "imagefile ";
  const auto firmware = [&](const std::string& text, const std::string& size) {
    return object + text + ";" + size + "\nfilesize " + size + ", partPayloadLen 16\n";
  };
  EXPECT_EQ(said, walk + "headerLen0 0 payloadLen0 1056\n" + walk + "headerLen1 0 payloadLen1 1024\n" +
                      firmware("firmware 1.0.5", "8") + firmware("firmwarehub 2.01", "9") +
                      firmware("firmwareimageone 3.4", "4") + firmware("firmwareimagetwo 0.9", "3") +
                      firmware("ssd A12B", "8") + object + "imageheader numParts 5 outHeaderInfo " + at(header_) +
                      "\n" + object + "imageheader filename other.img version 7.1 platform_version p imageName " +
                      "other.img\n" + file + "verify_firmware.py;2\n" + file + "fileIdx 0 numVers 4 imageList " +
                      at(list_) + "\n" + file + "fileIdx 0 scriptName verify_firmware.py imageName other.img-\n" +
                      "filesize 2, partPayloadLen 16\n");
}

TEST_F(BundleTest, CutsToTheCallersFields) {
  list_entries_ = 2;
  entry_size_ = 3;
  EXPECT_EQ(unpack({rommon("1234567890", "x"),
                    image_header({.version = std::string(32, 'v'), .filename = std::string(64, 'n')}),
                    text_file("one", "1"), text_file(std::string(70, 'n'), "2"), text_file("3", "3")}),
            0);
  EXPECT_EQ(told(), "vvvvvvv/1234567///// 3 on/nn///");
  EXPECT_EQ(log_.take_lines().size(), 1u) << "what was looked into: 63 characters of its name count";
  EXPECT_EQ(files(), "3 hdr " + std::string(63, 'n') + " one rommon-1234567890 | ") << "a file has its whole version";
  const std::string deep = out_ + '/' + std::string(252 - out_.size(), 'd');
  fs::create_directories(deep);
  header_capacity_ = 20;
  EXPECT_EQ(read({image_header({.version = "vvvvv"}), image_file("0123", "x")}, deep.c_str()), 0);
  EXPECT_EQ(names_in(deep), "0 h") << "a path has 255 characters";
  EXPECT_EQ(versions(), "vvvv/1234567/////") << "a header has the buffer's size";
}

TEST_F(BundleTest, WithoutAHeaderBufferTheImageHeaderIsSkipped) {
  header_ = nullptr;
  list_[0][0] = 'x';
  entry_size_ = -1;
  EXPECT_EQ(unpack({image_header({.version = "7", .filename = "a"}), image_file("a", bundle({rommon("9")}))}), 0);
  EXPECT_EQ(told(), "////// 1 x////") << "and no image is known to look into";
  EXPECT_EQ(files(), "a | ");
}

TEST_F(BundleTest, ComparesWholeNames) {
  std::vector<Object> parts{image_header({.version = "7", .filename = "fw.img"})};
  for (const char* name : {"verify_firmware.py2", "verify_firmware.p", "xfirmware_incomp.json", "fw.imgx", "fw.im"}) {
    parts.push_back(image_file(name, bundle({rommon("inner")})));
  }
  EXPECT_EQ(read(parts), 0);
  EXPECT_EQ(told().substr(0, 9), "7////// 5");
}

TEST_F(BundleTest, LooksIntoTheImageThatTheHeaderNames) {
  const Container inner = bundle({image_header({.version = "9.9", .filename = "fw.img"}), rommon("5.5", "inner rom"),
                                  ssd("S1", "inner ssd"), image_file("deep", "d")});
  EXPECT_EQ(unpack({rommon("1.1", "outer"), image_header({.version = "7.1", .filename = "fw.img"}),
                    image_file("fw.img", inner), fpga("2.2", "f"), text_file("last", "l")}),
            0);
  EXPECT_EQ(told(), "9.9/5.5/2.2///S1/ 2 fw.img/last///");
  EXPECT_EQ(files(), "fpga-2.2 fw.img hdr last rommon-1.1 | ssd-S1");
  EXPECT_STREQ(header_ + 16, "7.1");
  EXPECT_THAT(log_.take_lines(), IsEmpty());

  EXPECT_EQ(
      read({image_header({.version = "8", .filename = "fw.img"}), image_file("fw.img", "no container"), fpga("3")}), 0);
  EXPECT_EQ(versions(), "8/5.5/3///S1/");
  EXPECT_THAT(log_.take_lines(), ElementsAre(HasSubstr("ERROR: not orvix_object_zeltasignature object type ")));
}

// The inner walk ends where the outer bundle ends, after at most 20 parts of its own.
TEST_F(BundleTest, TheInnerWalkGoesOnOverTheOuterObjects) {
  cs_debug_verbose = 1;
  const std::vector<Object> inner(18, text_file("t", "x"));
  EXPECT_EQ(
      read({image_header({.filename = "i"}), image_file("i", bundle(inner)), fpga("2.2"), pseq("3.3"), lan_spi("4.4")}),
      0);
  std::string seen;
  const std::vector<std::string> lines = log_.take_lines();
  EXPECT_THAT(lines, testing::Contains(HasSubstr("numVers 0 imageList (nil)")).Times(18));
  for (const std::string& text : lines) {
    for (const std::string word : {"match up ", "hub ", "imageone ", "imagetwo "}) {
      if (text.find(word) != text.npos) seen += word;
    }
  }
  EXPECT_EQ(seen, "match up hub imageone hub imageone imagetwo ");
}

TEST_F(BundleTest, FilesThatCannotBeOpenedOrMeasured) {
  const std::string pipe = directory_ / "pipe", socket = directory_ / "socket";
  const std::string failed = "info extract_firmware_info|ERROR: failed to access file ";
  const std::string unmeasured = "info getFileSize|ERROR: getFileSize: ";
  mkfifo(pipe.c_str(), 0600);
  mknod(socket.c_str(), S_IFSOCK | 0600, 0);
  for (const char* path : {"/no/such", static_cast<const char*>(nullptr), socket.c_str(), pipe.c_str()})
    EXPECT_EQ(walk(path, nullptr), -1);
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(failed + "/no/such\n", failed + "(null)\n",
                          unmeasured + "unable to open file " + socket + ", No such device or address",
                          unmeasured + "failed to seek file " + pipe + ", rc -1, Illegal seek",
                          HasSubstr("failed to seek inOffset 16, Illegal seek")));
}

// A few hundred bytes must not become terabytes, and no file leaves its directory.
TEST_F(BundleTest, WhatIsRefusedWritesNothingAndTellsWhy) {
  const auto part = [](const std::string& text, int type = orvix_object_firmware) {
    return packed({object(type, text, "data")});
  };
  const auto most = std::to_string((uint64_t{2} << 30) + 17), endless = std::to_string((uint64_t{1} << 44) - 16);
  const std::string good = packed({rommon("1", "x")});
  const struct {
    std::string bytes, told;
    int32_t query = -1;  // of its versions
  } rows[] = {
      {"", "ERROR: not orvix_object_zeltasignature object type 0\n"},
      {render(image({})), "ERROR: expect controller type but got 22\n"},
      {cut_at(48, good), "ERROR: expect controller type but got 0\n"},
      {part("1", orvix_object_keystore), "extract_fw_info: invalid object type 15\n"},
      {cut_at(kFirstPart + 12, good), "extract_fw_info: invalid object type 99999\n"},
      {part("1;17"), "ERROR: part 1;17 has size 17, its payload 16\n", 0},
      {part("1;-1"), "ERROR: part 1;-1 has size -1, its payload 16\n", 0},
      {part("1;99999999999999999999"),
       "ERROR: part 1;99999999999999999999 has size 9223372036854775807, its payload 16\n", 0},
      {grow_length(kFirstPart, part("1;" + most)), "ERROR: part 1;" + most + " lacks 2147483649 of its bytes\n", 0},
      {grow_length(kFirstPart, part("1;" + endless)),
       "ERROR: part 1;" + endless + " lacks 17592186044384 of its bytes\n", 0},
      {part("..;4", orvix_object_imagefile), "ERROR: part ..;4 has no usable file name\n", 0},
      {part(".;4", orvix_object_textfile), "ERROR: part .;4 has no usable file name\n", 0},
      {part(";4", orvix_object_textfile), "ERROR: part ;4 has no usable file name\n", 0},
      {part("../x;4", orvix_object_ssd), "ERROR: part ../x;4 has no usable file name\n"},  // written either way
  };
  for (const auto& row : rows) {
    EXPECT_EQ(unpack(row.bytes), -1) << row.told;
    EXPECT_EQ(files() + names_in(directory_.path()) + names_in("/mnt/boot"),
              " | bundle outequipped_ssd_firmware ssd_firmwares");
    EXPECT_THAT(log_.take_lines(), ElementsAre(line(row.told)));
    EXPECT_EQ(read(row.bytes), row.query) << row.told;
    log_.take_lines();
  }
  EXPECT_EQ(read({rommon("9", "x"), object(orvix_object_keystore), fpga("9")}), -1);
  EXPECT_EQ(versions(), "/9////../x/") << "what was read before stays";
}

TEST_F(BundleTest, WhatThePayloadLacksIsZero) {
  EXPECT_EQ(unpack({object(orvix_object_firmware, "1.0;16 bytes", "data"),
                    object(orvix_object_firmwarehub, "2;x;y", "data"), fpga("3")}),
            0);
  EXPECT_EQ(unpacked("rommon-1.0"), "data" + std::string(12, '\0'));
  EXPECT_EQ(unpacked("fpga-2"), "");
  EXPECT_FALSE(fs::exists(out_ + "/fpga-3")) << "no size, no file";
  EXPECT_EQ(unpack(cut_at(kFirstPart + 48 + 4, packed({rommon("1", "0123456789abcdef")}))), 0);
  EXPECT_EQ(unpacked("rommon-1"), "0123" + std::string(12, '\0'));
  const std::string most =
      packed({object(orvix_object_firmware, "2;" + std::to_string((uint64_t{2} << 30) + 16), "data")});
  EXPECT_EQ(unpack(grow_length(kFirstPart, most)), 0);
  EXPECT_EQ(fs::file_size(out_ + "/rommon-2"), (uint64_t{2} << 30) + 16);
  EXPECT_EQ(read(set_bytes(kFirstPart + 16, "\xff\xff", most)), 0) << "and a header of 1 MiB - 16 bytes";
}

TEST_F(BundleTest, TakesLittleMemoryWhateverTheSize) {
  write_file(path_, packed({text_file("large", std::string(size_t{64} << 20, 'p'))}));
  const auto peak = [] {  // in KiB
    const std::string status = read_file("/proc/self/status");
    return std::stol(status.substr(status.find("VmHWM:") + 6));
  };
  std::ofstream("/proc/self/clear_refs") << 5;  // forgets the peak
  const long before = peak();
  EXPECT_EQ(walk(path_.c_str(), out_.c_str()), 0);
  EXPECT_LT(peak() - before, 16 * 1024);
}

TEST_F(BundleTest, TargetsThatCannotBeWritten) {
  fs::create_directories(out_ + "/rommon-1.0");
  EXPECT_EQ(unpack({fpga("2", "f"), rommon("1.0", "x"), lan_spi("3", "l")}), -1);
  EXPECT_THAT(log_.take_lines(), ElementsAre(failed_to_write(out_ + "/rommon-1.0", "Is a directory")));
  EXPECT_EQ(files(), "fpga-2 rommon-1.0 | ");

  fs::remove_all(kSsdDirectory);
  EXPECT_EQ(read({ssd("A", "x"), rommon("1.1", "y")}), 0) << "only the versions were asked for";
  EXPECT_EQ(versions(), "/1.1/2///A/");
  EXPECT_EQ(log_.take_lines().size(), 1u);
  EXPECT_EQ(unpack({ssd("A", "x")}), -1);
  log_.take_lines();

  const std::string place = out_ + "/hdr", bytes = packed({image_header({.version = "7"})});
  write_file(place, bytes);
  EXPECT_EQ(walk(place.c_str(), out_.c_str()), -1);
  EXPECT_EQ(read_file(place), bytes) << "a bundle is not written over";
  EXPECT_THAT(log_.take_lines(), ElementsAre(failed_to_write(place, "File exists")));
}

TEST_F(BundleTest, AVersionQueryDoesNotWriteAgain) {
  const std::string place = std::string(kSsdDirectory) + "/ssd-A";
  for (const char* older : {"data", "date"}) {
    write_file(place, older);
    const auto written = fs::last_write_time(place) - std::chrono::hours(1);
    fs::last_write_time(place, written);
    EXPECT_EQ(read({ssd("A", "data")}), 0);
    EXPECT_EQ(fs::last_write_time(place) == written, older == std::string("data"));
    EXPECT_EQ(read_file(place), "data");
  }
}

TEST_F(BundleTest, OperationsClearAndFillTheirFieldsOnly) {
  FirmwareInfo info;
  std::memset(&info, 'x', sizeof(info));
  write_file(path_,
             packed({rommon("1.0", "rom"), ssd("S1", "ssd"), image_header({.version = "7"}), text_file("t", "x")}));
  EXPECT_EQ(SCI_readFirmwareImageVersion(path_.c_str(), &info), 0);
  EXPECT_EQ(std::string(info.packageVersion) + info.rommonVersion + info.ssdVersion + info.imageList[0], "71.0S1t");
  EXPECT_EQ(std::string(info.fpgaVersion, 2), std::string("\0x", 2)) << "only made empty";
  EXPECT_EQ(info.imageCount, 1);
  EXPECT_EQ(std::string({info.imageList[1][0], info.ssdModel[0]}), "xx");
  EXPECT_TRUE(info.bootStatus == 0x78787878 && info.ssdMatched == 0x78787878);
  EXPECT_EQ(files(), " | ssd-S1");
  EXPECT_THAT(log_.take_lines(), IsEmpty());

  EXPECT_EQ(SCI_extractFirmwareImagePayload(path_.c_str(), &info, out_.c_str()), 0);
  EXPECT_EQ(files(), "hdr rommon-1.0 t | ssd-S1");
  EXPECT_STREQ(info.ssdModel, "");
  EXPECT_TRUE(info.bootStatus == 0x78787878 && info.ssdMatched == 0);

  write_file(path_, packed(std::vector(9, text_file("ninth"))));
  EXPECT_EQ(SCI_readFirmwareImageVersion(path_.c_str(), &info), 0);
  EXPECT_EQ(cs_debug_verbose, 1) << "since something was unpacked";
  EXPECT_TRUE(info.imageCount == 9 && info.ssdMatched == 0) << "the list has eight names";
}

TEST_F(BundleTest, FailuresOfOperationsNameThePath) {
  FirmwareInfo info;
  const char* const path = path_.c_str();
  const std::string stages = " info SCI_setFirmwareVersion|", settings = directory_ / "platform.conf";
  const auto told = [&](int32_t result) { return std::to_string(result) + ' ' + log_.take_lines().back(); };
  write_file(path_, packed({rommon("1.0", "rom"), object(orvix_object_keystore)}));
  EXPECT_EQ(told(SCI_readFirmwareImageVersion(path, &info)),
            "-1 info SCI_readFirmwareImageVersion|ERROR: failed to extract firmware info from file " + path_ + "\n");
  EXPECT_STREQ(info.rommonVersion, "1.0");

  setenv("COUPLER_PLATFORM", settings.c_str(), 1);
  EXPECT_EQ(told(SCI_setFirmwareVersion(path)),
            "0" + stages + "INFO: successful set to upgrade firmware " + path_ + "\n");
  EXPECT_THAT(read_file(settings), HasSubstr("staged = " + path_ + "\n"));
  write_file(settings, "upgrade_result = -3\n");
  EXPECT_EQ(told(SCI_setFirmwareVersion(path)), "-1" + stages + "ERROR: failed to set firmware upgrade -3\n");
  unsetenv("COUPLER_PLATFORM");
}

}  // namespace
