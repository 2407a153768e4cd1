#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>

#include "brantix/sessions.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

constexpr unsigned kSecondsBetweenLooks = 2;

std::vector<_SCI_cli_session_s> open_sessions() {
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  if (iterator == nullptr) throw Failure("cannot read the process table");
  std::vector<_SCI_cli_session_s> sessions;
  for (_SCI_cli_session_s next; SCI_cli_get_next_session(iterator, &next) == 1;) sessions.push_back(next);
  SCI_cli_free_session_iterator(iterator);
  return sessions;
}

/// Seconds since something was typed at the terminal.
std::optional<time_t> idle_time(const _SCI_cli_session_s& session) {
  struct stat terminal;
  if (session.tty[0] == '\0' || stat(session.tty, &terminal) != 0) return std::nullopt;
  return std::max<time_t>(std::time(nullptr) - terminal.st_atime, 0);
}

std::string duration_text(std::optional<time_t> seconds) {
  if (!seconds) return "-";
  constexpr struct {
    time_t seconds;
    const char* unit;
  } kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "m"}};
  for (const auto& [length, unit] : kUnits) {
    if (*seconds >= length) return std::to_string(*seconds / length) + unit;
  }
  return std::to_string(*seconds) + "s";
}

std::string local_time_text(time_t seconds) {
  char text[32] = "";
  tm local;
  if (localtime_r(&seconds, &local) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return text;
}

std::string or_dash(const char* text) { return *text == '\0' ? "-" : text; }

void print_for_programs() {
  auto list = nlohmann::ordered_json::array();
  for (const _SCI_cli_session_s& session : open_sessions()) {
    const auto idle = idle_time(session);
    list.push_back({{"user", session.user},
                    {"host", session.host},
                    {"tty", session.tty},
                    {"login_time", session.loginTime},
                    {"idle_seconds", idle ? nlohmann::ordered_json(*idle) : nullptr},
                    {"pid", session.pid}});
  }
  print_json(list);
}

void print_table() {
  Table table({{"USER"}, {"FROM"}, {"TTY"}, {"LOGIN"}, {"IDLE", Table::Align::kRight}, {"PID", Table::Align::kRight}});
  for (const _SCI_cli_session_s& session : open_sessions()) {
    table.row({or_dash(session.user), or_dash(session.host), or_dash(session.tty), local_time_text(session.loginTime),
               duration_text(idle_time(session)), std::to_string(session.pid)});
  }
  table.print();
}

void show(const Context& context, const Arguments& arguments) {
  const auto print = context.json ? print_for_programs : print_table;
  if (!arguments.contains("--watch")) return print();
  const bool on_screen = !context.json && isatty(STDOUT_FILENO) != 0;
  do {
    if (on_screen) std::fputs("\033[H\033[2J", stdout);
    print();
  } while (std::fflush(stdout) == 0 && sleep(kSecondsBetweenLooks) == 0);
}

}  // namespace

Command sessions_command() {
  return {
      .name = "sessions",
      .about = "Show the open CLI sessions",
      .arguments = {{.name = "--watch", .about = "Show them again every two seconds, until interrupted", .flag = true}},
      .run = show};
}

}  // namespace coupler::tool
