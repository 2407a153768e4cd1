// The platform's small text files, each with the same bytes: version files, boot markers, the drive's report.
#include <filesystem>
#include <optional>
#include <string_view>

#include "brantix/firmware.h"
#include "fuzz/fuzz.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"

namespace {

using namespace coupler::fuzz;
using namespace coupler::test;

/// The file's first line, as far as it counts, up to its first NUL; nothing without a line.
std::optional<std::string> first_line(std::string_view file) {
  if (file.empty()) return std::nullopt;
  const std::string_view line = file.substr(0, file.find('\n')).substr(0, 4096);
  return std::string(line.substr(0, line.find('\0')));
}

std::string expected_version(std::string_view file, const std::string& before) {
  const auto line = first_line(file);
  const size_t space = line ? line->find(' ') : std::string::npos;
  return space == std::string::npos ? before : line->substr(space + 1, 64);
}

template <size_t N>
void require_terminated(const char (&field)[N]) {
  require(std::memchr(field, '\0', N) != nullptr);
}

void read_boot_names() {
  BootloaderSysNames names;
  char message[256];
  std::memset(&names, 'x', sizeof(names));
  std::memset(message, 'x', sizeof(message));
  const int32_t result = SCI_getBootloaderSysNames(&names, message);
  require(result == 0 || result == -1);
  for (const auto field :
       {&BootloaderSysNames::npuImage, &BootloaderSysNames::bootStringImage, &BootloaderSysNames::managementImage}) {
    require_terminated(names.*field);
  }
  if (result == 0) require_terminated(names.managementDetail);
  require(result == 0 || std::string_view(message).starts_with("INFO: failed to read the file "));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const SilentHost host;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  for (const char* path :
       {"/etc/version.txt", "/etc/firmware_version.txt", "/opt/quorva/npu/version.txt", "/mnt/boot/.boot_string",
        "/mnt/boot/.boot_npu", "/mnt/boot/.boot_brantixmgr", "/tmp/ssd_fwInfo"}) {
    write_file(path, bytes);
  }
  const std::string expected = expected_version(bytes, gmSystemVersion);
  require(SCI_getSystemVersion() == expected);
  require(std::strlen(SCI_getKickstartVersion()) <= 64 && std::strlen(SCI_getFirmwareVersion()) <= 64);
  read_boot_names();
  get_equipped_ssd_modelNumber();
  require_terminated(equipped_ssd_model_num);
  return 0;
}
