#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "brantix/snmp.h"
#include "tools/password.h"
#include "tools/print.h"
#include "tools/snmp_config.h"

namespace coupler::tool {

namespace {

using Json = nlohmann::ordered_json;
/// What an option may be, and the number by which the library knows it.
struct Choice {
  const char* name;
  int32_t number;
};

constexpr Choice kVersions[] = {{"1", 1}, {"2", 2}, {"3", 3}};
constexpr Choice kNotifyTypes[] = {{"trap", SCI_SNMP_TRAP}, {"inform", SCI_SNMP_INFORM}};
constexpr Choice kLevels[] = {{"noAuthNoPriv", SCI_SNMP_NO_AUTH_NO_PRIV},
                              {"authNoPriv", SCI_SNMP_AUTH_NO_PRIV},
                              {"authPriv", SCI_SNMP_AUTH_PRIV}};
constexpr Choice kAuthentication[] = {{"MD5", 1}, {"SHA", 2}, {"SHA-256", 3}};
constexpr int32_t kAes = 3;
constexpr Choice kPrivacy[] = {{"none", 1}, {"AES", kAes}};

std::vector<std::string> names(std::span<const Choice> choices) {
  std::vector<std::string> found;
  for (const Choice& choice : choices) found.emplace_back(choice.name);
  return found;
}

std::string option(const Arguments& arguments, const char* name, const char* otherwise = "") {
  const auto found = arguments.find(name);
  return found == arguments.end() ? otherwise : found->second;
}

int32_t number(const Arguments& arguments, const char* name, std::span<const Choice> choices, const char* otherwise) {
  const std::string chosen = option(arguments, name, otherwise);
  return std::find_if(choices.begin(), choices.end(), [&](const Choice& choice) { return chosen == choice.name; })
      ->number;
}

/// A text that is fit for a line of the agent's configuration file.
const std::string& one_line(const std::string& text) {
  if (text.find_first_of("\r\n") != text.npos) {
    throw Failure("a line end would start another line of the agent's configuration");
  }
  return text;
}

/// The same, where an empty text or a blank would mean something else.
const std::string& one_word(const std::string& text) {
  if (text.empty() || text.find_first_of(" \t") != text.npos) throw Failure("\"" + text + "\" is not one word");
  return one_line(text);
}

template <size_t kCapacity>
void fill(char (&field)[kCapacity], const std::string& what, const std::string& text) {
  if (text.size() >= kCapacity) {
    throw Failure(what + " has more than " + std::to_string(kCapacity - 1) + " characters");
  }
  field[text.copy(field, kCapacity - 1)] = '\0';
}

void succeed(const Context& context, int32_t status, const char* done, const std::string& what) {
  if (status != 0) {
    throw Failure(what + " was not " + done + "; \"--log critical\" tells why, with passwords in clear");
  }
  print_report(context, {{done, what}});
}

void enable(const Context& context, const Arguments&) { succeed(context, SCI_EnableSnmp(), "enabled", "snmp"); }

void disable(const Context& context, const Arguments&) { succeed(context, SCI_DisableSnmp(), "disabled", "snmp"); }

int32_t set_user(const std::string& name, const Arguments& arguments) {
  SCI_snmp_user_s user{};
  user.auth_type = number(arguments, "--auth", kAuthentication, "SHA");
  user.priv_type = number(arguments, "--privacy", kPrivacy, "AES");
  fill(user.username, "the user's name", one_word(name));
  fill(user.password, "the password", read_password("password", option(arguments, "--password-file")));
  if (user.priv_type == kAes) {
    fill(user.priv_pass, "the privacy password",
         read_password("privacy password", option(arguments, "--privacy-password-file")));
  }
  char error[25];
  return SCI_SetSnmpUser(&user, error);
}

void add_user(const Context& context, const Arguments& arguments) {
  const std::string& name = arguments.at("NAME");
  succeed(context, set_user(name, arguments), "set", name);
}

void delete_user(const Context& context, const Arguments& arguments) {
  const std::string& name = arguments.at("NAME");
  char error[25];
  succeed(context, SCI_DeleteSnmpUser(one_word(name).c_str(), error), "deleted", name);
}

void print_names(const Context& context, const char* what, const std::vector<std::string>& found) {
  if (context.json) return print_json({{what, found}});
  for (const std::string& name : found) std::puts(escaped(name).c_str());
}

void list_users(const Context& context, const Arguments&) { print_names(context, "users", configured_users()); }

int32_t port(const std::string& text) {
  const unsigned long number = std::stoul(text);
  if (number > 65535) throw Failure("a port is at most 65535");
  return static_cast<int32_t>(number);
}

void add_host(const Context& context, const Arguments& arguments) {
  const std::string& address = arguments.at("ADDRESS");
  const std::string& name = arguments.at("NAME");
  SCI_snmp_host_s host{};
  fill(host.server_addr, "the address", one_word(address));
  fill(host.community, "the community", one_word(name));
  host.port = port(option(arguments, "--port", "0"));
  host.version = number(arguments, "--version", kVersions, "2");
  host.notify_type = number(arguments, "--notify", kNotifyTypes, "trap");
  host.v3_priv = number(arguments, "--level", kLevels, "authPriv");
  // The library takes the user's protocols and passwords from its list, which only this process can have filled.
  if (host.version == 3 && set_user(name, arguments) != 0) succeed(context, 1, "set", name);
  succeed(context, SCI_SetSnmpHostV3(&host), "added", address);
}

void delete_host(const Context& context, const Arguments& arguments) {
  const std::string& address = arguments.at("ADDRESS");
  succeed(context, SCI_DeleteSnmpHostV3(one_word(address).c_str()), "deleted", address);
}

void list_hosts(const Context& context, const Arguments&) {
  Json hosts = Json::array();
  Table table({{"destination"}, {"version"}, {"notify"}, {"community or user"}, {"level"}});
  for (const Destination& host : configured_destinations()) {
    hosts.push_back({{"destination", host.address},
                     {"version", host.version},
                     {"notify", host.notify},
                     {"name", host.name},
                     {"level", host.level}});
    table.row({host.address, host.version, host.notify, host.name, host.level});
  }
  if (context.json) return print_json({{"hosts", hosts}});
  table.print();
}

void add_community(const Context& context, const Arguments& arguments) {
  const std::string& community = arguments.at("COMMUNITY");
  succeed(context, SCI_ConfigureSnmp(one_word(community).c_str()), "added", community);
}

void delete_community(const Context& context, const Arguments& arguments) {
  const std::string& community = arguments.at("COMMUNITY");
  succeed(context, SCI_DeleteSnmpCommunity(one_word(community).c_str()), "deleted", community);
}

void list_communities(const Context& context, const Arguments&) {
  unsigned count = 0;
  if (SCI_GetSnmpCommunity(nullptr, &count) != 0) throw Failure("the agent's configuration file cannot be read");
  std::vector<SCI_snmp_community_s> read(count);
  SCI_GetSnmpCommunity(read.data(), &count);
  std::vector<std::string> found;
  for (const SCI_snmp_community_s& entry : read) {
    std::string name = entry.community;
    if (name.ends_with('\n')) name.pop_back();
    found.push_back(name);
  }
  print_names(context, "communities", found);
}

void set_contact(const Context& context, const Arguments& arguments) {
  const std::string& text = arguments.at("TEXT");
  succeed(context, SCI_SetSnmpSysContact(one_line(text).c_str()), "set", text);
}

void set_location(const Context& context, const Arguments& arguments) {
  const std::string& text = arguments.at("TEXT");
  succeed(context, SCI_SetSnmpSysLocation(one_line(text).c_str()), "set", text);
}

std::vector<Argument> with_user_options(std::vector<Argument> arguments) {
  const std::vector<Argument> options = {
      {.name = "--auth", .about = "authentication protocol (SHA)", .choices = names(kAuthentication)},
      {.name = "--privacy", .about = "privacy protocol (AES)", .choices = names(kPrivacy)},
      {"--password-file", "file whose first line is the password; asked for without"},
      {"--privacy-password-file", "file whose first line is the privacy password; asked for without"}};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return arguments;
}

}  // namespace

Command snmp_family() {
  const Argument address = {"ADDRESS", "address or name"}, user = {"NAME", "user's name"},
                 community = {"COMMUNITY", "community"};
  const std::vector<Argument> host = with_user_options(
      {address,
       {"NAME", "community; version 3: user, who is set anew"},
       {"--port", "UDP port (the agent's own)", true},
       {.name = "--version", .about = "version of SNMP (2)", .choices = names(kVersions)},
       {.name = "--notify", .about = "what is sent (trap)", .choices = names(kNotifyTypes)},
       {.name = "--level", .about = "version 3: security level (authPriv)", .choices = names(kLevels)}});
  const std::vector<Command> hosts = {
      {"add", "Send traps or informs to a destination", host, add_host},
      {"delete", "Delete the destinations whose lines hold the address anywhere", {address}, delete_host},
      {"list", "Show the configured destinations", {}, list_hosts}};
  const std::vector<Command> users = {{"add", "Create a user, or set one anew", with_user_options({user}), add_user},
                                      {"delete", "Delete a user", {user}, delete_user},
                                      {"list", "Show the configured users", {}, list_users}};
  const std::vector<Command> communities = {
      {"add", "Let a community read", {community}, add_community},
      {"delete", "Delete every line of the configuration that holds the text anywhere", {community}, delete_community},
      {"list", "Show the communities that may read", {}, list_communities}};
  const std::vector<Argument> text = {{"TEXT", "one line; may be empty"}};
  return {.name = "snmp",
          .about = "The SNMP agent",
          .commands = {{"enable", "Start the agent", {}, enable},
                       {"disable", "Stop the agent", {}, disable},
                       {.name = "host", .about = "Destinations of traps and informs", .commands = hosts},
                       {.name = "user", .about = "SNMPv3 users", .commands = users},
                       {.name = "community", .about = "Read-only communities", .commands = communities},
                       {"contact", "Set the system contact", text, set_contact},
                       {"location", "Set the system location and restart the agent", text, set_location}}};
}

}  // namespace coupler::tool
