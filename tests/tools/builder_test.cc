// What docs/container-format.md does not show of the bytes that are packed.
#include "tools/pack/builder.h"

#include <gtest/gtest.h>

#include "tests/common/files.h"

namespace coupler::pack {
namespace {

using test::read_file;

std::string zeros(size_t count) { return std::string(count, '\0'); }

TEST(Builder, LengthsOfMoreThanOneByteAreLittleEndian) {
  const Object firmware = object(orvix_object_firmware, std::string(0x120 * 16, 'h'), std::string(4096 + 16, 'p'));
  EXPECT_EQ(render({{firmware}}).substr(32, 16), std::string("\x20\x01\0\x01\x01", 5) + zeros(11));
}

TEST(Builder, PaddingSaysHowLongItIs) {
  for (const size_t length : {0u, 1u, 15u, 16u}) {
    const auto fill = static_cast<char>(16 - length % 16);
    const Object object{.guid = guid_of(orvix_object_firmware), .payload = std::string(length, 'p'), .pkcs7 = true};
    const std::string descriptor = zeros(3) + (length == 16 ? '\2' : '\1') + zeros(4) + '\2' + zeros(7);
    EXPECT_EQ(render({{object}}).substr(32),
              descriptor + std::string(length, 'p') + std::string(static_cast<size_t>(fill), fill));
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
