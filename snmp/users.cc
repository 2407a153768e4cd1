// The SNMPv3 users: their list in memory, and the scripts that create and delete them in the agent.
#include "snmp/users.h"

#include <cstdlib>
#include <new>

#include "brantix/snmp.h"
#include "frame/log.h"
#include "snmp/name_list.h"
#include "snmp/paths.h"
#include "support/shell.h"
#include "support/text.h"

namespace coupler::snmp {

snmpv3_user_entry* node = nullptr;

namespace {

constexpr const char* kSet = "SCI_SetSnmpUser";
constexpr const char* kDelete = "SCI_DeleteSnmpUser";
constexpr size_t kErrorCapacity = 25;
constexpr int32_t kAes = 3;  // of priv_type

snmpv3_user_entry** find_user_link(std::string_view username) {
  return find_link<&snmpv3_user_entry::username>(&node, username);
}

bool is_user_found(const char* username) {
  LOG_LINE(debug, "is_user_found", "Searching for Username = %s\n", username);
  const snmpv3_user_entry* const entry = find_user(username);
  if (entry != nullptr) LOG_LINE(debug, "is_user_found", "Found Username = %s", entry->username);
  return entry != nullptr;
}

void delete_snmpv3_user_from_list(std::string_view username) {
  remove_entry<&snmpv3_user_entry::username>(&node, username);
}

bool add_snmpv3_user_to_list(const SCI_snmp_user_s& user) {
  constexpr const char* kOperation = "add_snmpv3_user_to_list";
  if (is_user_found(user.username)) {
    LOG_LINE(critical, kOperation, "Found Username = %s, not adding\n", user.username);
    return true;
  }
  auto* const entry = new (std::nothrow) snmpv3_user_entry{};
  if (entry == nullptr) {
    LOG_LINE(critical, kOperation, "no memory for user %s\n", user.username);
    return false;
  }
  Text(entry->username).copy(user.username);
  Text(entry->auth_pass).copy(user.password);
  Text(entry->priv_pass).copy(user.priv_pass);
  entry->auth_type = user.auth_type;
  LOG_LINE(debug, kOperation, "DBG : snmpv3 Username = %s, auth type = %d\n", user.username, user.auth_type);
  entry->sec_level = user.priv_type == kAes ? SCI_SNMP_AUTH_PRIV : SCI_SNMP_AUTH_NO_PRIV;
  *find_user_link(user.username) = entry;
  return true;
}

// The blank that ends the script's path and the one that separates it from its arguments both stand in the command.
bool add_snmpv3_user_at_snmpd(const SCI_snmp_user_s& user) {
  const bool with_privacy = user.priv_type == kAes;
  CommandLine<256> command;
  command.add(kCreateUser).add("  ").add(with_privacy ? Fixed("authPriv") : Fixed("authNoPriv"));
  command.add(" ").add(ShellWord(user.username)).add(" ").add(ShellWord(auth_protocol(user.auth_type)));
  command.add(" ").add(ShellWord(user.password)).add(" ").add(with_privacy ? Fixed("AES") : Fixed(""));
  command.add(" ").add(ShellWord(user.priv_pass));
  LOG_LINE(critical, "add_snmpv3_user_at_snmpd", "cmd = %s\n", command.c_str());
  return std::system(command.c_str()) == 0;
}

int delete_snmpv3_user_at_snmpd(const char* username) {
  constexpr const char* kOperation = "delete_snmpv3_user_at_snmpd";
  LOG_LINE(critical, kOperation, "User to delete = %s\n", username);
  CommandLine<256> command;
  command.add(kDeleteUser).add("  ").add(ShellWord(username));
  LOG_LINE(critical, kOperation, "cmd = %s\n", command.c_str());
  return std::system(command.c_str());
}

void log_details(const SCI_snmp_user_s& user) {
  LOG_LINE(debug, kSet, "aInConf->username = %s", user.username);
  LOG_LINE(debug, kSet, "aInConf->password = %s", user.password);
  LOG_LINE(debug, kSet, "aInConf->priv_pass = %s", user.priv_pass);
  LOG_LINE(debug, kSet, "aInConf->auth_type = %d", user.auth_type);
  LOG_LINE(debug, kSet, "aInConf->priv_type = %d", user.priv_type);
  LOG_LINE(critical, kSet, "setting snmp user: %s, auth: %s, priv type: %d", user.username,
           auth_protocol(user.auth_type), user.priv_type);
}

bool is_complete(const SCI_snmp_user_s& user) {
  if (user.username[0] == '\0' || user.password[0] == '\0') {
    LOG_LINE(critical, kSet, "no snmp user/password to configure");
    return false;
  }
  if (user.priv_type == kAes && user.priv_pass[0] == '\0') {
    LOG_LINE(critical, kSet, "privacy password can not be empty when AES-128 is set");
    return false;
  }
  return true;
}

bool delete_earlier_user(const char* username) {
  if (!is_user_found(username)) return true;
  LOG_LINE(info, kSet, "Found user %s deleting it", username);
  delete_snmpv3_user_from_list(username);
  return delete_snmpv3_user_at_snmpd(username) == 0;
}

bool create(const SCI_snmp_user_s* given) {
  if (given == nullptr) {
    LOG_LINE(critical, kSet, "%s:User details passed as NULL\n", kSet);
    return false;
  }
  const SCI_snmp_user_s user =
      terminated(*given, &SCI_snmp_user_s::username, &SCI_snmp_user_s::password, &SCI_snmp_user_s::priv_pass);
  LOG_LINE(info, kSet, "%s: Adding User: %s\n", kSet, user.username);
  log_details(user);
  return is_complete(user) && delete_earlier_user(user.username) && add_snmpv3_user_to_list(user) &&
         add_snmpv3_user_at_snmpd(user);
}

bool remove(const char* username) {
  if (username == nullptr) {
    LOG_LINE(critical, kDelete, "%s: User name passed as NULL\n", kDelete);
    return false;
  }
  LOG_LINE(info, kDelete, "%s: Deleting User: %s\n", kDelete, username);
  LOG_LINE(debug, kDelete, "Deleting User = %s", username);
  delete_snmpv3_user_from_list(username);
  return delete_snmpv3_user_at_snmpd(username) == 0;
}

int32_t set_user(const SCI_snmp_user_s* user, Text error) {
  error.clear();
  if (create(user)) return 0;
  LOG_LINE(critical, kSet, "error setting snmp users, error");
  error.copy("Error setting SNMP user");
  return 1;
}

int32_t delete_user(const char* username, Text error) {
  if (remove(username)) return 0;
  LOG_LINE(critical, kDelete, "Error deleting snmp user");
  error.copy("Error deleting SNMP user");
  return 1;
}

uint32_t list_users(SCI_snmp_user_s* users) {
  uint32_t count = 0;
  for (const snmpv3_user_entry* entry = node; entry != nullptr; entry = entry->next, ++count) {
    if (users != nullptr) Text(users[count].username).copy(entry->username);
  }
  LOG_LINE(info, "SCI_GetSnmpUsers", "GetSnmpUsers aInCount = %u", count);
  return count;
}

}  // namespace

const snmpv3_user_entry* find_user(std::string_view username) { return *find_user_link(username); }

const char* auth_protocol(int32_t auth_type) { return auth_type == 1 ? "MD5" : auth_type == 3 ? "SHA-256" : "SHA"; }

}  // namespace coupler::snmp

int32_t SCI_SetSnmpUser(const SCI_snmp_user_s* aInConf, char* error) {
  return coupler::snmp::set_user(aInConf, {error, coupler::snmp::kErrorCapacity});
}

int32_t SCI_DeleteSnmpUser(const char* username, char* error) {
  return coupler::snmp::delete_user(username, {error, coupler::snmp::kErrorCapacity});
}

int32_t SCI_GetSnmpUsers(SCI_snmp_user_s* users, unsigned int* aInCount) {
  const uint32_t count = coupler::snmp::list_users(users);
  if (aInCount != nullptr) *aInCount = count;
  return 0;
}
