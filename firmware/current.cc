// Reports the firmware that is running: of the components, of the fitted SSD, and of the package that they make.
#include <cstdio>
#include <cstdlib>

#include "brantix/firmware.h"
#include "firmware/boards.h"
#include "firmware/fitted_ssd.h"
#include "firmware/package_version.h"
#include "frame/log.h"
#include "platform/board/board.h"
#include "platform/firmware/melskfw.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

namespace coupler::firmware {
namespace {

constexpr const char* kOperation = "SCI_readCurrentFirmwareVersions";
constexpr const char* kFindSsd = "fdisk -l | grep /dev/sda &>/dev/null";
constexpr const char* kAskSsd =
    "/sbin/hdparm -I /dev/sda | /bin/grep 'Firmware Revision:' | /usr/bin/awk -F':' '{print $2}' | /usr/bin/tr -d "
    "'[:blank:]' > /tmp/ssd_fwInfo; /sbin/hdparm -I /dev/sda | /bin/grep 'Model Number:' | /usr/bin/awk -F':' '{print "
    "$2}' | /usr/bin/tr -d '[:blank:]' >> /tmp/ssd_fwInfo";

void copy_answer(const char* version, Text field) { field.copy(version == nullptr ? "" : version); }

// Both fields keep the line ends of the report.
void ask_ssd(FirmwareInfo& report) {
  if (std::system(kFindSsd) != 0) return;
  [[maybe_unused]] const int status = std::system(kAskSsd);  // what the drive did not answer is missing in the file
  const Descriptor file = open_at_once(kSsdReport, O_RDONLY);
  LinesOf<4096> lines(file.get());
  for (const Text field : {Text(report.ssdVersion), Text(report.ssdModel)}) field.copy(lines.next_line().value_or(""));
}

void report_ssd(int board, FirmwareInfo& report) {
  Text(report.ssdVersion).fill("");
  Text(report.ssdModel).fill("");
  if (has_ssd(board)) return ask_ssd(report);
  Text(report.ssdVersion).copy("N/A");
  Text(report.ssdModel).copy("N/A");
}

void report_current(FirmwareInfo& report) {
  copy_answer(melskfw_readVersionRommon(), report.rommonVersion);
  copy_answer(melskfw_readVersionFpga(), report.fpgaVersion);
  copy_answer(melskfw_readVersionPseq(), report.pseqVersion);
  Text(report.packageVersion).fill("");
  const int board = get_platform_board_type();
  report_ssd(board, report);
  if (!compose_package_version(board, report.rommonVersion, report.fpgaVersion, report.pseqVersion,
                               report.packageVersion)) {
    std::puts("invalid 23");
  }
  report.bootStatus = melskfw_bootStatus();
  for (int i = 0; i < 4; ++i) report.upgradeState[i] = static_cast<uint8_t>(melskfw_getUpgState(i));
  LOG_LINE(info, kOperation, "INFO: status %d\n", report.bootStatus);
}

}  // namespace
}  // namespace coupler::firmware

int32_t SCI_readCurrentFirmwareVersions(FirmwareInfo* aOutInfo) {
  using coupler::firmware::kOperation;
  if (aOutInfo == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: aOutInfo is null\n", kOperation);
    return -1;
  }
  coupler::firmware::report_current(*aOutInfo);
  return 0;
}
