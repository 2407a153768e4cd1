// The filtered rewrite of the agent's configuration: every line that is not selected is kept byte for byte, whichever
// operation selects, whatever the text that is looked for, and wherever the line lies in what is read at once.
#include "brantix/snmp.h"
#include "fuzz/fuzz.h"

namespace coupler::fuzz {
namespace {

constexpr const char* kConfig = "/etc/snmp/snmpd.conf";

bool names_a_destination(const std::string& line) {
  for (const char* word : {"trapsess", "trap2sink", "trapsink", "informsink"}) {
    if (line.find(word) != line.npos) return true;
  }
  return false;
}

constexpr struct Removal {
  int32_t (*run)(const char* key);
  bool (*selects)(const std::string& line);  // of the lines that hold the key
} kRemovals[] = {{SCI_DeleteSnmpCommunity, [](const std::string&) { return true; }},
                 {GetAndDeleteSnmpSysConOrLoc, [](const std::string& line) { return line[0] != '#'; }},
                 {SCI_DeleteSnmpHostV3, names_a_destination}};

/// What remains when a line buffer of 512 bytes is read through, piece by piece.
std::string remaining(const Removal& removal, const std::string& config, const std::string& key) {
  std::string kept;
  for (size_t at = 0; at < config.size();) {
    const size_t line = config.find('\n', at) == config.npos ? config.size() : config.find('\n', at) + 1;
    const std::string piece = config.substr(at, std::min<size_t>(511, line - at));
    at += piece.size();
    if (piece.find(key) == piece.npos || !removal.selects(piece)) kept += piece;
  }
  return kept;
}

}  // namespace

/// Which operation, how much stands in front of the text, what is looked for up to the first NUL, the text.
void try_input(const std::string& bytes) {
  const size_t end = bytes.find('\0', 3);
  if (end == bytes.npos) return;
  const auto number = [&](size_t at) { return size_t{static_cast<uint8_t>(bytes[at])}; };
  const std::string key = bytes.substr(3, end - 3);
  const std::string config = std::string(number(1) * 256 + number(2), '.') + bytes.substr(end + 1);
  const Removal& removal = kRemovals[number(0) % 3];
  write_file(kConfig, config);
  require(removal.run(key.c_str()) == 0);
  require(read_file(kConfig) == remaining(removal, config, key) && names_in("/etc/snmp") == "snmpd.conf");
}

}  // namespace coupler::fuzz
