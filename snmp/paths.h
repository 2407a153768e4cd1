// What the platform fixes beside the configuration file: files, scripts and commands, each named once.
#pragma once

#include "support/shell.h"

namespace coupler::snmp {

/// Of the service that runs the agent; holds "enabled = True" or "enabled = False".
inline constexpr Fixed kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";
inline constexpr Fixed kRescan = "skellan_svc rescan snmp";

inline constexpr Fixed kStateFile = "/var/lib/net-snmp/snmpd.conf";
inline constexpr Fixed kEngineIdFile = "/tmp/SNMP_EngineId";
inline constexpr Fixed kHostCountFile = "/opt/quorva/config/platform/snmp_trap_host_count";

inline constexpr Fixed kCreateHost = "/opt/tolm-mgmt-scripts/tolm_snmp_create_traphost";
inline constexpr Fixed kCreateUser = "/opt/tolm-mgmt-scripts/tolm_snmp_create_user";
inline constexpr Fixed kDeleteUser = "/opt/tolm-mgmt-scripts/tolm_snmp_delete_user";

/// Finds the agent by its whole command line, so that no other agent of the machine is taken for it.
inline constexpr Fixed kFindAgent =
    "pgrep -f \"/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf -Lf /tmp/brantix_snmp_ma_logs udp:161 udp6:161\"";

}  // namespace coupler::snmp
