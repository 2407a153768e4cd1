#pragma once

#include <string>
#include <vector>

/// What the agent's configuration file says. The library's own lists hold only what the same process has added.
namespace coupler::tool {

struct Destination {
  std::string address;  ///< with its port, when it has one
  std::string version;
  std::string notify;
  std::string name;   ///< community or user
  std::string level;  ///< of a user
};

std::vector<Destination> configured_destinations();

/// The names of the users who may read.
std::vector<std::string> configured_users();

}  // namespace coupler::tool
