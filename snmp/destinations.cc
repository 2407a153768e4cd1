#include <charconv>
#include <cstdlib>
#include <new>

#include "snmp/agent.h"
#include "snmp/append.h"
#include "snmp/directive.h"
#include "snmp/engine_id.h"
#include "snmp/given.h"
#include "snmp/name_list.h"
#include "snmp/rewrite.h"
#include "support/output.h"
#include "support/text.h"

namespace coupler::snmp {

struct snmp_host_entry {
  char name[64];
  snmp_host_entry* next;
};

/// The destinations that the library has added, in memory only.
snmp_host_entry* hostnode = nullptr;

namespace {

constexpr const char* kSet = "SCI_SetSnmpHostV3";
constexpr const char* kDelete = "SCI_DeleteSnmpHostV3";

bool is_trap_line(std::string_view line, std::string_view host) {
  struct Kind {
    std::string_view word;
    LogMessage<const char*> found;
  };
  static constexpr Kind kKinds[] = {
      {"trapsess", {debug, "\nv3 trapsess match found: %s\n"}},
      {"trap2sink", {debug, "\n trap2sink match found: %s\n"}},
      {"trapsink", {debug, "\nv1 trapsink match found: %s\n"}},
      {"informsink", {debug, "\nv1 Inform match found: %s\n"}},
  };
  if (line.find(host) == line.npos) return false;
  for (const Kind& kind : kKinds) {
    if (line.find(kind.word) == line.npos) continue;
    char text[512];
    Text(text).copy(line);
    kind.found.write(kDelete, text);
    return true;
  }
  return false;
}

constexpr LineRemoval kRemoval{
    .operation = kDelete,
    .failure = 1,
    .selects = is_trap_line,
    .not_opened = {debug, "SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf fopen() Error!!!\n"},
    .new_not_opened = {debug, "SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf.new fopen failed"},
    .removed = {debug, "SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf  deleted\n"},
    .not_removed = {debug, "SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf remove failed\n"},
    .renamed = {debug, "SCI_DeleteSnmpHostV3: file snmpd.conf.new renamed to snmpd.conf\n"},
    .not_renamed = {debug, "SCI_DeleteSnmpHostV3:file snmpd.conf.new renamed failed\n"},
    .nothing_selected = {debug, "\ncouldn't find a match to delete snmp host"},
    .new_removed = {debug, "SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n"},
    .new_not_removed = {debug, "SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf.new remove failed\n"},
};

snmp_host_entry** find_host_link(std::string_view name) { return find_link<&snmp_host_entry::name>(&hostnode, name); }

bool is_host_found(const char* name) {
  LOG_LINE(debug, "is_host_found", "Searching for Username = %s\n", name);
  const snmp_host_entry* const entry = *find_host_link(name);
  if (entry != nullptr) LOG_LINE(debug, "is_host_found", "Found Username = %s", entry->name);
  return entry != nullptr;
}

bool add_snmpv3_host_to_list(const char* name) {
  constexpr const char* kOperation = "add_snmpv3_host_to_list";
  if (is_host_found(name)) {
    LOG_LINE(critical, kOperation, "Found Host Name = %s, not adding\n", name);
    return true;
  }
  auto* const entry = new (std::nothrow) snmp_host_entry{};
  if (entry == nullptr) {
    LOG_LINE(critical, kOperation, "no memory for host %s\n", name);
    return false;
  }
  Text(entry->name).copy(name);
  *find_host_link(name) = entry;
  return true;
}

unsigned count_hosts() {
  unsigned count = 0;
  SCI_GetSnmpHostsV3(nullptr, &count);
  return count;
}

// Without the file there is no one to tell: no line, no failure.
void write_host_count(unsigned count) {
  OutputFile file(kHostCountFile);
  char digits[16];
  const char* const end = std::to_chars(digits, digits + sizeof(digits), count).ptr;
  if (file && file.write(digits, static_cast<size_t>(end - digits))) file.commit();
}

const snmpv3_user_entry* find_user_of(const SCI_snmp_host_s& host) {
  LOG_LINE(debug, kSet, "Searching for Username = %s\n", host.community);
  const snmpv3_user_entry* const user = find_user(host.community);
  if (user != nullptr) {
    LOG_LINE(debug, kSet, "Found Username = %s", user->username);
  } else {
    LOG_LINE(critical, kSet, "Username: %s Not found. Cannot add trap host: %s\n", host.community, host.server_addr);
  }
  return user;
}

void add_v3_directive(CommandText& directive, const SCI_snmp_host_s& host, const snmpv3_user_entry& user) {
  char engine_id[kEngineIdCapacity] = {};
  if (host.v3_priv == SCI_SNMP_AUTH_PRIV) LOG_LINE(critical, kSet, "priv_type_str = %s", privacy_protocol(user));
  if (host.v3_priv == SCI_SNMP_AUTH_PRIV || host.v3_priv == SCI_SNMP_AUTH_NO_PRIV) findEngineId(engine_id);
  add_directive(directive, host, {&user, engine_id});
}

/// @return 0 or the operation's failure
int32_t compose_directive(CommandText& directive, const SCI_snmp_host_s& host) {
  switch (host.version) {
    case 1:
    case 2:
      add_directive(directive, host, {});
      return 0;
    case 3: {
      const snmpv3_user_entry* const user = find_user_of(host);
      if (user != nullptr) add_v3_directive(directive, host, *user);
      return user != nullptr ? 0 : 1;
    }
    default:
      LOG_LINE(critical, kSet, "Unknown version of SNMP passed\n");
      return -1;
  }
}

/// Composes the script's command line; nothing has been changed by then. @return 0 or the operation's failure
int32_t compose_command(CommandText& command, const SCI_snmp_host_s& host) {
  CommandLine<512> directive;
  if (const int32_t failure = compose_directive(directive, host); failure != 0) return failure;
  command.add(kCreateHost).add(" ").add(directive).add(" ").add(ShellWord(host.server_addr));
  if (host.port != 0) command.add(":").add(host.port);
  if (!command.is_cut()) return 0;
  LOG_LINE(critical, kSet, "directive for host %s does not fit its command line\n", host.server_addr);
  return 1;
}

// What the script itself said is not looked at: only -1 and 127, as system returns them, are a failure.
int32_t run_script(const CommandText& command, const SCI_snmp_host_s& host) {
  const int status = std::system(command.c_str());
  LOG_LINE(debug, kSet, "Return value of system () - %d", status);
  if (status != -1 && status != 127) {
    LOG_LINE(info, kSet, "Updated SNMP config file successfully with host %s:%d", host.server_addr, host.port);
    return 0;
  }
  if (open_for_reading(kCreateHost)) {
    LOG_LINE(critical, kSet, "Eror while updating SNMP config file");
  } else {
    LOG_LINE(critical, kSet, "Script to create SNMP host - %s not found", kCreateHost);
  }
  return 1;
}

int32_t add_destination(const SCI_snmp_host_s& host) {
  LOG_LINE(info, kSet, "%s: Adding Host: %s\n", kSet, host.server_addr);
  LOG_LINE(debug, kSet,
           "SCI_SetSnmpHostV3: server_addr:%s, commmunity:%s, port:%d, Version:%d, v3_priv:%d, notify_type:%d\n",
           host.server_addr, host.community, host.port, host.version, host.v3_priv, host.notify_type);
  if (!open_config_for_appending()) {  // only whether it can be: the script is what writes
    LOG_LINE(critical, kSet, "\nsnmpd conf file fopen() Error!!!");
    return 1;
  }
  CommandLine<512> command;
  if (const int32_t failure = compose_command(command, host); failure != 0) return failure;
  LOG_LINE(debug, kSet, "Done adding SNMP host:%s\n", host.server_addr);
  if (!add_snmpv3_host_to_list(host.server_addr)) return 1;
  write_host_count(count_hosts());
  return run_script(command, host);
}

}  // namespace
}  // namespace coupler::snmp

