// Where syslog messages go.
#include <sys/syslog.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "brantix/notify.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

namespace fs = std::filesystem;

constexpr Choice kSeverities[] = {{"emergencies 0 emergency emerg panic", 0},
                                  {"alerts 1 alert", 1},
                                  {"critical 2 crit", 2},
                                  {"errors 3 error err", 3},
                                  {"warnings 4 warning warn", 4},
                                  {"notifications 5 notification notice", 5},
                                  {"information 6 informational info", 6},
                                  {"debugging 7 debug", 7}};
constexpr auto kConsole = std::span(kSeverities).first(3);
constexpr Choice kFacilities[] = {{"local0 0", 0}, {"local1 1", 1}, {"local2 2", 2}, {"local3 3", 3},
                                  {"local4 4", 4}, {"local5 5", 5}, {"local6 6", 6}, {"local7 7", 7}};

using Operation = int32_t (*)(const Arguments&);

int32_t severity(const Arguments& arguments) { return arguments.number("SEVERITY"); }

/// The command that runs the operation and reports what the script made of it.
Command setting(const char* name, const char* about, std::vector<Argument> arguments, Operation operation) {
  return {name, about, std::move(arguments), [=](const Context& context, const Arguments& given) {
            const int32_t result = operation(given);
            if (result == -1) fail_with_reason("refused; --log critical shows why");
            if (result != 0) throw Failure("the syslog script ended with " + std::to_string(result), "syslog_utils.sh");
            if (context.json) print_json({{"done", name}});
          }};
}

std::string severity_name(const std::string& text) {
  const auto* const found = std::ranges::find_if(kSeverities, [&](const Choice& choice) { return choice.means(text); });
  return std::string(found == std::end(kSeverities) ? text : found->name());
}

/// What a file of settings says, as the platform's script writes it; nothing for one of another hand.
Json setting_in(const fs::path& path) {
  static const std::regex kRemote(R"re((local[0-7])\.(\w+) action\(type="omfwd" target="([^"]*)" .*)re");
  static const std::regex kFile(R"re(\*\.(\w+) action\(type="omfile" file="([^"]*)"\))re");
  static const std::regex kPlatform(R"re(if \$msg contains "VTRC:" and \$syslogseverity > ([0-7]) then stop)re");
  const Lines lines = lines_of(path);
  const std::string line = lines.empty() ? "" : lines.front(), name = path.stem();
  std::smatch found;
  if (name.starts_with("remote-") && std::regex_match(line, found, kRemote)) {
    return {{"setting", "remote"},
            {"number", name.substr(7)},
            {"to", found.str(3)},
            {"severity", severity_name(found.str(2))},
            {"facility", found.str(1)}};
  }
  if (std::regex_match(line, found, kFile)) {
    return {{"setting", name}, {"to", found.str(2)}, {"severity", severity_name(found.str(1))}};
  }
  if (!std::regex_match(line, found, kPlatform)) return nullptr;
  return {{"setting", "platform"}, {"severity", severity_name(found.str(1))}};
}

void show(const Context& context, const Arguments&) {
  constexpr const char* kSettings = "/etc/rsyslog.d";
  std::vector<fs::path> paths;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(kSettings, missing)) {
    if (entry.path().extension() == ".conf") paths.push_back(entry.path());
  }
  if (missing) throw Failure(std::string("cannot read ") + kSettings + ": " + missing.message(), kSettings);
  std::ranges::sort(paths);
  Json settings = Json::array();
  for (const fs::path& path : paths) {
    const Json setting = setting_in(path);
    if (!setting.is_null()) settings.push_back(setting);
  }
  const Table table(
      {{"SETTING", "setting"}, {"N", "number"}, {"TO", "to"}, {"SEVERITY", "severity"}, {"FACILITY", "facility"}},
      settings);
  print_table(context, {{"settings", settings}}, table);
}

}  // namespace

Command syslog_family() {
  const Argument least = {.name = "SEVERITY",
                          .about = "least severe that passes: a name such as errors, or 0 to 7",
                          .choices = kSeverities};
  const Argument console = {.name = "SEVERITY", .about = "emergencies, alerts or critical", .choices = kConsole};
  const Argument number = {.name = "N", .about = "number of the destination", .most = INT32_MAX};
  const Argument facility = {.name = "FACILITY", .about = "local0 to local7", .choices = kFacilities};
  const std::vector<Command> commands = {
      {"show", "Show where messages go", {}, show},
      setting("remote", "Also send messages to another host",
              {number, {"HOST", "its name or address"}, least, facility},
              [](const Arguments& given) {
                return SCI_EnableExternalSyslogging(given.number("N"), given.at("HOST").c_str(), severity(given),
                                                    given.number("FACILITY"));
              }),
      setting("no-remote", "Remove all other hosts", {},
              [](const Arguments&) { return SCI_DisableExternalSyslogging(); }),
      setting("console", "Show messages on the console", {console},
              [](const Arguments& given) { return SCI_EnableConsoleSyslogging(severity(given)); }),
      setting("no-console", "Show none on the console", {},
              [](const Arguments&) { return SCI_DisableConsoleSyslogging(); }),
      setting("platform", "Set the level of the platform's own messages", {least},
              [](const Arguments& given) { return SCI_SetPlatformSyslogging(severity(given)); }),
      setting("file", "Write messages to the platform's log file",
              {least, {"ARGUMENT", "for the script: the file's name"}},
              [](const Arguments& given) {
                return SCI_EnableFileSyslogging(severity(given), given.at("ARGUMENT").c_str());
              }),
      setting("no-file", "Write none to the platform's log file", {},
              [](const Arguments&) { return SCI_DisableFileSyslogging(); }),
      setting("message", "Write one message, tagged VTRC", {least, {"TEXT", "the message"}},
              [](const Arguments& given) {
                const long text = reinterpret_cast<long>(given.at("TEXT").c_str());
                return SCI_SendSyslogMessage(LOG_USER | severity(given), text, 0, 0, 0, 0);
              }),
  };
  return {.name = "syslog", .about = "Where syslog messages go", .commands = commands};
}

}  // namespace coupler::tools
