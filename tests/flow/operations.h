// The operations that do something, with what they are given and what they hand over.
#pragma once

#include <sys/prctl.h>

#include <cstring>
#include <thread>

#include "brantix/coupler.h"
#include "tests/flow/stage.h"
#include "tests/notify/service.h"

namespace coupler::test {

/// What operations hand to their caller.
struct Given {
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
};
inline Given given;
inline char message[256];
inline char error[25];

inline std::string bytes(const void* data, size_t size) { return {static_cast<const char*>(data), size}; }

/// What a process that is killed, or whose power is cut, may not do to an operation's files.
enum class Promise {
  kNone,
  kWhole,   // each is the old or the new one, and the next operation succeeds
  kOnDisk,  // and what it reported done outlasts a power cut
};

/// An operation that must survive every fault. Each of its files is then as before or as after a run without a fault.
/// When it reports success, what it handed over and all of its files are as after a run without a fault.
struct Operation {
  const char* name = "";
  int (*run)() = nullptr;                                  // 0: it reports success
  std::string (*result)() = [] { return std::string(); };  // what it handed over; asked after a success
  bool lenient = false;                                    // a success may have left something out
  void (*prepare)() = [] {};
  int (*halfway)() = nullptr;  // leaves what a failure may leave: the operation has two steps
  const char* only = nullptr;  // the one kind of call that fails
  Promise promise = Promise::kNone;
  Files older = {};  // is killed over these files once more
};

inline void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

inline std::string take_image() {
  const std::string record = bytes(given.image, sizeof(ImageHeader));
  SCI_imageClose(given.image);
  return record;
}

inline std::string versions() { return bytes(&given.versions, sizeof(given.versions)); }

inline std::string text() { return given.text; }

template <int version, int level = 0>
int set_host() {
  SCI_snmp_host_s host{"10.0.0.9", "public", 162, version, level, SCI_SNMP_TRAP};
  if (version == 3) std::strcpy(host.community, "admin");
  return SCI_SetSnmpHostV3(&host);
}

inline int set_user() {
  const SCI_snmp_user_s user{"admin", "password1", "password2", 1, 3};
  return SCI_SetSnmpUser(&user, error);
}

inline void forget_host() { SCI_DeleteSnmpHostV3("10.0.0.9"); }

inline std::string listed() {
  SCI_GetSnmpHostsV3(given.hosts, &given.count, 0);
  const unsigned hosts = given.count;
  SCI_GetSnmpUsers(given.users, &given.count);
  return std::to_string(hosts) + given.hosts[0].server_addr + std::to_string(given.count) + given.users[0].username;
}

inline int walk_sessions() {
  auto* const sessions = SCI_cli_get_sessions();
  _SCI_cli_session_s session;
  for (size_t end = 0; SCI_cli_get_next_session(sessions, &session) == 1 && end < sizeof(given.text);) {
    end += static_cast<size_t>(
        std::snprintf(given.text + end, sizeof(given.text) - end, "%d %s\n", session.pid, session.user));
  }
  if (sessions == nullptr) return -1;
  SCI_cli_free_session_iterator(sessions);
  return 0;
}

inline int read_running_versions() {
  char* const bios = SCI_getBiosVersion();
  std::snprintf(given.text, sizeof(given.text), "%s %s %s", SCI_getSystemVersion(), SCI_getKickstartVersion(),
                SCI_getFirmwareVersion());
  std::free(bios);
  return bios == nullptr;
}

/// Acknowledges whatever is asked, for the whole run, so that the channel is made once.
inline void have_service() {
  static Service& service = *new Service;  // no one waits for the thread
  static std::thread thread([] {
    for (;;) {
      service.receive();
      service.reply(kAcknowledged);
    }
  });
  if (thread.joinable()) thread.detach();
}

inline int send_notification() {
  const uint64_t oid[] = {1, 3, 6, 1, 4, 1, 9};
  const SCI_snmp_varbind_s variable{oid, 7, BRANTIX_SNMP_TEXT, {.text = "text"}, 0};
  const int failed = SCI_sendSnmpNotification(oid, 7, &variable, 1, given.text, sizeof(given.text));
  return failed != 0 || given.text[0] != '\0';
}

#define CALL(...) .name = #__VA_ARGS__, .run = [] { return static_cast<int>(__VA_ARGS__); }
inline const Operation kOperations[] = {
    {CALL((given.size = getFileSize(kBundle)) == 0), .result = [] { return std::to_string(given.size); }},
    {CALL(extract_header_info(kImage, &given.header, sizeof(ImageHeader), &given.header_length)),
     .result = [] { return bytes(&given.header, given.header_length); }},
    {CALL((given.image = SCI_imageOpen(kImage)) == nullptr), .result = take_image},
    // A size that cannot be told is that of an empty file.
    {CALL((given.image = SCI_imageOpen(kHeaderFile)) == nullptr), .result = take_image, .lenient = true},
    // A bundle is read without SSD firmware that cannot be written, and without versions of the image inside.
    {CALL(SCI_readFirmwareImageVersion(kBundle, &given.versions)), .result = versions, .lenient = true,
     .promise = Promise::kOnDisk, .older = {{"/mnt/boot/ssd_firmwares/ssd-S1", "older"}}},
    {CALL(SCI_extractFirmwareImagePayload(kBundle, &given.versions, kOut)), .result = versions,
     .promise = Promise::kOnDisk,
     .older = {{"/tmp/flow/out/rommon-1.0", "older"}, {"/tmp/flow/out/last", "older"}, {"/tmp/flow/out/hdr", "older"}}},
    {CALL(SCI_extractFirmwareImagePayload(kNested, &given.versions, kOut)), .result = versions, .lenient = true},
    {CALL(SCI_setFirmwareVersion(kBundle))},
    // Without the drive's report its model is the one known before.
    {CALL(SCI_extractSsdfirmwareBinary(kDrive, &given.versions)), .result = versions, .promise = Promise::kOnDisk,
     .older = {{"/mnt/boot/equipped_ssd_firmware/ssd-HXT7405Q", "older"}}},
    // What nobody answers is empty, what names nothing leaves its own path, what cannot be read keeps its text.
    {CALL(SCI_readCurrentFirmwareVersions(&given.versions)), .result = versions, .lenient = true},
    {CALL(SCI_getBootloaderSysNames(&given.names, message)),
     .result = [] { return bytes(&given.names, sizeof(given.names)); }, .lenient = true},
    {CALL(read_running_versions()), .result = text, .lenient = true},
    {CALL(SCI_ConfigureSnmp("public")), .promise = Promise::kWhole},
    {CALL(SCI_DeleteSnmpCommunity("secret")), .promise = Promise::kOnDisk},
    // What cannot be read passes for the end of the file.
    {CALL(SCI_GetSnmpCommunity(given.communities, &given.count)),
     .result = [] { return std::to_string(given.count) + given.communities[0].community; }, .lenient = true},
    {CALL(GetAndDeleteSnmpSysConOrLoc("sysContact")), .promise = Promise::kOnDisk},
    // The agent is not looked for when the contact changes, and may be gone when the location does.
    {CALL(SCI_SetSnmpSysContact("you")), .lenient = true,
     .halfway = [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }, .promise = Promise::kWhole},
    {CALL(SCI_SetSnmpSysLocation("there")), .lenient = true},
    // Nobody is told of a missing count file.
    {CALL(set_host<1>()), .result = listed, .lenient = true, .prepare = forget_host},
    {CALL(set_host<2>()), .result = listed, .lenient = true, .prepare = forget_host},
    {CALL(set_host<3, SCI_SNMP_AUTH_PRIV>()), .result = listed, .lenient = true,
     .prepare = [] { set_user(), forget_host(); }},
    {CALL(SCI_DeleteSnmpHostV3("10.0.0.9")), .result = listed, .lenient = true, .prepare = [] { set_host<2>(); },
     .promise = Promise::kOnDisk},
    {CALL(set_user()), .result = listed, .prepare = [] { SCI_DeleteSnmpUser("admin", error); }},
    {CALL(SCI_DeleteSnmpUser("admin", error)), .result = listed, .prepare = [] { set_user(); }},
    // What commands say is not looked at; without a shell the syslog operations return 0, as documented.
    {CALL(SCI_EnableSnmp()), .lenient = true},
    {CALL(SCI_DisableSnmp()), .lenient = true},
    {CALL(SCI_EnableExternalSyslogging(1, "10.0.0.1", 2, 3)), .lenient = true},
    {CALL(SCI_DisableExternalSyslogging()), .lenient = true},
    {CALL(SCI_EnableConsoleSyslogging(1)), .lenient = true},
    {CALL(SCI_DisableConsoleSyslogging()), .lenient = true},
    {CALL(SCI_SetPlatformSyslogging(1)), .lenient = true},
    {CALL(SCI_EnableFileSyslogging(1, "messages")), .lenient = true},
    {CALL(SCI_DisableFileSyslogging()), .lenient = true},
    // The other calls are the transport's.
    {CALL(send_notification()), .result = text, .prepare = have_service, .only = "memory"},
    {CALL(SCI_getUserRoles("root", given.text, sizeof(given.text))), .result = text},
    // A process that cannot be read is not listed.
    {CALL(walk_sessions()), .result = text, .lenient = true, .prepare = [] { prctl(PR_SET_NAME, "vsh"); }},
};
#undef CALL

}  // namespace coupler::test
