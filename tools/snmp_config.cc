// What the agent's files say.
#include "tools/snmp_config.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "support/handle.h"
#include "support/lines.h"
#include "tools/command.h"

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

Destination session(const Lines& words, const std::string& line) {
  const bool inform = std::ranges::find(words, "-Ci") != words.end();
  return {words.back(),          value_of(words, "-v"), inform ? "inform" : "trap",
          value_of(words, "-u"), value_of(words, "-l"), line};
}

/// The agent keeps names that are not plain in hexadecimal.
std::string hexadecimal(const std::string& text) {
  std::string result = "0x";
  for (const char c : text) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(c));
    result += digits;
  }
  return result;
}

bool is_user(const Lines& words, const std::string& name) {
  const size_t at = !words.empty() && words[0] == "usmUser" ? 4 : 1;
  if (words.size() <= at || (words[at] != name && words[at] != hexadecimal(name))) return false;
  return at == 4 || words[0] == "rouser" || words[0] == "createUser";
}

}  // namespace

Lines lines_of(const char* path) {
  const Descriptor file = open_at_once(path, O_RDONLY);
  if (!file) throw Failure(std::string(path) + " cannot be read: " + std::strerror(errno), path);
  LinesOf<4096> reader(file.get());
  Lines lines;
  while (const auto line = reader.next_line()) lines.emplace_back(up_to(*line, "\n"));
  return lines;
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

std::vector<Destination> configured_destinations() {
  std::vector<Destination> found;
  for (const std::string& line : lines_of(kAgentConfig)) {
    const Lines words = words_of(line);
    if (words.size() < 2) continue;
    const std::string& kind = words[0];
    const std::string community = words.size() > 2 ? words[2] : "";
    if (kind == "trapsink") found.push_back({words[1], "1", "trap", community, "", line});
    if (kind == "trap2sink") found.push_back({words[1], "2", "trap", community, "", line});
    if (kind == "informsink") found.push_back({words[1], "2", "inform", community, "", line});
    if (kind == "trapsess") found.push_back(session(words, line));
  }
  return found;
}

Lines configured_users() {
  Lines found;
  for (const std::string& line : lines_of(kAgentConfig)) {
    const Lines words = words_of(line);
    if (words.size() > 1 && words[0] == "rouser") found.push_back(words[1]);
  }
  return found;
}

Lines lines_of_community(const std::string& community) {
  Lines found;
  for (const std::string& line : lines_of(kAgentConfig)) {
    const Lines words = words_of(line);
    const bool reads = words.size() > 1 && (words[0] == "rocommunity" || words[0] == "rocommunity6");
    if (reads && words[1] == community) found.push_back(line);
  }
  return found;
}

Lines lines_of_user(const std::string& name) {
  Lines found;
  for (const char* path : {kAgentConfig, kAgentState}) {
    if (!exists(path)) continue;
    for (const std::string& line : lines_of(path)) {
      if (is_user(words_of(line), name)) found.push_back(line);
    }
  }
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
  constexpr std::string_view kCommand("/usr/sbin/snmpd\0-f\0-c\0/etc/snmp/snmpd.conf", 42);
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", gone)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != name.npos) continue;
    const Descriptor file = open_at_once((entry.path() / "cmdline").c_str(), O_RDONLY);
    char start[kCommand.size()];
    const ssize_t got = file ? read_some(file.get(), start, sizeof start) : 0;
    if (got > 0 && std::string_view(start, static_cast<size_t>(got)) == kCommand) return std::stoi(name);
  }
  return 0;
}

}  // namespace coupler::tools
