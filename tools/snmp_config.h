// What the agent's files say, and passwords for it. The library's own lists hold only what the same process has added.
#pragma once

#include <string>
#include <string_view>

#include "tools/print.h"

namespace coupler::tools {

constexpr const char* kAgentConfig = "/etc/snmp/snmpd.conf";
constexpr const char* kAgentCommand =
    "/usr/sbin/snmpd -f -c /etc/snmp/snmpd.conf -Lf /tmp/brantix_snmp_ma_logs udp:161 udp6:161";
constexpr const char* kAgentService = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

/// Whether the service is switched on. @throws Failure when its file cannot be read
bool is_enabled();

/// Each with "destination" (and its port, when it has one), "version", "notify", "name" (community or user) and "level"
/// (of a user).
Json configured_destinations();

/// The names of the users who may read.
Json configured_users();

/// The lines that make it a "destination", let the "community" read, or make the "user" known to the agent. Passwords
/// are stars in them.
Json lines_configuring(std::string_view what, const std::string& name);

/// The lines that go when the library deletes such an entry. Of users these are the same; of communities all that hold
/// the text, of destinations those of them that hold one of their keywords too.
Json lines_deleted_with(std::string_view what, const std::string& name);

/// What stands behind a keyword, such as sysContact; of several lines the last one's. Empty without one.
std::string configured_text(const std::string& keyword);

/// The process id of the agent; 0 when none runs.
int running_agent();

/// A password, which never stands in the command line: the first line of the file, or, where no file is named, what is
/// typed at the terminal after "what: ".
std::string read_password(const std::string& what, const std::string& file);

}  // namespace coupler::tools
