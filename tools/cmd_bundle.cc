// Firmware bundles.
#include <algorithm>
#include <filesystem>

#include "brantix/firmware.h"
#include "support/text.h"
#include "tools/dump.h"
#include "tools/host.h"
#include "tools/packing.h"
#include "tools/print.h"
#include "tools/verify.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";
constexpr size_t kLongestDirectory = 255 - sizeof "/PowerSequencer-" - sizeof(FirmwareInfo::packageVersion);
constexpr const char* kLookInside = "; \"couplerctl container tree\" shows what is in it";

constexpr const char* kBroken = " is no whole bundle; --force goes on all the same:";

constexpr struct {
  int type;
  const char* key;
} kVersions[] = {{orvix_object_firmware, "rommon_version"},
                 {orvix_object_firmwarehub, "fpga_version"},
                 {orvix_object_firmwareimageone, "pseq_version"},
                 {orvix_object_firmwareimagetwo, "lan_spi_version"},
                 {orvix_object_ssd, "ssd_version"}};

/// What a bundle reports, read as the library reads it but without a file being written.
class Contents {
 public:
  explicit Contents(const Tree& tree) : tree_(tree) {
    report_["package_version"] = "";
    for (const auto& [type, key] : kVersions) report_[key] = "";
  }

  Json report() {
    if (tree_.is_bundle()) parts_of(2, true);
    report_["image_count"] = images_;
    report_["images"] = names_;
    return report_;
  }

 private:
  void parts_of(size_t controller, bool outermost) {
    std::string wanted;
    const std::vector<size_t> parts = tree_.children(controller);
    for (size_t i = 0; i < std::min(parts.size(), pack::kMostParts); ++i) {
      const Node& node = tree_.nodes[parts[i]];
      for (const auto& [type, key] : kVersions) {
        if (node.type == type) report_[key] = node.label();
      }
      if (node.type == orvix_object_imageheader) wanted = header(node);
      if (outermost && node.is_named()) name(parts[i], wanted);
    }
  }

  std::string header(const Node& node) {
    const ImageHeader record = tree_.image_header(node);
    report_["package_version"] = text_in(record.version);
    return std::string(text_in(record.filename));
  }

  /// Also looks into the image that the header names, whose versions replace those of the bundle.
  void name(size_t part, const std::string& wanted) {
    const std::string name = tree_.nodes[part].label();
    if (name != "verify_firmware.py" && name != "firmware_incomp.json") ++images_;
    if (names_.size() == pack::kMostNames) return;
    names_.push_back(name);
    const size_t content = tree_.content_of_image(part);
    const bool is_meant = !wanted.empty() && name == wanted && tree_.nodes[content].type == orvix_object_controllertype;
    if (is_meant) parts_of(content, false);
  }

  const Tree& tree_;
  Json report_;
  Json names_ = Json::array();
  int images_ = 0;
};

/// Reads a bundle, and fails when there is something wrong with it unless `--force` goes on all the same.
Tree read_bundle(const std::string& path, const Arguments& arguments) {
  Tree tree = read_tree(path);
  if (!arguments.contains("--force")) must_be_whole(kBroken, path, faults(tree));
  return tree;
}

std::vector<std::string> all_files(const Arguments& arguments) {
  std::vector<std::string> paths = {arguments.at("FILE")};
  paths.insert(paths.end(), arguments.rest.begin(), arguments.rest.end());
  return paths;
}

void show(const Context& context, const Arguments& arguments) {
  const std::vector<std::string> paths = all_files(arguments);
  if (paths.size() == 1) return print_report(context, Contents(read_bundle(paths[0], arguments)).report());
  Json bundles = Json::array();
  for (const std::string& path : paths) {
    bundles.push_back({{"file", path}});
    bundles.back().update(Contents(read_bundle(path, arguments)).report());
    if (!context.json) print_report(context, bundles.back());
  }
  if (context.json) print_json({{"bundles", bundles}});
}

using Files = std::map<std::string, fs::file_time_type>;

/// Regular files of a directory, and when each was written.
Files files_in(const fs::path& directory) {
  Files files;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator(directory, gone)) {
    if (entry.is_regular_file(gone)) files.emplace(entry.path().filename(), entry.last_write_time(gone));
  }
  return files;
}

