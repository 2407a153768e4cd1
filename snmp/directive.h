// The line of the agent's configuration that makes it send to a destination.
#pragma once

#include "brantix/snmp.h"
#include "support/shell.h"

namespace coupler::snmp {

/// Adds the directive of a destination, in double quotes; nothing for a combination of version, level and notify type
/// that has none. A version 3 destination takes its passwords from the user list.
///
/// @return 0 or what `SCI_SetSnmpHostV3` then returns, which has logged why
int32_t add_directive(CommandText& line, const SCI_snmp_host_s& host);

}  // namespace coupler::snmp
