#include "tools/pack/manifest.h"

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace coupler::pack {
namespace {

std::string error_of(Kind kind, const std::string& text) {
  try {
    parse_manifest(kind, text, "/nowhere");
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

std::string part(const std::string& members) { return R"({"parts": [{)" + members + "}]}"; }

TEST(Manifest, BundleOfEveryKindOfPart) {
  const Manifest manifest = parse_manifest(Kind::kBundle, R"({"parts": [
      {"type": "image-header", "version": "4.2", "filename": "fw.img", "image_size": "12", "platform": 3},
      {"type": "rommon", "version": "1"}, {"type": "ssd", "version": "2"}, {"type": "fpga", "version": "3"},
      {"type": "pseq", "version": "4"}, {"type": "lan-spi", "version": "5"}, {"type": "text", "name": "t"},
      {"type": "image", "name": "fw.img", "image": {"header": {"version": "4.3"}, "nesting": "bundle-type"}},
      {"type": "image", "name": "b.img", "image": {"parts": [{"type": "rommon", "version": "6"}]}}]})",
                                           "");
  const HeaderFields header{.version = "4.2", .filename = "fw.img", .image_size = "12", .platform = 3};
  EXPECT_EQ(render(std::get<Container>(manifest.body)),
            render(bundle({image_header(header), rommon("1"), ssd("2"), fpga("3"), pseq("4"), lan_spi("5"),
                           text_file("t"), image_file("fw.img", image({.version = "4.3"}, orvix_object_bundletype)),
                           image_file("b.img", bundle({rommon("6")}))})));
  EXPECT_THAT(manifest.warnings, testing::IsEmpty());
}

TEST(Manifest, ImageInsideAController) {
  const Manifest manifest = parse_manifest(Kind::kImage, R"({"header": {"version": "4.2"}, "nesting": "controller",
                                                             "parts": [{"type": "fpga", "version": "3"}]})",
                                           "");
  EXPECT_EQ(render(std::get<Container>(manifest.body)), render(bundle({image_header({.version = "4.2"}), fpga("3")})));
}

TEST(Manifest, ErrorsNameTheKeyAndTheRemedy) {
  const std::string long_text(64, 'v');
  const struct {
    std::string text, error;
  } rows[] = {
      {"{", "not JSON: parse error at line 1, column 2"},
      {"[]", "must be an object {...} with parts"},
      {"{}", "\"parts\" is missing"},
      {R"({"parts": {}})", "parts: must be a list [...] of parts"},
      {R"({"parts": [], "prats": []})", "unknown key \"prats\"; there may be parts"},
      {part(R"("type": "rom")"), "parts[0].type: unknown part type \"rom\"; one of image-header, rommon, ssd"},
      {part(R"("type": "rommon")"), "parts[0]: \"version\" is missing"},
      {part(R"("type": "rommon", "version": 1)"), "parts[0].version: must be a text"},
      {part(R"("type": "rommon", "version": "1", "name": "x")"), "parts[0]: unknown key \"name\""},
      {part(R"("type": "rommon", "version": ")" + long_text + '"'),
       "parts[0].version: has 64 characters; at most 63 fit"},
      {part(R"("type": "rommon", "version": "1;2")"), "parts[0].version: must not hold \"/\" or \";\""},
      {part(R"("type": "text", "name": "../x")"), "parts[0].name: must not hold \"/\""},
      {part(R"("type": "text", "name": "..")"), "parts[0].name: \"..\" cannot be part of a file name"},
      {part(R"("type": "text", "name": "")"), "parts[0].name: \"\" cannot be part of a file name"},
      {part(R"("type": "text", "name": "a\u0000b")"), "parts[0].name: must not hold control characters"},
      {part(R"("type": "text", "name": "t", "file": "t")"), "parts[0].file: cannot read /nowhere/t: No such file"},
      {part(R"("type": "text", "name": "t", "image": {})"), "parts[0]: unknown key \"image\""},
      {part(R"("type": "image", "name": "i", "file": "t", "image": {})"), "parts[0]: has \"file\" and \"image\""},
      {part(R"("type": "image", "name": "i", "image": {"header": {"version": 1}})"),
       "parts[0].image.header.version: must be a text"},
      {part(R"("type": "text", "name": "t", "name": "u")"), "parts[0].name: the key stands there twice"},
      {part(R"("type": "image-header"}, {"type": "text", "name": "hdr")"),
       "parts[1]: an earlier part becomes the file hdr"},
      {part(R"("type": "text", "name": "rommon-1"}, {"type": "rommon", "version": "1")"), "parts[1]: an earlier part"},
      {part(R"("type": "rommon", "version": "a)" + std::string(40, 'v') +
            "\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4" + '"'),
       "parts[0].version: has 53 characters in 65 bytes"},
      {part(R"("type": "image-header", "platform": 256)"), "parts[0].platform: must be a whole number from 0 to 255"},
      {part(R"("type": "image-header", "image_size": "1k")"), "parts[0].image_size: must be a text of digits"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_THAT(error_of(Kind::kBundle, row.text), testing::StartsWith(row.error));
  }
  EXPECT_THAT(error_of(Kind::kImage, R"({"header": {}, "nesting": "signed"})"),
              testing::StartsWith("nesting: unknown"));
  EXPECT_THAT(error_of(Kind::kImage, R"({"header": {}, "parts": []})"), testing::StartsWith("parts: only an image"));
}

