// What changed from one bundle or container to another.
#include <map>

#include "tools/print.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

struct Piece {
  std::string text;
  std::string label;
  std::string header;   // without the zeros that fill it up
  std::string content;  // its digest; of what holds others nothing, since they are pieces of their own
};

/// The objects of a container by name: with what holds them, and a number from the second of the same name on.
///
/// @param parts_only the parts of a bundle; what an image among them holds is its content
std::map<std::string, Piece> pieces_of(const std::string& path, bool parts_only) {
  const Tree tree = read_tree(path);
  must_be_whole(" is broken:", path, tree.problems);
  if (parts_only && !tree.is_bundle()) throw Failure(path + " is no bundle", path);
  std::map<std::string, Piece> pieces;
  std::map<std::string, int> counts;
  std::map<int, std::string> holders;  // by depth
  for (size_t i = 0; i < tree.nodes.size(); ++i) {
    const Node& node = tree.nodes[i];
    if (node.type < 0 || (parts_only && node.depth != tree.nodes[2].depth + 1)) continue;
    holders.erase(holders.lower_bound(node.depth), holders.end());
    std::string name = parts_only || holders.empty() ? node.name : holders.rbegin()->second + '/' + node.name;
    if (node.is_named()) name += ' ' + node.label();
    const int count = ++counts[name];
    if (count > 1) name += " #" + std::to_string(count);
    holders[node.depth] = name;
    const bool holds = !parts_only && i + 1 < tree.nodes.size() && tree.nodes[i + 1].depth > node.depth;
    std::string header = tree.file.read(node.header(), node.header_length);
    header.erase(header.find_last_not_of('\0') + 1);
    pieces[name] = {node.text, node.label(), std::move(header), holds ? "" : tree.sha256(node)};
  }
  return pieces;
}

/// Neither the order of objects counts nor the zeros that fill headers up.
Json differences(const std::string& before, const std::string& after, bool parts_only) {
  const auto old = pieces_of(before, parts_only);
  const auto young = pieces_of(after, parts_only);
  Json found = Json::array();
  const auto add = [&](const char* change, const std::string& name, const std::string& was, const std::string& is) {
    found.push_back({{"change", change}, {"part", name}, {"old", was}, {"new", is}});
  };
  for (const auto& [name, was] : old) {
    const auto place = young.find(name);
    if (place == young.end()) {
      add("removed", name, was.text, "");
      continue;
    }
    const Piece& is = place->second;
    if (was.label != is.label) add("version", name, was.label, is.label);
    if (was.content != is.content) {
      add("content", name, was.content, is.content);
    } else if (was.label == is.label && was.header != is.header) {
      add("header", name, was.text, is.text);
    }
  }
  for (const auto& [name, is] : young) {
    if (!old.contains(name)) add("added", name, "", is.text);
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
  const Columns columns = {{"CHANGE", "change"},
                           {"PART", "part"},
                           {.title = "OLD", .text = [](const Json& row) { return brief(row, "old"); }},
                           {.title = "NEW", .text = [](const Json& row) { return brief(row, "new"); }}};
  if (context.json || !found.empty()) print_table(context, {{"differences", found}}, columns, found);
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
