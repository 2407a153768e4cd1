#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "brantix/container.h"
#include "brantix/firmware.h"
#include "tools/host.h"
#include "tools/pack/manifest.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kEquipped = "/mnt/boot/equipped_ssd_firmware";

/// The library gives no reason of its own for most of what can be wrong.
std::string reason_for(const std::string& path, const FirmwareInfo& info) {
  if (access(path.c_str(), R_OK) != 0) return "cannot read " + path + ": " + std::strerror(errno);
  std::error_code missing;
  if (*info.ssdVersion != '\0' && !fs::is_directory(kEquipped, missing)) {
    return path + " is for the fitted drive, but there is no directory " + kEquipped;
  }
  return path + " is no SSD firmware file, is cut short, or its firmware cannot be written to " + kEquipped;
}

void match(const Context& context, const Arguments& arguments) {
  const std::string& path = arguments.at("FILE");
  FirmwareInfo info{};
  if (SCI_extractSsdfirmwareBinary(path.c_str(), &info) != 0) fail_with_reason(reason_for(path, info));
  const bool matched = info.ssdMatched != 0;
  print_report(context, {{"fitted_model", equipped_ssd_model_num},
                         {"identification", info.ssdModel},
                         {"matched", matched},
                         {"ssd_version", info.ssdVersion},
                         {"file", matched ? std::string(kEquipped) + "/ssd-" + info.ssdVersion : ""}});
  if (*equipped_ssd_model_num != '\0') return;
  print_message(
      "warning:", "the fitted drive is not known, so every file matches; \"couplerctl firmware report\" asks it",
      Style::kHeading);
}

void pack_ssd(const Context& context, const Arguments& arguments) {
  const std::string& out = arguments.at("OUT");
  const pack::SsdManifest wanted = pack::read_ssd_manifest(arguments.at("MANIFEST"));
  pack::write_ssd_file(wanted.firmware, wanted.binary, out);
  Json report = {{"file", out}, {"size", fs::file_size(out)}};
  if (context.json) report["warnings"] = wanted.warnings;
  print_report(context, report);
  for (const std::string& warning : wanted.warnings) print_message("warning:", warning, Style::kHeading);
}

}  // namespace

Command ssd_family() {
  return {
      .name = "ssd",
      .about = "SSD firmware files",
      .commands = {{"match",
                    "Take the fitted drive's firmware out of a file that is for it (to " + std::string(kEquipped) + ")",
                    {{"FILE", "SSD firmware file"}},
                    match},
                   {"pack",
                    "Build an SSD firmware file",
                    {{"MANIFEST", "JSON: the drives and their firmware"}, {"OUT", "file to write"}},
                    pack_ssd}}};
}

}  // namespace coupler::tool
