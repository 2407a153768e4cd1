// Software images, and the container format itself.
#include <algorithm>

#include "brantix/image.h"
#include "support/handle.h"
#include "tools/host.h"
#include "tools/print.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

Json row_of(const Tree& tree, const Node& node, bool with_digest) {
  Json row = {{"offset", node.offset}, {"depth", node.depth}, {"name", node.name}};
  if (node.type < 0) return row;
  row.update({{"type", node.type},
              {"header_length", node.header_length},
              {"payload_length", node.payload_length},
              {"flags", node.flags},
              {"text", node.text}});
  const bool whole = node.payload() <= tree.file.size && node.content_length() <= tree.file.size - node.payload();
  if (with_digest && whole) row["sha256"] = tree.sha256(node);
  return row;
}

Columns columns(bool with_digest) {
  constexpr bool kRight = true;
  const auto name = [](const Json& row) {
    return std::string(row["depth"].get<size_t>() * 2, ' ') + std::string(row["name"]);
  };
  const auto flags = [](const Json& row) {
    const uint8_t set = row.value("flags", uint8_t{0});
    return set == 0 ? "" : hexadecimal(set);
  };
  return {{"OFFSET", "offset", kRight},
          {.title = "OBJECT", .text = name},
          {"HEADER", "header_length", kRight},
          {"PAYLOAD", "payload_length", kRight},
          {.title = "FLAGS", .right = true, .text = flags},
          {"TEXT", "text"},
          {with_digest ? "SHA-256" : "", "sha256"}};
}

void show_tree(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const bool with_digest = arguments.contains("--digest");
  const Tree tree = read_tree(path);
  Json report = {{"file", path}, {"size", tree.file.size}, {"objects", Json::array()}, {"problems", Json::array()}};
  for (const Node& node : tree.nodes) report["objects"].push_back(row_of(tree, node, with_digest));
  for (const auto& [offset, text, part, note] : tree.problems) {
    report["problems"].push_back({{"offset", offset}, {"text", text}});
  }
  print_table(context, report, columns(with_digest), report["objects"], [&](const Json& row) {
    return std::ranges::find(tree.problems, row["offset"].get<uint64_t>(), &Finding::offset) != tree.problems.end();
  });
  must_be_whole(" is broken:", path, tree.problems);
}

void show_image(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  // A header alone is no container.
  const bool look = !arguments.contains("--force") && path.find(".img__hdr") == path.npos;
  if (look) must_be_whole(" is no whole image; --force goes on all the same:", path, read_tree(path).problems);
  const Handle<SCI_image_s*, nullptr, SCI_imageClose> image(SCI_imageOpen(readable(path).c_str()));
  if (!image) {
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

Commands container_commands() {
  const Commands of_images = {
      {"show",
       "Show the header of an image",
       {{"FILE", "image, bundle, or a header alone (its name holds \".img__hdr\")"}, kForce},
       show_image},
      pack_command(pack::Kind::kImage, "Build an image", "JSON: header, nesting, content", "image file to write")};
  const Commands of_containers = {
      {"tree",
       "List the objects of a container, and where it breaks if it does",
       {{"FILE", "image or bundle"},
        {.name = "--digest", .about = "with the SHA-256 of each payload or part", .flag = true}},
       show_tree},
      diff_command(false)};
  return {{.name = "image", .about = "Software images", .commands = of_images},
          {.name = "container", .about = "The container format itself", .commands = of_containers}};
}

}  // namespace coupler::tools
