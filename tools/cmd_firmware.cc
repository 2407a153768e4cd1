// What is running: versions, boot names, firmware; and the firmware of drives.
#include <array>
#include <filesystem>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tools/host.h"
#include "tools/pack/ssd_file.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

/// The key of a value, the value, and where it comes from.
using Sourced = std::array<std::string, 3>;

void print_sourced(const Context& context, const std::vector<Sourced>& rows, Json report = Json::object()) {
  Json sources = Json::object();
  for (const auto& [key, value, source] : rows) {
    report[key] = value;
    sources[key] = source;
  }
  report["sources"] = sources;
  print_report(context, report);
}

/// A buffer that its query leaves as it was holds what the library began with.
template <typename Query>
Sourced queried(const char* key, const char* buffer, Query query, const char* file) {
  const std::string before = buffer;
  query();
  return {key, buffer, before == buffer ? "default" : *buffer == '\0' ? "no NPU on this board" : file};
}

void show_versions(const Context& context, const Arguments&) {
  print_sourced(context, {queried("boot_loader", gmBiosVersion, SCI_getFirmwareVersion, "/etc/firmware_version.txt"),
                          queried("kickstart", gmNpuVersion, SCI_getKickstartVersion, "/opt/quorva/npu/version.txt"),
                          queried("system", gmSystemVersion, SCI_getSystemVersion, "/etc/version.txt"),
                          {"kickstart_software_id", SCI_getKickstartSwid(), "fixed"},
                          {"system_software_id", SCI_getSystemSwid(), "fixed"}});
}

void show_boot_names(const Context& context, const Arguments&) {
  BootloaderSysNames names{};
  char message[256] = "";
  if (SCI_getBootloaderSysNames(&names, message) != 0) fail_with_reason("the boot markers cannot be read");
  const auto from = [](const char* key, const std::string& value, const std::string& marker) {
    return Sourced{key, value, value == marker ? "default" : marker};
  };
  const std::string npu = "/mnt/boot/.boot_npu", text = "/mnt/boot/.boot_string",
                    manager = "/mnt/boot/.boot_brantixmgr";
  const bool managed = names.managementImage != manager;
  print_sourced(context,
                {from("npu_image", names.npuImage, npu),
                 from("boot_string_image", names.bootStringImage, text),
                 from("management_image", names.managementImage, manager),
                 {"management_detail", names.managementDetail, managed ? manager : "default"}},
                context.json ? Json{{"message", without_line_end(message)}} : Json::object());
  if (!context.json && *message != '\0') print_message("note:", without_line_end(message), Style::kHeading);
}

void show_current(const Context& context, const Arguments&) {
  FirmwareInfo info{};
  if (SCI_readCurrentFirmwareVersions(&info) != 0) fail_with_reason("the current firmware cannot be read");
  print_report(context, {{"package_version", info.packageVersion},
                         {"rommon_version", info.rommonVersion},
                         {"fpga_version", info.fpgaVersion},
                         {"pseq_version", info.pseqVersion},
                         {"ssd_version", without_line_end(info.ssdVersion)},
                         {"ssd_model", without_line_end(info.ssdModel)},
                         {"boot_status", info.bootStatus},
                         {"upgrade_state", info.upgradeState}});
}

namespace fs = std::filesystem;

constexpr const char* kEquipped = "/mnt/boot/equipped_ssd_firmware";

/// The library gives no reason of its own for most of what can be wrong.
std::string reason_for(const std::string& path, const FirmwareInfo& info) {
  std::error_code missing;
  if (*info.ssdVersion != '\0' && !fs::is_directory(kEquipped, missing)) {
    return path + " is for the fitted drive, but there is no directory " + kEquipped;
  }
  return path + " is no SSD firmware file, is cut short, or its firmware cannot be written to " + kEquipped;
}

void match(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const std::string file = readable(path);
  get_equipped_ssd_modelNumber();
  const bool known = *equipped_ssd_model_num != '\0';  // to the library a drive that is not is in every list
  if (!known && !arguments.contains("--force")) {
    throw Failure(
        "the fitted drive is not known, so nothing says whether the file is for it; \"couplerctl firmware "
        "report\" asks the drive, --force takes the firmware out all the same",
        "/tmp/ssd_fwInfo");
  }
  FirmwareInfo info{};
  if (SCI_extractSsdfirmwareBinary(file.c_str(), &info) != 0) fail_with_reason(reason_for(path, info), path);
  const bool listed = info.ssdMatched != 0;
  print_report(context, {{"fitted_model", equipped_ssd_model_num},
                         {"identification", info.ssdModel},
                         {"matched", known && listed},
                         {"ssd_version", info.ssdVersion},
                         {"file", listed ? std::string(kEquipped) + "/ssd-" + info.ssdVersion : ""}});
  if (!listed) throw Failure(path + " is not for the fitted drive, " + equipped_ssd_model_num, path);
}

void show_ssd(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  const Input file(readable(path), path);
  const auto [fault, firmware, size] = pack::read_ssd_file(file, 0, file.size);
  if (!fault.empty()) throw Failure(path + " is no SSD firmware file: " + fault, path);
  print_report(context, {{"identification", firmware.identification},
                         {"models", firmware.models},
                         {"version", firmware.version},
                         {"size", size}});
}

}  // namespace

Commands firmware_commands() {
  const Commands of_drives = {
      {"match",
       "Take the fitted drive's firmware out of a file that is for it (to " + std::string(kEquipped) + ")",
       {{"FILE", "SSD firmware file"},
        {.name = "--force", .about = "Also when the fitted drive is not known", .flag = true}},
       match},
      {"show", "Show what an SSD firmware file is for", {{"FILE", "SSD firmware file"}}, show_ssd},
      pack_command(pack::Kind::kSsdFile, "Build an SSD firmware file", "JSON: the drives and their firmware",
                   "file to write")};
  constexpr const char* kAbout = "Show what is running and where an upgrade stands (asks the SSD, if there is one)";
  return {{"versions", "Show the versions of the running software", {}, show_versions},
          {"boot-names", "Show the system images as the boot loader names them", {}, show_boot_names},
          {.name = "firmware",
           .about = "The firmware of the appliance's parts",
           .commands = {{"report", kAbout, {}, show_current}}},
          {.name = "ssd", .about = "SSD firmware files", .commands = of_drives}};
}

}  // namespace coupler::tools
