// Random bundles taken apart and made again; bundles that no manifest makes.
#include "tools/dump.h"

#include <gmock/gmock.h>

#include <random>

#include "tests/common/damage.h"
#include "tests/common/files.h"
#include "tools/command.h"
#include "tools/pack/manifest.h"

namespace coupler::tools {
namespace {

using namespace pack;

std::mt19937 random_numbers(20261125);  // NOLINT(cert-msc51-cpp): the same bundles in each run
size_t below(size_t most) { return random_numbers() % most; }

Object random_part(size_t number) {
  const int firmware = orvix_object_firmware + static_cast<int>(below(5));
  const int type = below(2) == 0 ? static_cast<int>(orvix_object_textfile) : firmware;
  std::string bytes(below(5000), '\0');
  for (char& byte : bytes) byte = static_cast<char>(random_numbers());
  return part(type, std::to_string(number) + std::string(below(61), 'n'),
              below(4) == 0 ? std::nullopt : std::optional<Payload>(bytes));
}

TEST(Dump, ManifestMakesTheVerySameBytes) {
  for (int round = 0; round < 100; ++round) {
    std::vector<Object> parts = {image_header({.version = std::string(below(32), 'v'),
                                               .software_id = std::string(below(120), 's'),
                                               .image_size = std::to_string(below(1000)),
                                               .platform = static_cast<uint8_t>(below(256))})};
    for (size_t i = below(19); i > 0; --i) parts.push_back(random_part(i));
    Container made = bundle(parts);
    if (below(2) == 0) align(made, 4096);
    const test::ScratchDirectory work;
    test::write_file(work / "in", render(made));
    dump(work / "in", work / "out");
    std::string remade;
    read_manifest(Kind::kBundle, work / "out/bundle.json").write([&](std::string_view piece) { remade += piece; });
    EXPECT_EQ(remade, test::read_file(work / "in")) << round;
  }
}

TEST(Dump, WhatNoManifestExpressesIsToldAndLeavesNothing) {
  const std::string whole = render(bundle({rommon("1", "data"), text_file("t", "text")}));
  const struct {
    std::string bytes;
    const char* reason;
  } kCases[] = {
      {test::set_byte(80 + 24, 4, whole), "at 104: a manifest cannot express"},
      {test::set_byte(80 + 32 + 16 + 15, 1, whole), "at 143: a manifest cannot express"},
      {whole + std::string(16, '\0'), "from here on"},
      {render(bundle({rommon("a/b", "data")})), "must not hold"},
      {render(bundle({rommon("\xff", "data")})), "UTF-8"},
      {render(bundle({object(orvix_object_keystore)})), "no part of a bundle"},
      {test::cut_at(whole.size() - 1, whole), "only"},
      {"no container", "too short"},
  };
  for (const auto& [bytes, reason] : kCases) {
    const test::ScratchDirectory work;
    test::write_file(work / "in", bytes);
    EXPECT_THAT([&] { dump(work / "in", work / "out"); }, testing::ThrowsMessage<Failure>(testing::HasSubstr(reason)));
    EXPECT_EQ(test::names_in(work.path()), "in") << reason;
  }
}

}  // namespace
}  // namespace coupler::tools
