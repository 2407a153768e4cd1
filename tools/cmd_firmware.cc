// What is running: versions, boot names, firmware.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "brantix/firmware.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Json = nlohmann::ordered_json;

/// A value and where it comes from.
struct Sourced {
  const char* key;
  std::string value;
  std::string source;
};

void print_sourced(const Context& context, const std::vector<Sourced>& rows, Json report = Json::object()) {
  Table table({{""}, {""}, {""}});
  Json sources = Json::object();
  for (const auto& [key, value, source] : rows) {
    report[key] = value;
    sources[key] = source;
    std::string title = key;
    std::replace(title.begin(), title.end(), '_', ' ');
    table.row({title, value.empty() ? "-" : value, source});
  }
  report["sources"] = sources;
  print_table(context, report, table);
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

std::string without_line_end(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return text;
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
                {{"message", without_line_end(message)}});
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

}  // namespace

Command versions_command() {
  return {.name = "versions", .about = "Show the versions of the running software", .run = show_versions};
}

Command boot_names_command() {
  return {
      .name = "boot-names", .about = "Show the system images as the boot loader names them", .run = show_boot_names};
}

Command firmware_family() {
  return {.name = "firmware",
          .about = "The firmware of the appliance's parts",
          .commands = {{.name = "report",
                        .about = "Show what is running and where an upgrade stands (asks the SSD, if there is one)",
                        .run = show_current}}};
}

}  // namespace coupler::tools
