// Every operation, with each call that it makes failing in turn.
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "brantix/coupler.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/stage.h"
#include "tests/notify/service.h"

namespace {

using namespace coupler::test;

/// What operations hand to their caller.
struct {
  uint64_t size;
  FirmwareInfo versions;
  ImageHeader header;
  size_t header_length;
  SCI_image_s* image;
  SCI_snmp_community_s communities[1];
  SCI_snmp_host_s hosts[2];
  SCI_snmp_user_s users[2];
  unsigned int count;
  BootloaderSysNames names;
  char text[1024];
} given;

char message[256];
char error[25];

std::string bytes(const void* data, size_t size) { return {static_cast<const char*>(data), size}; }

std::string take_image() {
  const std::string record = bytes(given.image, sizeof(ImageHeader));
  SCI_imageClose(given.image);
  return record;
}

/// An operation that must survive every fault. Each of its files is then as before or as after a run without a fault.
/// When it reports success, what it handed over and all of its files are as after a run without a fault.
struct Operation {
  const char* name;
  bool (*run)();            // whether it reports success
  std::string (*result)();  // what it handed over; asked after a success
  bool lenient = false;     // a success may have left something out
  void (*prepare)() = [] {};
  bool (*halfway)() = nullptr;  // leaves what a failure may leave: the operation has two steps
  bool (*reaches)(Call) = [](Call) { return true; };
};

std::string versions() { return bytes(&given.versions, sizeof(given.versions)); }

std::string nothing() { return {}; }

std::string text() { return given.text; }

SCI_snmp_host_s host(int version, int level = 0) {
  const char* const community = version == 3 ? "admin" : "public";
  SCI_snmp_host_s made{"10.0.0.9", "", 162, version, level, SCI_SNMP_TRAP};
  std::strcpy(made.community, community);
  return made;
}

constexpr SCI_snmp_user_s kUser{"admin", "password1", "password2", 1, 3};

template <int version, int level = 0>
bool set_host() {
  const SCI_snmp_host_s made = host(version, level);
  return SCI_SetSnmpHostV3(&made) == 0;
}

void forget_host() { SCI_DeleteSnmpHostV3("10.0.0.9"); }

void have_user() { SCI_SetSnmpUser(&kUser, error); }

void have_user_and_no_host() {
  have_user();
  forget_host();
}

std::string listed() {
  SCI_GetSnmpHostsV3(given.hosts, &given.count, 0);
  const unsigned hosts = given.count;
  SCI_GetSnmpUsers(given.users, &given.count);
  return std::to_string(hosts) + given.hosts[0].server_addr + std::to_string(given.count) + given.users[0].username;
}

bool walk_sessions() {
  auto* const sessions = SCI_cli_get_sessions();
  _SCI_cli_session_s session;
  for (size_t end = 0; SCI_cli_get_next_session(sessions, &session) == 1 && end < sizeof(given.text);) {
    end += static_cast<size_t>(
        std::snprintf(given.text + end, sizeof(given.text) - end, "%d %s\n", session.pid, session.user));
  }
  if (sessions != nullptr) SCI_cli_free_session_iterator(sessions);
  return sessions != nullptr;
}

bool extract_all_but_parts() {
  FirmwareInfo& out = given.versions;
  return extract_firmware_info(kBundle, &given.header, sizeof(given.header), &given.header_length, out.packageVersion,
                               64, out.rommonVersion, 64, out.fpgaVersion, 64, out.pseqVersion, 64, out.lanSpiVersion,
                               64, out.ssdVersion, 64, nullptr, &out.imageCount, out.imageList[0], 8, 64) == 0;
}

bool delete_contact() { return GetAndDeleteSnmpSysConOrLoc("sysContact") == 0; }

/// Acknowledges whatever is asked, for the whole run, so that the channel is made once.
void have_service() {
  static Service service;
  static std::thread thread([] {
    for (;;) {
      service.receive();
      service.reply({std::string("\1\0\0\0", 4), std::string(4, '\0')});
    }
  });
  if (thread.joinable()) thread.detach();
}

bool send_notification() {
  const uint64_t oid[] = {1, 3, 6, 1, 4, 1, 9};
  const SCI_snmp_varbind_s variable{oid, 7, BRANTIX_SNMP_TEXT, {.text = "text"}, 0};
  return SCI_sendSnmpNotification(oid, 7, &variable, 1, given.text, sizeof(given.text)) == 0 && given.text[0] == '\0';
}

const Operation kOperations[] = {
    {"getFileSize", [] { return (given.size = getFileSize(kBundle)) != 0; }, [] { return std::to_string(given.size); }},
    {"extract_header_info",
     [] { return extract_header_info(kImage, &given.header, sizeof(ImageHeader), &given.header_length) == 0; },
     [] { return bytes(&given.header, given.header_length); }},
    {"SCI_imageOpen", [] { return (given.image = SCI_imageOpen(kImage)) != nullptr; }, take_image},
    {"SCI_imageOpen of a header file", [] { return (given.image = SCI_imageOpen(kHeaderFile)) != nullptr; }, take_image,
     true},  // a size that cannot be told is that of an empty file
    {"SCI_readFirmwareImageVersion", [] { return SCI_readFirmwareImageVersion(kBundle, &given.versions) == 0; },
     versions, true},  // SSD firmware that cannot be written
    {"SCI_extractFirmwareImagePayload",
     [] { return SCI_extractFirmwareImagePayload(kBundle, &given.versions, kOut) == 0; }, versions},
    {"SCI_extractFirmwareImagePayload with an image inside",
     [] { return SCI_extractFirmwareImagePayload(kNested, &given.versions, kOut) == 0; }, versions,
     true},  // versions of the image inside
    {"SCI_setFirmwareVersion", [] { return SCI_setFirmwareVersion(kBundle) == 0; }, nothing},
    {"SCI_ConfigureSnmp", [] { return SCI_ConfigureSnmp("public") == 0; }, nothing},
    {"SCI_DeleteSnmpCommunity", [] { return SCI_DeleteSnmpCommunity("secret") == 0; }, nothing},
    {"SCI_GetSnmpCommunity", [] { return SCI_GetSnmpCommunity(given.communities, &given.count) == 0; },
     [] { return std::to_string(given.count) + given.communities[0].community; },
     true},  // what cannot be read passes for the end of the file
    {"GetAndDeleteSnmpSysConOrLoc", delete_contact, nothing},
    {"extract_firmware_info", extract_all_but_parts, versions, true},  // SSD firmware that cannot be written
    {"SCI_extractSsdfirmwareBinary", [] { return SCI_extractSsdfirmwareBinary(kDrive, &given.versions) == 0; },
     versions, true},  // without the drive's report its model is the one known before
    {"SCI_readCurrentFirmwareVersions", [] { return SCI_readCurrentFirmwareVersions(&given.versions) == 0; }, versions,
     true},  // what nobody answers is empty
    {"SCI_getBootloaderSysNames", [] { return SCI_getBootloaderSysNames(&given.names, message) == 0; },
     [] { return bytes(&given.names, sizeof(given.names)); }, true},  // what names nothing leaves its own path
    {"versions of the running software",
     [] {
       char* const bios = SCI_getBiosVersion();
       std::snprintf(given.text, sizeof(given.text), "%s %s %s", SCI_getSystemVersion(), SCI_getKickstartVersion(),
                     SCI_getFirmwareVersion());
       std::free(bios);
       return bios != nullptr;
     },
     text, true},                                                              // what cannot be read keeps its text
    {"SCI_SetSnmpHostV3, version 1", set_host<1>, listed, true, forget_host},  // nobody is told of a missing count file
    {"SCI_SetSnmpHostV3, version 2", set_host<2>, listed, true, forget_host},
    {"SCI_SetSnmpHostV3, version 3", set_host<3, SCI_SNMP_AUTH_PRIV>, listed, true, have_user_and_no_host},
    {"SCI_DeleteSnmpHostV3", [] { return SCI_DeleteSnmpHostV3("10.0.0.9") == 0; }, listed, true,
     [] { set_host<2>(); }},  // nobody is told of a missing count file
    {"SCI_SetSnmpUser", [] { return SCI_SetSnmpUser(&kUser, error) == 0; }, listed, false,
     [] { SCI_DeleteSnmpUser("admin", error); }},
    {"SCI_DeleteSnmpUser", [] { return SCI_DeleteSnmpUser("admin", error) == 0; }, listed, false, have_user},
    {"SCI_EnableSnmp", [] { return SCI_EnableSnmp() == 0; }, nothing, true},  // what commands say is not looked at
    {"SCI_DisableSnmp", [] { return SCI_DisableSnmp() == 0; }, nothing, true},
    // The syslog operations: without a shell 0, as documented.
    {"SCI_EnableExternalSyslogging", [] { return SCI_EnableExternalSyslogging(1, "10.0.0.1", 2, 3) == 0; }, nothing,
     true},
    {"SCI_DisableExternalSyslogging", [] { return SCI_DisableExternalSyslogging() == 0; }, nothing, true},
    {"SCI_EnableConsoleSyslogging", [] { return SCI_EnableConsoleSyslogging(1) == 0; }, nothing, true},
    {"SCI_DisableConsoleSyslogging", [] { return SCI_DisableConsoleSyslogging() == 0; }, nothing, true},
    {"SCI_SetPlatformSyslogging", [] { return SCI_SetPlatformSyslogging(1) == 0; }, nothing, true},
    {"SCI_EnableFileSyslogging", [] { return SCI_EnableFileSyslogging(1, "messages") == 0; }, nothing, true},
    {"SCI_DisableFileSyslogging", [] { return SCI_DisableFileSyslogging() == 0; }, nothing, true},
    // The agent is not looked for when the contact changes, and may be gone when the location does.
    {"SCI_SetSnmpSysContact", [] { return SCI_SetSnmpSysContact("you") == 0; }, nothing, true, [] {}, delete_contact},
    {"SCI_SetSnmpSysLocation", [] { return SCI_SetSnmpSysLocation("there") == 0; }, nothing, true},
    {"SCI_sendSnmpNotification", send_notification, text, false, have_service, nullptr,
     [](Call call) { return call == Call::kMemory; }},  // the other calls are the transport's
    {"SCI_getUserRoles", [] { return SCI_getUserRoles("root", given.text, sizeof(given.text)) == 0; }, text},
    {"sessions", walk_sessions, text, true,
     [] { prctl(PR_SET_NAME, "vsh"); }},  // a process that cannot be read is not listed
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

struct Kind {
  const char* name;
  Call call;
  std::vector<Call> always = {};
};

const Kind kKinds[] = {{"open", Call::kOpen},
                       {"read", Call::kRead},
                       {"seek", Call::kSeek},
                       {"map", Call::kMap},
                       {"write", Call::kWrite},
                       {"read, nothing can be mapped", Call::kRead, {Call::kMap}},
                       {"resize", Call::kResize},
                       {"seek, nothing can be mapped", Call::kSeek, {Call::kMap}},
                       {"sync", Call::kSync},
                       {"name", Call::kName},
                       {"rename", Call::kRename},
                       {"removal", Call::kRemoval},
                       {"interruption", Call::kInterruption},
                       {"close", Call::kClose},
                       {"memory", Call::kMemory},
                       {"lock", Call::kLock},
                       {"rights", Call::kRights},
                       {"process", Call::kProcess}};

auto open_descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class EveryFaultTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
    set_stage();
  }

