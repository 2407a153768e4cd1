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

/// Whether a need is met, and what to say of it.
using State = std::pair<bool, std::string>;

struct Need {
  const char* kind;
  const char* what;  ///< a command without a slash is looked for on PATH
  const char* breaks;
  State (*look)(const Need&);
  int rights = 0;            ///< to a place, as access(2) takes them
  const char* symbols = "";  ///< of a library
};

State look_at_library(const Need& need) {
  void* const handle = ::dlopen(need.what, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return {false, "not loaded"};
  std::string found, missing;
  const link_map* map = nullptr;
  if (::dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&map)) == 0) found = map->l_name;
  if (::dlsym(handle, "brantix_stand_in") != nullptr) found += " (stand-in)";
  std::istringstream symbols(need.symbols);
  for (std::string symbol; symbols >> symbol;) {
    if (::dlsym(handle, symbol.c_str()) == nullptr) missing += (missing.empty() ? "lacks " : ", ") + symbol;
  }
  ::dlclose(handle);
  return {missing.empty(), missing.empty() ? found : missing};
}

/// Where the command is; empty when it is nowhere on PATH.
std::string on_path(const std::string& command) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? _PATH_DEFPATH : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (::access((folder + "/" + command).c_str(), X_OK) == 0) return folder + "/" + command;
  }
  return "";
}

State look_at_place(const Need& need) {
  const bool by_path = std::strchr(need.what, '/') == nullptr;
  const std::string path = by_path ? on_path(need.what) : need.what;
  if (::access(path.c_str(), need.rights) == 0) return {true, by_path ? path : "is there"};
  return {false, by_path ? "not on PATH" : std::strerror(errno)};
}

/// dash reads the &> of a fixed command line as "in the background", which ends with 0.
State look_at_shell(const Need&) {
  const int status = std::system("false &>/dev/null");
  const bool well = WIFEXITED(status) && WEXITSTATUS(status) == 1;
  return {well, well ? "reads &> as bash does" : "reads &> otherwise than bash"};
}

State look_at_agent(const Need&) {
  const bool enabled = exists(kAgentService) && is_enabled();
  if (running_agent() != 0) return {true, "runs"};
  return {!enabled, enabled ? "enabled, but no process has this command line" : "disabled"};
}

State look_at_notification_service(const Need&) {
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = htons(5558), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  const Descriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const bool well = ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return {well, well ? "answers" : std::strerror(errno)};
}

constexpr Need kNeeds[] = {
    {"library", "libmelskfw.so", "staging, firmware report", look_at_library, 0,
     "melskfw_initBrantixDebug melskfw_upgradeStart melskfw_readVersionRommon melskfw_readVersionFpga "
     "melskfw_readVersionPseq melskfw_bootStatus melskfw_getUpgState"},
    {"library", "libquorvaosc.so.1", "running versions, firmware report", look_at_library, 0,
     "get_platform_board_type"},
    {"library", "libtolmsyslog.so", "syslog message", look_at_library, 0, "tolm_syslog"},
    {"library", "libmesvo.so", "notifications", look_at_library, 0,
     "_ZN5mesvo23MsgRequestClientChannelC1ENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE "
     "_ZN5mesvo23MsgRequestClientChannel17setServerEndPointENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE "
     "_ZN5mesvo23MsgRequestClientChannel7ipcSendEiPci _ZN5mesvo23MsgRequestClientChannel10ipcReceiveEPNS_6IpcMsgEl "
     "_ZN5mesvo6IpcMsgC1Ev _ZN5mesvo6IpcMsgD1Ev _ZN5mesvo6IpcMsg10getMsgDataEv _ZN5mesvo6IpcMsg10getMsgTypeEv "
     "_ZN5mesvo6IpcMsg11getNumPartsEv"},
    {"library", "libzmq.so.5", "notifications", look_at_library, 0, ""},
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_create_traphost", "SNMP destinations", look_at_place, X_OK},
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_create_user", "SNMP users", look_at_place, X_OK},
    {"script", "/opt/tolm-mgmt-scripts/tolm_snmp_delete_user", "SNMP users", look_at_place, X_OK},
    {"script", "/opt/tolm-mgmt-scripts/syslog_utils.sh", "syslog", look_at_place, X_OK},
    {"command", "fdisk", "firmware report on boards 2 and 3", look_at_place, X_OK},
    {"command", "/sbin/hdparm", "firmware report on boards 2 and 3, SSD firmware", look_at_place, X_OK},
    {"command", "grep", "firmware report, SNMP destinations", look_at_place, X_OK},
    {"command", "/bin/grep", "firmware report on boards 2 and 3, SSD firmware", look_at_place, X_OK},
    {"command", "/usr/bin/awk", "firmware report on boards 2 and 3, SSD firmware", look_at_place, X_OK},
    {"command", "/usr/bin/tr", "firmware report on boards 2 and 3, SSD firmware", look_at_place, X_OK},
    {"command", "cut", "SNMP destinations", look_at_place, X_OK},
    {"command", "sed", "SNMP service", look_at_place, X_OK},
    {"command", "skellan_svc", "SNMP service", look_at_place, X_OK},
    {"command", "pgrep", "SNMP location", look_at_place, X_OK},
    {"command", "groups", "roles", look_at_place, X_OK},
    {"folder", "/mnt/boot", "boot loader names", look_at_place, R_OK | X_OK},
    {"folder", "/mnt/boot/ssd_firmwares", "bundles with SSD firmware", look_at_place, W_OK | X_OK},
    {"folder", "/mnt/boot/equipped_ssd_firmware", "SSD firmware", look_at_place, W_OK | X_OK},
    {"folder", "/etc/snmp", "SNMP configuration", look_at_place, W_OK | X_OK},
    {"folder", "/tmp", "firmware report, SSD firmware, SNMP destinations", look_at_place, W_OK | X_OK},
    {"folder", "/opt/quorva/config/platform", "SNMP destinations", look_at_place, W_OK | X_OK},
    {"folder", "/proc/self", "sessions", look_at_place, R_OK | X_OK},
    {"file", "/etc/snmp/snmpd.conf", "SNMP configuration", look_at_place, R_OK | W_OK},
    {"file", "/opt/quorva/tolmos_skellan/etc/snmp.conf", "SNMP service", look_at_place, R_OK | W_OK},
    {"file", _PATH_UTMP, "sessions", look_at_place, R_OK},
    {"command", "sh", "firmware report: every board seems to have an SSD", look_at_shell},
    {"process", kAgentCommand, "SNMP location: the agent is not told", look_at_agent},
    {"service", "tcp://127.0.0.1:5558", "notifications", look_at_notification_service},
};

void examine(const Context& context, const Arguments&) {
  Json needs = Json::array();
  for (const Need& need : kNeeds) {
    const auto [well, state] = need.look(need);
    needs.push_back({{"kind", need.kind}, {"what", need.what}, {"well", well}, {"state", state}});
    if (!well) needs.back()["breaks"] = need.breaks;
  }
  const auto is_wrong = [](const Json& row) { return row["well"] == false; };
  print_table(context, {{"needs", needs}},
              {{"NEED", "kind"}, {"WHAT", "what"}, {"STATE", "state"}, {"BREAKS", "breaks"}}, needs, is_wrong);
  const auto missing = std::ranges::count_if(needs, is_wrong);
  if (missing > 0) throw Failure(std::to_string(missing) + " of these are missing or wrong");
}

}  // namespace

Commands doctor_commands() {
  return {
      {"doctor", "Look for all that the library needs of the platform, and say what its absence breaks", {}, examine}};
}

}  // namespace coupler::tools
