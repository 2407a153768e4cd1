// The open CLI sessions, and the roles of users.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <optional>

#include "brantix/access.h"
#include "brantix/sessions.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

std::vector<_SCI_cli_session_s> open_sessions(const std::string& user) {
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  if (iterator == nullptr) throw Failure("cannot read the process table");
  std::vector<_SCI_cli_session_s> sessions;
  for (_SCI_cli_session_s next; SCI_cli_get_next_session(iterator, &next) == 1;) {
    if (user.empty() || user == next.user) sessions.push_back(next);
  }
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
  if (localtime_r(&seconds, &local) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

std::string or_dash(const char* text) { return *text == '\0' ? "-" : text; }

Json document(const std::vector<_SCI_cli_session_s>& sessions) {
  auto list = Json::array();
  for (const _SCI_cli_session_s& session : sessions) {
    const auto idle = idle_time(session);
    list.push_back({{"user", session.user},
                    {"host", session.host},
                    {"tty", session.tty},
                    {"login_time", session.loginTime},
                    {"idle_seconds", idle ? Json(*idle) : nullptr},
                    {"pid", session.pid}});
  }
  return list;
}

Table table(const std::vector<_SCI_cli_session_s>& sessions) {
  Table table({{"USER"}, {"FROM"}, {"TTY"}, {"LOGIN"}, {"IDLE", Table::Align::kRight}, {"PID", Table::Align::kRight}});
  for (const _SCI_cli_session_s& session : sessions) {
    table.row({or_dash(session.user), or_dash(session.host), or_dash(session.tty), local_time_text(session.loginTime),
               duration_text(idle_time(session)), std::to_string(session.pid)});
  }
  return table;
}

void show(const Context& context, const Arguments& arguments) {
  const auto sessions = open_sessions(arguments.text("--user"));
  print_table(context, document(sessions), table(sessions));
}

void watch(const Context& context, const Arguments& arguments) {
  const bool on_screen = !context.json && ::isatty(fileno(result_stream())) != 0;
  do {
    const auto sessions = open_sessions(arguments.text("--user"));
    const time_t now = std::time(nullptr);
    if (on_screen) std::fputs("\033[H\033[2J", result_stream());
    if (!on_screen && !context.json) print_line("-- " + local_time_text(now));
    print_table(context, {{"time", now}, {"sessions", document(sessions)}}, table(sessions));
    std::fputs(Captured::take().c_str(), stderr);
  } while (print_end() && ::sleep(static_cast<unsigned>(arguments.number("--watch"))) == 0);
}

void run(const Context& context, const Arguments& arguments) {
  if (!arguments.contains("--watch")) return show(context, arguments);
  if (arguments.number("--watch") == 0) throw WrongUsage("--watch: at least one second", "--watch");
  watch(context, arguments);
}

void show_role(const Context& context, const Arguments& arguments) {
  const std::string& user = arguments.at("USER");
  char role[32];
  if (SCI_getUserRoles(user.c_str(), role, sizeof role) != 0) throw Failure(user + " has no role here", user);
  print_report(context, {{"user", user}, {"role", role}});
}

}  // namespace

Command sessions_command() {
  return {.name = "sessions",
          .about = "Show the open CLI sessions",
          .arguments = {{.name = "--watch",
                         .about = "Show them again after so many seconds, until interrupted",
                         .most = 86400},
                        {"--user", "Only those of this user"}},
          .run = run};
}

Command role_command() {
  return {"role", "Show a user's role, as the operating system's groups tell it", {{"USER", "user's name"}}, show_role};
}

}  // namespace coupler::tools
