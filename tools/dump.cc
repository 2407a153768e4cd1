// A bundle taken apart into a manifest and files that make the very same bytes.
#include "tools/dump.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/command.h"
#include "tools/pack/manifest.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

Json header_part(const ImageHeader& record) {
  Json part = {{"type", "image-header"}};
  for (const auto& [key, field, offset, capacity] : pack::kHeaderTexts) {
    const char* const text = reinterpret_cast<const char*>(&record) + offset;
    if (*text != '\0') part[key] = std::string(text, strnlen(text, capacity));
  }
  if (record.platform != 0) part["platform"] = static_cast<uint8_t>(record.platform);
  if (record.image_type != 0) part["image_type"] = static_cast<uint8_t>(record.image_type);
  return part;
}

/// The directory and what was written into it, which disappear unless they were kept.
class Target {
 public:
  explicit Target(const std::string& path) : path_(path) {
    std::error_code error;
    is_new_ = fs::create_directories(path_, error);
    if (error) throw Failure("cannot create " + path + ": " + error.message());
    if (!fs::is_empty(path_, error)) throw Failure(path + " is not empty; name a new directory");
  }
  ~Target() {
    std::error_code gone;
    if (kept_) return;
    for (const std::string& name : files) fs::remove(path_ / name, gone);
    if (is_new_) fs::remove(path_, gone);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  void write(const std::string& name, const std::function<void(const pack::Sink&)>& content) {
    pack::write_whole(path_ / name, content);
    files.push_back(name);
  }
  fs::path operator/(const char* name) const { return path_ / name; }
  void keep() { kept_ = true; }

  std::vector<std::string> files;

 private:
  const fs::path path_;
  bool is_new_ = false;
  bool kept_ = false;
};

class Dump {
 public:
  Dump(const std::string& path, Target& target) : path_(path), target_(target), tree_(read_tree(path)) {}

  void run() {
    must_be_whole(" is broken:", path_, tree_.problems);
    if (!tree_.is_bundle()) fail(0, "this is no bundle");
    Json parts = Json::array();
    for (const size_t i : tree_.children(2)) parts.push_back(part(tree_.nodes[i]));
    const std::string manifest = Json{{"parts", parts}}.dump(2) + '\n';
    target_.write(kDumpedManifest, [&](const pack::Sink& sink) { sink(manifest); });
    compare(read_back());
  }

 private:
  [[noreturn]] void fail(uint64_t offset, const std::string& why) const {
    throw Failure(path_ + ": at " + std::to_string(offset) + ": " + why);
  }

  Json part(const Node& node) {
    if (node.type == orvix_object_imageheader) return header_part(tree_.image_header(node));
    const pack::PartKind* const kind = pack::part_kind(node.type);
    if (kind == nullptr) fail(node.offset, node.name + " is no part of a bundle");
    Json part = {{"type", kind->name}, {kind->text, node.label()}};
    if (node.has_size()) part["file"] = content(node, std::string(kind->name));
    if (node.header_length != (node.text.size() + 15) / 16 * 16) part["header_size"] = node.header_length;
    return part;
  }

  std::string content(const Node& node, const std::string& type) {
    const std::string number = std::to_string(target_.files.size() + 1);
    const std::string name = std::string(number.size() < 2 ? "0" : "") + number + '-' + type;
    target_.write(name, [&](const pack::Sink& sink) { tree_.file.copy(node.payload(), node.content_length(), sink); });
    return name;
  }

  pack::Manifest read_back() const {
    try {
      return pack::read_manifest(pack::Kind::kBundle, target_ / kDumpedManifest);
    } catch (const Failure& failure) {
      throw Failure(std::string("a manifest cannot express this bundle: ") + failure.what());
    }
  }

  void compare(const pack::Manifest& made) {
    uint64_t at = 0;
    made.write([&](std::string_view piece) {
      const std::string there = tree_.file.read(at, piece.size());
      const auto differs = std::ranges::mismatch(there, piece).in1 - there.begin();
      at += static_cast<uint64_t>(differs);
      if (static_cast<size_t>(differs) < piece.size()) fail(at, "a manifest cannot express what stands here");
    });
    if (at < tree_.file.size) fail(at, "a manifest cannot express what stands from here on");
  }

  const std::string path_;
  Target& target_;
  const Tree tree_;
};

}  // namespace

std::vector<std::string> dump(const std::string& path, const std::string& directory) {
  Target target(directory);
  try {
    Dump(path, target).run();
  } catch (const Json::type_error&) {
    throw Failure("a manifest cannot express this bundle: a text in it is not UTF-8");
  }
  target.keep();
  return target.files;
}

}  // namespace coupler::tools
