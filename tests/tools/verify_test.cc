// Bundles with one fault each, and every proper prefix of one without.
#include "tools/verify.h"

#include <gmock/gmock.h>

#include "tests/common/damage.h"
#include "tests/common/files.h"
#include "tools/pack/builder.h"
#include "tools/pack/ssd_file.h"

namespace coupler::tools {
namespace {

using namespace pack;
using testing::AllOf, testing::Contains, testing::Field, testing::HasSubstr;

Findings verify_bytes(const std::string& bytes) {
  const test::ScratchDirectory directory;
  test::write_file(directory / "bundle", bytes);
  return verify(read_tree(directory / "bundle"));
}

std::string drive_file(uint64_t size = 1) {
  return ssd_head({.identification = "Q", .models = {"M"}, .version = "V"}, size) + "b";
}

TEST(Verify, NoProperPrefixIsWithoutFindings) {
  const Container image = bundle({image_header({.version = "2", .filename = "fw.img"}), fpga("3", "f")});
  const std::string whole = render(bundle({image_header({.version = "4.2 (1)", .filename = "fw.img"}),
                                           rommon("1.0.5", "data"), ssd("7", drive_file()), image_file("fw.img", image),
                                           text_file("ssd-7", "SSD firmware has its own folder")}));
  EXPECT_TRUE(verify_bytes(whole).empty());
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(verify_bytes(test::cut_at(length, whole)).empty()) << length;
  }
  EXPECT_FALSE(verify_bytes(whole + std::string(32, '\0')).empty());
  EXPECT_FALSE(verify_bytes(test::grow_length(16, whole)).empty());
}

TEST(Verify, AnImageWithoutPartsIsWorthANote) {
  for (const int type : {orvix_object_imagetype, orvix_object_bundletype}) {
    const std::vector<Object> parts = {image_header({.filename = "i"}), image_file("i", image({}, type))};
    EXPECT_THAT(verify_bytes(render(bundle(parts))), testing::ElementsAre(Field(&Finding::note, true)));
  }
}

TEST(Verify, ObjectsInObjectsEndSomewhere) {
  Object object = wrap(orvix_object_controllertype, "", {});
  for (int i = 0; i < 40; ++i) object = wrap(orvix_object_controllertype, "", {object});
  EXPECT_THAT(verify_bytes(render({{object}})), Contains(Field(&Finding::text, HasSubstr("more than 32 deep"))));
}

TEST(Verify, EachFaultIsFoundAtItsPart) {
  std::vector<Object> names;
  for (const char* name : {"1", "2", "3", "4", "5", "6", "7", "8"}) names.push_back(text_file(name, "t"));
  const struct {
    std::vector<Object> before;
    Object bad;
    const char* finding;
  } kCases[] = {
      {std::vector<Object>(20, fpga("1")), fpga("2"), "beyond the twentieth"},
      {names, text_file("9", "t"), "not listed"},
      {{}, text_file("../t", "t"), "leaves the directory"},
      {{}, text_file("..", "t"), "no name"},
      {{}, text_file(std::string(64, 'n'), "t"), "cut to 63"},
      {{}, rommon(std::string(250, 'v'), "r"), "more than 255"},
      {{rommon("1", "r")}, text_file("rommon-1", "t"), "earlier part, rommon-1"},
      {{image_header({})}, text_file("hdr", "t"), "earlier part, hdr"},
      {{}, object(orvix_object_firmware, "1;17", "r"), "the part has 17 bytes, its payload only 16"},
      {{}, object(orvix_object_firmware, "1;-1", "r"), "no number"},
      {{}, object(orvix_object_keystore, "", ""), "no part of a bundle"},
      {{}, image_header({.filename = "a.img"}), "does not follow"},
      {{image_header({.filename = "a.img"})}, image_file("a.img", "x"), "no container"},
      {{}, Object{.guid = {1}}, "unknown type"},
      {{}, ssd("1", "no drive"), "too short"},
      {{}, ssd("1", drive_file(9)), "cut short"},
  };
  for (const auto& [before, bad, finding] : kCases) {
    std::vector<Object> parts = before;
    const uint64_t offset = size(bundle(parts));
    parts.push_back(bad);
    EXPECT_THAT(verify_bytes(render(bundle(parts))),
                Contains(AllOf(Field(&Finding::offset, offset), Field(&Finding::text, HasSubstr(finding)))));
  }
}

}  // namespace
}  // namespace coupler::tools
