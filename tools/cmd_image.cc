// Software images.
#include <memory>
#include <nlohmann/json.hpp>

#include "brantix/image.h"
#include "tools/host.h"
#include "tools/packing.h"
#include "tools/print.h"
#include "tools/tree.h"

namespace coupler::tools {
namespace {

struct CloseImage {
  void operator()(SCI_image_s* image) const { SCI_imageClose(image); }
};

void show(const Context& context, const Arguments& arguments) {
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

void pack_image(const Context& context, const Arguments& arguments) {
  pack_container(context, pack::Kind::kImage, arguments);
}

}  // namespace

Command image_family() {
  return {.name = "image",
          .about = "Software images",
          .commands = {{"show",
                        "Show the header of an image",
                        {{"FILE", "image, bundle, or a header alone (its name holds \".img__hdr\")"},
                         {.name = "--force", .about = "Go on whatever is wrong with the file", .flag = true}},
                        show},
                       {"pack",
                        "Build an image",
                        {{"MANIFEST", "JSON: header, nesting, content"}, {"OUT", "image file to write"}},
                        pack_image}}};
}

}  // namespace coupler::tools
