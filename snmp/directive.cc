// Trap directives: two forms with a community, one with a user at three levels of security.
#include "snmp/directive.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "frame/log.h"
#include "snmp/paths.h"
#include "snmp/users.h"
#include "support/handle.h"

namespace coupler::snmp {
namespace {

constexpr const char* kSet = "SCI_SetSnmpHostV3";
constexpr size_t kEngineIdCapacity = 256;

struct Level {
  int32_t number;
  Fixed name;
  bool authenticates;
  bool encrypts;
};

constexpr Level kLevels[] = {
    {SCI_SNMP_NO_AUTH_NO_PRIV, "noAuthNoPriv", false, false},
    {SCI_SNMP_AUTH_NO_PRIV, "authNoPriv", true, false},
    {SCI_SNMP_AUTH_PRIV, "authPriv", true, true},
};

/// Reads as much as there is room for. @return its length, 0 also when it cannot be read
size_t read_all(int file, char* to, size_t size) {
  size_t length = 0;
  ssize_t got;
  while ((got = read_some(file, to + length, size - length)) > 0) length += static_cast<size_t>(got);
  return length;
}

bool extract_engine_id() {
  CommandLine<128> extract;
  extract.add("grep 'oldEngineID' ").add(kStateFile).add(" | cut -d ' ' -f 2 > ").add(kEngineIdFile);
  return std::system(extract.c_str()) == 0;
}

/// Reads the agent's engine id from its state file. @return its length; 0 when there is none, the buffer is then empty
size_t findEngineId(char (&buffer)[kEngineIdCapacity]) {
  std::memset(buffer, 0, kEngineIdCapacity);
  if (extract_engine_id()) {
    // As "a+" would open it: a missing file is created, not missed.
    const Descriptor file = open_at_once(kEngineIdFile.c_str(), O_RDWR | O_APPEND | O_CREAT);
    if (!file) return 0;
    const size_t length = read_all(file.get(), buffer, kEngineIdCapacity - 1);
    if (length > 0) buffer[length - 1] = '\0';  // the line end that cut wrote
  }
  if (buffer[0] == '\0') {
    LOG_LINE(critical, "findEngineId", "EngineId not found. Please check file /var/lib/net-snmp/snmpd.conf\r\n");
  }
  return std::strlen(buffer);
}

/// By which the agent reaches a destination of this user.
const char* privacy_protocol(const snmpv3_user_entry& user) {
  return user.sec_level == SCI_SNMP_AUTH_PRIV ? "AES" : "NOPROTO";
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

void add_host(CommandText& line, const SCI_snmp_host_s& host) {
  line.add(QuotedValue(host.server_addr));
  if (host.port != 0) line.add(":").add(host.port);
}

void add_with_community(CommandText& line, Fixed keyword, const SCI_snmp_host_s& host) {
  line.add("\"").add(keyword).add(" ");
  add_host(line, host);
  line.add(" ").add(QuotedValue(host.community)).add("\"");
}

// Flag and id are two words of the line: without an id their blanks remain.
void add_engine(CommandText& line, const char* engine_id) {
  line.add(*engine_id == '\0' ? Fixed(" ") : Fixed(" -e")).add(" ").add(QuotedValue(engine_id));
}

void add_trapsess(CommandText& line, const SCI_snmp_host_s& host, const Level& level, const snmpv3_user_entry& user,
                  const char* engine_id) {
  line.add("\"trapsess -r 0").add(host.notify_type == SCI_SNMP_INFORM ? Fixed(" -Ci") : Fixed("")).add(" -v 3");
  if (level.authenticates) add_engine(line, engine_id);
  line.add(" -u ").add(QuotedValue(host.community)).add(" -l ").add(level.name);
  if (level.authenticates) {
    line.add(" -a ").add(QuotedValue(auth_protocol(user.auth_type))).add(" -A ").add(QuotedValue(user.auth_pass));
  }
  if (level.encrypts) {
    line.add(" -x ").add(QuotedValue(privacy_protocol(user))).add(" -X ").add(QuotedValue(user.priv_pass));
  }
  line.add(" ");
  add_host(line, host);
  line.add("\"");
}

const Level* find_level(int32_t number) {
  const auto* const level = std::ranges::find(kLevels, number, &Level::number);
  return level != std::end(kLevels) ? level : nullptr;
}

bool is_trap_or_inform(const SCI_snmp_host_s& host) {
  return host.notify_type == SCI_SNMP_TRAP || host.notify_type == SCI_SNMP_INFORM;
}

void add_with_user(CommandText& line, const SCI_snmp_host_s& host, const snmpv3_user_entry& user) {
  const Level* const level = find_level(host.v3_priv);
  if (level == nullptr) return;
  char engine_id[kEngineIdCapacity] = {};
  if (level->encrypts) LOG_LINE(critical, kSet, "priv_type_str = %s", privacy_protocol(user));
  if (level->authenticates) findEngineId(engine_id);
  if (is_trap_or_inform(host)) add_trapsess(line, host, *level, user, engine_id);
}

}  // namespace

int32_t add_directive(CommandText& line, const SCI_snmp_host_s& host) {
  if (host.version == 3) {
    const snmpv3_user_entry* const user = find_user_of(host);
    if (user != nullptr) add_with_user(line, host, *user);
    return user != nullptr ? 0 : 1;
  }
  if (host.version != 1 && host.version != 2) {
    LOG_LINE(critical, kSet, "Unknown version of SNMP passed\n");
    return -1;
  }
  if (host.version == 1) {
    add_with_community(line, "trapsink", host);  // version 1 knows no informs
  } else if (is_trap_or_inform(host)) {
    add_with_community(line, host.notify_type == SCI_SNMP_TRAP ? Fixed("trap2sink") : Fixed("informsink"), host);
  }
  return 0;
}

}  // namespace coupler::snmp
