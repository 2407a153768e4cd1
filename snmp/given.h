#pragma once

#include "frame/log.h"

namespace coupler::snmp {

/// Whether the caller gave a text (or a record); the missing one is logged.
inline bool is_given(const char* operation, const char* what, const void* text) {
  if (text == nullptr) LOG_LINE(critical, operation, "%s: %s passed as NULL\n", operation, what);
  return text != nullptr;
}

}  // namespace coupler::snmp
