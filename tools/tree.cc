// The objects of a container file, read without trusting it.
#include "tools/tree.h"

#include <sha2.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "support/text.h"
#include "tools/command.h"

namespace coupler::tools {
namespace {

constexpr int kDeepest = 32;
constexpr size_t kMostNodes = 10'000;
constexpr size_t kMostText = 4096;
constexpr uint64_t kGuid = 16;
constexpr uint64_t kHead = sizeof(orvix_object);

bool has_image_header(int type) {
  return type == orvix_object_imageheader || type == orvix_object_imagetype || type == orvix_object_bundletype;
}

bool wraps(int type) { return type == orvix_object_zeltasignature || type == orvix_object_controllertype; }

class Reader {
 public:
  explicit Reader(Tree& tree) : tree_(tree), file_(tree.file) {}

  void read() { container(0, file_.size, 0); }

 private:
  void problem(uint64_t offset, std::string text) { tree_.problems.push_back({offset, std::move(text)}); }

  void container(uint64_t offset, uint64_t end, int depth) {
    tree_.nodes.push_back({.offset = offset, .depth = depth, .name = "container", .type = -1});
    const std::string guid = file_.read(offset, std::min(kGuid, end - offset));
    if (guid.size() < kGuid) return problem(offset, "too short for a container");
    if (!orvix_is_file_guid(guid.data())) problem(offset, "the file GUID is missing; this is no container, or damaged");
    if (offset + kGuid == end) problem(offset, "no object stands in the container");
    objects(offset + kGuid, end, depth + 1);
  }

  void objects(uint64_t offset, uint64_t end, int depth) {
    while (offset < end) {
      if (depth > kDeepest) return problem(offset, "objects stand in objects more than 32 deep");
      if (tree_.nodes.size() >= kMostNodes) return problem(offset, "more than 10000 objects");
      std::string head = file_.read(offset, std::min(kHead, end - offset));
      if (head.size() < kHead && head.find_first_not_of('\0') != head.npos) {
        return problem(offset, std::to_string(head.size()) + " bytes stand where an object's head of 32 should be");
      }
      head.resize(kHead);
      const uint64_t length = object(head, offset, end, depth);
      if (length == 0 || length > end - offset) return;
      offset += length;
    }
  }

  /// @return length of the object; 0 when nothing follows it
  uint64_t object(std::string& head, uint64_t offset, uint64_t end, int depth) {
    auto* const object = reinterpret_cast<orvix_object*>(head.data());
    const orvix_desc* const desc = orvix_object_get_descriptor(object);
    const int type = orvix_get_object_type(object);
    const uint64_t header = orvix_desc_get_header_len(desc);
    const uint64_t payload = orvix_desc_get_payload_len(desc);
    tree_.nodes.push_back({offset, depth, orvix_object_get_name(object), type, header, payload, desc->flags});
    if (type == orvix_object_null) return 0;
    if (type == ORVIX_TYPE_UNKNOWN) {
      problem(offset, "an object of unknown type");
      return 0;
    }
    const uint64_t room = end - offset - kHead;
    if (header > room) {
      problem(offset, overrun("header", header, room));
      return 0;
    }
    tree_.nodes.back().text = text_of(tree_.nodes.back());
    if (payload > room - header) problem(offset, overrun("payload", payload, room - header));
    const uint64_t content = tree_.nodes.back().content_length();
    if (content > payload) {
      problem(offset,
              "the part has " + std::to_string(content) + " bytes, its payload only " + std::to_string(payload));
    }
    children(type, offset + kHead + header, std::min(payload, room - header), depth);
    return kHead + header + payload;
  }

  void children(int type, uint64_t offset, uint64_t length, int depth) {
    const std::string guid = file_.read(offset, std::min(kGuid, length));
    if (guid.size() < kGuid && !wraps(type)) return;
    if (guid.size() == kGuid && orvix_is_file_guid(guid.data())) return container(offset, offset + length, depth + 1);
    if (wraps(type)) objects(offset, offset + length, depth + 1);
  }

  std::string text_of(const Node& node) const {
    const std::string header = file_.read(node.header(), std::min<uint64_t>(node.header_length, kMostText));
    if (node.kind() != nullptr) return header.substr(0, header.find('\0'));
    if (!has_image_header(node.type)) return "";
    const ImageHeader record = tree_.image_header(node);
    return std::string(text_in(record.filename)).append(" ").append(text_in(record.version));
  }

  static std::string overrun(const std::string& what, uint64_t length, uint64_t room) {
    return "the " + what + " has " + std::to_string(length) + " bytes, but only " + std::to_string(room) + " are left";
  }

  Tree& tree_;
  const Input& file_;
};

}  // namespace

uint64_t Node::content_length() const {
  if (kind() == nullptr || !has_size()) return payload_length;
  uint64_t size = 0;
  std::from_chars(text.data() + text.find(';') + 1, text.data() + text.size(), size);
  return size;
}

bool Tree::is_bundle() const {
  return nodes.size() > 2 && nodes[1].type == orvix_object_zeltasignature &&
         nodes[2].type == orvix_object_controllertype && nodes[2].depth == nodes[1].depth + 1;
}

std::vector<size_t> Tree::children(size_t node, size_t most) const {
  std::vector<size_t> found;
  for (size_t i = node + 1; i < nodes.size() && nodes[i].depth > nodes[node].depth && found.size() < most; ++i) {
    if (nodes[i].depth == nodes[node].depth + 1) found.push_back(i);
  }
  return found;
}

size_t Tree::content_of_image(size_t node) const {
  const bool holds = node + 3 < nodes.size() && nodes[node + 1].type == -1 &&
                     nodes[node + 2].type == orvix_object_zeltasignature && nodes[node + 1].depth > nodes[node].depth &&
                     nodes[node + 3].depth == nodes[node].depth + 3;
  return holds ? node + 3 : 0;
}

ImageHeader Tree::image_header(const Node& node) const {
  ImageHeader record{};
  const std::string bytes = file.read(node.header(), std::min<uint64_t>(node.header_length, sizeof record));
  std::memcpy(&record, bytes.data(), bytes.size());
  return record;
}

std::string Tree::sha256(const Node& node) const {
  SHA2_CTX state;
  SHA256Init(&state);
  file.copy(node.payload(), node.content_length(), [&](std::string_view piece) {
    SHA256Update(&state, reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
  });
  char text[SHA256_DIGEST_STRING_LENGTH];
  return SHA256End(&state, text);
}

Tree read_tree(const std::string& path) {
  Tree tree{Input(readable(path), path)};
  Reader(tree).read();
  return tree;
}

std::string lines_of(const Findings& findings) {
  std::string lines;
  for (const auto& [offset, text, part, note] : findings) {
    lines += "\n  at " + std::to_string(offset) + ": " + (part.empty() ? "" : part + ": ") + text;
  }
  return lines;
}

void must_be_whole(const std::string& what, const std::string& path, const Findings& findings) {
  if (findings.empty()) return;
  throw Failure(path + what + lines_of(findings), path + ": " + std::to_string(findings.front().offset));
}

}  // namespace coupler::tools
