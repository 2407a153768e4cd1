#pragma once

#include "brantix/snmp.h"
#include "snmp/users.h"
#include "support/shell.h"

namespace coupler::snmp {

/// What a version 3 destination takes from elsewhere; empty for the others.
struct V3Credentials {
  const snmpv3_user_entry* user = nullptr;
  const char* engine_id = "";  ///< of the agent; empty: not known
};

/// The privacy protocol by which the agent reaches a destination of this user.
const char* privacy_protocol(const snmpv3_user_entry& user);

/// Adds the directive line for a destination, in double quotes; nothing for a combination of version, level and notify
/// type that has none.
void add_directive(CommandText& command, const SCI_snmp_host_s& host, const V3Credentials& credentials);

}  // namespace coupler::snmp
