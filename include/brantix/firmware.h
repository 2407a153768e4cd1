// Firmware bundles, the upgrade, and what is running.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "brantix/export.h"

/** @file
 * Firmware bundles, the upgrade, and what is running. */

BRANTIX_BEGIN_C

/** The firmware versions record. Owned by the host; every text is terminated within its field. */
typedef struct FirmwareInfo {
  char packageVersion[64]; /**< bundle: version of its image header; current report: composed from the components */
  char rommonVersion[64];  /**< boot loader */
  char fpgaVersion[64];    /**< FPGA */
  char pseqVersion[64];    /**< power sequencer */
  char lanSpiVersion[64];  /**< LAN SPI flash; only bundles tell it */
  char ssdVersion[64];     /**< SSD firmware */
  char ssdModel[64];       /**< current report: the fitted SSD's model; SSD firmware file: its identification */
  int32_t bootStatus;      /**< of the platform firmware library */
  uint8_t upgradeState[4]; /**< of the platform firmware library's components 0 to 3 */
  int32_t imageCount;      /**< image files in the bundle, its two scripts not counted */
  char imageList[8][64];   /**< names of the bundle's image files, in file order */
  int32_t ssdMatched;      /**< 1: the SSD firmware file lists the fitted SSD's model */
} FirmwareInfo;

/**
 * Walks the firmware bundle at `path`, at most 20 parts: reports the version of every firmware part, lists and counts
 * the image files, writes each part as a file, and looks into the image file that the bundle's header names. What
 * follows the 20th part is not looked at.
 *
 * All buffers are the caller's; a text is cut to its capacity and terminated; what the bundle does not hold stays as
 * it was. Every line is logged at info.
 *
 * Files: rommon-VERSION, fpga-VERSION, PowerSequencer-VERSION, LanSpi-VERSION, NAME of an image or text file, and hdr,
 * which holds all of the header buffer; ssd-VERSION, always in /mnt/boot/ssd_firmwares. A path is cut to 255
 * characters. A file appears under its name when it is whole and on the disk: its size is the declared one, bytes that
 * the bundle lacks are zero. Until then an older file of that name stays, which lends the new one its mode; one that
 * already is the part, byte for byte, is not written again. A link, a device or a pipe with a reader at that name is
 * written through, and not removed when that fails. A part more than 2 GiB of whose bytes the bundle lacks is
 * malformed.
 *
 * @param path        the bundle
 * @param hdr         receives the image header; null: the header is skipped
 * @param hdrCapacity bytes of `hdr`
 * @param hdrLen      receives the header's number of bytes; not used without `hdr`
 * @param packageVersion,rommonVersion,fpgaVersion,pseqVersion,lanSpiVersion,ssdVersion receive the versions
 * @param packageVersionCapacity,rommonCapacity,fpgaCapacity,pseqCapacity,lanSpiCapacity,ssdCapacity bytes of each
 * @param outDir      existing directory for the part files, or null: none is written but SSD firmware
 * @param imageCount  is counted up by one for each image or text file other than "verify_firmware.py" and
 *                    "firmware_incomp.json"
 * @param imageList   receives the names of the first image and text files, 64 bytes apart; may be null. An image file
 *                    is looked into only when its name is listed.
 * @param numVers     entries of `imageList`
 * @param entrySize   bytes to which each name is cut, its terminator included
 * @return 0; -1: not accessible, not a firmware bundle, a part of a foreign type, a malformed part, or a part file that
 *         could not be written. What was reported and written before stays.
 */
BRANTIX_EXPORT int32_t extract_firmware_info(const char* path, void* hdr, size_t hdrCapacity, size_t* hdrLen,
                                             char* packageVersion, size_t packageVersionCapacity, char* rommonVersion,
                                             size_t rommonCapacity, char* fpgaVersion, size_t fpgaCapacity,
                                             char* pseqVersion, size_t pseqCapacity, char* lanSpiVersion,
                                             size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity,
                                             const char* outDir, int* imageCount, char* imageList, int numVers,
                                             int entrySize);

/**
 * The walk of `extract_firmware_info` on an open bundle.
 *
 * @param fp   the bundle, open for reading; the caller closes it
 * @param end  size of the bundle in bytes: no part is looked for at or behind it
 * @param base where the container starts in the file, in bytes
 * @param hdr,hdrCapacity,hdrLen as there, and so are all that follow
 * @param packageVersion,rommonVersion,fpgaVersion,pseqVersion,lanSpiVersion,ssdVersion as there
 * @param packageVersionCapacity,rommonCapacity,fpgaCapacity,pseqCapacity,lanSpiCapacity,ssdCapacity as there
 * @param outDir,imageCount,imageList,numVers,entrySize as there
 * @return as there
 */
