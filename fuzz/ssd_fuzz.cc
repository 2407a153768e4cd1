// An SSD firmware file: texts end inside their fields, and the one file that is written is the one that was reported.
#include "brantix/firmware.h"
#include "fuzz/fuzz.h"

void coupler::fuzz::try_input(const std::string& bytes) {
  const std::filesystem::path out = "/mnt/boot/equipped_ssd_firmware";
  write_file("/tmp/ssd_fwInfo", "REV\nM_MZ120\n");
  write_file("/tmp/drive.ssd", bytes);
  FirmwareInfo record;
  std::memset(&record, 'x', sizeof(record));
  const int32_t result = SCI_extractSsdfirmwareBinary("/tmp/drive.ssd", &record);
  require(result == 0 || result == -1);
  require(record.ssdMatched == 0 || record.ssdMatched == 1);
  require(text_of(record.ssdModel).size() <= 16);
  const std::string file = "ssd-" + text_of(record.ssdVersion);
  require(record.packageVersion[0] == 'x' && record.imageCount == 0x78787878);
  const bool written = result == 0 && record.ssdMatched == 1;
  require(names_in(out) == (written ? file : ""));
  if (written) std::filesystem::remove(out / file);
}
