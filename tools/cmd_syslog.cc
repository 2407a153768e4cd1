// Where syslog messages go.
#include <sys/syslog.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <tuple>

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

int32_t send(int32_t severity, const char* text) {
  return SCI_SendSyslogMessage(LOG_USER | severity, reinterpret_cast<long>(text), 0, 0, 0, 0);
}

/// The argument of that name as what a parameter takes.
struct Given {
  const Arguments& all;
  const std::string& name;

  operator int32_t() const { return all.number(name); }
  operator const char*() const { return all.at(name).c_str(); }
};

/// The command that runs the operation, whose parameters are the arguments in their order, and reports what the script
/// made of it.
template <typename... Parameters>
Command setting(const char* name, const char* about, const std::vector<Argument>& arguments,
                int32_t (*operation)(Parameters...)) {
  return {name, about, arguments, [=](const Context& context, const Arguments& given) {
            [[maybe_unused]] size_t next = 0;
            const std::tuple<Parameters...> values{static_cast<Parameters>(Given{given, arguments[next++].name})...};
            const int32_t result = std::apply(operation, values);
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
  std::set<fs::path> paths;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(kSettings, missing)) paths.insert(entry);
  if (missing) throw Failure(std::string("cannot read ") + kSettings + ": " + missing.message(), kSettings);
  Json settings = Json::array();
  for (const fs::path& path : paths) {
    const Json setting = path.extension() == ".conf" ? setting_in(path) : nullptr;
    if (!setting.is_null()) settings.push_back(setting);
  }
  print_table(
      context, {{"settings", settings}},
      {{"SETTING", "setting"}, {"N", "number"}, {"TO", "to"}, {"SEVERITY", "severity"}, {"FACILITY", "facility"}},
      settings);
}

}  // namespace

Commands syslog_commands() {
  const Argument least = {.name = "SEVERITY",
                          .about = "least severe that passes: a name such as errors, or 0 to 7",
                          .choices = kSeverities};
  const Argument console = {.name = "SEVERITY", .about = "emergencies, alerts or critical", .choices = kConsole};
  const Argument number = {.name = "N", .about = "number of the destination", .most = INT32_MAX};
  const Argument facility = {.name = "FACILITY", .about = "local0 to local7", .choices = kFacilities};
  const std::vector<Command> commands = {
      {"show", "Show where messages go", {}, show},
      setting("remote", "Also send messages to another host",
              {number, {"HOST", "its name or address"}, least, facility}, SCI_EnableExternalSyslogging),
      setting("no-remote", "Remove all other hosts", {}, SCI_DisableExternalSyslogging),
      setting("console", "Show messages on the console", {console}, SCI_EnableConsoleSyslogging),
      setting("no-console", "Show none on the console", {}, SCI_DisableConsoleSyslogging),
      setting("platform", "Set the level of the platform's own messages", {least}, SCI_SetPlatformSyslogging),
      setting("file", "Write messages to the platform's log file",
              {least, {"ARGUMENT", "for the script: the file's name"}}, SCI_EnableFileSyslogging),
      setting("no-file", "Write none to the platform's log file", {}, SCI_DisableFileSyslogging),
      setting("message", "Write one message, tagged VTRC", {least, {"TEXT", "the message"}}, send),
  };
  return {{.name = "syslog", .about = "Where syslog messages go", .commands = commands}};
}

}  // namespace coupler::tools