using namespace coupler::snmp;

int32_t SCI_SetSnmpHostV3(const SCI_snmp_host_s* host) {
  return is_given(kSet, "Host", host)
             ? add_destination(coupler::terminated(*host, &SCI_snmp_host_s::server_addr, &SCI_snmp_host_s::community))
             : 1;
}

int32_t SCI_DeleteSnmpHostV3(const char* host) {
  if (!is_given(kDelete, "Host", host)) return 1;
  LOG_LINE(info, kDelete, "%s: Delete Host: %s\n", kDelete, host);
  const RemovalResult removal = remove_lines(kRemoval, host);
  if (removal.status != 0) return removal.status;
  if (removal.dropped > 0) remove_entry<&snmp_host_entry::name>(&hostnode, host);
  if (count_hosts() == 0) write_host_count(0);
  return 0;
}

int32_t SCI_GetSnmpHostsV3(SCI_snmp_host_s* hosts, unsigned int* aInCount, ...) {
  unsigned int count = 0;
  for (const snmp_host_entry* entry = hostnode; entry != nullptr; entry = entry->next, ++count) {
    if (hosts != nullptr) coupler::Text(hosts[count].server_addr).copy(entry->name);
  }
  if (aInCount != nullptr) *aInCount = count;
  if (count > 0) LOG_LINE(info, "SCI_GetSnmpHostsV3", "GetSnmpHostv3 aInCount = %u", count);
  return 0;
}
