// Firmware bundles.
#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "brantix/firmware.h"
#include "tools/dump.h"
#include "tools/host.h"
#include "tools/packing.h"
#include "tools/print.h"
#include "tools/verify.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";
constexpr size_t kLongestDirectory = 255 - sizeof "/PowerSequencer-" - sizeof(FirmwareInfo::packageVersion);
constexpr const char* kLookInside = "; \"couplerctl container tree\" shows what is in it";

Json image_names(const FirmwareInfo& info) {
  Json names = Json::array();
  for (const auto& name : info.imageList) {
    if (*name != '\0') names.push_back(name);
  }
  return names;
}

Json report(const FirmwareInfo& info) {
  return {{"package_version", info.packageVersion}, {"rommon_version", info.rommonVersion},
          {"fpga_version", info.fpgaVersion},       {"pseq_version", info.pseqVersion},
          {"lan_spi_version", info.lanSpiVersion},  {"ssd_version", info.ssdVersion},
          {"image_count", info.imageCount},         {"images", image_names(info)}};
}

void show(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  FirmwareInfo info{};
  if (SCI_readFirmwareImageVersion(path.c_str(), &info) != 0) {
    fail_with_reason(path + " cannot be read as a bundle" + kLookInside, path);
  }
  print_report(context, report(info));
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

/// Fails when there is something wrong with the bundle; `force` goes on all the same.
void verify_or_fail(const std::string& path, bool force) {
  if (force) return;
  const auto findings = verify(path);
  if (findings.empty()) return;
  std::string text = path + " is no whole bundle; --force goes on all the same:";
  for (const Finding& finding : findings) {
    text += "\n  at " + std::to_string(finding.offset) + ": " + (finding.part.empty() ? "" : finding.part + ": ") +
            finding.text;
  }
  throw Failure(text, path + ": " + std::to_string(findings.front().offset));
}

void unpack(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const std::string& directory = arguments.at("DIR");
  // The library cuts longer paths, and the file would get a wrong name.
  if (directory.size() > kLongestDirectory) {
    throw Failure("the directory's path has more than " + std::to_string(kLongestDirectory) +
                  " characters; go there and give \".\"");
  }
  verify_or_fail(path, arguments.contains("--force"));
  std::error_code error;
  const bool is_new = fs::create_directories(directory, error);
  if (error) throw Failure("cannot create " + directory + ": " + error.message());

  const auto before = files_in(directory);
  FirmwareInfo info{};
  if (SCI_extractFirmwareImagePayload(path.c_str(), &info, directory.c_str()) != 0) {
    if (is_new) fs::remove(directory, error);  // only when it is empty
    fail_with_reason(
        path + " was not unpacked to its end; files in " + directory + " are whole" + kLookInside + ssd_advice(info),
        path);
  }
  Json result = report(info);
  result["directory"] = directory;
  result["files"] = new_files(directory, before);
  print_report(context, result);
}

void stage(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  verify_or_fail(path, arguments.contains("--force"));
  if (SCI_setFirmwareVersion(path.c_str()) != 0) fail_with_reason("the platform refused to stage " + path, path);
  print_report(context, {{"staged", path}});
}

Json findings_in(const std::string& path) {
  Json rows = Json::array();
  for (const Finding& finding : verify(path)) {
    rows.push_back({{"file", path}, {"offset", finding.offset}, {"part", finding.part}, {"finding", finding.text}});
  }
  return rows;
}

void print_finding(const Json& row) {
  const std::string part = row["part"];
  const std::string line = std::string(row["file"]) + ": at " + row["offset"].dump() + ": " +
                           (part.empty() ? "" : part + ": ") + std::string(row["finding"]);
  print_line(escaped(line));
}

void verify_bundles(const Context& context, const Arguments& arguments) {
  std::vector<std::string> paths = {arguments.at("FILE")};
  paths.insert(paths.end(), arguments.rest.begin(), arguments.rest.end());
  Json all = Json::array();
  for (const std::string& path : paths) {
    for (const Json& row : findings_in(path)) all.push_back(row);
  }
  if (context.json) print_json({{"findings", all}});
  if (!context.json) std::ranges::for_each(all, print_finding);
  if (all.empty()) return;
  throw Failure("findings: " + std::to_string(all.size()),
                std::string(all[0]["file"]) + ": " + all[0]["offset"].dump());
}

void dump_bundle(const Context& context, const Arguments& arguments) {
  const std::string& directory = arguments.at("DIR");
  const std::vector<std::string> files = dump(arguments.at("FILE"), directory);
  print_report(context, {{"directory", directory}, {"manifest", kDumpedManifest}, {"files", files}});
}

void pack_bundle(const Context& context, const Arguments& arguments) {
  pack_container(context, pack::Kind::kBundle, arguments);
}

}  // namespace

Command bundle_family() {
  const Argument force_option = {.name = "--force", .about = "Go on whatever is wrong with the file", .flag = true};
  const Argument align_option = {.name = "--align",
                                 .about = "Start each part's content at a multiple of so many bytes, such as 4096",
                                 .most = 65536};
  return {.name = "bundle",
          .about = "Firmware bundles",
          .commands = {
              {"show",
               "Show the versions of a bundle (its SSD firmware is written to /mnt/boot/ssd_firmwares)",
               {{"FILE", "firmware bundle"}},
               show},
              {"unpack",
               "Write the parts of a bundle as files (its SSD firmware to /mnt/boot/ssd_firmwares)",
               {{"FILE", "firmware bundle"}, {"DIR", "directory for the files; made when it is missing"}, force_option},
               unpack},
              {"verify",
               "Say what is wrong with bundles, without unpacking them",
               {{"FILE", "firmware bundle"}, {.name = "FILES", .about = "more of them", .repeats = true}},
               verify_bundles},
              {"dump",
               "Write a manifest and files from which \"bundle pack\" makes the very same bytes",
               {{"FILE", "firmware bundle"}, {"DIR", "directory for them; new or empty"}},
               dump_bundle},
              diff_command(true),
              {"stage",
               "Hand firmware to the platform for the next upgrade",
               {{"FILE", "path for the platform"}, force_option},
               stage},
              {"pack",
               "Build a bundle",
               {{"MANIFEST", "JSON: the list of parts"}, {"OUT", "bundle file to write"}, align_option},
               pack_bundle}}};
}

}  // namespace coupler::tools
