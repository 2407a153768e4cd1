// What is wrong with a firmware bundle, found without unpacking it.
#include "tools/verify.h"

#include <algorithm>
#include <set>

#include "support/text.h"
#include "tools/pack/ssd_file.h"

namespace coupler::tools {
namespace {

constexpr size_t kLongestFileName = 255;

class Verifier {
 public:
  explicit Verifier(const Tree& tree) : tree_(tree), nodes_(tree.nodes), findings_(tree.problems) {}

  Findings run() {
    wrapping();
    for (size_t i = 0; i < nodes_.size(); ++i) {
      if (nodes_[i].type == orvix_object_controllertype) parts_of(i);
    }
    std::ranges::stable_sort(findings_, {}, &Finding::offset);
    return std::move(findings_);
  }

 private:
  void find(const Node& node, std::string text, bool note = false) {
    findings_.push_back({node.offset, std::move(text), node.text, note});
  }

  static uint64_t end_of(const Node& node) { return node.payload() + node.payload_length; }

  void wrapping() {
    if (!tree_.is_bundle()) {
      return find(nodes_[0], "no signature object with a controller type begins it; this is no bundle");
    }
    if (end_of(nodes_[1]) < tree_.file.size)
      find(nodes_[1], "bytes stand behind the signature object, which holds it all");
    if (end_of(nodes_[2]) != end_of(nodes_[1])) find(nodes_[2], "does not end where its signature object ends");
  }

  void parts_of(size_t controller) {
    size_t parts = 0;
    size_t names = 0;
    std::set<std::string> files;
    for (const size_t i : tree_.children(controller)) {
      if (++parts > pack::kMostParts) find(nodes_[i], "stands beyond the twentieth part; readers do not look at it");
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
    const pack::PartKind* const kind = node.kind();
    if (kind == nullptr) return find(node, "is no part of a bundle; readers fail here");
    if (kind->is_named() && ++names > pack::kMostNames) find(node, "is the ninth name or later; it is not listed");
    text(node, *kind, files);
  }

  void text(const Node& node, const pack::PartKind& kind, std::set<std::string>& files) {
    const std::string name = node.label();
    if (name.size() > pack::kLongestName) find(node, "is cut to 63 characters where it is reported");
    if (kind.is_named() && (name.empty() || name == "." || name == ".."))
      find(node, "has no name that a file can have");
    if (name.find('/') != name.npos) find(node, "leaves the directory by a \"/\" in its name");
    if (!node.has_size()) return;
    if (!pack::is_number(node.text.substr(name.size() + 1))) return find(node, "has a size that is no number");
    if (node.type == orvix_object_ssd) drive_firmware(node);
    file_name(node, kind.prefix + name.substr(0, kind.is_named() ? pack::kLongestName : name.npos), files);
  }

  void drive_firmware(const Node& node) {
    const std::string fault = pack::read_ssd_file(tree_.file, node.payload(), node.content_length()).fault;
    if (!fault.empty()) find(node, "holds no SSD firmware file: " + fault);
  }

  void file_name(const Node& node, const std::string& name, std::set<std::string>& files) {
    if (name.size() > kLongestFileName) find(node, "has a file name of more than 255 bytes");
    if (!files.insert(name).second) find(node, "has the file name of an earlier part, " + name);
  }

  /// The image whose name stands in the image header must follow it, and be a container that is an image.
  void named_image(size_t header) {
    const ImageHeader record = tree_.image_header(nodes_[header]);
    const std::string name(text_in(record.filename).substr(0, pack::kLongestName));
    if (name.empty()) return;
    for (size_t i = header + 1; i < nodes_.size(); ++i) {
      const bool meant = nodes_[i].type == orvix_object_imagefile && nodes_[i].depth == nodes_[header].depth;
      if (meant && nodes_[i].label() == name) return readable_image(i);
    }
    find(nodes_[header], "names the image " + name + ", which does not follow");
  }

  void readable_image(size_t index) {
    const int type = nodes_[tree_.content_of_image(index)].type;
    if (type == orvix_object_controllertype) return;
    const bool plain = type == orvix_object_imagetype || type == orvix_object_bundletype;
    find(nodes_[index],
         plain ? "is the image that the header names; it has no parts, so that the versions are those of the bundle"
               : "is the image that the header names, but no container with a controller, image or bundle type",
         plain);
  }

  const Tree& tree_;
  const std::vector<Node>& nodes_;
  Findings findings_;
};

}  // namespace

Findings verify(const Tree& tree) { return Verifier(tree).run(); }

}  // namespace coupler::tools
