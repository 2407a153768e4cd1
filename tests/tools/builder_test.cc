#include "tools/pack/builder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace coupler::pack {
namespace {

namespace fs = std::filesystem;

constexpr uint8_t kFile[] = {0x11, 0xbb, 0x8d, 0x46, 0xd6, 0x38, 0x01, 0x4d,
                             0xa2, 0x6b, 0x7d, 0x66, 0x62, 0x0d, 0xfc, 0x74};
constexpr uint8_t kSignature[] = {0x60, 0xd0, 0x90, 0xeb, 0x09, 0xf7, 0x1a, 0x4a,
                                  0x9f, 0x30, 0x9e, 0x45, 0xf7, 0x28, 0x74, 0x90};
constexpr uint8_t kController[] = {0x71, 0x54, 0x6a, 0x9d, 0xae, 0x27, 0xef, 0x42,
                                   0x97, 0x98, 0xc3, 0xdf, 0xbe, 0x0d, 0xc5, 0x5e};
constexpr uint8_t kFirmware[] = {0x7c, 0xff, 0x8e, 0x6a, 0x56, 0x0a, 0xbf, 0x42,
                                 0xaf, 0x97, 0x69, 0x41, 0xea, 0x3d, 0x82, 0x5b};

template <size_t N>
std::string bytes(const uint8_t (&array)[N]) {
  return {array, array + N};
}

/// Descriptor, written by hand: 16 bytes of which three fields are not zero.
std::string descriptor(uint8_t header_units, std::array<uint8_t, 5> payload_units, uint8_t flags = 0) {
  std::string text(16, '\0');
  text[0] = static_cast<char>(header_units);
  for (size_t i = 0; i < 5; ++i) text[3 + i] = static_cast<char>(payload_units[i]);
  text[8] = static_cast<char>(flags);
  return text;
}

std::string zeros(size_t count) { return std::string(count, '\0'); }

TEST(Builder, BundleIsTheBytesOfTheFormat) {
  EXPECT_EQ(render(bundle({rommon("1.0.5", "data")})),
            bytes(kFile) + bytes(kSignature) + descriptor(0, {6, 0, 0, 0, 0}) + bytes(kController) +
                descriptor(0, {4, 0, 0, 0, 0}) + bytes(kFirmware) + descriptor(1, {1, 0, 0, 0, 0}) + "1.0.5;4" +
                zeros(9) + "data" + zeros(12));
}

TEST(Builder, LengthsOfMoreThanOneByteAreLittleEndian) {
  const Object firmware = object(orvix_object_firmware, std::string(0x120 * 16, 'h'), std::string(4096 + 16, 'p'));
  const std::string head = bytes(kFirmware) + std::string("\x20\x01\0\x01\x01", 5) + zeros(11);
  EXPECT_EQ(render({{firmware}}).substr(16, 32), head);
}

TEST(Builder, PaddingSaysHowLongItIs) {
  for (const size_t length : {0u, 1u, 15u, 16u}) {
    SCOPED_TRACE(length);
    const size_t fill = 16 - length % 16;
    const Object object{.guid = guid_of(orvix_object_firmware), .payload = std::string(length, 'p'), .pkcs7 = true};
    EXPECT_EQ(render({{object}}).substr(32), descriptor(0, {static_cast<uint8_t>((length + fill) / 16)}, 2) +
                                                 std::string(length, 'p') + std::string(fill, static_cast<char>(fill)));
  }
}

TEST(Builder, ImageHeaderStandsInBothNestings) {
  const HeaderFields fields{.version = "4.2", .filename = "fw.img", .platform = 7};
  for (const auto& [container, at] : {std::pair(image(fields), 80), std::pair(bundle({image_header(fields)}), 112)}) {
    const std::string file = render(container);
    EXPECT_EQ(file.size(), static_cast<size_t>(at) + sizeof(ImageHeader) + 16);
    const std::string header = file.substr(static_cast<size_t>(at));
    EXPECT_EQ(header.substr(16, 4), std::string("4.2\0", 4));
    EXPECT_EQ(header.substr(112, 7), std::string("fw.img\0", 7));
    EXPECT_EQ(header[320], 7);
  }
  EXPECT_THROW(image({.version = std::string(33, 'v')}), Error);
}

TEST(Builder, NestedContainerCountsAsTheContentOfItsPart) {
  const Container inner = bundle({fpga("3", "f")});
  const std::string outer = render(bundle({image_file("fw.img", inner)}));
  EXPECT_NE(outer.find("fw.img;" + std::to_string(render(inner).size())), outer.npos);
  EXPECT_EQ(outer.substr(outer.size() - render(inner).size()), render(inner));
}

TEST(Builder, PayloadsStartAtBlocksAndLeaveTheRestAsItWas) {
  Container aligned =
      bundle({image_header({}), rommon("1", std::string(5000, 'r')), fpga("2"), text_file("t", "text")});
  align(aligned, 4096);
  const std::string whole = render(aligned);
  EXPECT_EQ(whole.find(std::string(5000, 'r')), 4096U);
  EXPECT_EQ(whole.substr(12288, 5), std::string("text\0", 5));
  EXPECT_EQ(whole.size(), 12288U + 16);
  align(aligned, 4096);
  EXPECT_EQ(render(aligned), whole);
}

class BuilderFiles : public testing::Test {
 protected:
  void SetUp() override { fs::create_directory(directory_); }
  void TearDown() override { fs::remove_all(directory_); }

  static std::string content(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static void store(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
  ptrdiff_t files() const { return std::distance(fs::directory_iterator(directory_), {}); }

  const fs::path directory_ = fs::temp_directory_path() / ("builder_test." + std::to_string(getpid()));
};

TEST_F(BuilderFiles, WrittenAsRendered) {
  const std::string data(3'000'001, 'x');
  store(directory_ / "in", data);
  write_file(bundle({rommon("1", file(directory_ / "in")), text_file("t", "text")}), directory_ / "out");
  EXPECT_EQ(content(directory_ / "out"), render(bundle({rommon("1", data), text_file("t", "text")})));
  EXPECT_EQ(files(), 2);
}

TEST_F(BuilderFiles, FailureLeavesTheOldFileAndNothingElse) {
  store(directory_ / "in", "data");
  store(directory_ / "out", "old");
  const Container tree = bundle({rommon("1", file(directory_ / "in"))});
  const auto fails = [&](const char* fault, const std::function<void()>& run) {
    SCOPED_TRACE(fault);
    EXPECT_ANY_THROW(run());
    EXPECT_EQ(content(directory_ / "out"), "old");
  };
  fails("interrupted", [&] {
    write_whole(directory_ / "out", [&](const Sink& sink) {
      sink("data");
      throw Error("enough");
    });
  });
  store(directory_ / "in", "longer");
  fails("input grew", [&] { write_file(tree, directory_ / "out"); });
  fs::remove(directory_ / "in");
  fails("input gone", [&] { write_file(tree, directory_ / "out"); });
  fails("input is a directory", [&] { file(directory_); });
  fails("output is a device", [&] { write_file(tree, "/dev/null"); });
  EXPECT_EQ(files(), 1);
}

}  // namespace
}  // namespace coupler::pack
