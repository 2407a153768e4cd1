// SSD firmware files.
#include <filesystem>
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
  if (SCI_extractSsdfirmwareBinary(readable(path).c_str(), &info) != 0) fail_with_reason(reason_for(path, info), path);
  const bool known = *equipped_ssd_model_num != '\0';
  const bool listed = info.ssdMatched != 0;
  print_report(context, {{"fitted_model", equipped_ssd_model_num},
                         {"identification", info.ssdModel},
                         {"matched", known && listed},
                         {"ssd_version", info.ssdVersion},
                         {"file", listed ? std::string(kEquipped) + "/ssd-" + info.ssdVersion : ""}});
  if (!listed) throw Failure(path + " is not for the fitted drive, " + equipped_ssd_model_num, path);
}

void show(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const Input file(path);
  const SsdHead head = read_ssd_head(file, 0, file.size);
  if (!head.fault.empty()) throw Failure(path + " is no SSD firmware file: " + head.fault, path);
  print_report(context, {{"identification", head.identification},
                         {"models", head.models},
                         {"version", head.version},
                         {"size", head.size}});
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
