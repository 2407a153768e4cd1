#include "tools/snmp_config.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "tools/command.h"

namespace coupler::tool {

namespace {

using Words = std::vector<std::string>;

Words words_of(const std::string& line) {
  std::istringstream stream(line);
  Words words;
  for (std::string word; stream >> std::quoted(word);) words.push_back(word);
  return words;
}

std::vector<Words> configuration() {
  constexpr const char* kConfig = "/etc/snmp/snmpd.conf";
  std::ifstream file(kConfig);
  if (!file) throw Failure(std::string(kConfig) + " cannot be read: " + std::strerror(errno));
  std::vector<Words> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(words_of(line));
  return lines;
}

std::string value_of(const Words& words, const char* option) {
  const auto found = std::find(words.begin(), words.end(), option);
  return found == words.end() || found + 1 == words.end() ? "" : *(found + 1);
}

Destination session(const Words& words) {
  const bool inform = std::find(words.begin(), words.end(), "-Ci") != words.end();
  return {words.back(), value_of(words, "-v"), inform ? "inform" : "trap", value_of(words, "-u"),
          value_of(words, "-l")};
}

}  // namespace

std::vector<Destination> configured_destinations() {
  std::vector<Destination> found;
  for (const Words& words : configuration()) {
    if (words.size() < 2) continue;
    const std::string& kind = words[0];
    const std::string community = words.size() > 2 ? words[2] : "";
    if (kind == "trapsink") found.push_back({words[1], "1", "trap", community, ""});
    if (kind == "trap2sink") found.push_back({words[1], "2", "trap", community, ""});
    if (kind == "informsink") found.push_back({words[1], "2", "inform", community, ""});
    if (kind == "trapsess") found.push_back(session(words));
  }
  return found;
}

std::vector<std::string> configured_users() {
  std::vector<std::string> found;
  for (const Words& words : configuration()) {
    if (words.size() > 1 && words[0] == "rouser") found.push_back(words[1]);
  }
  return found;
}

}  // namespace coupler::tool
