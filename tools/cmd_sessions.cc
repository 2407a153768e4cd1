// The open CLI sessions, and the roles of users.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "brantix/access.h"
#include "brantix/sessions.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

/// Seconds since something was typed at the terminal; null without one.
Json idle_seconds(const char* tty) {
  struct stat terminal;
  if (*tty == '\0' || stat(tty, &terminal) != 0) return nullptr;
  return std::max<time_t>(std::time(nullptr) - terminal.st_atime, 0);
}

Json open_sessions(const std::string& user) {
  _SCI_cli_session_iterator_s* const iterator = SCI_cli_get_sessions();
  if (iterator == nullptr) throw Failure("cannot read the process table");
  Json sessions = Json::array();
  for (_SCI_cli_session_s next; SCI_cli_get_next_session(iterator, &next) == 1;) {
    if (!user.empty() && user != next.user) continue;
    sessions.push_back({{"user", next.user},
                        {"host", next.host},
                        {"tty", next.tty},
                        {"login_time", next.loginTime},
                        {"idle_seconds", idle_seconds(next.tty)},
                        {"pid", next.pid}});
  }
  SCI_cli_free_session_iterator(iterator);
  return sessions;
}

std::string duration_text(time_t seconds) {
  constexpr std::pair<time_t, const char*> kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "m"}};
  for (const auto& [length, unit] : kUnits) {
    if (seconds >= length) return std::to_string(seconds / length) + unit;
  }
  return std::to_string(seconds) + "s";
}

std::string local_time_text(time_t seconds) {
  char text[32] = "";
  tm local;
  if (localtime_r(&seconds, &local) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

Columns columns() {
  const auto login = [](const Json& session) { return local_time_text(session["login_time"]); };
  const auto idle = [](const Json& session) {
    return session["idle_seconds"].is_null() ? "-" : duration_text(session["idle_seconds"]);
  };
  return {{.title = "USER", .key = "user", .empty = "-"}, {.title = "FROM", .key = "host", .empty = "-"},
          {.title = "TTY", .key = "tty", .empty = "-"},   {.title = "LOGIN", .text = login},
          {.title = "IDLE", .right = true, .text = idle}, {"PID", "pid", true}};
}

/// Shows them once, or again and again.
void show(const Context& context, const Arguments& arguments) {
  const bool again = arguments.contains("--watch");
  const auto seconds = static_cast<unsigned>(arguments.number("--watch"));
  if (again && seconds == 0) throw WrongUsage("--watch: at least one second", "--watch");
  const bool on_screen = again && !context.json && ::isatty(fileno(result_stream())) != 0;
  do {
    const Json sessions = open_sessions(arguments.text("--user"));
    const time_t now = std::time(nullptr);
    if (on_screen) std::fputs("\033[H\033[2J", result_stream());
    if (again && !on_screen && !context.json) print_line("-- " + local_time_text(now));
    print_table(context, again ? Json{{"time", now}, {"sessions", sessions}} : sessions, columns(), sessions);
    std::fputs(Captured::take().c_str(), stderr);
  } while (again && print_end() && ::sleep(seconds) == 0);
}

void show_role(const Context& context, const Arguments& arguments) {
  const std::string& user = arguments.at("USER");
  char role[32];
  if (SCI_getUserRoles(user.c_str(), role, sizeof role) != 0) throw Failure(user + " has no role here", user);
  print_report(context, {{"user", user}, {"role", role}});
}

}  // namespace

Commands session_commands() {
  constexpr const char* kAbout = "Show a user's role, as the operating system's groups tell it";
  return {{.name = "sessions",
           .about = "Show the open CLI sessions",
           .arguments = {{.name = "--watch",
                          .about = "Show them again after so many seconds, until interrupted",
                          .most = 86400},
                         {"--user", "Only those of this user"}},
           .run = show},
          {"role", kAbout, {{"USER", "user's name"}}, show_role}};
}

}  // namespace coupler::tools
