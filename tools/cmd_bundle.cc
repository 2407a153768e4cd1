// Firmware bundles.
#include <algorithm>
#include <filesystem>
#include <set>

#include "brantix/firmware.h"
#include "support/text.h"
#include "tools/dump.h"
#include "tools/host.h"
#include "tools/print.h"
#include "tools/verify.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";
constexpr size_t kLongestDirectory = 255 - sizeof "/PowerSequencer-" - sizeof(FirmwareInfo::packageVersion);

void take_version(const Tree& tree, const Node& node, Json& report) {
  if (node.type == orvix_object_imageheader) report["package_version"] = text_in(tree.image_header(node).version);
  if (node.kind() == nullptr || node.is_named()) return;
  std::string key = std::string(node.kind()->name) + "_version";
  std::ranges::replace(key, '-', '_');
  report[key] = node.label();
}

/// What a bundle reports, read as the library reads it but without a file being written: the versions of the image that
/// the header names replace those of the bundle.
Json contents_of(const Tree& tree) {
  Json report, images = Json::array();
  for (const char* kind : {"package", "rommon", "fpga", "pseq", "lan_spi", "ssd"})
    report[kind + std::string("_version")] = "";
  std::string wanted;
  int count = 0;
  for (const size_t part : tree.is_bundle() ? tree.children(2, pack::kMostParts) : std::vector<size_t>()) {
    const Node& node = tree.nodes[part];
    take_version(tree, node, report);
    if (node.type == orvix_object_imageheader) wanted = text_in(tree.image_header(node).filename);
    if (!node.is_named()) continue;
    const std::string name = node.label();
    if (name != "verify_firmware.py" && name != "firmware_incomp.json") ++count;
    if (images.size() == pack::kMostNames) continue;
    images.push_back(name);
    const size_t content = tree.content_of_image(part);
    if (wanted.empty() || name != wanted || tree.nodes[content].type != orvix_object_controllertype) continue;
    for (const size_t inner : tree.children(content, pack::kMostParts)) take_version(tree, tree.nodes[inner], report);
  }
  report["image_count"] = count;
  report["images"] = images;
  return report;
}

/// Reads a bundle, and fails when there is something wrong with it unless `--force` goes on all the same.
Tree read_bundle(const std::string& path, const Arguments& arguments) {
  Tree tree = read_tree(path);
  if (arguments.contains("--force")) return tree;
  Findings findings = verify(tree);
  std::erase_if(findings, [](const Finding& finding) { return finding.note; });
  must_be_whole(" is no whole bundle; --force goes on all the same:", path, findings);
  return tree;
}

/// What failed of several files; it does not keep the others from being looked at.
class Failures {
 public:
  /// @return the reason and the place when `work` failed
  Json of(const std::function<void()>& work) {
    try {
      work();
      return Json::object();
    } catch (const Failure& failure) {
      if (reasons_.empty()) place_ = failure.place;
      reasons_.append(reasons_.empty() ? "" : "\n").append(failure.what());
      return {{"reason", failure.what()}, {"place", failure.place}};
    }
  }
  /// Fails with them all, unless there are none.
  void tell() const {
    if (!reasons_.empty()) throw Failure(reasons_, place_);
  }

 private:
  std::string reasons_;
  std::string place_;
};

void show_several(const Context& context, const Arguments& arguments) {
  Json bundles = Json::array();
  Failures failures;
  for (const std::string& path : arguments.rest) {
    Json& bundle = bundles.emplace_back(Json{{"file", path}});
    bundle.update(failures.of([&] {
      bundle.update(contents_of(read_bundle(path, arguments)));
      if (!context.json) print_report(context, bundle);
    }));
  }
  if (context.json) print_json({{"bundles", bundles}});
  failures.tell();
}

void show(const Context& context, const Arguments& arguments) {
  if (arguments.rest.size() > 1) return show_several(context, arguments);
  print_report(context, contents_of(read_bundle(arguments.rest.front(), arguments)));
}

/// Regular files of a directory, and when each was written.
using Files = std::set<std::pair<std::string, fs::file_time_type>>;

Files files_in(const fs::path& directory) {
  Files files;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator(directory, gone)) {
    if (entry.is_regular_file(gone)) files.emplace(entry.path().filename(), entry.last_write_time(gone));
  }
  return files;
}

std::string ssd_advice(const FirmwareInfo& info) {
  std::error_code missing;
  if (*info.ssdVersion == '\0' || fs::is_directory(kSsdDirectory, missing)) return "";
  return std::string("; its SSD firmware needs the directory ").append(kSsdDirectory);
}

