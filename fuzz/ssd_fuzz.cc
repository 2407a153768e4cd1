// An SSD firmware file: texts end inside their fields, and the one file that is written is the one that was reported.
#include <filesystem>

#include "brantix/firmware.h"
#include "fuzz/fuzz.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"

namespace {

namespace fs = std::filesystem;
using namespace coupler::fuzz;
using namespace coupler::test;

constexpr const char* kFirmware = "/tmp/drive.ssd";
constexpr const char* kOut = "/mnt/boot/equipped_ssd_firmware";

template <size_t N>
std::string text_of(const char (&field)[N]) {
  require(std::memchr(field, '\0', N) != nullptr);
  return field;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const SilentHost host;
  write_file("/tmp/ssd_fwInfo", "REV\nM_MZ120\n");
  write_file(kFirmware, std::string(reinterpret_cast<const char*>(data), size));
  FirmwareInfo record;
  std::memset(&record, 'x', sizeof(record));
  const int32_t result = SCI_extractSsdfirmwareBinary(kFirmware, &record);
  require(result == 0 || result == -1);
  require(record.ssdMatched == 0 || record.ssdMatched == 1);
  require(text_of(record.ssdModel).size() <= 16);
  const std::string version = text_of(record.ssdVersion);
  require(record.packageVersion[0] == 'x' && record.imageCount == 0x78787878);
  const bool written = result == 0 && record.ssdMatched == 1;
  require(names_in(kOut) == (written ? "ssd-" + version : ""));
  if (written) fs::remove(fs::path(kOut) / ("ssd-" + version));
  return 0;
}
