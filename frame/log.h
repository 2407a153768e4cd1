// The logging rule: a line reaches the host when its log function, its threshold and the level let it.
#pragma once

#include <atomic>

#include "brantix/frame.h"

namespace coupler {

/// Decides whether a line at a level reaches the host's log function.
class LogGate {
 public:
  explicit LogGate(int32_t at) : write(gLogPelkFn), threshold(gLogPelkModuleOffset), level(at) {}

  // The host may change its threshold from another thread at any time.
  bool passes() const {
    return write != nullptr && threshold != nullptr &&
           std::atomic_ref<int32_t>(*threshold).load(std::memory_order_relaxed) <= level;
  }

  SCI_log_fn* const write BRANTIX_PRINTF(4, 5);  // said again for Clang, which does not take it from the type
  int32_t* const threshold;
  const int32_t level;
};

}  // namespace coupler

/// The one way to write a log line: LOG_LINE(info, "operation", "format", arguments...). The arguments are evaluated
/// only when the line passes the gate, and checked against the format in any case.
#define LOG_LINE(at_level, operation, ...)                                           \
  do {                                                                               \
    if (const ::coupler::LogGate log_gate_(at_level); log_gate_.passes()) {          \
      log_gate_.write(operation, log_gate_.threshold, log_gate_.level, __VA_ARGS__); \
    }                                                                                \
  } while (false)

/// A line at info that is only written while the host has switched verbose tracing on.
#define VERBOSE_LINE(operation, ...)                                   \
  do {                                                                 \
    if (cs_debug_verbose != 0) LOG_LINE(info, operation, __VA_ARGS__); \
  } while (false)
