// The destinations of traps and informs: their list in memory, their directives, the file that counts them.
#include <charconv>
#include <cstdlib>
#include <new>

#include "brantix/snmp.h"
#include "snmp/config_file.h"
#include "snmp/directive.h"
#include "snmp/name_list.h"
#include "snmp/paths.h"
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

bool is_trap_line(std::string_view line) {
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

uint32_t list(SCI_snmp_host_s* hosts) {
  uint32_t count = 0;
  for (const snmp_host_entry* entry = hostnode; entry != nullptr; entry = entry->next, ++count) {
    if (hosts != nullptr) Text(hosts[count].server_addr).copy(entry->name);
  }
  if (count > 0) LOG_LINE(info, "SCI_GetSnmpHostsV3", "GetSnmpHostv3 aInCount = %u", count);  // also while counting
  return count;
}

// Without the file there is no one to tell: no line, no failure.
void write_host_count(uint32_t count) {
  OutputFile file(kHostCountFile.c_str());
  char digits[16];
  const char* const end = std::to_chars(digits, digits + sizeof(digits), count).ptr;
  if (file && file.write(digits, static_cast<size_t>(end - digits))) file.commit();
}

/// Composes the script's command line; nothing has been changed by then. @return 0 or the operation's failure
int32_t compose_command(CommandText& command, const SCI_snmp_host_s& host) {
  CommandLine<512> directive;
  if (const int32_t failure = add_directive(directive, host); failure != 0) return failure;
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
  if (open_for_reading(kCreateHost.c_str())) {
    LOG_LINE(critical, kSet, "Eror while updating SNMP config file");
  } else {
    LOG_LINE(critical, kSet, "Script to create SNMP host - %s not found", kCreateHost.c_str());
  }
  return 1;
}

int32_t set(const SCI_snmp_host_s* given) {
  if (!is_given(kSet, "Host", given)) return 1;
  const SCI_snmp_host_s host = terminated(*given, &SCI_snmp_host_s::server_addr, &SCI_snmp_host_s::community);
  LOG_LINE(info, kSet, "%s: Adding Host: %s\n", kSet, host.server_addr);
  LOG_LINE(debug, kSet,
           "SCI_SetSnmpHostV3: server_addr:%s, commmunity:%s, port:%d, Version:%d, v3_priv:%d, notify_type:%d\n",
           host.server_addr, host.community, host.port, host.version, host.v3_priv, host.notify_type);
  if (!can_be_appended_to()) {  // the script is what appends
    LOG_LINE(critical, kSet, "\nsnmpd conf file fopen() Error!!!");
    return 1;
  }
  CommandLine<512> command;
  if (const int32_t failure = compose_command(command, host); failure != 0) return failure;
  LOG_LINE(debug, kSet, "Done adding SNMP host:%s\n", host.server_addr);
  if (!add_snmpv3_host_to_list(host.server_addr)) return 1;
  write_host_count(list(nullptr));
  return run_script(command, host);
}

int32_t remove(const char* host) {
  if (!is_given(kDelete, "Host", host)) return 1;
  LOG_LINE(info, kDelete, "%s: Delete Host: %s\n", kDelete, host);
  const RemovalResult removal = remove_lines(ConfigLock(), kRemoval, host);
  if (removal.status != 0) return removal.status;
  if (removal.dropped > 0) remove_entry<&snmp_host_entry::name>(&hostnode, host);
  if (list(nullptr) == 0) write_host_count(0);
  return 0;
}

}  // namespace
}  // namespace coupler::snmp

int32_t SCI_SetSnmpHostV3(const SCI_snmp_host_s* host) { return coupler::snmp::set(host); }

int32_t SCI_DeleteSnmpHostV3(const char* host) { return coupler::snmp::remove(host); }

int32_t SCI_GetSnmpHostsV3(SCI_snmp_host_s* hosts, unsigned int* aInCount, ...) {
  const uint32_t count = coupler::snmp::list(hosts);
  if (aInCount != nullptr) *aInCount = count;
  return 0;
}
