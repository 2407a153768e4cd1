// What is to be packed, read from JSON.
#include "tools/pack/manifest.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "tools/pack/ssd_file.h"

namespace coupler::pack {
namespace {

namespace fs = std::filesystem;
using Keys = Lines;

constexpr uint64_t kMostBytes = 0xffff'ffff;
constexpr int kDeepestImage = 8;
constexpr size_t kLongestHeader = 0xffff * 16;

constexpr const char* kImageHeader = "image-header";

/// Keeps keys that come twice, so that they can be refused where they stand.
template <class Key, class T, class Less, class Allocator>
struct AllKeys : nlohmann::ordered_map<Key, T, Less, Allocator> {
  using nlohmann::ordered_map<Key, T, Less, Allocator>::ordered_map;
  T& operator[](const Key& key) { return this->emplace_back(key, T()).second; }  // called as the text is parsed
};
using Json = nlohmann::basic_json<AllKeys>;

std::string in_quotes(std::string_view text) { return '"' + std::string(text) + '"'; }

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

std::string characters(const std::string& text) {
  const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; };
  const size_t bytes = text.size();
  const size_t count = bytes - static_cast<size_t>(std::count_if(text.begin(), text.end(), continues));
  return std::to_string(count) + " characters" + (count == bytes ? "" : " in " + std::to_string(bytes) + " bytes");
}

std::string element(const std::string& list, size_t index) { return list + '[' + std::to_string(index) + ']'; }

/// A value of the manifest and where it stands, such as parts[2].version.
struct Value {
  const Json& json;
  std::string where;

  [[noreturn]] void reject(const std::string& why) const {
    throw Error(where.empty() ? why : where + ": " + why, where);
  }

  bool has(const char* key) const { return json.contains(key); }

  Value operator[](const char* key) const {
    if (!has(key)) reject(in_quotes(key) + " is missing");
    return {json.at(key), where.empty() ? key : where + '.' + key};
  }

  void must_be_object(const Keys& keys) const {
    if (!json.is_object()) reject("must be an object {...} with " + joined(keys, ", "));
    std::map<std::string, int> times;
    for (const auto& [key, value] : json.items()) ++times[key];
    for (const auto& [key, count] : times) {
      if (count > 1) (*this)[key.c_str()].reject("the key stands there twice");
      if (std::ranges::find(keys, key) == keys.end()) {
        reject("unknown key " + in_quotes(key) + "; there may be " + joined(keys, ", "));
      }
    }
  }

  std::string text(size_t longest = SIZE_MAX) const {
    if (!json.is_string()) reject("must be a text");
    const auto& value = json.get_ref<const std::string&>();
    if (value.size() > longest) {
      reject("has " + characters(value) + "; at most " + std::to_string(longest) + " fit");
    }
    if (std::any_of(value.begin(), value.end(), is_control)) reject("must not hold control characters");
    return value;
  }

  uint8_t code() const {
    if (!json.is_number_integer() || json < 0 || json > 255) reject("must be a whole number from 0 to 255");
    return json.get<uint8_t>();
  }
};

/// The text before ';' in a part's header. It becomes a file name, or a piece of one, when the bundle is unpacked.
std::string part_text(const Value& value) {
  std::string text = value.text(kLongestName);
  if (text.empty() || text == "." || text == "..") value.reject(in_quotes(text) + " cannot be part of a file name");
  if (text.find_first_of("/;") != text.npos) value.reject("must not hold \"/\" or \";\"");
  return text;
}

class Reader {
 public:
  explicit Reader(fs::path directory) : directory_(std::move(directory)) {}

  Manifest manifest(Kind kind, const Value& value) {
    Manifest result;
    if (kind == Kind::kSsdFile) {
      ssd(value, result);
    } else {
      result.body = kind == Kind::kBundle ? bundle(value) : image(value);
      if (size(result.body) > kMostBytes) {
        warnings_.push_back("the result has more than 4 GiB, which readers cannot address");
      }
    }
    result.files = std::move(files_);
    result.warnings = std::move(warnings_);
    return result;
  }

