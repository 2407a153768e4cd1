#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/* Firmware bundles, the upgrade, and what is running. */

BRANTIX_BEGIN_C

/** The firmware versions record. Owned by the host; every text is terminated within its field. */
typedef struct FirmwareInfo {
  char packageVersion[64]; /**< bundle: version of its image header; current report: composed from the components */
  char rommonVersion[64];  /**< boot loader */
  char fpgaVersion[64];
  char pseqVersion[64]; /**< power sequencer */
  char lanSpiVersion[64];
  char ssdVersion[64];
  char ssdModel[64];       /**< current report: the fitted SSD's model; SSD firmware file: its identification */
  int32_t bootStatus;      /**< of the platform firmware library */
  uint8_t upgradeState[4]; /**< of the platform firmware library's components 0 to 3 */
  int32_t imageCount;      /**< image files in the bundle, its two scripts not counted */
  char imageList[8][64];   /**< names of the bundle's image files, in file order */
  int32_t ssdMatched;      /**< 1: the SSD firmware file lists the fitted SSD's model */
} FirmwareInfo;

/**
 * Reads the versions of the firmware bundle at `path`: all versions but `ssdModel`, `imageCount` and `imageList`. The
 * other fields stay as they are. Writes no file but the bundle's SSD firmware, under /mnt/boot/ssd_firmwares.
 *
 * @return 0; -1, with a line at info: the record is null, or the bundle cannot be read to its end (the record then
 *         holds what was read before)
 */
BRANTIX_EXPORT int32_t SCI_readFirmwareImageVersion(const char* path, FirmwareInfo* aOutInfo);

/**
 * As `SCI_readFirmwareImageVersion`, and writes each part of the bundle as a file. Also clears `ssdModel` and
 * `ssdMatched`, and switches `cs_debug_verbose` on for good.
 *
 * @param outDir existing directory for the part files; null: none is written but SSD firmware
 * @return 0; -1, with a line at info: as above, or a part file could not be written. Files that were complete by then
 *         stay.
 */
BRANTIX_EXPORT int32_t SCI_extractFirmwareImagePayload(const char* path, FirmwareInfo* aOutInfo, const char* outDir);

/**
 * Hands new firmware to the platform firmware library, which carries out the upgrade.
 *
 * @param inNewVersionFilePath path as that library expects it; not looked at here
 * @return 0; -1, with a line at info: the path is null, or the platform firmware library refused
 */
BRANTIX_EXPORT int32_t SCI_setFirmwareVersion(const char* inNewVersionFilePath);

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(FirmwareInfo) == 976);
static_assert(offsetof(FirmwareInfo, ssdModel) == 384 && offsetof(FirmwareInfo, bootStatus) == 448);
static_assert(offsetof(FirmwareInfo, upgradeState) == 452 && offsetof(FirmwareInfo, imageCount) == 456);
static_assert(offsetof(FirmwareInfo, imageList) == 460 && offsetof(FirmwareInfo, ssdMatched) == 972);
#endif
