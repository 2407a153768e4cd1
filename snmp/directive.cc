#include "snmp/directive.h"

namespace coupler::snmp {
namespace {

constexpr int32_t kAny = -1;

/// The text of a directive, with letters for its values: h host and port, u community or user, e engine flag and id,
/// a and A authentication protocol and password, x and X those of privacy.
struct Directive {
  int32_t version;
  int32_t level;
  int32_t notify_type;
  Fixed text;
};

constexpr Directive kDirectives[] = {
    {1, kAny, kAny, "trapsink %h %u"},
    {2, kAny, SCI_SNMP_TRAP, "trap2sink %h %u"},
    {2, kAny, SCI_SNMP_INFORM, "informsink %h %u"},
    {3, SCI_SNMP_NO_AUTH_NO_PRIV, SCI_SNMP_TRAP, "trapsess -r 0 -v 3 -u %u -l noAuthNoPriv %h"},
    {3, SCI_SNMP_NO_AUTH_NO_PRIV, SCI_SNMP_INFORM, "trapsess -r 0 -Ci -v 3 -u %u -l noAuthNoPriv %h"},
    {3, SCI_SNMP_AUTH_NO_PRIV, SCI_SNMP_TRAP, "trapsess -r 0 -v 3 %e -u %u -l authNoPriv -a %a -A %A %h"},
    {3, SCI_SNMP_AUTH_NO_PRIV, SCI_SNMP_INFORM, "trapsess -r 0 -Ci -v 3 %e -u %u -l authNoPriv -a %a -A %A %h"},
    {3, SCI_SNMP_AUTH_PRIV, SCI_SNMP_TRAP, "trapsess -r 0 -v 3 %e -u %u -l authPriv -a %a -A %A -x %x -X %X %h"},
    {3, SCI_SNMP_AUTH_PRIV, SCI_SNMP_INFORM, "trapsess -r 0 -Ci -v 3 %e -u %u -l authPriv -a %a -A %A -x %x -X %X %h"},
};

bool fits(int32_t wanted, int32_t value) { return wanted == kAny || wanted == value; }

const Directive* find_directive(const SCI_snmp_host_s& host) {
  for (const Directive& row : kDirectives) {
    if (row.version == host.version && fits(row.level, host.v3_priv) && fits(row.notify_type, host.notify_type)) {
      return &row;
    }
  }
  return nullptr;
}

void add_host(CommandText& command, const SCI_snmp_host_s& host) {
  command.add(QuotedValue(host.server_addr));
  if (host.port != 0) command.add(":").add(host.port);
}

// Flag and id are two words of the line: without an id its blanks remain.
void add_engine(CommandText& command, const char* engine_id) {
  if (*engine_id != '\0') command.add("-e");
  command.add(" ").add(QuotedValue(engine_id));
}

void add_value(char letter, CommandText& command, const SCI_snmp_host_s& host, const V3Credentials& credentials) {
  switch (letter) {
    case 'h':
      return add_host(command, host);
    case 'u':
      return void(command.add(QuotedValue(host.community)));
    case 'e':
      return add_engine(command, credentials.engine_id);
    case 'a':
      return void(command.add(QuotedValue(auth_protocol(credentials.user->auth_type))));
    case 'A':
      return void(command.add(QuotedValue(credentials.user->auth_pass)));
    case 'x':
      return void(command.add(QuotedValue(privacy_protocol(*credentials.user))));
    case 'X':
      return void(command.add(QuotedValue(credentials.user->priv_pass)));
  }
}

}  // namespace

const char* privacy_protocol(const snmpv3_user_entry& user) {
  return user.sec_level == SCI_SNMP_AUTH_PRIV ? "AES" : "NOPROTO";
}

void add_directive(CommandText& command, const SCI_snmp_host_s& host, const V3Credentials& credentials) {
  const Directive* const directive = find_directive(host);
  if (directive == nullptr) return;
  command.add("\"");
  const std::string_view text = directive->text.text();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      add_value(text[++i], command, host, credentials);
    } else {
      command.add(directive->text.character(i));
    }
  }
  command.add("\"");
}

}  // namespace coupler::snmp