 private:
  Container bundle(const Value& value) {
    value.must_be_object({"parts"});
    return pack::bundle(parts(value["parts"]));
  }

  Container image(const Value& value) {
    value.must_be_object({"header", "nesting", "file", "parts"});
    const HeaderFields header = header_fields(value["header"], header_keys());
    const std::string nesting = value.has("nesting") ? value["nesting"].text() : "image-type";
    if (nesting == "image-type") return plain_image(value, header, orvix_object_imagetype);
    if (nesting == "bundle-type") return plain_image(value, header, orvix_object_bundletype);
    if (nesting == "controller") return controller_image(value, header);
    value["nesting"].reject("unknown nesting " + in_quotes(nesting) + "; one of image-type, bundle-type, controller");
  }

  void ssd(const Value& value, Manifest& result) {
    value.must_be_object({"identification", "models", "version", "file"});
    const SsdFirmware firmware{.identification = ssd_text(value["identification"]),
                               .models = models(value["models"]),
                               .version = ssd_text(value["version"])};
    if (firmware.version.find('/') != std::string::npos) value["version"].reject("must not hold \"/\"");
    const File binary = file(value["file"]);
    if (binary.size == 0 || binary.size > kMostBytes) value["file"].reject("must have 1 byte to 4 GiB");
    result.head = ssd_head(firmware, binary.size);
    result.body = binary;
  }

  std::string ssd_text(const Value& value) {
    std::string text = value.text(kSsdField);
    if (text.starts_with('0')) warn(value, "readers leave out the zeros that it begins with");
    return text;
  }

  static std::vector<std::string> models(const Value& value) {
    if (!value.json.is_array() || value.json.empty() || value.json.size() > kMostSsdModels) {
      value.reject("must be a list [...] of 1 to 99 texts");
    }
    std::vector<std::string> models;
    for (size_t i = 0; i < value.json.size(); ++i) {
      models.push_back(Value{value.json[i], element(value.where, i)}.text(kSsdField));
    }
    return models;
  }

  static Keys header_keys(const char* more = nullptr) {
    Keys keys;
    for (const HeaderText& row : kHeaderTexts) keys.push_back(row.key);
    keys.insert(keys.end(), {"platform", "image_type"});
    if (more != nullptr) keys.push_back(more);
    return keys;
  }

  static HeaderFields header_fields(const Value& value, const Keys& keys) {
    value.must_be_object(keys);
    HeaderFields fields;
    for (const HeaderText& row : kHeaderTexts) {
      if (value.has(row.key)) fields.*row.field = value[row.key].text(row.capacity - 1);
    }
    if (fields.image_size.find_first_not_of("0123456789") != std::string::npos) {
      value["image_size"].reject("must be a text of digits, the size in bytes");
    }
    if (value.has("platform")) fields.platform = value["platform"].code();
    if (value.has("image_type")) fields.image_type = value["image_type"].code();
    return fields;
  }

  Container plain_image(const Value& value, const HeaderFields& header, int type) {
    if (value.has("parts")) value["parts"].reject("only an image with \"nesting\": \"controller\" has parts");
    return pack::image(header, type, value.has("file") ? Payload(file(value["file"])) : Payload());
  }

  Container controller_image(const Value& value, const HeaderFields& header) {
    if (value.has("file")) value["file"].reject("an image with \"nesting\": \"controller\" has \"parts\" instead");
    std::vector<Object> objects = {image_header(header)};
    if (value.has("parts")) std::ranges::move(parts(value["parts"]), std::back_inserter(objects));
    return pack::bundle(std::move(objects));
  }