  bool run(const Failing::Fault& fault) {
    given = {};
    GetParam().prepare();
    restore(before_);
    const Failing failing(fault);
    success_ = GetParam().run();
    return failing.happened();
  }
  std::string result() const { return success_ ? GetParam().result() : ""; }

  const SilentHost host_;
  Files before_;
  bool success_ = false;
};

TEST_P(EveryFaultTest, FailsCleanlyOrSucceeds) {
  const Files& before = before_ = files();
  run({Call::kMemory, 0});
  ASSERT_TRUE(success_);
  const std::string expected = result();
  const Files after = files();
  restore(before);
  std::vector<Files> states{before, after};
  if (GetParam().halfway != nullptr && GetParam().halfway()) states.push_back(files());
  restore(before);
  const auto descriptors = open_descriptors();
  int faults = 0;
  for (const Kind& kind : kKinds) {
    if (!GetParam().reaches(kind.call)) continue;
    for (const bool lasting : {false, true}) {
      if (lasting && kind.call == Call::kInterruption) continue;  // is waited out for ever
      for (int nth = 1; run({kind.call, nth, lasting, kind.always}); ++nth, ++faults) {
        SCOPED_TRACE(std::string(kind.name) + " " + std::to_string(nth) + (lasting ? " and later" : ""));
        Files now = files();
        if (kind.call == Call::kRemoval) {  // what cannot be removed stays
          std::erase_if(now,
                        [&](const auto& file) { return !before.contains(file.first) && !after.contains(file.first); });
        }
        if (kind.call == Call::kRename && !now.contains(kConfig)) {  // where none works, the new file is left whole
          now[kConfig] = std::exchange(now[kNewConfig], {});
          now.erase(kNewConfig);
        }
        EXPECT_TRUE(success_ || kind.call != Call::kInterruption) << "an interrupted call is not resumed";
        if (success_) {
          const bool lenient = GetParam().lenient && kind.call != Call::kInterruption;
          EXPECT_TRUE(result() == expected || lenient) << "success, but not with the right result";
          EXPECT_TRUE(now == after || lenient) << "success, but not with the right files";
        }
        expect_each_as_in(states, now);
        EXPECT_EQ(open_descriptors(), descriptors);
        restore(before);
      }
      restore(before);
      if (success_) result();
    }
  }
  std::cout << GetParam().name << ": " << faults << " faults\n";
  EXPECT_GE(faults, 2) << "the calls that should fail are not seen";
}

INSTANTIATE_TEST_SUITE_P(Flow, EveryFaultTest, testing::ValuesIn(kOperations));

}  // namespace