BRANTIX_EXPORT int32_t extract_fw_info(FILE* fp, uint32_t end, uint32_t base, void* hdr, size_t hdrCapacity,
                                       size_t* hdrLen, char* packageVersion, size_t packageVersionCapacity,
                                       char* rommonVersion, size_t rommonCapacity, char* fpgaVersion,
                                       size_t fpgaCapacity, char* pseqVersion, size_t pseqCapacity, char* lanSpiVersion,
                                       size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity, const char* outDir,
                                       int* imageCount, char* imageList, int numVers, int entrySize);

/**
 * Model number of the fitted SSD, or the last word of it; empty until it is known. Process-wide. The library writes it
 * only when it changed, and its own operations never see it half written, whatever the threads; a host that reads it
 * itself while another thread asks a drive that was exchanged may.
 */
BRANTIX_EXPORT extern char equipped_ssd_model_num[24];

/**
 * Refreshes `equipped_ssd_model_num` from the second line of /tmp/ssd_fwInfo, which
 * `SCI_readCurrentFirmwareVersions` leaves behind: the last of its words, which "_" and blanks separate, cut to 23
 * characters. Of a line its first 4096 characters count, the last one as its line end. Without that line, or a word in
 * it, the text stays as it was.
 */
BRANTIX_EXPORT void get_equipped_ssd_modelNumber(void);

/**
 * Reads the versions of the firmware bundle at `path`: all versions but `ssdModel`, `imageCount` and `imageList`. The
 * other fields stay as they are. Writes no file but the bundle's SSD firmware, under /mnt/boot/ssd_firmwares.
 * `extract_firmware_info` describes the walk.
 *
 * @return 0; -1, with a line at info: an argument is null (nothing has changed then), or the bundle cannot be read to
 *         its end (the record then holds what was read before)
 */
BRANTIX_EXPORT int32_t SCI_readFirmwareImageVersion(const char* path, FirmwareInfo* aOutInfo);

/**
 * As `SCI_readFirmwareImageVersion`, and writes each part of the bundle as a file. Also clears `ssdModel` and
 * `ssdMatched`, and switches `cs_debug_verbose` on for good.
 *
 * @param path     the bundle
 * @param aOutInfo the caller's record
 * @param outDir   existing directory for the part files; null: none is written but SSD firmware
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

/**
 * Takes the firmware of the fitted SSD out of the SSD firmware file at `path`: when the file lists the drive's model
 * (`equipped_ssd_model_num`, refreshed first; an empty one is in every list), writes the binary as
 * /mnt/boot/equipped_ssd_firmware/ssd-VERSION. Bytes that the file lacks of the binary are zero.
 *
 * @param path     an SSD firmware file
 * @param aOutInfo receives `ssdModel`, the file's identification, and for the fitted drive `ssdVersion` and
 *                 `ssdMatched` = 1. The three are cleared first, and each is set as soon as it is known; the other
 *                 fields stay as they are.
 * @return 0, also when the file is for another drive: nothing is written then. -1: the record is null or the version
 *         holds "/" (each with a line at info), the file cannot be opened, is cut short before its binary or malformed,
 *         or the binary cannot be written
 */
BRANTIX_EXPORT int32_t SCI_extractSsdfirmwareBinary(const char* path, FirmwareInfo* aOutInfo);

/**
 * Reports what is running now: all versions but `lanSpiVersion`, `ssdModel`, `bootStatus`, `upgradeState`. The other
 * fields stay as they are. On boards of type 2 and 3 two commands ask the SSD, whose answer stays in /tmp/ssd_fwInfo;
 * `ssdVersion` and `ssdModel` keep the line feeds of that file, and are empty without a drive. On other boards both are
 * "N/A". `packageVersion` is empty when the FPGA's version has no more than two characters. Logs one line at info.
 *
 * On a type 1 board, prints "invalid 23" to standard output when the versions of FPGA and power sequencer do not make
 * four numbers.
 *
 * @return 0; -1: the record is null
 */
