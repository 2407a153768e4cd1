// Every operation, with null for each pointer where its interface says what becomes of it.
#include <gtest/gtest.h>

#include <cstring>

#include "brantix/coupler.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"
#include "tests/flow/stage.h"

namespace {

using namespace coupler::test;

FirmwareInfo record;
BootloaderSysNames names;
char text[256];
unsigned count;
size_t length;
const uint64_t oid[] = {1, 3};
const SCI_snmp_varbind_s variable{oid, 2, BRANTIX_SNMP_OCTET_STRING, {.text = nullptr}, 0};

struct Row {
  std::string call;
  int64_t result;
  std::string line;  // that the operation says, behind its level; none: it says nothing
  int64_t (*run)();
};

#define ROW(result, line, ...)                                                   \
  {                                                                              \
#__VA_ARGS__, result, line, [] { return static_cast<int64_t>(__VA_ARGS__); } \
  }
const Row kRows[] = {
    ROW(0, "info ERROR: getFileSize: inFilename is null", getFileSize(nullptr)),
    ROW(-1, "info ERROR: extract_header_info: failed to access file (null), Bad address\n",
        extract_header_info(nullptr, text, sizeof(text), &length)),
    ROW(0, "info ERROR: SCI_imageOpen: aInImageName is null\n", SCI_imageOpen(nullptr) != nullptr),
    ROW(0, "", SCI_imageSize(nullptr)),
    ROW(-1, "", SCI_verifyImageMD5(nullptr)),
    ROW(0, "", SCI_imageName(nullptr) != nullptr),
    ROW(0, "", SCI_srgOpen(nullptr) != nullptr),
    ROW(0, "", SCI_imagePlatform(nullptr)),
    ROW(0, "", SCI_imageType(nullptr)),
    ROW(-1, "info ERROR: get_orvix_descriptor: inFp is null", get_orvix_descriptor(nullptr, 0, text, 1)),
    ROW(ORVIX_TYPE_UNKNOWN, "", orvix_get_obj(nullptr, nullptr, nullptr, nullptr, nullptr)),
    ROW(-1, "info ERROR: failed to extract firmware info from file (null)\n",
        SCI_readFirmwareImageVersion(nullptr, &record)),
    ROW(-1, "info ERROR: aOutInfo is null\n", SCI_readFirmwareImageVersion(kBundle, nullptr)),
    ROW(-1, "info ERROR: failed to extract firmware info from file (null)\n",
        SCI_extractFirmwareImagePayload(nullptr, &record, kOut)),
    ROW(-1, "info ERROR: aOutInfo is null\n", SCI_extractFirmwareImagePayload(kBundle, nullptr, kOut)),
    ROW(-1, "info ERROR: aOutInfo is null\n", SCI_extractSsdfirmwareBinary(kDrive, nullptr)),
    ROW(-1, "info ERROR: inNewVersionFilePath is null\n", SCI_setFirmwareVersion(nullptr)),
    ROW(-1, "info ERROR: SCI_readCurrentFirmwareVersions: aOutInfo is null\n",
        SCI_readCurrentFirmwareVersions(nullptr)),
    ROW(-1, "info ERROR: SCI_getBootloaderSysNames: null pointer\n", SCI_getBootloaderSysNames(nullptr, text)),
    ROW(-1, "info ERROR: SCI_getBootloaderSysNames: null pointer\n", SCI_getBootloaderSysNames(&names, nullptr)),
    ROW(1, "critical SCI_SetSnmpHostV3: Host passed as NULL\n", SCI_SetSnmpHostV3(nullptr)),
    ROW(1, "critical SCI_DeleteSnmpHostV3: Host passed as NULL\n", SCI_DeleteSnmpHostV3(nullptr)),
    ROW(0, "", SCI_GetSnmpHostsV3(nullptr, nullptr, nullptr)),
    ROW(1, "critical SCI_SetSnmpUser:User details passed as NULL\n", SCI_SetSnmpUser(nullptr, nullptr)),
    ROW(1, "critical SCI_DeleteSnmpUser: User name passed as NULL\n", SCI_DeleteSnmpUser(nullptr, nullptr)),
    ROW(1, "critical Error deleting snmp user", SCI_DeleteSnmpUser(nullptr, text)),
    ROW(0, "info GetSnmpUsers aInCount = 0", SCI_GetSnmpUsers(nullptr, nullptr)),
    ROW(-1, "critical SCI_ConfigureSnmp: Community passed as NULL\n", SCI_ConfigureSnmp(nullptr)),
    ROW(-1, "critical SCI_DeleteSnmpCommunity: Community passed as NULL\n", SCI_DeleteSnmpCommunity(nullptr)),
    ROW(0, "", SCI_GetSnmpCommunity(nullptr, nullptr)),
    ROW(0, "", SCI_GetSnmpCommunity(nullptr, &count)),
    ROW(-1, "critical GetAndDeleteSnmpSysConOrLoc: Keyword passed as NULL\n", GetAndDeleteSnmpSysConOrLoc(nullptr)),
    ROW(-1, "critical SCI_SetSnmpSysContact: sysContact passed as NULL\n", SCI_SetSnmpSysContact(nullptr)),
    ROW(-1, "critical SCI_SetSnmpSysLocation: sysLocation passed as NULL\n", SCI_SetSnmpSysLocation(nullptr)),
    ROW(-1, "critical SCI_EnableExternalSyslogging(): text is null", SCI_EnableExternalSyslogging(0, nullptr, 0, 0)),
    ROW(-1, "critical SCI_EnableFileSyslogging(): text is null", SCI_EnableFileSyslogging(0, nullptr)),
    ROW(0, "info Cannot send SNMP notification. Trap OID or variable list not set\n",
        SCI_sendSnmpNotification(nullptr, 2, &variable, 1, nullptr, 0)),
    ROW(0, "info Cannot send SNMP notification. Trap OID or variable list not set\n",
        SCI_sendSnmpNotification(oid, 2, nullptr, 1, nullptr, 0)),
    ROW(0, "info Unable to send SNMP notification. Text not set. var Idx=0 type=4\n",
        SCI_sendSnmpNotification(oid, 2, &variable, 1, nullptr, 0)),
    ROW(-1, "critical ngm_send_ipc_notify: no channel or no message", ngm_send_ipc_notify(nullptr, 1, text, 4)),
    ROW(0, "", SCI_cli_has_next_session(nullptr)),
    ROW(0, "", SCI_cli_get_next_session(nullptr, nullptr)),
    ROW(1, "", SCI_getUserRoles(nullptr, text, sizeof(text))),
    ROW(0, "", SCI_getUserLocales(nullptr, nullptr, 0)),
};
#undef ROW

TEST(NullArgumentsTest, AreRefusedAndChangeNothing) {
  if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
  set_stage();
  const Files before = files();
  for (const auto& [call, result, line, run] : kRows) {
    SCOPED_TRACE(call);
    std::memset(&record, 'x', sizeof(record));
    LogCapture log;
    EXPECT_EQ(run(), result);
    const std::vector<std::string> lines = log.take_lines();
    std::string expected = line;
    if (!line.empty()) expected.insert(line.find(' ') + 1, call.substr(0, call.find('(')) + '|');
    EXPECT_TRUE(line.empty() ? lines.empty() : std::ranges::find(lines, expected) != lines.end())
        << testing::PrintToString(lines);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&record), sizeof(record)), std::string(sizeof(record), 'x'));
    EXPECT_TRUE(files() == before);
  }
}

}  // namespace
