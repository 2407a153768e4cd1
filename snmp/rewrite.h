#pragma once

#include <cstdint>
#include <string_view>

#include "frame/line.h"

namespace coupler::snmp {

/// An operation that takes lines out of the agent's configuration file: which ones, and what it says at each step. A
/// line that takes a text is given the key.
struct LineRemoval {
  const char* operation;
  int32_t failure;
  /// Whether the line (or the piece of at most 511 characters of a longer one) goes. A NUL stands behind it.
  bool (*selects)(std::string_view line, std::string_view key);
  LogLine not_opened;
  LogLine new_not_opened;
  LogLine removed = {};
  LogLine not_removed;
  LogLine renamed = {};
  LogLine not_renamed;
  LogLine nothing_selected = {};
  LogLine new_removed = {};
  LogLine new_not_removed;
};

struct RemovalResult {
  int32_t status;    ///< 0 or the operation's failure
  unsigned dropped;  ///< lines that were taken out
};

/// The filtered rewrite: copies the configuration file without the selected lines to a new one, which takes its place
/// when a line was dropped. Until the new file is complete the old one is not touched.
RemovalResult remove_lines(const LineRemoval& removal, const char* key);

}  // namespace coupler::snmp