  std::vector<Object> parts(const Value& value) {
    if (!value.json.is_array()) value.reject("must be a list [...] of parts");
    if (value.json.size() > kMostParts) {
      warn(value, "has " + std::to_string(value.json.size()) + " parts; readers stop after the first 20");
    }
    std::vector<Object> objects;
    std::map<std::string, Guid> names;
    for (size_t i = 0; i < value.json.size(); ++i) {
      const Value row{value.json[i], element(value.where, i)};
      if (!row.json.is_object()) row.reject("must be an object {...}");
      const PartKind* const kind = kind_of(row["type"]);
      objects.push_back(kind == nullptr ? image_header(header_fields(row, header_keys("type"))) : part(row, *kind));
      const std::string name = kind == nullptr ? "hdr" : kind->prefix + row[kind->text].text();
      const auto [earlier, is_new] = names.emplace(name, objects.back().guid);
      if (is_new) continue;
      if (earlier->second != objects.back().guid) row.reject("an earlier part becomes the file " + name + " too");
      warn(row, "an earlier part has the same type and name; unpacking keeps the last");
    }
    return objects;
  }

  /// @return null for an image header
  static const PartKind* kind_of(const Value& value) {
    const std::string type = value.text();
    Keys types = {kImageHeader};
    for (const PartKind& kind : kPartKinds) {
      if (kind.name == type) return &kind;
      types.emplace_back(kind.name);
    }
    if (type != kImageHeader) value.reject("unknown part type " + in_quotes(type) + "; one of " + joined(types, ", "));
    return nullptr;
  }

  Object part(const Value& value, const PartKind& kind) {
    Keys keys = {"type", kind.text, "file", "header_size"};
    if (kind.type == orvix_object_imagefile) keys.push_back("image");
    value.must_be_object(keys);
    const std::string text = part_text(value[kind.text]);
    Object part = pack::part(kind.type, text, content(value));
    if (value.has("header_size")) fill_up(part.header, value["header_size"]);
    return part;
  }

  static void fill_up(std::string& header, const Value& value) {
    if (!value.json.is_number_unsigned() || value.json > kLongestHeader || value.json.get<size_t>() % 16 != 0) {
      value.reject("must be a multiple of 16 up to " + std::to_string(kLongestHeader));
    }
    if (value.json < header.size()) value.reject("the header's text has " + std::to_string(header.size()) + " bytes");
    header.resize(value.json.get<size_t>());
  }

  std::optional<Payload> content(const Value& value) {
    if (value.has("file") && value.has("image")) value.reject("has \"file\" and \"image\"; one of them is the content");
    if (value.has("file")) return file(value["file"]);
    if (value.has("image")) return nested(value["image"]);
    return {};
  }

  Container nested(const Value& value) {
    if (++depth_ > kDeepestImage) value.reject("images stand in images more than 8 deep");
    Container container = value.has("header") ? image(value) : bundle(value);
    --depth_;
    return container;
  }

  File file(const Value& value) {
    try {
      files_.push_back(directory_ / value.text());
      return pack::file(files_.back());
    } catch (const Error& error) {
      value.reject(error.what());
    }
  }

  void warn(const Value& value, const std::string& text) { warnings_.push_back(value.where + ": " + text); }

  const fs::path directory_;
  int depth_ = 0;
  std::vector<fs::path> files_;
  std::vector<std::string> warnings_;
};

Json parse_json(const std::string& text) {
  try {
    return Json::parse(text, nullptr, true, /*ignore_comments=*/true);
  } catch (const Json::exception& error) {
    const std::string_view what = error.what();  // "[json.exception...] what and where"
    throw Error("not JSON: " + std::string(what.substr(what.find(']') + 2)));
  }
}

}  // namespace

void Manifest::write(const Sink& sink) const {
  sink(head);
  pack::write(body, sink);
}

Manifest parse_manifest(Kind kind, const std::string& text, const fs::path& directory) {
  const Json json = parse_json(text);
  return Reader(directory).manifest(kind, {json, ""});
}

Manifest read_manifest(Kind kind, const fs::path& path) {
  const Input file(readable(path), path);
  try {
    Manifest manifest = parse_manifest(kind, file.read(0, file.size), path.parent_path());
    manifest.files.push_back(path);
    return manifest;
  } catch (const Error& error) {
    throw Error(path.string() + ": " + error.what(), path.string() + (error.place.empty() ? "" : ": " + error.place));
  }
}

}  // namespace coupler::pack
