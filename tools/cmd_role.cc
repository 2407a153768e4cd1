// A user's role.
#include <nlohmann/json.hpp>

#include "brantix/access.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

void show(const Context& context, const Arguments& arguments) {
  const std::string& user = arguments.at("USER");
  char role[32];
  if (SCI_getUserRoles(user.c_str(), role, sizeof role) != 0) throw Failure(user + " has no role here", user);
  print_report(context, {{"user", user}, {"role", role}});
}

}  // namespace

Command role_command() {
  return {"role", "Show a user's role, as the operating system's groups tell it", {{"USER", "user's name"}}, show};
}

}  // namespace coupler::tools
