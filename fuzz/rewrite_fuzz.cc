// The filtered rewrite of the agent's configuration: every line that is not selected is kept byte for byte, whichever
// operation selects, whatever the text that is looked for, and wherever the line lies in what is read at once.
#include <filesystem>
#include <initializer_list>
#include <string>

#include "brantix/snmp.h"
#include "fuzz/fuzz.h"
#include "tests/common/files.h"

namespace {

constexpr const char* kConfig = "/etc/snmp/snmpd.conf";

using Text = std::string;

bool has_one_of(const Text& line, std::initializer_list<const char*> words) {
  for (const char* word : words) {
    if (line.find(word) != Text::npos) return true;
  }
  return false;
}

struct Removal {
  int32_t (*run)(const char* key);
  bool (*selects)(const Text& line);  // of the lines that hold the key
};

constexpr Removal kRemovals[] = {{SCI_DeleteSnmpCommunity, [](const Text&) { return true; }},
                                 {GetAndDeleteSnmpSysConOrLoc, [](const Text& line) { return line[0] != '#'; }},
                                 {SCI_DeleteSnmpHostV3, [](const Text& line) {
                                    return has_one_of(line, {"trapsess", "trap2sink", "trapsink", "informsink"});
                                  }}};

/// What remains when a line buffer of 512 bytes is read through, piece by piece.
Text remaining(const Removal& removal, const Text& config, const Text& key) {
  Text kept;
  for (size_t at = 0; at < config.size();) {
    Text piece = config.substr(at, 511);
    piece = piece.substr(0, piece.find('\n') == Text::npos ? Text::npos : piece.find('\n') + 1);
    at += piece.size();
    if (piece.find(key) == Text::npos || !removal.selects(piece)) kept += piece;
  }
  return kept;
}

}  // namespace

/// Which operation, how much stands in front of the text, what is looked for up to the first NUL, the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Text input(reinterpret_cast<const char*>(data), size);
  const size_t end = input.find('\0', 3);
  if (end == Text::npos) return 0;
  const Text key = input.substr(3, end - 3);
  const Text config = Text(data[1] * size_t{256} + data[2], '.') + input.substr(end + 1);
  coupler::test::write_file(kConfig, config);
  const Removal& removal = kRemovals[data[0] % 3];
  coupler::fuzz::require(removal.run(key.c_str()) == 0);
  coupler::fuzz::require(coupler::test::read_file(kConfig) == remaining(removal, config, key));
  coupler::fuzz::require(coupler::test::names_in("/etc/snmp") == "snmpd.conf");
  return 0;
}