/// What the reader says of `value` where the schema has the definition `name`.
std::string complaint(const std::string& name, const nlohmann::json& value) {
  try {
    const std::string text = value.dump();
    if (name == "ssd-file") parse_manifest(Kind::kSsdFile, text, "/etc");
    if (name == "image") parse_manifest(Kind::kImage, text, "/etc");
    if (name == "header") parse_manifest(Kind::kImage, R"({"header": )" + text + '}', "/etc");
    if (name == "bundle") parse_manifest(Kind::kBundle, text, "/etc");
    if (name.ends_with("-part")) parse_manifest(Kind::kBundle, R"({"parts": [)" + text + "]}", "/etc");
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(Manifest, SchemaHasTheKeysOfTheReader) {
  using Json = nlohmann::ordered_json;
  const Json schema = Json::parse(std::ifstream(MANIFEST_SCHEMA));
  const nlohmann::json values = {{"parts", nlohmann::json::array()},
                                 {"header", {{"version", "1"}}},
                                 {"file", "passwd"},
                                 {"identification", "i"},
                                 {"models", {"m"}},
                                 {"version", "1"},
                                 {"name", "n"}};
  for (const auto& [name, definition] : schema["$defs"].items()) {
    if (!definition.contains("additionalProperties")) continue;
    const Json required = definition.value("required", Json::array());
    const Json types = definition["properties"].value("type", Json::object());
    for (const Json& type : types.value("enum", Json::array({types.value("const", "")}))) {
      SCOPED_TRACE(name + ' ' + std::string(type));
      nlohmann::json value = {{"type", type}};
      if (type == "") value = nlohmann::json::object();
      for (const auto& key : required) {
        if (key != "type") value[key] = values.at(key);
      }
      EXPECT_EQ(complaint(name, value), "");
      for (const std::string key : required) {
        nlohmann::json without = value;
        without.erase(key);
        EXPECT_THAT(complaint(name, without), testing::HasSubstr('"' + key + "\" is missing"));
      }
      value["?"] = 0;
      std::set<std::string> known, published;
      std::string keys = complaint(name, value);
      std::istringstream words(keys.erase(0, keys.find("may be ") + 7));
      for (std::string word; words >> word;) known.insert(word.substr(0, word.find(',')));
      for (const auto& [key, property] : definition["properties"].items()) published.insert(key);
      EXPECT_EQ(known, published);
    }
  }
}

TEST(Manifest, SsdFirmwareFitsItsFields) {
  const struct {
    std::string identification, models, version, file, error;
  } rows[] = {
      {"QRV", R"(["MZ240HBLS"])", "HXT7405Q", "passwd", ""},
      {"QRV", R"(["MZ240HBLS"])", "1/2", "passwd", "version: must not hold \"/\""},
      {"seventeen letters", R"(["MZ240HBLS"])", "1", "passwd", "identification: has 17 characters; at most 16 fit"},
      {"QRV", R"(["MZ240HBLS", "seventeen letters"])", "1", "passwd", "models[1]: has 17 characters"},
      {"QRV", "[]", "1", "passwd", "models: must be a list [...] of 1 to 99 texts"},
      {"QRV", R"(["MZ240HBLS"])", "1", "none", "file: cannot read /etc/none: No such file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    std::string error;
    try {
      parse_manifest(Kind::kSsdFile,
                     R"({"identification": ")" + row.identification + R"(", "models": )" + row.models +
                         R"(, "version": ")" + row.version + R"(", "file": ")" + row.file + R"("})",
                     "/etc");
    } catch (const Error& caught) {
      error = caught.what();
    }
    EXPECT_THAT(error, testing::StartsWith(row.error));
    EXPECT_EQ(error.empty(), row.error.empty());
  }
}

TEST(Manifest, ImagesInImagesEndSomewhere) {
  std::string text = R"({"parts": []})";
  for (int i = 0; i < 1000; ++i) text = part(R"("type": "image", "name": "i", "image": )" + text);
  EXPECT_THAT(error_of(Kind::kBundle, text), testing::HasSubstr("more than 8 deep"));
}

TEST(Manifest, WarnsOfWhatReadersWillNotSee) {
  std::string parts = R"({"type": "text", "name": "same"})";
  for (int i = 0; i < 20; ++i) parts += R"(, {"type": "text", "name": "t)" + std::to_string(i) + "\"}";
  parts += R"(, {"type": "text", "name": "same"})";
  EXPECT_THAT(parse_manifest(Kind::kBundle, R"({"parts": [)" + parts + "]}", "").warnings,
              testing::ElementsAre("parts: has 22 parts; readers stop after the first 20",
                                   "parts[21]: an earlier part has the same type and name; unpacking keeps the last"));
}

}  // namespace
}  // namespace coupler::pack
