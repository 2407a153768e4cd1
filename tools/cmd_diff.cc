// What changed from one bundle or container to another.
#include <map>

#include "tools/print.h"
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
  std::string digest(const Node& node) const { return tree_.sha256(node); }

  std::map<std::string, Piece> all;

 private:
  void add(size_t index, bool parts_only) {
    const Node& node = tree_.nodes[index];
    names_.erase(names_.lower_bound(node.depth), names_.end());
    if (node.type < 0 || (parts_only && node.depth != tree_.nodes[2].depth + 1)) return;
    std::string name = above(parts_only) + node.name;
    if (node.is_named()) name += ' ' + node.label();
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

/// Neither the order of objects counts nor the zeros that fill headers up.
///
/// @param parts_only the parts of bundles; what an image among them holds is its content
Json differences(const std::string& before, const std::string& after, bool parts_only) {
  const Pieces old(before, parts_only);
  const Pieces young(after, parts_only);
  Json found = Json::array();
  const auto add = [&](const char* change, const std::string& name, const std::string& was, const std::string& is) {
    found.push_back({{"change", change}, {"part", name}, {"old", was}, {"new", is}});
  };
  for (const auto& [name, was] : old.all) {
    const auto place = young.all.find(name);
    if (place == young.all.end()) {
      add("removed", name, was.node.text, "");
      continue;
    }
    const auto& [is, holds_others] = place->second;
    const bool same_version = was.node.label() == is.label();
    if (!same_version) add("version", name, was.node.label(), is.label());
    const bool same_content = (was.holds_others && holds_others) || old.digest(was.node) == young.digest(is);
    if (!same_content) add("content", name, old.digest(was.node), young.digest(is));
    const bool told = !same_version || !same_content;
    if (!told && old.header(was.node) != young.header(is)) add("header", name, was.node.text, is.text);
  }
  for (const auto& [name, is] : young.all) {
    if (!old.all.contains(name)) add("added", name, "", is.node.text);
  }
  return found;
}

/// As diff has it: what cannot be compared is told apart from what differs.
Json compared(const Arguments& arguments, bool parts_only) {
  try {
    return differences(arguments.at("OLD"), arguments.at("NEW"), parts_only);
  } catch (const Failure& failure) {
    throw WrongUsage(failure.what(), failure.place);
  }
}

/// What one of them held: the beginning of a digest, or what the header says.
std::string brief(const Json& difference, const char* key) {
  const std::string text = difference[key];
  return difference["change"] == "content" ? text.substr(0, 12) : text;
}

void show(const Context& context, const Arguments& arguments, bool parts_only) {
  const Json found = compared(arguments, parts_only);
  const Table table({{"CHANGE", "change"},
                     {"PART", "part"},
                     {.title = "OLD", .text = [](const Json& row) { return brief(row, "old"); }},
                     {.title = "NEW", .text = [](const Json& row) { return brief(row, "new"); }}},
                    found);
  if (context.json || !found.empty()) print_table(context, {{"differences", found}}, table);
  if (!found.empty()) throw Failure("differences: " + std::to_string(found.size()));
}

}  // namespace

Command diff_command(bool parts_only) {
  return {.name = "diff",
          .about = parts_only ? "Compare the parts of two bundles" : "Compare the objects of two containers",
          .arguments = {{"OLD", "the first"}, {"NEW", "the second; ends with 0 when it is the same, else 1"}},
          .run = [=](const Context& context, const Arguments& arguments) { show(context, arguments, parts_only); }};
}

}  // namespace coupler::tools
