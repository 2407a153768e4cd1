// What is wrong with a firmware bundle, found without unpacking it.
#include "tools/verify.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

constexpr size_t kMostParts = 20;
constexpr size_t kMostNames = 8;
constexpr size_t kLongestName = 63;
constexpr size_t kLongestFileName = 255;
constexpr size_t kMostText = 4096;

struct PartType {
  int type;
  const char* prefix;  // of its file; a named part's file has its name
};
constexpr PartType kPartTypes[] = {
    {orvix_object_firmware, "rommon-"},
    {orvix_object_ssd, "ssd-"},
    {orvix_object_firmwarehub, "fpga-"},
    {orvix_object_firmwareimageone, "PowerSequencer-"},
    {orvix_object_firmwareimagetwo, "LanSpi-"},
    {orvix_object_imagefile, ""},
    {orvix_object_textfile, ""},
};

const PartType* part_type(int type) {
  const auto* const found = std::ranges::find(kPartTypes, type, &PartType::type);
  return found == std::end(kPartTypes) ? nullptr : found;
}

bool is_number(const std::string& text) {
  return !text.empty() && text.size() < 18 && text.find_first_not_of("0123456789") == text.npos;
}

constexpr size_t kSsdModels = 38;
constexpr size_t kSsdField = 16;

class Verifier {
 public:
  explicit Verifier(const std::string& path)
      : tree_(read_tree(path)), nodes_(tree_.nodes), stream_(path, std::ios::binary) {}

  std::vector<Finding> run() {
    for (const Problem& problem : tree_.problems) findings_.push_back({problem.offset, "", problem.text});
    wrapping();
    for (size_t i = 0; i < nodes_.size(); ++i) {
      if (nodes_[i].type == orvix_object_controllertype) parts_of(i);
    }
    std::ranges::stable_sort(findings_, {}, &Finding::offset);
    return std::move(findings_);
  }

 private:
  void find(const Node& node, std::string text) { findings_.push_back({node.offset, node.text, std::move(text)}); }

  static uint64_t end_of(const Node& node) {
    return node.offset + sizeof(orvix_object) + node.header_length + node.payload_length;
  }

  void wrapping() {
    const bool wrapped = nodes_.size() > 2 && nodes_[1].type == orvix_object_zeltasignature &&
                         nodes_[2].type == orvix_object_controllertype && nodes_[2].depth == nodes_[1].depth + 1;
    if (!wrapped) return find(nodes_[0], "no signature object with a controller type begins it; this is no bundle");
    if (end_of(nodes_[1]) < tree_.size) find(nodes_[1], "bytes stand behind the signature object, which holds it all");
    if (end_of(nodes_[2]) != end_of(nodes_[1])) find(nodes_[2], "does not end where its signature object ends");
  }

  void parts_of(size_t controller) {
    const int depth = nodes_[controller].depth + 1;
    size_t parts = 0;
    size_t names = 0;
    std::set<std::string> files;
    for (size_t i = controller + 1; i < nodes_.size() && nodes_[i].depth >= depth; ++i) {
      if (nodes_[i].depth > depth) continue;
      if (++parts > kMostParts) find(nodes_[i], "stands beyond the twentieth part; readers do not look at it");
      part(i, names, files);
    }
  }

  void part(size_t index, size_t& names, std::set<std::string>& files) {
    const Node& node = nodes_[index];
    if (node.type == orvix_object_imageheader) {
      file_name(node, "hdr", files);
      if (node.depth == nodes_[2].depth + 1) named_image(index);
      return;
    }
    const PartType* const kind = part_type(node.type);
    if (kind == nullptr) return find(node, "is no part of a bundle; readers fail here");
    if (*kind->prefix == '\0' && ++names > kMostNames) find(node, "is the ninth name or later; it is not listed");
    text(node, *kind, files);
  }

