#include "tools/pack/builder.h"

#include <gtest/gtest.h>

#include "tests/common/files.h"

namespace coupler::pack {
namespace {

using test::read_file;

constexpr Guid kFile = {0x11, 0xbb, 0x8d, 0x46, 0xd6, 0x38, 0x01, 0x4d, 0xa2, 0x6b, 0x7d, 0x66, 0x62, 0x0d, 0xfc, 0x74};
const Guid kSignature = guid_of(orvix_object_zeltasignature), kController = guid_of(orvix_object_controllertype),
           kFirmware = guid_of(orvix_object_firmware);

std::string bytes(const Guid& guid) { return {guid.begin(), guid.end()}; }

std::string zeros(size_t count) { return std::string(count, '\0'); }

/// Descriptor, written by hand: lengths in units of 16 bytes.
std::string descriptor(char header, char payload, char flags = 0) {
  return header + zeros(2) + payload + zeros(4) + flags + zeros(7);
}

TEST(Builder, BundleIsTheBytesOfTheFormat) {
  EXPECT_EQ(render(bundle({rommon("1.0.5", "data")})),
            bytes(kFile) + bytes(kSignature) + descriptor(0, 6) + bytes(kController) + descriptor(0, 4) +
                bytes(kFirmware) + descriptor(1, 1) + "1.0.5;4" + zeros(9) + "data" + zeros(12));
}

TEST(Builder, LengthsOfMoreThanOneByteAreLittleEndian) {
  const Object firmware = object(orvix_object_firmware, std::string(0x120 * 16, 'h'), std::string(4096 + 16, 'p'));
  EXPECT_EQ(render({{firmware}}).substr(16, 32), bytes(kFirmware) + std::string("\x20\x01\0\x01\x01", 5) + zeros(11));
}

TEST(Builder, PaddingSaysHowLongItIs) {
  for (const size_t length : {0u, 1u, 15u, 16u}) {
    const auto fill = static_cast<char>(16 - length % 16);
    const Object object{.guid = guid_of(orvix_object_firmware), .payload = std::string(length, 'p'), .pkcs7 = true};
    EXPECT_EQ(render({{object}}).substr(32), descriptor(0, length == 16 ? 2 : 1, 2) + std::string(length, 'p') +
                                                 std::string(static_cast<size_t>(fill), fill));
  }
}

TEST(Builder, PayloadsStartAtBlocksAndLeaveTheRestAsItWas) {
  Container aligned =
      bundle({image_header({}), rommon("1", std::string(5000, 'r')), fpga("2"), text_file("t", "text")});
  align(aligned, 4096);
  const std::string whole = render(aligned);
  EXPECT_EQ(whole.find(std::string(5000, 'r')), 4096U);
  EXPECT_EQ(whole.substr(12288), "text" + zeros(12));
  align(aligned, 4096);
  EXPECT_EQ(render(aligned), whole);
}

TEST(BuilderFiles, FailureLeavesTheOldFileAndNothingElse) {
  const test::ScratchDirectory directory;
  test::write_file(directory / "in", "data");
  test::write_file(directory / "out", "old");
  const Container tree = bundle({rommon("1", file(directory / "in"))});
  const auto interrupted = [](const Sink& sink) {
    sink("data");
    throw Error("enough");
  };
  EXPECT_THROW(write_whole(directory / "out", interrupted), Error);
  test::write_file(directory / "in", "longer");
  EXPECT_THROW(write_file(tree, directory / "out"), Error);
  std::filesystem::remove(directory / "in");
  EXPECT_THROW(write_file(tree, directory / "out"), Error);
  EXPECT_THROW(file(directory.path()), Error);
  EXPECT_THROW(write_file(tree, "/dev/null"), Error);
  EXPECT_EQ(read_file(directory / "out"), "old");
  EXPECT_EQ(test::names_in(directory.path()), "out");
}

}  // namespace
}  // namespace coupler::pack
