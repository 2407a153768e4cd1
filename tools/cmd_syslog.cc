#include <sys/syslog.h>

#include <nlohmann/json.hpp>

#include "brantix/notify.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

constexpr const char* kSeverities[] = {"emergencies", "alerts",        "critical",    "errors",
                                       "warnings",    "notifications", "information", "debugging"};

int32_t severity(const Arguments& arguments) {
  const std::string& text = arguments.at("SEVERITY");
  for (int32_t i = 0; i < static_cast<int32_t>(std::size(kSeverities)); ++i) {
    if (text == kSeverities[i] || text == std::to_string(i)) return i;
  }
  std::string names;
  for (const char* name : kSeverities) names += std::string(names.empty() ? "" : ", ") + name;
  throw Failure(text + " is no severity; severities are " + names + ", or 0 to 7");
}

int32_t number(const Arguments& arguments, const std::string& name) {
  return static_cast<int32_t>(std::stoul(arguments.at(name)));
}

void report(int32_t result) {
  if (result == -1) fail_with_reason("refused; --log critical shows why");
  if (result != 0) throw Failure("the syslog script ended with " + std::to_string(result));
}

const Argument kSeverity = {"SEVERITY", "least severe that passes: a name such as errors, or 0 to 7"};

std::vector<Command> commands() {
  return {
      {"remote",
       "Also send messages to another host",
       {{"N", "number of the destination", true},
        {"HOST", "its name or address"},
        kSeverity,
        {"FACILITY", "0 to 7, for local0 to local7", true}},
       [](const Context&, const Arguments& arguments) {
         report(SCI_EnableExternalSyslogging(number(arguments, "N"), arguments.at("HOST").c_str(), severity(arguments),
                                             number(arguments, "FACILITY")));
       }},
      {"no-remote",
       "Remove all other hosts",
       {},
       [](const Context&, const Arguments&) { report(SCI_DisableExternalSyslogging()); }},
      {"console",
       "Show messages on the console (severities 0 to 2)",
       {kSeverity},
       [](const Context&, const Arguments& arguments) { report(SCI_EnableConsoleSyslogging(severity(arguments))); }},
      {"no-console",
       "Show none on the console",
       {},
       [](const Context&, const Arguments&) { report(SCI_DisableConsoleSyslogging()); }},
      {"platform",
       "Set the level of the platform's own messages",
       {kSeverity},
       [](const Context&, const Arguments& arguments) { report(SCI_SetPlatformSyslogging(severity(arguments))); }},
      {"file",
       "Write messages to the platform's log file",
       {kSeverity, {"ARGUMENT", "for the script: the file's name"}},
       [](const Context&, const Arguments& arguments) {
         report(SCI_EnableFileSyslogging(severity(arguments), arguments.at("ARGUMENT").c_str()));
       }},
      {"no-file",
       "Write none to the platform's log file",
       {},
       [](const Context&, const Arguments&) { report(SCI_DisableFileSyslogging()); }},
      {"message",
       "Write one message, tagged VTRC",
       {kSeverity, {"TEXT", "the message"}},
       [](const Context&, const Arguments& arguments) {
         const char* text = arguments.at("TEXT").c_str();
         report(SCI_SendSyslogMessage(LOG_USER | severity(arguments), reinterpret_cast<long>(text), 0, 0, 0, 0));
       }},
  };
}

}  // namespace

Command syslog_family() { return {.name = "syslog", .about = "Where syslog messages go", .commands = commands()}; }

}  // namespace coupler::tool
