#pragma once

#include <cstddef>

namespace coupler::snmp {

inline constexpr size_t kEngineIdCapacity = 256;

/// Reads the agent's engine id from its state file. @return its length; 0 when there is none, the buffer is then empty
size_t findEngineId(char (&buffer)[kEngineIdCapacity]);

}  // namespace coupler::snmp