  void text(const Node& node, const PartType& kind, std::set<std::string>& files) {
    const std::string header = header_of(node);
    const std::string text = header.substr(0, header.find('\0'));
    const size_t mark = text.find(';');
    const std::string name = text.substr(0, mark);
    const bool named = *kind.prefix == '\0';
    if (name.size() > kLongestName) find(node, "is cut to 63 characters where it is reported");
    if (named && (name.empty() || name == "." || name == "..")) find(node, "has no name that a file can have");
    if (name.find('/') != name.npos) find(node, "leaves the directory by a \"/\" in its name");
    if (mark == text.npos) return;
    const std::string size = text.substr(mark + 1);
    if (!is_number(size)) return find(node, "has a size that is no number");
    if (node.type == orvix_object_ssd) drive_firmware(node, std::stoull(size));
    file_name(node, kind.prefix + name.substr(0, named ? kLongestName : name.npos), files);
  }

  void drive_firmware(const Node& node, uint64_t size) {
    const uint64_t payload = node.offset + sizeof(orvix_object) + node.header_length;
    const std::string fault = ssd_fault(read(payload, std::min<uint64_t>(size, kLongestSsdHead)), size);
    if (!fault.empty()) find(node, "holds no SSD firmware file: " + fault);
  }

  void file_name(const Node& node, const std::string& name, std::set<std::string>& files) {
    if (name.size() > kLongestFileName) find(node, "has a file name of more than 255 bytes");
    if (!files.insert(name).second) find(node, "has the file name of an earlier part, " + name);
  }

  /// The image whose name stands in the image header must follow it, and be a container with a controller type.
  void named_image(size_t header) {
    constexpr size_t kField = offsetof(ImageHeader, filename);
    const std::string record = header_of(nodes_[header]);
    const std::string field = record.substr(std::min(kField, record.size()), kLongestName);
    const std::string name = field.substr(0, field.find('\0'));
    if (name.empty()) return;
    for (size_t i = header + 1; i < nodes_.size(); ++i) {
      const bool meant = nodes_[i].type == orvix_object_imagefile && nodes_[i].depth == nodes_[header].depth;
      if (!meant || nodes_[i].text.substr(0, nodes_[i].text.find(';')) != name) continue;
      const bool readable = i + 3 < nodes_.size() && nodes_[i + 1].type == -1 &&
                            nodes_[i + 1].depth > nodes_[i].depth &&
                            nodes_[i + 3].type == orvix_object_controllertype && nodes_[i + 3].depth > nodes_[i].depth;
      if (!readable) find(nodes_[i], "is the image that the header names, but no container with a controller type");
      return;
    }
    find(nodes_[header], "names the image " + name + ", which does not follow");
  }

  std::string header_of(const Node& node) {
    return read(node.offset + sizeof(orvix_object), std::min<uint64_t>(node.header_length, kMostText));
  }

  std::string read(uint64_t offset, uint64_t length) {
    std::string bytes(length, '\0');
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(offset));
    stream_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(stream_.gcount()));
    return bytes;
  }

  const Tree tree_;
  const std::vector<Node>& nodes_;
  std::ifstream stream_;
  std::vector<Finding> findings_;
};

}  // namespace

std::string ssd_fault(const std::string& head, uint64_t size) {
  if (head.size() < kSsdModels) return "it is too short";
  const std::string count = head.substr(kSsdModels - 2, 2);
  if (!is_number(count) || count == "00") return "the number of models is none";
  const size_t binary = kSsdModels + kSsdField * (std::stoul(count) + 2);
  if (head.size() < binary) return "it ends within its models";
  std::string length = head.substr(binary - kSsdField, kSsdField);
  length.erase(length.find_last_not_of(' ') + 1).erase(0, length.find_first_not_of(' '));
  if (!is_number(length) || std::stoull(length) == 0) return "the length of its binary is none";
  return std::stoull(length) > size - binary ? "its binary is cut short" : "";
}

std::vector<Finding> verify(const std::string& path) { return Verifier(path).run(); }

}  // namespace coupler::tools
