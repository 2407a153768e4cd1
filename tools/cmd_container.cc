// Software images, and the container format itself.
#include <memory>

#include "brantix/image.h"
#include "tools/host.h"
#include "tools/packing.h"
#include "tools/print.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

using Digests = std::vector<std::string>;  // of the nodes; none where they were not asked for

Digests digests_of(const Tree& tree) {
  Digests digests;
  for (const Node& node : tree.nodes) {
    const uint64_t length = node.content_length();
    const bool whole = node.type >= 0 && node.payload() <= tree.file.size && length <= tree.file.size - node.payload();
    digests.push_back(whole ? tree.sha256(node) : "");
  }
  return digests;
}

void print_table(const Tree& tree, const Digests& digests) {
  constexpr auto kRight = Table::Align::kRight;
  Table table({{"OFFSET", "", kRight},
               {"OBJECT"},
               {"HEADER", "", kRight},
               {"PAYLOAD", "", kRight},
               {"FLAGS", "", kRight},
               {"TEXT"},
               {digests.empty() ? "" : "SHA-256"}});
  for (size_t i = 0; i < tree.nodes.size(); ++i) {
    const Node& node = tree.nodes[i];
    const std::string digest = digests.empty() ? "" : digests[i];
    const std::string name = std::string(static_cast<size_t>(node.depth) * 2, ' ') + node.name;
    const Style style = node.broken ? Style::kAlarm : Style::kPlain;
    if (node.type < 0) {
      table.row({std::to_string(node.offset), name, "", "", "", "", digest}, style);
    } else {
      table.row(
          {std::to_string(node.offset), name, std::to_string(node.header_length), std::to_string(node.payload_length),
           node.flags == 0 ? "" : hexadecimal(node.flags), node.text, digest},
          style);
    }
  }
  table.print();
}

Json to_json(const Node& node, const std::string& digest) {
  Json object = {{"offset", node.offset}, {"depth", node.depth}, {"name", node.name}};
  if (node.type < 0) return object;
  object.update({{"type", node.type},
                 {"header_length", node.header_length},
                 {"payload_length", node.payload_length},
                 {"flags", node.flags},
                 {"text", node.text}});
  if (!digest.empty()) object["sha256"] = digest;
  return object;
}

Json to_json(const Tree& tree, const std::string& path, const Digests& digests) {
  Json report = {{"file", path}, {"size", tree.file.size}, {"objects", Json::array()}, {"problems", Json::array()}};
  for (size_t i = 0; i < tree.nodes.size(); ++i) {
    report["objects"].push_back(to_json(tree.nodes[i], digests.empty() ? "" : digests[i]));
  }
  for (const Finding& problem : tree.problems) {
    report["problems"].push_back({{"offset", problem.offset}, {"text", problem.text}});
  }
  return report;
}

void show_tree(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const Tree tree = read_tree(path);
  const Digests digests = arguments.contains("--digest") ? digests_of(tree) : Digests();
  context.json ? print_json(to_json(tree, path, digests)) : print_table(tree, digests);
  must_be_whole(" is broken:", path, tree.problems);
}

struct CloseImage {
  void operator()(SCI_image_s* image) const { SCI_imageClose(image); }
};

void show_image(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  // A header alone is no container.
  const bool look = !arguments.contains("--force") && path.find(".img__hdr") == path.npos;
  if (look) must_be_whole(" is no whole image; --force goes on all the same:", path, read_tree(path).problems);
  const std::unique_ptr<SCI_image_s, CloseImage> image(SCI_imageOpen(readable(path).c_str()));
  if (image == nullptr) {
    fail_with_reason("no image header in " + path + "; \"couplerctl container tree\" shows what is in it");
  }
  const SCI_image_s* const record = SCI_srgOpen(image.get());
  print_report(context, {{"name", SCI_imageName(image.get())},
                         {"version", SCI_imageVersion(image.get())},
                         {"interim_version", SCI_imageInterimVersion(image.get())},
                         {"platform_version", SCI_srgGetPlatformVersion(record)},
                         {"software_id", SCI_srgGetSwid(record)},
                         {"build_date", SCI_srgGetBuildDate(record)},
                         {"size", SCI_imageSize(image.get())},
                         {"platform", SCI_imagePlatform(image.get())},
                         {"type", SCI_imageType(image.get())}});
}

}  // namespace

Command image_family() {
  return {.name = "image",
          .about = "Software images",
          .commands = {{"show",
                        "Show the header of an image",
                        {{"FILE", "image, bundle, or a header alone (its name holds \".img__hdr\")"},
                         {.name = "--force", .about = "Go on whatever is wrong with the file", .flag = true}},
                        show_image},
                       pack_command(pack::Kind::kImage, "Build an image", "JSON: header, nesting, content",
                                    "image file to write")}};
}

Command container_family() {
  return {.name = "container",
          .about = "The container format itself",
          .commands = {{"tree",
                        "List the objects of a container, and where it breaks if it does",
                        {{"FILE", "image or bundle"},
                         {.name = "--digest", .about = "with the SHA-256 of each payload or part", .flag = true}},
                        show_tree},
                       diff_command(false)}};
}

}  // namespace coupler::tools
