#include "brantix/firmware.h"
#include "brantix/image.h"
#include "frame/log.h"
#include "platform/firmware/melskfw.h"
#include "support/text.h"

namespace {

using coupler::Text;

// The fields that a bundle's walk fills, and that are therefore cleared before it.
void clear_bundle_fields(FirmwareInfo* record) {
  for (const Text field : {Text(record->packageVersion), Text(record->rommonVersion), Text(record->fpgaVersion),
                           Text(record->pseqVersion), Text(record->lanSpiVersion), Text(record->ssdVersion)}) {
    field.clear();
  }
  record->imageCount = 0;
}

int32_t read_bundle(const char* operation, const char* path, FirmwareInfo* record, const char* directory) {
  char header[sizeof(ImageHeader)] = {};
  size_t header_length = 0;
  clear_bundle_fields(record);
  const int32_t result = extract_firmware_info(
      path, header, sizeof(header), &header_length, record->packageVersion, sizeof(record->packageVersion),
      record->rommonVersion, sizeof(record->rommonVersion), record->fpgaVersion, sizeof(record->fpgaVersion),
      record->pseqVersion, sizeof(record->pseqVersion), record->lanSpiVersion, sizeof(record->lanSpiVersion),
      record->ssdVersion, sizeof(record->ssdVersion), directory, &record->imageCount, record->imageList[0], 8,
      sizeof(record->imageList[0]));
  if (result < 0) {
    LOG_LINE(info, operation, "ERROR: failed to extract firmware info from file %s\n", coupler::or_null(path));
    return -1;
  }
  return 0;
}

bool is_given(const char* operation, const FirmwareInfo* record) {
  if (record == nullptr) LOG_LINE(info, operation, "ERROR: aOutInfo is null\n");
  return record != nullptr;
}

}  // namespace

int32_t SCI_readFirmwareImageVersion(const char* path, FirmwareInfo* aOutInfo) {
  constexpr const char* kOperation = "SCI_readFirmwareImageVersion";
  return is_given(kOperation, aOutInfo) ? read_bundle(kOperation, path, aOutInfo, nullptr) : -1;
}

int32_t SCI_extractFirmwareImagePayload(const char* path, FirmwareInfo* aOutInfo, const char* outDir) {
  constexpr const char* kOperation = "SCI_extractFirmwareImagePayload";
  cs_debug_verbose = 1;
  if (!is_given(kOperation, aOutInfo)) return -1;
  Text(aOutInfo->ssdModel).clear();
  aOutInfo->ssdMatched = 0;
  return read_bundle(kOperation, path, aOutInfo, outDir);
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
