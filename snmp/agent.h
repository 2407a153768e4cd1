#pragma once

/// The agent's side of the subsystem: files, scripts and commands of the platform. All of them are fixed.
namespace coupler::snmp {

/// Of the service that runs the agent; holds "enabled = True" or "enabled = False".
inline constexpr const char* kServiceFile = "/opt/quorva/tolmos_skellan/etc/snmp.conf";
inline constexpr const char* kRescan = "skellan_svc rescan snmp";

inline constexpr const char* kConfig = "/etc/snmp/snmpd.conf";
inline constexpr const char* kNewConfig = "/etc/snmp/snmpd.conf.new";

inline constexpr const char* kExtractEngineId =
    "grep 'oldEngineID' /var/lib/net-snmp/snmpd.conf | cut -d ' ' -f 2 > /tmp/SNMP_EngineId";
inline constexpr const char* kEngineIdFile = "/tmp/SNMP_EngineId";
inline constexpr const char* kHostCountFile = "/opt/quorva/config/platform/snmp_trap_host_count";

inline constexpr const char* kCreateHost = "/opt/tolm-mgmt-scripts/tolm_snmp_create_traphost";
inline constexpr const char* kCreateUser = "/opt/tolm-mgmt-scripts/tolm_snmp_create_user";
inline constexpr const char* kDeleteUser = "/opt/tolm-mgmt-scripts/tolm_snmp_delete_user";

/// Finds the agent by its whole command line, so that no other agent of the machine is taken for it.
inline constexpr const char* kFindAgent =
    "pgrep -f \"/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf -Lf /tmp/brantix_snmp_ma_logs udp:161 udp6:161\"";

}  // namespace coupler::snmp
