#include <sys/wait.h>

#include <cstdlib>
#include <span>

#include "brantix/notify.h"
#include "frame/log.h"
#include "platform/syslog/tolm_syslog.h"
#include "support/shell.h"

namespace {

using coupler::ArgumentText;
using coupler::Fixed;
using coupler::ShellWord;

using Names = std::span<const Fixed>;

constexpr Fixed kSeverities[] = {"emergencies", "alerts",        "critical",    "errors",
                                 "warnings",    "notifications", "information", "debugging"};
constexpr Fixed kFacilities[] = {"local0", "local1", "local2", "local3", "local4", "local5", "local6", "local7"};
constexpr Names kConsoleSeverities = Names(kSeverities).first(3);

/// What the lines of an operation show.
struct Shown {
  const char* host = nullptr;
  const char* severity = nullptr;
};

/// One syslog operation: its options of the script, and the lines that it logs.
struct Operation {
  const char* name;
  Fixed script_options;
  void (*entering)(const Shown& shown);
  void (*finished)();
  void (*failed)(int32_t code);
};

// A macro, so that the formats, which differ in nothing but name and purpose, are literals to the compiler's check.
#define OPERATION(operation, options, purpose, ...)                                                                   \
  Operation {                                                                                                         \
    .name = #operation, .script_options = options,                                                                    \
    .entering =                                                                                                       \
        []([[maybe_unused]] const Shown& shown) {                                                                     \
          LOG_LINE(debug, #operation, #operation "(): entering " purpose __VA_ARGS__);                                \
        },                                                                                                            \
    .finished = [] { LOG_LINE(debug, #operation, #operation "(): finished " purpose); }, .failed = [](int32_t code) { \
      LOG_LINE(critical, #operation, #operation "(): Error in running syslog script, code: %d", code);                \
    },                                                                                                                \
  }

constexpr auto kEnableExternal =
    OPERATION(SCI_EnableExternalSyslogging, "-SyslogSetRemoteDestination Add", "enable remote destination syslog",
              ", hostname: %s, severity level: %s", shown.host, shown.severity);
constexpr auto kDisableExternal = OPERATION(SCI_DisableExternalSyslogging, "-SyslogSetRemoteDestination DeleteAll",
                                            "disable remote destination syslog");
constexpr auto kEnableConsole = OPERATION(SCI_EnableConsoleSyslogging, "-SyslogSetConsoleLevel",
                                          "enable console syslog", ", severity level: %s", shown.severity);
constexpr auto kDisableConsole =
    OPERATION(SCI_DisableConsoleSyslogging, "-SyslogDisableConsoleLevel", "disable console syslog");
constexpr auto kSetPlatform = OPERATION(SCI_SetPlatformSyslogging, "-SyslogSetPlatformLevelToDorv",
                                        "set platform syslog", ", severity level: %s", shown.severity);
constexpr auto kEnableFile = OPERATION(SCI_EnableFileSyslogging, "-SyslogSetPlfmLogLevel", "enable file syslog",
                                       ", severity level: %s", shown.severity);
constexpr auto kDisableFile = OPERATION(SCI_DisableFileSyslogging, "-SyslogDisablePlfmLogLevel", "disable file syslog");
#undef OPERATION

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
    shown_.host = name;
    return *this;
  }

  ScriptRun& severity(Names names, int32_t index) {
    shown_.severity = add_name(names, index);
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
    operation_.entering(shown_);
    const int32_t code = statusHelper(std::system(command_.c_str()));
    if (code == 0) {
      operation_.finished();
    } else {
      operation_.failed(code);
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
  coupler::CommandLine<128> command_;
  Shown shown_;
  bool refused_ = false;
};

}  // namespace

int32_t SCI_EnableExternalSyslogging(int32_t n, const char* hostName, int32_t severity, int32_t facility) {
  return ScriptRun(kEnableExternal)
      .number(n)
      .host(hostName)
      .severity(kSeverities, severity)
      .facility(facility)
      .result();
}

int32_t SCI_DisableExternalSyslogging(void) { return ScriptRun(kDisableExternal).result(); }

int32_t SCI_EnableConsoleSyslogging(int32_t severity) {
  return ScriptRun(kEnableConsole).severity(kConsoleSeverities, severity).result();
}

int32_t SCI_DisableConsoleSyslogging(void) { return ScriptRun(kDisableConsole).result(); }

int32_t SCI_SetPlatformSyslogging(int32_t severity) {
  return ScriptRun(kSetPlatform).severity(kSeverities, severity).result();
}

int32_t SCI_EnableFileSyslogging(int32_t severity, const char* argument) {
  return ScriptRun(kEnableFile).severity(kSeverities, severity).argument(argument).result();
}

int32_t SCI_DisableFileSyslogging(void) { return ScriptRun(kDisableFile).result(); }

int32_t statusHelper(int32_t status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

int32_t SCI_SendSyslogMessage(long a1, long a2, long, long, long a5, long a6) {
  tolm_syslog(a1, "VTRC", 0, a2, a5, a6);
  return 0;
}
