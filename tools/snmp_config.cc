// What the agent's files say, and passwords for it.
#include "tools/snmp_config.h"

#include <bsd/readpassphrase.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>

#include "support/handle.h"

namespace coupler::tools {
namespace {

constexpr const char* kAgentState = "/var/lib/net-snmp/snmpd.conf";

/// What the lines with a keyword configure.
struct Directive {
  std::string_view keyword;
  std::string_view what;
  size_t name;  ///< which word is the name of what is configured; 0: the last one
  const char* version = "";
  const char* notify = "";
};

constexpr Directive kDirectives[] = {{"trapsink", "destination", 1, "1", "trap"},
                                     {"trap2sink", "destination", 1, "2", "trap"},
                                     {"informsink", "destination", 1, "2", "inform"},
                                     {"trapsess", "destination", 0, "", "trap"},
                                     {"rocommunity", "community", 1},
                                     {"rocommunity6", "community", 1},
                                     {"rouser", "user", 1},
                                     {"createUser", "user", 1},
                                     {"usmUser", "user", 4}};
constexpr Directive kOther{};

struct Entry {
  std::string line;
  Lines words = {};
  const Directive* directive = &kOther;
  std::string name = {};
};

Entry entry_of(const std::string& line) {
  Entry entry{line};
  std::istringstream stream(line);
  for (std::string word; stream >> std::quoted(word);) entry.words.push_back(word);
  for (const Directive& known : kDirectives) {
    if (entry.words.size() <= std::max<size_t>(known.name, 1) || entry.words[0] != known.keyword) continue;
    entry.directive = &known;
    entry.name = known.name == 0 ? entry.words.back() : entry.words[known.name];
  }
  return entry;
}

/// What the query makes of the entries, where that is not null. Those of users are also in a file of the agent's own.
template <typename Query>
Json collected(Query query, bool of_users = false) {
  Lines lines = lines_of(kAgentConfig);
  if (of_users && exists(kAgentState)) std::ranges::move(lines_of(kAgentState), std::back_inserter(lines));
  Json found = Json::array();
  for (const std::string& line : lines) {
    if (const Json answer = query(entry_of(line)); !answer.is_null()) found.push_back(answer);
  }
  return found;
}

/// The word behind `option`; empty without one.
std::string value_of(const Lines& words, std::string_view option) {
  const auto found = std::ranges::find(words, option);
  return found == words.end() || found + 1 == words.end() ? "" : *(found + 1);
}

/// Null when it is no destination.
Json destination(const Entry& entry) {
  const auto& [line, words, directive, name] = entry;
  if (directive->what != "destination") return nullptr;
  const bool session = directive->keyword == "trapsess";
  const bool inform = session && std::ranges::find(words, "-Ci") != words.end();
  return {{"destination", name},
          {"version", session ? value_of(words, "-v") : directive->version},
          {"notify", inform ? "inform" : directive->notify},
          {"name", session ? value_of(words, "-u") : value_of(words, name)},
          {"level", session ? value_of(words, "-l") : ""}};
}

/// The agent keeps names that are not plain in hexadecimal.
std::string as_the_agent_keeps(const std::string& text) {
  std::string result = "0x";
  for (const char c : text) result += hexadecimal(static_cast<unsigned char>(c));
  return result;
}

bool is(const Entry& entry, std::string_view what, const std::string& name) {
  if (entry.directive->what != what) return false;
  const bool with_port = entry.name.starts_with(name + ':') &&
                         entry.name.find_first_not_of("0123456789", name.size() + 1) == entry.name.npos;
  return entry.name == name || (what == "destination" && with_port) ||
         (what == "user" && entry.name == as_the_agent_keeps(name));
}

/// The line without its passwords.
Json shown(const Entry& entry) {
  const Lines& words = entry.words;
  Lines shown = words;
  for (size_t i = 1; i < words.size(); ++i) {
    const bool of_user = words[0] == "usmUser" || (words[0] == "createUser" && i > 1);
    if (of_user || words[i - 1] == "-A" || words[i - 1] == "-X") shown[i] = "***";
  }
  return joined(shown, " ");
}

}  // namespace

bool is_enabled() {
  return std::ranges::any_of(lines_of(kAgentService),
                             [](const std::string& line) { return line.find("enabled = True") != line.npos; });
}

Json configured_destinations() { return collected(destination); }

Json configured_users() {
  return collected([](const Entry& entry) { return entry.directive->keyword == "rouser" ? Json(entry.name) : Json(); });
}

Json lines_configuring(std::string_view what, const std::string& name) {
  const auto query = [&](const Entry& entry) { return is(entry, what, name) ? shown(entry) : nullptr; };
  return collected(query, what == "user");
}

Json lines_deleted_with(std::string_view what, const std::string& name) {
  if (what == "user") return lines_configuring(what, name);
  return collected([&](const Entry& entry) {
    const auto holds = [&](std::string_view text) { return entry.line.find(text) != entry.line.npos; };
    const bool goes = what == "community" || std::ranges::any_of(kDirectives, [&](const Directive& directive) {
                        return directive.what == what && holds(directive.keyword);
                      });
    return goes && holds(name) ? shown(entry) : nullptr;
  });
}

std::string configured_text(const std::string& keyword) {
  const Json texts = collected([&](const Entry& entry) {
    return entry.line.starts_with(keyword + ' ') ? Json(entry.line.substr(keyword.size() + 1)) : nullptr;
  });
  return texts.empty() || texts.back() == "''" ? "" : texts.back();
}

int running_agent() {
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", gone)) {
    std::ifstream file(entry.path() / "cmdline");
    std::string line(std::istreambuf_iterator<char>(file), {});
    std::ranges::replace(line, '\0', ' ');
    if (line.starts_with(kAgentCommand)) return std::stoi(entry.path().filename());
  }
  return 0;
}

std::string read_password(const std::string& what, const std::string& file) {
  if (!file.empty()) {
    const Lines lines = lines_of(file);
    return lines.empty() ? throw Failure(file + " holds no password", file) : lines.front();
  }
  char typed[1024];
  const bool asked = ::isatty(STDIN_FILENO) != 0 &&
                     ::readpassphrase((what + ": ").c_str(), typed, sizeof typed, RPP_REQUIRE_TTY) != nullptr;
  if (!asked) throw Failure("there is no terminal to ask for the " + what + " at; name a file that holds it");
  return typed;
}

}  // namespace coupler::tools
