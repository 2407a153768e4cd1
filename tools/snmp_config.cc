// What the agent's files say, and passwords for it.
#include "tools/snmp_config.h"

#include <bsd/readpassphrase.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "support/handle.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

constexpr const char* kAgentState = "/var/lib/net-snmp/snmpd.conf";

Lines words_of(const std::string& line) {
  std::istringstream stream(line);
  Lines words;
  for (std::string word; stream >> std::quoted(word);) words.push_back(word);
  return words;
}

std::string value_of(const Lines& words, const char* option) {
  const auto found = std::ranges::find(words, option);
  return found == words.end() || found + 1 == words.end() ? "" : *(found + 1);
}

Json destination(const std::string& address, const std::string& version, const char* notify, const std::string& name,
                 const std::string& level) {
  return {{"destination", address}, {"version", version}, {"notify", notify}, {"name", name}, {"level", level}};
}

/// What a line's words configure; null when it is no destination.
Json destination(const Lines& words) {
  constexpr struct {
    const char *keyword, *version, *notify;
  } kSinks[] = {{"trapsink", "1", "trap"}, {"trap2sink", "2", "trap"}, {"informsink", "2", "inform"}};
  if (words.size() < 2) return nullptr;
  for (const auto& [keyword, version, notify] : kSinks) {
    if (words[0] == keyword) return destination(words[1], version, notify, words.size() > 2 ? words[2] : "", "");
  }
  if (words[0] != "trapsess") return nullptr;
  const bool inform = std::ranges::find(words, "-Ci") != words.end();
  return destination(words.back(), value_of(words, "-v"), inform ? "inform" : "trap", value_of(words, "-u"),
                     value_of(words, "-l"));
}

/// The agent keeps names that are not plain in hexadecimal.
std::string as_the_agent_keeps(const std::string& text) {
  std::string result = "0x";
  for (const char c : text) result += hexadecimal(static_cast<unsigned char>(c));
  return result;
}

bool is_user(const Lines& words, const std::string& name) {
  const size_t at = !words.empty() && words[0] == "usmUser" ? 4 : 1;
  if (words.size() <= at || (words[at] != name && words[at] != as_the_agent_keeps(name))) return false;
  return at == 4 || words[0] == "rouser" || words[0] == "createUser";
}

}  // namespace

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

Lines agent_lines(const std::function<bool(const std::string&, const Lines&)>& test, const char* path) {
  Lines found = lines_of(path);
  std::erase_if(found, [&](const std::string& line) { return !test(line, words_of(line)); });
  return found;
}

bool is_enabled() {
  const auto enables = [](const std::string& line, const Lines&) { return line.find("enabled = True") != line.npos; };
  return !agent_lines(enables, kAgentService).empty();
}

std::string without_passwords(const std::string& line) {
  std::istringstream stream(line);
  std::string shown, before;
  const bool names_user = line.starts_with("createUser") || line.starts_with("usmUser");
  for (std::string word; stream >> std::quoted(word); before = word) {
    if (names_user && before != "createUser" && !shown.empty()) word = "***";
    if (before == "-A" || before == "-X") word = "***";
    shown += (shown.empty() ? "" : " ") + word;
  }
  return shown;
}

Json configured_destinations() {
  Json found = Json::array();
  for (const std::string& line : lines_of(kAgentConfig)) {
    if (const Json row = destination(words_of(line)); !row.is_null()) found.push_back(row);
  }
  return found;
}

Json configured_users() {
  Json found = Json::array();
  for (const std::string& line : lines_of(kAgentConfig)) {
    const Lines words = words_of(line);
    if (words.size() > 1 && words[0] == "rouser") found.push_back(words[1]);
  }
  return found;
}

Lines lines_of_host(const std::string& address) {
  return agent_lines([&](const std::string&, const Lines& words) {
    const Json host = destination(words);
    if (host.is_null()) return false;
    const std::string configured = host["destination"];
    return configured == address || (configured.starts_with(address + ':') &&
                                     configured.find_first_not_of("0123456789", address.size() + 1) == address.npos);
  });
}

Lines lines_of_community(const std::string& community) {
  return agent_lines([&](const std::string&, const Lines& words) {
    return words.size() > 1 && (words[0] == "rocommunity" || words[0] == "rocommunity6") && words[1] == community;
  });
}

Lines lines_of_user(const std::string& name) {
  const auto test = [&](const std::string&, const Lines& words) { return is_user(words, name); };
  Lines found = agent_lines(test);
  if (exists(kAgentState)) std::ranges::move(agent_lines(test, kAgentState), std::back_inserter(found));
  return found;
}

std::string configured_text(const std::string& keyword) {
  std::string text;
  for (const std::string& line : lines_of(kAgentConfig)) {
    if (line.starts_with(keyword + ' ')) text = line.substr(keyword.size() + 1);
  }
  return text == "''" ? "" : text;
}

int running_agent() {
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", gone)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != name.npos) continue;
    const Descriptor file = open_at_once((entry.path() / "cmdline").c_str(), O_RDONLY);
    char words[512];
    const ssize_t got = file ? read_some(file.get(), words, sizeof words) : 0;
    std::string line(words, static_cast<size_t>(std::max<ssize_t>(got, 0)));
    std::ranges::replace(line, '\0', ' ');
    if (line.starts_with(kAgentCommand)) return std::stoi(name);
  }
  return 0;
}

}  // namespace coupler::tools
