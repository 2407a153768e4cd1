// Configures syslog through the platform's script, and hands single messages to the platform's syslog library.
#include <sys/wait.h>

#include <cstdlib>
#include <span>

#include "brantix/notify.h"
#include "frame/message.h"
#include "platform/syslog/tolm_syslog.h"
#include "support/cancellation.h"
#include "support/shell.h"

namespace coupler::notify {
namespace {

using Names = std::span<const Fixed>;

constexpr Fixed kSeverities[] = {"emergencies", "alerts",        "critical",    "errors",
                                 "warnings",    "notifications", "information", "debugging"};
constexpr Fixed kFacilities[] = {"local0", "local1", "local2", "local3", "local4", "local5", "local6", "local7"};
constexpr Names kConsoleSeverities = Names(kSeverities).first(3);

/// One syslog operation: its options of the script, and the lines that it logs.
struct Operation {
  const char* name;
  Fixed script_options;
  LogMessage<const char*, const char*> entering;  // takes what was added as shown: host, severity
  LogMessage<> finished;
  LogMessage<int32_t> failed;
};

constexpr Operation kEnableExternal{
    .name = "SCI_EnableExternalSyslogging",
    .script_options = "-SyslogSetRemoteDestination Add",
    .entering =
        {debug,
         "SCI_EnableExternalSyslogging(): entering enable remote destination syslog, hostname: %s, severity level: %s"},
    .finished = {debug, "SCI_EnableExternalSyslogging(): finished enable remote destination syslog"},
    .failed = {critical, "SCI_EnableExternalSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kDisableExternal{
    .name = "SCI_DisableExternalSyslogging",
    .script_options = "-SyslogSetRemoteDestination DeleteAll",
    .entering = {debug, "SCI_DisableExternalSyslogging(): entering disable remote destination syslog"},
    .finished = {debug, "SCI_DisableExternalSyslogging(): finished disable remote destination syslog"},
    .failed = {critical, "SCI_DisableExternalSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kEnableConsole{
    .name = "SCI_EnableConsoleSyslogging",
    .script_options = "-SyslogSetConsoleLevel",
    .entering = {debug, "SCI_EnableConsoleSyslogging(): entering enable console syslog, severity level: %s"},
    .finished = {debug, "SCI_EnableConsoleSyslogging(): finished enable console syslog"},
    .failed = {critical, "SCI_EnableConsoleSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kDisableConsole{
    .name = "SCI_DisableConsoleSyslogging",
    .script_options = "-SyslogDisableConsoleLevel",
    .entering = {debug, "SCI_DisableConsoleSyslogging(): entering disable console syslog"},
    .finished = {debug, "SCI_DisableConsoleSyslogging(): finished disable console syslog"},
    .failed = {critical, "SCI_DisableConsoleSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kSetPlatform{
    .name = "SCI_SetPlatformSyslogging",
    .script_options = "-SyslogSetPlatformLevelToDorv",
    .entering = {debug, "SCI_SetPlatformSyslogging(): entering set platform syslog, severity level: %s"},
    .finished = {debug, "SCI_SetPlatformSyslogging(): finished set platform syslog"},
    .failed = {critical, "SCI_SetPlatformSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kEnableFile{
    .name = "SCI_EnableFileSyslogging",
    .script_options = "-SyslogSetPlfmLogLevel",
    .entering = {debug, "SCI_EnableFileSyslogging(): entering enable file syslog, severity level: %s"},
    .finished = {debug, "SCI_EnableFileSyslogging(): finished enable file syslog"},
    .failed = {critical, "SCI_EnableFileSyslogging(): Error in running syslog script, code: %d"},
};
constexpr Operation kDisableFile{
    .name = "SCI_DisableFileSyslogging",
    .script_options = "-SyslogDisablePlfmLogLevel",
    .entering = {debug, "SCI_DisableFileSyslogging(): entering disable file syslog"},
    .finished = {debug, "SCI_DisableFileSyslogging(): finished disable file syslog"},
    .failed = {critical, "SCI_DisableFileSyslogging(): Error in running syslog script, code: %d"},
};

/// One run of the script, its arguments added in the order of the command line. After an argument that cannot be
/// passed on nothing is run.
class ScriptRun {
 public:
  explicit ScriptRun(const Operation& operation) : operation_(operation) {
    command_.add("/opt/tolm-mgmt-scripts/syslog_utils.sh ").add(operation.script_options);
  }

  ScriptRun& number(int32_t n) {
    command_.add(" ").add(static_cast<long>(n));
    return *this;
  }

  ScriptRun& host(const char* name) {
    if (!is_given(name)) return *this;
    command_.add(" ").add(ShellWord(name));
    show(name);
    return *this;
  }

  ScriptRun& severity(int32_t index, Names names = kSeverities) {
    show(add_name(names, index));
    return *this;
  }

  ScriptRun& facility(int32_t index) {
    add_name(kFacilities, index);
    return *this;
  }

  ScriptRun& argument(const char* text) {
    if (!is_given(text)) return *this;
    const auto checked = ArgumentText::from(text);
    if (checked) {
      command_.add(" ").add(*checked);
    } else {
      LOG_LINE(critical, operation_.name, "%s(): argument could start a command: %s", operation_.name, text);
      refused_ = true;
    }
    return *this;
  }

  int32_t result() const {
    if (refused_) return -1;
    const CancellationHeldOff held_off;
    operation_.entering.write(operation_.name, shown_[0], shown_[1]);
    const int32_t code = statusHelper(std::system(command_.c_str()));
    if (code == 0) {
      operation_.finished.write(operation_.name);
    } else {
      operation_.failed.write(operation_.name, code);
    }
    return code;
  }

 private:
  bool is_given(const char* text) {
    if (text != nullptr) return true;
    LOG_LINE(critical, operation_.name, "%s(): text is null", operation_.name);
    refused_ = true;
    return false;
  }

  void show(const char* text) { shown_[shown_count_++] = text; }

  const char* add_name(Names names, int32_t index) {
    if (index < 0 || static_cast<size_t>(index) >= names.size()) {
      LOG_LINE(critical, operation_.name, "%s(): index %d is not below %zu", operation_.name, index, names.size());
      refused_ = true;
      return nullptr;
    }
    const Fixed name = names[static_cast<size_t>(index)];
    command_.add(" ").add(name);
    return name.text().data();
  }

  const Operation& operation_;
  CommandLine<128> command_;
  const char* shown_[2] = {};
  size_t shown_count_ = 0;
  bool refused_ = false;
};

}  // namespace
}  // namespace coupler::notify

int32_t SCI_EnableExternalSyslogging(int32_t n, const char* hostName, int32_t severity, int32_t facility) {
  return coupler::notify::ScriptRun(coupler::notify::kEnableExternal)
      .number(n)
      .host(hostName)
      .severity(severity)
      .facility(facility)
      .result();
}

int32_t SCI_DisableExternalSyslogging(void) {
  return coupler::notify::ScriptRun(coupler::notify::kDisableExternal).result();
}

int32_t SCI_EnableConsoleSyslogging(int32_t severity) {
  return coupler::notify::ScriptRun(coupler::notify::kEnableConsole)
      .severity(severity, coupler::notify::kConsoleSeverities)
      .result();
}

int32_t SCI_DisableConsoleSyslogging(void) {
  return coupler::notify::ScriptRun(coupler::notify::kDisableConsole).result();
}

int32_t SCI_SetPlatformSyslogging(int32_t severity) {
  return coupler::notify::ScriptRun(coupler::notify::kSetPlatform).severity(severity).result();
}

int32_t SCI_EnableFileSyslogging(int32_t severity, const char* argument) {
  return coupler::notify::ScriptRun(coupler::notify::kEnableFile).severity(severity).argument(argument).result();
}

int32_t SCI_DisableFileSyslogging(void) { return coupler::notify::ScriptRun(coupler::notify::kDisableFile).result(); }

int32_t statusHelper(int32_t status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

int32_t SCI_SendSyslogMessage(long a1, long a2, long, long, long a5, long a6) {
  const coupler::CancellationHeldOff held_off;
  tolm_syslog(a1, "VTRC", 0, a2, a5, a6);
  return 0;
}
