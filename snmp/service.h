#pragma once

namespace coupler::snmp {

/// Kills the running agent, so that its service starts it anew, and gives it a second. `operation` is the caller's.
void kill_snmpd(const char* operation);

}  // namespace coupler::snmp
