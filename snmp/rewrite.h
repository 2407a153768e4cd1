#pragma once

#include <cstdint>
#include <string_view>

#include "frame/message.h"

namespace coupler::snmp {

/// An operation that takes lines out of the agent's configuration file: which ones, and what it says at each step. A
/// line that takes a text is given the key.
struct LineRemoval {
  using Message = LogMessage<const char*>;

  const char* operation;
  int32_t failure;
  /// Whether the line (or the piece of at most 511 characters of a longer one) goes. A NUL stands behind it.
  bool (*selects)(std::string_view line, std::string_view key);
  Message not_opened;
  Message new_not_opened;
  Message removed = {};
  Message not_removed;
  Message renamed = {};
  Message not_renamed;
  Message nothing_selected = {};
  Message new_removed = {};
  Message new_not_removed;
};

struct RemovalResult {
  int32_t status;    ///< 0 or the operation's failure
  unsigned dropped;  ///< lines that were taken out
};

/// The filtered rewrite: copies the configuration file without the selected lines to a new one, which takes its place
/// when a line was dropped. Until the new file is complete the old one is not touched.
RemovalResult remove_lines(const LineRemoval& removal, const char* key);

}  // namespace coupler::snmp