BRANTIX_EXPORT int32_t SCI_readCurrentFirmwareVersions(FirmwareInfo* aOutInfo);

/**
 * @name Versions of the running software
 * The buffers are the library's, process-wide and not locked; a query writes its buffer, cut to 64 characters, and
 * returns it: a host that keeps an answer copies it. What it cannot read leaves the last answer. None of them logs.
 * @{
 */
BRANTIX_EXPORT extern const char gmSystemSwId[64];  /**< "swid-kv3x-system" */
BRANTIX_EXPORT extern const char gmNpuSwId[64];     /**< "swid-kv3x-npu" */
BRANTIX_EXPORT extern char gmBrantixMgrVersion[65]; /**< the host's; neither read nor written by the library */
BRANTIX_EXPORT extern char gmSystemVersion[65];     /**< "Unknown" at load */
BRANTIX_EXPORT extern char gmNpuVersion[65];        /**< "88.88(88.888888)" at load */
BRANTIX_EXPORT extern char gmBiosVersion[65];       /**< "Unknown" at load */

/**
 * Tells the boot loader's version.
 *
 * @return `gmBiosVersion`: what follows the first "rommon version: " that begins a line of /etc/firmware_version.txt
 */
BRANTIX_EXPORT const char* SCI_getFirmwareVersion(void);

/** Copies what `SCI_getFirmwareVersion` returns. @return 66 bytes, to be freed with `free`; null without memory */
BRANTIX_EXPORT char* SCI_getBiosVersion(void);

/**
 * Tells the NPU's version.
 *
 * @return `gmNpuVersion`: what follows the first space of the first line of /opt/quorva/npu/version.txt; on boards of
 *         another type than 1 the empty text
 */
BRANTIX_EXPORT const char* SCI_getKickstartVersion(void);

/**
 * Tells the system's version.
 *
 * @return `gmSystemVersion`: what follows the first space of the first line of /etc/version.txt
 */
BRANTIX_EXPORT const char* SCI_getSystemVersion(void);

/** Tells the software id of the NPU. @return `gmNpuSwId` */
BRANTIX_EXPORT const char* SCI_getKickstartSwid(void);

/** Tells the software id of the system. @return `gmSystemSwId` */
BRANTIX_EXPORT const char* SCI_getSystemSwid(void);
/** @} */

/** The system images as the boot loader names them. Owned by the host, which may have more behind it. */
typedef struct BootloaderSysNames {
  char npuImage[256];         /**< first line of /mnt/boot/.boot_npu */
  char bootStringImage[256];  /**< "/mnt/boot/" and the second of the fields, separated by ":", of the first line of
                                   /mnt/boot/.boot_string */
  char reserved[256];         /**< the host's; neither read nor written */
  char managementImage[256];  /**< first word of the first line of /mnt/boot/.boot_brantixmgr */
  char managementDetail[256]; /**< its second word */
} BootloaderSysNames;

/**
 * Reads the boot markers. A marker that cannot be read, or names nothing, leaves its own path in its field; the detail
 * then stays as it was. Each failure is a line at info.
 *
 * @param names   the caller's record
 * @param message the caller's 256 bytes; receives the last failure of the markers .boot_string and .boot_npu, such as
 *                "INFO: failed to access file /mnt/boot/.boot_npu" and a line end; untouched without one
 * @return 0, also when markers are missing; -1: an argument is null, or .boot_string can be opened but holds no line;
 *         the other markers are then not read
 */
BRANTIX_EXPORT int32_t SCI_getBootloaderSysNames(BootloaderSysNames* names, char* message);

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(BootloaderSysNames) == 1280);
static_assert(offsetof(BootloaderSysNames, npuImage) == 0 && offsetof(BootloaderSysNames, bootStringImage) == 256);
static_assert(offsetof(BootloaderSysNames, reserved) == 512 && offsetof(BootloaderSysNames, managementImage) == 768);
static_assert(offsetof(BootloaderSysNames, managementDetail) == 1024);
static_assert(sizeof(FirmwareInfo) == 976);
static_assert(offsetof(FirmwareInfo, ssdModel) == 384 && offsetof(FirmwareInfo, bootStatus) == 448);
static_assert(offsetof(FirmwareInfo, upgradeState) == 452 && offsetof(FirmwareInfo, imageCount) == 456);
static_assert(offsetof(FirmwareInfo, imageList) == 460 && offsetof(FirmwareInfo, ssdMatched) == 972);
#endif
