// The agent's configuration file: additions, the removal of lines, and the lock that keeps changes apart.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "frame/message.h"
#include "support/handle.h"

namespace coupler::snmp {

inline constexpr const char* kConfig = "/etc/snmp/snmpd.conf";

/// Whether the caller gave a text (or a record); the missing one is logged.
inline bool is_given(const char* operation, const char* what, const void* text) {
  if (text == nullptr) LOG_LINE(critical, operation, "%s: %s passed as NULL\n", operation, what);
  return text != nullptr;
}

/// Keeps every other thread and process from changing the file, once it was free or after a few seconds of waiting in
/// vain. The platform's scripts take it too: whoever holds it must not wait for them, nor for the agent.
class ConfigLock {
 public:
  ConfigLock();
  ~ConfigLock();
  ConfigLock(const ConfigLock&) = delete;
  ConfigLock& operator=(const ConfigLock&) = delete;

  /// Whether nobody else changes the file. Where not, a line at critical tells why.
  bool is_held(const char* operation) const;

  /// Has the disk keep what was renamed.
  void sync() const;

 private:
  Descriptor directory_;
  int reason_ = 0;
};

/// Whether the file can be opened for appending; it is created when missing.
bool can_be_appended_to();

/// Appends the pieces in one write. When they do not all fit, the file is as long as before and a line at critical
/// tells why. @return whether they are in the file
bool append_to_config(const ConfigLock& lock, const char* operation, const LogMessage<>& not_opened,
                      std::initializer_list<std::string_view> pieces);

/// An operation that takes lines out of the file: which ones, and what it says at each step. A message that takes a
/// text is given the key.
struct LineRemoval {
  using Message = LogMessage<const char*>;

  const char* operation;
  int32_t failure;
  /// Whether a line that contains the key goes. A line of more than 511 characters is judged in pieces.
  bool (*selects)(std::string_view line);
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

/// The filtered rewrite: copies the file without the selected lines to a new one of the same mode, owner and group,
/// which takes its place when a line was dropped. There is no moment without a whole file.
RemovalResult remove_lines(const ConfigLock& lock, const LineRemoval& removal, const char* key);

}  // namespace coupler::snmp
