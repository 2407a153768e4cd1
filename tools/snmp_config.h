// What the agent's files say. The library's own lists hold only what the same process has added.
#pragma once

#include <string>
#include <vector>

namespace coupler::tools {

constexpr const char* kAgentConfig = "/etc/snmp/snmpd.conf";
constexpr const char* kAgentService = "/opt/quorva/tolmos_skellan/etc/snmp.conf";

using Lines = std::vector<std::string>;

/// The file's lines. @throws Failure when it cannot be read
Lines lines_of(const char* path);

/// A line as it may be shown: passwords are stars.
std::string without_passwords(const std::string& line);

struct Destination {
  std::string address;  ///< with its port, when it has one
  std::string version;
  std::string notify;
  std::string name;   ///< community or user
  std::string level;  ///< of a user
  std::string line;
};

std::vector<Destination> configured_destinations();

/// The names of the users who may read.
Lines configured_users();

/// The lines that make the community able to read, or the user known to the agent.
Lines lines_of_community(const std::string& community);
Lines lines_of_user(const std::string& name);

/// What stands behind a keyword, such as sysContact; of several lines the last one's. Empty without one.
std::string configured_text(const std::string& keyword);

/// The process id of the agent; 0 when none runs.
int running_agent();

}  // namespace coupler::tools
