#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>

#include "brantix/firmware.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

using Json = nlohmann::ordered_json;

void show_versions(const Context& context, const Arguments&) {
  const std::unique_ptr<char, decltype(&std::free)> bios(SCI_getBiosVersion(), std::free);
  if (bios == nullptr) throw Failure("out of memory");
  print_report(context, {{"boot_loader", bios.get()},
                         {"kickstart", SCI_getKickstartVersion()},
                         {"system", SCI_getSystemVersion()},
                         {"kickstart_software_id", SCI_getKickstartSwid()},
                         {"system_software_id", SCI_getSystemSwid()}});
}

std::string without_line_end(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

void show_boot_names(const Context& context, const Arguments&) {
  BootloaderSysNames names{};
  char message[256] = "";
  if (SCI_getBootloaderSysNames(&names, message) != 0) fail_with_reason("the boot markers cannot be read");
  print_report(context, {{"npu_image", names.npuImage},
                         {"boot_string_image", names.bootStringImage},
                         {"management_image", names.managementImage},
                         {"management_detail", names.managementDetail},
                         {"message", without_line_end(message)}});
}

/// Sends to standard error what the library prints: standard output belongs to the result.
class LibraryPrintsAside {
 public:
  LibraryPrintsAside() : result_(dup(STDOUT_FILENO)) { turn(STDERR_FILENO); }
  ~LibraryPrintsAside() {
    turn(result_);
    close(result_);
  }
  LibraryPrintsAside(const LibraryPrintsAside&) = delete;
  LibraryPrintsAside& operator=(const LibraryPrintsAside&) = delete;

 private:
  static void turn(int to) {
    std::fflush(stdout);
    dup2(to, STDOUT_FILENO);
  }
  const int result_;
};

void show_current(const Context& context, const Arguments&) {
  FirmwareInfo info{};
  {
    const LibraryPrintsAside aside;
    if (SCI_readCurrentFirmwareVersions(&info) != 0) fail_with_reason("the current firmware cannot be read");
  }
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

}  // namespace coupler::tool