void unpack(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const std::string& directory = arguments.at("DIR");
  // The library cuts longer paths, and the file would get a wrong name.
  if (directory.size() > kLongestDirectory) {
    throw Failure("the directory's path has more than " + std::to_string(kLongestDirectory) +
                  " bytes; go there and give \".\"");
  }
  const Tree tree = read_bundle(path, arguments);
  std::error_code error;
  const bool is_new = fs::create_directories(directory, error);
  if (error) throw Failure("cannot create " + directory + ": " + error.message());

  const Files before = files_in(directory);
  FirmwareInfo info{};
  if (SCI_extractFirmwareImagePayload(readable(path).c_str(), &info, directory.c_str()) != 0) {
    if (is_new) fs::remove(directory, error);  // only when it is empty
    fail_with_reason(path + " was not unpacked to its end; files in " + directory +
                         " are whole; \"couplerctl container tree\" shows what is in it" + ssd_advice(info),
                     path);
  }
  Json result = contents_of(tree);
  result.update({{"directory", directory}, {"files", Json::array()}});
  for (const auto& file : files_in(directory)) {
    if (!before.contains(file)) result["files"].push_back(file.first);
  }
  print_report(context, result);
}

void stage(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  if (path == "-") throw WrongUsage("the platform takes the path of a file, not standard input", "bundle stage");
  if (!arguments.contains("--force")) read_bundle(path, arguments);
  if (SCI_setFirmwareVersion(readable(path).c_str()) != 0)
    fail_with_reason("the platform refused to stage " + path, path);
  print_report(context, {{"staged", path}});
}

/// Says what is wrong with files in one document. Fails when there are findings.
///
/// @param name for people, instead of the path
void verify_all(const Context& context, const std::vector<std::string>& paths, const std::string& name) {
  Json document = {{"findings", Json::array()}, {"notes", Json::array()}};
  Failures failures;
  for (const std::string& path : paths) {
    const std::string& shown = name.empty() ? path : name;
    failures.of([&] {
      for (const Finding& finding : verify(read_tree(path))) {
        document[finding.note ? "notes" : "findings"].push_back(
            {{"file", shown}, {"offset", finding.offset}, {"part", finding.part}, {"finding", finding.text}});
        if (context.json) continue;
        print_line(escaped(shown + lines_of({finding}).replace(0, 3, ": ") + (finding.note ? " (a note)" : "")));
      }
    });
  }
  if (context.json) print_json(document);
  failures.of([&found = document["findings"]] {
    if (found.empty()) return;
    const std::string first = std::string(found[0]["file"]) + ": " + found[0]["offset"].dump();
    throw Failure("findings: " + std::to_string(found.size()), first);
  });
  failures.tell();
}

void verify_bundles(const Context& context, const Arguments& arguments) { verify_all(context, arguments.rest, ""); }

void dump_bundle(const Context& context, const Arguments& arguments) {
  const std::string& directory = arguments.at("DIR");
  const std::vector<std::string> files = dump(arguments.at("FILE"), directory);
  print_report(context, {{"directory", directory}, {"manifest", kDumpedManifest}, {"files", files}});
}

}  // namespace

Commands bundle_commands() {
  const Argument file = {"FILE", "firmware bundle; - is standard input"};
  const Argument files = {.name = "FILE", .about = file.about + "; several are looked at one by one", .repeats = true};
  return {{.name = "bundle",
           .about = "Firmware bundles",
           .commands = {{"show", "Show the versions of bundles", {files, kForce}, show},
                        {"unpack",
                         "Write the parts of a bundle as files (its SSD firmware to /mnt/boot/ssd_firmwares)",
                         {file, {"DIR", "directory for the files; made when it is missing"}, kForce},
                         unpack},
                        {"verify", "Say what is wrong with bundles, without unpacking them", {files}, verify_bundles},
                        {"dump",
                         "Write a manifest and files from which \"bundle pack\" makes the very same bytes",
                         {file, {"DIR", "directory for them; new or empty"}},
                         dump_bundle},
                        diff_command(true),
                        {"stage",
                         "Hand firmware to the platform for the next upgrade",
                         {{"FILE", "path for the platform"}, kForce},
                         stage},
                        pack_command(pack::Kind::kBundle, "Build a bundle", "JSON: the list of parts",
                                     "bundle file to write", verify_all)}}};
}

}  // namespace coupler::tools