Json new_files(const fs::path& directory, const Files& before) {
  Json names = Json::array();
  for (const auto& [name, time] : files_in(directory)) {
    const auto old = before.find(name);
    if (old == before.end() || old->second != time) names.push_back(name);
  }
  return names;
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
                  " characters; go there and give \".\"");
  }
  const Tree tree = read_bundle(path, arguments);
  std::error_code error;
  const bool is_new = fs::create_directories(directory, error);
  if (error) throw Failure("cannot create " + directory + ": " + error.message());

  const auto before = files_in(directory);
  FirmwareInfo info{};
  if (SCI_extractFirmwareImagePayload(readable(path).c_str(), &info, directory.c_str()) != 0) {
    if (is_new) fs::remove(directory, error);  // only when it is empty
    fail_with_reason(
        path + " was not unpacked to its end; files in " + directory + " are whole" + kLookInside + ssd_advice(info),
        path);
  }
  Json result = Contents(tree).report();
  result["directory"] = directory;
  result["files"] = new_files(directory, before);
  print_report(context, result);
}

void stage(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  if (path == "-") throw WrongUsage("the platform takes the path of a file, not standard input", "bundle stage");
  if (!arguments.contains("--force")) read_bundle(path, arguments);
  if (SCI_setFirmwareVersion(path.c_str()) != 0) fail_with_reason("the platform refused to stage " + path, path);
  print_report(context, {{"staged", path}});
}

/// What `verify` says of files, each under its name, in one document.
class Verdict {
 public:
  void look_at(const std::string& path, const std::string& name) {
    for (const Finding& finding : verify(read_tree(path))) {
      document_[finding.note ? "notes" : "findings"].push_back(
          {{"file", name}, {"offset", finding.offset}, {"part", finding.part}, {"finding", finding.text}});
      lines_.push_back(escaped(name + lines_of({finding}).replace(0, 3, ": ") + (finding.note ? " (a note)" : "")));
    }
  }

  /// Prints it. Fails when there are findings.
  void tell(const Context& context) const {
    if (context.json) print_json(document_);
    if (!context.json) std::ranges::for_each(lines_, print_line);
    const Json& found = document_["findings"];
    if (found.empty()) return;
    throw Failure("findings: " + std::to_string(found.size()),
                  std::string(found[0]["file"]) + ": " + found[0]["offset"].dump());
  }

 private:
  Json document_ = {{"findings", Json::array()}, {"notes", Json::array()}};
  std::vector<std::string> lines_;
};

void verify_bundles(const Context& context, const Arguments& arguments) {
  Verdict verdict;
  for (const std::string& path : all_files(arguments)) verdict.look_at(path, path);
  verdict.tell(context);
}

void dump_bundle(const Context& context, const Arguments& arguments) {
  const std::string& directory = arguments.at("DIR");
  const std::vector<std::string> files = dump(arguments.at("FILE"), directory);
  print_report(context, {{"directory", directory}, {"manifest", kDumpedManifest}, {"files", files}});
}

void pack_bundle(const Context& context, const Arguments& arguments) {
  if (!arguments.contains("--check")) return pack_file(context, pack::Kind::kBundle, arguments);
  const pack::Manifest wanted = read_manifest(pack::Kind::kBundle, arguments);
  Nameless made;
  wanted.write([&](std::string_view piece) { made.write(piece); });
  print_warnings(wanted);
  Verdict verdict;
  verdict.look_at(made.path(), arguments.at("MANIFEST"));
  verdict.tell(context);
}

}  // namespace

Command bundle_family() {
  const Argument force_option = {.name = "--force", .about = "Go on whatever is wrong with the file", .flag = true};
  const Argument align_option = {.name = "--align",
                                 .about = "Start each part's content at a multiple of so many bytes, such as 4096",
                                 .most = 65536};
  const Argument check_option = {
      .name = "--check", .about = "Verify what would be built, and write nothing", .flag = true};
  const Argument file = {"FILE", "firmware bundle; - is standard input"};
  const Argument more_files = {.name = "FILES", .about = "more of them", .repeats = true};
  return {.name = "bundle",
          .about = "Firmware bundles",
          .commands = {
              {"show", "Show the versions of bundles", {file, more_files, force_option}, show},
              {"unpack",
               "Write the parts of a bundle as files (its SSD firmware to /mnt/boot/ssd_firmwares)",
               {file, {"DIR", "directory for the files; made when it is missing"}, force_option},
               unpack},
              {"verify", "Say what is wrong with bundles, without unpacking them", {file, more_files}, verify_bundles},
              {"dump",
               "Write a manifest and files from which \"bundle pack\" makes the very same bytes",
               {file, {"DIR", "directory for them; new or empty"}},
               dump_bundle},
              diff_command(true),
              {"stage",
               "Hand firmware to the platform for the next upgrade",
               {{"FILE", "path for the platform"}, force_option},
               stage},
              {"pack",
               "Build a bundle",
               {{"MANIFEST", "JSON: the list of parts"},
                {.name = "OUT", .about = "bundle file to write", .optional = true},
                align_option,
                check_option},
               pack_bundle}}};
}

}  // namespace coupler::tools
