// What the library needs at its fixed places: whether it is there, and which operations suffer when it is not.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <link.h>
#include <paths.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "support/handle.h"
#include "tools/print.h"
#include "tools/snmp_config.h"

namespace coupler::tools {
namespace {

/// A need and what came of looking. Where something is wrong, that is its state, with what it breaks.
Json need(const char* kind, const std::string& what, const char* breaks, const std::string& found,
          const std::string& wrong) {
  const bool well = wrong.empty();
  Json row = {{"kind", kind}, {"what", what}, {"well", well}, {"state", well ? found : wrong}};
  if (!well) row["breaks"] = breaks;
  return row;
}

struct Library {
  const char* name;
  const char* symbols;
  const char* breaks;
};

constexpr Library kLibraries[] = {
    {"libmelskfw.so",
     "melskfw_initBrantixDebug melskfw_upgradeStart melskfw_readVersionRommon melskfw_readVersionFpga "
     "melskfw_readVersionPseq melskfw_bootStatus melskfw_getUpgState",
     "staging, firmware report"},
    {"libquorvaosc.so.1", "get_platform_board_type", "running versions, firmware report"},
    {"libtolmsyslog.so", "tolm_syslog", "syslog message"},
    {"libmesvo.so",
     "_ZN5mesvo23MsgRequestClientChannelC1ENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE "
     "_ZN5mesvo23MsgRequestClientChannel17setServerEndPointENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE "
     "_ZN5mesvo23MsgRequestClientChannel7ipcSendEiPci _ZN5mesvo23MsgRequestClientChannel10ipcReceiveEPNS_6IpcMsgEl "
     "_ZN5mesvo6IpcMsgC1Ev _ZN5mesvo6IpcMsgD1Ev _ZN5mesvo6IpcMsg10getMsgDataEv _ZN5mesvo6IpcMsg10getMsgTypeEv "
     "_ZN5mesvo6IpcMsg11getNumPartsEv",
     "notifications"},
    {"libzmq.so.5", "", "notifications"},
};

struct Place {
  const char* kind;
  const char* path;  ///< a command without a slash is looked for on PATH
  int rights;        ///< as access(2) takes them
  const char* breaks;
};

constexpr Place kPlaces[] = {
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_create_traphost", X_OK, "SNMP destinations"},
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_create_user", X_OK, "SNMP users"},
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_delete_user", X_OK, "SNMP users"},
    {"script", "/opt/tolm-mgmt-scripts/syslog_utils.sh", X_OK, "syslog"},
    {"command", "fdisk", X_OK, "firmware report on boards 2 and 3"},
    {"command", "/sbin/hdparm", X_OK, "firmware report on boards 2 and 3, SSD firmware"},
    {"command", "grep", X_OK, "firmware report, SNMP destinations"},
    {"command", "/bin/grep", X_OK, "firmware report on boards 2 and 3, SSD firmware"},
    {"command", "/usr/bin/awk", X_OK, "firmware report on boards 2 and 3, SSD firmware"},
    {"command", "/usr/bin/tr", X_OK, "firmware report on boards 2 and 3, SSD firmware"},
    {"command", "cut", X_OK, "SNMP destinations"},
    {"command", "sed", X_OK, "SNMP service"},
    {"command", "skellan_svc", X_OK, "SNMP service"},
    {"command", "pgrep", X_OK, "SNMP location"},
    {"command", "groups", X_OK, "roles"},
    {"folder", "/mnt/boot", R_OK | X_OK, "boot loader names"},
    {"folder", "/mnt/boot/ssd_firmwares", W_OK | X_OK, "bundles with SSD firmware"},
    {"folder", "/mnt/boot/equipped_ssd_firmware", W_OK | X_OK, "SSD firmware"},
    {"folder", "/etc/snmp", W_OK | X_OK, "SNMP configuration"},
    {"folder", "/tmp", W_OK | X_OK, "firmware report, SSD firmware, SNMP destinations"},
    {"folder", "/opt/quorva/config/platform", W_OK | X_OK, "SNMP destinations"},
    {"folder", "/proc/self", R_OK | X_OK, "sessions"},
    {"file", "/etc/snmp/snmpd.conf", R_OK | W_OK, "SNMP configuration"},
    {"file", "/opt/quorva/tolmos_skellan/etc/snmp.conf", R_OK | W_OK, "SNMP service"},
    {"file", _PATH_UTMP, R_OK, "sessions"},
};

Json look(const Library& library) {
  void* const handle = ::dlopen(library.name, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return need("library", library.name, library.breaks, "", "not loaded");
  std::string found, wrong;
  const link_map* map = nullptr;
  if (::dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0) found = map->l_name;
  if (::dlsym(handle, "brantix_stand_in") != nullptr) found += " (stand-in)";
  std::istringstream symbols(library.symbols);
  for (std::string symbol; symbols >> symbol;) {
    if (::dlsym(handle, symbol.c_str()) == nullptr) wrong += (wrong.empty() ? "lacks " : ", ") + symbol;
  }
  ::dlclose(handle);
  return need("library", library.name, library.breaks, found, wrong);
}

std::string on_path(const std::string& command) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? _PATH_DEFPATH : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (::access((folder + "/" + command).c_str(), X_OK) == 0) return folder + "/" + command;
  }
  return command;
}

Json look(const Place& place) {
  const bool by_path = std::strchr(place.path, '/') == nullptr;
  const std::string path = by_path ? on_path(place.path) : place.path;
  const bool well = ::access(path.c_str(), place.rights) == 0;
  return need(place.kind, place.path, place.breaks, by_path ? path : "is there",
              well      ? ""
              : by_path ? "not on PATH"
                        : std::strerror(errno));
}

/// dash reads the &> of a fixed command line as "in the background", which ends with 0.
Json look_at_shell() {
  const int status = std::system("false &>/dev/null");
  const bool well = WIFEXITED(status) && WEXITSTATUS(status) == 1;
  return need("command", "sh", "firmware report: every board seems to have an SSD", "reads &> as bash does",
              well ? "" : "reads &> otherwise than bash");
}

Json look_at_agent() {
  const bool enabled = exists(kAgentService) && is_enabled();
  const bool running = running_agent() != 0;
  return need("process", kAgentCommand, "SNMP location: the agent is not told", running ? "runs" : "disabled",
              enabled && !running ? "enabled, but no process has this command line" : "");
}

Json look_at_notification_service() {
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = htons(5558), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  const Descriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const bool well = ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return need("service", "tcp://127.0.0.1:5558", "notifications", "answers", well ? "" : std::strerror(errno));
}

void examine(const Context& context, const Arguments&) {
  Json needs = Json::array();
  for (const Library& library : kLibraries) needs.push_back(look(library));
  for (const Place& place : kPlaces) needs.push_back(look(place));
  for (const auto& special : {look_at_shell, look_at_agent, look_at_notification_service}) needs.push_back(special());
  const auto is_wrong = [](const Json& row) { return row["well"] == false; };
  print_table(context, {{"needs", needs}},
              Table({{"NEED", "kind"}, {"WHAT", "what"}, {"STATE", "state"}, {"BREAKS", "breaks"}}, needs, is_wrong));
  const auto missing = std::ranges::count_if(needs, is_wrong);
  if (missing > 0) throw Failure(std::to_string(missing) + " of these are missing or wrong");
}

}  // namespace

Command doctor_command() {
  return {
      "doctor", "Look for all that the library needs of the platform, and say what its absence breaks", {}, examine};
}

}  // namespace coupler::tools
