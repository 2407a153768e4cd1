// What the management application asks of a firmware bundle, and the hand-over to the platform firmware library.
#include "brantix/firmware.h"
#include "brantix/image.h"
#include "firmware/bundle.h"
#include "frame/log.h"
#include "platform/firmware/melskfw.h"
#include "support/text.h"

namespace coupler::firmware {
namespace {

// The fields that a bundle's walk fills, and that are therefore cleared before it.
void clear_bundle_fields(FirmwareInfo& record) {
  for (const Text field : {Text(record.packageVersion), Text(record.rommonVersion), Text(record.fpgaVersion),
                           Text(record.pseqVersion), Text(record.lanSpiVersion), Text(record.ssdVersion)}) {
    field.clear();
  }
  record.imageCount = 0;
}

bool fill_from_bundle(const char* path, FirmwareInfo& record, const char* directory) {
  char header[sizeof(ImageHeader)] = {};
  size_t header_length = 0;
  clear_bundle_fields(record);
  return read_bundle(path, {.header = header,
                            .header_capacity = sizeof(header),
                            .header_length = &header_length,
                            .package_version = record.packageVersion,
                            .rommon_version = record.rommonVersion,
                            .fpga_version = record.fpgaVersion,
                            .power_sequencer_version = record.pseqVersion,
                            .lan_spi_version = record.lanSpiVersion,
                            .ssd_version = record.ssdVersion,
                            .directory = directory,
                            .image_count = &record.imageCount,
                            .image_list = record.imageList[0],
                            .list_entries = 8,
                            .entry_size = sizeof(record.imageList[0])});
}

int32_t read_versions(const char* operation, const char* path, FirmwareInfo& record, const char* directory) {
  if (path != nullptr && fill_from_bundle(path, record, directory)) return 0;
  LOG_LINE(info, operation, "ERROR: failed to extract firmware info from file %s\n", or_null(path));
  return -1;
}

bool is_given(const char* operation, const FirmwareInfo* record) {
  if (record == nullptr) LOG_LINE(info, operation, "ERROR: aOutInfo is null\n");
  return record != nullptr;
}

int32_t unpack(const char* operation, const char* path, FirmwareInfo& record, const char* directory) {
  if (path != nullptr) {
    Text(record.ssdModel).clear();
    record.ssdMatched = 0;
  }
  return read_versions(operation, path, record, directory);
}

}  // namespace
}  // namespace coupler::firmware

int32_t SCI_readFirmwareImageVersion(const char* path, FirmwareInfo* aOutInfo) {
  constexpr const char* kOperation = "SCI_readFirmwareImageVersion";
  if (!coupler::firmware::is_given(kOperation, aOutInfo)) return -1;
  return coupler::firmware::read_versions(kOperation, path, *aOutInfo, nullptr);
}

int32_t SCI_extractFirmwareImagePayload(const char* path, FirmwareInfo* aOutInfo, const char* outDir) {
  constexpr const char* kOperation = "SCI_extractFirmwareImagePayload";
  cs_debug_verbose = 1;  // for good, whatever follows
  if (!coupler::firmware::is_given(kOperation, aOutInfo)) return -1;
  return coupler::firmware::unpack(kOperation, path, *aOutInfo, outDir);
}

int32_t SCI_setFirmwareVersion(const char* inNewVersionFilePath) {
  constexpr const char* kOperation = "SCI_setFirmwareVersion";
  if (inNewVersionFilePath == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: inNewVersionFilePath is null\n");
    return -1;
  }
  const int refused = melskfw_upgradeStart(inNewVersionFilePath);
  if (refused != 0) {
    LOG_LINE(info, kOperation, "ERROR: failed to set firmware upgrade %d\n", refused);
    return -1;
  }
  LOG_LINE(info, kOperation, "INFO: successful set to upgrade firmware %s\n", inNewVersionFilePath);
  return 0;
}
