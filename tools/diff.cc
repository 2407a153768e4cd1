// What one container has and another has not.
#include "tools/diff.h"

#include <map>

#include "tools/command.h"
#include "tools/digest.h"
#include "tools/pack/builder.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

struct Piece {
  Node node;
  bool holds_others;
};

/// The objects of a container by name: with what holds them, and a number from the second of the same name on.
class Pieces {
 public:
  Pieces(const std::string& path, bool parts_only) : tree_(read_tree(path)) {
    must_be_whole(" is broken:", path, tree_.problems);
    if (parts_only && !tree_.is_bundle()) throw Failure(path + " is no bundle", path);
    for (size_t i = 0; i < tree_.nodes.size(); ++i) add(i, parts_only);
  }

  std::string header(const Node& node) const {
    std::string bytes = tree_.file.read(node.header(), node.header_length);
    return bytes.erase(bytes.find_last_not_of('\0') + 1);
  }
  std::string digest(const Node& node) const { return sha256(tree_.file, node); }

  std::map<std::string, Piece> all;

 private:
  void add(size_t index, bool parts_only) {
    const Node& node = tree_.nodes[index];
    names_.erase(names_.lower_bound(node.depth), names_.end());
    if (node.type < 0 || (parts_only && node.depth != tree_.nodes[2].depth + 1)) return;
    std::string name = above(parts_only) + node.name;
    const pack::PartKind* const kind = pack::part_kind(node.type);
    if (kind != nullptr && kind->is_named()) name += ' ' + node.label();
    const int count = ++counts_[name];
    if (count > 1) name += " #" + std::to_string(count);
    names_[node.depth] = name;
    const bool holds = index + 1 < tree_.nodes.size() && tree_.nodes[index + 1].depth > node.depth;
    all.emplace(name, Piece{node, holds && !parts_only});
  }

  std::string above(bool parts_only) const { return parts_only || names_.empty() ? "" : names_.rbegin()->second + '/'; }

  const Tree tree_;
  std::map<std::string, int> counts_;
  std::map<int, std::string> names_;  // of the objects that hold the next one, by depth
};

}  // namespace

std::vector<Difference> differences(const std::string& before, const std::string& after, bool parts_only) {
  const Pieces old(before, parts_only);
  const Pieces young(after, parts_only);
  std::vector<Difference> found;
  for (const auto& [name, was] : old.all) {
    const auto place = young.all.find(name);
    if (place == young.all.end()) {
      found.push_back({"removed", name, was.node.text, ""});
      continue;
    }
    const auto& [is, holds_others] = place->second;
    const bool same_version = was.node.label() == is.label();
    if (!same_version) found.push_back({"version", name, was.node.label(), is.label()});
    const bool same_content = (was.holds_others && holds_others) || old.digest(was.node) == young.digest(is);
    if (!same_content) found.push_back({"content", name, old.digest(was.node), young.digest(is)});
    const bool told = !same_version || !same_content;
    if (!told && old.header(was.node) != young.header(is)) found.push_back({"header", name, was.node.text, is.text});
  }
  for (const auto& [name, is] : young.all) {
    if (!old.all.contains(name)) found.push_back({"added", name, "", is.node.text});
  }
  return found;
}

}  // namespace coupler::tools
