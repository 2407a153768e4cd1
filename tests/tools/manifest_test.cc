// Manifests in JSON, here with ' for each ", and their schema.
#include "tools/pack/manifest.h"

#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

namespace coupler::pack {
namespace {

using testing::StartsWith;

Manifest parsed(Kind kind, std::string text) {
  std::ranges::replace(text, '\'', '"');
  return parse_manifest(kind, text, "/etc");
}

/// What the reader says; nothing where all is well.
std::string complaint(Kind kind, const std::string& text) {
  try {
    parsed(kind, text);
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

std::string part(const std::string& members) { return "{'parts': [{" + members + "}]}"; }

TEST(Manifest, EveryKindOfPart) {
  const Manifest manifest = parsed(Kind::kBundle, R"({'parts': [
      {'type': 'image-header', 'version': '4.2', 'filename': 'fw.img', 'image_size': '12', 'platform': 3},
      {'type': 'rommon', 'version': '1'}, {'type': 'ssd', 'version': '2'}, {'type': 'fpga', 'version': '3'},
      {'type': 'pseq', 'version': '4'}, {'type': 'lan-spi', 'version': '5'}, {'type': 'text', 'name': 't'},
      {'type': 'image', 'name': 'fw.img', 'image': {'header': {'version': '4.3'}, 'nesting': 'bundle-type'}},
      {'type': 'image', 'name': 'b.img', 'image': {'header': {'version': '4.4'}, 'nesting': 'controller',
                                                   'parts': [{'type': 'rommon', 'version': '6'}]}}]})");
  const HeaderFields header{.version = "4.2", .filename = "fw.img", .image_size = "12", .platform = 3};
  std::string bytes;
  manifest.write([&](std::string_view piece) { bytes += piece; });
  EXPECT_EQ(bytes,
            render(bundle({image_header(header), rommon("1"), ssd("2"), fpga("3"), pseq("4"), lan_spi("5"),
                           text_file("t"), image_file("fw.img", image({.version = "4.3"}, orvix_object_bundletype)),
                           image_file("b.img", bundle({image_header({.version = "4.4"}), rommon("6")}))})));
  EXPECT_THAT(manifest.warnings, testing::IsEmpty());
}

TEST(Manifest, ErrorsOfPartsNameTheKeyAndTheRemedy) {
  const std::string long_text(64, 'v'), wide_text = std::string(41, 'v') + "ääääääääääää";
  const struct {
    std::string members, error;
  } rows[] = {
      {"'type': 'rom'", "[0].type: unknown part type \"rom\"; one of image-header, rommon, ssd"},
      {"'type': 'rommon', 'version': 1", "[0].version: must be a text"},
      {"'type': 'fpga', 'version': '" + long_text + "'", "[0].version: has 64 characters; at most 63 fit"},
      {"'type': 'fpga', 'version': '" + wide_text + "'", "[0].version: has 53 characters in 65 bytes"},
      {"'type': 'fpga', 'version': '1;2'", "[0].version: must not hold \"/\" or \";\""},
      {"'type': 'text', 'name': '../x'", "[0].name: must not hold \"/\""},
      {"'type': 'text', 'name': '..'", "[0].name: \"..\" cannot be part of a file name"},
      {"'type': 'text', 'name': 'a\\u0000b'", "[0].name: must not hold control characters"},
      {"'type': 'text', 'name': 't', 'file': 't'", "[0].file: cannot read /etc/t: No such file"},
      {"'type': 'image', 'name': 'i', 'file': 't', 'image': {}", "[0]: has \"file\" and \"image\""},
      {"'type': 'image', 'name': 'i', 'image': {'header': {'version': 1}}", "[0].image.header.version: must be a text"},
      {"'type': 'text', 'name': 't', 'name': 'u'", "[0].name: the key stands there twice"},
      {"'type': 'image-header'}, {'type': 'text', 'name': 'hdr'", "[1]: an earlier part becomes the file hdr"},
      {"'type': 'text', 'name': 'fpga-1'}, {'type': 'fpga', 'version': '1'", "[1]: an earlier part becomes"},
      {"'type': 'image-header', 'platform': 256", "[0].platform: must be a whole number from 0 to 255"},
      {"'type': 'image-header', 'image_size': '1k'", "[0].image_size: must be a text of digits"},
      {"'type': 'text', 'name': 't', 'header_size': 24", "[0].header_size: must be a multiple of 16"},
  };
  for (const auto& [members, error] : rows) {
    EXPECT_THAT(complaint(Kind::kBundle, part(members)), StartsWith("parts" + error)) << members;
  }
}

TEST(Manifest, ErrorsNameTheKeyAndTheRemedy) {
  const auto ssd = [](const char* identification, const char* models, const char* version, const char* file) {
    return std::string("{'identification': '") + identification + "', 'models': [" + models + "], 'version': '" +
           version + "', 'file': '" + file + "'}";
  };
  const struct {
    Kind kind;
    std::string text, error;
  } rows[] = {
      {Kind::kBundle, "{", "not JSON: parse error at line 1, column 2"},
      {Kind::kBundle, "[]", "must be an object {...} with parts"},
      {Kind::kBundle, "{'parts': {}}", "parts: must be a list [...] of parts"},
      {Kind::kBundle, "{'parts': [], 'prats': []}", "unknown key \"prats\"; there may be parts"},
      {Kind::kImage, "{'header': {}, 'nesting': 'signed'}", "nesting: unknown"},
      {Kind::kImage, "{'header': {}, 'parts': []}", "parts: only an image"},
      {Kind::kSsdFile, ssd("QRV", "'M'", "1/2", "passwd"), "version: must not hold \"/\""},
      {Kind::kSsdFile, ssd("seventeen letters", "'M'", "1", "passwd"), "identification: has 17 characters; at most 16"},
      {Kind::kSsdFile, ssd("QRV", "'M', 'seventeen letters'", "1", "passwd"), "models[1]: has 17 characters"},
      {Kind::kSsdFile, ssd("QRV", "", "1", "passwd"), "models: must be a list [...] of 1 to 99 texts"},
  };
  for (const auto& [kind, text, error] : rows) EXPECT_THAT(complaint(kind, text), StartsWith(error)) << text;
}

/// What the reader says of `value` where the schema has the definition `name`.
std::string complaint(const std::string& name, const std::string& value) {
  if (name == "ssd-file") return complaint(Kind::kSsdFile, value);
  if (name == "image") return complaint(Kind::kImage, value);
  if (name == "header") return complaint(Kind::kImage, "{'header': " + value + '}');
  return complaint(Kind::kBundle, name == "bundle" ? value : "{'parts': [" + value + "]}");
}

/// The keys that the reader names as those that there may be.
std::set<std::string> keys_in(std::string complaint) {
  std::set<std::string> keys;
  std::istringstream words(complaint.erase(0, complaint.find("may be ") + 7));
  for (std::string word; words >> word;) keys.insert(word.substr(0, word.find(',')));
  return keys;
}

TEST(Manifest, SchemaHasTheKeysOfTheReader) {
  using Json = nlohmann::json;
  const Json schema = Json::parse(std::ifstream(MANIFEST_SCHEMA));
  const Json values = {{"parts", Json::array()},
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
      Json value = Json::object();
      for (const std::string key : required) value[key] = key == "type" ? type : values.at(key);
      EXPECT_EQ(complaint(name, value.dump()), "");
      for (const std::string key : required) {
        Json without = value;
        without.erase(key);
        EXPECT_THAT(complaint(name, without.dump()), testing::HasSubstr('"' + key + "\" is missing"));
      }
      value["?"] = 0;
      std::set<std::string> published;
      for (const auto& [key, property] : definition["properties"].items()) published.insert(key);
      EXPECT_EQ(keys_in(complaint(name, value.dump())), published);
    }
  }
}

TEST(Manifest, ImagesInImagesEndSomewhere) {
  std::string text = "{'parts': []}";
  for (int i = 0; i < 1000; ++i) text = part("'type': 'image', 'name': 'i', 'image': " + text);
  EXPECT_THAT(complaint(Kind::kBundle, text), testing::HasSubstr("more than 8 deep"));
}

TEST(Manifest, WarnsOfWhatReadersWillNotSee) {
  std::string parts = "'type': 'text', 'name': 'same'";
  for (int i = 0; i < 20; ++i) parts += "}, {'type': 'text', 'name': 't" + std::to_string(i) + "'";
  EXPECT_THAT(parsed(Kind::kBundle, part(parts + "}, {'type': 'text', 'name': 'same'")).warnings,
              testing::ElementsAre("parts: has 22 parts; readers stop after the first 20",
                                   "parts[21]: an earlier part has the same type and name; unpacking keeps the last"));
}

}  // namespace
}  // namespace coupler::pack
