// The platform's small text files, each with the same bytes: version files, boot markers, the drive's report.
#include "brantix/firmware.h"
#include "fuzz/fuzz.h"

namespace coupler::fuzz {
namespace {

/// What follows a blank in the file's first line, as far as that counts, up to its first NUL.
std::string expected_version(std::string_view file, const std::string& before) {
  const std::string_view line = file.substr(0, file.find('\n')).substr(0, 4096);
  const std::string_view text = line.substr(0, line.find('\0'));
  const size_t blank = text.find(' ');
  return blank == text.npos ? before : std::string(text.substr(blank + 1, 64));
}

void read_boot_names() {
  BootloaderSysNames names;
  char message[256];
  std::memset(&names, 'x', sizeof(names));
  std::memset(message, 'x', sizeof(message));
  const int32_t result = SCI_getBootloaderSysNames(&names, message);
  for (const auto field :
       {&BootloaderSysNames::npuImage, &BootloaderSysNames::bootStringImage, &BootloaderSysNames::managementImage}) {
    text_of(names.*field);
  }
  require(result == 0 || (result == -1 && text_of(message).starts_with("INFO: failed to read the file ")));
  if (result == 0) text_of(names.managementDetail);
}

}  // namespace

void try_input(const std::string& bytes) {
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
  text_of(equipped_ssd_model_num);
}

}  // namespace coupler::fuzz
