// The SNMP agent.
#include <unistd.h>

#include <algorithm>

#include "brantix/snmp.h"
#include "tools/host.h"
#include "tools/print.h"
#include "tools/snmp_config.h"

namespace coupler::tools {
namespace {

constexpr Choice kVersions[] = {{"1", 1}, {"2 2c", 2}, {"3", 3}};
constexpr Choice kNotifyTypes[] = {{"trap", SCI_SNMP_TRAP}, {"inform", SCI_SNMP_INFORM}};
constexpr Choice kLevels[] = {{"noAuthNoPriv", SCI_SNMP_NO_AUTH_NO_PRIV},
                              {"authNoPriv", SCI_SNMP_AUTH_NO_PRIV},
                              {"authPriv", SCI_SNMP_AUTH_PRIV}};
constexpr int32_t kSha = 2;
constexpr Choice kAuthentication[] = {{"MD5", 1}, {"SHA SHA-1 SHA1", kSha}, {"SHA-256 SHA256", 3}};
constexpr int32_t kAes = 3;
constexpr Choice kPrivacy[] = {{"none", 1}, {"AES AES-128 AES128", kAes}};

/// A text that is fit for a line of the agent's configuration file.
const std::string& one_line(const std::string& text) {
  if (text.find_first_of("\r\n") != text.npos) {
    throw WrongUsage("a line end would start another line of the agent's configuration");
  }
  return text;
}

/// The same, where an empty text or a blank would mean something else.
const std::string& one_word(const std::string& text) {
  if (text.empty() || text.find_first_of(" \t") != text.npos) throw WrongUsage("\"" + text + "\" is not one word");
  return one_line(text);
}

template <size_t kCapacity>
void fill(char (&field)[kCapacity], const std::string& what, const std::string& text) {
  if (text.size() >= kCapacity) {
    throw WrongUsage(what + " has more than " + std::to_string(kCapacity - 1) + " bytes");
  }
  field[text.copy(field, kCapacity - 1)] = '\0';
}

/// Fails when the library did; the log would tell why.
void must_succeed(int32_t status, const std::string& what, const char* done) {
  if (status == 0) return;
  throw Failure(what + " was not " + done + "; \"--log critical\" tells why, with passwords in clear", what);
}

/// The command that does one thing with one text.
Command setting(const char* name, const char* about, const Argument& argument, const char* done,
                const std::string& (*fit)(const std::string&), int32_t (*operation)(const char*)) {
  return {name, about, {argument}, [=](const Context& context, const Arguments& arguments) {
            const std::string& text = arguments.at(argument.name);
            must_succeed(operation(fit(text).c_str()), text, done);
            print_report(context, {{done, text}});
          }};
}

Json shown(int agent) { return agent == 0 ? Json("not running") : Json(agent); }

Command service_switch(const char* name, const char* about, const char* done, bool on, int32_t (*operation)()) {
  return {
      name, about, {}, [=](const Context& context, const Arguments&) {
        lines_of(kAgentService);  // a file that is missing is said before anything is done
        operation();
        if (is_enabled() != on) {
          throw Failure(std::string(kAgentService) + " does not say so now; the agent was not " + done, kAgentService);
        }
        int agent = running_agent();
        for (int looks = 60; looks > 0 && (agent != 0) != on; --looks) {  // it takes some seconds
          ::usleep(50'000);
          agent = running_agent();
        }
        print_report(context, {{done, "snmp"}, {"agent", shown(agent)}});
        if ((agent != 0) != on)
          throw Failure("the service file says so, but " + std::string(on ? "no agent runs" : "the agent still runs"));
      }};
}

int32_t set_user(const std::string& name, const Arguments& arguments) {
  SCI_snmp_user_s user{};
  user.auth_type = arguments.number("--auth", kSha);
  user.priv_type = arguments.number("--privacy", kAes);
  fill(user.username, "the user's name", one_word(name));
  fill(user.password, "the password", read_password("password", arguments.text("--password-file")));
  if (user.priv_type == kAes) {
    fill(user.priv_pass, "the privacy password",
         read_password("privacy password", arguments.text("--privacy-password-file")));
  }
  char error[25];
  return SCI_SetSnmpUser(&user, error);
}

void add_user(const Context& context, const Arguments& arguments) {
  const std::string& name = arguments.at("NAME");
  must_succeed(set_user(name, arguments), name, "set");
  print_report(context, {{"set", name}});
}

int32_t delete_user(const char* name) {
  char error[25];
  return SCI_DeleteSnmpUser(name, error);
}

/// The command that deletes an entry and says which lines went. It takes no more than it was asked for, unless that is
/// wanted.
Command deletion(const std::string& what, const Argument& argument, int32_t (*operation)(const char*)) {
  const Argument all = {.name = "--all-matching", .about = "Also other lines that hold the text", .flag = true};
  return {"delete", "Delete a " + what, {argument, all}, [=](const Context& context, const Arguments& arguments) {
            const std::string& name = one_word(arguments.at(argument.name));
            const Json named = lines_configuring(what, name);
            const Json going = lines_deleted_with(what, name);
            const bool wanted = arguments.contains(all.name);
            if (named.empty() && (!wanted || going.empty())) throw Failure("there is no " + what + " " + name, name);
            if (going.size() > named.size() && !wanted) {
              print_report(context, {{"would_delete", going}});
              throw Failure("more would go than the " + what + " " + name + "; --all-matching deletes it all", name);
            }
            must_succeed(operation(name.c_str()), name, "deleted");
            if (!lines_configuring(what, name).empty()) throw Failure(name + " is still there", name);
            print_report(context, {{"deleted", name}, {"lines", going}});
          }};
}

Json communities() {
  unsigned count = 0;
  if (SCI_GetSnmpCommunity(nullptr, &count) != 0)
    throw Failure("the agent's configuration file cannot be read", kAgentConfig);
  std::vector<SCI_snmp_community_s> read(count);
  SCI_GetSnmpCommunity(read.data(), &count);
  Json found = Json::array();
  for (const SCI_snmp_community_s& entry : read) found.push_back(without_line_end(entry.community));
  return found;
}

Command list(const char* about, const char* what, Json (*rows)(), const Columns& columns = {{""}}) {
  return {"list", about, {}, [=](const Context& context, const Arguments&) {
            const Json found = rows();
            print_table(context, {{what, found}}, columns, found);
          }};
}

void add_host(const Context& context, const Arguments& arguments) {
  const std::string& address = arguments.at("ADDRESS");
  const std::string& name = arguments.at("NAME");
  SCI_snmp_host_s host{};
  fill(host.server_addr, "the address", one_word(address));
  fill(host.community, "the community", one_word(name));
  host.port = arguments.number("--port");
  host.version = arguments.number("--version", 2);
  host.notify_type = arguments.number("--notify", SCI_SNMP_TRAP);
  host.v3_priv = arguments.number("--level", SCI_SNMP_AUTH_PRIV);
  // The library takes the user's protocols and passwords from its list, which only this process can have filled.
  if (host.version == 3) must_succeed(set_user(name, arguments), name, "set");
  must_succeed(SCI_SetSnmpHostV3(&host), address, "added");
  print_report(context, {{"added", address}});
}

void show(const Context& context, const Arguments&) {
  Json hosts = configured_destinations();
  if (!context.json) {
    for (Json& host : hosts) {
      host["version"] = "version " + std::string(host["version"]);
      host = joined({host.begin(), host.end()}, "  ");
    }
  }
  print_report(context, {{"enabled", is_enabled()},
                         {"agent", shown(running_agent())},
                         {"contact", configured_text("sysContact")},
                         {"location", configured_text("sysLocation")},
                         {"communities", communities()},
                         {"users", configured_users()},
                         {"hosts", hosts}});
}

Command community_family() {
  const Argument community = {"COMMUNITY", "community"};
  return {.name = "community",
          .about = "Read-only communities",
          .commands = {setting("add", "Let a community read", community, "added", one_word, SCI_ConfigureSnmp),
                       deletion("community", community, SCI_DeleteSnmpCommunity),
                       list("Show the communities that may read", "communities", communities)}};
}

}  // namespace

Commands snmp_commands() {
  const Argument address = {"ADDRESS", "address or name"}, user = {"NAME", "user's name"},
                 text = {"TEXT", "one line; may be empty"},
                 auth = {.name = "--auth", .about = "authentication protocol (SHA)", .choices = kAuthentication},
                 privacy = {.name = "--privacy", .about = "privacy protocol (AES)", .choices = kPrivacy},
                 file = {"--password-file", "file whose first line is the password; asked for without"},
                 privacy_file = {"--privacy-password-file",
                                 "file whose first line is the privacy password; asked for without"};
  std::vector<Argument> host = {
      address,
      {"NAME", "community; version 3: user, who is set anew"},
      {.name = "--port", .about = "UDP port (the agent's own)", .most = 65535},
      {.name = "--version", .about = "version of SNMP (2)", .choices = kVersions},
      {.name = "--notify", .about = "what is sent (trap)", .choices = kNotifyTypes},
      {.name = "--level", .about = "version 3: security level (authPriv)", .choices = kLevels}};
  host.insert(host.end(), {auth, privacy, file, privacy_file});
  const std::vector<Command> hosts = {
      {"add", "Send traps or informs to a destination", host, add_host},
      deletion("destination", address, SCI_DeleteSnmpHostV3),
      list("Show the configured destinations", "hosts", configured_destinations,
           {{"destination"}, {"version"}, {"notify"}, {"community or user", "name"}, {"level"}})};
  const std::vector<Command> users = {
      {"add", "Create a user, or set one anew", {user, auth, privacy, file, privacy_file}, add_user},
      deletion("user", user, delete_user),
      list("Show the configured users", "users", configured_users)};
  return {{.name = "snmp",
           .about = "The SNMP agent",
           .commands = {{"show", "Show all that is configured; passwords never", {}, show},
                        service_switch("enable", "Start the agent", "enabled", true, SCI_EnableSnmp),
                        service_switch("disable", "Stop the agent", "disabled", false, SCI_DisableSnmp),
                        {.name = "host", .about = "Destinations of traps and informs", .commands = hosts},
                        {.name = "user", .about = "SNMPv3 users", .commands = users},
                        community_family(),
                        setting("contact", "Set the system contact", text, "set", one_line, SCI_SetSnmpSysContact),
                        setting("location", "Set the system location and restart the agent", text, "set", one_line,
                                SCI_SetSnmpSysLocation)}}};
}

}  // namespace coupler::tools
