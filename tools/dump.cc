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

/// Takes away what was written, and the directory where it was made for it.
void clear(const fs::path& directory, bool is_new) {
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator(directory, gone)) fs::remove(entry, gone);
  if (is_new) fs::remove(directory, gone);
}

class Dump {
 public:
  Dump(const std::string& path, fs::path directory)
      : path_(path), directory_(std::move(directory)), tree_(read_tree(path)) {}

  /// @return names of the files
  std::vector<std::string> run() {
    must_be_whole(" is broken:", path_, tree_.problems);
    if (!tree_.is_bundle()) fail(0, "this is no bundle");
    Json parts = Json::array();
    for (const size_t i : tree_.children(2)) parts.push_back(part(tree_.nodes[i]));
    const std::string manifest = Json{{"parts", parts}}.dump(2) + '\n';
    write(kDumpedManifest, [&](const pack::Sink& sink) { sink(manifest); });
    compare(read_back());
    return std::move(files_);
  }

 private:
  void write(const std::string& name, const std::function<void(const pack::Sink&)>& content) {
    pack::write_whole(directory_ / name, content);
    files_.push_back(name);
  }

  [[noreturn]] void fail(uint64_t offset, const std::string& why) const {
    throw Failure(path_ + ": at " + std::to_string(offset) + ": " + why);
  }

  Json part(const Node& node) {
    if (node.type == orvix_object_imageheader) return header_part(tree_.image_header(node));
    const pack::PartKind* const kind = node.kind();
    if (kind == nullptr) fail(node.offset, node.name + " is no part of a bundle");
    Json part = {{"type", kind->name}, {kind->text, node.label()}};
    if (node.has_size()) part["file"] = content(node, std::string(kind->name));
    if (node.header_length != (node.text.size() + 15) / 16 * 16) part["header_size"] = node.header_length;
    return part;
  }

  std::string content(const Node& node, const std::string& type) {
    const std::string number = std::to_string(files_.size() + 1);
    const std::string name = std::string(number.size() < 2 ? "0" : "") + number + '-' + type;
    write(name, [&](const pack::Sink& sink) { tree_.file.copy(node.payload(), node.content_length(), sink); });
    return name;
  }

  pack::Manifest read_back() const {
    try {
      return pack::read_manifest(pack::Kind::kBundle, directory_ / kDumpedManifest);
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
  const fs::path directory_;
  const Tree tree_;
  std::vector<std::string> files_;
};

}  // namespace

std::vector<std::string> dump(const std::string& path, const std::string& directory) {
  std::error_code error;
  const bool is_new = fs::create_directories(directory, error);
  if (error) throw Failure("cannot create " + directory + ": " + error.message());
  if (!fs::is_empty(directory, error)) throw Failure(directory + " is not empty; name a new directory");
  try {
    return Dump(path, directory).run();
  } catch (const Json::type_error&) {
    clear(directory, is_new);
    throw Failure("a manifest cannot express this bundle: a text in it is not UTF-8");
  } catch (...) {
    clear(directory, is_new);
    throw;
  }
}

}  // namespace coupler::tools
