// Every operation, with null for each pointer where its interface says what becomes of it.
#include <gtest/gtest.h>

#include <iostream>

#include "brantix/coupler.h"
#include "tests/common/appliance.h"
#include "tests/common/silent_host.h"
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
  const char* call;
  int64_t result;
  int64_t (*run)();
};

#define ROW(result, ...)                                                   \
  {                                                                        \
#__VA_ARGS__, result, [] { return static_cast<int64_t>(__VA_ARGS__); } \
  }
const Row kRows[] = {
    ROW(0, getFileSize(nullptr)),
    ROW(-1, extract_header_info(nullptr, text, sizeof(text), &length)),
    ROW(0, SCI_imageOpen(nullptr) != nullptr),
    ROW(0, SCI_imageSize(nullptr)),
    ROW(-1, SCI_verifyImageMD5(nullptr)),
    ROW(0, SCI_imageName(nullptr) != nullptr),
    ROW(-1, get_orvix_descriptor(nullptr, 0, text, 1)),
    ROW(ORVIX_TYPE_UNKNOWN, orvix_get_obj(nullptr, nullptr, nullptr, nullptr, nullptr)),
    ROW(-1, SCI_readFirmwareImageVersion(nullptr, &record)),
    ROW(-1, SCI_readFirmwareImageVersion(kBundle, nullptr)),
    ROW(-1, SCI_extractFirmwareImagePayload(nullptr, &record, kOut)),
    ROW(-1, SCI_extractFirmwareImagePayload(kBundle, nullptr, kOut)),
    ROW(-1, SCI_extractSsdfirmwareBinary(nullptr, &record)),
    ROW(-1, SCI_extractSsdfirmwareBinary(kDrive, nullptr)),
    ROW(-1, SCI_readCurrentFirmwareVersions(nullptr)),
    ROW(-1, SCI_getBootloaderSysNames(nullptr, text)),
    ROW(-1, SCI_getBootloaderSysNames(&names, nullptr)),
    ROW(1, SCI_SetSnmpHostV3(nullptr)),
    ROW(1, SCI_DeleteSnmpHostV3(nullptr)),
    ROW(0, SCI_GetSnmpHostsV3(nullptr, nullptr, nullptr)),
    ROW(1, SCI_SetSnmpUser(nullptr, nullptr)),
    ROW(1, SCI_DeleteSnmpUser(nullptr, nullptr)),
    ROW(0, SCI_GetSnmpUsers(nullptr, nullptr)),
    ROW(-1, SCI_ConfigureSnmp(nullptr)),
    ROW(-1, SCI_DeleteSnmpCommunity(nullptr)),
    ROW(0, SCI_GetSnmpCommunity(nullptr, nullptr)),
    ROW(0, SCI_GetSnmpCommunity(nullptr, &count)),
    ROW(-1, GetAndDeleteSnmpSysConOrLoc(nullptr)),
    ROW(-1, SCI_SetSnmpSysContact(nullptr)),
    ROW(-1, SCI_SetSnmpSysLocation(nullptr)),
    ROW(-1, SCI_EnableExternalSyslogging(0, nullptr, 0, 0)),
    ROW(-1, SCI_EnableFileSyslogging(0, nullptr)),
    ROW(0, SCI_sendSnmpNotification(nullptr, 2, &variable, 1, nullptr, 0)),
    ROW(0, SCI_sendSnmpNotification(oid, 2, nullptr, 1, nullptr, 0)),
    ROW(0, SCI_sendSnmpNotification(oid, 2, &variable, 1, nullptr, 0)),
    ROW(-1, ngm_send_ipc_notify(nullptr, 1, text, 4)),
    ROW(0, SCI_cli_has_next_session(nullptr)),
    ROW(0, SCI_cli_get_next_session(nullptr, nullptr)),
    ROW(1, SCI_getUserRoles(nullptr, text, sizeof(text))),
    ROW(0, SCI_getUserLocales(nullptr, nullptr, 0)),
};
#undef ROW

void PrintTo(const Row& row, std::ostream* out) { *out << row.call; }

class NullArgumentsTest : public testing::TestWithParam<Row> {};

TEST_P(NullArgumentsTest, AreRefusedAndChangeNothing) {
  if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
  set_stage();
  const Files before = files();
  {
    const SilentHost host;
    EXPECT_EQ(GetParam().run(), GetParam().result);
  }
  EXPECT_TRUE(files() == before);
}

INSTANTIATE_TEST_SUITE_P(Flow, NullArgumentsTest, testing::ValuesIn(kRows));

}  // namespace
