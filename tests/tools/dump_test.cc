// Random bundles taken apart and made again; bundles that no manifest makes.
#include "tools/dump.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "tools/command.h"
#include "tools/pack/manifest.h"

namespace coupler::tools {
namespace {

using namespace pack;
namespace fs = std::filesystem;

class Dumped : public testing::Test {
 protected:
  Dumped() { fs::create_directories(work_); }
  ~Dumped() override { fs::remove_all(work_); }

  void dump_bytes(const std::string& bytes) const {
    std::ofstream(work_ / "in", std::ios::binary) << bytes;
    dump((work_ / "in").string(), (work_ / "out").string());
  }

  const fs::path work_ = fs::temp_directory_path() / ("dump_test." + std::to_string(getpid()));
};

TEST_F(Dumped, ManifestMakesTheVerySameBytes) {
  std::mt19937 random(20261125);  // NOLINT(cert-msc51-cpp): the same bundles in each run
  const auto below = [&](size_t most) { return random() % most; };
  for (int round = 0; round < 100; ++round) {
    std::vector<Object> parts = {image_header({.version = std::string(below(32), 'v'),
                                               .software_id = std::string(below(120), 's'),
                                               .image_size = std::to_string(below(1000)),
                                               .platform = static_cast<uint8_t>(below(256))})};
    for (size_t i = below(19); i > 0; --i) {
      const int type = orvix_object_firmware + static_cast<int>(below(5));
      const bool named = below(2) == 0;
      const std::string text = std::to_string(i) + std::string(below(61), 'n');
      std::string bytes(below(5000), '\0');
      for (char& byte : bytes) byte = static_cast<char>(random());
      parts.push_back(part(named ? orvix_object_textfile : type, text,
                           below(4) == 0 ? std::nullopt : std::optional<Payload>(bytes)));
    }
    Container made = bundle(parts);
    if (below(2) == 0) align(made, 4096);
    dump_bytes(render(made));
    EXPECT_EQ(render(std::get<Container>(read_manifest(Kind::kBundle, work_ / "out" / kDumpedManifest).body)),
              render(made))
        << round;
    fs::remove_all(work_ / "out");
  }
}

TEST_F(Dumped, WhatNoManifestExpressesIsToldAndLeavesNothing) {
  const std::string whole = render(bundle({rommon("1", "data"), text_file("t", "text")}));
  const auto with = [&](size_t offset, char byte) {
    std::string bytes = whole;
    bytes[offset] = byte;
    return bytes;
  };
  const struct {
    std::string bytes;
    const char* reason;
  } kCases[] = {
      {with(80 + 24, 4), "at 104: a manifest cannot express"},
      {with(80 + 32 + 16 + 15, 1), "at 143: a manifest cannot express"},
      {whole + std::string(16, '\0'), "from here on"},
      {render(bundle({rommon("a/b", "data")})), "must not hold"},
      {render(bundle({rommon("\xff", "data")})), "UTF-8"},
      {render(bundle({object(orvix_object_keystore)})), "no part of a bundle"},
      {whole.substr(0, whole.size() - 1), "only"},
      {"no container", "too short"},
  };
  for (const auto& [bytes, reason] : kCases) {
    try {
      dump_bytes(bytes);
      ADD_FAILURE() << reason;
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()).find(reason), std::string::npos) << failure.what();
    }
    EXPECT_FALSE(fs::exists(work_ / "out")) << reason;
  }
}

}  // namespace
}  // namespace coupler::tools
