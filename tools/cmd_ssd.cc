// SSD firmware files.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tools/host.h"
#include "tools/packing.h"
#include "tools/print.h"
#include "tools/verify.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kEquipped = "/mnt/boot/equipped_ssd_firmware";
constexpr const char* kDriveReport = "/tmp/ssd_fwInfo";

/// The library gives no reason of its own for most of what can be wrong.
std::string reason_for(const std::string& path, const FirmwareInfo& info) {
  std::error_code missing;
  if (*info.ssdVersion != '\0' && !fs::is_directory(kEquipped, missing)) {
    return path + " is for the fitted drive, but there is no directory " + kEquipped;
  }
  return path + " is no SSD firmware file, is cut short, or its firmware cannot be written to " + kEquipped;
}

// To the library a drive that is not known is in every list.
void must_know_drive(bool force) {
  get_equipped_ssd_modelNumber();
  if (*equipped_ssd_model_num != '\0' || force) return;
  throw Failure(
      "the fitted drive is not known, so nothing says whether the file is for it; \"couplerctl firmware "
      "report\" asks the drive, --force takes the firmware out all the same",
      kDriveReport);
}

void match(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  must_know_drive(arguments.contains("--force"));
  FirmwareInfo info{};
  if (SCI_extractSsdfirmwareBinary(path.c_str(), &info) != 0) fail_with_reason(reason_for(path, info), path);
  const bool known = *equipped_ssd_model_num != '\0';
  const bool listed = info.ssdMatched != 0;
  print_report(context, {{"fitted_model", equipped_ssd_model_num},
                         {"identification", info.ssdModel},
                         {"matched", known && listed},
                         {"ssd_version", info.ssdVersion},
                         {"file", listed ? std::string(kEquipped) + "/ssd-" + info.ssdVersion : ""}});
  if (!listed) throw Failure(path + " is not for the fitted drive, " + equipped_ssd_model_num, path);
}

/// The text at `offset` without what fills its field up: zeros on the left, blanks on the right.
std::string field(const std::string& head, size_t offset) {
  std::string text = head.substr(offset, 16);
  text.erase(text.find_last_not_of(' ') + 1);
  return text.erase(0, text.find_first_not_of('0'));
}

std::string head_of(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw Failure("cannot read " + path + ": " + std::strerror(errno));
  std::string head(kLongestSsdHead, '\0');
  stream.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(stream.gcount()));
  return head;
}

void show(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const std::string head = head_of(path);
  std::error_code unknown;
  const uint64_t size = fs::file_size(path, unknown);
  const std::string fault = ssd_fault(head, unknown ? 0 : size);
  if (!fault.empty()) throw Failure(path + " is no SSD firmware file: " + fault);
  const size_t behind = 38 + 16 * std::stoul(head.substr(36, 2));
  Json models = Json::array();
  for (size_t at = 38; at < behind; at += 16) {
    const std::string model = head.substr(at, 16);
    models.push_back(model.substr(0, model.find_last_not_of(' ') + 1));
  }
  print_report(context, {{"identification", field(head, 4)},
                         {"models", models},
                         {"version", field(head, behind)},
                         {"size", std::stoull(head.substr(behind + 16, 16))}});
}

void pack_ssd(const Context& context, const Arguments& arguments) {
  const std::string& out = arguments.at("OUT");
  const pack::SsdManifest wanted = pack::read_ssd_manifest(arguments.at("MANIFEST"));
  const uint64_t size = pack::ssd_head(wanted.firmware, wanted.binary.size).size() + wanted.binary.size;
  pack_file(context, out, wanted.files, size, wanted.warnings, [&](const pack::Progress& progress) {
    pack::write_ssd_file(wanted.firmware, wanted.binary, out, progress);
  });
}

}  // namespace

Command ssd_family() {
  return {
      .name = "ssd",
      .about = "SSD firmware files",
      .commands = {{"match",
                    "Take the fitted drive's firmware out of a file that is for it (to " + std::string(kEquipped) + ")",
                    {{"FILE", "SSD firmware file"},
                     {.name = "--force", .about = "Also when the fitted drive is not known", .flag = true}},
                    match},
                   {"show", "Show what an SSD firmware file is for", {{"FILE", "SSD firmware file"}}, show},
                   {"pack",
                    "Build an SSD firmware file",
                    {{"MANIFEST", "JSON: the drives and their firmware"}, {"OUT", "file to write"}},
                    pack_ssd}}};
}

}  // namespace coupler::tools
